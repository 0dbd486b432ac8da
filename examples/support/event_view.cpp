// examples/support/event_view.cpp - a message as the calls that it makes, one line each
#include "examples/support/event_view.hpp"

#include <algorithm>

namespace examples {

namespace {

constexpr std::size_t longest_line = 64;

} // namespace

void QuotedLines::Buffer::Finish() {
    if (line_.empty()) return;
    out_ << word_ << ' ' << quoted(line_) << '\n';
    line_.clear();
}

QuotedLines::Buffer::int_type QuotedLines::Buffer::overflow(int_type byte) {
    if (!traits_type::eq_int_type(byte, traits_type::eof())) Put(traits_type::to_char_type(byte));
    return traits_type::not_eof(byte);
}

std::streamsize QuotedLines::Buffer::xsputn(char const * data, std::streamsize size) {
    std::for_each_n(data, size, [this](char byte) { Put(byte); });
    return size;
}

void QuotedLines::Buffer::Put(char byte) {
    line_ += byte;
    if (byte == '\n' || line_.size() == longest_line) Finish();
}

} // namespace examples
