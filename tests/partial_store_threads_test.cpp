// tests/partial_store_threads_test.cpp - one partial store and many receivers, in threads and
// processes
#include "tests/support/fragments.hpp"
#include "tests/support/processes.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <future>
#include <sched.h>
#include <string>
#include <sys/file.h>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace vellum::test;

namespace {

constexpr int messages = 100;
constexpr int fragments = 10;
constexpr int not_prepared = 77;

struct Counts {
    std::atomic<int> next{0};
    std::atomic<int> bad{0};
    std::array<std::atomic<int>, messages> delivered{};
};

/// Neighbouring jobs are fragments of the same few messages, so that sets are completed while
/// others begin, and numbers are given out again.
void work(StoreDirectory const & store, Counts & counts) {
    for (int job; (job = counts.next++) < messages * fragments;) {
        int const message = job / (4 * fragments) * 4 + job % 4;
        Sample const sample{"message " + std::to_string(message), fragments};
        Received const got =
            receive(store.prefix(), sample.fragment(job % (4 * fragments) / 4 + 1));
        if (got.is(sample)) {
            ++counts.delivered[static_cast<std::size_t>(message)];
        } else if (got.result != MimeINote::Receive_Fragment_Stored) {
            ++counts.bad;
        }
    }
}

/// All messages come home once. False if a process could not `prepare`.
bool run(StoreDirectory const & store, int threads, std::function<bool()> const & prepare) {
    auto const counts = shared<Counts>();
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        children.push_back(start_child([&] {
            if (!prepare()) return not_prepared;
            work(store, *counts);
            return 0;
        }));
    }
    std::vector<std::jthread> workers;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back([&] { work(store, *counts); });
    workers.clear();
    bool is_prepared = true;
    for (pid_t const child : children) {
        int const result = result_of(child);
        is_prepared = is_prepared && result != not_prepared;
        EXPECT_TRUE(!is_prepared || result == 0);
    }
    for (int message = 0; message < messages && is_prepared; ++message)
        EXPECT_EQ(counts->delivered[static_cast<std::size_t>(message)], 1) << message;
    EXPECT_EQ(counts->bad, 0);
    EXPECT_TRUE(!is_prepared || store.names().empty());
    return is_prepared;
}

TEST(PartialStore, DeliversOnceWhateverRunsBeside) {
    run(StoreDirectory(), 8, [] { return true; });
}

/// How often the process has the directory open.
std::ptrdiff_t times_open(StoreDirectory const & store) {
    std::filesystem::directory_iterator const descriptors("/proc/self/fd");
    return std::count_if(begin(descriptors), end(descriptors), [&store](auto const & entry) {
        std::error_code gone;
        return read_symlink(entry.path(), gone).string() + '/' == store.prefix();
    });
}

TEST(PartialStore, ALockedDirectoryHoldsUpNoOther) {
    if (!std::filesystem::exists("/proc/self/fd")) GTEST_SKIP() << "needs /proc";
    StoreDirectory const locked;
    StoreDirectory const other;
    Sample const sample{"held up", 1};
    int const holder = open(locked.prefix().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    auto const receive_into = [&sample](StoreDirectory const & store) {
        return std::async(std::launch::async,
                          [&] { return receive(store.prefix(), sample.fragment(1)).is(sample); });
    };
    auto waiting = receive_into(locked);
    while (times_open(locked) < 2) // until it waits
        std::this_thread::yield();
    auto free = receive_into(other);
    EXPECT_EQ(free.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(waiting.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    close(holder);
    EXPECT_TRUE(waiting.get());
    EXPECT_TRUE(free.get());
}

/// Containers that share a directory have each a /dev/shm of their own, and so no common mutex.
TEST(PartialStore, LosesNothingBetweenProcessesWithTheirOwnSharedMemory) {
#if !defined(__linux__)
    GTEST_SKIP() << "needs mount namespaces";
#else
    StoreDirectory const store(std::filesystem::temp_directory_path());
    bool const is_apart = run(store, 0, [] {
        return (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
               mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount("none", "/dev/shm", "tmpfs", 0, nullptr) == 0;
    });
    if (!is_apart) GTEST_SKIP() << "no mount namespace can be made here";
#endif
}

} // namespace
