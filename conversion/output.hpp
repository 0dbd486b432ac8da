// conversion/output.hpp - where a translation writes: the engine's buffer, or a larger one of its
// own
#pragma once

#include "conversion/blocks.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

namespace vellum::conversion {

struct ReleaseBlock {
    void operator()(unsigned char * block) const { Blocks::of_process().release(block); }
};
using Block = std::unique_ptr<unsigned char, ReleaseBlock>;

/// Bytes at the end of a buffer that moves to the heap when it has to grow. Throws std::bad_alloc,
/// with all that was written still in place.
class Output {
public:
    /// Into `capacity` bytes at `buffer`, not owned; null for none.
    Output(unsigned char * buffer, std::size_t capacity)
        : begin_(buffer), put_(buffer), end_(buffer == nullptr ? buffer : buffer + capacity) {}
    Output() : Output(nullptr, 0) {}
    Output(Output const &) = delete;
    Output & operator=(Output const &) = delete;

    /// Makes room for `size` bytes at `put()`, and for no less.
    void reserve(std::size_t size) {
        if (room() < size) grow(size);
    }

    void reserve(std::size_t count, std::size_t bytes_each) {
        if (count > SIZE_MAX / bytes_each) throw std::bad_alloc();
        reserve(count * bytes_each);
    }

    /// Where the next byte goes. A writer that has reserved room writes there itself, and then
    /// tells where it came to.
    unsigned char * put() const { return put_; }
    void set_put(unsigned char * put) { put_ = put; }
    std::size_t room() const { return static_cast<std::size_t>(end_ - put_); }

    void append(std::string_view bytes);
    void append(char byte) { append(std::string_view(&byte, 1)); }

    std::size_t size() const { return static_cast<std::size_t>(put_ - begin_); }
    std::string_view view() const { return {reinterpret_cast<char const *>(begin_), size()}; }
    void truncate(std::size_t size) { put_ = begin_ + size; }

    unsigned char const * begin() const { return begin_; }

    /// The heap block, one of Blocks; null if the caller's buffer still holds all.
    unsigned char * release() { return block_.release(); }

private:
    void grow(std::size_t size);

    unsigned char * begin_;
    unsigned char * put_;
    unsigned char * end_;
    Block block_;
};

} // namespace vellum::conversion
