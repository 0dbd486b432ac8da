// tests/partial_store_threads_test.cpp - one partial store and many receivers, in threads and
// processes
#include "tests/support/fragments.hpp"
#include "tests/support/processes.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <thread>
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
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back([&] { work(store, *counts); });
    for (std::thread & worker : workers)
        worker.join();
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
