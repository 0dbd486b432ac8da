// tests/field_parsers_test.cpp - what a client is told of each header field
#include "mime/foundation/tokens.hpp"
#include "mime/note/incoming_note.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

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

/// What the fields leave in the run for the walk of the body; a name is its token.
TEST(Fields, leave_their_values_in_the_run) {
    auto const token = [](std::string const & name) {
        return name.empty() ? nullptr : static_cast<char const *>(SymToken(name.c_str()));
    };
    for (Cells const & row : rows_of(content_of("run_values.case"))) {
        SCOPED_TRACE(row[0]);
        ExactCopy const copy(row[0] + "\n");
        iSimpleStream input(copy.begin(), copy.end());
        MimeINote note(input);
        MimeReceiver run(&note, &input, nullptr, false, nullptr);
        run.Get_message();
        EXPECT_EQ(run.transfer_encoding, token(row[1]));
        EXPECT_EQ(run.disposition, token(row[2]));
        EXPECT_EQ(run.body_charset, row[3].empty() ? nullptr : NLS::FindCharSet(row[3].c_str()));
        EXPECT_EQ(run.partial_number, std::stoi(row[4]));
        EXPECT_EQ(run.partial_total, std::stoi(row[5]));
    }
}

/// A file name is good until the next field of its kind.
TEST(Fields, file_names_outlive_their_call) {
    struct Names : MimeINote {
        using MimeINote::MimeINote;
        std::vector<char const *> names;
        std::string at_end;
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
