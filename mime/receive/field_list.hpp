// mime/receive/field_list.hpp - the header fields that have been read and wait for their dispatch
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct MimeReceiver;

namespace vellum {

/// A piece of a field's line; null while nothing was matched.
struct Substring {
    char * begin = nullptr;
    char * end = nullptr; ///< Behind the last byte.
    char saved = '\0';    ///< The byte that stood at `end` while the piece is terminated.

    void terminate() {
        if (end == nullptr) return;
        saved = *end;
        *end = '\0';
    }
    void restore() {
        if (end != nullptr) *end = saved;
    }
};

/// One header field, in a line that a FieldQueue holds.
struct FieldList {
    Substring name;        ///< As the message spells it; null for a line that begins with a colon.
    char * line = nullptr; ///< From the name, or the colon if there is no name, to its NUL.
    char * body = nullptr; ///< First byte of the body, a C string that its parser edits.

    /// Finds name and body in the NUL-terminated text. False if it is no field (RFC 822 3.2).
    /// White space and comments may stand in front of the name and of the colon.
    bool split(char * text);
    /// Whether the name is `token`.
    bool is(char const * token) const;
    /// Reports the field: through the parser of its name, or as SetProperty with its encoded words
    /// decoded.
    void Dispatch(MimeReceiver * receiver);
};

/// The fields of a header in arrival order, in one block of memory: a header may have a million of
/// them.
class FieldQueue {
public:
    /// Appends the field of this line, without the white space at its end; false, and nothing is
    /// appended, if the line is no field. `field` is good until the next call. A line ends at its
    /// first NUL.
    bool append(std::string_view line, FieldList & field);
    /// The next field, from the first on; false when no field is left, and then the memory is
    /// given back.
    bool take(FieldList & field);

private:
    std::string lines_; ///< Each with a NUL behind it.
    std::size_t next_ = 0;
};

} // namespace vellum
