// fuzz/conversion_fuzz.cpp - any bytes as text in any set of the conversion component
//
// The first byte picks the set, the second the size of the output buffer that is offered and the
// pieces into which the text is cut. What is read is UTF-8, and does not depend on the buffer nor
// on the pieces; what is written is text in the set.
#include "fuzz/target.hpp"
#include "mime/nls/conversion_binding.hpp"
#include "tests/support/chunked.hpp"

#include <iterator>

namespace {

namespace conversion = vellum::conversion;
using vellum::test::ExactCopy;

constexpr char const * set_names[] = {
    "UTF-8",        "US-ASCII",    "ISO-8859-1",     "windows-1251", "windows-1255",
    "windows-1258", "TIS-620",     "KOI8-R",         "IBM437",       "Big5",
    "CP950",        "Big5-HKSCS",  "GB2312",         "GBK",          "CP936",
    "GB18030",      "HZ-GB-2312",  "EUC-TW",         "ISO-2022-CN",  "EUC-KR",
    "CP949",        "Johab",       "ISO-2022-KR",    "Shift_JIS",    "Windows-31J",
    "EUC-JP",       "ISO-2022-JP", "ISO-2022-JP-2",  "UTF-16",       "UTF-16BE",
    "UTF-16LE",     "Unicode-1-1", "UTF-32",         "UTF-32BE",     "UTF-7",
    "CP51932",      "UTF-32LE",    "ISO-2022-JP-MS",
};

/// A session for a set.
class Session {
public:
    explicit Session(std::string name) {
        qxtSTRCharSettag tag = qxtSTR_none;
        require(entries().qxSTRCsidConvExt(&tag, name.data(), conversion::name_to_tag, 0) == 0);
        open(tag);
    }
    explicit Session(qxtSTRCharSettag tag) { open(tag); }
    ~Session() { entries().qxSTRCloseStrSession(session_); }
    Session(Session const &) = delete;
    Session & operator=(Session const &) = delete;

    static conversion::Entries const & entries() {
        static conversion::Entries const * const bound = vellum::bind_conversion();
        require(bound != nullptr);
        return *bound;
    }

    void * handle() const { return session_; }
    std::size_t terminator() const { return static_cast<std::size_t>(terminator_); }

private:
    void open(qxtSTRCharSettag tag) {
        require(entries().qxSTROpenStrSession(&session_, nullptr, nullptr, tag) == 0);
        require(entries().qxSTRSizeofNull(session_, &terminator_) == 0);
    }

    void * session_ = nullptr;
    short terminator_ = 0;
};

/// What a call has put into a block of `capacity` bytes, or into a block of the component's own.
template <class Call>
std::string output_of(std::size_t capacity, Call call) {
    ExactCopy const block(std::string(capacity, '?'));
    conversion::Result result{};
    require(call(reinterpret_cast<unsigned char *>(block.begin()), result) == 0);
    require(result.buffer != nullptr || result.produced <= capacity);
    char const * const bytes =
        result.buffer != nullptr ? reinterpret_cast<char const *>(result.buffer) : block.begin();
    std::string output(bytes, result.produced);
    if (result.buffer != nullptr) Session::entries().qxSTRMemFree(result.buffer);
    return output;
}

unsigned char const * bytes_of(ExactCopy const & text) {
    return reinterpret_cast<unsigned char const *>(text.begin());
}

std::string translated(Session const & to, Session const & from, std::string_view text,
                       std::size_t capacity) {
    ExactCopy const in(text);
    unsigned long in_length = text.size();
    conversion::Options const options{conversion::plain_translation, {}};
    std::uintptr_t word = 0;
    std::string translation =
        output_of(capacity, [&](unsigned char * out, conversion::Result & result) {
            return Session::entries().qxSTRCpyXlateExt(to.handle(), from.handle(), out, capacity,
                                                       bytes_of(in), &in_length, &options, &word,
                                                       &result);
        });
    std::string const end(to.terminator(), '\0');
    require(translation.ends_with(end));
    translation.resize(translation.size() - end.size());
    return translation;
}

/// `text` translated in pieces whose sizes follow from `seed`, empty ones among them.
std::string in_pieces(Session const & to, Session const & from, std::string_view text,
                      std::size_t seed) {
    std::string translation;
    bool last = false;
    while (!last) {
        seed = seed * 1103515245 + 12345;
        std::size_t const size = std::min(text.size(), (seed >> 16) % (seed % 3 == 0 ? 300 : 5));
        ExactCopy const in(text.substr(0, size));
        text.remove_prefix(size);
        last = text.empty();
        translation += output_of(64, [&](unsigned char * out, conversion::Result & result) {
            return Session::entries().qxSTRCpyXlatePiece(to.handle(), from.handle(), out, 64,
                                                         bytes_of(in), size, last, &result);
        });
    }
    return translation;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size < 2) return 0;
    static Session const utf_8(qxtSTR_multi_byte_pivot);
    std::string const set_name = set_names[data[0] % std::size(set_names)];
    Session const set(set_name);
    std::size_t const capacity = data[1];
    std::string_view const text(reinterpret_cast<char const *>(data) + 2, size - 2);

    std::string const read = translated(utf_8, set, text, text.size() * 16 + 8);
    require(translated(utf_8, set, text, capacity) == read);
    require(read.size() <= text.size() * 6);
    require(in_pieces(utf_8, set, text, capacity) == read);
    require(translated(utf_8, utf_8, read, capacity) == read);

    std::string const written = translated(set, utf_8, read, capacity);
    require(translated(set, utf_8, read, read.size() * 16 + 8) == written);
    require(in_pieces(set, utf_8, read, capacity) == written);
    auto const has_replacement = [](std::string_view of) {
        return of.find("\xEF\xBF\xBD") != of.npos;
    };
    bool const tells_byte_order = set_name != "Unicode-1-1";
    require(has_replacement(read) || !tells_byte_order ||
            !has_replacement(translated(utf_8, set, written, capacity)));
    require(in_pieces(set, utf_8, text, capacity) == translated(set, utf_8, text, capacity));
    static Session const local(std::string("Shift_JIS"));
    require(in_pieces(local, set, text, capacity) == translated(local, set, text, capacity));
    return 0;
}
