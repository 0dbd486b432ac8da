// mime/partial/store_lock.cpp - keeps receivers apart that use one partial store
#include "mime/partial/store_lock.hpp"

#include "mime/MIMESEM.hpp"
#include "mime/foundation/trace_site.hpp"
#include "mime/platform/files.hpp"

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

} // namespace

struct StoreLock::Locks {
    explicit Locks(std::string_view prefix)
        : directory(platform::Mutex::of_directory(prefix)),
          state(directory ? directory->lock(longest_wait) : platform::Wait::failed),
          error(platform::last_error()) {}
    ~Locks() {
        if (state == platform::Wait::held) directory->unlock();
    }
    Locks(Locks const &) = delete;
    Locks & operator=(Locks const &) = delete;

    TMimeMutexSemaphoreEntry const processes{index_mutex, TMimeMutexSemaphore::fsInfinite};
    TMimeMutexSemaphoreEntry const threads{thread_mutex, TMimeMutexSemaphore::fsInfinite};
    std::unique_ptr<platform::Mutex> const directory;
    platform::Wait const state;
    int const error; ///< Of what failed.
};

StoreLock::StoreLock(std::string_view prefix) : locks_(std::make_unique<Locks>(prefix)) {}

StoreLock::~StoreLock() = default;

std::unique_ptr<StoreLock> StoreLock::take(std::string const & prefix, Outcome & outcome) {
    std::unique_ptr<StoreLock> lock(new StoreLock(prefix));
    Locks const & locks = *lock->locks_;
    bool const is_held =
        locks.state == platform::Wait::held && locks.threads.State() == TMimeMutexSemaphore::Held;
    outcome = is_held ? Outcome::held : Outcome::failed;
    if (is_held) return lock;
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
