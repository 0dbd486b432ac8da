// mime/platform/posix_probe.hpp - where tests make calls to the system fail
#pragma once

namespace vellum::platform {

/// Whether the probe of set_file_probe makes the call fail; errno says how.
bool is_refused(char const * call) noexcept;

} // namespace vellum::platform
