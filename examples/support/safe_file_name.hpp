// examples/support/safe_file_name.hpp - a file name that a message may choose
#pragma once

#include <string>
#include <string_view>

namespace examples {

/// What is left of a message's `name` when a path, hidden files, the devices of some systems, and
/// all that could mislead a reader or a shell have gone. It is UTF-8 of at most 100 bytes, and
/// keeps its extension when it is cut. Empty if nothing is left.
std::string safe_file_name(std::string_view name);

} // namespace examples
