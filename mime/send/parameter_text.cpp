// mime/send/parameter_text.cpp - the value of a parameter: quoted, by RFC 2231, or encoded words
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/charset.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/delimited.hpp"
#include "mime/send/encoded_words.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/header_folder.hpp"
#include "mime/send/header_text.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"

#include <algorithm>

namespace vellum {

namespace {

/// The longest parameter that stands on a line, behind its blank and in front of a ";".
constexpr std::size_t longest_parameter = HeaderFolder::wanted_line - 2;

/// A byte of RFC 2231's attribute-char.
bool stands_for_itself(char c) {
    constexpr std::string_view signs = "!#$&+-.^_`{|}~";
    char const lower = ascii::to_lower(c);
    return (lower >= 'a' && lower <= 'z') || ascii::is_digit(c) ||
           signs.find(c) != std::string_view::npos;
}

std::string percent_encoded(std::string_view text) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    for (char const c : text) {
        if (stands_for_itself(c)) {
            result += c;
        } else {
            result += {'%', digits[ascii::byte(c) >> 4], digits[ascii::byte(c) & 0xF]};
        }
    }
    return result;
}

/// The length of the character that `text` begins with, as UTF-8; in other sets it doesn't matter
/// where a value is cut.
std::size_t character_length(std::string_view text) {
    constexpr std::size_t longest = 4;
    std::size_t length = 1;
    while (length < std::min(text.size(), longest) && (ascii::byte(text[length]) & 0xC0U) == 0x80)
        ++length;
    return length;
}

std::string joined(std::string_view a, std::string_view b) { return std::string(a).append(b); }

} // namespace

void HeaderText::PutParameter(std::string_view name, std::string_view value) {
    if (PutQuotedParameter(name, value)) return;
    // Some readers decode words before they look for the closing quote.
    bool const ends_quotes = value.find_first_of("\"\\") != std::string_view::npos;
    int const form = ends_quotes ? MimeONote::Parameter_Rfc2231 : sender_.settings.parameter_form;
    if (form != MimeONote::Parameter_Rfc2231) PutEncodedParameter(name, value);
    if (form == MimeONote::Parameter_Both) folder_.AddOwn("; ");
    if (form != MimeONote::Parameter_Words) PutExtendedParameter(name, value);
}

/// A value that can stand in quotes on one line. False, and nothing written, for any other.
bool HeaderText::PutQuotedParameter(std::string_view name, std::string_view value) {
    bool const is_encoded = is_encoded_words(value);
    auto const plain = is_encoded ? std::string(value) : AsItStands(value);
    if (!plain || plain->find('\t') != std::string::npos) return false;
    oSimpleStream quoted;
    WriteDelimited(&quoted, plain->c_str(), '"', '"', true);
    std::string const text = joined(name, "=").append(quoted.str(), quoted.oBufCnt());
    if (text.size() > longest_parameter) return false;
    folder_.AddSolid(text);
    return true;
}

/// RFC 2231 4, and 3 where a line doesn't hold it.
void HeaderText::PutExtendedParameter(std::string_view name, std::string_view value) {
    HeaderTranslation const translation(sender_);
    std::string const text = translation.Translate(value);
    std::string const set = std::string(translation.set().name) + "''";
    std::string const whole = joined(name, "*=") + set + percent_encoded(text);
    if (whole.size() <= longest_parameter) return folder_.AddSolid(whole);
    std::string_view rest(text);
    for (int piece = 0; !rest.empty(); ++piece) {
        std::string line = joined(name, "*") + std::to_string(piece) + "*=";
        if (piece == 0) line += set;
        std::size_t const head = line.size();
        while (!rest.empty()) {
            std::size_t const length = character_length(rest);
            std::string const next = percent_encoded(rest.substr(0, length));
            if (line.size() > head && line.size() + next.size() > longest_parameter) break;
            line += next;
            rest.remove_prefix(length);
        }
        folder_.AddSolid(line);
        if (!rest.empty()) folder_.AddOwn("; ");
    }
}

/// Against RFC 2047 5, which has no encoded words in quotes; but older mail programs write and read
/// them there.
void HeaderText::PutEncodedParameter(std::string_view name, std::string_view value) {
    std::string front = joined(name, "=\"");
    for (EncodedWords words(sender_, value, TextKind::parameter); !words.done();) {
        folder_.AddSolid(front);
        folder_.AddSolid(words.Next(longest_parameter - front.size() - 1));
        front.clear();
        if (!words.done()) folder_.AddOwn(" ");
    }
    folder_.AddSolid("\"");
}

} // namespace vellum
