// examples/support/told_defect.hpp - a defect that a note was told, and its place
#pragma once

#include "mime/note/defect.hpp"

namespace examples {

struct ToldDefect {
    int part_number;
    MimeDefect what;
    long long offset;
    bool is_decoded; ///< The part lies in an encoded message: the offset is in the decoded text.
};

} // namespace examples
