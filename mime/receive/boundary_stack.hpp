// mime/receive/boundary_stack.hpp - the open multiparts of a message: does this line end one?
//
// Rule:       RFC 2046 5.1.1 and 5.1.2. In the basic way of reading only the innermost level is
//             asked; in the extended one the delimiter of any open level ends the levels within it.
// Tolerance:  basic: none behind the delimiter. A line with white space or anything else there is
//             text, as a text may well hold a line that merely begins like its delimiter.
//             Extended: blanks behind it, and any line end or none.
// Bounds:     Match looks at no more than line end, delimiter, "--" and line end. Find looks at the
//             line, whatever the number of levels: all delimiters stand in one hash table.
#pragma once

#include "mime/receive/boundary.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vellum {

/// One level: a message, or a multipart within it.
struct BoundaryItem {
    std::string text;     ///< "--" and the boundary; empty until the level's Content-Type is read.
    std::string_view eol; ///< The line end that this level expects: CR LF or a bare LF.
    std::unique_ptr<BoundaryItem> next;    ///< The level below.
    std::size_t depth = 1;                 ///< 1 for the level at the bottom.
    std::size_t longest = 0;               ///< Of the texts of this level and those below.
    BoundaryItem const * hidden = nullptr; ///< The level below with the same delimiter, if any.

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
    std::size_t depth() const { return top_ ? top_->depth : 0; }
    /// The size of the longest delimiter of all levels.
    std::size_t longest() const { return top_ ? top_->longest : 0; }
    bool has_delimiters() const { return longest() != 0; }

    /// A new level has no delimiter yet. It expects the line end of the level below, CR LF at the
    /// bottom: a multipart within a multipart of bare LF lines is of bare LF lines too.
    void push();
    /// Gives the top level its delimiter, "--" and the boundary; empty takes it away. Nothing on an
    /// empty stack.
    void set_text(std::string text);
    /// Nothing on an empty stack.
    void pop();

    /// What a whole line is, with its line end or without it, to any of the levels: to the
    /// innermost where it is something to several of them.
    FoundBoundary Find(std::string_view line) const;

private:
    void hide_text();

    std::unique_ptr<BoundaryItem> top_;
    /// The innermost level of each delimiter, by the delimiter without the blanks at its end.
    std::unordered_map<std::string_view, BoundaryItem const *> by_text_;
};

} // namespace vellum
