// mime/nls/character_boundary.cpp - where a piece of text may be cut off from the next one
#include "mime/nls/character_boundary.hpp"

#include "mime/foundation/ascii.hpp"

#include <algorithm>
#include <array>

namespace vellum {

namespace {

using ascii::byte;

constexpr unsigned long utf_8 = 65001;

/// The length of a UTF-8 sequence by its first byte.
std::size_t utf_8_length(char lead) {
    unsigned char const b = byte(lead);
    if (b < 0xC2 || b > 0xF4) return 1;
    return b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : 2;
}

std::size_t utf_8_tail(std::string_view text) {
    std::size_t const reach = std::min<std::size_t>(text.size(), 3);
    for (std::size_t tail = 1; tail <= reach; ++tail) {
        char const c = text[text.size() - tail];
        if ((byte(c) & 0xC0U) != 0x80) return utf_8_length(c) > tail ? tail : 0;
    }
    return 0;
}

bool is_lead(unsigned long code_page, char c) {
    unsigned char const b = byte(c);
    bool const is_kana = (code_page == 932 || code_page == 942) && b >= 0xA0 && b <= 0xDF;
    return b >= 0x81 && b <= 0xFE && !is_kana;
}

/// A byte that can't begin a character ends it. Behind the last such byte the characters are
/// pairs.
std::size_t double_byte_tail(unsigned long code_page, std::string_view text) {
    auto const run_begin = std::find_if_not(text.rbegin(), text.rend(),
                                            [code_page](char c) { return is_lead(code_page, c); });
    return static_cast<std::size_t>(run_begin - text.rbegin()) % 2;
}

/// The code pages whose characters have one byte or two. The second may be any from 0x40 on.
constexpr std::array<unsigned long, 11> double_byte_pages{932, 942, 934,  944, 949, 936,
                                                          946, 938, 1381, 948, 950};

bool is_double_byte(unsigned long code_page) {
    return std::find(double_byte_pages.begin(), double_byte_pages.end(), code_page) !=
           double_byte_pages.end();
}

} // namespace

bool has_ascii_trail_bytes(unsigned long code_page) noexcept {
    constexpr unsigned long johab = 1361;
    constexpr unsigned long gb18030 = 54936;
    return is_double_byte(code_page) || code_page == johab || code_page == gb18030;
}

std::size_t incomplete_tail(unsigned long code_page, std::string_view text) noexcept {
    if (code_page == utf_8) return utf_8_tail(text);
    return is_double_byte(code_page) ? double_byte_tail(code_page, text) : 0;
}

} // namespace vellum
