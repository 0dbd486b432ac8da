// tests/conversion_component_test.cpp - the conversion component, as the engine finds it and calls
// it
//
// The samples come from data/charset_samples.txt; data/make_charset_samples.py tells their form.
#include "mime/MIMEQXST.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/conversion_binding.hpp"
#include "mime/nls/system_charset.hpp"
#include "mime/note/incoming_note.hpp"
#include "tests/support/chunked.hpp"

#include <algorithm>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using vellum::test::ExactCopy;

constexpr unsigned long utf_8_page = 65001;

unsigned char * bytes(ExactCopy const & text) {
    return reinterpret_cast<unsigned char *>(text.begin());
}

/// A buffer form of the translator's.
using Translation = int (NLS_Translator::*)(unsigned char *, unsigned long, unsigned char *&,
                                            unsigned long &, void (**)(unsigned char *));

std::string translated(NLS_Translator & translator, Translation form, std::string_view text) {
    ExactCopy const in(text);
    unsigned char * out = nullptr;
    unsigned long length = 0;
    void (*release)(unsigned char *) = nullptr;
    EXPECT_EQ((translator.*form)(bytes(in), in.size(), out, length, &release), 0);
    std::string const result(reinterpret_cast<char const *>(out), length);
    if (release != nullptr) release(out);
    return result;
}

class Component : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(vellum::bind_conversion(), nullptr) << "the component isn't beside the engine";
    }
    void TearDown() override { NLS::PlatformCodePage = page_before_; }

    /// Between UTF-8, or another code page, and the set of that name. Null if it isn't known.
    static std::unique_ptr<NLS_Translator> open(char const * name,
                                                unsigned long code_page = utf_8_page) {
        NLS::PlatformCodePage = code_page;
        NLS_qxStr_Factory factory;
        return std::unique_ptr<NLS_Translator>(
            factory.New(NLS::FindCharSet(name)->name, static_cast<int>(code_page)));
    }

    static std::string read(char const * name, std::string_view text) {
        auto const translator = open(name);
        return translator ? translated(*translator, &NLS_Translator::CharSet_to_CodePage, text)
                          : "(unknown set)";
    }

    static std::string written(char const * name, std::string_view text) {
        auto const translator = open(name);
        return translator ? translated(*translator, &NLS_Translator::CodePage_to_CharSet, text)
                          : "(unknown set)";
    }

private:
    unsigned long const page_before_ = NLS::PlatformCodePage;
};

// ---- What the sets are ----

struct Sample {
    std::string name;
    char direction;
    std::string bytes;
    std::string text;
};

std::string from_hex(std::string const & digits) {
    std::string data;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        data += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return data;
}

std::string unescaped(std::string const & text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            result += text[i];
        } else {
            result += from_hex(text.substr(i + 2, 2));
            i += 3;
        }
    }
    return result;
}

std::vector<Sample> samples() {
    std::vector<Sample> result;
    std::ifstream file("data/charset_samples.txt");
    for (std::string name, direction, data, text;
         std::getline(file, name, '\t') && std::getline(file, direction, '\t') &&
         std::getline(file, data, '\t') && std::getline(file, text);) {
        result.push_back({name, direction[0], from_hex(data), unescaped(text)});
    }
    return result;
}

TEST_F(Component, reads_and_writes_the_samples) {
    std::vector<Sample> const rows = samples();
    ASSERT_GT(rows.size(), 150U);
    for (Sample const & row : rows) {
        if (row.direction != '>') {
            EXPECT_EQ(read(row.name.c_str(), row.bytes), row.text) << row.name;
        }
        if (row.direction != '<') {
            EXPECT_EQ(written(row.name.c_str(), row.text), row.bytes) << row.name;
        }
    }
}

TEST_F(Component, puts_one_replacement_for_each_bad_sequence) {
    struct {
        char const * name;
        std::string_view bytes;
        char const * text; // '*' for a replacement character
    } const rows[] = {
        {"UTF-8",
         "a\xFF\xFF"
         "b",
         "a**b"},
        {"UTF-8",
         "\xE2\x82"
         "c\xF0\x80\x80"
         "d\xE2\x82",
         "*c***d*"},
        {"UTF-8", "\xED\xA0\x80\xC0\xAF\xF4\x90\x80\x80", "*********"},
        {"windows-1251",
         "\x98"
         "a",
         "*a"},
        {"Big5", "\xFF\x80 \xA1 \xA1\xFF\xC7", "** * ***"},
        {"GB2312",
         "\xFE\xFE"
         "a\xB0"
         "1\xFF\xB0",
         "\xEE\x93\x85"
         "a*1**"}, // private use
        {"GB18030", "\x81\x30 \x81\x30\x81 \xE3\x32\x9A\x36.\x84\x31\xA4\x37", "*0 *0* *.*"},
        {"EUC-KR", "\xFE\xFE\xC9<\xB0\xA1", "**<\xEA\xB0\x80"},
        {"EUC-JP", "\x80\xA4 \x8F\xA1.\x8F\xA1\xA1.\x8E", "** *.*.*"},
        {"EUC-TW", "\x8E\xA2\xFE\xFE.\x8E\xA1", "*.*"},
        {"Shift_JIS", "\x81\xFF\xA0\x85\x40\x85\x9F", "****@*"},
        {"ISO-2022-JP", "\x1B$B0!\x7F)!0\x1B(B.\x1B$(D\"/\"", "\xE4\xBA\x9C\x7F**.\xCB\x98*"},
        {"ISO-2022-KR",
         "\x0E"
         "0!~~0\x0F.",
         "\xEA\xB0\x80**."},
        {"ISO-2022-CN", "\x1B$)A\x0EVP~~\x0F.\xE9", "\xE4\xB8\xAD*.*"},
        {"ISO-2022-CN", "\x1B$)A\x0EVP\x1B$)GD!\x1B$)AVP\x0F.",
         "\xE4\xB8\xAD\xE4\xB8\x80\xE4\xB8\xAD."},
        {"HZ-GB-2312", "~{VP~ V\n~{~}.\x80\xFF", "\xE4\xB8\xAD* *\n.\xE2\x82\xAC*"},
        {"UTF-7", "a\xE9+ZeU-~\\", "a*\xE6\x97\xA5~\\"},
        // Half a pair alone, in front of another character, and twice; bits that are no unit.
        {"UTF-7", "a+2AA-b+3AA-c+2AAAYQ-d+2ADYAA.", "a*b*c*ad**."},
        {"UTF-7", "+AGF- +AGEA- +AGEA+- + +-+", "a* a* a* + ++"},
        {"ISO-2022-JP", "\x1B$(AVP\x1B(B.\x1BN!", "\xE4\xB8\xAD.\x1BN!"},
        {"UTF-16BE", std::string_view("\xD8\x00\xD8\x3D\xDE\x00\xDC\x00\x00", 9),
         "*\xF0\x9F\x98\x80**"},
        {"UTF-32BE", std::string_view("\0\x11\0\0\0\0\xD8\0\0\0\0aa", 13), "**a*"},
    };
    for (auto const & row : rows) {
        std::string expected;
        for (char const * c = row.text; *c != '\0'; ++c) {
            expected += *c == '*' ? std::string("\xEF\xBF\xBD") : std::string(1, *c);
        }
        EXPECT_EQ(read(row.name, row.bytes), expected) << row.name;
    }
    EXPECT_EQ(written("ISO-8859-1", "a\xFF\xE2\x82z"), "a??z");
    EXPECT_EQ(written("ISO-2022-JP-2", "a\xFF"
                                       "b"),
              "a?b");
    EXPECT_EQ(written("UTF-16BE", "\xFF"), "\xFF\xFD");
}

TEST_F(Component, writes_no_control_character_that_would_shift) {
    for (char const * const name : {"ISO-2022-JP", "ISO-2022-JP-2", "ISO-2022-KR", "ISO-2022-CN"}) {
        // U+008A is a line end behind a single shift.
        EXPECT_EQ(written(name, "a\x1B$B\x0E\x0F\t\xC2\x8A\xC2"), "a?$B??\t??") << name;
    }
    EXPECT_EQ(written("EUC-JP", "\xC2\x8A"), "?"); // no text there, nor would it be read
    EXPECT_EQ(written("GB18030", "\xC2\x8A"), "\x81\x30\x82\x30");
}

TEST_F(Component, ends_in_its_first_shift_state) {
    for (char const * const name :
         {"ISO-2022-JP", "ISO-2022-JP-2", "ISO-2022-KR", "ISO-2022-CN", "HZ-GB-2312", "UTF-7"}) {
        std::string const text = "A\xE4\xB8\xAD";
        std::string const once = written(name, text);
        EXPECT_EQ(read(name, once + once), text + text) << name;
        EXPECT_EQ(read(name, once + "A"), text + "A") << name;
    }
    // The second and the third have a single shift each.
    std::string const text = "\xE4\xB8\xAD\xE8\xAC\x98\xE8\xAC\x98\xE4\xB8\xAD";
    EXPECT_EQ(read("ISO-2022-CN", written("ISO-2022-CN", text)), text);
}

TEST_F(Component, keeps_zero_bytes) {
    std::string const text("\0a\0\0", 4);
    EXPECT_EQ(read("ISO-8859-1", text), text);
    EXPECT_EQ(written("GB2312", text), text);
    EXPECT_EQ(read("UTF-16LE", std::string_view("\0\0a\0\0\0\0\0", 8)), text);
    EXPECT_EQ(written("UTF-16LE", text), std::string_view("\0\0a\0\0\0\0\0", 8));
    EXPECT_EQ(written("UTF-32BE", std::string_view("\0", 1)), std::string_view("\0\0\0\0", 4));
    EXPECT_EQ(read("Big5", ""), "");
}

TEST_F(Component, knows_a_byte_order_that_was_told_in_an_earlier_piece) {
    auto const translator = open("Unicode-1-1");
    ASSERT_TRUE(translator);
    auto const piece = [&](std::string_view text) {
        return translated(*translator, &NLS_Translator::CharSet_to_CodePage, text);
    };
    EXPECT_EQ(piece("\xFF\xFE\x2D\x4E"), "\xE4\xB8\xAD");
    EXPECT_EQ(piece("\x2D\x4E"), "\xE4\xB8\xAD");
}

// ---- Text in pieces ----

enum Direction { inbound, outbound };

/// The size of the next piece of a text that has `left` bytes left.
using Cut = std::function<std::size_t(std::size_t left)>;

std::string in_pieces(NLS_Translator & translator, Direction direction, std::string_view text,
                      Cut const & cut) {
    oSimpleStream out;
    do {
        ExactCopy const piece(text.substr(0, cut(text.size())));
        text.remove_prefix(piece.size());
        iSimpleStream in(piece.begin(), static_cast<int>(piece.size()));
        int const failure = direction == inbound
                                ? translator.CharSet_to_CodePage_Piece(&in, text.empty(), &out)
                                : translator.CodePage_to_CharSet_Piece(&in, text.empty(), &out);
        EXPECT_EQ(failure, 0);
        EXPECT_FALSE(in.good());
    } while (!text.empty());
    return {out.str(), out.oBufCnt()};
}

/// In one call.
std::string whole(NLS_Translator & translator, Direction direction, std::string_view text) {
    auto & bridge = dynamic_cast<NLS_qxStr &>(translator);
    NLS_qxStr_CharSet * const remote = bridge.plainInbound ? nullptr : bridge.remoteSet;
    ExactCopy const in(text);
    unsigned char * out = nullptr;
    unsigned long length = 0;
    void (*release)(unsigned char *) = nullptr;
    int const failure =
        direction == inbound
            ? bridge.CharSet_Translation(bytes(in), in.size(), out, length, &release, remote,
                                         bridge.localSet)
            : bridge.CharSet_Translation(bytes(in), in.size(), out, length, &release,
                                         bridge.localSet, bridge.remoteSet);
    EXPECT_EQ(failure, 0);
    std::string const result(reinterpret_cast<char const *>(out), length);
    if (release != nullptr) release(out);
    return result;
}

/// Cuts `text` in two at every place, and in pieces of each of a few sizes.
void expect_equal_pieces(NLS_Translator & translator, Direction direction, std::string_view text) {
    std::string const expected = whole(translator, direction, text);
    for (std::size_t at = 0; at <= text.size(); ++at) {
        bool is_first = true;
        Cut const in_two = [&](std::size_t left) {
            return std::exchange(is_first, false) ? at : left;
        };
        ASSERT_EQ(in_pieces(translator, direction, text, in_two), expected) << at;
    }
    for (std::size_t const size : {1U, 2U, 3U, 5U}) {
        Cut const fixed = [&](std::size_t) { return size; };
        ASSERT_EQ(in_pieces(translator, direction, text, fixed), expected) << size;
    }
}

TEST_F(Component, translates_pieces_as_the_whole) {
    for (Sample const & row : samples()) {
        SCOPED_TRACE(row.name);
        auto const translator = open(row.name.c_str());
        ASSERT_TRUE(translator->Takes_Pieces(&NLS::UTF_8));
        // What is cut off at its end, and what is cut off at its beginning.
        for (std::size_t const part : {0U, 1U, 2U}) {
            std::string_view bytes = row.bytes;
            std::string_view text = row.text;
            if (part == 1) bytes.remove_suffix(bytes.size() / 3 + 1), text.remove_suffix(1);
            if (part == 2) bytes.remove_prefix(1), text.remove_prefix(1);
            expect_equal_pieces(*translator, inbound, bytes);
            expect_equal_pieces(*translator, outbound, text);
        }
    }
}

/// Slices of all samples, whatever their set, with some bytes amid them.
std::string mixture(std::vector<Sample> const & rows, bool of_text, std::mt19937 & random) {
    std::string result;
    auto const below = [&](std::size_t limit) {
        return random() % std::max<std::size_t>(limit, 1);
    };
    while (result.size() < 6000) {
        Sample const & row = rows[below(rows.size())];
        std::string const & source = of_text ? row.text : row.bytes;
        result += source.substr(below(source.size()), 1 + below(60));
        if (below(4) == 0) result += static_cast<char>(random());
        if (below(8) == 0) result += "\x1B~+\x0E\x0F\n\x8F\x8E\x81"[below(9)];
    }
    return result;
}

TEST_F(Component, translates_pieces_of_long_and_broken_text_as_the_whole) {
    std::vector<Sample> const rows = samples();
    std::mt19937 random(1);
    std::set<std::string> names;
    for (Sample const & row : rows) {
        names.insert(row.name);
    }
    for (unsigned long const page : {65001UL, 1252UL, 932UL, 936UL, 949UL, 54936UL, 1200UL}) {
        for (std::string const & name : names) {
            if (page != utf_8_page && random() % 8 != 0) continue;
            SCOPED_TRACE(name + " " + std::to_string(page));
            auto const translator = open(name.c_str(), page);
            std::string own;
            for (Sample const & row : rows) {
                if (row.name == name) own += row.bytes;
            }
            for (std::string const & text : {mixture(rows, false, random), own + own + own}) {
                for (std::size_t const most : {8U, 3000U}) {
                    Cut const cut = [&](std::size_t) { return random() % most; };
                    for (Direction const direction : {inbound, outbound}) {
                        std::string const expected = whole(*translator, direction, text);
                        EXPECT_TRUE(in_pieces(*translator, direction, text, cut) == expected);
                    }
                }
            }
            std::string const text = mixture(rows, true, random);
            Cut const cut = [&](std::size_t) { return random() % 100; };
            EXPECT_TRUE(in_pieces(*translator, outbound, text, cut) ==
                        whole(*translator, outbound, text));
        }
    }
}

TEST_F(Component, forgets_a_text_in_pieces_that_has_no_end) {
    for (char const * const name : {"UTF-16", "ISO-2022-JP", "HZ-GB-2312", "UTF-7", "Big5"}) {
        auto const translator = open(name);
        std::string const bytes = written(name, "\xE4\xB8\xAD");
        for (bool const is_reinit : {true, false}) {
            for (std::size_t size = 0; size < bytes.size(); ++size) {
                ExactCopy const piece(bytes.substr(0, size));
                oSimpleStream out;
                iSimpleStream in(piece.begin(), static_cast<int>(size));
                translator->CharSet_to_CodePage_Piece(&in, false, &out);
                iSimpleStream text(const_cast<char *>("\xE4\xB8\xAD"), 2);
                translator->CodePage_to_CharSet_Piece(&text, false, &out);
                if (is_reinit) translator->ReInit(translator->charSetName, 65001);
                EXPECT_EQ(whole(*translator, inbound, bytes), "\xE4\xB8\xAD") << name << size;
                EXPECT_EQ(whole(*translator, outbound, "\xE4\xB8\xAD"), bytes) << name << size;
            }
        }
    }
}

// ---- The platform's code page ----

TEST_F(Component, serves_the_code_pages_of_the_registry) {
    for (unsigned long const page :
         {437,  819, 850,  860,  863,  865,   1252,  852,   1250,  1257,  1251,  1256, 1253,
          1255, 857, 1254, 932,  942,  934,   944,   949,   936,   946,   1381,  938,  948,
          950,  874, 1200, 1258, 1361, 20866, 21866, 28605, 51932, 51950, 54936, 65001}) {
        auto const translator = open("UTF-8", page);
        ASSERT_TRUE(translator) << page;
        char const * const own = page == 1200 ? "UTF-16LE" : nullptr;
        std::string const local = own != nullptr ? written(own, "Az") : "Az";
        EXPECT_EQ(translated(*translator, &NLS_Translator::CharSet_to_CodePage, "Az"), local)
            << page;
    }
    EXPECT_FALSE(open("UTF-8", 5));
    EXPECT_FALSE(open("x-no-such-set"));
    EXPECT_FALSE(open(""));
    EXPECT_FALSE(open("../lib"));

    auto const cyrillic = open("KOI8-R", 1251);
    EXPECT_EQ(translated(*cyrillic, &NLS_Translator::CharSet_to_CodePage, "\xC4\xC1\x80"),
              "\xE4\xE0-");
    auto const japanese = open("ISO-2022-JP", 932);
    EXPECT_EQ(translated(*japanese, &NLS_Translator::CodePage_to_CharSet, "\x82\xA0\\"),
              "\x1B$B$\"\x1B(B\\");
}

TEST_F(Component, lets_us_ascii_pass_to_pages_that_contain_it) {
    auto const plain = open("US-ASCII");
    EXPECT_EQ(translated(*plain, &NLS_Translator::CharSet_to_CodePage, "\xE9\xFF"), "\xE9\xFF");
    EXPECT_EQ(translated(*plain, &NLS_Translator::CodePage_to_CharSet, "\xC3\xA9"), "e");
    auto const read_as_1252 = open("US-ASCII", 54936);
    EXPECT_EQ(translated(*read_as_1252, &NLS_Translator::CharSet_to_CodePage, "\x80\x93"),
              "\xA2\xE3\xA1\xB0");
}

TEST_F(Component, joins_characters_that_the_pieces_of_a_text_cut) {
    std::string text;
    std::string latin;
    for (int i = 0; i < 5000; ++i) {
        text += i % 3 == 0 ? "\xC3\xA9" : i % 3 == 1 ? "\xE2\x80\x9C" : "a";
        latin += i % 3 == 0 ? "\xE9" : i % 3 == 1 ? "\"" : "a";
    }
    for (std::size_t const size : {1U, 2U, 3U, 7U, 2048U}) {
        auto const translator = open("ISO-8859-1");
        std::string result;
        for (std::size_t at = 0; at < text.size(); at += size) {
            result += translated(*translator, &NLS_Translator::CodePage_to_CharSet,
                                 std::string_view(text).substr(at, size));
        }
        EXPECT_EQ(result, latin) << size;

        vellum::test::ChunkedSimpleStream in(text, {size, size});
        oSimpleStream out;
        EXPECT_EQ(translator->CodePage_to_CharSet(&in, &out), 0);
        EXPECT_EQ(std::string_view(out.str(), out.oBufCnt()), latin) << size;
    }
    // The rest of a text doesn't go into the next one.
    auto const translator = open("ISO-8859-1");
    EXPECT_EQ(translated(*translator, &NLS_Translator::CodePage_to_CharSet, "a\xC3"), "a");
    EXPECT_EQ(translator->ReInit(translator->charSetName, 65001), translator.get());
    EXPECT_EQ(translated(*translator, &NLS_Translator::CodePage_to_CharSet, "\xA9"), "?");
    iSimpleStream in(const_cast<char *>("a\xC3"), 2);
    oSimpleStream out;
    translator->CodePage_to_CharSet(&in, &out);
    EXPECT_EQ(std::string_view(out.str(), out.oBufCnt()), "a?");
}

TEST_F(Component, knows_the_sets_of_the_system) {
    ASSERT_TRUE(open("UTF-8"));
    struct {
        char const * name;
        std::string_view bytes;
        char const * text; // null for an unknown set
    } const rows[] = {
        {"armscii-8", "\xB2", "\xD4\xB1"},
        {"x-viscii", "\xD5", "\xE1\xBA\xA1"},
        {"X-Mac-Cyrillic", "\x80", "\xD0\x90"},
        {"EUC-JISX0213", "\xA4\xAB\xA4\xF7", "\xE3\x81\x8B\xE3\x81\x8B\xE3\x82\x9A"},
        {"IBM037", "\xC1", "A"},
        {"no-such-set", "", nullptr},
        {"x-", "", nullptr},
        {"UTF-8//TRANSLIT", "", nullptr},
        {"../UTF-8", "", nullptr},
        {"a-name-of-a-character-set-that-is-much-too-long-for-it", "", nullptr},
    };
    for (auto const & row : rows) {
        NLS_CharSet const * const set = vellum::system_charset(row.name);
        ASSERT_EQ(set != nullptr, row.text != nullptr) << row.name;
        if (set == nullptr) continue;
        EXPECT_EQ(vellum::system_charset(row.name), set);
        auto const translator = open(set->name);
        ASSERT_TRUE(translator) << row.name;
        EXPECT_EQ(whole(*translator, inbound, row.bytes), row.text) << row.name;
        EXPECT_EQ(whole(*translator, outbound, row.text), row.bytes) << row.name;
        expect_equal_pieces(*translator, inbound, row.bytes);
    }
    EXPECT_FALSE(open("armscii-8")); // unless it is asked for so
}

TEST_F(Component, serves_a_code_page_that_is_not_the_platforms) {
    NLS::PlatformCodePage = utf_8_page;
    NLS_qxStr_Factory factory;
    NLS_Translator * cache = nullptr;
    NLS_Translator * const own = NLS::Create(&NLS::Big5, &cache, &factory);
    NLS_Translator * const other = NLS::Create(&NLS::Big5, &cache, &factory, 950);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(whole(*own, inbound, "\xA4\xA4"), "\xE4\xB8\xAD");
    EXPECT_EQ(whole(*other, inbound, "\xA4\xA4"), "\xA4\xA4");
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, &factory), own);
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, &factory, 950), other);
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, &factory, 5), nullptr);
    delete cache;
}

// ---- Large texts, threads, messages ----

TEST_F(Component, gives_large_texts_out_as_they_came) {
    auto const translator = open("windows-1251");
    auto & bridge = dynamic_cast<NLS_qxStr &>(*translator);
    std::string const text(100000, '\xE4');
    ExactCopy const in(text);
    unsigned char * middle = nullptr;
    unsigned long middle_length = 0;
    void (*free_middle)(unsigned char *) = nullptr;
    ASSERT_EQ(bridge.CharSet_Translate(bytes(in), in.size(), middle, middle_length, &free_middle,
                                       bridge.remoteSet, bridge.pivotSet),
              0);
    unsigned char * out = nullptr;
    unsigned long length = 0;
    void (*free_out)(unsigned char *) = nullptr;
    ASSERT_EQ(bridge.CharSet_Translate(middle, middle_length, out, length, &free_out,
                                       bridge.pivotSet, bridge.localSet),
              0);
    EXPECT_EQ(length, 200000U);
    free_middle(middle);
    EXPECT_EQ(out[199998], 0xD0); // still alive
    // As the buffer of another text it isn't taken for what it was.
    unsigned long const capacity = length;
    ASSERT_EQ(bridge.CharSet_Translate(bytes(in), 10, out, length, &free_out, bridge.remoteSet,
                                       bridge.pivotSet),
              0);
    EXPECT_EQ(length, 20U);
    EXPECT_GE(capacity, length);
    free_out(out);
}

TEST_F(Component, works_in_several_threads) {
    std::vector<Sample> const rows = samples();
    std::vector<std::thread> threads;
    NLS::PlatformCodePage = utf_8_page;
    vellum::unbind_conversion(); // the first factories meet in the binding, too
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&rows] {
            NLS_qxStr_Factory factory;
            for (Sample const & row : rows) {
                if (row.direction == '>') continue;
                std::unique_ptr<NLS_Translator> const translator(
                    factory.New(NLS::FindCharSet(row.name.c_str())->name, 65001));
                ASSERT_TRUE(translator) << row.name;
                EXPECT_EQ(translated(*translator, &NLS_Translator::CharSet_to_CodePage, row.bytes),
                          row.text);
            }
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
}

class Reader : public MimeINote {
public:
    explicit Reader(std::istream & in) : MimeINote(in) { SetNLS(new NLS_qxStr_Factory, 0); }

    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override { *data = &body; }
    void Set_Subject(char const * text) override { subject = text; }

    std::ostringstream body;
    std::string subject;
};

TEST_F(Component, gives_a_note_its_text_in_utf_8) {
    NLS::PlatformCodePage = utf_8_page;
    std::istringstream message("Subject: =?KS_C_5601-1987?B?sKEgvcM=?= =?gb2312?Q?=D6=D0?=\r\n"
                               "Content-Type: text/plain; charset=Shift_JIS\r\n"
                               "\r\n"
                               "\x82\xA0\x83\\\r\n");
    Reader note(message);
    note.Receive();
    EXPECT_EQ(note.subject, "\xEA\xB0\x80 \xEC\x8B\x9C\xE4\xB8\xAD");
    EXPECT_EQ(note.body.str(), "\xE3\x81\x82\xE3\x82\xBD\r\n");
}

} // namespace
