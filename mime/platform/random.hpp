// mime/platform/random.hpp - bytes that nobody can guess and that no machine draws twice
#pragma once

#include <cstddef>
#include <span>

namespace vellum::platform {

/// Fills `bytes` from the system's own random source, which serves cryptography. False if it can't
/// be had: then nothing of `bytes` may be used. Safe to call from any thread, and in a child
/// process, which draws other bytes than its parent.
bool random_bytes(std::span<std::byte> bytes) noexcept;

using Random = bool (*)(std::span<std::byte> bytes);

/// For tests: from now on random_bytes asks `source`; null brings the system's source back. Returns
/// the source so far, null for the system's. The engine never calls this.
Random set_random(Random source) noexcept;

} // namespace vellum::platform
