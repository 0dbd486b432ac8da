// mime/foundation/ascii.hpp - the character classes of mail text, free of any locale
//
// Header names, media types and parameters are ASCII by RFC 822, and two machines with different
// locales have to read one message alike; so nothing here asks <cctype>.
#pragma once

#include <cstddef>
#include <string_view>

namespace vellum::ascii {

constexpr unsigned char byte(char c) { return static_cast<unsigned char>(c); }

constexpr char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// SP and HT, the white space that can occur within an unfolded header field.
constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }

/// 0x00 to 0x1F and 0x7F. NUL counts, so that every scan stops at the end of a C string.
constexpr bool is_control(char c) { return byte(c) < 0x20 || byte(c) == 0x7F; }

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Below, at or above 0 as `a` sorts before, with or behind `b`, without regard to case.
constexpr int compare(std::string_view a, std::string_view b) {
    std::size_t const common = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < common; ++i) {
        int const difference = byte(to_lower(a[i])) - byte(to_lower(b[i]));
        if (difference != 0) return difference;
    }
    if (a.size() == b.size()) return 0;
    return a.size() < b.size() ? -1 : 1;
}

constexpr bool equal(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i] && to_lower(a[i]) != to_lower(b[i])) return false;
    }
    return true;
}

} // namespace vellum::ascii
