// mime/header/comment.hpp - where a comment of a header field ends (RFC 822 3.1.4)
#pragma once

#include <cstddef>

namespace vellum {

/// Returns the place behind the comment that begins at `p`; `at(i)` returns the text's byte at i,
/// and NUL at its end, where an open comment ends too. Parentheses nest and are counted; a
/// parenthesis behind a backslash doesn't count.
template <typename At>
std::size_t pass_comment(At at, std::size_t p) {
    std::size_t depth = 0;
    for (char c; (c = at(p)) != '\0'; ++p) {
        if (c == '\\' && at(p + 1) != '\0') {
            ++p;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')' && --depth == 0) {
            return p + 1;
        }
    }
    return p;
}

} // namespace vellum
