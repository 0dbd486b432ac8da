// tests/partial_store_threads_test.cpp - one partial store and many receivers, in threads and
// processes
#include "tests/support/fragments.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <new>
#include <sched.h>
#include <stdlib.h>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace vellum::test;

namespace {

TEST(PartialStore, DeliversOnceWhateverRunsBeside) {
    constexpr int messages = 100;
    constexpr int fragments = 10;
    constexpr int processes = 8;
    constexpr int threads = 8;
    struct Shared {
        std::atomic<int> next{0};
        std::atomic<int> bad{0};
        std::array<std::atomic<int>, messages> delivered{};
    };
    void * const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto & shared = *new (memory) Shared{};
    StoreDirectory const store;
    auto const work = [&] {
        for (int job; (job = shared.next++) < messages * fragments;) {
            // Neighbouring jobs are fragments of the same few messages, so that sets are completed
            // while others begin, and numbers are given out again.
            int const message = job / (4 * fragments) * 4 + job % 4;
            int const number = job % (4 * fragments) / 4 + 1;
            Sample const sample{"message " + std::to_string(message), fragments};
            Received const got = receive(store.prefix(), sample.fragment(number));
            if (got.is(sample)) {
                ++shared.delivered[static_cast<std::size_t>(message)];
            } else if (got.result != MimeINote::Receive_Fragment_Stored) {
                ++shared.bad;
            }
        }
    };
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        pid_t const child = fork();
        if (child == 0) {
            work();
            _exit(0);
        }
        children.push_back(child);
    }
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back(work);
    for (std::thread & worker : workers)
        worker.join();
    for (pid_t const child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(shared.bad, 0);
    for (std::atomic<int> const & count : shared.delivered)
        EXPECT_EQ(count, 1);
    EXPECT_EQ(store.names(), "");
    munmap(memory, sizeof(Shared));
}

/// Containers that share a directory have each a /dev/shm of their own, and so no common mutex.
TEST(PartialStore, LosesNothingBetweenProcessesWithTheirOwnSharedMemory) {
#if !defined(__linux__)
    GTEST_SKIP() << "needs mount namespaces";
#else
    constexpr int processes = 8;
    constexpr int messages = 40;
    constexpr int no_namespace = 77;
    // The store itself must not lie in /dev/shm.
    std::string directory = (std::filesystem::temp_directory_path() / "vXXXXXX").string();
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    std::string const prefix = directory + '/';
    void * const memory = mmap(nullptr, sizeof(std::atomic<int>) * messages, PROT_READ | PROT_WRITE,
                               MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto * const delivered = new (memory) std::atomic<int>[messages] {};
    std::vector<pid_t> children;
    for (int number = 1; number <= processes; ++number) {
        pid_t const child = fork();
        if (child == 0) {
            bool const is_apart =
                (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("none", "/dev/shm", "tmpfs", 0, nullptr) == 0;
            if (!is_apart) _exit(no_namespace);
            int bad = 0;
            for (int message = 0; message < messages; ++message) {
                Sample const sample{"message " + std::to_string(message), processes};
                Received const got = receive(prefix, sample.fragment(number));
                if (got.is(sample)) {
                    ++delivered[message];
                } else if (got.result != MimeINote::Receive_Fragment_Stored) {
                    bad = 1;
                }
            }
            _exit(bad);
        }
        children.push_back(child);
    }
    bool is_skipped = false;
    for (pid_t const child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        is_skipped = is_skipped || (WIFEXITED(status) && WEXITSTATUS(status) == no_namespace);
        EXPECT_TRUE(is_skipped || status == 0);
    }
    for (int message = 0; message < messages && !is_skipped; ++message)
        EXPECT_EQ(delivered[message], 1) << message;
    EXPECT_TRUE(is_skipped || std::filesystem::is_empty(directory));
    std::filesystem::remove_all(directory);
    munmap(memory, sizeof(std::atomic<int>) * messages);
    if (is_skipped) GTEST_SKIP() << "no mount namespace can be made here";
#endif
}

} // namespace
