// mime/send/header_text.cpp - a client's text in a folded field: plain, quoted, or encoded words
//
// A text is encoded as a whole or not at all. Blanks between encoded words are dropped by readers
// and those between a word and plain text aren't, so that a mixture would have to be told apart.
//
// The parameters stand in parameter_text.cpp.
#include "mime/send/header_text.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/send/delimited.hpp"
#include "mime/send/encoded_words.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/header_folder.hpp"
#include "mime/send/sender.hpp"

#include <algorithm>
#include <utility>

namespace vellum {

namespace {

constexpr std::string_view blanks = " \t";
/// Of a line, for quotes, a colon or a comma, and the blank in front.
constexpr std::size_t around = 8;
constexpr std::size_t longest_plain_word = HeaderFolder::longest_line - around;

bool is_printable(char c) { return ascii::byte(c) > 0x20 && ascii::byte(c) < 0x7F; }

bool is_plain(std::string_view text, bool in_utf8) {
    return std::all_of(text.begin(), text.end(), [in_utf8](char c) {
        return is_printable(c) || ascii::is_blank(c) || (in_utf8 && ascii::byte(c) > 0x7F);
    });
}

/// Calls `take(blanks in front, word)` for each word of `text`.
template <typename Take>
void for_each_word(std::string_view text, Take take) {
    while (!text.empty()) {
        std::size_t const begin = std::min(text.find_first_not_of(blanks), text.size());
        std::size_t const end = std::min(text.find_first_of(blanks, begin), text.size());
        take(text.substr(0, begin), text.substr(begin, end - begin));
        text.remove_prefix(end);
    }
}

} // namespace

/// The text, which needs no encoding; nothing if it has to be encoded.
std::optional<std::string> HeaderText::AsItStands(std::string_view text) const {
    if (has_encoded_word(text)) return {};
    if (!sender_.settings.utf8) {
        if (is_plain(text, false)) return std::string(text);
        return {};
    }
    auto result = in_utf_8(sender_, text);
    if (result && !is_plain(*result, true)) result.reset();
    return result;
}

/// Whether the lines of `text` come out short enough, and its blanks come back: readers strip those
/// around a value.
bool HeaderText::CanBeFolded(std::string_view text, std::size_t longest_word) const {
    bool fits = !text.empty() && !ascii::is_blank(text.front()) && !ascii::is_blank(text.back());
    for_each_word(text, [&](std::string_view before, std::string_view word) {
        fits = fits && before.size() + word.size() <= longest_word;
    });
    return fits;
}

/// Whether the first line may end in front of the text, if need be. Some readers then count the
/// blank as a part of the text; where the text is an id or a URL, it does no harm.
bool HeaderText::BeginsWell(std::string_view text) const {
    std::string_view const word = text.substr(0, text.find_first_of(blanks));
    return word.size() <= folder_.room() || word.starts_with('<') ||
           word.find("://") != std::string_view::npos;
}

void HeaderText::PutUnstructured(std::string_view text) {
    if (text.empty()) return;
    if (is_encoded_words(text) && CanBeFolded(text, longest_plain_word)) {
        return folder_.AddWords(text);
    }
    auto const plain = AsItStands(text);
    if (plain && CanBeFolded(*plain, longest_plain_word) && BeginsWell(*plain)) {
        folder_.AddWords(*plain);
    } else {
        PutEncoded(text, TextKind::unstructured);
    }
}

void HeaderText::PutPhrase(std::string_view text) {
    if (text.empty()) return;
    if (is_encoded_words(text) && CanBeFolded(text, longest_plain_word)) {
        return folder_.AddWords(text);
    }
    if (auto const plain = AsItStands(text); !plain || !PutQuoted(*plain)) {
        PutEncoded(text, TextKind::phrase);
    }
}

/// `text` in quotes. False, and nothing written, if it doesn't fit into a line: some readers take a
/// fold between quotes for a part of the text.
bool HeaderText::PutQuoted(std::string const & text) {
    oSimpleStream quoted;
    WriteDelimited(&quoted, text.c_str(), '"', '"', true);
    std::string_view const result(quoted.str(), quoted.oBufCnt());
    if (result.size() + 2 > HeaderFolder::wanted_line) return false;
    folder_.AddSolid(result);
    return true;
}

void HeaderText::PutEncoded(std::string_view text, TextKind kind) {
    for (EncodedWords words(sender_, text, kind); !words.done();) {
        bool const fits = words.least_size() <= folder_.room();
        folder_.AddSolid(words.Next(fits ? folder_.room() : EncodedWords::longest_word));
        if (!words.done()) folder_.AddOwn(" ");
    }
}

void HeaderText::PutWords(std::string_view text) {
    auto const in_utf8 = sender_.settings.utf8 ? in_utf_8(sender_, text) : std::nullopt;
    std::string const source = in_utf8.value_or(std::string(text));
    auto const stands_in_word = [&in_utf8](char c) {
        return is_printable(c) || (in_utf8 && ascii::byte(c) > 0x7F);
    };
    std::string run; // of words that have to be encoded
    bool first = true;
    for_each_word(source, [&](std::string_view before, std::string_view word) {
        bool const stands = word.size() <= longest_plain_word &&
                            (!has_encoded_word(word) || is_encoded_words(word)) &&
                            std::all_of(word.begin(), word.end(), stands_in_word);
        if (word.empty()) return;
        if (!stands && !run.empty()) return void(run.append(before).append(word));
        PutEncodedRun(std::exchange(run, {}));
        bool const are_short = before.size() + word.size() <= longest_plain_word;
        if (!std::exchange(first, false)) folder_.AddWords(are_short ? before : " ");
        if (stands) {
            folder_.AddSolid(word);
        } else {
            run = word;
        }
    });
    PutEncodedRun(run);
}

/// The comma behind a keyword isn't a part of it (RFC 5322 3.6.5), and may not touch the encoded
/// word (RFC 2047 5).
void HeaderText::PutEncodedRun(std::string_view words) {
    bool const in_list = words.size() > 1 && words.back() == ',';
    if (in_list) words.remove_suffix(1);
    if (!words.empty()) PutEncoded(words, TextKind::phrase);
    if (in_list) folder_.AddOwn(" ,");
}

} // namespace vellum
