// mime/platform/posix_random.cpp - the system's random source on POSIX systems
#include "mime/platform/random.hpp"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/random.h>
#endif

namespace vellum::platform {

namespace {

std::atomic<Random> test_source{nullptr};

/// Calls `read_some` until it has filled `bytes`.
template <typename Read>
bool fill(std::span<std::byte> bytes, Read read_some) noexcept {
    while (!bytes.empty()) {
        ssize_t const size = read_some(bytes.data(), bytes.size());
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(size));
    }
    return true;
}

/// Where there is no call for it, or the kernel is too old for the call.
bool fill_from_device(std::span<std::byte> bytes) noexcept {
    int const device = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (device < 0) return false;
    bool const is_full = fill(
        bytes, [device](void * memory, std::size_t size) { return ::read(device, memory, size); });
    ::close(device);
    return is_full;
}

} // namespace

bool random_bytes(std::span<std::byte> bytes) noexcept {
    if (Random const source = test_source.load()) return source(bytes);
#if defined(__linux__)
    auto const call = [](void * memory, std::size_t size) { return ::getrandom(memory, size, 0); };
    if (fill(bytes, call)) return true;
#endif
    return fill_from_device(bytes);
}

Random set_random(Random source) noexcept { return test_source.exchange(source); }

} // namespace vellum::platform
