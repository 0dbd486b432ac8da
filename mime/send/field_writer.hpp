// mime/send/field_writer.hpp - writes one header field of the engine's text and the client's values
//
// Every value that a getter or SendField gives goes into a header through this class, and nothing
// else of the client's does. So this is the one place of the field guard.
#pragma once

#include <string>
#include <string_view>

class oSimpleStream;
struct MimeSender;

namespace vellum {

/// What kind of text an encoded value is; RFC 2047 5 has a rule for each.
enum class TextKind {
    unstructured, ///< a subject, a comment, a description
    phrase,       ///< the display name in front of an address
    parameter,    ///< between quotes, as a file name
};

/// One field, from its name to the line end of `end`. It belongs to one run of a sender, which
/// outlives it.
class FieldWriter {
public:
    /// Writes the name, and nothing behind it yet.
    FieldWriter(MimeSender & sender, char const * name);

    /// The engine's own text.
    FieldWriter & text(std::string_view text);
    FieldWriter & number(long value);

    /// A value as it stands. Null writes nothing.
    ///
    /// Each write can cut a fragment, and that calls the note: what is written here is the
    /// engine's own copy, made before the field was begun or right behind the getter.
    FieldWriter & raw(char const * value);
    /// A value as plain text, as a quoted string or as an encoded word, as it needs; see
    /// oRFC2047Stream.
    FieldWriter & encoded(char const * value, TextKind kind);
    /// A value by WriteDelimited.
    FieldWriter & delimited(char const * value, char open, char close, bool escape);

    /// Ends the line.
    void end();

private:
    enum class Fold { stays, goes };
    char const * guard(char const * value, Fold fold);

    MimeSender & sender_;
    oSimpleStream & out_;
    std::string guarded_; // the value in hand, if the guard changed it
};

} // namespace vellum
