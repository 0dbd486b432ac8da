// mime/receive/boundary.hpp - what a line of a body is to the multiparts that are open
#pragma once

#include <cstddef>

namespace vellum {

/// What a line is to the open multiparts.
enum Boundary : int {
    Boundary_Not = 0,   ///< Text.
    Boundary_Part = 1,  ///< A delimiter: a further part follows.
    Boundary_Close = 2, ///< A closing delimiter: the multipart ends.
};

/// What a line is, and to which level.
struct FoundBoundary {
    Boundary kind = Boundary_Not;
    std::size_t depth = 0;      ///< Of the level.
    bool has_blanks = false;    ///< Blanks stand behind the delimiter.
    bool has_other_eol = false; ///< A line end of it is not that of the header.
};

} // namespace vellum
