// mime/send/random_text.cpp - 128 random bits as letters and digits, for ids and boundaries
#include "mime/send/random_text.hpp"

#include "mime/platform/random.hpp"

#include <array>
#include <cstddef>
#include <string_view>

namespace vellum {

std::string random_text() {
    constexpr std::string_view digits = "abcdefghijklmnopqrstuvwxyz234567";
    constexpr unsigned digit_bits = 5;
    std::array<std::byte, 16> bytes{};
    if (!platform::random_bytes(bytes)) return {};
    std::string text;
    unsigned bits = 0;
    unsigned pending = 0;
    for (std::byte const next : bytes) {
        bits = (bits << 8) | std::to_integer<unsigned>(next);
        for (pending += 8; pending >= digit_bits; pending -= digit_bits)
            text += digits[(bits >> (pending - digit_bits)) & 31U];
        bits &= (1U << pending) - 1;
    }
    text += digits[(bits << (digit_bits - pending)) & 31U];
    return text;
}

} // namespace vellum
