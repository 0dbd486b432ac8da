// mime/send/own_field.hpp - what a client may add to a header itself
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vellum {

/// The longest line that mail transport takes, without its line end (RFC 5322 2.1.1).
inline constexpr std::size_t longest_line = 998;

/// What kind of header a client adds to.
struct HeaderKind {
    bool is_message;   ///< else that of a part of a multipart
    bool is_container; ///< known to be a multipart or message/rfc822, which aren't described
};

/// Whether the engine writes the field `name` itself in such a header. Received, Return-Path,
/// Comments and Keywords don't count: a message may have several (RFC 5322 3.6).
bool is_field_of_engine(std::string_view name, HeaderKind header);

/// Whether the value of the field `name` has a structure of which readers take addresses, ids or
/// URLs: words of it are encoded one by one, and not the whole.
bool is_structured(std::string_view name);

/// Returns `value` without the line ends of its folds (RFC 5322 2.2.3).
std::string unfolded(std::string_view value);

/// Stores in `field` the one field of `bytes`, with CR LF behind each of its lines, whatever line
/// end stood there. Returns false for what isn't one field, for a line that is too long, and for a
/// line of blanks alone, at which some readers end the header.
bool read_field(std::string_view bytes, std::string & field);

} // namespace vellum
