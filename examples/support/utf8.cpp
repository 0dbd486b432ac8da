// examples/support/utf8.cpp - text of unknown quality, read character by character
#include "examples/support/utf8.hpp"

namespace examples {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

bool is_between(char32_t code, char32_t first, char32_t last) {
    return first <= code && code <= last;
}

} // namespace

Character first_character(std::string_view text) {
    auto const byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char const lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    if (lead < 0xC2 || lead > 0xF4) return {replacement_character, 1};
    std::size_t const length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // The second byte decides whether the code is overlong, a surrogate, or above U+10FFFF.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t code = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || byte(i) < low || byte(i) > high) return {replacement_character, i};
        code = code << 6 | (byte(i) & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    return {code, length};
}

bool is_visible(char32_t code) {
    bool const is_control = code < 0x20 || is_between(code, 0x7F, 0x9F);
    bool const is_format = code == 0x61C || is_between(code, 0x200B, 0x200F) ||
                           is_between(code, 0x2028, 0x202E) || is_between(code, 0x2060, 0x206F) ||
                           code == 0xFEFF;
    return !is_control && !is_format;
}

void append_character(std::string & out, Character const & character, std::string_view text) {
    bool const is_valid = character.code != replacement_character;
    out += is_valid ? text.substr(0, character.length) : replacement;
}

std::string one_line(std::string_view text, std::size_t limit) {
    std::string line;
    for (; !text.empty() && limit > 0; --limit) {
        Character const character = first_character(text);
        if (character.code == '\t' || character.code == '\n') {
            line += ' ';
        } else if (is_visible(character.code)) {
            append_character(line, character, text);
        } else {
            line += replacement;
        }
        text.remove_prefix(character.length);
    }
    if (!text.empty()) line += " ...";
    return line;
}

} // namespace examples
