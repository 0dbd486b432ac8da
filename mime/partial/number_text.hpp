// mime/partial/number_text.hpp - decimal numbers in the files of a partial store
#pragma once

#include <charconv>
#include <string_view>

namespace vellum {

/// Takes a decimal number, and the byte `end` behind it, from the start of `text`. False, and
/// nothing taken, if there is no such thing or the number is too large for an int.
inline bool take_number(std::string_view & text, char end, int & number) {
    // An index has hundreds of thousands of numbers, most of them of one digit.
    if (text.size() >= 2 && text[1] == end && text[0] >= '0' && text[0] <= '9') {
        number = text[0] - '0';
        text.remove_prefix(2);
        return true;
    }
    char const * const last = text.data() + text.size();
    auto const [next, error] = std::from_chars(text.data(), last, number);
    if (error != std::errc() || next == last || *next != end) return false;
    text.remove_prefix(static_cast<std::size_t>(next + 1 - text.data()));
    return true;
}

} // namespace vellum
