// mime/receive/field_list.hpp - the header fields that have been read and wait for their dispatch
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class TableItem;
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
    char * end = nullptr;  ///< The NUL.
    TableItem const * known = nullptr; ///< The name's entry in the main table, or null.
    bool is_cut = false;               ///< The message has a NUL in it, and more behind that.

    /// Finds name and body in the NUL-terminated text that ends at `text_end`. False if it is no
    /// field (RFC 822 3.2). White space and comments may stand in front of the name and of the
    /// colon.
    bool split(char * text, char * text_end);
    /// The same for a text that begins with its name, of that size, and the colon.
    void split_plain(char * text, char * text_end, std::size_t name_size);
    /// Whether the name is `token`.
    bool is(char const * token) const;
    /// The same for a word that SymbolTable::Init loads.
    bool is_known_as(char const * token) const;
    /// Reports the field: through the parser of its name, or as SetProperty with its encoded words
    /// decoded.
    void Dispatch(MimeReceiver * receiver);

private:
    void set_name(char * begin, char * name_end);
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
    /// The header begins at `start`. `memory` is a string whose memory is used, whatever it holds.
    explicit FieldQueue(long long start = 0, std::string memory = {});

    /// Whether the lines are a field. `name` is then its name, within the lines.
    static bool is_field(std::string_view lines, std::string_view & name);
    /// Appends the field of that name that stands in the lines at `offset`, which only grows.
    void append(std::string_view lines, std::string_view name, long long offset);
    /// Whether something was passed over in front of a field.
    bool has_gaps() const { return has_gaps_; }
    /// Sets `body` to the body of the field that was appended last, unfolded.
    void copy_last_body(std::string & body) const;
    /// The memory, for another queue. This one is empty then.
    std::string release();
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
    unsigned long long get_number();

    /// Of each field its size, times 4, plus 1 if something was passed over in front of it, whose
    /// size then follows, plus 2 if it begins with its name and the colon, of which the name's size
    /// follows; the field; and a byte for its NUL, if it has no line end.
    std::string lines_;
    bool has_gaps_ = false;
    std::size_t next_ = 0;
    std::size_t last_ = 0;         ///< The field that was appended last.
    std::size_t current_ = 0;      ///< The field that `next` has found,
    std::size_t current_size_ = 0; ///< its size,
    std::size_t name_size_ = 0;    ///< and its name's, or npos if it has to be looked for.
    long long start_;              ///< Offset of the first field.
    long long end_;                ///< Behind the last field appended.
    long long at_;                 ///< Behind the last field that `next` has found.
};

/// Takes the line ends at the folds out of the text, in its place. Returns the new size.
std::size_t unfold(char * text, std::size_t size);

} // namespace vellum
