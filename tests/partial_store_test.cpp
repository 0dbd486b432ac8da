// tests/partial_store_test.cpp - fragments of messages: kept, joined, delivered once
#include "mime/foundation/trace.hpp"
#include "mime/partial/file_stream.hpp"
#include "mime/partial/store.hpp"
#include "tests/support/fragments.hpp"
#include "tests/support/transcript.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <fcntl.h>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>

using namespace vellum;
using namespace vellum::test;

namespace {

constexpr auto complete = MimeINote::Receive_Complete;
constexpr auto stored = MimeINote::Receive_Fragment_Stored;
constexpr auto not_finished = MimeINote::Receive_Not_Finished;

// The files -----------------------------------------------------------------------

TEST(PartialFiles, HoldWhatTheFormatSays) {
    StoreDirectory const store;
    umask(0);
    Sample const sample{"abc", 3};
    Received const first = receive(store.prefix(), sample.fragment(2));
    EXPECT_EQ(first.result, stored);
    EXPECT_EQ(first.messages, 0);
    EXPECT_EQ(store.names(), "MailPart.Ndx Msg00001.002 ");
    EXPECT_EQ(store.read("Msg00001.002"), "\x80 0 2 3 abc\r\nfragment 2 of abc\r\n");
    auto const name_of = [&](char const * name) {
        std::string const path = store.path(name);
        return std::to_string(path.size()) + '\n' + path + '\n';
    };
    EXPECT_EQ(store.read("MailPart.Ndx"),
              "0\n1\n1\n3\nabc\n1\n3\n1\n" + name_of("Msg00001.002") + "2\n");
    for (char const * const name : {"MailPart.Ndx", "Msg00001.002"}) {
        struct stat status {};
        stat(store.path(name).c_str(), &status);
        EXPECT_EQ(status.st_mode & 07777, 0600U) << name;
    }

    EXPECT_EQ(receive(store.prefix(), Sample{"ABC", 2}.fragment(1)).result, stored);
    EXPECT_EQ(receive(store.prefix(), sample.fragment(1)).result, stored);
    EXPECT_EQ(store.read("MailPart.Ndx"),
              "0\n2\n2\n3\nABC\n2\n2\n1\n" + name_of("Msg00002.001") + "1\n" + "3\nabc\n1\n3\n2\n" +
                  name_of("Msg00001.001") + "1\n" + name_of("Msg00001.002") + "2\n");

    EXPECT_TRUE(receive(store.prefix(), sample.fragment(3)).is(sample));
    EXPECT_EQ(store.names(), "MailPart.Ndx Msg00002.001 ");
}

struct ContentCase {
    char const * outer; // in front of the Content-Type
    char const * message;
    char const * file; // what follows the label
};

constexpr char outer[] = "Received: x\r\nMIME-Version: 1.0\r\nSubject: outer\r\nX-A:  b \r\n c \r\n"
                         "no field\r\nMessage-Id: <1>\r\nContent-Id: <2>\r\n: nameless\r\n";

TEST(PartialFiles, JoinTheHeadersOfTheFirstFragment) {
    ContentCase const cases[] = {
        {outer,
         "; number=1\r\n\r\nX-B: c\r\nsubject: inner \r\nEncrypted: x\r\nFrom: a@b\r\n"
         "Content-Type: text/plain;\r\n charset=x\r\n\r\ntext\n\r\nno line end",
         "Received: x\r\nX-A:  b  c\r\n: nameless\r\nsubject: inner\r\nEncrypted: x\r\n"
         "Content-Type: text/plain; charset=x\r\n\r\ntext\n\r\nno line end"},
        {outer, "; number=2\r\n\r\nSubject: text\r\n\r\n--x\r\n-", "Subject: text\r\n\r\n--x\r\n-"},
        {outer, "\r\n\r\nSubject: no number\r\n",
         "Received: x\r\nX-A:  b  c\r\n: nameless\r\nSubject: no number\r\n"},
        // A blank line before the enclosed header, and none at all behind it or in its place.
        {outer, "; number=1\r\n\r\n\r\nSubject: x\r\n\r\ntext\r\n",
         "Received: x\r\nX-A:  b  c\r\n: nameless\r\nSubject: x\r\n\r\ntext\r\n"},
        {outer, "; number=1\r\n\r\n\r\nthe text\r\n\r\nmore\r\n",
         "Received: x\r\nX-A:  b  c\r\n: nameless\r\n\r\nthe text\r\n\r\nmore\r\n"},
        {outer, "; number=1\r\n", "Received: x\r\nX-A:  b  c\r\n: nameless\r\n"},
        // Without any field one blank line is passed over at the start, and one ends the header.
        {"", "; number=1\r\n\r\n\r\nthe text\r\n", "\r\n\r\nthe text\r\n"},
        {"", "; number=1\r\n\r\nX-B: c\r\n\r\nthe text\r\n", "\r\n\r\nthe text\r\n"},
        {"From: a\n", "; number=1\n\nX-B: c\nSubject: b\n\ntext\n",
         "From: a\nSubject: b\n\ntext\n"},
    };
    for (ContentCase const & row : cases) {
        std::string const message =
            row.outer + std::string("Content-Type: message/partial; id=i") + row.message;
        StoreDirectory const store;
        auto const check = [&](auto & input, std::string const & how) {
            store.restore({});
            Transcript note(input);
            note.SetPartialDir(store.prefix().c_str());
            ASSERT_EQ(note.run(), "Receive Fragment_Stored\n") << row.message << ", " << how;
            std::string const text = store.files().rbegin()->second;
            ASSERT_EQ(text.substr(text.find('\n') + 1), row.file) << row.message << ", " << how;
        };
        for_each_input(message, check, 40);
    }
}

// Sets ----------------------------------------------------------------------------

TEST(PartialSet, ComesHomeInEveryOrderBesideOthers) {
    StoreDirectory const store;
    Sample const other{"other", 3};
    receive(store.prefix(), other.fragment(3));
    Sample const sample{"<1@a b>", 4};
    std::vector<int> order(4);
    std::iota(order.begin(), order.end(), 1);
    do {
        for (std::size_t i = 0; i < order.size(); ++i) {
            Received const once = receive(store.prefix(), sample.fragment(order[i]));
            if (i + 1 == order.size()) {
                ASSERT_TRUE(once.is(sample));
                break;
            }
            Received const twice = receive(store.prefix(), sample.fragment(order[i]));
            ASSERT_EQ(once.result, stored);
            ASSERT_EQ(twice.result, stored);
            ASSERT_EQ(twice.messages, 0);
        }
        ASSERT_EQ(store.names(), "MailPart.Ndx Msg00001.003 ");
    } while (std::next_permutation(order.begin(), order.end()));
    receive(store.prefix(), other.fragment(1));
    EXPECT_TRUE(receive(store.prefix(), other.fragment(2)).is(other));
    EXPECT_EQ(store.names(), "");
}

struct NumberCase {
    char const * name;
    std::vector<std::pair<int, int>> fragments; // number and total; the texts are those of 1, 2 ...
    char const *
        results;       // S stored, O delivered as it stands, C and the numbers of what was joined
    char const * left; // the fragments that are still in the store
};

/// The number that each text of a joined body stands for.
std::string joined_numbers(std::string const & body) {
    std::string result;
    for (std::size_t at = 0; (at = body.find("fragment ", at)) != body.npos; ++at)
        result += body[at + 9];
    return result;
}

TEST(PartialSet, TakesOnlyItsOwnNumbers) {
    constexpr int most = std::numeric_limits<int>::max();
    NumberCase const cases[] = {
        {"the only one needs no number", {{0, 1}}, "C1", ""},
        {"a total on the first to come", {{3, 3}, {2, 0}, {1, 0}}, "SSC123", ""},
        {"the last total counts", {{1, 2}, {2, 3}, {3, 0}}, "SSC123", ""},
        {"no total", {{1, 0}, {2, 0}}, "SS", "001 002"},
        {"a replaced one keeps the total", {{2, 2}, {2, 0}, {1, 0}}, "SSC12", ""},
        {"but brings no old one back", {{2, 3}, {1, 4}, {2, 0}, {4, 0}, {3, 0}}, "SSSSC1234", ""},
        {"after delivery", {{2, 2}, {1, 2}, {2, 2}}, "SC12S", "002"},
        {"no number is none of the set", {{0, 2}, {1, 2}, {2, 2}}, "SSC12", "000"},
        {"negative counts as none", {{-1, 2}, {1, 2}, {2, -2}}, "SSC12", "000"},
        {"a second one without a number", {{0, 2}, {-7, 0}, {1, 2}, {2, 2}}, "SOSC12", "000"},
        {"beyond its own total", {{1, 2}, {3, 2}, {2, 0}}, "SSC12", "003"},
        {"beyond its own total takes none", {{3, 2}, {1, 0}, {2, 0}, {3, 3}}, "SSSC123", ""},
        {"beyond the others' total", {{1, 2}, {4, 0}, {2, 2}}, "SSC12", "004"},
        {"a larger total takes it in", {{1, 2}, {3, 3}, {2, 0}}, "SSC123", ""},
        {"a smaller total than another's", {{3, 3}, {2, 0}, {1, 2}, {2, 3}}, "SSSC123", ""},
        {"the extremes", {{most, 0}, {-most - 1, -most - 1}, {1, 2}, {2, 2}}, "SSSC12", "000 FFF"},
        {"one name for two numbers", {{1, 0}, {4097, 0}, {2, 2}}, "SOC12", ""},
    };
    for (NumberCase const & row : cases) {
        StoreDirectory const store;
        std::string results;
        for (auto const & [number, total] : row.fragments) {
            Sample const sample{"i", 9};
            int const text = number >= 1 && number <= 9 ? number : total == 1 ? 1 : 9;
            Received const got = receive(store.prefix(), sample.fragment(text, number, total));
            if (got.result == stored) results += 'S';
            if (got.result != complete) continue;
            results += got.is_fragment ? "O" : "C" + joined_numbers(got.body);
        }
        EXPECT_EQ(results, row.results) << row.name;
        std::string left;
        for (auto const & [name, text] : store.files())
            if (name.size() == 12 && name.substr(0, 3) == "Msg")
                left += (left.empty() ? "" : " ") + name.substr(9);
        EXPECT_EQ(left, row.left) << row.name;
    }
}

TEST(PartialSet, KeepsNumbersThatAFileNameCannotHold) {
    StoreDirectory const store;
    receive(store.prefix(), Sample{"a", 3}.fragment(2));
    std::string index = store.read("MailPart.Ndx");
    store.write("MailPart.Ndx", index.replace(0, 3, "7\n1048576")); // first, sequence number
    receive(store.prefix(), Sample{"b", 3}.fragment(2, 4098, 0));
    EXPECT_EQ(store.names(),
              "MailPart.Ndx Msg00001.002 Msg00002.002 "); // 1048577 would be Msg00001
    EXPECT_EQ(store.read("MailPart.Ndx").substr(0, 29), "7\n1048578\n2\n1\nb\n1048578\n0\n1\n2");
    EXPECT_EQ(store.read("Msg00002.002").substr(0, 13), "\x80 7 4098 0 b\r");
}

TEST(PartialSet, IsDeliveredAsTheMessageThatWasCut) {
    struct Cookie : MimeClientCookie {
        int deletions = 0;
        void Delete() override { ++deletions; }
    };
    for (std::string const eol : {"\r\n", "\n"}) {
        auto const lines = [&](std::string_view text) {
            std::string result;
            for (char const c : text)
                result += c == '|' ? eol : std::string(1, c);
            return result;
        };
        std::string const from = lines("From: a@b|");
        std::string const first = lines("Subject: whole|MIME-Version: 1.0|"
                                        "Content-Type: multipart/mixed; boundary=b||--b||on");
        std::string const last = lines("e|--b||two|--b--|");
        StoreDirectory const store;
        Cookie cookie;
        std::ostringstream debug;
        auto const transcript = [&](int number, std::string const & text) {
            std::string type = partial_type("i", number, 2);
            if (eol == "\n") std::erase(type, '\r');
            return transcript_of(from + lines("Subject: cut|") + type + eol + text,
                                 [&](Transcript & note) {
                                     note.SetPartialDir(store.prefix().c_str());
                                     note.SetCookie(&cookie);
                                     note.SetDebugStream(&debug);
                                 });
        };
        EXPECT_EQ(transcript(1, first), "Receive Fragment_Stored\n");
        EXPECT_EQ(cookie.deletions, 1);
        std::string const whole = from + first + last;
        EXPECT_EQ(transcript(2, last), transcript_of(whole));
        EXPECT_EQ(cookie.deletions, 2);
        EXPECT_EQ(debug.str().substr(0, 40), whole.substr(0, 40)); // not the fragment's header
    }
}

TEST(PartialSet, IsNotTouchedByALookAtTheHeader) {
    StoreDirectory const store;
    auto const headers_only = [](FragmentNote & note) { note.SetHeadersOnly(1); };
    for (bool const has_id : {true, false}) {
        Sample const sample{has_id ? "i" : "", 1};
        Received const got = receive(store.prefix(), sample.fragment(1), headers_only);
        EXPECT_EQ(got.result, not_finished);
        EXPECT_EQ(got.messages, has_id ? 0 : 1);
    }
    EXPECT_EQ(store.names(), "");
}

TEST(PartialSet, StaysUntilItsDeliveryHasFinished) {
    StoreDirectory const store;
    Sample const sample{"i", 2};
    receive(store.prefix(), sample.fragment(1));
    auto const throws = [](FragmentNote & note) {
        note.on_begin = [] { throw std::runtime_error("client"); };
    };
    EXPECT_THROW(receive(store.prefix(), sample.fragment(2), throws), std::runtime_error);
    EXPECT_EQ(store.names(), "MailPart.Ndx Msg00001.001 Msg00001.002 ");
    EXPECT_TRUE(receive(store.prefix(), sample.fragment(1)).is(sample)); // a duplicate tries again
    EXPECT_EQ(store.names(), "");

    // A file that has vanished is an empty one.
    receive(store.prefix(), sample.fragment(1));
    std::filesystem::remove(store.path("Msg00001.001"));
    Received const got = receive(store.prefix(), sample.fragment(2));
    EXPECT_EQ(got.result, complete);
    EXPECT_EQ(got.messages, 1);
}

TEST(PartialSet, BelongsToTheReceiverThatCompletesIt) {
    StoreDirectory const store;
    Sample const sample{"i", 3};
    Sample const longer{"i", 4};
    receive(store.prefix(), sample.fragment(2));
    receive(store.prefix(), sample.fragment(3));
    std::vector<Received> meanwhile;
    auto const interfere = [&](FragmentNote & note) {
        note.on_begin = [&] {
            for (int const number : {1, 2, 3})
                meanwhile.push_back(
                    receive(store.prefix(), sample.fragment(4 - number, number, 3)));
            meanwhile.push_back(receive(store.prefix(), longer.fragment(4)));
        };
    };
    EXPECT_TRUE(receive(store.prefix(), sample.fragment(1), interfere).is(sample));
    for (Received const & each : meanwhile) {
        EXPECT_EQ(each.result, stored);
        EXPECT_EQ(each.messages, 0);
    }
    EXPECT_EQ(store.names(),
              "MailPart.Ndx Msg00001.004 "); // of which the delivered set knew nothing
}

/// A stream that calls the client when its first piece has been read.
class InterruptedStream : public ChunkedSimpleStream {
public:
    InterruptedStream(std::string const & text, std::size_t first, std::function<void()> call)
        : ChunkedSimpleStream(text, {first, text.size()}), call_(std::move(call)) {}
    bool Underflow() override {
        if (call_) std::exchange(call_, nullptr)();
        return ChunkedSimpleStream::Underflow();
    }

private:
    std::function<void()> call_;
};

TEST(PartialSet, LeavesTheFilesOfOthersAtWork) {
    StoreDirectory const store;
    Sample const sample{"i", 2};
    Sample const other{"other", 1};
    for (int const number : {2, 1}) { // while the store is empty and while it isn't
        std::string const message = sample.fragment(number);
        InterruptedStream input(message, message.find("\r\n\r\n") + 4, [&] {
            store.write("MailPart.00000000.tmp", "left by a killed receiver");
            for (int i = 0; i < 64; ++i)
                EXPECT_TRUE(receive(store.prefix(), other.fragment(1)).is(other));
            EXPECT_FALSE(std::filesystem::exists(store.path("MailPart.00000000.tmp")));
        });
        Received const got = FragmentNote(input, store.prefix()).run();
        EXPECT_TRUE(number == 2 ? got.result == stored : got.is(sample));
    }
    EXPECT_EQ(store.names(), "");
}

TEST(PartialSet, MayBeAFragmentItself) {
    StoreDirectory const store;
    Sample const inner{"inner", 2};
    auto const wrapped = [](std::string const & id, std::string const & message) {
        return "From: a@b\r\n" + partial_type(id, 1, 1) + "\r\n" + message;
    };
    EXPECT_EQ(receive(store.prefix(), wrapped("a", inner.fragment(1))).result, stored);
    EXPECT_EQ(store.names(), "MailPart.Ndx Msg00001.001 Msg00002.001 "); // "a" was not delivered
    EXPECT_TRUE(receive(store.prefix(), wrapped("b", inner.fragment(2))).is(inner));

    // However deep a message goes, the end is a delivery, on a stack that doesn't grow with it.
    for (bool const is_one_id : {true, false}) {
        std::string message = "Subject: x\r\n\r\ntext\r\n";
        for (int level = 0; level < 2000; ++level)
            message = wrapped(is_one_id ? "same" : "id " + std::to_string(level), message);
        Received const got = receive(store.prefix(), message);
        EXPECT_EQ(got.result, complete);
        EXPECT_TRUE(got.is_fragment);
    }
}

// What can't be stored ------------------------------------------------------------

/// Counts the diagnostics of a level.
class TraceCount : public TMimeTraceLog {
public:
    explicit TraceCount(unsigned long level) : level_(level) {}
    void Write(unsigned long level, unsigned long, char const *, char const *, char *) override {
        if (level == level_) ++count;
    }
    std::atomic<int> count{0};

private:
    unsigned long level_;
};

enum class InTheWay { nothing, file, link };

struct RefusedCase {
    char const * name;
    std::string message;
    char const * directory;
    InTheWay in_the_way; // of fragment 2
    bool is_traced;
};

TEST(PartialStore, DeliversWhatItCannotStoreAsItStands) {
    Sample const sample{"i", 2};
    std::string const type = "Content-Type: message/partial; number=1; total=2";
    std::string const text = "\r\n\r\ntext\r\n";
    RefusedCase const cases[] = {
        {"no id", type + text, "", InTheWay::nothing, false},
        {"an empty id", type + "; id=\"\"" + text, "", InTheWay::nothing, false},
        {"an id without bounds", type + "; id=" + std::string(longest_id + 1, 'x') + text, "",
         InTheWay::nothing, false},
        {"no directory", sample.fragment(1), "missing/", InTheWay::nothing, true},
        {"a foreign file", sample.fragment(2), "", InTheWay::file, true},
        {"a link", sample.fragment(2), "", InTheWay::link, true},
    };
    for (RefusedCase const & row : cases) {
        StoreDirectory const store;
        TraceCount const traced(8);
        if (row.in_the_way != InTheWay::nothing) receive(store.prefix(), sample.fragment(1));
        if (row.in_the_way == InTheWay::file) store.write("Msg00001.002", "not ours");
        if (row.in_the_way == InTheWay::link)
            std::filesystem::create_symlink("/nowhere", store.path("Msg00001.002"));
        StoreDirectory::Files const before = store.files();
        Received const got = receive(store.path(row.directory), row.message);
        EXPECT_EQ(got.result, complete) << row.name;
        EXPECT_TRUE(got.is_fragment) << row.name;
        EXPECT_FALSE(got.body.empty()) << row.name;
        EXPECT_EQ(traced.count > 0, row.is_traced) << row.name;
        EXPECT_EQ(store.files(), before) << row.name;
    }
}

struct LimitCase {
    char const * name;
    long long bytes, messages, seconds;
    char const * left; // of messages 1 to 4 with fragment 2, the third a day old, and a complete 5
};

TEST(PartialStore, RemovesTheOldestIncompleteSetsBeyondItsLimits) {
    constexpr long long day = 86400;
    LimitCase const cases[] = {
        {"none", 0, 0, 0, "1 2 3 4 5 5 "},
        {"of no effect", 1 << 20, 4, 2 * day, "1 2 3 4 5 5 "},
        {"messages", 0, 2, 0, "3 4 5 5 "},
        {"seconds", 0, 0, day / 2, "1 2 4 5 5 "},
        {"bytes", 70, 0, 0, "3 4 5 5 "},
        {"a set too large", 30, 0, 0, "1 2 3 5 5 "},
        {"all of them", 60, 2, 100, "4 5 5 "},
        {"below 0", -1, -1, -1, "1 2 3 4 5 5 "},
    };
    for (LimitCase const & row : cases) {
        StoreDirectory const store;
        auto const sample = [](int i) { return Sample{"id" + std::to_string(i), 2}; };
        auto const feed = [&](int i, int number, auto const & set_up) {
            return receive(store.prefix(), sample(i).fragment(number), set_up);
        };
        auto const plain = [](FragmentNote &) {};
        for (int i = 1; i <= 3; ++i)
            feed(i, 2, plain);
        auto const name = [](int i) { return "Msg0000" + std::to_string(i) + ".00"; };
        timespec const old[] = {{0, 0}, {::time(nullptr) - day, 0}};
        utimensat(AT_FDCWD, store.path(name(3) + '2').c_str(), old, 0);
        // A complete set whose delivery didn't end is not removed.
        feed(5, 1, plain);
        auto const throws = [](FragmentNote & note) { note.on_begin = [] { throw 1; }; };
        EXPECT_THROW(feed(5, 2, throws), int);
        Received const got = feed(4, 2, [&](FragmentNote & note) {
            note.SetPartialLimits(row.bytes, row.messages, row.seconds);
        });
        EXPECT_EQ(got.result == stored, row.bytes != 30) << row.name;
        std::string left;
        for (auto const & [file, text] : store.files())
            if (file != "MailPart.Ndx") left += text.substr(text.find("id") + 2, 1) + ' ';
        std::sort(left.begin(), left.end());
        std::string expected = row.left;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(left, expected) << row.name;
    }
}

int refuse_directory(char const * call) {
    return std::string_view(call) == "lock_directory" ? EACCES : 0;
}

TEST(PartialStore, AcknowledgesNothingWithoutALock) {
    StoreDirectory const store;
    Sample const sample{"i", 2};
    receive(store.prefix(), sample.fragment(1));
    StoreDirectory::Files const before = store.files();
    TraceCount const traced(8);
    platform::set_file_probe(refuse_directory);
    for (int const number : {1, 2}) {
        Received const got = receive(store.prefix(), sample.fragment(number));
        EXPECT_EQ(got.result, not_finished);
        EXPECT_EQ(got.messages, 0);
    }
    platform::set_file_probe(nullptr);
    EXPECT_EQ(traced.count, 2);
    EXPECT_EQ(store.files(), before);
    EXPECT_TRUE(receive(store.prefix(), sample.fragment(2)).is(sample));
}

TEST(PartialStore, TakesIdsOfAnyBytes) {
    std::string all;
    for (int c = 0; c < 256; ++c)
        all += static_cast<char>(c);
    std::string const ids[] = {"a",
                               "A",
                               " a ",
                               "a\r\nb",
                               "a\nb",
                               "a\\b",
                               "a\\\\nb",
                               "\r\n",
                               "a\\",
                               "a\\n",
                               {"\0", 1},
                               all + all,
                               "a\\0",
                               "1\n2\n3",
                               "../../x",
                               "MailPart.Ndx",
                               "\x80 0 1 1 x",
                               std::string(longest_id, 'y')};
    StoreDirectory const store;
    auto const take = [&](std::string const & id, int number, CompleteSet & set) {
        PartialStore access(store.prefix());
        NewFragment fragment;
        EXPECT_EQ(access.Begin(make_label(id, number, 2), fragment),
                  PartialStore::Beginning::begun);
        fragment.file.write("text");
        return access.Commit(std::move(fragment), set);
    };
    CompleteSet set;
    for (std::string const & id : ids)
        ASSERT_EQ(take(id, 1, set), PartialStore::Outcome::stored) << quoted(id);
    std::filesystem::remove(store.path("MailPart.Ndx")); // the files know all that it knew
    for (std::string const & id : ids) {
        ASSERT_EQ(take(id, 2, set), PartialStore::Outcome::complete) << quoted(id);
        EXPECT_EQ(set.id, id);
        EXPECT_EQ(set.files.size(), 2U);
        PartialStore(store.prefix()).Remove(std::move(set));
    }
    EXPECT_EQ(store.names(), "");
}

TEST(PartialStore, TouchesNothingOutsideItself) {
    StoreDirectory const outside;
    outside.write("Msg00001.001", "\x80 0 1 2 i\r\nsecret\r\n");
    outside.write("MailPart.Ndx", "precious");
    StoreDirectory::Files const before = outside.files();
    StoreDirectory const store;
    Sample const sample{"i", 2};

    // An index that names a file elsewhere.
    std::string const path = outside.path("Msg00001.001");
    store.write("MailPart.Ndx",
                "0\n1\n1\n1\ni\n1\n2\n1\n" + std::to_string(path.size()) + '\n' + path + "\n1\n");
    EXPECT_EQ(receive(store.prefix(), sample.fragment(2)).result, stored);

    // Links in the places of the store's own files.
    store.restore({});
    std::filesystem::create_symlink(outside.path("MailPart.Ndx"), store.path("MailPart.Ndx"));
    std::filesystem::create_symlink(path, store.path("Msg00001.001"));
    EXPECT_EQ(receive(store.prefix(), sample.fragment(2)).result, stored);
    EXPECT_FALSE(std::filesystem::is_symlink(store.path("MailPart.Ndx")));

    // A pipe doesn't stop anything, and files of other names are not looked at.
    store.restore({{"MailPart.Old", "x"},
                   {"Msg00001.001", "y"},
                   {"msg00001.002", "\x80 0 2 2 i\r\n"},
                   {"MailPart.0123ABCD.tmp", "z"}});
    mkfifo(store.path("Msg00001.002").c_str(), 0600);
    EXPECT_EQ(receive(store.prefix(), sample.fragment(1)).result, stored);
    EXPECT_TRUE(receive(store.prefix(), sample.fragment(2)).is_fragment == false);
    EXPECT_EQ(store.names(), "MailPart.Old Msg00001.001 Msg00001.002 msg00001.002 ");
    EXPECT_EQ(outside.files(), before);
}

// The stream ----------------------------------------------------------------------

TEST(PartialStream, JoinsFilesWithoutTheirLabels) {
    StoreDirectory const store;
    std::string const label = "\x80 0 1 1 " + std::string(20, 'i') + "\r\n";
    store.write("a", label + "one\r\ntw");
    store.write("b", "o\r\n" + label);
    store.write("empty", "");
    store.write("label", label);
    store.write("endless", "\xFF" + std::string(50, 'x'));
    store.write("c", "\n\xFE");
    std::vector<FileList> files;
    for (char const * const name : {"empty", "a", "missing", "label", "b", "endless", "c", "empty"})
        files.push_back({store.path(name), 0});
    std::string const expected = "one\r\ntwo\r\n" + label + "\n\xFE";
    for (int size = 1; size <= 100; ++size) {
        ExactCopy const buffer(std::string(static_cast<std::size_t>(size), '\0'));
        iFileStream in(files, buffer.begin(), size);
        std::string text;
        for (int c; (c = in.get()) != -1;)
            text += static_cast<char>(c);
        EXPECT_EQ(text, expected) << "a buffer of " << size;
        EXPECT_FALSE(in.failed());
    }
    files.insert(files.begin() + 2, {store.prefix(), 0}); // a directory
    char buffer[16];
    iFileStream in(files, buffer, sizeof buffer);
    char text[100];
    in.read(text, sizeof text);
    EXPECT_EQ(in.gcount(), 7);
    EXPECT_TRUE(in.failed());
}

} // namespace
