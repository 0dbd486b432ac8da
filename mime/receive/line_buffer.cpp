// mime/receive/line_buffer.cpp - the one growing block that a line is gathered in
#include "mime/receive/line_buffer.hpp"

#include <cstring>
#include <limits>
#include <new>

namespace vellum {

namespace {

constexpr std::size_t growth_factor = 4;

} // namespace

LineBuffer::LineBuffer(std::size_t capacity) {
    if (!reserve(capacity - 1)) throw std::bad_alloc();
    truncate(0);
}

bool LineBuffer::append(std::string_view bytes) {
    if (bytes.size() >= std::numeric_limits<std::size_t>::max() - length_) return false;
    if (!reserve(length_ + bytes.size())) return false;
    std::memcpy(data() + length_, bytes.data(), bytes.size());
    truncate(length_ + bytes.size());
    return true;
}

void LineBuffer::truncate(std::size_t length) {
    length_ = length;
    data()[length] = '\0';
}

void LineBuffer::drop_front(std::size_t count) {
    std::memmove(data(), data() + count, length_ - count);
    truncate(length_ - count);
}

void LineBuffer::reset(std::size_t capacity) {
    truncate(0);
    if (capacity_ <= capacity) return;
    reallocate(capacity); // where that fails, the larger block serves as well
}

bool LineBuffer::reserve(std::size_t length) {
    if (length < capacity_) return true;
    // The pages of the generous block that no line reaches are never touched; a system that
    // refuses it may still have what this line needs.
    std::size_t const exact = length + 1;
    std::size_t const generous = capacity_ > std::numeric_limits<std::size_t>::max() / growth_factor
                                     ? exact
                                     : capacity_ * growth_factor;
    return reallocate(generous < exact ? exact : generous) || reallocate(exact);
}

bool LineBuffer::reallocate(std::size_t capacity) {
    char * const block = static_cast<char *>(std::realloc(data_.get(), capacity));
    if (block == nullptr) return false;
    static_cast<void>(data_.release()); // realloc has freed it
    data_.reset(block);
    capacity_ = capacity;
    return true;
}

} // namespace vellum
