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
#include <string>
#include <string_view>
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
        Transcript::Set_DateTime(field, body, when);
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
    return lines.find(quoted(text)) != lines.npos;
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
        {"Subject: \x81", "\xEF\xBF\xBD", nullptr}, // is nothing in windows-1252
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
        SCOPED_TRACE(quoted(row.field));
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

} // namespace
