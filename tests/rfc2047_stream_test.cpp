// tests/rfc2047_stream_test.cpp - header texts as plain text, quoted strings and encoded words
#include "mime/send/rfc2047_stream.hpp"

#include "mime/MIMEQXST.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/sender.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/note_script.hpp"
#include "tests/support/translators.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <map>
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

    DescribedNote note;
    MimeSender sender{&note};
    std::unique_ptr<oBufferStream> stream;
};

/// What comes out, which must not depend on the size of the blocks or of the writes.
std::string encode(std::string_view text, std::string_view place, NLS_CharSet & set,
                   NLS_Translator_Factory * factory = nullptr) {
    std::string result;
    for (std::size_t const block_size : {4096, 1, 5}) {
        Desk desk(block_size);
        desk.sender.character_set = &set;
        desk.sender.factories = factory;
        {
            oRFC2047Stream stream(&desk.sender, place == "parameter", place == "phrase");
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

/// rfc2047.case holds rows TEXT | RESULT, in a section for each place, set and translator.
TEST(Rfc2047Stream, PlainTextAndEncodedWords) {
    std::map<std::string, NLS_CharSet *> const sets = {{"ISO-8859-1", &NLS::ISO_8859_1},
                                                       {"UTF-8", &NLS::UTF_8},
                                                       {"csBig5", &NLS::csBig5},
                                                       {"ISO-2022-JP", &NLS::ISO_2022_JP},
                                                       {"US-ASCII", &NLS::US_ASCII},
                                                       {"of-the-code-page", &NLS::ReservedSet},
                                                       {"KOI8-R", NLS::FindCharSet("KOI8-R")}};
    FactoryOf<Doubler> doubler;
    CodePage const unicode(65001);
    NLS_qxStr_Factory component;
    std::map<std::string, NLS_Translator_Factory *> const factories = {{"doubled", &doubler},
                                                                       {"component", &component}};
    for (auto const & [title, text] : sections_of("rfc2047.case")) {
        auto const words = split(title, ' ');
        auto * const factory = words.size() > 2 ? factories.at(words[2]) : nullptr;
        CodePage const page(factory == &component ? 65001 : 949);
        for (Cells const & row : rows_of(text)) {
            EXPECT_EQ(escaped(encode(row[0], words[0], *sets.at(words[1]), factory)),
                      escaped(row[1]))
                << title;
        }
    }
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
