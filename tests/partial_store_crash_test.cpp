// tests/partial_store_crash_test.cpp - a partial store whose receivers are killed, or refused what
// they ask of the system, at every call and at any moment
#include "mime/platform/files.hpp"
#include "tests/support/fragments.hpp"
#include "tests/support/processes.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>
#include <vector>

using namespace vellum;
using namespace vellum::test;

namespace {

constexpr std::size_t most_messages = 150;
constexpr std::size_t most_workers = 8;

/// What all processes see.
struct Board {
    std::atomic<int> calls{0}; ///< to the platform
    std::atomic<int> torn{0};  ///< Messages that came home, but not as they were.
    std::atomic<int> loose{0}; ///< Fragments that were delivered as they stand.
    std::array<std::atomic<int>, most_messages> delivered{};
    std::array<std::atomic<std::size_t>, most_workers> done{}; ///< Jobs that ended, of each worker.
};

Board & board() {
    static auto const memory = shared<Board>();
    return *memory;
}

constexpr int dies = -1;

/// Which calls fail: all, or those of one name.
struct Refusal {
    std::string_view call; ///< empty for all
    int first;             ///< the first that fails, counted from 1
    int last;
    int error; ///< or `dies`: its process
} refusal;

int refuse(char const * call) {
    if (!refusal.call.empty() && refusal.call != call) return 0;
    int const number = ++board().calls;
    bool const is_meant = number >= refusal.first && number <= refusal.last;
    if (is_meant && refusal.error == dies) raise(SIGKILL);
    return is_meant ? refusal.error : 0;
}

struct Job {
    std::size_t message;
    int number;
};

class PartialStoreCrash : public testing::Test {
protected:
    PartialStoreCrash() { new (&board()) Board; }
    ~PartialStoreCrash() override { platform::set_file_probe(nullptr); }

    static void start(Refusal const & which) {
        new (&board()) Board;
        refusal = which;
        platform::set_file_probe(refuse);
    }

    Received run(Job const & job) {
        Sample const & sample = samples_[job.message];
        return receive(store_.prefix(), sample.fragment(job.number), [&](FragmentNote & note) {
            note.on_end = [&](Received const & got) {
                if (got.holds(sample)) ++board().delivered[job.message];
                if (!got.holds(sample) && !got.is_fragment) ++board().torn;
                if (got.is_fragment) ++board().loose;
            };
        });
    }

    /// Every set has come home; what was fed again since then is no harm, and goes with its like;
    /// and then nothing is left.
    void finish(std::string const & how) {
        SCOPED_TRACE(how);
        for (std::size_t i = 0; i < samples_.size(); ++i)
            ASSERT_GE(board().delivered[i], 1) << i;
        Sample const last{"last", 2};
        receive(store_.prefix(), last.fragment(1)); // makes a damaged index anew
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            auto const is_known = [&] {
                return store_.read("MailPart.Ndx").find('\n' + samples_[i].id + '\n') !=
                       std::string::npos;
            };
            for (int fed = 0; is_known() && fed < 2 * samples_[i].total; ++fed)
                run({i, fed % samples_[i].total + 1});
        }
        ASSERT_EQ(board().torn, 0);
        ASSERT_TRUE(receive(store_.prefix(), last.fragment(2)).is(last));
        ASSERT_EQ(store_.names(), "");
    }

    /// Feeds everything while calls fail, and again what didn't come into the store. If `damages`,
    /// the index loses its end before each fragment. Returns the number of calls.
    int check_refusal(Refusal const & which, bool damages = false) {
        std::string const how = std::string(which.call) + " call " + std::to_string(which.first) +
                                ", error " + std::to_string(which.error);
        start(which);
        std::vector<Job> again;
        for (Job const & job : jobs_) {
            std::string const index = store_.read("MailPart.Ndx");
            if (damages && !index.empty()) store_.write("MailPart.Ndx", index.substr(0, 9));
            Received const got = run(job);
            bool const is_taken = got.result == MimeINote::Receive_Fragment_Stored ||
                                  (got.result == MimeINote::Receive_Complete && !got.is_fragment);
            if (!is_taken) again.push_back(job);
            // What the store doesn't take the client has, or is told of.
            EXPECT_TRUE(got.result != MimeINote::Receive_Complete || got.messages == 1) << how;
        }
        int const calls = board().calls;
        platform::set_file_probe(nullptr);
        bool const is_lasting = platform::failure_of(which.error) == platform::Failure::refusal;
        EXPECT_TRUE(is_lasting || board().loose == 0) << how;
        board().torn = 0; // a delivery that could not go on has ended, and is repeated
        for (Job const & job : again)
            run(job);
        finish(how);
        return calls;
    }

    StoreDirectory store_;
    std::vector<Sample> samples_{{"first", 3}, {"second", 2}};
    std::vector<Job> jobs_{{0, 3}, {1, 1}, {0, 1}, {0, 1}, {1, 2}, {0, 2}};
};

TEST_F(PartialStoreCrash, LosesNothingWhenKilledBeforeAnyCall) {
    bool was_killed = true;
    int call = 1;
    for (; was_killed && !HasFailure(); ++call) {
        start({"", call, call, dies});
        was_killed = result_of_child([this] {
                         for (Job const & job : jobs_) {
                             run(job);
                             ++board().done[0];
                         }
                         return 0;
                     }) == -SIGKILL;
        platform::set_file_probe(nullptr);
        // Who fed the killed receiver feeds again what it has no answer for.
        for (std::size_t i = board().done[0]; i < jobs_.size(); ++i)
            run(jobs_[i]);
        for (std::size_t i = 0; i < samples_.size(); ++i)
            ASSERT_LE(board().delivered[i], was_killed ? 2 : 1) << call;
        finish("killed before call " + std::to_string(call));
    }
    EXPECT_GT(call, 100); // there was something to kill
}

TEST_F(PartialStoreCrash, LosesNothingWhenAnyCallFails) {
    for (bool const damages : {false, true}) {
        int calls = 1;
        for (int call = 1; call <= calls && !HasFailure(); ++call)
            calls = check_refusal({"", call, call, std::array{EIO, ENOSPC, EMFILE}[call % 3U]},
                                  damages);
        EXPECT_GT(calls, 100);
    }
}

TEST_F(PartialStoreCrash, LosesNothingWhenAKindOfCallFailsForGood) {
    constexpr int for_good = 1 << 30;
    for (char const * const call : {"create", "write", "sync", "rename", "remove", "list", "open",
                                    "read", "lock", "lock_directory", "sync_directory"}) {
        for (int first = 1; first <= 20 && !HasFailure(); ++first)
            check_refusal({call, first, for_good, first % 2 == 0 ? EROFS : ENFILE});
    }
}

/// A fragment's file is flushed before it gets its name, and so is the index; and the directory
/// behind both.
TEST_F(PartialStoreCrash, AFragmentIsOnTheDiskWhenItIsAcknowledged) {
    static std::string calls;
    platform::set_file_probe([](char const * call) {
        bool const is_of_the_disk =
            std::string_view("write sync_directory rename").find(call) != std::string_view::npos;
        if (is_of_the_disk) calls.append(call).append(1, ' ');
        return 0;
    });
    for (int const number : {3, 2}) {
        calls.clear();
        EXPECT_EQ(run({0, number}).result, MimeINote::Receive_Fragment_Stored);
        EXPECT_EQ(calls, "write sync rename write sync rename sync_directory ");
    }
}

TEST_F(PartialStoreCrash, LosesNothingWhenKilledAtAnyMoment) {
    constexpr int fragments = 8;
    samples_.clear();
    jobs_.clear();
    for (std::size_t i = 0; i < most_messages; ++i) {
        samples_.push_back({"message " + std::to_string(i), fragments});
        for (int number = 1; number <= fragments; ++number)
            jobs_.push_back({i, number});
    }
    std::mt19937 random(4711);
    // Sets begin and end all the time: each job moves by some places only.
    for (std::size_t i = 0; i < jobs_.size(); ++i)
        std::swap(jobs_[i], jobs_[std::min(i + random() % 40, jobs_.size() - 1)]);

    auto const start_worker = [this](std::size_t worker) {
        return start_child([this, worker] {
            std::atomic<std::size_t> & done = board().done[worker];
            for (std::size_t job; (job = done * most_workers + worker) < jobs_.size(); ++done)
                run(jobs_[job]);
            return 0;
        });
    };
    std::array<pid_t, most_workers> workers{};
    for (std::size_t i = 0; i < most_workers; ++i)
        workers[i] = start_worker(i);
    int killed = 0;
    for (int i = 0; i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
        std::size_t const victim = random() % most_workers;
        kill(workers[victim], SIGKILL);
        if (result_of(workers[victim]) == -SIGKILL) ++killed;
        workers[victim] = start_worker(victim);
    }
    for (pid_t const worker : workers)
        EXPECT_EQ(result_of(worker), 0);
    EXPECT_GT(killed, 20); // and not only when all was done
    finish("killed at any moment");
}

} // namespace
