// mime/nls/system_charset.hpp - character sets that the registry doesn't know, but the system does
#pragma once

#include "mime/nls/charset.hpp"

#include <string_view>

namespace vellum {

/// The set that the conversion component's C library has under `name`, or under `name` without an
/// "x-" in front, in any case. Its record has a name of its own, which no factory but that of the
/// component knows. Null if there is no such set, or no component is bound. There are no more such
/// records than the C library has names, whatever the messages say.
NLS_CharSet * system_charset(std::string_view name);

} // namespace vellum
