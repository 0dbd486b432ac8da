// mime/header/scan_buffer.cpp - the text of one header field, edited while it is scanned
#include "mime/header/scan_buffer.hpp"

#include "mime/foundation/ascii.hpp"

#include <algorithm>
#include <cstring>

namespace vellum {

namespace {

constexpr std::size_t least_growth = 256;

} // namespace

ScanBuffer::ScanBuffer(char * text) : base_(text), end_(std::strlen(text)), original_size_(end_) {}

bool ScanBuffer::starts_with(Position position, std::string_view text) const {
    for (char const byte : text) {
        if (at(position++) != byte) return false;
    }
    return true;
}

Position ScanBuffer::find(char byte, Position from, Position to) const {
    auto const find_in = [&](char const * first, std::size_t count) -> char const * {
        return count == 0 ? nullptr : static_cast<char const *>(std::memchr(first, byte, count));
    };
    if (from < gap_begin_) {
        std::size_t const count = std::min(to, gap_begin_) - from;
        if (char const * found = find_in(base_ + from, count)) {
            return static_cast<Position>(found - base_);
        }
        from += count;
    }
    if (from >= to) return to;
    char const * const found = find_in(base_ + from + gap(), to - from);
    return found == nullptr ? to : static_cast<Position>(found - base_) - gap();
}

Position ScanBuffer::pass_blanks(Position from, Position to) const {
    while (from < to && ascii::is_blank(at(from)))
        ++from;
    return from;
}

std::string_view ScanBuffer::view(Position from, Position to) {
    if (from < gap_begin_ && gap_begin_ < to) move_gap(from);
    return {base_ + from + (from < gap_begin_ ? 0 : gap()), to - from};
}

void ScanBuffer::copy(Position from, Position to, std::string & out) const {
    if (from < gap_begin_) out.append(base_ + from, std::min(to, gap_begin_) - from);
    from = std::max(from, gap_begin_);
    if (from < to) out.append(base_ + from + gap(), to - from);
}

void ScanBuffer::put(Position position, char byte) {
    base_[position < gap_begin_ ? position : position + gap()] = byte;
}

void ScanBuffer::replace(Position from, Position to, std::string_view text) {
    if (text.empty() && to == size() && from >= gap_begin_) { // the text just ends earlier
        end_ -= to - from;
        return;
    }
    // The gap comes to the nearest place within what goes.
    move_gap(std::clamp(gap_begin_, from, to));
    gap_end_ += to - gap_begin_;
    gap_begin_ = from;
    if (gap() < text.size()) grow(text.size());
    std::copy(text.begin(), text.end(), base_ + gap_begin_);
    gap_begin_ += text.size();
    moved_ += text.size();
}

void ScanBuffer::move_gap(Position position) {
    if (behind() == 0) close_gap();
    if (gap() != 0) {
        Position const first = std::min(position, gap_begin_);
        std::size_t const count = std::max(position, gap_begin_) - first;
        if (position < gap_begin_) {
            std::memmove(base_ + first + gap(), base_ + first, count);
        } else {
            std::memmove(base_ + first, base_ + first + gap(), count);
        }
        moved_ += count;
    }
    gap_end_ = position + gap();
    gap_begin_ = position;
}

/// Moves the shorter side of the text to the other one. The gap's room is lost.
void ScanBuffer::close_gap() {
    std::size_t const room = gap();
    if (gap_begin_ < behind()) {
        std::memmove(base_ + room, base_, gap_begin_);
        moved_ += gap_begin_;
        base_ += room;
    } else {
        std::memmove(base_ + gap_begin_, base_ + gap_end_, behind());
        moved_ += behind();
    }
    end_ -= room;
    gap_end_ = gap_begin_;
}

/// Makes the gap at least `needed` bytes wide, and then some, in proportion to the text: not much,
/// as the caller's memory stays in use beside this.
void ScanBuffer::grow(std::size_t needed) {
    std::size_t const kept = behind();
    std::size_t const capacity = size() + needed + std::max<std::size_t>(size() / 4, least_growth);
    std::unique_ptr<char[]> larger(new char[capacity + 1]);
    std::memcpy(larger.get(), base_, gap_begin_);
    std::memcpy(larger.get() + capacity - kept, base_ + gap_end_, kept);
    moved_ += size();
    own_ = std::move(larger);
    base_ = own_.get();
    gap_end_ = capacity - kept;
    end_ = capacity;
}

char * ScanBuffer::whole() {
    if (gap() != 0) close_gap();
    base_[end_] = '\0';
    return base_;
}

bool ScanBuffer::is_whole_cheap() const {
    return gap() == 0 ||
           moved_ + std::min(gap_begin_, behind()) + 2 * behind() <= 2 * original_size_;
}

Terminated::Terminated(ScanBuffer & buffer, std::initializer_list<Span> spans) : buffer_(buffer) {
    Position last = 0;
    for (Span const & span : spans) {
        if (span) last = std::max(last, span.end);
    }
    if (last > buffer.gap_begin_) buffer.move_gap(last);
    for (Span const & span : spans) {
        if (!span) continue;
        char * const place = buffer.base_ + span.end;
        saved_[count_++] = {place, *place};
        *place = '\0';
    }
}

Terminated::~Terminated() {
    while (count_ > 0) {
        --count_;
        *saved_[count_].place = saved_[count_].byte;
    }
}

char const * Terminated::text(Span const & span) const {
    return span ? buffer_.base_ + span.begin : nullptr;
}

} // namespace vellum
