// mime/nls/utf_8.hpp - which bytes are UTF-8, and which are no text at all (RFC 3629)
#pragma once

#include <cstddef>
#include <string_view>

namespace vellum::utf_8 {

/// The number of the code page.
inline constexpr unsigned long code_page = 65001;

/// U+FFFD, which stands for bytes that are no character.
inline constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Whether `text` has no byte beyond US-ASCII.
bool is_ascii(std::string_view text) noexcept;

/// The length of the start of `text` that has no byte beyond US-ASCII.
std::size_t ascii_length(std::string_view text) noexcept;

/// The length of the start of `text` that is made of whole characters.
std::size_t valid_length(std::string_view text) noexcept;

inline bool is_valid(std::string_view text) noexcept { return valid_length(text) == text.size(); }

/// What stands at the start of a text that isn't valid there.
struct Broken {
    std::size_t length;    ///< The bytes for which U+FFFD stands, 1 to 3 (Unicode 3.9, maximal
                           ///< subparts).
    bool may_be_character; ///< The text ends there, and more bytes might complete the character.
};
/// `text` isn't empty and doesn't begin with a whole character.
Broken broken_start(std::string_view text) noexcept;

} // namespace vellum::utf_8
