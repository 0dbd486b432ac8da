// mime/nls/utf_8.cpp - which bytes are UTF-8, and which are no text at all (RFC 3629)
#include "mime/nls/utf_8.hpp"

#include "mime/foundation/ascii.hpp"

#include <cstdint>
#include <cstring>

namespace vellum::utf_8 {

namespace {

using ascii::byte;

/// How a character begins: its length, and the range of its second byte.
struct Lead {
    std::size_t length; ///< 0 for a byte that begins no character of several bytes
    unsigned char second_min;
    unsigned char second_max;
};

// UTF8-2 to UTF8-4 of RFC 3629 4: no longer forms than needed, no surrogates, nothing beyond
// U+10FFFF.
constexpr Lead lead_of(unsigned char b) {
    if (b < 0xC2 || b > 0xF4) return {0, 0, 0};
    if (b < 0xE0) return {2, 0x80, 0xBF};
    if (b == 0xE0) return {3, 0xA0, 0xBF};
    if (b == 0xED) return {3, 0x80, 0x9F};
    if (b < 0xF0) return {3, 0x80, 0xBF};
    if (b == 0xF0) return {4, 0x90, 0xBF};
    if (b == 0xF4) return {4, 0x80, 0x8F};
    return {4, 0x80, 0xBF};
}

/// How many bytes at the start of `text` belong to the character that its first byte begins.
std::size_t matched_length(std::string_view text, Lead const & lead) {
    std::size_t n = 1;
    for (; n < lead.length && n < text.size(); ++n) {
        unsigned char const b = byte(text[n]);
        bool const fits =
            n == 1 ? b >= lead.second_min && b <= lead.second_max : (b & 0xC0U) == 0x80;
        if (!fits) break;
    }
    return n;
}

} // namespace

bool is_ascii(std::string_view text) noexcept {
    constexpr std::uint64_t high_bits = 0x8080808080808080U;
    auto const word_at = [&](std::size_t at) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, sizeof word);
        return word;
    };
    std::uint64_t bits = 0;
    if (text.size() < sizeof bits) {
        for (char const c : text)
            bits |= byte(c);
        return bits < 0x80;
    }
    std::size_t n = 0;
    for (std::size_t const last = text.size() - sizeof bits; n < last; n += sizeof bits)
        bits |= word_at(n);
    return ((bits | word_at(text.size() - sizeof bits)) & high_bits) == 0;
}

std::size_t ascii_length(std::string_view text) noexcept {
    constexpr std::size_t block = 64;
    std::size_t n = 0;
    while (text.size() - n >= block && is_ascii(text.substr(n, block)))
        n += block;
    while (n < text.size() && byte(text[n]) < 0x80)
        ++n;
    return n;
}

std::size_t valid_length(std::string_view text) noexcept {
    std::size_t n = 0;
    for (;;) {
        n += ascii_length(text.substr(n));
        for (; n < text.size() && byte(text[n]) >= 0x80;) {
            std::string_view const rest = text.substr(n, 4);
            Lead const lead = lead_of(byte(rest[0]));
            if (lead.length == 0 || matched_length(rest, lead) < lead.length) return n;
            n += lead.length;
        }
        if (n == text.size()) return n;
    }
}

Broken broken_start(std::string_view text) noexcept {
    Lead const lead = lead_of(byte(text[0]));
    if (lead.length == 0) return {1, false};
    std::size_t const length = matched_length(text, lead);
    return {length, length == text.size()};
}

} // namespace vellum::utf_8
