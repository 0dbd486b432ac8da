// mime/send/text_kind.hpp - where in a header a text stands
#pragma once

namespace vellum {

/// What kind of text an encoded value is; RFC 2047 5 has a rule for each.
enum class TextKind {
    unstructured, ///< a subject, a comment, a description
    phrase,       ///< the display name in front of an address
    parameter,    ///< between quotes, as a file name
};

} // namespace vellum
