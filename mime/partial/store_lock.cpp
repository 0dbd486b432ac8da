// mime/partial/store_lock.cpp - keeps receivers apart that use one partial store
#include "mime/partial/store_lock.hpp"

#include "mime/MIMESEM.hpp"
#include "mime/foundation/trace_site.hpp"
#include "mime/platform/files.hpp"

#include <optional>
#include <utility>

namespace vellum {

namespace {

/// Guards the index and the names of the fragments' files, in all stores.
TMimeMutexSemaphore index_mutex("MIMEINDX");

/// The same between threads, should the system refuse the named mutex.
TMimeMutexSemaphore thread_mutex;

/// Of work that takes milliseconds. Whoever may read the directory can lock it for good, and must
/// not stop its receivers for good.
constexpr long longest_wait = 60'000;

constexpr TraceSite site(unsigned long line) {
    return {trace_warning, "mime/partial/store_lock", line};
}

/// The user's mutexes, held.
struct User {
    TMimeMutexSemaphoreEntry const processes{index_mutex, TMimeMutexSemaphore::fsInfinite};
    TMimeMutexSemaphoreEntry const threads{thread_mutex, TMimeMutexSemaphore::fsInfinite};
};

} // namespace

// Whoever holds the user's mutexes waits for nothing, so that a directory that is locked for long
// holds up its own receivers alone. They come first all the same, as they wait in a queue, which is
// quicker than to look at the directory again and again: mostly it is free behind them.
struct StoreLock::Locks {
    explicit Locks(std::string_view prefix)
        : user(std::in_place), directory(platform::Mutex::of_directory(prefix)),
          state(directory ? directory->lock(0) : platform::Wait::failed) {
        if (state == platform::Wait::timed_out) {
            user.reset();
            state = directory->lock(longest_wait);
        }
        error = platform::last_error();
        if (state == platform::Wait::held && !user) user.emplace();
    }
    ~Locks() {
        if (state == platform::Wait::held) directory->unlock();
    }
    Locks(Locks const &) = delete;
    Locks & operator=(Locks const &) = delete;

    bool are_held() const {
        return state == platform::Wait::held && user->threads.State() == TMimeMutexSemaphore::Held;
    }

    std::optional<User> user; ///< Empty while the directory is waited for.
    std::unique_ptr<platform::Mutex> const directory;
    platform::Wait state;
    int error = 0; ///< Of what failed.
};

StoreLock::StoreLock(std::string_view prefix) : locks_(std::make_unique<Locks>(prefix)) {}

StoreLock::~StoreLock() = default;

std::unique_ptr<StoreLock> StoreLock::take(std::string const & prefix, Outcome & outcome) {
    std::unique_ptr<StoreLock> lock(new StoreLock(prefix));
    Locks const & locks = *lock->locks_;
    outcome = locks.are_held() ? Outcome::held : Outcome::failed;
    if (outcome == Outcome::held) return lock;
    if (locks.state == platform::Wait::timed_out) {
        trace(site(__LINE__), "The directory of %s is locked for too long", prefix.c_str());
        return nullptr;
    }
    if (platform::failure_of(locks.error) == platform::Failure::absent) {
        outcome = Outcome::no_directory;
    }
    trace(site(__LINE__), "Error %d locking the directory of %s", locks.error, prefix.c_str());
    return nullptr;
}

} // namespace vellum
