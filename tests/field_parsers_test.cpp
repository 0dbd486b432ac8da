// tests/field_parsers_test.cpp - what a client is told of each header field
#include "mime/foundation/tokens.hpp"
#include "mime/note/incoming_note.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/case_file.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using namespace vellum::test;

/// Of a transcript the lines that concern fields, and of those not the type that stands in for a
/// missing Content-Type.
std::string field_lines(std::vector<std::string> const & lines) {
    std::string result;
    for (std::string const & line : lines) {
        bool const is_structure = line.find(" depth ") != line.npos || line.starts_with("Receive ");
        if (is_structure || line == "Set_Content_Type \"\" \"text\" \"plain\"") continue;
        result.append(line).append(1, '\n');
    }
    return result;
}

/// Writes down what extended reading calls too.
class FieldTranscript : public Transcript {
public:
    using Transcript::Transcript;

protected:
    void SetGroup(char const * field, char const * name) override {
        Put({"SetGroup", quoted(field), quoted(name)});
    }
    void Defect(MimeContext const &, MimeDefect what, long long) override {
        if (what != Defect_HeaderUnfinished) Put({"Defect", MimeDefectText(what)});
    }
};

/// The calls for the header lines, or where inputs differ what the first one gave.
void expect_calls(std::string const & header, MimeINote::Reading reading,
                  std::string const & expected) {
    bool is_right = true;
    for_each_input(
        header,
        [&](auto & input, std::string const & how) {
            if (!is_right) return; // one report a section
            FieldTranscript note(input);
            note.SetHeadersOnly(1);
            note.SetReading(reading);
            note.SetNLS(new TestFactory, 1);
            note.run();
            is_right = field_lines(note.lines()) == expected;
            EXPECT_EQ(field_lines(note.lines()), expected)
                << how << (reading == MimeINote::Reading_Basic ? ", basic" : ", extended");
        },
        20);
}

/// fields.case holds, in a section each, header lines, a blank line, and the calls for them; behind
/// a line "--- extended" the calls of extended reading, where they are others.
TEST(Fields, make_their_calls) {
    std::string const mark = "--- extended\n";
    for (auto & [title, text] : sections_of("fields.case")) {
        SCOPED_TRACE(title);
        text.pop_back(); // the blank line at its end
        std::size_t const calls = text.find("\n\n") + 2;
        std::string const header = text.substr(0, calls);
        std::size_t const others = text.find(mark);
        expect_calls(header, MimeINote::Reading_Basic, text.substr(calls, others - calls));
        expect_calls(header, MimeINote::Reading_Extended,
                     text.substr(others == text.npos ? calls : others + mark.size()));
    }
}

/// What the fields leave in the run for the walk of the body.
TEST(Fields, leave_their_values_in_the_run) {
    struct {
        char const * header;
        char const * transfer_encoding;
        char const * disposition;
        NLS_CharSet * charset;
        int number;
        int total;
    } const rows[] = {
        {"Subject: x\n", nullptr, nullptr, nullptr, 0, 0},
        {"Content-Type: text/plain\nContent-Transfer-Encoding: QUOTED-PRINTABLE\n",
         RFC1521::quoted_printable, nullptr, &NLS::US_ASCII, 0, 0},
        {"Content-Type: text/x; charset=UTF-8\nContent-Disposition: attachment\n", nullptr,
         RFC1806::attachment, &NLS::UTF_8, 0, 0},
        {"Content-Type: image/jpeg; charset=UTF-8\nContent-Disposition: weird; filename=x\n",
         nullptr, RFC1806::attachment, nullptr, 0, 0},
        {"Content-Type: text/x; charset=UTF-8\nContent-Type: image/x\n", nullptr, nullptr, nullptr,
         0, 0},
        // The first reading takes the last number, the second keeps it.
        {"Content-Type: multipart/mixed; boundary=b\n\n--b\n"
         "Content-Type: message/partial; id=a; number=2; number=3; total=x; total=5; id=c\n",
         RFC1521::ASCII_7bit, nullptr, nullptr, 3, 5},
        {"Content-Type: multipart/mixed; boundary=b\n\n--b\n"
         "Content-Type: message/partial; number=99999999999; total=-99999999999\n",
         RFC1521::ASCII_7bit, nullptr, nullptr, INT_MAX, INT_MIN},
    };
    for (auto const & row : rows) {
        ExactCopy const copy(std::string(row.header) + "\n");
        iSimpleStream input(copy.begin(), copy.end());
        MimeINote note(input);
        MimeReceiver run(&note, &input, nullptr, false, nullptr);
        run.Get_message();
        EXPECT_EQ(run.transfer_encoding, row.transfer_encoding) << row.header;
        EXPECT_EQ(run.disposition, row.disposition) << row.header;
        EXPECT_EQ(run.body_charset, row.charset) << row.header;
        EXPECT_EQ(run.partial_number, row.number) << row.header;
        EXPECT_EQ(run.partial_total, row.total) << row.header;
    }
}

/// A file name is good until the next field of its kind.
TEST(Fields, file_names_outlive_their_call) {
    class Names : public MimeINote {
    public:
        using MimeINote::MimeINote;
        std::vector<char const *> names;
        std::string at_end;

    protected:
        void SetFileName(char const *, char const * name) override { names.push_back(name); }
        void EndPart(MimeContext &) override {
            for (char const * name : names)
                at_end.append(name).append(1, ' ');
        }
    };
    ExactCopy const copy("Content-Type: a/b; name=one\nContent-Disposition: c; filename=\"two\"\n"
                         "Content-Description: <three>\nSubject: x\n\n");
    iSimpleStream input(copy.begin(), copy.end());
    Names note(input);
    note.Receive();
    EXPECT_EQ(note.at_end, "one two three ");
}

} // namespace
