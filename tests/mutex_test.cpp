// tests/mutex_test.cpp - exclusion between threads, objects of one name, processes and users
#include "mime/MIMESEM.hpp"

#include "tests/support/trace_messages.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using vellum::test::LastMessage;
using Semaphore = TMimeMutexSemaphore;
using Entry = TMimeMutexSemaphoreEntry;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr long infinite = Semaphore::fsInfinite;

Semaphore::EState state_of_entry(Semaphore & semaphore, long timeout) {
    return Entry(semaphore, timeout).State();
}

Semaphore::EState state_in_other_thread(Semaphore & semaphore, long timeout) {
    return std::async(std::launch::async, state_of_entry, std::ref(semaphore), timeout).get();
}

/// Enters, and never leaves.
void enter_for_good(Semaphore & semaphore) {
    alignas(Entry) static thread_local std::byte never_destroyed[sizeof(Entry)];
    new (never_destroyed) Entry(semaphore, infinite);
}

/// Runs `work` while another thread has entered for good.
template <typename Work>
void while_another_holds(Semaphore & semaphore, Work const & work) {
    std::promise<void> held, done;
    std::thread holder([&] {
        enter_for_good(semaphore);
        held.set_value();
        done.get_future().wait();
    });
    held.get_future().wait();
    work();
    done.set_value();
    holder.join();
}

/// Memory that this process and its children share.
template <typename T>
std::shared_ptr<T> shared() {
    constexpr int flags = MAP_SHARED | MAP_ANONYMOUS;
    void * const memory = ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, flags, -1, 0);
    return {new (memory) T{}, [](T * value) { ::munmap(value, sizeof(T)); }};
}

/// A child that runs `work` and ends with what it gives.
template <typename Work>
pid_t start_child(Work const & work) {
    pid_t const child = ::fork();
    if (child == 0) ::_exit(static_cast<int>(work()));
    return child;
}

int result_of(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

template <typename Work>
int result_of_child(Work const & work) {
    return result_of(start_child(work));
}

void wait_for(std::atomic<bool> const & flag) {
    while (!flag)
        std::this_thread::sleep_for(milliseconds(1));
}

class MutexTest : public testing::Test {
protected:
    void TearDown() override { ::shm_unlink(file().c_str()); }

    std::string file() const { return "/vellum-" + std::to_string(::geteuid()) + "-" + name_; }

    std::string const name_ = "test-09AZaz-" + std::to_string(::getpid());
};

// ---- With and without a name ----

class AnyMutexTest : public MutexTest, public testing::WithParamInterface<bool> {
protected:
    std::unique_ptr<Semaphore> make() const {
        return std::make_unique<Semaphore>(GetParam() ? name_.c_str() : nullptr);
    }
};

INSTANTIATE_TEST_SUITE_P(UnnamedAndNamed, AnyMutexTest, testing::Bool());

TEST_P(AnyMutexTest, IsRecursiveAndFreeBehindTheLastEntry) {
    auto const semaphore = make();
    {
        Entry const outer(*semaphore, infinite);
        {
            Entry const inner(*semaphore, 0);
            EXPECT_EQ(outer.State(), Semaphore::Held);
            EXPECT_EQ(inner.State(), Semaphore::Held);
        }
        EXPECT_EQ(state_in_other_thread(*semaphore, 0), Semaphore::TimedOut);
    }
    EXPECT_EQ(state_in_other_thread(*semaphore, 0), Semaphore::Held);
}

TEST_P(AnyMutexTest, WaitsAsLongAsItWasToldTo) {
    auto const semaphore = make();
    Entry const entry(*semaphore, infinite);
    auto const start = steady_clock::now();
    EXPECT_EQ(state_in_other_thread(*semaphore, 50), Semaphore::TimedOut);
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    // What has timed out releases nothing.
    EXPECT_EQ(state_in_other_thread(*semaphore, 0), Semaphore::TimedOut);
}

TEST_P(AnyMutexTest, PassesOnFromAThreadThatEnded) {
    auto const semaphore = make();
    std::thread([&] {
        enter_for_good(*semaphore);
        enter_for_good(*semaphore);
    }).join();
    EXPECT_EQ(state_of_entry(*semaphore, 0), Semaphore::Held);
    if (GetParam()) {
        EXPECT_EQ(result_of_child([&] { return state_of_entry(*semaphore, 0); }), Semaphore::Held);
    }
    EXPECT_EQ(state_in_other_thread(*semaphore, 0), Semaphore::Held);
}

TEST_P(AnyMutexTest, ExcludesThreads) {
    auto const semaphore = make();
    int counter = 0;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                long const timeouts[] = {infinite, 60'000, std::numeric_limits<long>::max()};
                Entry const entry(*semaphore, timeouts[round % 3]);
                counter += entry.State() == Semaphore::Held ? 1 : 0;
            }
        });
    }
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(counter, 2000);
}

TEST_P(AnyMutexTest, CanBeClosedWhileItIsHeld) {
    auto semaphore = make();
    enter_for_good(*semaphore);
    semaphore.reset();
    semaphore = make();
    EXPECT_EQ(state_in_other_thread(*semaphore, 0), Semaphore::Held);
}

/// The child must not wait for a thread that it has no copy of, nor take its parent's lock away.
TEST_P(AnyMutexTest, StartsAfreshInAForkedChild) {
    auto const semaphore = make();
    auto const expected = GetParam() ? Semaphore::TimedOut : Semaphore::Held;
    while_another_holds(*semaphore, [&] {
        EXPECT_EQ(result_of_child([&] { return state_of_entry(*semaphore, 50); }), expected);
    });
    {
        auto entry = std::make_unique<Entry>(*semaphore, infinite);
        EXPECT_EQ(result_of_child([&] {
                      entry.reset(); // the parent's
                      return state_of_entry(*semaphore, 0);
                  }),
                  expected);
        EXPECT_EQ(state_in_other_thread(*semaphore, 0), Semaphore::TimedOut);
    }
    EXPECT_EQ(result_of_child([&] { return state_of_entry(*semaphore, 0); }), Semaphore::Held);
}

TEST_F(MutexTest, ObjectsOfOneNameAreOneMutex) {
    Semaphore one(name_.c_str());
    auto other = std::make_unique<Semaphore>(name_.c_str());
    Semaphore apart((name_ + "/../x").c_str());
    Entry const entry(one, infinite);
    EXPECT_EQ(state_of_entry(*other, 0), Semaphore::Held);
    EXPECT_EQ(state_in_other_thread(*other, 0), Semaphore::TimedOut);
    EXPECT_EQ(state_in_other_thread(apart, 0), Semaphore::Held);
    Semaphore unnamed, another("");
    Entry const entry_without_name(unnamed, infinite);
    EXPECT_EQ(state_in_other_thread(another, 0), Semaphore::Held);
    other.reset();
    EXPECT_EQ(state_in_other_thread(one, 0), Semaphore::TimedOut);
    ::shm_unlink((file() + "%2F%2E%2E%2Fx").c_str());
}

// ---- Processes ----

TEST_F(MutexTest, ExcludesProcesses) {
    struct Counters {
        int entries = 0; // not atomic: the mutex has to do
        std::atomic<int> inside{0};
        std::atomic<int> clashes{0};
    };
    auto const counters = shared<Counters>();
    std::vector<pid_t> children;
    children.reserve(4);
    for (int i = 0; i < 4; ++i) {
        children.push_back(start_child([&] {
            Semaphore semaphore(name_.c_str());
            for (int round = 0; round < 300; ++round) {
                Entry const entry(semaphore, round % 2 == 0 ? infinite : 60'000);
                if (entry.State() != Semaphore::Held) return 1;
                if (counters->inside.fetch_add(1) != 0) ++counters->clashes;
                ++counters->entries;
                counters->inside.fetch_sub(1);
            }
            return 0;
        }));
    }
    for (pid_t const child : children)
        EXPECT_EQ(result_of(child), 0);
    EXPECT_EQ(counters->clashes, 0);
    EXPECT_EQ(counters->entries, 1200);
}

TEST_F(MutexTest, PassesOnFromAProcessThatWasKilled) {
    Semaphore semaphore(name_.c_str());
    auto fastest = steady_clock::duration::max();
    for (int round = 0; round < 10; ++round) {
        auto const held = shared<std::atomic<bool>>();
        pid_t const child = start_child([&] {
            Entry const outer(semaphore, infinite);
            Entry const inner(semaphore, infinite);
            *held = true;
            return ::pause();
        });
        wait_for(*held);
        EXPECT_EQ(state_of_entry(semaphore, 0), Semaphore::TimedOut);
        ::kill(child, SIGKILL);
        auto const start = steady_clock::now();
        EXPECT_EQ(state_of_entry(semaphore, round % 2 == 0 ? infinite : 60'000), Semaphore::Held);
        fastest = std::min(fastest, steady_clock::now() - start);
        result_of(child);
    }
    EXPECT_LT(fastest, milliseconds(100));
}

/// A child that the owner has made must not keep the lock when the owner is killed.
TEST_F(MutexTest, PassesOnAlthoughAChildOfTheKilledOneLives) {
    Semaphore semaphore(name_.c_str());
    auto const grandchild = shared<std::atomic<pid_t>>();
    pid_t const child = start_child([&] {
        Entry const entry(semaphore, infinite);
        *grandchild = start_child([] { return ::pause(); });
        return ::pause();
    });
    while (*grandchild == 0)
        std::this_thread::sleep_for(milliseconds(1));
    std::this_thread::sleep_for(milliseconds(20));
    ::kill(child, SIGKILL);
    EXPECT_EQ(state_of_entry(semaphore, 5'000), Semaphore::Held);
    result_of(child);
    ::kill(*grandchild, SIGKILL);
}

TEST_F(MutexTest, GoesOnWhenItsFileIsRemoved) {
    Semaphore semaphore(name_.c_str());
    auto const held = shared<std::atomic<bool>>();
    auto const is_removed = shared<std::atomic<bool>>();
    pid_t const child = start_child([&] {
        Entry const entry(semaphore, infinite);
        *held = true;
        wait_for(*is_removed);
        std::this_thread::sleep_for(milliseconds(50));
        return 0;
    });
    wait_for(*held);
    auto waiting = std::async(std::launch::async, [&] {
        Entry const entry(semaphore, infinite);
        // It must be the file of the new name that is locked.
        return result_of_child([&] { return state_of_entry(semaphore, 0); });
    });
    std::this_thread::sleep_for(milliseconds(20));
    ::shm_unlink(file().c_str());
    *is_removed = true;
    EXPECT_EQ(waiting.get(), Semaphore::TimedOut);
    EXPECT_EQ(result_of(child), 0);
}

// ---- Failures and strangers ----

std::string creation_failure(int error, std::string const & name) {
    return "Error " + std::to_string(error) + " from CreateMutex(" + name + ")";
}

TEST_F(MutexTest, FailedCreationIsTracedAndFailsEachLock) {
    LastMessage const log;
    std::string const long_name(300, 'x');
    Semaphore semaphore(long_name.c_str());
    EXPECT_EQ(log.text, creation_failure(ENAMETOOLONG, long_name));
    EXPECT_EQ(state_of_entry(semaphore, infinite), Semaphore::Failed);
    EXPECT_EQ(state_of_entry(semaphore, 0), Semaphore::Failed);
}

TEST_F(MutexTest, ClosingWhatAnotherThreadHoldsIsTraced) {
    LastMessage const log;
    auto semaphore = std::make_unique<Semaphore>();
    while_another_holds(*semaphore, [&] { semaphore.reset(); });
    EXPECT_EQ(log.text, "Error " + std::to_string(EBUSY) + " from CloseHandle(unnamed)");
    EXPECT_TRUE(log.place.starts_with("4 mime/MIMESEM:"));
}

TEST_F(MutexTest, FileBelongsToItsUserAlone) {
    mode_t const mask = ::umask(0);
    Semaphore semaphore(name_.c_str());
    int const descriptor = ::shm_open(file().c_str(), O_RDWR, 0);
    ASSERT_GE(descriptor, 0);
    struct stat status {};
    ::fstat(descriptor, &status);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(status.st_uid, ::geteuid());

    ::fchmod(descriptor, 0666);
    EXPECT_EQ(state_of_entry(semaphore, 0), Semaphore::Held);
    ::fstat(descriptor, &status);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    ::close(descriptor);
    ::umask(mask);
}

TEST_F(MutexTest, FollowsNoLink) {
    std::string const link = "/dev/shm" + file();
    if (::symlink("/dev/shm/elsewhere", link.c_str()) != 0) GTEST_SKIP() << "no " << link;
    LastMessage const log;
    Semaphore semaphore(name_.c_str());
    EXPECT_EQ(log.text, creation_failure(ELOOP, name_));
    EXPECT_NE(::access("/dev/shm/elsewhere", F_OK), 0);
}

TEST_F(MutexTest, UsersDoNotMeet) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser";
    constexpr uid_t stranger = 12345;
    bool const can_write =
        result_of_child(
            [] { return ::setuid(stranger) == 0 && ::access("/dev/shm", W_OK | X_OK) == 0; }) == 1;
    if (!can_write) GTEST_SKIP() << "other users can't write to /dev/shm";
    Semaphore semaphore(name_.c_str());
    Entry const entry(semaphore, infinite);
    std::string const file_of_stranger = "/vellum-" + std::to_string(stranger) + "-" + name_;
    EXPECT_EQ(result_of_child([&] {
                  if (::setuid(stranger) != 0) return 0;
                  Semaphore own(name_.c_str());
                  Semaphore::EState const state = state_of_entry(own, 0);
                  // An object from before the change of user serves the new one.
                  return Entry(own, 0).State() == state_of_entry(semaphore, 0) ? int{state} : 0;
              }),
              Semaphore::Held);

    // A file that another user has put there is not trusted.
    ::shm_unlink(file().c_str());
    int const descriptor = ::shm_open(file().c_str(), O_RDWR | O_CREAT, 0666);
    ::fchown(descriptor, stranger, stranger);
    ::close(descriptor);
    EXPECT_EQ(result_of_child([&] {
                  Semaphore again(name_.c_str());
                  return state_of_entry(again, 0);
              }),
              Semaphore::Failed);
    ::shm_unlink(file_of_stranger.c_str());
}

} // namespace
