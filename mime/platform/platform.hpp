// mime/platform/platform.hpp - all that the engine needs of the operating system
//
// The sources for a system stand beside this header (posix.cpp and posix_mutex.cpp; a further
// system gets twins of these), and no other file of the engine includes a system header. Each
// function says what a port must guarantee. All are safe to call from any thread.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string_view>

namespace vellum::platform {

// ---- Errors ----

/// The system's number for the calling thread's last failure in this layer (errno on POSIX). Valid
/// directly behind the call that failed.
int last_error() noexcept;

// ---- Threads ----

/// A number that no other living thread of the process has.
unsigned long thread_number() noexcept;

// ---- Character encoding ----

/// The code page of the user's locale: the number for the character encoding that the environment
/// chooses for text, whatever locale the process itself has set; nothing of the process's locale is
/// changed. 65001 (UTF-8) where no encoding is set, or an encoding that has no number.
unsigned long code_page() noexcept;

/// The code page of a character encoding's name as the system spells it in its locales ("UTF-8",
/// "ISO-8859-2", "CP1251"), without regard to case and punctuation; 0 if the name has no number. An
/// encoding that a vendor's page contains whole, in the characters that text uses, has the number
/// of that page (EUC-KR: 949); the other parts of ISO 8859 have 28590 and the number of the part.
unsigned long code_page_of(std::string_view encoding) noexcept;

// ---- Time ----

/// The present time in milliseconds since 1 January 1970, 00:00 UT.
std::int64_t now() noexcept;

using Clock = std::int64_t (*)();

/// For tests: from now on now() asks `clock`, which returns what now() returns; null brings the
/// system's clock back. The result is the clock so far, null for the system's. The engine never
/// calls this.
Clock set_clock(Clock clock) noexcept;

/// The clock of the machine's zone at the moment `when` (seconds since 1970 UT), in all nine
/// fields. False, and `out` untouched, if the year can't be held.
bool local_time(std::time_t when, std::tm & out) noexcept;

struct ZoneOffset {
    int minutes; ///< how far the zone's clock is ahead of UT: east is positive
    bool is_summer_time;
};

/// The machine's zone at the moment `when`; seconds, which zones of former centuries have, are cut
/// off downwards. A change of the zone's setting while the process runs counts: of TZ at once, of
/// the system's own zone or of its rules within a second; no file is looked at oftener.
ZoneOffset zone_offset(std::time_t when) noexcept;

/// The offset in minutes of the zone's summer time in the year of `when`, whatever the time of that
/// year; the offset at `when` if the zone keeps no summer time then.
int summer_offset(std::time_t when) noexcept;

// ---- Mutexes ----

enum class Wait { held, timed_out, failed };

/// A recursive mutex. A thread that ends, or a process that is killed, while it holds the mutex
/// lets go of it: the next wait gets it, with the result `held`. A child made by fork holds
/// nothing, and what other threads of its parent held doesn't keep it waiting unless the mutex has
/// a name.
class Mutex {
public:
    /// Without a name (null or ""), a mutex of its own for the threads of this process; with a
    /// name, the one that all processes of this user share under that name, and all objects of that
    /// name in this process. No other user can write, lock or replace anything that carries the
    /// name, and users don't meet in it. Null if it can't be had: see last_error().
    static std::unique_ptr<Mutex> create(char const * name) noexcept;

    /// The mutex of the directory in which files whose path begins with `prefix` lie ("" and a
    /// prefix without a separator: the current directory). Whoever may read the directory takes
    /// part in it: all users and, where they see one directory, containers, but not the machines of
    /// a network file system. Nothing is written there. Each object is a mutex of its own in its
    /// thread, and keeps out all others. Null for want of memory.
    static std::unique_ptr<Mutex> of_directory(std::string_view prefix) noexcept;

    Mutex(Mutex const &) = delete;
    Mutex & operator=(Mutex const &) = delete;
    ~Mutex();

    /// Waits at most `timeout` milliseconds, 0 for a look alone, without limit if it is negative.
    Wait lock(long timeout) noexcept;

    /// Undoes one lock() of the calling thread. False, and nothing done, if the thread doesn't hold
    /// it.
    bool unlock() noexcept;

    /// Gives up this object's share, as the destructor does; only the destructor may follow. Behind
    /// the last object the calling thread holds the mutex no longer. False if another thread still
    /// holds it then, and can't ever release it but by ending: see last_error().
    bool close() noexcept;

private:
    class Lock; // the port's own

    explicit Mutex(std::shared_ptr<Lock> lock);

    std::shared_ptr<Lock> lock_;
};

} // namespace vellum::platform
