// tests/client_text_test.cpp - what a client gets of text whose set is unknown, missing or wrong
#include "mime/MIMEQXST.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/nls/utf_8.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/files.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;
namespace utf_8 = vellum::utf_8;

constexpr int on_utf_8 = 65001;

/// Keeps the text of fields and bodies, and the defects.
class TextNote : public Transcript {
public:
    using Transcript::Transcript;
    std::string defects;
    std::string dates;

protected:
    void Defect(MimeContext const &, MimeDefect what, long long offset) override {
        if (!defects.empty()) defects += "; ";
        defects += std::to_string(offset) + ' ' + MimeDefectText(what);
    }
    void Set_DateTime(char const * field, char const * body, MimeDateTime const * when) override {
        dates += when == nullptr
                     ? "null"
                     : std::to_string(when->SecondsSince1970()) + ' ' + std::to_string(when->zone);
        MimeINote::Set_DateTime(field, body, when);
    }
};

struct Result {
    std::string data;
    std::string lines;
    std::string defects;
    std::string dates;
};

using SetUp = std::function<void(MimeINote &)>;

template <class Input>
Result read_from(Input & input, MimeINote::Reading reading, SetUp const & set_up) {
    TextNote note(input);
    note.longest_text = 1 << 30;
    std::ostringstream data;
    note.data_sink = &data;
    note.SetReading(reading);
    note.SetCodePage(on_utf_8);
    if (set_up) set_up(note);
    std::string lines = note.run();
    return {data.str(), std::move(lines), note.defects, note.dates};
}

Result read(std::string_view message, MimeINote::Reading reading, SetUp const & set_up = {}) {
    ExactCopy const copy(message);
    iSimpleStream input(copy.begin(), copy.end());
    return read_from(input, reading, set_up);
}

void with_factory(MimeINote & note) { note.SetNLS(new NLS_qxStr_Factory, 1); }

/// The lines of a transcript that hold `text`.
bool has(std::string const & lines, std::string_view text) {
    return lines.find(examples::quoted(text)) != lines.npos;
}

// client_text.case holds the rows. Its letters are those of UTF-8 (\xC3\xA9 is an e with an acute),
// of windows-1252 (\xE9) and windows-1251 (\xEF\xF0\xE8 are three Cyrillic letters).
std::vector<Cells> rows(std::string_view title) { return rows_of("client_text.case", title); }

TEST(Field, of_raw_text_is_utf_8_or_of_the_fallback_set) {
    for (Cells const & row : rows("fields of raw text")) {
        SCOPED_TRACE(examples::quoted(row[0]));
        std::string const message = row[0] + "\n\n";
        Result const extended = read(message, MimeINote::Reading_Extended, [&](MimeINote & note) {
            with_factory(note);
            note.SetFallbackCharSet(row[2].empty() ? nullptr : row[2].c_str());
        });
        EXPECT_TRUE(has(extended.lines, row[1])) << extended.lines;
        EXPECT_EQ(extended.defects, "0 raw 8-bit text in a field");

        // Without a factory, and in basic reading, it stays as it is.
        Result const raw = read(message, MimeINote::Reading_Extended);
        Result const basic = read(message, MimeINote::Reading_Basic);
        std::string lines = raw.lines; // extended reading tells every parameter
        if (std::size_t const at = lines.find("SetParameter"); at != lines.npos) {
            lines.erase(at, lines.find('\n', at) + 1 - at);
        }
        EXPECT_EQ(basic.lines, lines);
        EXPECT_EQ(basic.defects, "0 raw 8-bit text in a field");
    }
}

TEST(Field, of_encoded_text_is_text) {
    for (Cells const & row : rows("fields of encoded text")) {
        Result const result = read(row[0] + "\n\n", MimeINote::Reading_Extended, with_factory);
        EXPECT_TRUE(has(result.lines, row[1])) << result.lines;
        EXPECT_EQ(result.defects, row[2]) << row[0];
        // Without a factory nothing is translated, and nothing is wrong with that.
        EXPECT_EQ(read(row[0] + "\n\n", MimeINote::Reading_Extended).defects, "") << row[0];
    }
}

/// 0x5C, the backslash, ends characters of code pages 932, 936 and 950, as do "@" and "[".
TEST(Field, in_a_two_byte_code_page_keeps_its_characters_whole) {
    for (Cells const & row : rows("fields in two-byte code pages")) {
        SCOPED_TRACE(examples::quoted(row[2]));
        Result const result =
            read(row[2] + "\n\n", MimeINote::Reading_Extended, [&](MimeINote & note) {
                with_factory(note);
                note.SetCodePage(std::stoi(row[0]));
                note.SetFallbackCharSet(row[1].empty() ? nullptr : row[1].c_str());
            });
        for (std::size_t i = 3; i < row.size(); ++i)
            EXPECT_TRUE(has(result.lines, row[i])) << examples::quoted(row[i]) << result.lines;
        EXPECT_EQ(result.defects, "0 raw 8-bit text in a field");
    }
}

std::string header_of(std::string const & type, std::string const & encoding) {
    return (type.empty() ? "" : "Content-Type: " + type + '\n') +
           (encoding.empty() ? "" : "Content-Transfer-Encoding: " + encoding + '\n');
}

/// The usual defects by their letters, without their offset, which is that of the body.
std::string in_letters(std::string defects, std::size_t body_offset) {
    defects = replaced(defects, std::to_string(body_offset) + ' ', "");
    defects = replaced(defects, "bytes that are no text of their character set", "B");
    defects = replaced(defects, "unknown character set", "U");
    return replaced(defects, "character set guessed", "G");
}

TEST(Body, is_delivered_and_told_of_in_both_readings) {
    for (Cells const & row : rows("bodies")) {
        std::string const header = "X: y\n" + header_of(row[0], row[1]) + "\n";
        SCOPED_TRACE(examples::quoted(header + row[2]));
        for (auto const reading : {MimeINote::Reading_Basic, MimeINote::Reading_Extended}) {
            bool const has_own = reading == MimeINote::Reading_Extended && row.size() > 5;
            std::size_t const cell = has_own ? 5 : 3;
            Result const got = read(header + row[2], reading, with_factory);
            EXPECT_EQ(examples::quoted(got.data), examples::quoted(row[cell]));
            EXPECT_EQ(in_letters(got.defects, header.size()), row[cell + 1]);
        }
    }
}

/// The result is that of the whole text, wherever the input is cut.
TEST(Body, of_a_guessed_set_is_cut_anywhere) {
    for (std::string const body :
         {"plain \xC3\xA9 \xE2\x82\xAC\xC3", "plain \xE9\x80 x", "=41=C3\r\n=A9 =E2=82=\r\n=AC"}) {
        std::string const message = "Content-Transfer-Encoding: quoted-printable\r\n\r\n" + body;
        Result const expected = read(message, MimeINote::Reading_Extended, with_factory);
        for_each_input(message, [&](auto & input, std::string const & how) {
            Result const got = read_from(input, MimeINote::Reading_Extended, with_factory);
            EXPECT_EQ(got.lines, expected.lines) << how;
            EXPECT_EQ(got.data, expected.data) << how;
        });
    }
}

TEST(Body, comes_in_the_code_page_of_the_note) {
    for (Cells const & row : rows("code pages")) {
        auto const on_code_page = [&](MimeINote & note) {
            with_factory(note);
            note.SetCodePage(std::stoi(row[0]));
        };
        std::string const message =
            header_of(row[1], "") + "Subject: caf\xC3\xA9 =?utf-8?Q?=C3=A9?=\n\n" + row[2];
        Result const result = read(message, MimeINote::Reading_Extended, on_code_page);
        EXPECT_EQ(result.data, row[3]) << row[0] << row[1];
        EXPECT_EQ(has(result.lines, "caf\xE9 \xE9"), row[0] == "1252") << result.lines;
    }
}

/// The delimiters have the bytes of the message, and not those of the client's code page.
TEST(Boundary, of_8_bit_text_is_found) {
    std::string const message = "Content-Type: multipart/mixed; boundary=\xE9\n\n--\xE9\n\n"
                                "text\n--\xE9--\n";
    Result const result = read(message, MimeINote::Reading_Extended, with_factory);
    EXPECT_EQ(result.data, "text");
    EXPECT_TRUE(has(result.lines, "\xC3\xA9")) << result.lines;
}

TEST(Date, comes_with_its_zone_or_as_null) {
    for (Cells const & row : rows("dates")) {
        SCOPED_TRACE(row[0]);
        std::string const message = "Date: " + row[0] + "\n\n";
        Result const extended = read(message, MimeINote::Reading_Extended);
        EXPECT_EQ(extended.dates, row[1]);
        bool const is_null = row[1] == "null";
        EXPECT_EQ(extended.defects, is_null ? "0 date that can't be read" : "");
        EXPECT_EQ(extended.lines.find(is_null ? "SetProperty \"Date\"" : "Set_Date \"Date\""),
                  extended.lines.find('\n', extended.lines.find("BeginHeader")) + 1);

        bool const is_date_in_basic = !row[2].empty();
        Result const basic = read(message, MimeINote::Reading_Basic);
        EXPECT_EQ(basic.defects, is_date_in_basic ? "" : "0 date that can't be read");
        EXPECT_EQ(basic.lines.find(" now\n") == basic.lines.npos, is_date_in_basic);
        EXPECT_EQ(basic.dates, "");
    }
}

/// The first line of a call that isn't UTF-8 throughout; empty if there is none. A body is looked
/// at if it is text.
std::string line_that_is_no_utf_8(std::string_view message) {
    auto const lines = split(read(message, MimeINote::Reading_Extended,
                                  [](MimeINote & note) {
                                      with_factory(note);
                                      static_cast<TextNote &>(note).data_sink = nullptr;
                                  })
                                 .lines,
                             '\n');
    for (std::size_t i = 0; i < lines.size(); ++i) {
        bool const is_data = lines[i].starts_with("data ");
        if (is_data && lines[i + 1].find(" text/") == std::string::npos) continue;
        if (!utf_8::is_valid(unescaped(lines[i]))) return lines[i];
    }
    return "";
}

/// The message with the 8th bit set in some of its letters.
std::string damaged(std::string message) {
    for (std::size_t at = 3; at < message.size(); at += 7) {
        char & c = message[at];
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c | 0x80);
    }
    return message;
}

/// Whatever the message, all that a client on UTF-8 gets is UTF-8.
TEST(Message, comes_in_utf_8_throughout) {
    std::size_t count = 0;
    for (char const * const directory : {"../examples/mail", "cases"}) {
        for (auto const & file : std::filesystem::directory_iterator(directory)) {
            if (file.path().extension() != ".eml") continue;
            ++count;
            std::string const message = content_of(file.path());
            EXPECT_EQ(line_that_is_no_utf_8(message), "") << file.path();
            EXPECT_EQ(line_that_is_no_utf_8(damaged(message)), "") << file.path();
        }
    }
    EXPECT_GT(count, 20U);
}

} // namespace
