// tests/mutex_test.cpp - exclusion between threads, objects of one name, processes and users
#include "mime/MIMESEM.hpp"

#include "tests/support/processes.hpp"
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
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

using namespace vellum::test;
using Semaphore = TMimeMutexSemaphore;
using Entry = TMimeMutexSemaphoreEntry;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr long infinite = Semaphore::fsInfinite;
constexpr long far = 60'000;

int state_here(Semaphore & semaphore, long timeout = 0) {
    return Entry(semaphore, timeout).State();
}
int state_in_thread(Semaphore & semaphore, long timeout = 0) {
    return std::async(std::launch::async, state_here, std::ref(semaphore), timeout).get();
}
int state_in_child(Semaphore & semaphore, long timeout = 0) {
    return result_of_child([&] { return state_here(semaphore, timeout); });
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
    std::jthread const holder([&] {
        enter_for_good(semaphore);
        held.set_value();
        done.get_future().wait();
    });
    held.get_future().wait();
    work();
    done.set_value();
}

template <typename Flag>
void wait_for(Flag const & flag) {
    while (!flag)
        std::this_thread::sleep_for(milliseconds(1));
}

class MutexTest : public testing::Test {
protected:
    void TearDown() override { ::shm_unlink(file().c_str()); }

    std::string file(uid_t user = ::geteuid()) const {
        return "/vellum-" + std::to_string(user) + "-" + name_;
    }

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
        EXPECT_EQ(state_here(*semaphore), Semaphore::Held);
        EXPECT_EQ(state_in_thread(*semaphore), Semaphore::TimedOut);
        auto const start = steady_clock::now();
        EXPECT_EQ(state_in_thread(*semaphore, 50), Semaphore::TimedOut);
        EXPECT_GE(steady_clock::now() - start, milliseconds(50));
        // What has timed out releases nothing.
        EXPECT_EQ(state_in_thread(*semaphore), Semaphore::TimedOut);
    }
    EXPECT_EQ(state_in_thread(*semaphore), Semaphore::Held);
}

TEST_P(AnyMutexTest, PassesOnFromAThreadThatEnded) {
    auto const semaphore = make();
    std::thread([&] {
        enter_for_good(*semaphore);
        enter_for_good(*semaphore);
    }).join();
    EXPECT_EQ(state_here(*semaphore), Semaphore::Held);
    EXPECT_EQ(state_in_child(*semaphore), Semaphore::Held);
    EXPECT_EQ(state_in_thread(*semaphore), Semaphore::Held);
}

TEST_P(AnyMutexTest, CanBeClosedWhileItIsHeld) {
    auto semaphore = make();
    enter_for_good(*semaphore);
    semaphore.reset();
    semaphore = make();
    EXPECT_EQ(state_in_thread(*semaphore), Semaphore::Held);
}

/// The child must not wait for a thread that it has no copy of, nor take its parent's lock away.
TEST_P(AnyMutexTest, StartsAfreshInAForkedChild) {
    auto const semaphore = make();
    auto const expected = GetParam() ? Semaphore::TimedOut : Semaphore::Held;
    while_another_holds(*semaphore, [&] { EXPECT_EQ(state_in_child(*semaphore, 50), expected); });
    {
        auto entry = std::make_unique<Entry>(*semaphore, infinite);
        EXPECT_EQ(result_of_child([&] {
                      entry.reset(); // the parent's
                      return state_here(*semaphore);
                  }),
                  expected);
        EXPECT_EQ(state_in_thread(*semaphore), Semaphore::TimedOut);
    }
    EXPECT_EQ(state_in_child(*semaphore), Semaphore::Held);
}

/// In each of four processes (a mutex without a name serves one) four threads, with an object each
/// where objects of one name are one mutex.
TEST_P(AnyMutexTest, ExcludesWhateverRunsBeside) {
    struct Counters {
        int entries = 0; // not atomic: the mutex has to do
        std::atomic<int> inside{0}, clashes{0};
    };
    int const processes = GetParam() ? 4 : 1;
    auto const counters = shared<Counters>();
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        children.push_back(start_child([&] {
            auto const common = make();
            auto const work = [&] {
                auto const own = GetParam() ? make() : nullptr;
                for (int round = 0; round < 150; ++round) {
                    long const timeouts[] = {infinite, far, std::numeric_limits<long>::max()};
                    Entry const entry(own ? *own : *common, timeouts[round % 3]);
                    if (entry.State() != Semaphore::Held) continue;
                    if (counters->inside.fetch_add(1) != 0) ++counters->clashes;
                    ++counters->entries;
                    counters->inside.fetch_sub(1);
                }
            };
            std::vector<std::jthread> threads;
            for (int thread = 0; thread < 4; ++thread)
                threads.emplace_back(work);
            return 0; // when all have ended
        }));
    }
    for (pid_t const child : children)
        EXPECT_EQ(result_of(child), 0);
    EXPECT_EQ(counters->clashes, 0);
    EXPECT_EQ(counters->entries, processes * 4 * 150);
}

TEST_F(MutexTest, ObjectsOfOneNameAreOneMutex) {
    Semaphore one(name_.c_str());
    auto other = std::make_unique<Semaphore>(name_.c_str());
    Semaphore apart((name_ + "/../x").c_str());
    Entry const entry(one, infinite);
    EXPECT_EQ(state_here(*other), Semaphore::Held);
    EXPECT_EQ(state_in_thread(*other), Semaphore::TimedOut);
    EXPECT_EQ(state_in_thread(apart), Semaphore::Held);
    Semaphore unnamed, another("");
    Entry const entry_without_name(unnamed, infinite);
    EXPECT_EQ(state_in_thread(another), Semaphore::Held);
    other.reset();
    EXPECT_EQ(state_in_thread(one), Semaphore::TimedOut);
    ::shm_unlink((file() + "%2F%2E%2E%2Fx").c_str());
}

// ---- Processes ----

/// A child that the owner has made must not keep the lock when the owner is killed.
TEST_F(MutexTest, PassesOnFromAProcessThatWasKilled) {
    Semaphore semaphore(name_.c_str());
    auto fastest = steady_clock::duration::max();
    for (int round = 0; round < 10; ++round) {
        auto const grandchild = shared<std::atomic<pid_t>>();
        pid_t const child = start_child([&] {
            Entry const outer(semaphore, infinite);
            Entry const inner(semaphore, infinite);
            *grandchild = start_child([] { return ::pause(); });
            return ::pause();
        });
        wait_for(*grandchild);
        EXPECT_EQ(state_here(semaphore), Semaphore::TimedOut);
        std::this_thread::sleep_for(milliseconds(5)); // the grandchild is at rest
        ::kill(child, SIGKILL);
        auto const start = steady_clock::now();
        EXPECT_EQ(state_here(semaphore, round % 2 == 0 ? infinite : far), Semaphore::Held);
        fastest = std::min(fastest, steady_clock::now() - start);
        result_of(child);
        ::kill(*grandchild, SIGKILL);
    }
    EXPECT_LT(fastest, milliseconds(100));
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
        return state_in_child(semaphore); // it must be the file of the new name that is locked
    });
    std::this_thread::sleep_for(milliseconds(20));
    ::shm_unlink(file().c_str());
    *is_removed = true;
    EXPECT_EQ(waiting.get(), Semaphore::TimedOut);
    EXPECT_EQ(result_of(child), 0);
}

// ---- Failures and strangers ----

/// No link is followed either.
TEST_F(MutexTest, FailedCreationIsTracedAndFailsEachLock) {
    std::string const link = "/dev/shm" + file();
    bool const has_link = ::symlink("/dev/shm/elsewhere", link.c_str()) == 0;
    for (auto const & [name, error] :
         {std::pair(std::string(300, 'x'), ENAMETOOLONG), {name_, ELOOP}}) {
        if (error == ELOOP && !has_link) continue;
        LastMessage const log;
        Semaphore semaphore(name.c_str());
        EXPECT_EQ(log.text, "Error " + std::to_string(error) + " from CreateMutex(" + name + ")");
        EXPECT_EQ(state_here(semaphore, infinite), Semaphore::Failed);
        EXPECT_EQ(state_here(semaphore), Semaphore::Failed);
    }
    EXPECT_NE(::access("/dev/shm/elsewhere", F_OK), 0);
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
    std::string const path = "/dev/shm" + file();
    auto const expect_own = [&] {
        struct stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u);
        EXPECT_EQ(status.st_uid, ::geteuid());
    };
    expect_own();
    ::chmod(path.c_str(), 0666);
    EXPECT_EQ(state_here(semaphore), Semaphore::Held);
    expect_own();
    ::umask(mask);
}

TEST_F(MutexTest, UsersDoNotMeet) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser";
    constexpr uid_t stranger = 12345;
    bool const can_write = result_of_child(
        [] { return ::setuid(stranger) == 0 && ::access("/dev/shm", W_OK | X_OK) == 0; });
    if (!can_write) GTEST_SKIP() << "other users can't write to /dev/shm";
    Semaphore semaphore(name_.c_str());
    Entry const entry(semaphore, infinite);
    EXPECT_EQ(result_of_child([&] {
                  if (::setuid(stranger) != 0) return 0;
                  Semaphore own(name_.c_str());
                  int const state = state_here(own);
                  // An object from before the change of user serves the new one.
                  return Entry(own, 0).State() == state_here(semaphore) ? state : 0;
              }),
              Semaphore::Held);

    // A file that another user has put there is not trusted.
    ::shm_unlink(file().c_str());
    int const descriptor = ::shm_open(file().c_str(), O_RDWR | O_CREAT, 0666);
    ::fchown(descriptor, stranger, stranger);
    ::close(descriptor);
    Semaphore again(name_.c_str());
    EXPECT_EQ(state_in_child(again), Semaphore::Failed);
    ::shm_unlink(file(stranger).c_str());
}

} // namespace
