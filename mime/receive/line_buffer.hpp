// mime/receive/line_buffer.hpp - the one growing block that a line is gathered in
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace vellum {

/// Bytes 0 to length are in use, and a NUL stands behind them. Growing keeps the content, and a
/// growth that can't be had leaves everything as it was.
class LineBuffer {
public:
    /// Throws std::bad_alloc like operator new.
    explicit LineBuffer(std::size_t capacity);

    char * data() { return data_.get(); }
    std::size_t length() const { return length_; }
    std::string_view view() const { return {data_.get(), length_}; }

    /// False when there is no memory for it.
    bool append(std::string_view bytes);
    /// Keeps the first `length` bytes.
    void truncate(std::size_t length);
    /// Drops the first `count` bytes.
    void drop_front(std::size_t count);
    /// Drops all, and gives the memory back if it is more than `capacity` bytes.
    void reset(std::size_t capacity);

private:
    struct Free {
        void operator()(char * block) const { std::free(block); }
    };

    bool reserve(std::size_t length);
    bool reallocate(std::size_t capacity);

    std::unique_ptr<char, Free> data_;
    std::size_t length_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace vellum
