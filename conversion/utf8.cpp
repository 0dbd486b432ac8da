// conversion/utf8.cpp - UTF-8, the form that all text passes through
#include "conversion/utf8.hpp"

#include <algorithm>

namespace vellum::conversion {

namespace {

/// Text is looked at and copied in blocks that stay in the processor's cache in between.
constexpr std::ptrdiff_t block_size = 16384;

/// The place behind the valid text at `p`, or one behind `limit` where the text goes on.
unsigned char const * valid_end(unsigned char const * p, unsigned char const * limit,
                                unsigned char const * end) {
    auto const continues = [](unsigned char byte) { return (byte & 0xC0U) == 0x80; };
    while (p < limit) {
        unsigned char const lead = *p;
        if (lead < 0x80) {
            p += ascii_run(p, limit);
            continue;
        }
        // The sequences of two bytes, and of three whose second byte may have any value, are those
        // that most text is made of.
        while (end - p >= 3 && *p >= 0xC2 && *p < 0xE0 && continues(p[1]))
            p += 2;
        while (end - p >= 3 && *p > 0xE0 && *p < 0xF0 && *p != 0xED && continues(p[1]) &&
               continues(p[2]))
            p += 3;
        if (p >= limit || *p < 0x80) continue;
        Decoded const decoded = decode_utf8(p, end);
        if (!decoded.valid) break;
        p += decoded.length;
    }
    return p;
}

} // namespace

std::size_t cut_character(std::string_view text) {
    constexpr std::size_t longest_cut = 3;
    std::size_t const reach = std::min(text.size(), longest_cut);
    for (std::size_t size = 1; size <= reach; ++size) {
        unsigned char const * const p = last(text) - size;
        if ((*p & 0xC0U) == 0x80) continue;
        std::size_t const needed = *p < 0xC0 ? 1 : *p < 0xE0 ? 2 : *p < 0xF0 ? 3 : 4;
        Decoded const decoded = decode_utf8(p, last(text));
        bool const is_begun = decoded.length == size && *p >= 0xC2 && *p <= 0xF4;
        return is_begun && size < needed ? size : 0;
    }
    return 0;
}

void copy_utf8(std::string_view text, Output & out) {
    unsigned char const * p = first(text);
    unsigned char const * const end = last(text);
    out.reserve(text.size());
    while (p < end) {
        unsigned char const * const limit = p + std::min(block_size, end - p);
        unsigned char const * const valid = valid_end(p, limit, end);
        out.append({reinterpret_cast<char const *>(p), static_cast<std::size_t>(valid - p)});
        p = valid;
        if (p < limit) {
            out.append(replacement_text);
            p += decode_utf8(p, end).length;
        }
    }
}

} // namespace vellum::conversion
