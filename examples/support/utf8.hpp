// examples/support/utf8.hpp - text of unknown quality, read character by character
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace examples {

inline constexpr char32_t replacement_character = 0xFFFD;

/// The character at the start of a text, and how many bytes it takes there.
struct Character {
    char32_t code;
    std::size_t length;
};

/// `text` is not empty. Bytes that are no UTF-8 count as one U+FFFD for each longest piece that a
/// character could have begun with, or for each byte that can't begin one.
Character first_character(std::string_view text);

/// Whether the character shows something in its place: no control character, none that turns the
/// direction of the text around it, none without width.
bool is_visible(char32_t code);

/// Appends the character at the start of `text`, as UTF-8.
void append_character(std::string & out, Character const & character, std::string_view text);

/// The text on one line that is safe to show on a terminal, cut behind `limit` characters.
std::string one_line(std::string_view text, std::size_t limit);

} // namespace examples
