// mime/send/field_writer.hpp - writes one header field of the engine's text and the client's values
//
// Every value that a getter or SendField gives goes into a header through this class, and nothing
// else of the client's does. So this is the one place of the field guard, and of the folding that
// some ways of writing have.
#pragma once

#include "mime/send/client_parameters.hpp"
#include "mime/send/header_folder.hpp"
#include "mime/send/text_kind.hpp"

#include <string>
#include <string_view>
#include <vector>

class oSimpleStream;
struct MimeSender;

namespace vellum {

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
    /// The same for a value of several words: a folded field may end a line at its blanks, and
    /// encodes the words that can't stand there.
    FieldWriter & words(char const * value);
    /// A value as plain text, as a quoted string or as an encoded word, as it needs; see
    /// oRFC2047Stream, and for a folded field HeaderText.
    FieldWriter & encoded(char const * value, TextKind kind);
    /// The parameter `name` with a value, and `separator` in front.
    FieldWriter & parameter(std::string_view separator, char const * name, char const * value);
    /// The parameters that a client adds, each as a token where it is one.
    FieldWriter & parameters(std::vector<ClientParameter> const & list);
    /// A value by WriteDelimited.
    FieldWriter & delimited(char const * value, char open, char close, bool escape);

    /// Ends the line.
    void end();

private:
    enum class Fold { stays, goes };
    char const * guard(char const * value, Fold fold);
    char const * guard_quotes(char const * value);
    std::string unfolded(char const * value);

    MimeSender & sender_;
    oSimpleStream & out_;
    bool folds_;
    HeaderFolder folder_; // if it folds
    std::string guarded_; // the value in hand, if the guard changed it
};

} // namespace vellum
