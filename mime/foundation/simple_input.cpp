// mime/foundation/simple_input.cpp - refilling and bulk reads of the light input stream
#include "mime/foundation/simple_input.hpp"

#include <cstring>
#include <istream>
#include <ostream>

iSimpleStream::iSimpleStream(char * buffer, int length, std::istream * source) {
    attach(reinterpret_cast<unsigned char *>(buffer), length, source);
}

iSimpleStream::iSimpleStream(signed char * buffer, int length, std::istream * source) {
    attach(reinterpret_cast<unsigned char *>(buffer), length, source);
}

iSimpleStream::iSimpleStream(unsigned char * buffer, int length, std::istream * source) {
    attach(buffer, length, source);
}

iSimpleStream::iSimpleStream(char * first, char * last, std::istream * source) {
    attach(reinterpret_cast<unsigned char *>(first), last - first, source);
}

iSimpleStream::iSimpleStream(signed char * first, signed char * last, std::istream * source) {
    attach(reinterpret_cast<unsigned char *>(first), last - first, source);
}

iSimpleStream::iSimpleStream(unsigned char * first, unsigned char * last, std::istream * source) {
    attach(first, last - first, source);
}

iSimpleStream::~iSimpleStream() = default;

void iSimpleStream::attach(unsigned char * first, std::ptrdiff_t length, std::istream * source) {
    if (first == nullptr) length = 0;
    base_ = first;
    end_ = first + std::max<std::ptrdiff_t>(length, 0);
    get_ = source != nullptr ? end_ : base_;
    source_ = source;
    good_ = first != nullptr;
}

bool iSimpleStream::Underflow() {
    if (source_ != nullptr && source_->good()) {
        source_->read(reinterpret_cast<char *>(base_), end_ - base_);
        get_ = base_;
        end_ = base_ + source_->gcount();
        if (get_ != end_) return true;
    }
    markEnded();
    return false;
}

iSimpleStream & iSimpleStream::get(char * buffer, int size, char delimiter) {
    getChars(reinterpret_cast<unsigned char *>(buffer), size > 0 ? size - 1 : 0,
             static_cast<unsigned char>(delimiter));
    return *this;
}

iSimpleStream & iSimpleStream::read(char * buffer, int size) {
    readChars(reinterpret_cast<unsigned char *>(buffer), size);
    return *this;
}

void iSimpleStream::readChars(unsigned char * buffer, int size) {
    count_ = 0;
    while (count_ < size && hasByte()) {
        std::size_t const part = std::min(unread(), static_cast<std::size_t>(size - count_));
        std::memcpy(buffer + count_, get_, part);
        get_ += part;
        count_ += static_cast<int>(part);
    }
}

void iSimpleStream::getChars(unsigned char * buffer, int limit, unsigned char delimiter) {
    count_ = 0;
    if (!good_ || limit < 1) return;
    int const most = limit - 1;
    bool delimiter_seen = false;
    while (count_ < most && !delimiter_seen && hasByte()) {
        std::size_t part = std::min(unread(), static_cast<std::size_t>(most - count_));
        if (void const * const found = std::memchr(get_, delimiter, part)) {
            part = static_cast<std::size_t>(static_cast<unsigned char const *>(found) - get_);
            delimiter_seen = true;
        }
        std::memcpy(buffer + count_, get_, part);
        get_ += part;
        count_ += static_cast<int>(part);
    }
    buffer[count_] = '\0';
}

std::ostream & iSimpleStream::Print(std::ostream & os) const {
    if (good_ && unread() > 0) {
        os.write(reinterpret_cast<char const *>(get_), static_cast<std::streamsize>(unread()));
    }
    return os;
}
