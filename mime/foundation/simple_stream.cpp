// mime/foundation/simple_stream.cpp - turns a stage from writing to reading and back
#include "mime/foundation/simple_stream.hpp"

#include <algorithm>

ioSimpleStream::ioSimpleStream(char * buffer, int length, int used)
    : iSimpleStream(buffer, length), oSimpleStream(buffer, length) {
    put_ += std::clamp<std::ptrdiff_t>(used, 0, oSimpleStream::end_ - put_);
}

ioSimpleStream::ioSimpleStream(char * first, char * last, char * put)
    : iSimpleStream(first, last), oSimpleStream(first, last) {
    if (put != nullptr) put_ += std::clamp<std::ptrdiff_t>(put - first, 0, last - first);
}

ioSimpleStream::~ioSimpleStream() = default;

ioSimpleStream & ioSimpleStream::rewind() {
    constexpr std::ptrdiff_t terminators = 2;
    for (std::ptrdiff_t i = 0; i < terminators; ++i)
        put('\0');
    if (put_ - oSimpleStream::base_ >= terminators) put_ -= terminators;
    iSimpleStream::base_ = get_ = oSimpleStream::base_;
    iSimpleStream::end_ = put_;
    count_ = 0;
    good_ = get_ != nullptr;
    return *this;
}

ioSimpleStream & ioSimpleStream::reInit() {
    iSimpleStream::base_ = get_ = put_ = oSimpleStream::base_;
    iSimpleStream::end_ = oSimpleStream::end_;
    count_ = 0;
    good_ = get_ != nullptr;
    return *this;
}

std::ostream & ioSimpleStream::Print(std::ostream & os) const { return oSimpleStream::Print(os); }
