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
        {"{own}", "Content-Type: multipart/mixed; boundary=y\n"},
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
    for (Cells const & row : rows_of("structure_rows.case", "raw fields")) {
        for_each_input(row[0], [&](auto & input, std::string const & how) {
            Shape note(input);
            note.run(MimeINote::Reading_Extended);
            EXPECT_EQ(note.raw_fields, row[1]) << how;
        });
    }
}

/// The nesting limit counts what is open, not what has been.
TEST(Limits, AreTold) {
    for (Cells const & row : rows_of("structure_rows.case", "limits")) {
        std::istringstream in(with_names(row[3]));
        Shape note(in);
        note.SetHeaderLimit(std::stoul(row[0]));
        note.SetPartLimit(std::stoi(row[1]));
        int const levels = std::stoi(row[2]);
        EXPECT_TRUE(levels == 0 || note.SetNestingLimit(levels) == levels);
        EXPECT_EQ(note.run(MimeINote::Reading_Basic), row[4]) << row[3];
        EXPECT_TRUE(row.size() < 6 || note.raw_fields == row[5]) << note.raw_fields;
    }
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

/// Multiparts within each other, whose boundaries begin alike.
std::string levels(int count) {
    std::string result;
    std::string const prefix(60, 'b');
    for (int i = 0; i < count; ++i) {
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
        std::string const start = replaced(with_names(row[0]), "{levels}", levels(100));
        auto const message = [&](std::size_t size) {
            return start + repeated(row[1], size / row[1].size());
        };
        double const small = cost_of(message(250'000));
        double const large = cost_of(message(1'000'000));
        EXPECT_LT(large, 2 * small + 100) << row[0] << ", " << row[1].substr(0, 30);
    }
}

TEST(Stack, HoldsTheDeepestMessage) {
    struct {
        std::string text;
        int basic, extended;
    } const rows[] = {
        {levels(20'000), 100, 100},
        {repeated("Content-Type: message/rfc822\n\n", 20'000), 100, 100},
        {repeated(with_names("{message}quoted-printable\n\n"), 200), 100, 10},
    };
    for (auto const & row : rows) {
        auto const depth = [&row](MimeINote::Reading reading) {
            std::string shape;
            on_small_stack([&] { shape = shape_of(row.text, reading); });
            return std::count(shape.begin(), shape.end(), '{');
        };
        EXPECT_EQ(depth(MimeINote::Reading_Basic), row.basic) << row.text.substr(0, 80);
        EXPECT_EQ(depth(MimeINote::Reading_Extended), row.extended) << row.text.substr(0, 80);
    }
}

/// What is longer than the pieces that text comes in is told from text all the same.
TEST(Structure, OfLongLinesIsThatOfShortOnes) {
    for (Cells const & row : rows_of("structure_rows.case", "long lines")) {
        for_each_input(
            with_names(row[0]),
            [&](auto & input, std::string const & how) {
                EXPECT_TRUE(Shape(input).run(MimeINote::Reading_Extended) == row[1])
                    << row[0].substr(0, 80) << ", " << how;
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
    for (Cells const & row : rows_of("structure_rows.case", "headers")) {
        std::string headers; // a bar behind each
        for (std::size_t i = 1; i < row.size(); ++i)
            headers += with_names(row[i]) + '|';
        for (bool const is_crlf : {false, true}) {
            std::string const text = is_crlf ? with_crlf(with_names(row[0])) : with_names(row[0]);
            std::istringstream in(text);
            Headers note(in, text);
            note.SetReading(MimeINote::Reading_Extended);
            note.Receive();
            EXPECT_EQ(note.headers, is_crlf ? with_crlf(headers) : headers) << text;
        }
    }
}

/// Fragment 1 may enclose a text without a header, or one that no blank line ends.
TEST(Fragments, KeepTheTextThatTheFirstEncloses) {
    std::string const type = "Content-Type: message/partial; id=a; number=1; total=1\n";
    for (Cells const & row : rows_of("structure_rows.case", "behind the header of fragment 1")) {
        for (std::string const head : {"", "To: a@b\n"}) {
            for (std::string const & text :
                 {head + type + row[0], with_crlf(head + type + row[0])}) {
                StoreDirectory const store;
                std::istringstream in(text);
                Shape note(in);
                note.SetPartialDir(store.prefix().c_str());
                note.shows_defects = false;
                EXPECT_EQ(note.run(MimeINote::Reading_Extended), row[1]) << text;
            }
        }
    }
}

} // namespace
