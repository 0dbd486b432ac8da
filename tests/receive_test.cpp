// tests/receive_test.cpp - what a run does: the calls that cases/ shows, settings, streams, limits,
// exceptions
#include "mime/note/incoming_note.hpp"

#include "mime/nls/translator.hpp"
#include "mime/note/position.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <functional>
#include <malloc.h>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

/// The transcript of a message that comes through a stream in pieces.
std::string transcript_in_pieces(std::string const & message, Chunking chunking,
                                 std::function<void(Transcript &)> const & set_up = {}) {
    ChunkedBuf buffer(message, chunking);
    std::istream in(&buffer);
    Transcript note(in);
    note.longest_text = 400'000;
    if (set_up) set_up(note);
    std::string transcript = note.run();
    EXPECT_EQ(in.rdstate(), std::ios_base::eofbit);
    return transcript;
}

// Cases ----------------------------------------------------------------------------

/// Each message cases/NAME.eml makes the calls of cases/NAME.txt, read in the basic way, and those
/// of cases/NAME.extended.txt, where there is that file, read in the extended one: however it is
/// cut. Of what stands beside parts and fields only transcripts of the extended way have lines.
TEST(Cases, GiveTheirTranscripts) {
    std::size_t count = 0;
    auto const expect = [&count](std::string const & message, std::filesystem::path const & path,
                                 MimeINote::Reading reading) {
        if (!exists(path)) return;
        ++count;
        std::string const expected = content_of(path);
        bool is_equal = true;
        for_each_input(message, [&](auto & input, std::string const & how) {
            if (!is_equal) return; // one report a case
            Transcript note(input);
            note.SetReading(reading);
            note.prints_defects = note.prints_preambles = reading == MimeINote::Reading_Extended;
            std::string const actual = note.run();
            is_equal = actual == expected;
            EXPECT_EQ(actual, expected) << path << ", " << how;
        });
    };
    for (auto const & entry : std::filesystem::directory_iterator("cases")) {
        std::filesystem::path path = entry.path();
        if (path.extension() != ".eml") continue;
        std::size_t const before = count;
        std::string const message = content_of(path);
        expect(message, path.replace_extension(".txt"), MimeINote::Reading_Basic);
        expect(message, path.replace_extension(".extended.txt"), MimeINote::Reading_Extended);
        EXPECT_GT(count, before) << path << " has no transcript";
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
    struct Properties : MimeINote {
        using MimeINote::MimeINote;
        void SetProperty(char const * name, MimeString const & value) override {
            seen.append(name).append(1, '=');
            if (value.get_Length() > 0) seen.append(value.get_String(), value.get_Length());
            seen += '\n';
        }
        std::string seen;
    };
    std::vector<Section> const sections = sections_of("receive.case");
    std::istringstream in(sections[0].text);
    Properties note(in);
    note.Receive();
    EXPECT_EQ(note.seen, sections[1].text);
}

// Cookies --------------------------------------------------------------------------

struct CountedCookie : MimeClientCookie {
    explicit CountedCookie(std::string & log_text, std::string own) : log(log_text), name(own) {}
    void Delete() override {
        log += "-" + name;
        if (again == nullptr) return MimeClientCookie::Delete();
        std::exchange(again, nullptr)->SetCookie(this);
    }
    std::string & log;
    std::string name;
    MimeINote * again = nullptr; ///< Delete sets the cookie there, once.
};

TEST(Cookies, AreSeenByTheChildrenAndDeletedWithTheirLevel) {
    struct Note : MimeINote {
        using MimeINote::MimeINote;
        std::string log;
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

/// Each row is a client's steps, and those within the first BeginPart: a letter sets the cookie of
/// that name, `0` sets null, `R` receives. `^` in front of a letter: Delete sets the cookie again,
/// once. At the end the note goes.
TEST(Cookies, EndOnceWhateverTheClientDoes) {
    struct Note : MimeINote {
        using MimeINote::MimeINote;
        void BeginPart(MimeContext &) override { play(std::exchange(within, "")); }
        void play(std::string const & steps) {
            for (char const step : steps) {
                if (step == 'R') Receive();
                if (step == '0') SetCookie(nullptr);
                if (step >= 'a') set(std::string(1, step));
                is_again = step == '^';
            }
        }
        void set(std::string const & name) {
            CountedCookie *& cookie = cookies[name];
            if (cookie == nullptr) cookie = new CountedCookie(*log, name);
            if (is_again) cookie->again = this;
            EXPECT_EQ(SetCookie(cookie), cookie);
        }
        std::string * log = nullptr; // outlives the note
        std::string within;
        bool is_again = false;
        std::map<std::string, CountedCookie *> cookies;
    };
    for (Cells const & row : rows_of("receive.case", "cookies")) {
        std::string log;
        {
            std::istringstream in("\r\n");
            Note note(in);
            note.log = &log;
            note.within = row[1];
            note.play(row[0]);
        }
        EXPECT_EQ(log, row[2]) << row[0] << ", within " << row[1];
    }
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
    for (Cells const & row : rows_of("receive.case", "decoded and translated")) {
        std::string const message = "Content-Type: text/plain; " + row[0] + "\n" + row[1];
        for_each_input(message, [&](auto & input, std::string const & how) {
            Transcript note(input);
            note.SetNLS(new TestFactory, 0);
            EXPECT_EQ(lines_of(note.run(), "data"), row[2] + "\n") << how;
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
        std::string const transcript = transcript_in_pieces(message, chunking);
        EXPECT_EQ(lines_of(transcript, "data"), vellum::test::quoted(text) + "\n")
            << chunking.name();
        EXPECT_EQ(lines_of(transcript, "Set_Subject"), vellum::test::quoted(subject) + "\n");
    }
}

/// A line that is cut into pieces, and what stands behind it, at every place of the cut. A line end
/// in front of a delimiter isn't the text's, and lines and offsets count as if the line were whole.
TEST(Bodies, OfLongLinesGoOnInPieces) {
    std::string const header = "Content-Type: multipart/mixed; boundary=x\r\n\r\n--x\r\n\r\n";
    for (std::size_t size = vellum::line_piece - 8; size < vellum::line_piece + 4; ++size) {
        for (Cells const & row : rows_of("receive.case", "behind a long line")) {
            std::string const message = header + std::string(size, 'y') + row[0];
            std::string const text = std::string(size, 'y') + row[1];
            std::string const end = std::to_string(header.size() + text.size());
            for (Chunking const chunking :
                 {Chunking{1, 4096}, {message.size(), 1}, {header.size() + size, 1}, {1, 1}}) {
                std::string const transcript = transcript_in_pieces(message, chunking);
                EXPECT_EQ(lines_of(transcript, "data"), vellum::test::quoted(text) + "\n");
                std::string const body = lines_of(transcript, "EndBody");
                EXPECT_NE(body.find("body " + std::to_string(header.size()) + ".." + end +
                                    " lines 4.." + std::to_string(4 + std::stoi(row[2]))),
                          body.npos)
                    << body << size << chunking.name() << row[0].substr(0, 20);
            }
        }
    }
}

/// Notes the size of every write.
struct SizesBuf : std::streambuf {
    std::streamsize xsputn(char const *, std::streamsize size) override {
        largest = std::max(largest, size);
        total += size;
        return size;
    }
    int_type overflow(int_type) override { return traits_type::eof(); }
    std::streamsize largest = 0;
    std::streamsize total = 0;
};

TEST(Bodies, OfOneLineAreNotGathered) {
    std::string const text(3'000'000, 'y');
    for (std::size_t const piece : {std::size_t{100}, std::size_t{8191}, text.size()}) {
        SizesBuf sizes;
        std::ostream sink(&sizes);
        transcript_in_pieces("\r\n\r\n" + text, {piece, piece},
                             [&](Transcript & note) { note.data_sink = &sink; });
        EXPECT_EQ(sizes.total, 3'000'000);
        EXPECT_LE(sizes.largest, 65'536) << piece;
    }
}

/// What ends the data of a base64 line ends it for the rest of the line, and for no further one.
TEST(Bodies, Base64PaddingEndsTheLineInPiecesToo) {
    for (std::size_t groups = 4090; groups < 4100; ++groups) {
        for (std::string const end : {"QQ==", "="}) {
            std::string const message = "Content-Transfer-Encoding: base64\r\n\r\n" +
                                        repeated("QUJD", groups) + end + repeated("QUJD", 20'000) +
                                        "\r\nREVG\r\n";
            std::string const expected = repeated("ABC", groups) + (end == "=" ? "" : "A") + "DEF";
            for (Chunking const chunking : {Chunking{message.size(), 1}, {1, 5000}, {7, 7}}) {
                EXPECT_EQ(lines_of(transcript_in_pieces(message, chunking), "data"),
                          vellum::test::quoted(expected) + "\n")
                    << groups << end << chunking.name();
            }
        }
    }
}

/// How a translator wants its text, and what it was given: a `/` behind each of the calls.
struct Feeding {
    NLS_Translator::Buffering_Restrictions restriction;
    bool takes_pieces = false;
    std::string calls = {};
    std::size_t largest = 0;
};

/// Changes the two bytes of every pair, whatever calls they come in, and keeps the odd one.
class PairTranslator : public TextTranslator {
public:
    PairTranslator(char const * charset, Feeding & feeding)
        : TextTranslator(charset), feeding_(feeding) {}

    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return feeding_.restriction;
    }
    bool Takes_Pieces(NLS_CharSet *) override { return feeding_.takes_pieces; }
    int CharSet_to_CodePage_Piece(iSimpleStream * in, bool last, oSimpleStream * out) override {
        is_last_ = last;
        return CharSet_to_CodePage(in, out);
    }
    int Translate(std::string_view text, std::string & result) override {
        feeding_.calls.append(text).append(1, '/');
        feeding_.largest = std::max(feeding_.largest, text.size());
        std::string const whole = std::exchange(kept_, "") + std::string(text);
        std::size_t const pairs = whole.size() / 2;
        for (std::size_t i = 0; i < pairs; ++i)
            result.append(1, whole[2 * i + 1]).append(1, whole[2 * i]);
        kept_ = whole.substr(2 * pairs);
        if (is_last_) result += std::exchange(kept_, "");
        return 0;
    }

private:
    Feeding & feeding_;
    std::string kept_;
    bool is_last_ = true;
};

struct PairFactory : NLS_Translator_Factory {
    explicit PairFactory(Feeding & of) : feeding(of) {}
    NLS_Translator * New(char const * charset, int) override {
        return new PairTranslator(charset, feeding);
    }
    Feeding & feeding;
};

std::string data_through(Feeding & feeding, std::string const & message, Chunking chunking) {
    std::ostringstream data;
    transcript_in_pieces(message, chunking, [&](Transcript & note) {
        note.data_sink = &data;
        note.SetNLS(new PairFactory(feeding), 0);
    });
    return data.str();
}

/// The text in lines and in one line, plain and encoded, that ends in a whole group or within one,
/// with an end marker and without: a translator that takes pieces gives what the whole text gives.
TEST(Bodies, AreTranslatedInPiecesAsTheWholeTextWouldBe) {
    for (Cells const & row : rows_of("receive.case", "translated in pieces")) {
        for (std::string const charset : {"us-ascii", "utf-8"}) {
            std::string const message = "Content-Type: text/plain; charset=" + charset +
                                        "\r\nContent-Transfer-Encoding: " + row[0] + "\r\n\r\n" +
                                        row[1];
            Feeding stored{NLS_Translator::multi_byte_pieces};
            std::string const expected = data_through(stored, message, {message.size(), 1});
            EXPECT_EQ(std::count(stored.calls.begin(), stored.calls.end(), '/'), 1);
            for (Chunking const chunking : {Chunking{message.size(), 1}, {1, 1500}, {3, 3}}) {
                Feeding pieces{NLS_Translator::multi_byte_pieces, true};
                EXPECT_EQ(data_through(pieces, message, chunking) == expected, true)
                    << row[0] << charset << chunking.name() << row[1].substr(0, 20);
                EXPECT_LE(pieces.largest, 80'000U);
            }
        }
    }
}

/// Above 1 KB: double bytes in pieces of 1,024, shift states in pieces of whole lines.
TEST(Bodies, AreCutAsTheRestrictionAsks) {
    for (Cells const & row : rows_of("receive.case", "cut as the restriction asks")) {
        std::string const text = replaced(row[1], "/", "");
        Feeding feeding{NLS_Translator::Buffering_Restrictions(std::stoi(row[0]))};
        data_through(feeding, "Content-Type: text/plain; charset=x-set\r\n\r\n" + text, {9, 9});
        EXPECT_EQ(feeding.calls, row[1]);
    }
}

TEST(Bodies, OfManyEmptyLinesAreCounted) {
    std::string const transcript = transcript_of("A: b\n\n" + std::string(40'000, '\n') + "end\n");
    EXPECT_NE(transcript.find("lines 2..40003"), transcript.npos) << transcript;
}

// Memory ---------------------------------------------------------------------------

/// A run of lines that begin like a delimiter doesn't pile up in the buffer.
TEST(Memory, IsBoundByTheLongestLine) {
    struct Reader : MimeLine_via_istream {
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

/// From a source that has no whole field at hand, so that the reader gathers the lines.
TEST(Memory, OfALongHeaderLineIsGivenBack) {
    struct Note : MimeINote {
        using MimeINote::MimeINote;
        void BeginPart(MimeContext &) override { kept = malloc_usable_size(run->line_begin); }
        MimeReceiver const * run = nullptr;
        std::size_t kept = 0;
    };
    std::string const text = "X: " + std::string(8'000'000, 'x') + "\r\nY: z\r\n\r\n";
    vellum::test::ChunkedLiteStream in(text, {1000, 1000});
    Note note(in);
    MimeReceiver run(&note, &in, nullptr, true, nullptr);
    note.run = &run;
    run.Get_message();
    EXPECT_GT(note.kept, 0U);
    EXPECT_LE(note.kept, 2'000'000U);
}

/// Neither text beside parts nor text without a header is held, whatever its lines.
TEST(Memory, OfTextIsThatOfItsPieces) {
    struct HeapLook : std::streambuf {
        std::streamsize xsputn(char const *, std::streamsize size) override {
            struct mallinfo2 const heap = mallinfo2();
            most = std::max(most, heap.uordblks + heap.hblkhd);
            return size;
        }
        std::size_t most = 0;
    } heap;
    std::ostream sink(&heap);
    struct Note : MimeINote {
        using MimeINote::MimeINote;
        void BeginPart(MimeContext &) override { sink->write("", 1); }
        void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
            if (data != nullptr) *data = sink;
        }
        void BeginPreamble(MimeContext &, std::ostream ** text) override { *text = sink; }
        void BeginEpilogue(MimeContext &, std::ostream ** text) override { *text = sink; }
        std::ostream * sink = nullptr;
    };
    std::string const type = "Content-Type: multipart/mixed; boundary=x\n";
    std::string const line(8'000'000, 'y');
    for (std::string const & start :
         {std::string(), std::string("\r"), std::string("y\n "), type, type + "\n", type + "\n\r",
          type + "\n--x--\n", std::string("Content-Type: message/rfc822\n\r")}) {
        ChunkedBuf buffer(start + line, {5000, 5000});
        std::istream in(&buffer);
        Note note(in);
        note.SetReading(MimeINote::Reading_Extended);
        note.sink = &sink;
        heap.most = 0;
        sink.write("", 1);
        std::size_t const before = heap.most;
        note.Receive();
        EXPECT_LE(heap.most, before + 1'000'000) << start;
    }
}

/// The offset is one in the buffer's text; further out there is nothing to keep.
TEST(Lines, AreReadBehindTheTextThatThereIs) {
    std::istringstream in("one\ntwo\nthree\n");
    char * begin = nullptr;
    char * end = nullptr;
    MimeLine_via_istream reader(&in, &begin, &end, nullptr, 0);
    EXPECT_EQ(reader.Read_to_LF(5000), 4);
    EXPECT_STREQ(begin, "one\n");
    EXPECT_EQ(reader.Read_to_LF(2), 4);
    EXPECT_STREQ(begin, "ontwo\n");
    EXPECT_EQ(reader.Read_to_LF(-1), 6);
    EXPECT_STREQ(begin, "ontwo\nthree\n");
}

TEST(Positions, StayAtTheLimitOfAnInt) {
    MimeContext context(0, 0, 0, 1, nullptr, nullptr);
    context.exact.body_end = 5'000'000'000;
    vellum::mirror_positions(context);
    EXPECT_EQ(context.body_end, INT_MAX);
    EXPECT_EQ(context.part_start, -1);
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
    struct Broken : std::streambuf { // without a put area, so that each byte comes here
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
