// tests/conversion_component_test.cpp - the conversion component, as the engine finds it and calls
// it
//
// The samples are those of conversion.case, and of data/charset_samples.txt.
#include "mime/MIMEQXST.hpp"
#include "mime/nls/conversion_binding.hpp"
#include "mime/nls/system_charset.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/conversions.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>

namespace {

using namespace vellum::test;

struct Sample {
    std::string name;
    unsigned long page;
    char direction;
    std::string bytes;
    std::string text;
};

std::vector<Sample> samples() {
    std::vector<Sample> result;
    for (auto const & rows :
         {rows_of("conversion.case", "samples"), rows_of(content_of("data/charset_samples.txt"))}) {
        for (Cells const & cells : rows) {
            std::vector<std::string> const set = split(cells[0], '/');
            unsigned long const page = set.size() == 2 ? std::stoul(set[1]) : 65001;
            result.push_back({set[0], page, cells[1][0], cells[2], cells[3]});
        }
    }
    EXPECT_GT(result.size(), 200U);
    return result;
}

class Component : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(vellum::bind_conversion(), nullptr) << "the component isn't beside the engine";
    }
    void TearDown() override { NLS::PlatformCodePage = page_before_; }

    /// Between a code page and the set of that name. Null if it isn't known.
    static std::unique_ptr<NLS_Translator> open(std::string const & name,
                                                unsigned long page = 65001) {
        NLS::PlatformCodePage = page;
        return std::unique_ptr<NLS_Translator>(
            NLS_qxStr_Factory().New(NLS::FindCharSet(name.c_str())->name, static_cast<int>(page)));
    }

private:
    unsigned long const page_before_ = NLS::PlatformCodePage;
};

TEST_F(Component, reads_and_writes_the_samples) {
    for (Sample const & row : samples()) {
        SCOPED_TRACE(row.name);
        auto const translator = open(row.name, row.page);
        ASSERT_TRUE(translator);
        std::string const read =
            row.direction == '>' ? row.text : translated(*translator, inbound, row.bytes);
        EXPECT_EQ(read, row.text);
        std::string const written =
            row.direction == '<' ? row.bytes : translated(*translator, outbound, row.text);
        EXPECT_EQ(written, row.bytes);
    }
}

// ---- Text in pieces ----

/// In one call, which no text in pieces disturbs.
std::string whole(NLS_Translator & translator, Form form, std::string_view text) {
    auto & bridge = dynamic_cast<NLS_qxStr &>(translator);
    auto * const remote = form == inbound && bridge.plainInbound ? nullptr : bridge.remoteSet;
    Conversion conversion(text);
    EXPECT_EQ(conversion.run(bridge, &NLS_qxStr::CharSet_Translation,
                             form == inbound ? remote : bridge.localSet,
                             form == inbound ? bridge.localSet : remote),
              0);
    return conversion.result();
}

void translate_piece(NLS_Translator & translator, Form form, std::string_view text, bool is_last,
                     oSimpleStream & out) {
    ExactCopy const piece(text);
    iSimpleStream in(piece.begin(), piece.end());
    EXPECT_EQ(form == inbound ? translator.CharSet_to_CodePage_Piece(&in, is_last, &out)
                              : translator.CodePage_to_CharSet_Piece(&in, is_last, &out),
              0);
    EXPECT_FALSE(in.good());
}

/// Cut in each way, and in random pieces, empty ones among them.
void expect_equal_pieces(NLS_Translator & translator, Form form, std::string const & text,
                         std::mt19937 & random) {
    std::string const expected = whole(translator, form, text);
    auto const check = [&](auto const & next_size) {
        oSimpleStream out;
        std::string_view rest = text;
        do {
            std::string_view const piece = rest.substr(0, next_size());
            rest.remove_prefix(piece.size());
            translate_piece(translator, form, piece, rest.empty(), out);
        } while (!rest.empty());
        EXPECT_TRUE(std::string_view(out.str(), out.oBufCnt()) == expected);
    };
    for (std::size_t const most : {8U, 100U, 3000U})
        check([&] { return random() % most; });
    for (Chunking const & chunking : chunkings(text.size() < 1000 ? text.size() : 0)) {
        SCOPED_TRACE(chunking.name());
        std::size_t size = chunking.first;
        check([&] { return std::exchange(size, chunking.rest); });
    }
}

/// Slices of all samples, whatever their set, with some bytes amid them.
std::string mixture(std::vector<Sample> const & rows, std::string Sample::*side,
                    std::mt19937 & random) {
    std::string result;
    while (result.size() < 6000) {
        std::string const & source = rows[random() % rows.size()].*side;
        result += source.substr(random() % (source.size() + 1), 1 + random() % 60);
        if (random() % 4 == 0) result += static_cast<char>(random());
        if (random() % 8 == 0) result += "\x1B~+\x0E\x0F\n\x8F\x8E\x81"[random() % 9];
    }
    return result;
}

TEST_F(Component, translates_pieces_as_the_whole) {
    std::vector<Sample> const rows = samples();
    std::mt19937 random(1);
    for (Sample const & row : rows) {
        for (unsigned long const page : {row.page, 1252UL, 932UL, 936UL, 949UL, 54936UL, 1200UL}) {
            if (page != row.page && random() % 16 != 0) continue;
            SCOPED_TRACE(row.name + " " + std::to_string(page));
            auto const translator = open(row.name, page);
            ASSERT_TRUE(translator->Takes_Pieces(&NLS::UTF_8));
            for (Form const form : {inbound, outbound}) {
                auto const side = form == inbound ? &Sample::bytes : &Sample::text;
                std::string const & own = row.*side;
                for (std::string const & text :
                     {own, own.substr(0, own.size() * 2 / 3), own.substr(!own.empty()),
                      repeated(own, 3), mixture(rows, side, random)})
                    expect_equal_pieces(*translator, form, text, random);
            }
        }
    }
}

TEST_F(Component, forgets_a_text_in_pieces_that_has_no_end) {
    for (char const * const name : {"UTF-16", "ISO-2022-JP", "HZ-GB-2312", "UTF-7", "Big5"}) {
        auto const translator = open(name);
        std::string const bytes = translated(*translator, outbound, "中");
        auto const check = [&](Form form, std::string_view text, std::string_view expected) {
            for (std::size_t size = 0; size < text.size(); ++size) {
                SCOPED_TRACE(name + std::to_string(size));
                oSimpleStream out, again;
                translate_piece(*translator, form, text.substr(0, size), false, out);
                EXPECT_EQ(whole(*translator, inbound, bytes), "中");
                EXPECT_EQ(whole(*translator, outbound, "中"), bytes);
                translate_piece(*translator, form, text.substr(0, size), false, out);
                translator->ReInit(translator->charSetName, 65001);
                translate_piece(*translator, form, text, true, again);
                EXPECT_EQ(std::string_view(again.str(), again.oBufCnt()), expected);
            }
        };
        check(inbound, bytes, "中");
        check(outbound, "中", bytes);
    }
}

TEST_F(Component, joins_characters_that_the_pieces_of_a_text_cut) {
    std::string const text = repeated("é“a", 1700);
    std::string const latin = repeated("\xE9\"a", 1700);
    for (std::size_t const size : {1U, 2U, 3U, 7U, 2048U}) {
        auto const translator = open("ISO-8859-1");
        std::string result;
        for (std::size_t at = 0; at < text.size(); at += size)
            result += translated(*translator, outbound, text.substr(at, size));
        EXPECT_EQ(result, latin) << size;
        EXPECT_EQ(streamed(*translator, outbound_stream, text, size), latin) << size;
    }
    // Nor does the byte order get lost that an earlier piece has told.
    auto const utf_16 = open("Unicode-1-1");
    EXPECT_EQ(translated(*utf_16, inbound, "\xFF\xFE\x2D\x4E"), "中");
    EXPECT_EQ(translated(*utf_16, inbound, "\x2D\x4E"), "中");
    // The rest of a text doesn't go into the next one.
    auto const translator = open("ISO-8859-1");
    EXPECT_EQ(translated(*translator, outbound, "a\xC3"), "a");
    EXPECT_EQ(translator->ReInit(translator->charSetName, 65001), translator.get());
    EXPECT_EQ(translated(*translator, outbound, "\xA9"), "?");
    EXPECT_EQ(streamed(*translator, outbound_stream, "a\xC3", 2), "a?");
}

// ---- Code pages and sets of the system ----

TEST_F(Component, serves_the_code_pages_of_the_registry) {
    Cells const pages = rows_of("conversion.case", "code pages")[0];
    for (std::string const & number : pages) {
        unsigned long const page = std::stoul(number);
        auto const translator = open("UTF-8", page);
        ASSERT_TRUE(translator) << page;
        std::string_view const local("A\0z", page == 1200 ? 2 : 1);
        EXPECT_EQ(translated(*translator, inbound, "A"), local) << page;
    }
    EXPECT_FALSE(open("UTF-8", 5));
    for (char const * const name : {"x-no-such-set", "", "../lib"})
        EXPECT_FALSE(open(name)) << name;

    NLS::PlatformCodePage = 65001;
    NLS_qxStr_Factory factory;
    NLS_Translator * cache = nullptr;
    NLS_Translator * const own = NLS::Create(&NLS::Big5, &cache, &factory);
    NLS_Translator * const other = NLS::Create(&NLS::Big5, &cache, &factory, 950);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(whole(*own, inbound, "\xA4\xA4"), "中");
    EXPECT_EQ(whole(*other, inbound, "\xA4\xA4"), "\xA4\xA4");
    own->Delete();
    EXPECT_EQ(other->next, own) << "it stays in the list";
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, &factory), own);
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, &factory, 950), other);
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, &factory, 5), nullptr);
    delete cache;
}

TEST_F(Component, knows_the_sets_of_the_system) {
    std::mt19937 random(1);
    for (Cells const & row : rows_of("conversion.case", "sets of the system")) {
        SCOPED_TRACE(row[0]);
        NLS_CharSet const * const set = vellum::system_charset(row[0].c_str());
        ASSERT_EQ(set == nullptr, row[1] == "unknown");
        if (set == nullptr) continue;
        EXPECT_EQ(vellum::system_charset(row[0].c_str()), set);
        auto const translator = open(set->name);
        ASSERT_TRUE(translator);
        EXPECT_EQ(whole(*translator, inbound, row[2]), row[3]);
        EXPECT_EQ(whole(*translator, outbound, row[3]), row[2]);
        expect_equal_pieces(*translator, inbound, row[2], random);
    }
    EXPECT_FALSE(open("armscii-8")); // unless it is asked for so
}

// ---- Large texts, threads ----

TEST_F(Component, gives_large_texts_out_as_they_came) {
    auto const translator = open("windows-1251");
    auto & bridge = dynamic_cast<NLS_qxStr &>(*translator);
    auto const translate = &NLS_qxStr::CharSet_Translate;
    auto middle = std::make_unique<Conversion>(std::string(100000, '\xE4'));
    ASSERT_EQ(middle->run(bridge, translate, bridge.remoteSet, bridge.pivotSet), 0);
    Conversion text("\xE4\xE4");
    ASSERT_EQ(bridge.CharSet_Translate(middle->out, middle->length, text.out, text.length,
                                       &text.release, bridge.pivotSet, bridge.localSet),
              0);
    EXPECT_EQ(text.length, 200000U);
    middle.reset();
    EXPECT_EQ(text.out[199998], 0xD0); // still alive
    // As the buffer of another text it isn't taken for what it was.
    ASSERT_EQ(text.run(bridge, translate, bridge.remoteSet, bridge.pivotSet), 0);
    EXPECT_EQ(text.length, 4U);
}

TEST_F(Component, works_in_several_threads) {
    std::vector<Sample> const rows = samples();
    std::vector<std::jthread> threads;
    NLS::PlatformCodePage = 65001;
    vellum::unbind_conversion(); // the first factories meet in the binding, too
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&rows] {
            NLS_qxStr_Factory factory;
            for (Sample const & row : rows) {
                if (row.direction == '>' || row.page != 65001) continue;
                std::unique_ptr<NLS_Translator> const translator(
                    factory.New(NLS::FindCharSet(row.name.c_str())->name, 65001));
                ASSERT_TRUE(translator) << row.name;
                EXPECT_EQ(translated(*translator, inbound, row.bytes), row.text);
            }
        });
    }
}

} // namespace
