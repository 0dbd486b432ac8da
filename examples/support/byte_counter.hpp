// examples/support/byte_counter.hpp - a stream that counts what is written to it, and keeps nothing
#pragma once

#include <ostream>
#include <streambuf>

namespace examples {

class ByteCounter {
public:
    long long count() const { return buffer_.count; }
    void reset() { buffer_.count = 0; }
    std::ostream & stream() { return stream_; }

private:
    struct Buffer : std::streambuf {
        int_type overflow(int_type byte) override {
            ++count;
            return traits_type::not_eof(byte);
        }
        std::streamsize xsputn(char const *, std::streamsize size) override {
            count += size;
            return size;
        }
        long long count = 0;
    };
    Buffer buffer_;
    std::ostream stream_{&buffer_};
};

} // namespace examples
