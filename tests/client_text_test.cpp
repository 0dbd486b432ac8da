// tests/client_text_test.cpp - what a client gets of text whose set is unknown, missing or wrong
#include "mime/MIMEQXST.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/nls/utf_8.hpp"
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

Result read(std::string_view message, MimeINote::Reading reading, SetUp const & set_up = {}) {
    ExactCopy const copy(message);
    iSimpleStream input(copy.begin(), copy.end());
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

void with_factory(MimeINote & note) { note.SetNLS(new NLS_qxStr_Factory, 1); }

/// The lines of a transcript that hold `text`.
bool has(std::string const & lines, std::string_view text) {
    return lines.find(examples::quoted(text)) != lines.npos;
}

// The letters are those of UTF-8 (\xC3\xA9 is an e with an acute), of windows-1252 (\xE9) and
// windows-1251 (\xEF\xF0\xE8 are three Cyrillic letters).

TEST(Field, of_raw_text_is_utf_8_or_of_the_fallback_set) {
    struct {
        std::string_view field;
        std::string_view value; ///< One that a call has, in extended reading.
        char const * fallback;
    } const rows[] = {
        {"Subject: caf\xC3\xA9", "caf\xC3\xA9", nullptr},
        {"Subject: caf\xE9 \x80", "caf\xC3\xA9 \xE2\x82\xAC", nullptr},
        {"Subject: \xEF\xF0\xE8", "\xD0\xBF\xD1\x80\xD0\xB8", "windows-1251"},
        {"Subject: caf\xE9", "caf\xC3\xA9", "no such set"},
        {"Subject: caf\xE9", "caf\xC3\xA9", "us-ascii"}, // which would be guessed for ever
        {"Subject: \x81", "\xEF\xBF\xBD", nullptr},      // is nothing in windows-1252
        {"Subject: caf\xC3", "caf\xC3\x83", nullptr},
        {"From: Ren\xE9 <r@x>", "Ren\xC3\xA9", nullptr},
        {"To: \"Ren\xE9, X\" <r@x>", "Ren\xC3\xA9, X", nullptr},
        {"From: r\xE9@x", "r\xC3\xA9@x", nullptr},
        {"Content-Disposition: attachment; filename=\"\xE9.txt\"", "\xC3\xA9.txt", nullptr},
        {"Content-Type: text/plain; name=\xE9", "\xC3\xA9", nullptr},
        {"Content-Type: t\xE9xt/plain", "t\xC3\xA9xt", nullptr},
        {"Content-Description: \xE9", "\xC3\xA9", nullptr},
        {"In-Reply-To: \xE9", "\xC3\xA9", nullptr},
        {"Message-Id: <\xE9@x>", "\xC3\xA9@x", nullptr},
        {"X-\xE9: y", "X-\xC3\xA9", nullptr},
        {"Subject: =?utf-8?Q?a=E9=C3?=", "a\xEF\xBF\xBD\xEF\xBF\xBD", nullptr},
        {"Subject: =?us-ascii?Q?caf=E9?=", "caf\xC3\xA9", nullptr},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(examples::quoted(row.field));
        std::string const message = std::string(row.field) + "\n\n";
        Result const extended = read(message, MimeINote::Reading_Extended, [&](MimeINote & note) {
            with_factory(note);
            note.SetFallbackCharSet(row.fallback);
        });
        EXPECT_TRUE(has(extended.lines, row.value)) << extended.lines;
        bool const is_raw = utf_8::ascii_length(row.field) < row.field.size();
        EXPECT_EQ(extended.defects, is_raw ? "0 raw 8-bit text in a field" : "");

        // Without a factory, and in basic reading, it stays as it is.
        Result const raw = read(message, MimeINote::Reading_Extended);
        Result const basic = read(message, MimeINote::Reading_Basic);
        std::string lines = raw.lines; // extended reading tells every parameter
        if (std::size_t const at = lines.find("SetParameter"); at != lines.npos) {
            lines.erase(at, lines.find('\n', at) + 1 - at);
        }
        EXPECT_EQ(basic.lines, lines);
        EXPECT_EQ(basic.defects, extended.defects);
    }
}

/// The escapes of RFC 2231 may hold any bytes.
TEST(Parameter, of_escaped_text_is_text) {
    for (auto const & [value, text] :
         {std::pair{"no-such-set''%E9", "\xC3\xA9"}, std::pair{"''%E9", "\xC3\xA9"},
          std::pair{"utf-8''%E9", "\xEF\xBF\xBD"}}) {
        std::string const message =
            std::string("Content-Type: text/plain; name*=") + value + "\n\n";
        EXPECT_TRUE(has(read(message, MimeINote::Reading_Extended, with_factory).lines, text))
            << value;
    }
}

struct Delivered {
    std::string data;
    std::string defects; ///< Without their offset.
};

Delivered deliver(std::string const & header, std::string const & body, MimeINote::Reading reading,
                  SetUp const & set_up = with_factory) {
    Result const result = read("X: y\n" + header + "\n" + body, reading, set_up);
    std::string defects;
    std::string const offset = std::to_string(header.size() + 6) + ' ';
    for (std::string const & defect : split(result.defects, ';')) {
        std::size_t const at = defect.find(offset);
        if (!defects.empty()) defects += "; ";
        defects += at == defect.npos ? defect : defect.substr(at + offset.size());
    }
    return {result.data, defects};
}

TEST(Body, is_delivered_and_told_of_in_both_readings) {
    std::string const base64 = "Content-Transfer-Encoding: base64\n";
    std::string const qp = "Content-Transfer-Encoding: quoted-printable\n";
    std::string const utf_8_type = "Content-Type: text/plain; charset=utf-8\n";
    std::string const unknown = "Content-Type: text/plain; charset=no-such-set\n";
    std::string const uu_data = "begin 644 x\n#86)C\nend\n";
    std::string const bad_text = "bytes that are no text of their character set";
    std::string const guess = "character set guessed";
    struct {
        std::string header;
        std::string body;
        Delivered basic;
        Delivered extended;
    } const rows[] = {
        // Sets
        {"", "abc", {"abc", ""}, {"abc", ""}},
        {"", "caf\xE9", {"caf\xE9", bad_text}, {"caf\xC3\xA9", guess}},
        {"", "caf\xC3\xA9", {"caf\xC3\xA9", bad_text}, {"caf\xC3\xA9", guess}},
        {"",
         "\xC3\xA9 \xC3",
         {"\xC3\xA9 \xC3", bad_text},
         {"\xC3\xA9 \xEF\xBF\xBD", guess + "; " + bad_text}},
        {"Content-Type: text/html; charset=us-ascii\n" + qp,
         "caf=E9",
         {"caf\xE9", bad_text},
         {"caf\xC3\xA9", guess}},
        {unknown, "abc", {"abc", "unknown character set"}, {"abc", "unknown character set"}},
        {unknown,
         "caf\xE9",
         {"caf\xE9", "unknown character set"},
         {"caf\xC3\xA9", "unknown character set; " + guess}},
        {utf_8_type,
         "\xC3\xA9\xE9.",
         {"\xC3\xA9\xEF\xBF\xBD.", bad_text},
         {"\xC3\xA9\xEF\xBF\xBD.", bad_text}},
        {utf_8_type, "\xEF\xBF\xBD", {"\xEF\xBF\xBD", ""}, {"\xEF\xBF\xBD", ""}},
        {"Content-Type: text/plain; charset=windows-1252\n",
         "\xE9\x81",
         {"\xC3\xA9\xEF\xBF\xBD", bad_text},
         {"\xC3\xA9\xEF\xBF\xBD", bad_text}},
        {"Content-Type: text/plain; charset=x-viscii\n",
         "\xF0",
         {"\xF0", "unknown character set"},
         {"\xC4\x91", ""}},
        {"Content-Type: image/x\n", "\xE9", {"\xE9", ""}, {"\xE9", ""}},
        // Base64
        {base64, "YWJjZA==\n", {"abcd", ""}, {"abcd", ""}},
        {base64,
         "YWJjZGU",
         {"abc", "base64 that isn't complete"},
         {"abcde", "base64 that isn't complete"}},
        {base64, "YW!Jj", {"abc", "bad base64"}, {"abc", "bad base64"}},
        {base64, "YQ==YWJj", {"a", "bad base64"}, {"a", "bad base64"}},
        {base64, "YQ==\nYWJj\n", {"aabc", "bad base64"}, {"aabc", "bad base64"}},
        {"Content-Type: image/x\n" + base64,
         "YWJjZGU",
         {"abc", "base64 that isn't complete"},
         {"abcde", "base64 that isn't complete"}},
        // Quoted-printable
        {qp, "a=\n b=3D", {"a b=", ""}, {"a b=", ""}},
        {qp,
         "a= \nb",
         {"a\xFF"
          "b",
          "bad quoted-printable; " + bad_text},
         {"ab", ""}},
        {qp,
         "x=zz",
         {"x\xFF", "bad quoted-printable; " + bad_text},
         {"x=zz", "bad quoted-printable"}},
        // Uuencode
        {"Content-Transfer-Encoding: x-uuencode\n",
         uu_data,
         {std::string("abc8@\0\0\0", 8), "bad uuencode"},
         {"abc", ""}},
        {"Content-Transfer-Encoding: x-UUE\n",
         uu_data,
         {uu_data, "5 unknown transfer encoding"},
         {"abc", ""}},
        {"Content-Transfer-Encoding: uuencode;\n",
         uu_data,
         {uu_data, "5 unknown transfer encoding"},
         {"abc", ""}},
        {"Content-Transfer-Encoding: base64 (x);\n", "YWJj", {"abc", ""}, {"abc", ""}},
        {"Content-Transfer-Encoding: text\n",
         "=41",
         {"=41", "5 unknown transfer encoding"},
         {"=41", "5 unknown transfer encoding"}},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(examples::quoted(row.header + '|' + row.body));
        for (bool const is_basic : {true, false}) {
            auto const reading = is_basic ? MimeINote::Reading_Basic : MimeINote::Reading_Extended;
            Delivered const & expected = is_basic ? row.basic : row.extended;
            Delivered const got = deliver(row.header, row.body, reading);
            EXPECT_EQ(examples::quoted(got.data), examples::quoted(expected.data)) << is_basic;
            EXPECT_EQ(got.defects, expected.defects) << is_basic;
        }
    }
}

/// The result is that of the whole text, wherever the input is cut.
TEST(Body, of_a_guessed_set_is_cut_anywhere) {
    for (std::string const body :
         {"plain \xC3\xA9 \xE2\x82\xAC\xC3", "plain \xE9\x80 x", "=41=C3\r\n=A9 =E2=82=\r\n=AC"}) {
        std::string const message = "Content-Transfer-Encoding: quoted-printable\r\n\r\n" + body;
        std::string const expected = read(message, MimeINote::Reading_Extended, with_factory).lines;
        for_each_input(message, [&](auto & input, std::string const & how) {
            TextNote note(input);
            std::ostringstream data;
            note.data_sink = &data;
            note.SetReading(MimeINote::Reading_Extended);
            note.SetCodePage(on_utf_8);
            with_factory(note);
            EXPECT_EQ(note.run(), expected) << how;
        });
    }
}

/// Of a long text the set is decided on 64 KB from the first byte beyond US-ASCII on.
TEST(Body, is_decided_on_its_first_64_KB) {
    std::string const ascii = repeated("0123456789abcdef\n", 10'000);
    std::string const text = repeated("0123456789\xC3\xA9\n", 10'000);
    std::string const latin = repeated("0123456789\xE9\n", 10'000);
    struct {
        std::string body;
        std::string expected;
    } const rows[] = {
        {ascii + text, ascii + text},
        {ascii + text + "\xE9 end", ascii + text + "\xEF\xBF\xBD end"},
        {ascii + latin + "\xC3\xA9", ascii + latin_in_utf8(latin + "\xC3\xA9")},
    };
    for (auto const & row : rows) {
        EXPECT_TRUE(deliver("", row.body, MimeINote::Reading_Extended).data == row.expected);
    }
}

TEST(Body, comes_in_the_code_page_of_the_note) {
    struct {
        int code_page;
        char const * header;
        char const * body;
        char const * data;
    } const rows[] = {
        {1252, "Content-Type: text/plain; charset=utf-8\n", "caf\xC3\xA9", "caf\xE9"},
        {1252, "", "caf\xC3\xA9", "caf\xE9"},
        {1252, "", "caf\xE9", "caf\xE9"},
        {1251, "Content-Type: text/plain; charset=koi8-r\n", "\xD0", "\xEF"},
    };
    for (auto const & row : rows) {
        auto const set_up = [&](MimeINote & note) {
            with_factory(note);
            note.SetCodePage(row.code_page);
        };
        EXPECT_EQ(deliver(row.header, row.body, MimeINote::Reading_Extended, set_up).data, row.data)
            << row.code_page << row.header;
    }
    auto const on_1252 = [](MimeINote & note) {
        with_factory(note);
        note.SetCodePage(1252);
    };
    std::string const field = "Subject: caf\xC3\xA9 =?utf-8?Q?=C3=A9?=\n\n";
    EXPECT_TRUE(has(read(field, MimeINote::Reading_Extended, on_1252).lines, "caf\xE9 \xE9"));
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
    struct {
        char const * date;
        char const * extended;
        bool is_date_in_basic;
    } const rows[] = {
        {"Fri, 21 Nov 1997 09:55:06 -0600", "880127706 -360", true},
        {"21 Nov 97 09:55 GMT", "880106100 0", false},
        {"29-Apr-2010 12:00:00 +09:00", "1272510000 540", false},
        {"2010-04-29T12:00:00Z", "1272542400 0", false},
        {"sometime", "null", false},
        {"", "null", false},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(row.date);
        std::string const message = std::string("Date: ") + row.date + "\n\n";
        Result const extended = read(message, MimeINote::Reading_Extended);
        EXPECT_EQ(extended.dates, row.extended);
        bool const is_null = std::string_view(row.extended) == "null";
        EXPECT_EQ(extended.defects, is_null ? "0 date that can't be read" : "");
        EXPECT_EQ(extended.lines.find(is_null ? "SetProperty \"Date\"" : "Set_Date \"Date\""),
                  extended.lines.find("\n", extended.lines.find("BeginHeader")) + 1);

        Result const basic = read(message, MimeINote::Reading_Basic);
        EXPECT_EQ(basic.defects, row.is_date_in_basic ? "" : "0 date that can't be read");
        EXPECT_EQ(basic.lines.find(" now\n") == basic.lines.npos, row.is_date_in_basic);
        EXPECT_EQ(basic.dates, "");
    }
}

/// A line of a transcript with the bytes that it writes as \xNN.
std::string unescaped(std::string_view line) {
    std::string result;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\\' && line[i + 1] == 'x') {
            result += static_cast<char>(std::stoi(std::string(line.substr(i + 2, 2)), nullptr, 16));
            i += 3;
        } else if (line[i] != '\\') {
            result += line[i];
        } else {
            ++i;
        }
    }
    return result;
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
