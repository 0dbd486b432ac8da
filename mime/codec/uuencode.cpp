// mime/codec/uuencode.cpp - uuencode, line by line, where a line may arrive in pieces
//
// Grammar:    "begin " mode " " name, then lines of a length character and groups of four
//             characters for three bytes, a line of length 0, "end". A character stands for its
//             code less 32, in 6 bits, so that both " " and "`" are 0.
// Tolerance:  short lines, as trailing blanks are lost in transit; "end" may be missing.
// Bounds:     at most 85 characters of a line are looked at, so that no more are ever gathered.
#include "mime/codec/uuencode.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_input.hpp"
#include "mime/foundation/simple_output.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

enum State { before_data, in_data, behind_data };

constexpr unsigned int most_bytes = 63;
constexpr std::size_t longest_line = 1 + most_bytes / 3 * 4;

bool begins_data(std::string_view line) {
    constexpr std::string_view word = "begin";
    return line.size() > word.size() && line[word.size()] == ' ' &&
           vellum::ascii::equal(line.substr(0, word.size()), word);
}

constexpr unsigned int value_of(char c) {
    unsigned char const code = vellum::ascii::byte(c);
    return code < 0x20 || code > 0x7F ? 0 : (code - 0x20U) & 0x3FU;
}

} // namespace

DecodingUU::DecodingUU() { static_assert(longest_line <= std::tuple_size_v<decltype(gathered_)>); }

DecodingUU::~DecodingUU() { flushAtEnd(); }

int DecodingUU::decode(iSimpleStream * in, oSimpleStream * out) {
    output = out;
    int result = 1;
    while (in->peek() >= 0) {
        std::string_view const span(reinterpret_cast<char const *>(in->iGetPtr(0)),
                                    std::min(in->iBufCnt(), 1U << 30));
        std::size_t const line_feed = span.find('\n');
        std::string_view const text = span.substr(0, line_feed);
        bool const is_whole = line_feed != std::string_view::npos;
        if (is_whole && length_ == 0) {
            result = takeLine(text);
        } else {
            gather(text);
            if (is_whole) {
                std::size_t const length = std::exchange(length_, 0);
                result = takeLine({gathered_.data(), length});
            }
        }
        in->iGetPtr(static_cast<long>(text.size() + (is_whole ? 1 : 0)));
    }
    return result;
}

void DecodingUU::writeTail() {
    if (state == in_data) takeLine({gathered_.data(), std::exchange(length_, 0)});
}

/// Keeps what may matter of a line that isn't complete yet.
void DecodingUU::gather(std::string_view text) {
    std::size_t const size = std::min(text.size(), gathered_.size() - length_);
    text.copy(gathered_.data() + length_, size);
    length_ += size;
}

/// A line without its LF. Gives the result of `decode` if it is the last one.
int DecodingUU::takeLine(std::string_view line) {
    switch (state) {
    case before_data:
        if (begins_data(line)) state = in_data;
        return 1;
    case in_data: decodeLine(line); return 1;
    default: return 0;
    }
}

void DecodingUU::decodeLine(std::string_view line) {
    char const length_character = line.empty() ? '\r' : line[0];
    std::size_t const size = (vellum::ascii::byte(length_character) - 0x20U) & 0x3FU;
    if (size == 0 || length_character == '\r') {
        state = behind_data;
        return;
    }
    // What the line is too short for stays 0.
    std::array<unsigned int, longest_line + 3> values{};
    std::string_view const text = line.substr(1, longest_line - 1);
    for (std::size_t i = 0; i < text.size(); ++i)
        values[i] = value_of(text[i]);

    std::array<unsigned char, most_bytes> bytes;
    for (std::size_t i = 0; i * 3 < size; ++i) {
        unsigned int const * const v = &values[i * 4];
        unsigned int const group = v[0] << 18 | v[1] << 12 | v[2] << 6 | v[3];
        bytes[i * 3] = static_cast<unsigned char>(group >> 16);
        bytes[i * 3 + 1] = static_cast<unsigned char>(group >> 8);
        bytes[i * 3 + 2] = static_cast<unsigned char>(group);
    }
    output->write(bytes.data(), static_cast<int>(size));
}
