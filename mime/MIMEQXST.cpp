// mime/MIMEQXST.cpp - translators over a conversion component that is loaded at run time
#include "mime/MIMEQXST.hpp"

#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/character_boundary.hpp"
#include "mime/nls/conversion_binding.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <new>

namespace conversion = vellum::conversion;

using Release = void (*)(unsigned char *);

namespace {

constexpr int failed = 15;

/// So many bytes of a text in pieces are translated at a time.
constexpr std::size_t piece_size = 1024;

/// The component's text arguments are written to in one mode only.
constexpr int no_option = 0;

/// Releases the buffer in `out`, if it has a release function; a caller's own stays.
void release(unsigned char *& out, Release & release_function) {
    if (out != nullptr && release_function != nullptr) release_function(out);
    out = nullptr;
    release_function = nullptr;
}

/// A result of the conversions while it has no other owner.
struct Text {
    Text() = default;
    Text(Text const &) = delete;
    Text & operator=(Text const &) = delete;
    ~Text() { release(bytes, release_function); }

    unsigned char * bytes = nullptr;
    unsigned long length = 0;
    Release release_function = nullptr;
};

int copy(unsigned char const * in, unsigned long in_length, unsigned char *& out,
         unsigned long & out_length, Release & release_function) {
    if (out == nullptr || out_length < in_length) {
        release(out, release_function);
        out_length = 0;
        if (in_length == 0) return 0;
        out = static_cast<unsigned char *>(::operator new(in_length, std::nothrow));
        if (out == nullptr) return failed;
        release_function = NLS_Translator::FreeMem_Cpp;
    }
    if (in_length != 0) std::memcpy(out, in, in_length);
    out_length = in_length;
    return 0;
}

/// The numbers of the code pages that contain US-ASCII.
bool contains_ascii(qxtSTRCharSettag tag) {
    constexpr std::array single_numbers{8, 9, 18, 24, 26, 27};
    return std::find(single_numbers.begin(), single_numbers.end(), tag) != single_numbers.end() ||
           (tag >= 32 && tag <= 40);
}

} // namespace

// ---- Sessions ----

NLS_qxStr_CharSet::NLS_qxStr_CharSet(void * language, void * country, char const * name)
    : NLS_qxStr_CharSet(language, country, NLS::FindCharSet(name)) {}

NLS_qxStr_CharSet::NLS_qxStr_CharSet(void * language, void * country, NLS_CharSet * char_set)
    : charSet(char_set) {
    if (charSet == nullptr) return;
    find_tag(charSet->name);
    char const * const preferred = charSet->Preferred()->name;
    if (tag == qxtSTR_none && preferred != charSet->name) find_tag(preferred);
    open_session(language, country);
}

NLS_qxStr_CharSet::NLS_qxStr_CharSet(void * language, void * country, qxtSTRCharSettag own_tag)
    : tag(own_tag) {
    auto const * const component = vellum::bound_conversion();
    if (tag == qxtSTR_none || component == nullptr) return;
    open_session(language, country);
    std::array<char, conversion::longest_name> name{};
    qxtSTRCharSettag number = tag;
    if (component->qxSTRCsidConvExt(&number, name.data(), conversion::tag_to_name, no_option) ==
        0) {
        name.back() = '\0';
        charSet = NLS::FindCharSet(name.data());
    }
}

NLS_qxStr_CharSet::~NLS_qxStr_CharSet() {
    auto const * const component = vellum::bound_conversion();
    if (session != nullptr && component != nullptr) component->qxSTRCloseStrSession(session);
}

void NLS_qxStr_CharSet::find_tag(char const * name) {
    auto const * const component = vellum::bound_conversion();
    if (name == nullptr || component == nullptr) return;
    char * const text = const_cast<char *>(name); // not written to in this mode
    if (component->qxSTRCsidConvExt(&tag, text, conversion::name_to_tag, no_option) != 0) {
        tag = qxtSTR_none;
    }
}

void NLS_qxStr_CharSet::open_session(void * language, void * country) {
    auto const * const component = vellum::bound_conversion();
    if (tag == qxtSTR_none || component == nullptr) return;
    if (component->qxSTROpenStrSession(&session, country, language, tag) != 0) session = nullptr;
    if (session != nullptr) component->qxSTRSizeofNull(session, &terminatorSize);
}

// ---- The translator ----

constinit char const * const NLS_qxStr::ClassName = "NLS_qxStr";

NLS_qxStr::NLS_qxStr() noexcept { className = ClassName; }

NLS_qxStr::NLS_qxStr(char const * name, int code_page, qxtSTRCharSettag local_tag, void * language,
                     void * country)
    : NLS_qxStr() {
    charSetName = name;
    codePage = static_cast<unsigned long>(code_page);
    if (name == nullptr) return;
    NLS_CharSet * set = NLS::FindCharSetOfMessage(name);
    if (set == nullptr) {
        unlisted_.name = name;
        set = &unlisted_;
    }
    bool const multi_byte =
        set->is_MultiByte() || NLS::Equivalent_CharSet_for(code_page, false)->is_MultiByte();
    auto const open = [&](auto which) {
        return new (std::nothrow) NLS_qxStr_CharSet(language, country, which);
    };
    localSet = open(local_tag);
    pivotSet = open(multi_byte ? qxtSTR_multi_byte_pivot : qxtSTR_pivot);
    remoteSet = set == &NLS::US_ASCII ? open(qxtSTR_US_ASCII) : open(set);
    plainInbound =
        remoteSet != nullptr && remoteSet->tag == qxtSTR_US_ASCII && contains_ascii(local_tag);
}

NLS_qxStr::~NLS_qxStr() {
    delete localSet;
    delete pivotSet;
    delete remoteSet;
}

void NLS_qxStr::Delete() {}

NLS_Translator * NLS_qxStr::ReInit(char const *, int) {
    cut_.length = 0;
    iSimpleStream nothing(static_cast<char *>(nullptr), 0);
    oSimpleStream dropped;
    if (is_in_text_) CharSet_to_CodePage_Piece(&nothing, true, &dropped);
    if (is_out_text_) CodePage_to_CharSet_Piece(&nothing, true, &dropped);
    return this;
}

bool NLS_qxStr::is_OK() {
    auto const usable = [](NLS_qxStr_CharSet const * set) { return set != nullptr && !!*set; };
    return usable(localSet) && usable(pivotSet) && usable(remoteSet);
}

bool NLS_qxStr::same_set() const {
    return localSet != nullptr && remoteSet != nullptr && *localSet == *remoteSet;
}

NLS_Translator::Buffering_Restrictions
NLS_qxStr::Query_Buffering_Restrictions(NLS_CharSet * char_set) {
    if (char_set == nullptr) return no_restriction;
    NLS_CharSet const * const set = char_set->Preferred();
    for (auto const * shifted :
         {&NLS::ISO_2022_CN, &NLS::ISO_2022_JP, &NLS::ISO_2022_KR, &NLS::Unicode_1_1_UTF_7}) {
        if (set == shifted) return shift_states;
    }
    if (set->is_SingleByte()) return no_restriction;
    return set->is_DoubleByte() ? double_byte : multi_byte_pieces;
}

// ---- Text in buffers ----

/// `whole` becomes what stands in `cut` and then `piece`, without a character that the end cuts,
/// which `cut` takes. It lies in `piece`, or else in `joined`. False for want of memory.
bool NLS_qxStr::join_cut(std::string_view piece, CutCharacter & cut,
                         std::unique_ptr<char[]> & joined, std::string_view & whole) const {
    whole = piece;
    if (cut.length != 0) {
        joined.reset(new (std::nothrow) char[cut.length + piece.size()]);
        if (!joined) return false;
        char * const behind = std::copy_n(cut.bytes.begin(), cut.length, joined.get());
        std::copy(piece.begin(), piece.end(), behind);
        whole = {joined.get(), cut.length + piece.size()};
    }
    cut.length = vellum::incomplete_tail(codePage, whole);
    std::copy_n(whole.end() - cut.length, cut.length, cut.bytes.begin());
    whole.remove_suffix(cut.length);
    return true;
}

int NLS_qxStr::CodePage_to_CharSet(unsigned char * in, unsigned long in_length,
                                   unsigned char *& out, unsigned long & out_length,
                                   Release * free_out) {
    NLS_CharSet * const set = remoteSet != nullptr ? remoteSet->charSet : nullptr;
    Buffering_Restrictions const restriction = Query_Buffering_Restrictions(set);
    bool const comes_in_pieces = restriction == no_restriction || restriction == double_byte;
    if (!comes_in_pieces || same_set()) {
        return CharSet_Translation(in, in_length, out, out_length, free_out, localSet, remoteSet);
    }
    std::unique_ptr<char[]> joined;
    std::string_view whole;
    bool const done =
        join_cut({reinterpret_cast<char const *>(in), in_length}, cut_, joined, whole);
    if (!done || (whole.empty() && in_length != 0)) {
        out_length = 0;
        return done ? 0 : failed;
    }
    auto * const text = reinterpret_cast<unsigned char *>(const_cast<char *>(whole.data()));
    return CharSet_Translation(text, whole.size(), out, out_length, free_out, localSet, remoteSet);
}

int NLS_qxStr::CharSet_to_CodePage(unsigned char * in, unsigned long in_length,
                                   unsigned char *& out, unsigned long & out_length,
                                   Release * free_out) {
    return CharSet_Translation(in, in_length, out, out_length, free_out,
                               plainInbound ? nullptr : remoteSet,
                               plainInbound ? nullptr : localSet);
}

int NLS_qxStr::CharSet_Translation(unsigned char * in, unsigned long in_length,
                                   unsigned char *& out, unsigned long & out_length,
                                   Release * free_out, NLS_qxStr_CharSet * from,
                                   NLS_qxStr_CharSet * to) {
    if (free_out == nullptr) {
        out_length = 0;
        return failed;
    }
    bool const needless = from == nullptr || to == nullptr || pivotSet == nullptr || same_set();
    if (needless || (*from == *pivotSet && *to == *pivotSet)) {
        return copy(in, in_length, out, out_length, *free_out);
    }
    if (*from == *pivotSet) {
        return CharSet_Translate(in, in_length, out, out_length, free_out, pivotSet, to);
    }
    Text middle;
    int const result = CharSet_Translate(in, in_length, middle.bytes, middle.length,
                                         &middle.release_function, from, pivotSet);
    if (result != 0) {
        out_length = 0;
        return result;
    }
    if (*to == *pivotSet) {
        release(out, *free_out);
        std::swap(out, middle.bytes);
        std::swap(*free_out, middle.release_function);
        out_length = middle.length;
        return 0;
    }
    return CharSet_Translate(middle.bytes, middle.length, out, out_length, free_out, pivotSet, to);
}

namespace {

/// The room for the translation of a text, so that it takes one call. 0 if no buffer can be as
/// large: the component then brings its own.
unsigned long space_for(unsigned long in_length) {
    constexpr unsigned long growth = 16;
    constexpr unsigned long extra = 8;
    return in_length <= (ULONG_MAX - extra) / growth ? in_length * growth + extra : 0;
}

bool ends_in_terminator(unsigned char const * text, unsigned long length, std::size_t size) {
    return length >= size && std::all_of(text + length - size, text + length,
                                         [](unsigned char byte) { return byte == 0; });
}

} // namespace

int NLS_qxStr::CharSet_Translate(unsigned char * in, unsigned long in_length, unsigned char *& out,
                                 unsigned long & out_length, Release * free_out,
                                 NLS_qxStr_CharSet * from, NLS_qxStr_CharSet * to) {
    auto const * const component = vellum::bound_conversion();
    if (component == nullptr || free_out == nullptr) {
        out_length = 0;
        return failed;
    }
    if (out_length == 0) release(out, *free_out);
    if (out == nullptr) out_length = 0;
    unsigned long const space = space_for(in_length);
    if (*free_out != FreeMem_qxSTR && (out_length < space || space == 0)) {
        release(out, *free_out);
        *free_out = FreeMem_qxSTR;
        bool const allocated =
            space != 0 && component->qxSTRMemAllocate(space, no_option, &out) == 0;
        if (!allocated) out = nullptr;
        out_length = out != nullptr ? space : 0;
    }

    conversion::Options options{conversion::plain_translation, {}};
    if (*free_out == FreeMem_qxSTR) options.flags |= conversion::library_buffer;
    conversion::Result result{};
    std::uintptr_t word = 0;
    int const failure = component->qxSTRCpyXlateExt(to->session, from->session, out, out_length, in,
                                                    &in_length, &options, &word, &result);
    if (result.buffer != nullptr) {
        if (result.buffer != out) release(out, *free_out);
        *free_out = FreeMem_qxSTR;
        out = result.buffer;
        out_length = result.produced;
    } else {
        out_length = std::min<unsigned long>(result.produced, out_length);
    }
    auto const terminator = static_cast<std::size_t>(std::max<short>(to->terminatorSize, 0));
    if (out != nullptr && ends_in_terminator(out, out_length, terminator)) {
        out_length -= terminator;
    }
    return failure == 0 ? 0 : failed;
}

void NLS_qxStr::FreeMem_qxSTR(unsigned char * memory) {
    auto const * const component = vellum::bound_conversion();
    if (memory != nullptr && component != nullptr) component->qxSTRMemFree(memory);
}

// ---- Text in streams ----

int NLS_qxStr::CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) {
    return translate_stream(*in, *out, localSet, remoteSet);
}

int NLS_qxStr::CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) {
    return translate_stream(*in, *out, plainInbound ? nullptr : remoteSet, localSet);
}

int NLS_qxStr::translate_stream(iSimpleStream & in, oSimpleStream & out, NLS_qxStr_CharSet * from,
                                NLS_qxStr_CharSet * to) {
    if (from == nullptr || to == nullptr || pivotSet == nullptr || same_set()) {
        out << in;
        return 0;
    }
    int result = 0;
    CutCharacter cut;
    while (in.good()) {
        unsigned int const size = in.iBufCnt();
        if (size == 0) {
            in.Underflow();
            continue;
        }
        std::string_view const piece(reinterpret_cast<char const *>(in.iGetPtr(0)), size);
        std::unique_ptr<char[]> joined;
        std::string_view whole = piece;
        if (from == localSet && !join_cut(piece, cut, joined, whole)) cut.length = 0;
        in.iGetPtr(static_cast<long>(size)); // the bytes stay where they are until the Underflow
        if (!whole.empty()) result = translate_piece(whole, out, from, to);
    }
    if (cut.length != 0) {
        result = translate_piece({cut.bytes.data(), cut.length}, out, from, to);
    }
    return result;
}

namespace {

/// A stream makes its buffer as large as the text of one write; that of a whole body is too much.
void write_portions(std::string_view text, oSimpleStream & out) {
    constexpr std::size_t portion = 8192;
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), portion))) {
        out.write(text.substr(0, portion));
    }
}

} // namespace

int NLS_qxStr::translate_piece(std::string_view piece, oSimpleStream & out,
                               NLS_qxStr_CharSet * from, NLS_qxStr_CharSet * to) {
    auto * const text = reinterpret_cast<unsigned char *>(const_cast<char *>(piece.data()));
    Text translated;
    int const result = CharSet_Translation(text, piece.size(), translated.bytes, translated.length,
                                           &translated.release_function, from, to);
    bool const nothing = translated.bytes == nullptr || translated.length == 0;
    if (result != 0 && nothing) {
        write_portions(piece, out);
    } else if (!nothing) {
        write_portions({reinterpret_cast<char const *>(translated.bytes), translated.length}, out);
    }
    return result;
}

// ---- Text in pieces ----

bool NLS_qxStr::has_pieces() {
    auto const * const component = vellum::bound_conversion();
    return is_OK() && component != nullptr && component->qxSTRCpyXlatePiece != nullptr;
}

bool NLS_qxStr::Takes_Pieces(NLS_CharSet * char_set) { return char_set != nullptr && has_pieces(); }

int NLS_qxStr::CharSet_to_CodePage_Piece(iSimpleStream * in, bool last, oSimpleStream * out) {
    if (plainInbound || same_set() || !has_pieces()) {
        return CharSet_to_CodePage(in, out);
    }
    is_in_text_ = !last;
    return translate_pieces(*in, last, *out, *remoteSet, *localSet);
}

int NLS_qxStr::CodePage_to_CharSet_Piece(iSimpleStream * in, bool last, oSimpleStream * out) {
    if (same_set() || !has_pieces()) return CodePage_to_CharSet(in, out);
    is_out_text_ = !last;
    return translate_pieces(*in, last, *out, *localSet, *remoteSet);
}

int NLS_qxStr::translate_pieces(iSimpleStream & in, bool last, oSimpleStream & out,
                                NLS_qxStr_CharSet & from, NLS_qxStr_CharSet & to) {
    int result = 0;
    while (in.good()) {
        std::size_t const size = std::min<std::size_t>(in.iBufCnt(), piece_size);
        if (size == 0) {
            in.Underflow();
            continue;
        }
        std::string_view const piece(reinterpret_cast<char const *>(in.iGetPtr(0)), size);
        in.iGetPtr(static_cast<long>(size)); // the bytes stay where they are until the Underflow
        int const failure = translate_piece(piece, false, out, from, to);
        if (result == 0) result = failure;
    }
    if (!last) return result;
    int const failure = translate_piece("", true, out, from, to);
    return result != 0 ? result : failure;
}

int NLS_qxStr::translate_piece(std::string_view piece, bool last, oSimpleStream & out,
                               NLS_qxStr_CharSet & from, NLS_qxStr_CharSet & to) {
    auto const * const component = vellum::bound_conversion();
    unsigned char room[4 * piece_size]; // enough for most text
    conversion::Result result{};
    int const failure = component->qxSTRCpyXlatePiece(
        to.session, from.session, room, sizeof room,
        reinterpret_cast<unsigned char const *>(piece.data()), piece.size(), last ? 1 : 0, &result);
    if (failure != 0) {
        out.write(piece);
        return failed;
    }
    auto const * const bytes = result.buffer != nullptr ? result.buffer : room;
    Text brought; // released also when the stream throws
    brought.bytes = result.buffer;
    brought.release_function = FreeMem_qxSTR;
    write_portions({reinterpret_cast<char const *>(bytes), result.produced}, out);
    return 0;
}

// ---- The factory ----

constinit char const * const NLS_qxStr_Factory::ClassName = "NLS_qxStr_Factory";

namespace {

/// The component's number of a code page.
qxtSTRCharSettag tag_of(unsigned long code_page) {
    auto const * const component = vellum::bound_conversion();
    int tag = 0;
    bool const is_known =
        component != nullptr && component->qxSTRCsidConv(&tag, &code_page, 1) == 0;
    return is_known ? static_cast<qxtSTRCharSettag>(tag) : qxtSTR_none;
}

// POSIX has no profile of the user that would tell either.
constexpr std::size_t language_size = 8;
std::unique_ptr<char[]> const language(new (std::nothrow) char[language_size]());
int country = 0;

} // namespace

void * NLS_qxStr_Factory::LanguageSetting = language.get();
constinit void * NLS_qxStr_Factory::CountrySetting = &country;

NLS_qxStr_Factory::NLS_qxStr_Factory(char const * directory, char const * table,
                                     char const * library)
    : directory_(vellum::copy_text(directory)), table_(vellum::copy_text(table)),
      library_(vellum::copy_text(library)) {
    className = ClassName;
    if (vellum::bind_conversion() != nullptr) localTag = tag_of(NLS::PlatformCodePage);
}

NLS_qxStr_Factory::~NLS_qxStr_Factory() = default;

NLS_Translator * NLS_qxStr_Factory::New(char const * name, int code_page) {
    auto const page = static_cast<unsigned long>(code_page);
    qxtSTRCharSettag const tag = page == NLS::PlatformCodePage ? localTag : tag_of(page);
    std::unique_ptr<NLS_qxStr> translator(
        new (std::nothrow) NLS_qxStr(name, code_page, tag, LanguageSetting, CountrySetting));
    return translator && translator->is_OK() ? translator.release() : nullptr;
}
