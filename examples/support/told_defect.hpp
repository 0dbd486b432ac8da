// examples/support/told_defect.hpp - a defect that a note was told, and its place
#pragma once

#include "mime/note/defect.hpp"

namespace examples {

struct ToldDefect {
    int part_number;
    MimeDefect what;
    long long offset; ///< In the input; in a message that was decoded, in the decoded text.
};

} // namespace examples
