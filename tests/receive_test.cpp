// tests/receive_test.cpp - what a run does beside the calls that cases/ shows: settings, streams,
// limits, exceptions
#include "mime/receive/incoming_note.hpp"

#include "mime/nls/translator.hpp"
#include "mime/receive/position.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>
#include <pthread.h>

#include <climits>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vellum::test::Chunking;
using vellum::test::for_each_input;
using vellum::test::TestFactory;
using vellum::test::Transcript;
using vellum::test::transcript_of;

std::string const two_parts = "From: a@b\r\nContent-Type: multipart/mixed; boundary=x\r\n\r\n"
                              "preamble\r\n--x\r\n\r\none\r\n--x\r\nX-A: b\r\n\r\ntwo\r\n--x--\r\n"
                              "epilogue\r\n";

/// The lines of the transcript that begin with the word, without it.
std::vector<std::string> lines_of(std::string const & transcript, std::string const & word) {
    std::vector<std::string> found;
    std::istringstream lines(transcript);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, word.size() + 1, word + " ") == 0) {
            found.push_back(line.substr(word.size() + 1));
        }
    }
    return found;
}

/// Runs on a stack of that many bytes.
void on_stack_of(std::size_t size, std::function<void()> run) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
    pthread_t thread;
    auto const start = [](void * argument) -> void * {
        (*static_cast<std::function<void()> *>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &run), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

constexpr std::size_t small_stack =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    std::size_t{2} << 20;
#else
    std::size_t{256} << 10;
#endif

// Settings -------------------------------------------------------------------------

TEST(HeadersOnly, LeavesTheStreamAtTheBlankLine) {
    std::string const header = "Subject: a\r\n b\r\n";
    for_each_input(header + "\r\nbody\r\n", [&](auto & input, std::string const & how) {
        Transcript note(input);
        note.SetHeadersOnly(1);
        note.run();
        EXPECT_EQ(note.lines().back(), "Receive Not_Finished") << how;
        EXPECT_EQ(note.lines().size(), 7U) << how;
        EXPECT_EQ(input.peek(), '\r') << how;
    });
}

TEST(Note, ASecondRunFindsAnEmptyMessage) {
    std::istringstream in("Subject: a\n\nb");
    Transcript note(in);
    note.run();
    std::size_t const first = note.lines().size();
    note.run();
    EXPECT_EQ(note.lines().size() - first, 8U);
}

TEST(Note, SettersGiveTheirArgument) {
    std::istringstream in;
    Transcript note(in);
    std::string dir = "store/";
    char const * const copy = note.SetPartialDir(dir.c_str());
    dir[0] = 'X';
    EXPECT_STREQ(copy, "store/");
    EXPECT_EQ(note.SetPartialDir(nullptr), nullptr);
    EXPECT_EQ(note.SetNLS(nullptr, 1), nullptr);
    auto * const factory = new TestFactory;
    EXPECT_EQ(note.SetNLS(factory, 1), factory);
}

TEST(Note, SetPropertyAloneSeesEveryField) {
    class Properties : public MimeINote {
    public:
        using MimeINote::MimeINote;
        std::string seen;

    protected:
        void SetProperty(char const * name, MimeString const & value) override {
            seen += name;
            seen += '=';
            if (value.get_Length() > 0) seen.append(value.get_String(), value.get_Length());
            seen += '\n';
        }
    };
    std::istringstream in("From: A <a@b>\nDate: Thu, 1 Jan 1998 00:00:00 +0000\nSubject: s\n"
                          "Message-Id: <i>\nComments: c\nX-Y: z\nSensitivity: private\n"
                          "Content-Transfer-Encoding: x\nContent-Disposition: inline\n\n");
    Properties note(in);
    note.Receive();
    EXPECT_EQ(note.seen, "From=A <a@b>\nFrom=A\nFrom=\nDate=Thu, 1 Jan 1998 00:00:00 +0000\n"
                         "Subject=s\nMessage-Id=i\nComments=c\nX-Y=z\nSensitivity=private\n"
                         "Content-Transfer-Encoding=7bit\nContent-Disposition=inline\n"
                         "Content-Disposition=inline\nContent-Type=\n");
}

// Cookies --------------------------------------------------------------------------

struct CountedCookie : MimeClientCookie {
    explicit CountedCookie(std::string & log_text, std::string own) : log(log_text), name(own) {}
    void Delete() override {
        log += "-" + name;
        MimeClientCookie::Delete();
    }
    std::string & log;
    std::string name;
};

TEST(Cookies, AreSeenByTheChildrenAndDeletedWithTheirLevel) {
    class Note : public MimeINote {
    public:
        using MimeINote::MimeINote;
        std::string log;

    protected:
        void BeginPart(MimeContext & context) override {
            std::string const name = std::to_string(context.part_number);
            log += " " + name + " in " +
                   static_cast<CountedCookie *>(context.parent_item->cookie)->name;
            context.item->cookie = new CountedCookie(log, name);
        }
    };
    std::istringstream in(two_parts);
    Note note(in);
    note.SetCookie(new CountedCookie(note.log, "top"));
    note.Receive();
    EXPECT_EQ(note.log, " 1 in top 2 in 1-2 3 in 1-3-1-top");
}

// Raw and debug streams ----------------------------------------------------------------

TEST(DebugStream, GetsWhatIsRead) {
    std::istringstream in(two_parts);
    std::ostringstream debug;
    Transcript note(in);
    note.takes_data = false;
    note.SetDebugStream(&debug);
    note.run();
    std::string expected = two_parts;
    expected.insert(expected.find("\r\npreamble"), "\r\n");
    EXPECT_EQ(debug.str(), expected);
}

TEST(RawStreams, GetTheLinesThatNoDataStreamTakes) {
    auto const raw_of = [](bool with_data) {
        return lines_of(transcript_of(two_parts,
                                      [&](Transcript & note) {
                                          note.takes_data = with_data;
                                          note.takes_raw = true;
                                      }),
                        "raw");
    };
    EXPECT_EQ(raw_of(false),
              (std::vector<std::string>{R"("\r\none")", R"("\r\ntwo")",
                                        R"("\r\n--x\r\nX-A: b\r\n\r\n--x--\r\nepilogue\r\n")"}));
    EXPECT_EQ(raw_of(true).front(), R"("\r\n")");
}

// Bodies ---------------------------------------------------------------------------

struct BodyCase {
    char const * fields;
    char const * body;
    char const * data;
};

TEST(Bodies, AreDecodedAndTranslated) {
    BodyCase const cases[] = {
        {"Content-Type: text/plain; charset=iso-8859-1\n", "a\xE9\nb", R"("a\xC3\xA9\nb")"},
        {"Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: base64\n",
         "YekK\nYg==", R"("a\xC3\xA9\nb")"},
        {"Content-Type: text/plain; charset=x-unknown\n", "a\xE9\n", R"("a\xE9\n")"},
        {"Content-Type: text/plain; charset=x-shift\n",
         "a\x0E"
         "b\nc\x0F"
         "d\n",
         R"("aB\nCd\n")"},
        {"Content-Type: text/plain; charset=iso-2022-jp\nContent-Transfer-Encoding: base64\n",
         "YWJj\nZA", R"("abcd")"},
        {"Content-Type: text/plain; charset=x-wide\nContent-Transfer-Encoding: quoted-printable\n",
         "=61=\nb", R"("a..........b..........")"},
    };
    for (BodyCase const & row : cases) {
        for_each_input(std::string(row.fields) + "\n" + row.body, [&](auto & input, auto how) {
            Transcript note(input);
            note.SetNLS(new TestFactory, 0);
            EXPECT_EQ(lines_of(note.run(), "data"), std::vector<std::string>{row.data})
                << row.fields << how;
        });
    }
}

TEST(Bodies, LargeOnesKeepEveryByte) {
    std::string text;
    for (int i = 0; text.size() < 300'000; ++i) {
        text += std::string(static_cast<std::size_t>(i % 90), static_cast<char>('a' + i % 26)) +
                (i % 7 == 0 ? "\r\n--x not\r\n" : "\r\n");
    }
    std::string const message =
        "Content-Type: multipart/mixed; boundary=x\r\n\r\n--x\r\n\r\n" + text + "\r\n--x--\r\n";
    for (Chunking const chunking : {Chunking{1, 8191}, {65'536, 65'536}, {message.size(), 1}}) {
        vellum::test::ChunkedBuf buffer(message, chunking);
        std::istream in(&buffer);
        Transcript note(in);
        note.longest_text = 400'000;
        EXPECT_EQ(lines_of(note.run(), "data"),
                  std::vector<std::string>{vellum::test::quoted(text)})
            << chunking.name();
    }
}

// Limits ---------------------------------------------------------------------------

std::string nested_multiparts(int depth) {
    std::string message;
    for (int i = 0; i < depth; ++i) {
        std::string const name = "b" + std::to_string(i);
        message += "Content-Type: multipart/mixed; boundary=" + name + "\r\n\r\n--" + name + "\r\n";
    }
    return message + "\r\ninnermost";
}

TEST(NestingLimit, APartBeyondItIsDataAndNothingIsLost) {
    std::string const transcript =
        transcript_of(nested_multiparts(3) + "\r\n--b2--\r\n--b1\r\n\r\nsecond\r\n--b1--\r\n",
                      [](Transcript & note) { EXPECT_EQ(note.SetNestingLimit(2), 2); });
    EXPECT_EQ(lines_of(transcript, "data"),
              (std::vector<std::string>{R"("--b2\r\n\r\ninnermost\r\n--b2--")", R"("second")"}));
    EXPECT_EQ(lines_of(transcript, "EndPart").size(), 4U);
}

TEST(NestingLimit, HoldsTheStack) {
    std::string rfc822;
    for (int i = 0; i < 20'000; ++i)
        rfc822 += "Content-Type: message/rfc822\r\n\r\n";
    for (std::string const & message : {nested_multiparts(20'000), rfc822}) {
        on_stack_of(small_stack, [&] {
            std::istringstream in(message);
            Transcript note(in);
            note.run();
            EXPECT_EQ(lines_of(note.text(), "BeginPart").size(), 101U);
        });
    }
}

TEST(Positions, StayAtTheLimitOfAnInt) {
    int field = 0;
    long long exact = 0;
    vellum::set_position(field, exact, 5'000'000'000);
    EXPECT_EQ(field, INT_MAX);
    EXPECT_EQ(exact, 5'000'000'000);
}

// Exceptions -----------------------------------------------------------------------

TEST(Exceptions, OutOfAnyCallPassThrough) {
    std::string const message =
        "Content-Type: multipart/mixed; boundary=x\r\n\r\n--x\r\n"
        "Content-Type: text/plain; charset=x-shift; name=n\r\nContent-Transfer-Encoding: base64\r\n"
        "To: (c) A <a@b>, c@d\r\n\r\nYWJj\r\n--x--\r\n";
    for (std::size_t at = 1;; ++at) {
        std::istringstream in(message);
        std::string log;
        Transcript note(in);
        note.SetNLS(new TestFactory, 0);
        note.SetCookie(new CountedCookie(log, "top"));
        note.after_line = [at](std::size_t line) {
            if (line == at) throw std::runtime_error("client");
        };
        bool has_thrown = false;
        try {
            note.run();
        } catch (std::runtime_error const &) {
            has_thrown = true;
        }
        EXPECT_EQ(log, "-top") << at;
        if (!has_thrown) {
            EXPECT_GT(at, 20U);
            break;
        }
    }
}

TEST(Exceptions, OutOfAStreamPassThrough) {
    class Breaking : public vellum::test::ChunkedBuf {
    public:
        Breaking(std::string_view text, Chunking chunking, int pieces)
            : ChunkedBuf(text, chunking), pieces_(pieces) {}

    protected:
        int_type underflow() override {
            if (pieces_-- == 0) throw std::runtime_error("stream");
            return ChunkedBuf::underflow();
        }

    private:
        int pieces_;
    };
    for (int pieces = 0; pieces < 40; ++pieces) {
        Breaking buffer(two_parts, {3, 3}, pieces);
        std::istream in(&buffer);
        Transcript note(in);
        EXPECT_THROW(note.run(), std::runtime_error) << pieces;
    }
}

class BrokenSink : public std::streambuf {
protected:
    std::streamsize xsputn(char const *, std::streamsize) override {
        throw std::runtime_error("sink");
    }
    int_type overflow(int_type) override { throw std::runtime_error("sink"); }
};

TEST(Exceptions, OutOfADataStreamPassThrough) {
    class Note : public MimeINote {
    public:
        using MimeINote::MimeINote;

    protected:
        void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
            sink_.exceptions(std::ios_base::badbit);
            *data = &sink_;
        }

    private:
        BrokenSink broken_;
        std::ostream sink_{&broken_};
    };
    for (char const * encoding : {"7bit", "base64", "quoted-printable"}) {
        std::istringstream in("Content-Transfer-Encoding: " + std::string(encoding) +
                              "\nContent-Type: text/plain; charset=x-same\n\n" +
                              std::string(5000, 'Q'));
        Note note(in);
        note.SetNLS(new TestFactory, 0);
        EXPECT_THROW(note.Receive(), std::runtime_error) << encoding;
    }
}

} // namespace
