// tests/rfc2047_stream_test.cpp - header texts as plain text, quoted strings and encoded words
#include "mime/send/rfc2047_stream.hpp"

#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/sender.hpp"
#include "tests/support/outgoing_notes.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// What comes out, which must not depend on the size of the blocks or of the writes.
std::string encode(std::string_view text, bool quoted, bool phrase,
                   NLS_CharSet & set = NLS::ISO_8859_1,
                   NLS_Translator_Factory * factory = nullptr) {
    std::string result;
    for (std::size_t const block_size : {4096, 1, 5}) {
        Desk desk(block_size);
        desk.sender.character_set = &set;
        desk.sender.factories = factory;
        {
            oRFC2047Stream stream(&desk.sender, quoted, phrase);
            if (block_size == 1) {
                for (char c : text)
                    stream << c;
            } else {
                stream.write(text);
            }
        }
        std::string const out = desk.Take();
        EXPECT_TRUE(block_size == 4096 || out == result) << text;
        result = out;
    }
    return result;
}

enum class Place { text, phrase, parameter };

std::string encode(std::string_view text, Place place, NLS_CharSet & set = NLS::ISO_8859_1) {
    return encode(text, place == Place::parameter, place == Place::phrase, set);
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
    };
    for (auto const & row : rows)
        EXPECT_EQ(encode(row.text, Place::text, row.set), row.expected);
}

TEST(Rfc2047Stream, WithoutASetTheCodePageDecides) {
    unsigned long const before = NLS::PlatformCodePage;
    NLS::PlatformCodePage = 949; // the one set that is another one for headers
    EXPECT_EQ(encode("\xB0\xA1", Place::text, NLS::ReservedSet), "=?KSC5601?B?sKE=?=");
    NLS::PlatformCodePage = before;
}

TEST(Rfc2047Stream, ALongTextIsOneWord) {
    std::string const text = std::string(100000, 'x') + "\xE4";
    EXPECT_TRUE(encode(text, Place::text) ==
                "=?ISO-8859-1?Q?" + std::string(100000, 'x') + "=E4?=");
    EXPECT_TRUE(encode(std::string(5000, 'x'), Place::phrase) ==
                '"' + std::string(5000, 'x') + '"');
}

// translation ----------------------------------------------------------------------

/// Turns each byte into two, until one that it can't do: "!".
class Doubler : public NLS_Translator {
public:
    explicit Doubler(char const * set) { charSetName = set; }
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return no_restriction;
    }
    int CodePage_to_CharSet(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & out_size, void (**release)(unsigned char *)) override {
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(out_size, 0U);
        EXPECT_EQ(std::memcmp(in + size, "\0\0", 2), 0);
        *release = FreeMem_Cpp;
        out = static_cast<unsigned char *>(::operator new(2 * size));
        for (out_size = 0; out_size < 2 * size; ++out_size) {
            out[out_size] = in[out_size / 2];
            if (out[out_size] == '!') return 15;
        }
        return 0;
    }
    int CodePage_to_CharSet(iSimpleStream *, oSimpleStream *) override { return 1; }
    int CharSet_to_CodePage(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }
    int CharSet_to_CodePage(iSimpleStream *, oSimpleStream *) override { return 1; }
};

class DoublerFactory : public NLS_Translator_Factory {
public:
    NLS_Translator * New(char const * set, int) override { return new Doubler(set); }
};

TEST(Rfc2047Stream, TranslatesWhatIsNotPlain) {
    DoublerFactory factory;
    struct {
        std::string_view text, expected;
    } const rows[] = {
        {"plain!", "plain!"},
        {"\xE4 b", "=?ISO-8859-1?Q?=E4=E4__bb?="},
        {"\xE4!b", "=?ISO-8859-1?Q?=E4=E4?="}, // what it gave before it failed
        {"!\xE4", "=?ISO-8859-1?Q?!=E4?="},    // it gave nothing
    };
    for (auto const & row : rows) {
        EXPECT_EQ(encode(row.text, false, false, NLS::ISO_8859_1, &factory), row.expected);
    }
    std::string const long_text(3000, '\xE4');
    EXPECT_EQ(encode(long_text, false, false, NLS::ISO_8859_1, &factory).size(),
              std::strlen("=?ISO-8859-1?Q?"
                          "?=") +
                  2 * 3 * long_text.size());
}

// the end of its life --------------------------------------------------------------

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
