// mime/MIMESEM.hpp - mutexes between threads and, with a name, between processes, and their scoped
// lock
#pragma once

#include "mime/export.hpp"

#include <memory>

namespace vellum::platform {
class Mutex;
}

/// A recursive mutex: the thread that holds it may take it again, and gives it up as many times.
/// Without a name it serves the threads of one process. With a name it is shared by all processes
/// of one user, and by all objects of that name in a process. It is taken through
/// TMimeMutexSemaphoreEntry alone. An object must outlive its entries.
class VELLUM_EXPORT TMimeMutexSemaphore {
public:
    enum EState {
        Held = 1, ///< The lock was obtained, also from an owner that ended without releasing it.
        TimedOut = 2, ///< Another thread still held it when the time was over.
        Failed = 3    ///< There is no mutex: its creation failed, or the system refused the wait.
    };

    /// The timeout that waits without limit. Other timeouts are milliseconds.
    static constexpr long fsInfinite = -1;

    /// Makes the mutex, or opens the mutex that bears the name; the name is copied, and null or
    /// "" means no name. If that fails, the failure is traced and each later lock has the state
    /// Failed.
    explicit TMimeMutexSemaphore(char const * name = nullptr);
    TMimeMutexSemaphore(TMimeMutexSemaphore const &) = delete;
    TMimeMutexSemaphore & operator=(TMimeMutexSemaphore const &) = delete;

    /// Closes the mutex; a failure is traced. Other objects of the name go on.
    ~TMimeMutexSemaphore();

protected:
    friend class TMimeMutexSemaphoreEntry;

    EState Lock(long timeout);
    void Unlock();

private:
    char const * shown_name() const;

    std::unique_ptr<vellum::platform::Mutex> handle_;
    std::unique_ptr<char[]> name_;
};

/// Holds a semaphore from its construction to its destruction, in one thread.
class VELLUM_EXPORT TMimeMutexSemaphoreEntry {
public:
    /// Waits for `semaphore` at most `timeout` milliseconds, or TMimeMutexSemaphore::fsInfinite.
    /// Look at State() for what came of it.
    TMimeMutexSemaphoreEntry(TMimeMutexSemaphore & semaphore, long timeout);
    TMimeMutexSemaphoreEntry(TMimeMutexSemaphoreEntry const &) = delete;
    TMimeMutexSemaphoreEntry & operator=(TMimeMutexSemaphoreEntry const &) = delete;

    /// Releases the semaphore if the state is Held.
    ~TMimeMutexSemaphoreEntry();

    TMimeMutexSemaphore::EState State() const { return state_; }

private:
    TMimeMutexSemaphore::EState state_;
    TMimeMutexSemaphore * semaphore_;
};
