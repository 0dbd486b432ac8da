// mime/send/delimited.hpp - a text between two delimiters: a quoted string, an address
#pragma once

class oSimpleStream;

namespace vellum {

/// Writes `open`, the text up to its NUL, and `close`. A delimiter or a CR within the text gets a
/// backslash, and with `escape` a backslash too (RFC 822 3.4.4). Nothing is written, not even the
/// delimiters, if `out` or `text` is null.
void WriteDelimited(oSimpleStream * out, char const * text, char open, char close, bool escape);

} // namespace vellum
