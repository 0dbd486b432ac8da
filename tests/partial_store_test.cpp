// tests/partial_store_test.cpp - fragments of messages: kept, joined, delivered once
#include "mime/partial/file_stream.hpp"
#include "mime/platform/files.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/fragments.hpp"
#include "tests/support/trace_messages.hpp"
#include "tests/support/transcript.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <map>
#include <numeric>
#include <sys/stat.h>

using namespace vellum;
using namespace vellum::test;

namespace {

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

/// The numbers of the fragments that a message was joined from; `?` if it is something else.
std::string joined_numbers(Received const & got) {
    std::string numbers, body;
    for (std::size_t at = 0; (at = got.body.find("fragment ", at)) != got.body.npos; ++at) {
        numbers += got.body[at + 9];
        body += Sample{got.subject, 9}.text(numbers.back() - '0');
    }
    return body == got.body && !body.empty() ? numbers : "?";
}

std::string refused_call;
int refuse_call(char const * call) { return call == refused_call ? EACCES : 0; }

/// Runs sections of partial_store.case. A section has a store of its own; its steps stand in lines,
/// or between bars:
///
///     ID N/T RESULT      receives fragment N of T, a number of 0 is not told; N=K/T: with the text
///                        of fragment K. RESULT is S for stored, F for not finished, O for a
///                        fragment delivered as it stands, C and the numbers of what was joined,
///                        X for an exception; with `+` behind S and F for a delivery as well, and
///                        with `!` if a warning was traced
///     message RESULT TEXT                 receives it
///     keeps REST -> FILE                  of the message `outer`, Content-Type, REST, cut in every
///                                         way, the store keeps FILE behind the label
///     meanwhile STEP, reading STEP        is done while the next message is delivered, or between
///                                         its header and its body
///     headers, limits, in, outer, refuse  set what holds for the messages behind
///     left, holds, private, absent, ids   expect the names of all files, a file's text, its mode,
///                                         that it isn't there, the ids of all fragments
///
/// In a text `{NAME}` is the path of a file as the index has it, and `{y*9}` nine times that
/// letter.
class Script {
public:
    explicit Script(std::map<std::string, std::string> const & sections) : sections_(sections) {}

    void run(std::string steps) {
        std::replace(steps.begin(), steps.end(), '|', '\n');
        for (std::string const & line : split(steps, '\n')) {
            std::size_t const first = line.find_first_not_of(' ');
            if (first == line.npos || line[first] == '#') continue;
            step(line.substr(first, line.find_last_not_of(' ') + 1 - first));
        }
    }

private:
    void step(std::string const & line) {
        auto const cut = [](std::string const & text) {
            std::size_t const blank = std::min(text.find(' '), text.size());
            return std::pair(text.substr(0, blank), text.substr(std::min(blank + 1, text.size())));
        };
        auto const [name, all] = cut(line);
        auto const command = commands_.find(name);
        if (command == commands_.end()) return receive_fragment(expanded(name), all);
        auto const [first, rest] = cut(all);
        SCOPED_TRACE(line);
        command->second({expanded(all), first, expanded(rest)});
    }

    std::string expanded(std::string text) const {
        for (std::size_t at; (at = text.find('{')) != text.npos;) {
            std::string const inner = text.substr(at + 1, text.find('}') - at - 1);
            std::string const path = store_.path(inner);
            text.replace(at, inner.size() + 2,
                         inner.find('*') == 1
                             ? std::string(std::stoul(inner.substr(2)), inner.front())
                             : std::to_string(path.size()) + "\\n" + path + "\\n");
        }
        return unescaped(text);
    }

    void receive_fragment(std::string const & id, std::string const & line) {
        std::istringstream words(line);
        int number = 0, total = 0;
        words >> number;
        int text = number >= 1 && number <= 9 ? number : 9;
        if (words.get() == '=') words >> text, words.get();
        std::string result;
        words >> total >> result;
        Sample const sample{id, total};
        EXPECT_EQ(received(sample.fragment(text, number, total)), result) << id << ' ' << line;
    }

    std::string received(std::string const & message) {
        auto const all = [this](std::vector<std::string> const & steps) {
            return [this, steps] {
                for (std::string const & each : steps)
                    step(each);
            };
        };
        InterruptedStream input(message, message.find("\r\n\r\n") + 4,
                                all(std::exchange(reading_, {})));
        FragmentNote note(input, store_.prefix() + directory_);
        note.SetHeadersOnly(headers_);
        note.SetPartialLimits(limits_[0], limits_[1], limits_[2]);
        note.on_begin = all(std::exchange(meanwhile_, {}));
        traced_.place.clear();
        try {
            std::string const letters = letters_of(note.run());
            return letters + (traced_.place.starts_with("8 ") ? "!" : "");
        } catch (std::runtime_error const &) {
            return "X";
        }
    }
    static std::string letters_of(Received const & got) {
        if (got.result != MimeINote::Receive_Complete) {
            std::string const letter = got.result == MimeINote::Receive_Not_Finished ? "F" : "S";
            return letter + std::string(static_cast<std::size_t>(got.messages), '+');
        }
        EXPECT_EQ(got.messages, 1);
        if (got.is_fragment) return got.body.empty() ? "O?" : "O";
        return "C" + joined_numbers(got);
    }

    void keeps(std::string const & line) {
        std::size_t const arrow = line.find(" -> ");
        std::string const message =
            outer_ + "Content-Type: message/partial; id=i" + line.substr(0, arrow);
        auto const check = [&](auto & input, std::string const & how) {
            store_.restore({});
            Transcript note(input);
            note.SetPartialDir(store_.prefix().c_str());
            ASSERT_EQ(note.run(), "Receive Fragment_Stored\n") << line << ", " << how;
            std::string const file = store_.files().rbegin()->second;
            ASSERT_EQ(file.substr(file.find('\n') + 1), line.substr(arrow + 4)) << how;
        };
        for_each_input(message, check, 40);
    }

    /// The digits in the ids `id1` to `id9` of all fragments.
    std::string ids() const {
        std::string digits;
        for (auto const & [name, text] : store_.files())
            if (name != "MailPart.Ndx") digits += text[text.find("id") + 2];
        std::sort(digits.begin(), digits.end());
        return digits;
    }
    static void make_old(std::string const & path) {
        timespec const times[] = {{0, 0}, {::time(nullptr) - 86400, 0}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }
    static void expect_private(std::string const & path) {
        struct stat status {};
        lstat(path.c_str(), &status);
        EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
    }
    void expect_left(std::string const & names) const {
        EXPECT_EQ(store_.names(), names + (names.empty() ? "" : " "));
    }
    void write(std::string const & name, std::string const & text) const {
        std::filesystem::create_directories(std::filesystem::path(store_.path(name)).parent_path());
        store_.write(name, text);
    }
    void repeat(int count, std::string const & line) {
        for (; count > 0; --count)
            step(line);
    }
    static void refuse(std::string const & call) {
        refused_call = call;
        platform::set_file_probe(call.empty() ? nullptr : refuse_call);
    }

    struct Words {
        std::string all, first, rest; ///< `all` is `first` and `rest`, without the blank
    };
    std::map<std::string, std::function<void(Words const &)>> const commands_{
        {"do", [this](auto & words) { run(sections_.at(words.all)); }},
        {"message", [this](auto & words) { EXPECT_EQ(received(words.rest), words.first); }},
        {"keeps", [this](auto & words) { keeps(words.all); }},
        {"meanwhile", [this](auto & words) { meanwhile_.push_back(words.all); }},
        {"reading", [this](auto & words) { reading_.push_back(words.all); }},
        {"times", [this](auto & words) { repeat(std::stoi(words.first), words.rest); }},
        {"throw", [](auto &) { throw std::runtime_error("client"); }},
        {"headers", [this](auto & words) { headers_ = std::stoi(words.all); }},
        {"limits",
         [this](auto & words) {
             std::istringstream(words.all) >> limits_[0] >> limits_[1] >> limits_[2];
         }},
        {"in", [this](auto & words) { directory_ = words.all; }},
        {"outer", [this](auto & words) { outer_ = words.all; }},
        {"refuse", [](auto & words) { refuse(words.all); }},
        {"write", [this](auto & words) { write(words.first, words.rest); }},
        {"remove", [this](auto & words) { std::filesystem::remove(path(words)); }},
        {"link",
         [this](auto & words) { std::filesystem::create_symlink(words.rest, path(words)); }},
        {"pipe", [this](auto & words) { mkfifo(path(words).c_str(), 0600); }},
        {"old", [this](auto & words) { make_old(path(words)); }},
        {"left", [this](auto & words) { expect_left(words.all); }},
        {"holds", [this](auto & words) { EXPECT_EQ(store_.read(words.first), words.rest); }},
        {"private", [this](auto & words) { expect_private(path(words)); }},
        {"absent", [this](auto & words) { EXPECT_FALSE(std::filesystem::exists(path(words))); }},
        {"ids", [this](auto & words) { EXPECT_EQ(ids(), words.all); }},
    };
    std::string path(Words const & words) const { return store_.path(words.first); }

    std::map<std::string, std::string> const & sections_;
    StoreDirectory store_;
    LastMessage traced_;
    std::vector<std::string> meanwhile_, reading_;
    int headers_ = 0;
    long long limits_[3] = {};
    std::string directory_, outer_;
};

TEST(PartialStore, DoesWhatTheCasesSay) {
    umask(0);
    std::map<std::string, std::string> sections;
    for (Section const & section : sections_of("partial_store.case"))
        EXPECT_TRUE(sections.emplace(section.title, section.text).second) << section.title;
    for (auto const & [title, steps] : sections) {
        SCOPED_TRACE(title);
        Script(sections).run(steps);
    }
}

/// The calls, with their offsets and lines, are those of the message that was cut; only the whole
/// goes to the debug stream; and each run deletes the cookie.
TEST(PartialSet, IsDeliveredAsTheMessageThatWasCut) {
    struct Cookie : MimeClientCookie {
        int deletions = 0;
        void Delete() override { ++deletions; }
    };
    for (bool const has_cr : {true, false}) {
        std::string const from = "From: a@b\r\n";
        std::string const first = "Subject: whole\r\nMIME-Version: 1.0\r\nContent-Type: "
                                  "multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\non";
        std::string const last = "e\r\n--b\r\n\r\ntwo\r\n--b--\r\n";
        StoreDirectory const store;
        Cookie cookie;
        std::ostringstream debug;
        auto const lines = [=](std::string text) {
            if (!has_cr) std::erase(text, '\r');
            return text;
        };
        auto const transcript = [&](int number, std::string const & text) {
            return transcript_of(
                lines(from + "Subject: cut\r\n" + partial_type("i", number, 2) + "\r\n" + text),
                [&](Transcript & note) {
                    note.SetPartialDir(store.prefix().c_str());
                    note.SetCookie(&cookie);
                    note.SetDebugStream(&debug);
                });
        };
        EXPECT_EQ(transcript(1, first), "Receive Fragment_Stored\n");
        EXPECT_EQ(cookie.deletions, 1);
        std::string const whole = lines(from + first + last);
        EXPECT_EQ(transcript(2, last), transcript_of(whole));
        EXPECT_EQ(cookie.deletions, 2);
        EXPECT_EQ(debug.str().substr(0, 40), whole.substr(0, 40));
    }
}

/// However deep a message goes, the end is a delivery, on a stack that doesn't grow with it.
TEST(PartialSet, MayBeAFragmentToAnyDepth) {
    StoreDirectory const store;
    for (bool const is_one_id : {true, false}) {
        std::string message = "Subject: x\r\n\r\ntext\r\n";
        for (int level = 0; level < 2000; ++level)
            message = "From: a@b\r\n" +
                      partial_type(is_one_id ? "same" : "id " + std::to_string(level), 1, 1) +
                      "\r\n" + message;
        Received const got = receive(store.prefix(), message);
        EXPECT_EQ(got.result, MimeINote::Receive_Complete);
        EXPECT_TRUE(got.is_fragment);
    }
}

TEST(PartialStream, JoinsFilesWithoutTheirLabels) {
    StoreDirectory const store;
    std::string const label = "\x80 0 1 1 " + std::string(20, 'i') + "\r\n";
    store.restore({{"a", label + "one\r\ntw"},
                   {"b", "o\r\n" + label},
                   {"empty", ""},
                   {"label", label},
                   {"endless", "\xFF" + std::string(50, 'x')},
                   {"c", "\n\xFE"}});
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
