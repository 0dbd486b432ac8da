// mime/send/field_guard.hpp - keeps a value of the client's inside its place in a header
//
// A line end in an address, a file name or an id would end the field, and what follows it would be
// read as a field of the attacker's choice. Only a fold may stay: text, CR LF, one or more blanks,
// and text again (RFC 5322 2.2.3). A line of blanks alone is no fold: some readers end the header
// there.
//
// Values with a syntax of their own have a second way out: an address with a comma becomes two, a
// media type with a semicolon brings a parameter along. The questions below tell whether a value is
// what its place takes. They are stricter than the RFCs where readers differ: what they pass is
// read alike by all.
#pragma once

#include <string>
#include <string_view>

namespace vellum {

/// Whether `value` holds a CR, LF or NUL at all.
bool needs_guard(std::string_view value);

/// Returns `value` with each CR, LF and NUL that isn't part of a fold made a blank.
std::string guarded(std::string_view value);

/// Returns `value` with every CR, LF and NUL made a blank, for a place that takes no fold: between
/// quotes or angle brackets.
std::string guarded_line(std::string_view value);

/// Whether `name` is a field name (RFC 5322 2.2): printable ASCII without a blank or a colon.
bool is_field_name(std::string_view name);

/// Whether `value` is a token (RFC 2045 5.1), as a type, a disposition, an encoding and a character
/// set are.
bool is_token(std::string_view value);

/// Whether `value` is a boundary (RFC 2046 5.1.1). Two kinds are refused beyond the RFC: a boundary
/// that looks like an encoded word, which some readers decode, and a boundary that begins as the
/// engine's own ones do.
bool is_boundary(std::string_view value);

/// Whether `value` is one address without a display name: a local part (RFC 5322 3.4.1), alone or
/// with a domain behind "@". Bytes above 0x7F count as letters. Angle brackets and encoded words
/// are refused within quotes too.
bool is_address(std::string_view value);

/// Whether `value` can be the domain of an id (RFC 5322 3.6.4): a domain of ASCII, of at most 253
/// bytes (RFC 1035 2.3.4).
bool is_id_domain(std::string_view value);

/// Whether an address of is_address has a domain. Without one it reads as an address in angle
/// brackets alone.
bool has_domain(std::string_view address);

/// Whether `value` can stand as an id, with its angle brackets or without (RFC 5322 3.6.4): bytes
/// above the blank, no further bracket, and nothing that looks like an encoded word.
bool is_id(std::string_view value);

/// Whether `text` has what some readers take for an encoded word.
bool has_encoded_word(std::string_view text);

/// Whether `value` is a group without members whose name is atoms, as "undisclosed-recipients:;"
/// (RFC 5322 3.4). Alone in its field it reads as nobody; beside others some readers lose these.
bool is_empty_group(std::string_view value);

/// Whether `value` is encoded words alone (RFC 2047), divided by blanks and folds, that may stand
/// in a display name, and in which no line end hides.
bool is_encoded_words(std::string_view value);

} // namespace vellum
