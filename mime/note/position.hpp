// mime/note/position.hpp - the narrow offsets of a context, from the exact ones
#pragma once

#include "mime/note/context.hpp"

namespace vellum {

/// Sets each offset and line number that is an `int` from its exact twin; one that would pass
/// INT_MAX stays there. Whoever calls a client with a context calls this first.
void mirror_positions(MimeContext & context);

/// Sets an exact offset or line number, and the narrow ones.
inline void set_position(MimeContext & context, long long MimeContext::Exact::*place,
                         long long value) {
    context.exact.*place = value;
    mirror_positions(context);
}

} // namespace vellum
