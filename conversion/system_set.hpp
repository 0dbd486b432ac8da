// conversion/system_set.hpp - the sets that this component has no row for, but the C library has
#pragma once

#include "conversion/char_set.hpp"

namespace vellum::conversion {

/// The numbers of these sets begin here.
inline constexpr int first_system_number = 1000;

/// The number of the C library's set of that name, in capitals; -1 if it has no such set. Any
/// thread may call this. There are as many numbers as the C library has names.
int number_of_system_set(std::string_view name);

/// Null for a number that no set has. Valid until the process ends.
CharSet const * system_set_of(int number);

} // namespace vellum::conversion
