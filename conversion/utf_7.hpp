// conversion/utf_7.hpp - reads UTF-7
//
// Grammar:    RFC 2152.
// Tolerance:  a character that would have to be encoded stands for itself, as does a "+" that
//             begins no base64. Half a surrogate pair, and bits behind the last whole unit that
//             aren't zero or are as many as a digit, count as one replacement character.
#pragma once

#include "conversion/codec.hpp"

#include <cstdint>

namespace vellum::conversion {

class Utf7Reader {
public:
    /// As Codec::decode; reads all in any case.
    std::size_t decode(std::string_view text, End end, Output & utf8);

private:
    void take(char c, Output & utf8);
    void take_digit(unsigned digit, Output & utf8);
    void take_unit(char32_t unit, Output & utf8);
    void end_base64(Output & utf8);
    void end_pair(Output & utf8);

    bool is_base64_ = false;
    bool has_digits_ = false; // behind the "+"
    std::uint32_t bits_ = 0;  // of digits, the last ones
    unsigned bit_count_ = 0;  // of those that belong to no unit yet
    char32_t high_ = 0;       // the first half of a pair, or 0
};

} // namespace vellum::conversion
