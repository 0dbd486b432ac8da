// mime/partial/file_names.cpp - the names of the files of a partial store
#include "mime/partial/file_names.hpp"

#include "mime/platform/platform.hpp"

#include <cstdint>

namespace vellum {

namespace {

constexpr std::string_view hex_digits = "0123456789ABCDEF";

/// The value of a number of upper-case hexadecimal digits; -1 if there is any other byte.
int hex_value(std::string_view digits) {
    int value = 0;
    for (char const c : digits) {
        std::size_t const digit = hex_digits.find(c);
        if (digit == hex_digits.npos) return -1;
        value = value * 16 + static_cast<int>(digit);
    }
    return value;
}

int low_bits(int number, int bits) {
    return static_cast<int>(static_cast<unsigned int>(number) & ((1U << bits) - 1));
}

/// Appends a number's lowest digits.
void append_hex(std::string & text, std::uint32_t number, int digits) {
    for (int shift = 4 * digits; (shift -= 4) >= 0;)
        text += hex_digits[number >> shift & 0xF];
}

constexpr std::string_view scratch_start = "MailPart.";
constexpr std::string_view scratch_end = ".tmp";
constexpr int scratch_digits = 8;

} // namespace

FragmentKey fragment_key(int message, int fragment) {
    return {low_bits(message, message_key_bits), low_bits(fragment, fragment_key_bits)};
}

std::string fragment_file_name(FragmentKey key) {
    std::string name = "Msg";
    append_hex(name, static_cast<std::uint32_t>(key.message), message_key_bits / 4);
    name += '.';
    append_hex(name, static_cast<std::uint32_t>(key.fragment), fragment_key_bits / 4);
    return name;
}

std::optional<FragmentKey> parse_fragment_file_name(std::string_view name) {
    constexpr std::string_view form = "MsgXXXXX.XXX";
    if (name.size() != form.size() || name.substr(0, 3) != "Msg" || name[8] != '.') return {};
    FragmentKey const key{hex_value(name.substr(3, 5)), hex_value(name.substr(9))};
    if (key.message < 0 || key.fragment < 0) return {};
    return key;
}

std::string scratch_file_name(unsigned int attempt) {
    // What the bits are doesn't matter much, since a file is only made where there is none.
    std::uint64_t const moment = static_cast<std::uint64_t>(platform::now());
    std::uint64_t const seed = (moment << 20U) ^ (platform::thread_number() << 8U) ^ attempt;
    std::string name(scratch_start);
    append_hex(name, static_cast<std::uint32_t>((seed * 0x9E3779B97F4A7C15U) >> 32U),
               scratch_digits);
    return name.append(scratch_end);
}

bool is_scratch_file_name(std::string_view name) {
    return name.size() == scratch_start.size() + scratch_digits + scratch_end.size() &&
           name.starts_with(scratch_start) && name.ends_with(scratch_end) &&
           name.find_first_not_of(hex_digits, scratch_start.size()) ==
               name.size() - scratch_end.size();
}

} // namespace vellum
