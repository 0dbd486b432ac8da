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

enum State { before_data, in_data, behind_data, behind_empty_line };

constexpr unsigned int most_bytes = 63;
constexpr std::size_t longest_line = 1 + most_bytes / 3 * 4;

bool begins_data(std::string_view line) {
    constexpr std::string_view word = "begin";
    return line.size() > word.size() && line[word.size()] == ' ' &&
           vellum::ascii::equal(line.substr(0, word.size()), word);
}

/// A line without the CR and the blanks at its end.
std::string_view without_blanks(std::string_view line) {
    return line.substr(0, line.find_last_not_of(" \t\r") + 1);
}

bool is_end_word(std::string_view line) { return without_blanks(line) == "end"; }

constexpr unsigned int value_of(char c) {
    unsigned char const code = vellum::ascii::byte(c);
    return code < 0x20 || code > 0x7F ? 0 : (code - 0x20U) & 0x3FU;
}

/// How many bytes a line tells that it holds; 0 for a line that ends the data.
std::size_t size_of_line(std::string_view line) {
    if (line.empty() || line[0] == '\r') return 0;
    return (vellum::ascii::byte(line[0]) - 0x20U) & 0x3FU;
}

/// Whether the line can be nothing but data: its characters are those of the encoding, and nearly
/// as many as its first one tells. Encoders add a checksum, and a blank or two get lost.
bool is_surely_data(std::string_view line) {
    constexpr std::size_t most_missing = 3;
    constexpr std::size_t most_added = 2;
    line = without_blanks(line);
    std::size_t const size = size_of_line(line);
    if (size == 0) return false;
    std::size_t const expected = 1 + (size + 2) / 3 * 4;
    return line.size() + most_missing >= expected && line.size() <= expected + most_added &&
           std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '`'; });
}

/// Whether the line is one of length 0 and no other text.
bool is_last_line(std::string_view line) {
    return size_of_line(line) == 0 && without_blanks(line).size() == 1;
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

void DecodingUU::noteEnd() {
    std::string_view const open(gathered_.data(), length_);
    defects.no_begin = state == before_data;
    bool const is_open = state == in_data || (state == behind_empty_line && is_surely_data(open));
    defects.no_end = is_open && (length_ == 0 || size_of_line(open) != 0) &&
                     !(rules.end_word_ends_data && is_end_word(open));
    if (!is_open) noteTextOutside(open);
}

void DecodingUU::writeTail() {
    noteEnd();
    if (state == in_data || state == behind_empty_line) {
        takeLine({gathered_.data(), std::exchange(length_, 0)});
    }
}

/// Keeps what may matter of a line that isn't complete yet.
void DecodingUU::gather(std::string_view text) {
    std::size_t const size = std::min(text.size(), gathered_.size() - length_);
    text.copy(gathered_.data() + length_, size);
    length_ += size;
}

/// A line without its LF. Returns the result of `decode` if the line is the last one.
int DecodingUU::takeLine(std::string_view line) {
    line = line.substr(0, gathered_.size()); // no more than of a line that comes in pieces
    switch (state) {
    case before_data:
        if (begins_data(line)) {
            state = in_data;
        } else {
            noteTextOutside(line);
        }
        return 1;
    case in_data:
        if (rules.end_word_ends_data && is_end_word(line)) {
            state = behind_data;
            has_end_ = true;
        } else {
            decodeLine(line);
        }
        return 1;
    case behind_empty_line:
        if (without_blanks(line).empty() && size_of_line(line) == 0) return 1;
        state = is_surely_data(line) || is_last_line(line) ? in_data : behind_data;
        return takeLine(line);
    default: noteTextOutside(line); return 0;
    }
}

/// Of the lines behind the data the first "end" belongs to them.
void DecodingUU::noteTextOutside(std::string_view line) {
    if (without_blanks(line).empty()) return;
    if (state == behind_data && !has_end_ && is_end_word(line)) {
        has_end_ = true;
    } else {
        defects.text_outside = true;
    }
}

void DecodingUU::decodeLine(std::string_view line) {
    std::size_t const size = size_of_line(line);
    if (size == 0) {
        bool const is_empty = line.empty() || line[0] == '\r';
        state = is_empty && rules.skip_empty_lines ? behind_empty_line : behind_data;
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
