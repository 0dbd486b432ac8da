// mime/foundation/simple_output.cpp - handing over, growing and bulk copies of the light output
// stream
#include "mime/foundation/simple_output.hpp"

#include "mime/foundation/simple_input.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <istream>
#include <limits>
#include <new>
#include <ostream>
#include <streambuf>
#include <utility>

namespace {

/// The buffer grows to this many times its size, so that few bytes are copied more than once.
constexpr std::size_t growth = 8;
/// What a bulk read asks of a stream without a buffer.
constexpr std::size_t first_bulk_request = 128;

constexpr std::size_t saturated_sum(std::size_t a, std::size_t b) {
    return b > SIZE_MAX - a ? SIZE_MAX : a + b;
}

constexpr std::size_t saturated_product(std::size_t a, std::size_t b) {
    return b != 0 && a > SIZE_MAX / b ? SIZE_MAX : a * b;
}

} // namespace

oSimpleStream::oSimpleStream(char * buffer, int length, std::ostream * sink) {
    attach(reinterpret_cast<unsigned char *>(buffer), length, sink);
}

oSimpleStream::oSimpleStream(signed char * buffer, int length, std::ostream * sink) {
    attach(reinterpret_cast<unsigned char *>(buffer), length, sink);
}

oSimpleStream::oSimpleStream(unsigned char * buffer, int length, std::ostream * sink) {
    attach(buffer, length, sink);
}

oSimpleStream::oSimpleStream(char * first, char * last, std::ostream * sink) {
    attach(reinterpret_cast<unsigned char *>(first), last - first, sink);
}

oSimpleStream::oSimpleStream(signed char * first, signed char * last, std::ostream * sink) {
    attach(reinterpret_cast<unsigned char *>(first), last - first, sink);
}

oSimpleStream::oSimpleStream(unsigned char * first, unsigned char * last, std::ostream * sink) {
    attach(first, last - first, sink);
}

oSimpleStream::~oSimpleStream() {
    try {
        if (sink_ != nullptr) handOver();
    } catch (...) { // the sink's state tells of it; out of a destructor it would end the process
    }
}

void oSimpleStream::attach(unsigned char * first, std::ptrdiff_t length, std::ostream * sink) {
    if (first == nullptr) length = 0;
    base_ = put_ = first;
    end_ = first + std::max<std::ptrdiff_t>(length, 0);
    sink_ = sink;
}

// the end of the buffer ------------------------------------------------------------

void oSimpleStream::Overflow(unsigned int request) {
    if (sink_ != nullptr) handOver();
    if (request > room()) grow(request);
}

void oSimpleStream::handOver() {
    std::size_t const size = pending();
    if (size == 0) return;
    // Before the write: if the sink throws, the destructor doesn't send the bytes once more.
    put_ = base_;
    flushed_ += static_cast<long long>(size);
    sink_->write(reinterpret_cast<char const *>(base_), static_cast<std::streamsize>(size));
}

void oSimpleStream::grow(std::size_t request) {
    std::size_t const kept = pending();
    std::size_t const size = static_cast<std::size_t>(end_ - base_);
    std::size_t capacity =
        base_ == nullptr
            ? saturated_product(growth, request)
            : saturated_sum(size, std::max(saturated_product(growth - 1, size), request));
    std::unique_ptr<unsigned char[]> block;
    if (capacity <= PTRDIFF_MAX) block.reset(new (std::nothrow) unsigned char[capacity]);
    if (!block) { // the least that will do, where so much can't be had
        capacity = saturated_sum(kept, request);
        block.reset(new unsigned char[capacity]);
    }
    if (kept > 0) std::memcpy(block.get(), base_, kept);
    allocated_ = std::move(block);
    base_ = allocated_.get();
    put_ = base_ + kept;
    end_ = base_ + capacity;
}

bool oSimpleStream::makeRoom() {
    Overflow(1);
    return room() > 0;
}

/// As much room as the buffer has in all, so that a bulk read has large steps. But a heap buffer
/// that nothing empties is filled first: a source that comes in drops would let it grow each time.
bool oSimpleStream::makeBulkRoom() {
    if (allocated_ != nullptr && sink_ == nullptr && room() > 0) return true;
    std::size_t const size = static_cast<std::size_t>(end_ - base_);
    Overflow(saturated(size > 0 ? size : first_bulk_request));
    return room() > 0;
}

void oSimpleStream::transferPastEnd(unsigned char const * data, std::size_t size) {
    while (size > 0) {
        if (size > room()) Overflow(saturated(size - room()));
        std::size_t const part = std::min(size, room());
        if (part == 0) return; // no room is to be had: the rest has no place to go
        std::memmove(put_, data, part);
        put_ += part;
        data += part;
        size -= part;
    }
}

// text and numbers -----------------------------------------------------------------

oSimpleStream & oSimpleStream::operator<<(char const * text) {
    return text != nullptr ? write(std::string_view(text)) : *this;
}

oSimpleStream & oSimpleStream::operator<<(signed char const * text) {
    return *this << reinterpret_cast<char const *>(text);
}

oSimpleStream & oSimpleStream::operator<<(unsigned char const * text) {
    return *this << reinterpret_cast<char const *>(text);
}

template <typename Number>
oSimpleStream & oSimpleStream::writeNumber(Number value) {
    char digits[std::numeric_limits<Number>::digits10 + 2]; // one more digit, and the sign
    auto const written = std::to_chars(std::begin(digits), std::end(digits), value);
    return write(std::string_view(digits, static_cast<std::size_t>(written.ptr - digits)));
}

oSimpleStream & oSimpleStream::operator<<(long value) { return writeNumber(value); }
oSimpleStream & oSimpleStream::operator<<(int value) { return writeNumber(value); }
oSimpleStream & oSimpleStream::operator<<(short value) { return writeNumber(value); }
oSimpleStream & oSimpleStream::operator<<(unsigned long value) { return writeNumber(value); }
oSimpleStream & oSimpleStream::operator<<(unsigned int value) { return writeNumber(value); }
oSimpleStream & oSimpleStream::operator<<(unsigned short value) { return writeNumber(value); }

// other streams --------------------------------------------------------------------

oSimpleStream & oSimpleStream::operator<<(iSimpleStream & in) {
    if (!in.good()) return *this;
    do {
        transfer(in.get_, in.unread());
    } while (in.Underflow());
    return *this;
}

oSimpleStream & oSimpleStream::operator<<(iSimpleStream * in) {
    return in != nullptr ? *this << *in : *this;
}

oSimpleStream & oSimpleStream::operator<<(oSimpleStream & other) {
    if (&other != this) transfer(other.base_, other.pending());
    return *this;
}

oSimpleStream & oSimpleStream::operator<<(oSimpleStream * other) {
    return other != nullptr ? *this << *other : *this;
}

oSimpleStream & oSimpleStream::operator<<(std::istream & in) {
    for (;;) {
        if (room() > 0) {
            in.read(reinterpret_cast<char *>(put_), static_cast<std::streamsize>(room()));
            put_ += in.gcount();
        }
        if (in.peek() == std::istream::traits_type::eof() || !makeBulkRoom()) return *this;
    }
}

oSimpleStream & oSimpleStream::operator<<(std::streambuf * in) {
    while (in != nullptr && makeBulkRoom() && in->sgetc() != std::streambuf::traits_type::eof()) {
        std::streamsize const read =
            in->sgetn(reinterpret_cast<char *>(put_), static_cast<std::streamsize>(room()));
        if (read <= 0) break;
        put_ += read;
    }
    return *this;
}

// state ----------------------------------------------------------------------------

int oSimpleStream::pcount() const {
    return static_cast<int>(std::min<long long>(pcountExact(), std::numeric_limits<int>::max()));
}

bool oSimpleStream::good() const { return base_ != nullptr && (sink_ == nullptr || sink_->good()); }

std::ostream & oSimpleStream::Print(std::ostream & os) const {
    if (sink_ != nullptr) {
        // Inserting nothing would set the error state of `os`, and the pending bytes be lost.
        std::streambuf * const written = sink_->rdbuf();
        if (written != nullptr && written->sgetc() != std::streambuf::traits_type::eof()) {
            os << written;
        }
    }
    if (pending() > 0) {
        os.write(reinterpret_cast<char const *>(base_), static_cast<std::streamsize>(pending()));
    }
    return os;
}
