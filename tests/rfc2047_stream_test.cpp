// tests/rfc2047_stream_test.cpp - header texts as plain text, quoted strings and encoded words
#include "mime/send/rfc2047_stream.hpp"

#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/sender.hpp"
#include "tests/support/outgoing_notes.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/translators.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace vellum::test;

/// A sender whose stream goes to the blocks of a note, without the run of a message.
class Desk {
public:
    explicit Desk(std::size_t block_size = 4096) {
        note.block_size = block_size;
        stream = std::make_unique<oBufferStream>(&note);
        sender.stream = stream.get();
    }

    std::string Take() {
        stream->Finish();
        return note.messages.front();
    }

    OutputNote note;
    MimeSender sender{&note};
    std::unique_ptr<oBufferStream> stream;
};

enum class Place { text, phrase, parameter };

/// What comes out, which must not depend on the size of the blocks or of the writes.
std::string encode(std::string_view text, Place place, NLS_CharSet & set = NLS::ISO_8859_1,
                   NLS_Translator_Factory * factory = nullptr) {
    std::string result;
    for (std::size_t const block_size : {4096, 1, 5}) {
        Desk desk(block_size);
        desk.sender.character_set = &set;
        desk.sender.factories = factory;
        {
            oRFC2047Stream stream(&desk.sender, place == Place::parameter, place == Place::phrase);
            std::size_t const step = block_size == 1 ? 1 : text.size() + 1;
            for (std::size_t at = 0; at < text.size(); at += step)
                stream.write(text.substr(at, step));
        }
        std::string const out = desk.Take();
        EXPECT_TRUE(block_size == 4096 || out == result) << text;
        result = out;
    }
    return result;
}

TEST(Rfc2047Stream, PlainTextAndEncodedWords) {
    struct {
        std::string_view text, in_text, in_phrase, in_parameter;
    } const rows[] = {
        {"", "", "", ""},
        {"Hello there", "Hello there", "\"Hello there\"", "\"Hello there\""},
        {"a\tb", "a\tb", "\"a\tb\"", "\"a\tb\""},
        {"say \"hi\" \\", "say \"hi\" \\", "\"say \\\"hi\\\" \\\\\"", "\"say \\\"hi\\\" \\\\\""},
        {"=?x?Q?y?=", "=?x?Q?y?=", "=?x?Q?y?=", "\"=?x?Q?y?=\""},
        {"=?\xE4\n\"x?=", "=?\xE4\n\"x?=", "=?\xE4\n\"x?=", "\"=?\xE4\n\\\"x?=\""},
        {"=?x?Q?=", "=?x?Q?=", "\"=?x?Q?=\"", "\"=?x?Q?=\""}, // too short for a word
        {"=?x?Q?y?= ", "=?x?Q?y?= ", "\"=?x?Q?y?= \"", "\"=?x?Q?y?= \""},
        {"=?x?Q?\xE4?= ", "=?ISO-8859-1?Q?=3D=3Fx=3FQ=3F=E4=3F=3D_?=",
         "=?ISO-8859-1?Q?=3D=3Fx=3FQ=3F=E4=3F=3D_?=",
         "\"=?ISO-8859-1?Q?=3D=3Fx=3FQ=3F=E4=3F=3D_?=\""},
        {"\xE4 b",
         "=?ISO-8859-1?Q?=E4_b?=", "=?ISO-8859-1?Q?=E4_b?=", "\"=?ISO-8859-1?Q?=E4_b?=\""},
        {"a\nb", "=?ISO-8859-1?Q?a=0Ab?=", "=?ISO-8859-1?Q?a=0Ab?=", "\"=?ISO-8859-1?Q?a=0Ab?=\""},
        {"\x7F", "=?ISO-8859-1?Q?=7F?=", "=?ISO-8859-1?Q?=7F?=", "\"=?ISO-8859-1?Q?=7F?=\""},
        {std::string_view("\0", 1),
         "=?ISO-8859-1?Q?=00?=", "=?ISO-8859-1?Q?=00?=", "\"=?ISO-8859-1?Q?=00?=\""},
        {"\xFF_?=\t,\"\\!*+-/@~", "=?ISO-8859-1?Q?=FF=5F=3F=3D=09,\"\\!*+-/@~?=",
         "=?ISO-8859-1?Q?=FF=5F=3F=3D=09=2C=22=5C!*+-/=40=7E?=",
         "\"=?ISO-8859-1?Q?=FF=5F=3F=3D=09,=22=5C!*+-/@~?=\""},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(encode(row.text, Place::text), row.in_text);
        EXPECT_EQ(encode(row.text, Place::phrase), row.in_phrase);
        EXPECT_EQ(encode(row.text, Place::parameter), row.in_parameter);
    }
}

TEST(Rfc2047Stream, TheSetDecidesBetweenQAndB) {
    struct {
        NLS_CharSet & set;
        std::string_view text, expected;
    } const rows[] = {
        {NLS::UTF_8, "\xC3\xA4", "=?UTF-8?B?w6Q=?="},
        {NLS::UTF_8, "\xC3\xA4 b", "=?UTF-8?B?w6QgYg==?="},
        {NLS::csBig5, "\xA4\xA4\xA4", "=?csBig5?B?pKSk?="},
        {NLS::ISO_2022_JP, "\x1B$B0!\x1B(B", "=?ISO-2022-JP?Q?=1B$B0!=1B(B?="},
        {NLS::US_ASCII, "\xE4", "=?US-ASCII?Q?=E4?="},
        {NLS::ReservedSet, "\xB0\xA1", "=?KSC5601?B?sKE=?="}, // the code page's, for headers
    };
    unsigned long const before = std::exchange(NLS::PlatformCodePage, 949);
    for (auto const & row : rows)
        EXPECT_EQ(encode(row.text, Place::text, row.set), row.expected);
    NLS::PlatformCodePage = before;
}

TEST(Rfc2047Stream, ALongTextIsOneWord) {
    std::string const text(100000, 'x');
    EXPECT_TRUE(encode(text + "\xE4", Place::text) == "=?ISO-8859-1?Q?" + text + "=E4?=");
    EXPECT_TRUE(encode(text, Place::phrase) == '"' + text + '"');
}

/// Turns each byte into two, until one that it can't do: "!".
class Doubler : public TextTranslator {
public:
    using TextTranslator::TextTranslator;
    int CodePage_to_CharSet(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & out_size, void (**release)(unsigned char *)) override {
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(out_size, 0U);
        EXPECT_EQ(std::memcmp(in + size, "\0\0", 2), 0);
        return TextTranslator::CodePage_to_CharSet(in, size, out, out_size, release);
    }
    int Translate(std::string_view text, std::string & result) override {
        for (char const c : text.substr(0, text.find('!')))
            result.append(2, c);
        return text.find('!') == text.npos ? 0 : 15;
    }
};

TEST(Rfc2047Stream, TranslatesWhatIsNotPlain) {
    std::pair<std::string, std::string> const rows[] = {
        {"plain!", "plain!"},
        {"\xE4 b", "=?ISO-8859-1?Q?=E4=E4__bb?="},
        {"\xE4!b", "=?ISO-8859-1?Q?=E4=E4?="}, // what it gave before it failed
        {"!\xE4", "=?ISO-8859-1?Q?!=E4?="},    // it gave nothing
        {std::string(3000, '\xE4'), "=?ISO-8859-1?Q?" + repeated("=E4", 6000) + "?="},
    };
    FactoryOf<Doubler> factory;
    for (auto const & [text, expected] : rows)
        EXPECT_EQ(encode(text, Place::text, NLS::ISO_8859_1, &factory), expected);
}

TEST(Rfc2047Stream, WritesOnceAndNotWhileAnExceptionPasses) {
    Desk desk;
    {
        oRFC2047Stream stream(&desk.sender, false, false);
        stream << "once";
        EXPECT_EQ(desk.stream->pcount(), 0);
        stream.Finish();
        stream.Finish();
    }
    try {
        oRFC2047Stream stream(&desk.sender, false, false);
        stream << "never";
        throw std::runtime_error("stop");
    } catch (std::runtime_error const &) {
    }
    EXPECT_EQ(desk.Take(), "once");
}

} // namespace
