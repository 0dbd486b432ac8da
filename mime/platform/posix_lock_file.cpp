// mime/platform/posix_lock_file.cpp - the file that keeps processes apart
#include "mime/platform/posix_lock_file.hpp"

#include "mime/platform/posix_probe.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vellum::platform {

using std::chrono::milliseconds;

std::mutex & fork_guard() {
    static auto & guard = *new std::mutex; // outlives every static object that owns a mutex
    return guard;
}

bool LockFile::probe() {
    bool const opened = open();
    int const error = errno;
    release();
    errno = error;
    return opened;
}

void LockFile::release() {
    std::lock_guard const guard(fork_guard());
    if (descriptor_ < 0) return;
    ::flock(descriptor_, LOCK_UN); // a child that just forked may have the same open file
    ::close(descriptor_);
    descriptor_ = -1;
}

void LockFile::forget() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
}

namespace {

/// A file is trusted if it is a plain file that the user owns, and made private if it isn't.
/// Whoever else made a file of that name stops the user from locking, and gains nothing more.
bool is_private(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return false;
    if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
        errno = EPERM;
        return false;
    }
    constexpr mode_t owner_alone = S_IRUSR | S_IWUSR;
    return (status.st_mode & 07777) == owner_alone || ::fchmod(descriptor, owner_alone) == 0;
}

} // namespace

int LockFile::open_shared_memory() const {
    // The user is asked for each time: a server may change its user behind its start.
    std::array<char, NAME_MAX + 1> path{};
    std::snprintf(path.data(), path.size(), "/vellum-%lu-%s",
                  static_cast<unsigned long>(::geteuid()), name_.c_str());
    // shm_open follows no symbolic link, and closes the descriptor on exec.
    return ::shm_open(path.data(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR);
}

int LockFile::open_directory() const {
    if (is_refused("lock_directory")) return -1;
    return ::open(name_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

bool LockFile::open() {
    std::lock_guard const guard(fork_guard());
    bool const is_shared_memory = kind_ == Kind::shared_memory;
    descriptor_ = is_shared_memory ? open_shared_memory() : open_directory();
    if (descriptor_ < 0) return false;
    if (!is_shared_memory || is_private(descriptor_)) return true;
    int const error = errno;
    forget();
    errno = error;
    return false;
}

Wait LockFile::acquire(Deadline const & deadline) {
    for (;;) {
        if (!open()) return Wait::failed;
        Wait const outcome = wait(deadline);
        struct stat status {};
        // Sessions that end may remove the user's shared memory. Then the file that was locked is
        // nobody's any more, and its name belongs to a new file.
        bool const is_removed =
            outcome == Wait::held && ::fstat(descriptor_, &status) == 0 && status.st_nlink == 0;
        if (outcome == Wait::held && !is_removed) return Wait::held;
        int const error = errno;
        release();
        errno = error;
        if (!is_removed) return outcome;
    }
}

Wait LockFile::wait(Deadline const & deadline) const {
    // The system has no wait with an end for file locks, so that one looks again and again.
    int const operation = deadline.unlimited() ? LOCK_EX : LOCK_EX | LOCK_NB;
    milliseconds pause(1);
    constexpr milliseconds longest_pause(8);
    while (::flock(descriptor_, operation) != 0) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) return Wait::failed;
        if (SteadyClock::now() >= deadline.at()) return Wait::timed_out;
        std::this_thread::sleep_until(std::min(deadline.at(), SteadyClock::now() + pause));
        pause = std::min(2 * pause, longest_pause);
    }
    return Wait::held;
}

} // namespace vellum::platform
