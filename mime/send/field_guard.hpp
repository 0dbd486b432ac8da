// mime/send/field_guard.hpp - keeps a value of the client's inside its header field
//
// A line end in an address, a file name or an id would end the field, and what follows it would be
// read as a field of the attacker's choice. Only a fold may stay: text, CR LF, one or more
// blanks, and text again (RFC 5322 2.2.3). A line of blanks alone is none: some readers end the
// header there.
#pragma once

#include <string>
#include <string_view>

namespace vellum {

/// Whether `value` holds a CR, LF or NUL at all.
bool needs_guard(std::string_view value);

/// `value` with each CR, LF and NUL that isn't part of a fold made a blank.
std::string guarded(std::string_view value);

/// `value` with every CR, LF and NUL made a blank, for what can't be folded: a boundary also stands
/// on lines of the body.
std::string guarded_line(std::string_view value);

/// Whether `name` is a field name (RFC 5322 2.2): printable ASCII without a blank or a colon.
bool is_field_name(std::string_view name);

} // namespace vellum
