// tests/structure_test.cpp - where parts begin and end, in both ways of reading, and what is told
//
// A message is shown in one line: `type{parts}` for what encloses others, `type[text]` for a leaf,
// `<text>` for a preamble or an epilogue, and `!X!` for a defect of the structure, where it was
// told. `+N` behind a type says how many encoded messages lie around it.
#include "mime/note/incoming_note.hpp"

#include "tests/support/case_rows.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/fragments.hpp"
#include "tests/support/small_stack.hpp"
#include "tests/support/texts.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;

class Shape : public MimeINote {
public:
    using MimeINote::MimeINote;

    std::string run(Reading reading) {
        SetReading(reading);
        Receive();
        return shape_;
    }
    std::string raw_fields; ///< Each with its offset in front.
    bool shows_defects = true;

protected:
    void BeginPart(MimeContext & context) override {
        char const * const type = context.item->type;
        char const * const subtype = context.item->subtype;
        shape_.append(type).append("/").append(subtype != nullptr ? subtype : "");
        if (context.decoded_depth > 0) shape_ += '+' + std::to_string(context.decoded_depth);
    }
    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
        shape_ += data != nullptr ? '[' : '{';
        text_.str("");
        is_leaf_ = data != nullptr;
        if (data != nullptr) *data = &text_;
    }
    void EndBody(MimeContext &) override {
        if (is_leaf_) take_text();
        shape_ += is_leaf_ ? ']' : '}';
        is_leaf_ = false;
    }
    void BeginPreamble(MimeContext &, std::ostream ** text) override {
        text_.str("");
        *text = &text_;
        shape_ += '<';
    }
    void EndPreamble(MimeContext &) override {
        take_text();
        shape_ += '>';
    }
    void BeginEpilogue(MimeContext & context, std::ostream ** text) override {
        BeginPreamble(context, text);
    }
    void EndEpilogue(MimeContext & context) override { EndPreamble(context); }
    void Defect(MimeContext const &, MimeDefect what, long long) override {
        static char const * const names[] = {
            "?",     "mark",     "stray",   "into body", "into part", "unfinished",
            "limit", "missing",  "unfound", "unclosed",  "blanks",    "mixed",
            "deep",  "too many", "encoded", "fragment",  "twice"};
        if (shows_defects && what < 17) shape_ += std::string("!") + names[what] + '!';
    }
    void RawField(MimeContext &, char const * field, unsigned long size, long long at) override {
        raw_fields += std::to_string(at) + ' ' + std::string(field, size);
    }

private:
    /// Without CR: the line ends of a row are of all kinds.
    void take_text() {
        for (char const c : text_.str()) {
            if (c != '\r') shape_ += c;
        }
        text_.str("");
    }

    std::string shape_;
    std::ostringstream text_;
    bool is_leaf_ = false;
};

std::string shape_of(std::string const & message, MimeINote::Reading reading) {
    std::istringstream in(message);
    return Shape(in).run(reading);
}

std::string with_crlf(std::string const & text) { return replaced(text, "\n", "\r\n"); }

std::string const mixed = "Content-Type: multipart/mixed; boundary=x\n\n";

struct Row {
    std::string name, message, basic, extended;
};

/// The text with what stands for the names in case files.
std::string with_names(std::string text) {
    std::pair<char const *, std::string> const names[] = {
        {"{mixed}", mixed},
        {"{outer}", "Content-Type: multipart/mixed; boundary=o\n\n--o\n"},
        {"{field}", "Content-Type: text/plain\n"},
        {"{message}", "Content-Type: message/rfc822\nContent-Transfer-Encoding: "}};
    for (auto const & [name, value] : names)
        text = replaced(text, name, value);
    return text;
}

/// structure.case holds, in a section each, a message and its shape in basic and in extended
/// reading, one line if it is the same.
std::vector<Row> read_rows() {
    std::vector<Row> rows;
    for (Section const & section : sections_of("structure.case")) {
        std::vector<Cells> const lines = rows_of(section.text);
        rows.push_back({section.title, with_names(lines[0][0]), lines[1][0], lines.back()[0]});
    }
    return rows;
}

/// Each row in LF and in CR LF.
TEST(Structure, IsThatOfTheRow) {
    for (Row const & row : read_rows()) {
        for (std::string const & text : {row.message, with_crlf(row.message)}) {
            EXPECT_EQ(shape_of(text, MimeINote::Reading_Basic), row.basic) << row.name;
            EXPECT_EQ(shape_of(text, MimeINote::Reading_Extended), row.extended) << row.name;
        }
    }
}

/// The line ends of the header say nothing of those of the body.
TEST(Structure, OfMixedLineEndsIsTheSameInExtendedReading) {
    auto const shape = [](std::string const & text) {
        std::istringstream in(text);
        Shape note(in);
        note.shows_defects = false;
        return note.run(MimeINote::Reading_Extended);
    };
    for (Row const & row : read_rows()) {
        std::size_t const end = row.message.find("\n\n");
        if (end == row.message.npos) continue;
        std::string const head = row.message.substr(0, end);
        std::string const body = row.message.substr(end);
        std::string const expected = shape(row.message);
        EXPECT_EQ(shape(with_crlf(head) + body), expected) << row.name;
        EXPECT_EQ(shape(head + with_crlf(body)), expected) << row.name;
    }
}

TEST(Structure, IsTheSameHoweverTheInputIsCut) {
    for (Row const & row : read_rows()) {
        std::string const text = with_crlf(row.message);
        for (std::size_t cut = 0; cut <= text.size(); cut += 11) {
            std::string const start = text.substr(0, text.size() - cut);
            std::string const expected = shape_of(start, MimeINote::Reading_Extended);
            for_each_input(
                start,
                [&](auto & input, std::string const & how) {
                    EXPECT_EQ(Shape(input).run(MimeINote::Reading_Extended), expected)
                        << row.name << cut << how;
                },
                20);
        }
    }
}

TEST(RawFields, StandAsInTheInput) {
    struct {
        std::string message, fields;
    } const rows_of_fields[] = {
        {"A: b\r\n c\r\nno field\r\nB: d\n\n", "0 A: b\r\n c\r\n20 B: d\n"},
        {"\r\nA : (x\r\n y) : b", "2 A : (x\r\n y) : b"},
        {"\xEF\xBB\xBF"
         "A: b\n\n",
         "3 A: b\n"},
        {std::string("A: b\0c\n\n", 8), std::string("0 A: b\0c\n", 9)},
    };
    for (auto const & row : rows_of_fields) {
        for_each_input(row.message, [&](auto & input, std::string const & how) {
            Shape note(input);
            note.run(MimeINote::Reading_Extended);
            EXPECT_EQ(note.raw_fields, row.fields) << how;
        });
    }
}

TEST(Limits, OfPartsAndHeadersAreTold) {
    std::string const parts = mixed + "--x\n\none\n--x\n\ntwo\n--x\n\nthree\n--x--\n";
    auto const with = [](std::string const & text, unsigned long header, int part_count) {
        std::istringstream in(text);
        Shape note(in);
        note.SetHeaderLimit(header);
        note.SetPartLimit(part_count);
        return note.run(MimeINote::Reading_Basic) + ' ' + note.raw_fields;
    };
    auto const shape = [&](int limit) { return with(parts, 0, limit).substr(0, 80); };
    EXPECT_TRUE(shape(4).starts_with("multipart/mixed{text/plain[one]text/plain[two]text/plain["
                                     "three]} "));
    EXPECT_TRUE(
        shape(3).starts_with("multipart/mixed{text/plain[one]text/plain[!too many!two\n--x"));
    EXPECT_TRUE(shape(1).starts_with("multipart/mixed!too many![--x\n\none"));
    EXPECT_EQ(with("A: b\nC: d\nE: f\n\n", 10, 0), "text/plain!limit![] 0 A: b\n5 C: d\n");
    EXPECT_EQ(with("A: b\nC: d\nE: f\n\n", 9, 0), "text/plain!limit![] 0 A: b\n");
}

TEST(Fragments, AreStoredOnlyWhereADirectoryWasSet) {
    EXPECT_EQ(shape_of("Content-Type: message/partial; id=a; number=1; total=2\n\none\n",
                       MimeINote::Reading_Extended),
              "message/partial!fragment![one\n]");
}

// Cost -----------------------------------------------------------------------------------

/// Nanoseconds of CPU a byte, the best of three runs.
double cost_of(std::string const & text) {
    double best = 1e9;
    for (int run = 0; run < 3; ++run) {
        std::istringstream in(text);
        MimeINote note(in);
        note.SetReading(MimeINote::Reading_Extended);
        std::clock_t const start = std::clock();
        note.Receive();
        double const seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        best = std::min(best, seconds * 1e9 / static_cast<double>(text.size()));
    }
    return best;
}

std::string levels_with_one_prefix() {
    std::string result;
    std::string const prefix(60, 'b');
    for (int i = 0; i < 100; ++i) {
        std::string const name = prefix + std::to_string(i);
        result += "Content-Type: multipart/mixed; boundary=" + name + "\n\n--" + name + "\n";
    }
    return result + "\n";
}

/// structure_cost.case holds the beginning of a message that takes a rule to its worst, and what
/// stands behind it over and over. A byte of a message of four times the size costs no more, but
/// for what a busy machine adds. If the cost grew with the square, it would be four times as much.
TEST(Cost, IsLinearWhateverTheMessage) {
    for (Cells const & row : rows_of(content_of("structure_cost.case"))) {
        std::string const start =
            replaced(with_names(row[0]), "{levels}", levels_with_one_prefix());
        auto const message = [&](std::size_t size) {
            return start + repeated(row[1], size / row[1].size());
        };
        double const small = cost_of(message(250'000));
        double const large = cost_of(message(1'000'000));
        EXPECT_LT(large, 2 * small + 100) << row[0] << ", " << row[1].substr(0, 30);
    }
}

TEST(Stack, HoldsEncodedMessagesWithinEachOther) {
    on_small_stack([] {
        shape_of(repeated(with_names("{message}quoted-printable\n\n"), 200),
                 MimeINote::Reading_Extended);
    });
}

/// What is longer than the pieces that text comes in is told from text all the same.
TEST(Structure, OfLongLinesIsThatOfShortOnes) {
    std::string const pad(100'000, ' '), word(100'000, 'w');
    struct {
        char const * name;
        std::string message, extended;
    } const long_rows[] = {
        {"a padded delimiter", mixed + "--x" + pad + "\n\none\n--x--" + pad,
         "multipart/mixed{!blanks!text/plain[!blanks!one]}"},
        {"a padded line that is none", mixed + "--x" + pad + "y\n--x--\n",
         "multipart/mixed<--x" + pad + "y>{}"},
        {"a line without a header", word + ": w\n\none\n",
         "text/plain!into body![" + word + ": w\n\none\n]"},
        {"a folded one", repeated("w\n ", 50'000) + ": w\n",
         "text/plain!into body![" + repeated("w\n ", 50'000) + ": w\n]"},
        {"a long field", "A: " + word + "\n " + word + "\n\none\n", "text/plain[one\n]"},
        {"a long line in front of a field", std::string(60'000, 'w') + "\nA: b\n\none\n",
         "text/plain!stray![one\n]"},
        {"blank text", std::string(100'000, '\r') + "A: b\n", "text/plain!into body![A: b\n]"},
        {"line ends of a header without an end",
         mixed.substr(0, mixed.size() - 1) + repeated("stray\n", 12'000) + "--x\n\none\n--x--\n",
         "multipart/mixed!into body!<" + repeated("stray\n", 11'999) + "stray>{text/plain[one]}"},
    };
    for (auto const & row : long_rows) {
        for_each_input(
            row.message,
            [&](auto & input, std::string const & how) {
                EXPECT_TRUE(Shape(input).run(MimeINote::Reading_Extended) == row.extended)
                    << row.name << ", " << how;
            },
            3);
    }
}

/// An offset is one of the text that the part was read in.
TEST(Limits, OfPartsAreToldWithTheirPlaceInAnEncodedMessage) {
    class Offsets : public Shape {
    public:
        using Shape::Shape;
        std::string offsets;

    protected:
        void Defect(MimeContext const & context, MimeDefect what, long long at) override {
            if (what != Defect_TooManyParts) return;
            offsets += std::to_string(context.decoded_depth) + ':' + std::to_string(at) + ' ';
        }
    };
    std::string const inner = mixed + "--x\n\n1\n--x\n\n2\n"; // its decoded lines end in CR LF
    std::string const text = "Content-Type: multipart/mixed; boundary=o\n\n--o\n"
                             "Content-Type: message/rfc822\n"
                             "Content-Transfer-Encoding: quoted-printable\n\n" +
                             replaced(inner, "=x", "=3Dx") + "--o\n\n3\n--o--\n";
    std::string const places = "1:" + std::to_string(with_crlf(inner).rfind("--x")) +
                               " 0:" + std::to_string(text.find("--o\n\n3")) + ' ';
    for_each_input(text, [&](auto & input, std::string const & how) {
        Offsets note(input);
        note.SetPartLimit(4);
        note.run(MimeINote::Reading_Extended);
        EXPECT_EQ(note.offsets, places) << how;
    });
}

/// A header is what stands between its two offsets, also where a delimiter or the body ends it.
TEST(Offsets, OfAHeaderHoldABlankLineOnlyWhereThereIsOne) {
    class Headers : public MimeINote {
    public:
        Headers(std::istream & in, std::string const & text) : MimeINote(in), text_(text) {}
        std::string headers;

    protected:
        void EndHeader(MimeContext & context) override {
            auto const start = static_cast<std::size_t>(context.exact.header_start);
            auto const end = static_cast<std::size_t>(context.exact.header_end);
            headers += text_.substr(start, end - start) + '|';
        }

    private:
        std::string const & text_;
    };
    std::string const own = "Content-Type: multipart/mixed; boundary=y\n";
    struct {
        std::string message, headers;
    } const rows_of_headers[] = {
        {mixed + "--x\n\none\n--x--\n", mixed + "|\n|"},
        {mixed + "--x\nA: b\n--x\n\none\n--x--\n", mixed + "|A: b\n|\n|"},
        {mixed + "--x\n--x--\n", mixed + "||"},
        {mixed + "--x\n" + own + "--x--\n", mixed + "|" + own + "|"},
        {mixed + "--x\n" + own + "--y\nA: b\n--x--\n", mixed + "|" + own + "|A: b\n|"},
        {"A: b\none\n", "A: b\n|"},
    };
    for (auto const & row : rows_of_headers) {
        for (bool const is_crlf : {false, true}) {
            std::string const text = is_crlf ? with_crlf(row.message) : row.message;
            std::istringstream in(text);
            Headers note(in, text);
            note.SetReading(MimeINote::Reading_Extended);
            note.Receive();
            EXPECT_EQ(note.headers, is_crlf ? with_crlf(row.headers) : row.headers) << text;
        }
    }
}

/// Fragment 1 may enclose a text without a header, or one that no blank line ends.
TEST(Fragments, KeepTheTextThatTheFirstEncloses) {
    std::string const type = "Content-Type: message/partial; id=a; number=1; total=1\n";
    struct {
        char const * enclosed;
        char const * extended;
    } const texts[] = {
        {"one\ntwo\n\nthree\n", "text/plain[one\ntwo\n\nthree\n]"},
        {"one", "text/plain[one]"},
        {"\none\n\ntwo\n", "text/plain[one\n\ntwo\n]"},
        {"\n\none\n", "text/plain[\none\n]"},
        {"Subject: s\none\n\ntwo\n", "text/plain[one\n\ntwo\n]"},
        {"From x\nSubject: s\n\none\n", "text/plain[one\n]"},
        {"Content-Type: text/html\n\none\n", "text/html[one\n]"},
    };
    for (auto const & row : texts) {
        for (std::string const head : {"", "To: a@b\n"}) {
            std::string const whole = head + type + '\n' + row.enclosed;
            for (std::string const & text : {whole, with_crlf(whole)}) {
                StoreDirectory const store;
                std::istringstream in(text);
                Shape note(in);
                note.SetPartialDir(store.prefix().c_str());
                note.shows_defects = false;
                EXPECT_EQ(note.run(MimeINote::Reading_Extended), row.extended) << text;
            }
        }
    }
    std::string const lone_cr = type + "\rone\n";
    StoreDirectory const store;
    std::istringstream in(lone_cr);
    Shape note(in);
    note.SetPartialDir(store.prefix().c_str());
    note.shows_defects = false;
    EXPECT_EQ(note.run(MimeINote::Reading_Extended), "text/plain[one\n]");
}

} // namespace
