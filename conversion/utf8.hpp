// conversion/utf8.hpp - UTF-8, the form that all text passes through
//
// Grammar:  RFC 3629 4. Bytes that don't fit it count as one replacement character for each maximal
//           part that begins a sequence which does, as Unicode recommends (chapter 3.9).
#pragma once

#include "conversion/output.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vellum::conversion {

inline constexpr char32_t replacement = 0xFFFD;
inline constexpr std::string_view replacement_text = "\xEF\xBF\xBD";

/// How many bytes from `p` on are ASCII.
inline std::size_t ascii_run(unsigned char const * p, unsigned char const * end) {
    unsigned char const * const begin = p;
    constexpr std::uint64_t high_bits = 0x8080808080808080U;
    while (end - p >= 8) {
        std::uint64_t block;
        std::memcpy(&block, p, sizeof block);
        if ((block & high_bits) != 0) break;
        p += 8;
    }
    while (p < end && *p < 0x80)
        ++p;
    return static_cast<std::size_t>(p - begin);
}

/// Moves ASCII from `p`, where there is some, to `put`, up to the first other byte or `end`. Up to
/// seven bytes behind the last one at `put` may be overwritten.
inline void copy_ascii(unsigned char const *& p, unsigned char const * end, unsigned char *& put) {
    *put++ = *p++;
    if (p == end || *p >= 0x80) return; // a space between words of another script
    constexpr std::uint64_t high_bits = 0x8080808080808080U;
    while (end - p >= 8) {
        std::uint64_t block;
        std::memcpy(&block, p, sizeof block);
        std::memcpy(put, &block, sizeof block);
        if ((block & high_bits) != 0) break;
        p += 8;
        put += 8;
    }
    while (p < end && *p < 0x80)
        *put++ = *p++;
}

/// A character, or what stands in its place.
struct Decoded {
    char32_t character; // `replacement` for a bad sequence
    unsigned length;    // the bytes that it takes
    bool valid;
};

/// The character at `p`, which is less than `end`.
inline Decoded decode_utf8(unsigned char const * p, unsigned char const * end) {
    unsigned char const lead = p[0];
    if (lead < 0x80) return {lead, 1, true};
    if (lead < 0xC2 || lead > 0xF4) return {replacement, 1, false};
    auto const available = static_cast<std::size_t>(end - p);
    if (lead < 0xE0 && available >= 2 && (p[1] & 0xC0U) == 0x80) { // most text outside of Asia
        return {(lead & 0x1FU) << 6 | (p[1] & 0x3FU), 2, true};
    }
    unsigned const length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // No overlong form, no surrogate and nothing above 0x10FFFF: the second byte settles it.
    unsigned char const low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char const high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (available < 2 || p[1] < low || p[1] > high) return {replacement, 1, false};
    if (length == 3 && available >= 3 && (p[2] & 0xC0U) == 0x80) { // and in it
        return {(lead & 0x0FU) << 12 | (p[1] & 0x3FU) << 6 | (p[2] & 0x3FU), 3, true};
    }
    char32_t character = (lead & (0x7FU >> length)) << 6 | (p[1] & 0x3FU);
    for (unsigned i = 2; i < length; ++i) {
        if (i >= available || (p[i] & 0xC0U) != 0x80) return {replacement, i, false};
        character = character << 6 | (p[i] & 0x3FU);
    }
    return {character, length, true};
}

/// Writes `character`, a valid one, to `p`, where there is room for four bytes; gives the place
/// behind it.
inline unsigned char * encode_utf8(char32_t character, unsigned char * p) {
    auto const byte = [](char32_t bits) { return static_cast<unsigned char>(bits); };
    if (character < 0x80) {
        *p++ = byte(character);
    } else if (character < 0x800) {
        *p++ = byte(0xC0 | character >> 6);
        *p++ = byte(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        *p++ = byte(0xE0 | character >> 12);
        *p++ = byte(0x80 | (character >> 6 & 0x3F));
        *p++ = byte(0x80 | (character & 0x3F));
    } else {
        *p++ = byte(0xF0 | character >> 18);
        *p++ = byte(0x80 | (character >> 12 & 0x3F));
        *p++ = byte(0x80 | (character >> 6 & 0x3F));
        *p++ = byte(0x80 | (character & 0x3F));
    }
    return p;
}

inline void append_utf8(char32_t character, Output & out) {
    out.reserve(4);
    out.set_put(encode_utf8(character, out.put()));
}

/// How many bytes at the end of `text` begin a character that isn't complete.
std::size_t cut_character(std::string_view text);

/// Copies `text`, with replacement characters for what is not UTF-8 in it.
void copy_utf8(std::string_view text, Output & out);

inline unsigned char const * first(std::string_view text) {
    return reinterpret_cast<unsigned char const *>(text.data());
}
inline unsigned char const * last(std::string_view text) { return first(text) + text.size(); }

} // namespace vellum::conversion
