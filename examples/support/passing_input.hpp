// examples/support/passing_input.hpp - an input that goes on to an output while a note reads it
//
//     what has gone        what waits                      what the note reads next
//     (passed or dropped)  (held, then the block's start)
//     0 ------------------ done ------------- block ------- taken ------------- block's end
//
// The note learns from the offsets of its calls what each byte belongs to, and says what becomes of
// it: Pass and Drop take everything that still waits in front of an offset.
#pragma once

#include "examples/support/held_bytes.hpp"

#include <array>
#include <cstddef>
#include <ostream>
#include <streambuf>

namespace examples {

class PassingInput : public std::streambuf {
public:
    /// Both outlive the object. It reads no further once `out` has failed.
    PassingInput(std::streambuf & source, std::ostream & out) : source_(source), out_(out) {}

    /// What waits in front of `offset` goes to the output. An offset in front of what has gone
    /// means nothing, and an offset beyond what has been read means all of that.
    void Pass(long long offset) { Remove(offset, &out_); }
    /// It goes nowhere.
    void Drop(long long offset) { Remove(offset, nullptr); }
    /// While it is on, nothing waits: what the note has taken goes to the output.
    void PassAll(bool on) { passes_all_ = on; }
    /// Reads to the end, and passes it all.
    void PassRest();

    /// How much the note has taken.
    long long taken() const { return block_start_ + (gptr() - eback()); }
    std::ostream & out() { return out_; }

protected:
    int_type underflow() override;

private:
    long long block_end() const { return block_start_ + (egptr() - eback()); }
    void Remove(long long offset, std::ostream * out);

    std::streambuf & source_;
    std::ostream & out_;
    HeldBytes held_; ///< From `done_` to the block, if it lies in front of the block.
    std::array<char, std::size_t{1} << 16> block_;
    long long block_start_ = 0;
    long long done_ = 0;
    bool passes_all_ = false;
};

} // namespace examples
