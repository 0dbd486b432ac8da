// mime/nls/character_boundary.hpp - where a piece of text may be cut off from the next one
#pragma once

#include <cstddef>
#include <string_view>

namespace vellum {

/// How many bytes at the end of `text`, in that code page, begin a character of several bytes that
/// isn't complete. 0 for a code page of single-byte characters.
std::size_t incomplete_tail(unsigned long code_page, std::string_view text) noexcept;

/// Whether a later byte of a character of that code page may be a byte of US-ASCII that isn't a
/// letter or a digit.
bool has_ascii_trail_bytes(unsigned long code_page) noexcept;

} // namespace vellum
