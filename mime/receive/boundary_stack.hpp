// mime/receive/boundary_stack.hpp - the open multiparts of a message: does this line end one?
//
// Rule:       RFC 2046 5.1.1. Only the innermost level is asked.
// Tolerance:  none behind the delimiter. A line with white space or anything else there is text,
//             as a text may well hold a line that merely begins like its delimiter.
// Bounds:     a comparison looks at no more than line end, delimiter, "--" and line end.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace vellum {

/// What a line is to the innermost open multipart.
enum Boundary : int {
    Boundary_Not = 0,   ///< Text.
    Boundary_Part = 1,  ///< A delimiter: a further part follows.
    Boundary_Close = 2, ///< A closing delimiter: the multipart ends.
};

/// One level: a message, or a multipart within it.
struct BoundaryItem {
    std::string text;     ///< "--" and the boundary; empty until the level's Content-Type is read.
    std::string_view eol; ///< The line end that this level expects: CR LF or a bare LF.
    std::unique_ptr<BoundaryItem> next; ///< The level below.

    /// What the bytes at the start of `at` are. With `with_eol` they begin with the line end that
    /// belongs to the delimiter.
    Boundary Match(std::string_view at, bool with_eol) const;
};

/// The levels, innermost on top. A level costs a heap block, and popping never recurses.
class BoundaryStack {
public:
    BoundaryStack() = default;
    ~BoundaryStack();
    BoundaryStack(BoundaryStack const &) = delete;
    BoundaryStack & operator=(BoundaryStack const &) = delete;

    BoundaryItem * top() { return top_.get(); }
    BoundaryItem const * top() const { return top_.get(); }

    /// A new level has no delimiter yet. It expects the line end of the level below, CR LF at the
    /// bottom: a multipart within a multipart of bare LF lines is of bare LF lines too.
    void push();
    /// Nothing on an empty stack.
    void pop();

private:
    std::unique_ptr<BoundaryItem> top_;
};

} // namespace vellum
