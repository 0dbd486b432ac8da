// mime/platform/posix_lock_file.hpp - the file that keeps processes apart
#pragma once

#include "mime/platform/platform.hpp"

#include <chrono>
#include <mutex>
#include <string>
#include <utility>

namespace vellum::platform {

using SteadyClock = std::chrono::steady_clock;

/// The end of a wait. A timeout of more than a year counts as no timeout: the clock's sums could
/// overflow.
class Deadline {
public:
    explicit Deadline(long timeout)
        : unlimited_(timeout < 0 || timeout > longest), at_(SteadyClock::now()) {
        if (!unlimited_) at_ += std::chrono::milliseconds(timeout);
    }

    bool unlimited() const { return unlimited_; }
    SteadyClock::time_point at() const { return at_; }

private:
    static constexpr long long longest = 366LL * 24 * 60 * 60 * 1000;

    bool unlimited_;
    SteadyClock::time_point at_;
};

/// Held while descriptors come and go and while the process forks, so that a child knows them all.
std::mutex & fork_guard();

/// An advisory lock on an empty file in shared memory, of which there is one for each user and
/// name, or on a directory. The system takes the lock from a process that dies, however it dies, so
/// there is no state that a killed owner could leave behind, and nothing in the file to be damaged.
/// The threads of a process are not kept apart.
class LockFile {
public:
    enum class Kind { shared_memory, directory };

    /// `name` is that of the shared memory, or the directory's path.
    explicit LockFile(std::string name, Kind kind = Kind::shared_memory)
        : name_(std::move(name)), kind_(kind) {}
    LockFile(LockFile const &) = delete;
    LockFile & operator=(LockFile const &) = delete;
    ~LockFile() { release(); }

    /// Can the file be had? It is left closed.
    bool probe();

    Wait acquire(Deadline const & deadline);
    void release();

    /// In a child, where the lock is the parent's: unlocking here would take it from the parent.
    void forget();

private:
    bool open();
    int open_shared_memory() const;
    int open_directory() const;
    Wait wait(Deadline const & deadline) const;

    std::string name_;
    Kind kind_;
    int descriptor_ = -1; // OWNS; changes under fork_guard()
};

} // namespace vellum::platform
