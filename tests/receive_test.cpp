// tests/receive_test.cpp - what a run does: the calls that cases/ shows, settings, streams, limits,
// exceptions
#include "mime/note/incoming_note.hpp"

#include "mime/nls/translator.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/position.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/files.hpp"
#include "tests/support/small_stack.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using namespace vellum::test;

std::string const two_parts = "From: a@b\r\nContent-Type: multipart/mixed; boundary=x\r\n\r\n"
                              "preamble\r\n--x\r\n\r\none\r\n--x\r\nX-A: b\r\n\r\ntwo\r\n--x--\r\n"
                              "epilogue\r\n";

/// The lines of the transcript that begin with the word, without it.
std::string lines_of(std::string const & transcript, std::string const & word) {
    std::string found;
    for (std::string const & line : split(transcript, '\n')) {
        if (line.starts_with(word + " ")) found += line.substr(word.size() + 1) + "\n";
    }
    return found;
}

std::size_t count_of(std::string const & transcript, std::string const & word) {
    std::string const lines = lines_of(transcript, word);
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
}

// Cases ----------------------------------------------------------------------------

/// Each message cases/NAME.eml gives the calls of cases/NAME.txt, however it is cut.
TEST(Cases, GiveTheirTranscripts) {
    std::size_t count = 0;
    for (auto const & entry : std::filesystem::directory_iterator("cases")) {
        std::filesystem::path path = entry.path();
        if (path.extension() != ".eml") continue;
        ++count;
        std::string const message = content_of(path);
        std::string const expected = content_of(path.replace_extension(".txt"));
        bool is_equal = true;
        for_each_input(message, [&](auto & input, std::string const & how) {
            if (!is_equal) return; // one report a case
            std::string const actual = Transcript(input).run();
            is_equal = actual == expected;
            EXPECT_EQ(actual, expected) << path << ", " << how;
        });
    }
    EXPECT_GT(count, 20U);
}

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

    std::string dir = "store/";
    char const * const copy = note.SetPartialDir(dir.c_str());
    dir[0] = 'X';
    EXPECT_STREQ(copy, "store/");
    EXPECT_EQ(note.SetPartialDir(nullptr), nullptr);
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
    std::istringstream in(
        "From: A <a@b>\nTo: c@d\nDate: Thu, 1 Jan 1998 00:00:00 +0000\nSubject: s\n"
        "Message-Id: <i>\nComments: c\nX-Y: z\nSensitivity: private\nReturn-Path: r\n"
        "Received: v\nIn-Reply-To: p\nReferences: e\nKeywords: k\nEncrypted: n\n"
        "Content-Transfer-Encoding: x\nContent-Disposition: inline\n\n");
    Properties note(in);
    note.Receive();
    EXPECT_EQ(note.seen, "From=A <a@b>\nFrom=A\nFrom=\nTo=c@d\nTo=c@d\nTo=\n"
                         "Date=Thu, 1 Jan 1998 00:00:00 +0000\nSubject=s\nMessage-Id=i\n"
                         "Comments=c\nX-Y=z\nSensitivity=private\nReturn-Path=r\nReceived=v\n"
                         "In-Reply-To=p\nReferences=e\nKeywords=k\nEncrypted=n\n"
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
    std::string const message = "Content-Type: message/rfc822\r\n\r\n" + two_parts;
    std::istringstream in(message);
    std::ostringstream debug;
    Transcript note(in);
    note.takes_data = false;
    note.SetDebugStream(&debug);
    note.run();
    std::string expected = message;
    expected.insert(expected.find("\r\npreamble"), "\r\n");
    EXPECT_EQ(debug.str(), expected);
}

TEST(RawStreams, GetTheLinesThatNoDataStreamTakes) {
    auto const raw_of = [](bool with_data) {
        auto const set_up = [=](Transcript & note) {
            note.takes_data = with_data;
            note.takes_raw = true;
        };
        return lines_of(transcript_of(two_parts, set_up), "raw");
    };
    EXPECT_EQ(raw_of(false), R"("\r\none"
"\r\ntwo"
"\r\n--x\r\nX-A: b\r\n\r\n--x--\r\nepilogue\r\n"
)");
    EXPECT_TRUE(raw_of(true).starts_with(R"("\r\n")"));
}

// Bodies ---------------------------------------------------------------------------

TEST(Bodies, AreDecodedAndTranslated) {
    struct {
        char const * fields;
        char const * body;
        char const * data;
    } const rows[] = {
        {"charset=iso-8859-1\n", "a\xE9\nb", R"("a\xC3\xA9\nb")"},
        {"charset=iso-8859-1\nContent-Transfer-Encoding: base64\n",
         "YekK\nYg==", R"("a\xC3\xA9\nb")"},
        {"charset=x-unknown\n", "a\xE9\n", R"("a\xE9\n")"},
        {"charset=x-shift\n", "a\016b\nc\017d\n", R"("aB\nCd\n")"},
        {"charset=iso-2022-jp\nContent-Transfer-Encoding: base64\n", "YWJj\nZA", R"("abcd")"},
        {"charset=x-wide\nContent-Transfer-Encoding: quoted-printable\n", "=61=\nb",
         R"("a..........b..........")"},
    };
    for (auto const & row : rows) {
        std::string const message =
            std::string("Content-Type: text/plain; ") + row.fields + "\n" + row.body;
        for_each_input(message, [&](auto & input, std::string const & how) {
            Transcript note(input);
            note.SetNLS(new TestFactory, 0);
            EXPECT_EQ(lines_of(note.run(), "data"), row.data + std::string("\n")) << how;
        });
    }
}

TEST(Bodies, LargeOnesAndLongLinesKeepEveryByte) {
    std::string text = std::string(17'000, 'y') + "\r\n";
    for (int i = 0; text.size() < 300'000; ++i) {
        text += std::string(static_cast<std::size_t>(i % 90), static_cast<char>('a' + i % 26)) +
                (i % 7 == 0 ? "\r\n--x not\r\n" : "\r\n");
    }
    std::string const subject(70'000, 's');
    std::string const message =
        "Content-Type: multipart/mixed; boundary=x\r\n\r\n--x\r\nSubject: " + subject + "\r\n\r\n" +
        text + "\r\n--x--\r\n";
    for (Chunking const chunking : {Chunking{1, 8191}, {65'536, 65'536}, {message.size(), 1}}) {
        ChunkedBuf buffer(message, chunking);
        std::istream in(&buffer);
        Transcript note(in);
        note.longest_text = 400'000;
        std::string const transcript = note.run();
        EXPECT_EQ(lines_of(transcript, "data"), vellum::test::quoted(text) + "\n")
            << chunking.name();
        EXPECT_EQ(lines_of(transcript, "Set_Subject"), vellum::test::quoted(subject) + "\n");
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
    EXPECT_EQ(lines_of(transcript, "data"), R"("--b2\r\n\r\ninnermost\r\n--b2--"
"second"
)");
    EXPECT_EQ(count_of(transcript, "EndPart"), 4U);
}

TEST(NestingLimit, HoldsTheStack) {
    std::string rfc822;
    for (int i = 0; i < 20'000; ++i)
        rfc822 += "Content-Type: message/rfc822\r\n\r\n";
    for (std::string const & message : {nested_multiparts(20'000), rfc822}) {
        on_small_stack([&] {
            std::istringstream in(message);
            Transcript note(in);
            note.run();
            EXPECT_EQ(count_of(note.text(), "BeginPart"), 101U);
        });
    }
}

/// A run of lines that begin like a delimiter doesn't pile up in the buffer.
TEST(Memory, IsBoundByTheLongestLine) {
    class Reader : public MimeLine_via_istream {
    public:
        using MimeLine::Boundary_is_a;
        using MimeLine_via_istream::MimeLine_via_istream;
    };
    std::string input;
    for (int i = 0; i < 20'000; ++i)
        input += "--b and no more\r\n";
    std::istringstream in(input);
    char * begin = nullptr;
    char * end = nullptr;
    Reader reader(&in, &begin, &end, nullptr, 0);
    reader.Boundary_Push();
    reader.Boundary_Init("b");
    unsigned long long lines = 0;
    bool at_end = false;
    std::pair<char *, char *> seen{};
    for (reader.ReadLine_Body(lines, at_end); !reader.Boundary_is_a();
         reader.ReadLine_Body(lines, at_end))
        seen = {lines == 1 ? begin : std::min(seen.first, begin), std::max(seen.second, end)};
    EXPECT_EQ(lines, 20'000U);
    EXPECT_LT(seen.second - seen.first, 100);
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
        bool is_whole = false;
        try {
            note.run();
            is_whole = true;
        } catch (std::runtime_error const &) {
        }
        EXPECT_EQ(log, "-top") << at;
        EXPECT_TRUE(!is_whole || at > 20) << at;
        if (is_whole) break;
    }
}

TEST(Exceptions, OutOfAStreamPassThrough) {
    struct Breaking : ChunkedBuf {
        using ChunkedBuf::ChunkedBuf;
        int_type underflow() override {
            if (pieces-- == 0) throw std::runtime_error("stream");
            return ChunkedBuf::underflow();
        }
        int pieces = 0;
    };
    for (int pieces = 0; pieces < 40; ++pieces) {
        Breaking buffer(two_parts, Chunking{3, 3});
        buffer.pieces = pieces;
        std::istream in(&buffer);
        Transcript note(in);
        EXPECT_THROW(note.run(), std::runtime_error) << pieces;
    }
}

TEST(Exceptions, OutOfADataStreamPassThrough) {
    class Broken : public std::streambuf {
        std::streamsize xsputn(char const *, std::streamsize) override {
            throw std::runtime_error("sink");
        }
        int_type overflow(int_type) override { throw std::runtime_error("sink"); }
    };
    for (std::string const encoding : {"7bit", "base64", "quoted-printable"}) {
        std::istringstream in("Content-Transfer-Encoding: " + encoding +
                              "\nContent-Type: text/plain; charset=x-same\n\n" +
                              std::string(5000, 'Q'));
        Broken broken;
        std::ostream sink(&broken);
        sink.exceptions(std::ios_base::badbit);
        Transcript note(in);
        note.data_sink = &sink;
        note.SetNLS(new TestFactory, 0);
        EXPECT_THROW(note.run(), std::runtime_error) << encoding;
    }
}

} // namespace
