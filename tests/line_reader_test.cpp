// tests/line_reader_test.cpp - lines, delimiters and counts, however the input is cut
#include "mime/receive/line_reader.hpp"

#include "mime/receive/boundary_stack.hpp"
#include "mime/receive/line_buffer.hpp"
#include "tests/support/chunked.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

using namespace vellum;
using vellum::test::for_each_input;

std::string shown(std::string_view text) {
    std::string result;
    for (char const c : text) {
        if (c == '\r') {
            result += "<CR>";
        } else if (c == '\n') {
            result += "<LF>";
        } else if (c == '\0') {
            result += "<NUL>";
        } else {
            result += c;
        }
    }
    return result;
}

template <class In>
struct ReaderOf;
template <>
struct ReaderOf<std::istream> {
    using type = MimeLine_via_istream;
};
template <>
struct ReaderOf<iSimpleStream> {
    using type = MimeLine_via_iSimpleStream;
};
template <>
struct ReaderOf<TiStreamLite> {
    using type = MimeLine_via_TiStreamLite;
};

/// Reads as a receiver does, and writes down what came.
///
/// The script: H reads a header, B reads the text up to a delimiter, a digit pushes a level and
/// gives it that digit's boundary, "-" pops a level, "1b" (in the input) is a delimiter of level 1.
template <class In>
class Session : private ReaderOf<std::remove_reference_t<In>>::type {
    using Reader = typename ReaderOf<std::remove_reference_t<In>>::type;

public:
    explicit Session(In & in) : Reader(&in, &begin_, &end_, nullptr, 0) { this->Boundary_Push(); }

    std::string run(std::string_view script) {
        for (char const step : script) {
            if (step == 'H') {
                head();
            } else if (step == 'B') {
                body();
            } else if (step == '-') {
                this->Boundary_Pop();
            } else {
                if (step != '1') this->Boundary_Push();
                this->Boundary_Init(std::string(1, step).append("b").c_str());
            }
        }
        log_ << "at " << position_ << ", line " << lines_ << (at_end_ ? ", end" : "");
        return log_.str();
    }

private:
    std::string_view line() const { return {begin_, static_cast<std::size_t>(end_ - begin_)}; }

    void head() {
        for (bool first = position_ == 0;; first = false) {
            long long const taken = this->ReadLine_Head(lines_, at_end_, first);
            if (taken == 0) break;
            position_ += taken;
            log_ << "field " << taken << " " << shown(line()) << "\n";
        }
    }

    void body() {
        std::string text;
        next();
        while (!this->Boundary_is_a()) {
            text += line();
            EXPECT_EQ(*end_, '\0');
            for (std::string_view block; !(block = this->ReadLines_Body(lines_)).empty();) {
                position_ += static_cast<long long>(block.size());
                text += block;
            }
            next();
        }
        log_ << "text " << shown(text) << "\n";
        if (!line().empty()) {
            log_ << (this->Boundary_is_2() ? "close " : "part ") << shown(line()) << "\n";
        }
    }

    void next() { position_ += this->ReadLine_Body(lines_, at_end_); }

    char * begin_ = nullptr;
    char * end_ = nullptr;
    unsigned long long lines_ = 0;
    long long position_ = 0;
    bool at_end_ = false;
    std::ostringstream log_;
};

struct Case {
    char const * name;
    char const * script;
    std::string input;
    char const * expected;
};

class LineReader : public testing::TestWithParam<Case> {};

TEST_P(LineReader, GivesTheSameForEveryInput) {
    Case const & row = GetParam();
    for_each_input(row.input, [&](auto & in, std::string const & how) {
        ASSERT_EQ(Session<std::remove_reference_t<decltype(in)>>(in).run(row.script), row.expected)
            << how;
    });
}

Case const cases[] = {
    {"empty", "HB", "", "text \nat 0, line 0, end"},
    {"folded", "H", "S: a\r\n b\r\nT: c\r\n\r\nx",
     "field 10 S: a b<CR><LF>\nfield 6 T: c<CR><LF>\nat 16, line 3"},
    {"folded_bare_lf", "H", "S: a\n\tb\n c\n\n", "field 11 S: a\tb c<LF>\nat 11, line 3"},
    {"leading_blank_line", "H", "\r\nS: a\r\n\r\n",
     "field 2 <CR><LF>\nfield 6 S: a<CR><LF>\nat 8, line 2"},
    {"input_ends_in_a_header_line", "H", "S: a", "field 4 S: a\nat 4, line 1, end"},
    {"lone_cr_ends_a_header", "H1B", "S: a\r\n\rx\r\n\r\n1b--\r\n",
     "field 6 S: a<CR><LF>\ntext <CR>x<CR><LF><CR><LF>1b--<CR><LF>\nat 18, line 4, end"},
    {"delimiter_takes_the_line_end", "H1BB", "\r\none\r\ntwo\r\n--1b\r\nx\r\n--1b--\r\n",
     "field 2 <CR><LF>\nfield 5 one<CR><LF>\nfield 5 two<CR><LF>\nfield 6 --1b<CR><LF>\n"
     "field 3 x<CR><LF>\nfield 8 --1b--<CR><LF>\ntext \ntext \nat 29, line 6, end"},
    {"parts", "H1BBB", "H: h\r\n\r\none\r\ntwo\r\n--1b\r\nx\r\n--1b--\r\nend",
     "field 6 H: h<CR><LF>\ntext <CR><LF>one<CR><LF>two\npart <CR><LF>--1b<CR><LF>\ntext x\n"
     "close <CR><LF>--1b--<CR><LF>\ntext end\nat 38, line 7, end"},
    {"empty_text_before_a_delimiter", "H1BB", "H: h\r\n\r\n--1b\r\n\r\n--1b--\r\n",
     "field 6 H: h<CR><LF>\ntext \npart <CR><LF>--1b<CR><LF>\ntext \n"
     "close <CR><LF>--1b--<CR><LF>\nat 24, line 5"},
    {"bare_lf", "H1BBB", "H: h\n\none\n--1b\n\ntwo\n--1b--\n",
     "field 5 H: h<LF>\ntext <LF>one\npart <LF>--1b<LF>\ntext <LF>two\nclose <LF>--1b--<LF>\n"
     "text \nat 27, line 7, end"},
    {"no_delimiters", "H1B",
     "H: h\r\n\r\n--1bx\r\n--1B\r\n--1b \r\n-\r\n--\r\n-1b\r\n--1b\n--1b--\r\r\n--1b--",
     "field 6 H: h<CR><LF>\n"
     "text <CR><LF>--1bx<CR><LF>--1B<CR><LF>--1b <CR><LF>-<CR><LF>--<CR><LF>-1b<CR><LF>--1b<LF>"
     "--1b--<CR><CR><LF>--1b--\nat 60, line 10, end"},
    {"crlf_level_reads_bare_lf_as_text", "H1B", "H: h\r\n\r\na\n--1b\n\n--1b\nb\r\n--1b\r\n",
     "field 6 H: h<CR><LF>\ntext <CR><LF>a<LF>--1b<LF><LF>--1b<LF>b\npart <CR><LF>--1b<CR><LF>\n"
     "at 30, line 8"},
    {"inner_close_directly_before_outer", "H1B2BB-BB",
     "H: h\r\n\r\n--1b\r\n\r\n--2b\r\nx\r\n--2b--\r\n--1b\r\ny\r\n--1b--\r\n",
     "field 6 H: h<CR><LF>\ntext \npart <CR><LF>--1b<CR><LF>\ntext \n"
     "part <CR><LF>--2b<CR><LF>\ntext x\nclose <CR><LF>--2b--<CR><LF>\ntext \n"
     "part --1b<CR><LF>\ntext y\nclose <CR><LF>--1b--<CR><LF>\nat 50, line 10"},
    {"read_ahead_line_goes_to_a_header", "H1BHB", "H: h\n\n\n-x: y\n z\n\n-t\n--1b\n",
     "field 5 H: h<LF>\ntext <LF><LF>-x: y<LF> z<LF><LF>-t\npart <LF>--1b<LF>\n"
     "text \nat 25, line 8, end"},
    {"nul_and_lone_cr_are_bytes", "H1B", std::string("H: h\r\n\r\na\0b\rc\r\n--1b\r\n", 22),
     "field 6 H: h<CR><LF>\ntext <CR><LF>a<NUL>b<CR>c\npart <CR><LF>--1b<CR><LF>\nat 21, line 4"},
};

INSTANTIATE_TEST_SUITE_P(Cases, LineReader, testing::ValuesIn(cases),
                         [](auto const & row) { return std::string(row.param.name); });

TEST(LineReaderLimits, LinesLongerThanTheBuffer) {
    std::string const input =
        "S: " + std::string(70'000, 'x') + "\r\n\r\n" + std::string(17'000, 'y') + "\r\n--1b\r\n";
    for (test::Chunking const chunking : {test::Chunking{90'000, 1}, {1, 1}, {4000, 4000}}) {
        test::ChunkedBuf buffer(input, chunking);
        std::istream in(&buffer);
        std::string const expected = "field 70005 S: " + std::string(70'000, 'x') +
                                     "<CR><LF>\ntext <CR><LF>" + std::string(17'000, 'y') +
                                     "\npart <CR><LF>--1b<CR><LF>\nat 87015, line 4";
        EXPECT_EQ(Session<std::istream>(in).run("H1B"), expected) << chunking.name();
    }
}

TEST(LineReaderLimits, MemoryIsBoundByTheLongestLine) {
    // A run of lines that begin like a delimiter doesn't pile up in the buffer.
    class Probe : public MimeLine_via_istream {
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
    Probe reader(&in, &begin, &end, nullptr, 0);
    reader.Boundary_Push();
    reader.Boundary_Init("b");
    unsigned long long lines = 0;
    bool at_end = false;
    char * lowest = nullptr;
    char * highest = nullptr;
    for (reader.ReadLine_Body(lines, at_end); !reader.Boundary_is_a();
         reader.ReadLine_Body(lines, at_end)) {
        lowest = lowest == nullptr ? begin : std::min(lowest, begin);
        highest = std::max(highest, end);
    }
    EXPECT_EQ(lines, 20'000U);
    EXPECT_LT(highest - lowest, 100);
}

} // namespace
