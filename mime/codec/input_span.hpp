// mime/codec/input_span.hpp - takes a codec through its input, one span of a buffer after the other
#pragma once

#include "mime/foundation/simple_input.hpp"

#include <algorithm>
#include <cstddef>

namespace vellum {

/// Feeds all of `in` to a codec, one buffer after the other.
///
/// `run(next, last)` is called between groups, when `state` is 0: it takes what it can handle at
/// once and returns where it stopped. `take(byte)` is the codec's state machine and gets every
/// other byte; when it returns false, the rest of the input stays unread. `take` alone would do: so
/// `run` may leave to it whatever it likes, and the input may be cut anywhere.
template <typename Run, typename Take>
void feed(iSimpleStream & in, int const & state, Run run, Take take) {
    // So that a count of bytes fits the type of iGetPtr and oPutPtr, encoded too, on any platform.
    constexpr unsigned int longest_span = 1U << 28;
    bool is_open = true;
    while (is_open && in.peek() >= 0) {
        unsigned char const * const first = in.iGetPtr(0);
        unsigned char const * const last = first + std::min(in.iBufCnt(), longest_span);
        unsigned char const * next = first;
        while (is_open && next != last) {
            if (state == 0) next = run(next, last);
            if (next != last) is_open = take(*next++);
        }
        in.iGetPtr(static_cast<long>(next - first));
    }
}

/// The length of CR LF or LF at `next`, or 0.
inline std::size_t line_end_length(unsigned char const * next, unsigned char const * last) {
    if (last - next >= 2 && next[0] == '\r' && next[1] == '\n') return 2;
    return last != next && next[0] == '\n' ? 1 : 0;
}

} // namespace vellum
