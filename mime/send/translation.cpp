// mime/send/translation.cpp - text of the local code page put into a character set
#include "mime/send/translation.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/text_stream.hpp"
#include "mime/nls/character_boundary.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/utf_8.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/header_folder.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/writing_rules.hpp"

#include <algorithm>
#include <utility>

namespace vellum {

NLS_CharSet * set_in_use(MimeSender const & sender, bool in_header) {
    auto const harmful = [&sender](NLS_CharSet const & set) {
        return sender.field_guard && (set.name == nullptr || !is_token(set.name));
    };
    NLS_CharSet * const chosen = sender.character_set;
    bool const named = chosen->name != nullptr && chosen->name[0] != '\0';
    if (named && !harmful(*chosen)) return chosen;
    NLS_CharSet * const best = NLS::BestFitCharSet(sender.factories, in_header);
    return harmful(*best) ? &NLS::US_ASCII : best;
}

Translation::Translation(NLS_Translator & translator, std::string_view source,
                         unsigned char * block, unsigned long block_size)
    : offered_(block), out_(block) {
    auto * const in = reinterpret_cast<unsigned char *>(const_cast<char *>(source.data()));
    unsigned long size = block_size;
    int const failure = translator.CodePage_to_CharSet(in, source.size(), out_, size, &release_);
    // A translator that fails at once may leave the offer as it was: that is no result.
    bool const untouched = out_ == offered_ && size == block_size;
    bool const nothing = out_ == nullptr || size == 0;
    if (failure != 0 && (untouched || nothing)) {
        result_ = source;
    } else if (!nothing) {
        result_ = {reinterpret_cast<char const *>(out_), size};
    }
}

Translation::~Translation() {
    if (release_ != nullptr && out_ != nullptr && out_ != offered_) release_(out_);
}

std::string_view translated_piece(NLS_Translator & translator, std::string_view piece, bool last,
                                  oSimpleStream & room) {
    TextStream in(piece);
    int const failure = translator.CodePage_to_CharSet_Piece(&in, last, &room);
    if (room.oBufCnt() == 0) return failure != 0 ? piece : std::string_view();
    return {room.str(), room.oBufCnt()};
}

// header texts ---------------------------------------------------------------------

namespace {

/// The code page whose characters have the lengths of those of `set`.
unsigned long code_page_like(NLS_CharSet const & set) {
    static struct {
        NLS_CharSet const & set;
        unsigned long code_page;
    } rows[] = {{NLS::UTF_8, utf_8::code_page},
                {NLS::Shift_JIS, 932},
                {NLS::KSC5601, 949},
                {NLS::GB2312, 936},
                {NLS::Big5, 950},
                {NLS::EUC_JP, 950}};
    for (auto const & row : rows)
        if (row.set == set) return row.code_page;
    return NLS::PlatformCodePage;
}

std::string translated(NLS_Translator & translator, NLS_CharSet & set, std::string_view text) {
    if (translator.Takes_Pieces(&set)) {
        // Only so it is told that the text ends, and waits for no rest of a character.
        oSimpleStream room;
        return std::string(translated_piece(translator, text, true, room));
    }
    std::string source(text);
    source.append(2, '\0'); // for text of double bytes; not part of it
    return std::string(
        Translation(translator, std::string_view(source).substr(0, text.size())).result());
}

} // namespace

HeaderTranslation::HeaderTranslation(MimeSender & sender)
    : set_(*set_in_use(sender, true)),
      translator_(NLS::Create(&set_, &sender.translator_cache, sender.factories)),
      code_page_(translator_ ? NLS::PlatformCodePage : code_page_like(set_)) {}

std::string HeaderTranslation::Translate(std::string_view text) const {
    return translator_ ? translated(*translator_, set_, text) : std::string(text);
}

std::size_t HeaderTranslation::WholeCharacters(std::string_view text, std::size_t size) const {
    constexpr std::size_t longest_character = 4;
    std::size_t const in_reach = std::min(size, text.size());
    std::size_t const whole = in_reach - incomplete_tail(code_page_, text.substr(0, in_reach));
    if (whole > 0 || text.empty()) return whole;
    for (std::size_t first = 1; first < std::min(text.size(), longest_character); ++first)
        if (incomplete_tail(code_page_, text.substr(0, first)) == 0) return first;
    return std::min(text.size(), longest_character);
}

std::optional<std::string> in_utf_8(MimeSender & sender, std::string_view text) {
    if (utf_8::is_ascii(text)) return std::string(text);
    std::string result(text);
    if (NLS::PlatformCodePage != utf_8::code_page) {
        TranslatorInUse const translator(
            NLS::Create(&NLS::UTF_8, &sender.translator_cache, sender.factories));
        if (!translator) return {};
        result = translated(*translator, NLS::UTF_8, text);
    }
    if (!utf_8::is_valid(result)) return {};
    return result;
}

std::optional<std::string> value_for_header(MimeSender & sender, std::string_view value) {
    if (!sender.rules->ascii_header) return std::string(value);
    constexpr std::size_t around = 8; // a blank, brackets, a comma
    std::optional<std::string> result;
    if (sender.settings.utf8) {
        result = in_utf_8(sender, value);
    } else if (utf_8::is_ascii(value)) {
        result = value;
    }
    if (result && result->size() > HeaderFolder::longest_line - around) result.reset();
    return result;
}

SeparateCache::SeparateCache(NLS_Translator *& cache)
    : cache_(cache), before_(std::exchange(cache, nullptr)) {}

SeparateCache::~SeparateCache() {
    delete cache_;
    cache_ = before_;
}

} // namespace vellum
