// mime/nls/conversion_binding.hpp - the conversion component's entry points, bound at run time
#pragma once

#include "mime/nls/conversion_interface.hpp"

namespace vellum {

/// Loads the component and binds its entry points, unless that has been done. Null, with traces of
/// what was missing, if it can't be had whole; a later call tries again. What is bound stays so
/// until the process ends. Any thread may call this.
conversion::Entries const * bind_conversion();

/// The bound entry points, null if no component is bound.
conversion::Entries const * bound_conversion() noexcept;

/// For tests: forgets the binding. Nothing that uses it may be alive.
void unbind_conversion() noexcept;

} // namespace vellum
