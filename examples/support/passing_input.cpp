// examples/support/passing_input.cpp - an input that goes on to an output while a note reads it
#include "examples/support/passing_input.hpp"

#include <algorithm>
#include <string_view>

namespace examples {

void PassingInput::Remove(long long offset, std::ostream * out) {
    long long const end = std::min(offset, block_end());
    if (end <= done_) return;
    if (done_ < block_start_) held_.Remove(std::min(end, block_start_) - done_, out);
    long long const begin = std::max(done_, block_start_);
    if (out != nullptr && begin < end) out->write(eback() + (begin - block_start_), end - begin);
    done_ = end;
}

PassingInput::int_type PassingInput::underflow() {
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    if (passes_all_) Pass(block_end());
    long long const begin = std::max(done_, block_start_);
    if (begin < block_end()) {
        held_.Append({eback() + (begin - block_start_), egptr()});
    }
    block_start_ = block_end();
    setg(nullptr, nullptr, nullptr); // in case the source throws
    if (!out_) return traits_type::eof();
    auto const size = source_.sgetn(block_.data(), static_cast<std::streamsize>(block_.size()));
    setg(block_.data(), block_.data(), block_.data() + size);
    return size > 0 ? traits_type::to_int_type(block_[0]) : traits_type::eof();
}

void PassingInput::PassRest() {
    PassAll(true);
    do {
        Pass(block_end());
        setg(eback(), egptr(), egptr());
    } while (underflow() != traits_type::eof());
}

} // namespace examples
