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

private:
    void call_parser(MimeReceiver * receiver);
};

/// A field as it stands in the message, folds and line end included.
struct RawField {
    std::string_view text;
    long long offset = 0;      ///< Its place in the input.
    long long gap_before = -1; ///< Where what was passed over in front of it begins, or -1.
};

/// The fields of a header in arrival order, in one block of memory: a header may have a million of
/// them.
class FieldQueue {
public:
    /// The header begins at `start`.
    explicit FieldQueue(long long start = 0) : start_(start), end_(start), at_(start) {}

    /// Whether the lines are a field. `name` is then the start of its name, at most 63 bytes.
    static bool is_field(std::string_view lines, std::string & name);
    /// Appends the field that stands in the lines at `offset`, which only grows.
    void append(std::string_view lines, long long offset);
    /// The body of the field that was appended last, unfolded.
    std::string last_body() const;
    /// The next field, from the first on; false when no field is left. It is good until the next
    /// call of `take`.
    bool next(RawField & raw);
    /// Unfolds and splits the field that `next` has found, in its place: its RawField is then gone.
    void take(FieldList & field);
    /// Both of these.
    bool take_next(FieldList & field);
    /// From the first field on again. Only as long as none was taken.
    void rewind();

private:
    void put_number(unsigned long long number);
    unsigned long long get_number();

    /// Of each field its size, doubled, plus 1 if something was passed over in front of it, whose
    /// size then follows; the field; and a byte for its NUL, if it has no line end.
    std::string lines_;
    std::size_t next_ = 0;
    std::size_t last_ = 0;         ///< The field that was appended last.
    std::size_t current_ = 0;      ///< The field that `next` has found,
    std::size_t current_size_ = 0; ///< and its size.
    long long start_;              ///< Offset of the first field.
    long long end_;                ///< Behind the last field appended.
    long long at_;                 ///< Behind the last field that `next` has found.
};

/// Takes the line ends at the folds out of the text, in its place. Returns the new size.
std::size_t unfold(char * text, std::size_t size);

} // namespace vellum
