// conversion/utf_7.cpp - reads UTF-7
#include "conversion/utf_7.hpp"

#include "conversion/utf8.hpp"

namespace vellum::conversion {

namespace {

constexpr unsigned bits_of_digit = 6;
constexpr unsigned bits_of_unit = 16;
constexpr unsigned no_digit = 64;

unsigned digit_of(char c) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::size_t const place = digits.find(c);
    return place != digits.npos ? static_cast<unsigned>(place) : no_digit;
}

} // namespace

std::size_t Utf7Reader::decode(std::string_view text, End end, Output & utf8) {
    for (char const c : text) {
        take(c, utf8);
    }
    if (end == End::of_text && is_base64_) end_base64(utf8);
    return text.size();
}

void Utf7Reader::take(char c, Output & utf8) {
    if (is_base64_) {
        if (unsigned const digit = digit_of(c); digit != no_digit) {
            take_digit(digit, utf8);
            return;
        }
        end_base64(utf8);
        if (c == '-') return;
    }
    if (c == '+') {
        is_base64_ = true;
    } else if ((c & 0x80) != 0) {
        utf8.append(replacement_text);
    } else {
        utf8.append(c);
    }
}

void Utf7Reader::take_digit(unsigned digit, Output & utf8) {
    has_digits_ = true;
    bits_ = bits_ << bits_of_digit | digit;
    bit_count_ += bits_of_digit;
    if (bit_count_ < bits_of_unit) return;
    bit_count_ -= bits_of_unit;
    take_unit(bits_ >> bit_count_ & 0xFFFF, utf8);
}

void Utf7Reader::take_unit(char32_t unit, Output & utf8) {
    bool const is_low = unit >= 0xDC00 && unit <= 0xDFFF;
    if (high_ != 0 && is_low) {
        append_utf8(0x10000 + ((high_ - 0xD800) << 10) + (unit - 0xDC00), utf8);
        high_ = 0;
        return;
    }
    end_pair(utf8);
    if (unit >= 0xD800 && unit <= 0xDBFF) {
        high_ = unit;
    } else {
        append_utf8(is_low ? replacement : unit, utf8);
    }
}

/// A "+-" stands for the plus as well.
void Utf7Reader::end_base64(Output & utf8) {
    end_pair(utf8);
    std::uint32_t const left = bits_ & ((1U << bit_count_) - 1);
    if (left != 0 || bit_count_ >= bits_of_digit) utf8.append(replacement_text);
    if (!has_digits_) utf8.append('+');
    is_base64_ = false;
    has_digits_ = false;
    bits_ = 0;
    bit_count_ = 0;
}

void Utf7Reader::end_pair(Output & utf8) {
    if (high_ != 0) utf8.append(replacement_text);
    high_ = 0;
}

} // namespace vellum::conversion
