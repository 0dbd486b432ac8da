// examples/support/raw_field.hpp - fields as they stand in a message
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace examples {

/// The name of a field, without the comments and blanks that some senders put around it, and with a
/// question mark for each byte that no name may have.
std::string name_of_field(std::string_view field);

/// The field, as it was read, up to its first NUL, where reading it ends; with a blank for each CR
/// within a line, without what stands around its name, and without lines of blanks alone. A line
/// beyond 998 bytes is folded at its last blank in front of that (RFC 5322 2.1.1, 2.2.3). Unfolded,
/// it reads the same.
std::string mended_field(std::string_view field);

/// Of a field with its line ends. The value has no folds any more.
std::pair<std::string, std::string> name_and_value(std::string_view field);

} // namespace examples
