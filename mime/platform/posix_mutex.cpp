// mime/platform/posix_mutex.cpp - mutexes on POSIX systems
//
// Threads of the process are kept apart by a Lock, which is recursive and knows its owner. A name
// or a directory adds a LockFile, which keeps processes apart.
//
// A lock that is held is listed with its owner, so that a thread's end lets go of it, and keeps
// itself alive. fork() makes a copy of all this whose owners don't exist: the child starts afresh.
#include "mime/platform/platform.hpp"

#include "mime/platform/posix_lock_file.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <pthread.h>
#include <string>
#include <vector>

namespace vellum::platform {

namespace {

/// A name as part of a file name: bytes that could have a meaning there stand as %XX. "" if it
/// would become too long.
std::string file_name_of(std::string_view name) {
    constexpr std::size_t longest = NAME_MAX - 40; // room for the prefix and the user's number
    std::string result;
    for (char const c : name) {
        unsigned char const byte = static_cast<unsigned char>(c);
        bool const plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= 'a' && byte <= 'z') || byte == '-' || byte == '_';
        std::array<char, 4> escape{};
        if (!plain) std::snprintf(escape.data(), escape.size(), "%%%02X", byte);
        result += plain ? std::string(1, c) : escape.data();
        if (result.size() > longest) return "";
    }
    return result;
}

} // namespace

// ---- The lock of a process ----

class Mutex::Lock : public std::enable_shared_from_this<Mutex::Lock> {
public:
    explicit Lock(std::unique_ptr<LockFile> file);
    Lock(Lock const &) = delete;
    Lock & operator=(Lock const &) = delete;
    ~Lock();

    Wait lock(long timeout);
    bool unlock();
    bool is_held_by_caller() const { return owner_ == &held_by_thread; }
    bool is_held() const { return owner_ != nullptr; }

    /// The one lock of a name in this process, found or made; so its threads are kept apart
    /// whatever objects they use, and one thread may take it through several. Null if the file
    /// can't be had.
    static std::shared_ptr<Lock> named(std::string const & name);

    /// Lets go of all that the calling thread has locked here.
    void let_go();

    /// At the end of a thread.
    static void let_go_of_all() {
        while (held_by_thread != nullptr)
            held_by_thread->let_go();
    }

private:
    struct Names {
        std::mutex guard; // taken before fork_guard()
        std::map<std::string, std::weak_ptr<Lock>> locks;
    };

    static Names & names() {
        static auto & all = *new Names;
        return all;
    }

    static void before_fork();
    static void after_fork();
    static void after_fork_in_child();

    /// The first of the locks that a thread holds; its address stands for the thread. Trivial, so
    /// that static destructors can still lock when the thread's objects are gone.
    static constinit thread_local Lock * held_by_thread;

    void enlist();
    std::shared_ptr<Lock> forget();

    bool take(Deadline const & deadline);
    void release();

    std::mutex guard_; // of owner_'s changes
    std::condition_variable is_free_;
    std::atomic<Lock **> owner_{nullptr};
    std::unique_ptr<LockFile> file_; // null without a name

    // Of the owner alone:
    int depth_ = 0;
    Lock * next_held_ = nullptr;
    std::shared_ptr<Lock> self_; // keeps what is held alive

    // All locks of the process, under fork_guard():
    static Lock * first;
    Lock * previous_ = nullptr;
    Lock * next_ = nullptr;
};

constinit thread_local Mutex::Lock * Mutex::Lock::held_by_thread = nullptr;
Mutex::Lock * Mutex::Lock::first = nullptr;

Mutex::Lock::Lock(std::unique_ptr<LockFile> file) : file_(std::move(file)) {
    static int const watched = ::pthread_atfork(before_fork, after_fork, after_fork_in_child);
    static_cast<void>(watched);
    std::lock_guard const guard(fork_guard());
    next_ = first;
    if (first != nullptr) first->previous_ = this;
    first = this;
}

Mutex::Lock::~Lock() {
    std::lock_guard const guard(fork_guard());
    (previous_ != nullptr ? previous_->next_ : first) = next_;
    if (next_ != nullptr) next_->previous_ = previous_;
}

Wait Mutex::Lock::lock(long timeout) {
    if (is_held_by_caller()) {
        if (depth_ == INT_MAX) {
            errno = EAGAIN;
            return Wait::failed;
        }
        ++depth_;
        return Wait::held;
    }
    Deadline const deadline(timeout);
    if (!take(deadline)) return Wait::timed_out;
    Wait const outcome = file_ ? file_->acquire(deadline) : Wait::held;
    if (outcome == Wait::held) {
        enlist();
    } else {
        release();
    }
    return outcome;
}

bool Mutex::Lock::take(Deadline const & deadline) {
    auto const is_free = [this] { return owner_ == nullptr; };
    std::unique_lock guard(guard_);
    if (deadline.unlimited()) {
        is_free_.wait(guard, is_free);
    } else if (!is_free_.wait_until(guard, deadline.at(), is_free)) {
        return false;
    }
    owner_ = &held_by_thread;
    return true;
}

void Mutex::Lock::release() {
    std::lock_guard const guard(guard_);
    owner_ = nullptr;
    is_free_.notify_one();
}

void Mutex::Lock::enlist() {
    struct AtThreadEnd {
        ~AtThreadEnd() { let_go_of_all(); }
    };
    static thread_local AtThreadEnd const at_thread_end;
    static_cast<void>(at_thread_end);

    depth_ = 1;
    self_ = shared_from_this();
    next_held_ = held_by_thread;
    held_by_thread = this;
}

bool Mutex::Lock::unlock() {
    if (!is_held_by_caller()) {
        errno = EPERM;
        return false;
    }
    if (depth_ == 1) {
        let_go();
    } else {
        --depth_;
    }
    return true;
}

void Mutex::Lock::let_go() {
    Lock ** link = &held_by_thread;
    while (*link != this)
        link = &(*link)->next_held_;
    *link = next_held_;

    std::shared_ptr<Lock> const last_share = std::move(self_); // beyond the unlocking
    depth_ = 0;
    if (file_) file_->release();
    release();
}

std::shared_ptr<Mutex::Lock> Mutex::Lock::forget() {
    new (&guard_) std::mutex; // as a thread that wasn't copied may hold it, or wait
    new (&is_free_) std::condition_variable;
    if (file_) file_->forget();
    owner_ = nullptr;
    depth_ = 0;
    return std::move(self_);
}

void Mutex::Lock::before_fork() {
    names().guard.lock();
    fork_guard().lock();
}

void Mutex::Lock::after_fork() {
    fork_guard().unlock();
    names().guard.unlock();
}

void Mutex::Lock::after_fork_in_child() {
    std::vector<std::shared_ptr<Lock>> shares; // given up when the guard is free again
    held_by_thread = nullptr;
    for (Lock * lock = first; lock != nullptr; lock = lock->next_) {
        if (std::shared_ptr<Lock> share = lock->forget()) shares.push_back(std::move(share));
    }
    after_fork();
}

std::shared_ptr<Mutex::Lock> Mutex::Lock::named(std::string const & name) {
    std::lock_guard const entry(names().guard);
    auto & locks = names().locks;
    std::erase_if(locks, [](auto const & row) { return row.second.expired(); });
    std::weak_ptr<Lock> & known = locks[name];
    if (std::shared_ptr<Lock> lock = known.lock()) return lock;

    auto file = std::make_unique<LockFile>(name);
    if (!file->probe()) return nullptr;
    auto lock = std::make_shared<Lock>(std::move(file));
    known = lock;
    return lock;
}

// ---- The object of a client ----

Mutex::Mutex(std::shared_ptr<Lock> lock) : lock_(std::move(lock)) {}

Mutex::~Mutex() { close(); }

std::unique_ptr<Mutex> Mutex::create(char const * name) noexcept try {
    if (name == nullptr || *name == '\0') {
        return std::unique_ptr<Mutex>(new Mutex(std::make_shared<Lock>(nullptr)));
    }
    std::string const file_name = file_name_of(name);
    if (file_name.empty()) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    std::shared_ptr<Lock> lock = Lock::named(file_name);
    return lock ? std::unique_ptr<Mutex>(new Mutex(std::move(lock))) : nullptr;
} catch (std::bad_alloc const &) {
    errno = ENOMEM;
    return nullptr;
}

std::unique_ptr<Mutex> Mutex::of_directory(std::string_view prefix) noexcept try {
    std::string_view const part = prefix.substr(0, prefix.rfind('/') + 1);
    auto file = std::make_unique<LockFile>(std::string(part.empty() ? "." : part),
                                           LockFile::Kind::directory);
    return std::unique_ptr<Mutex>(new Mutex(std::make_shared<Lock>(std::move(file))));
} catch (std::bad_alloc const &) {
    errno = ENOMEM;
    return nullptr;
}

Wait Mutex::lock(long timeout) noexcept { return lock_->lock(timeout); }

bool Mutex::unlock() noexcept { return lock_->unlock(); }

bool Mutex::close() noexcept {
    if (!lock_) return true;
    std::shared_ptr<Lock> const lock = std::move(lock_);
    constexpr long shares_of_last = 2; // this one, and that of the lock which is held
    bool const is_last = lock.use_count() <= shares_of_last;
    if (is_last && lock->is_held_by_caller()) lock->let_go();
    if (!is_last || !lock->is_held()) return true;
    errno = EBUSY;
    return false;
}

} // namespace vellum::platform
