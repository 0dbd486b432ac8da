// tests/encoded_word_test.cpp - encoded words: their shapes, what stands around them, translators
#include "mime/header/grammar.hpp"
#include "tests/support/header_scan.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vellum;
using namespace vellum::test;

/// `+` if a word was decoded, and the text that it then is, between the spans' ends.
std::string decoded(std::string_view input, NLS_Translator_Factory * factory) {
    SilentRun run;
    run.factories = factory;
    ExactText const text(input);
    HeaderScanner scanner(text.get(), run);
    Position next = 77;
    Span out;
    bool const changed = scanner.get_Encoded_Text(next, out);
    EXPECT_EQ(next, out.end);
    EXPECT_EQ(out.end, scanner.text().size());
    return (changed ? "+" : "-") + text_of(scanner, out.begin, out.end);
}

std::string decoded(std::string_view input) {
    TestFactory factory;
    return decoded(input, &factory);
}

TEST(EncodedWords, in_a_text) {
    struct {
        char const * input;
        char const * expected;
    } const rows[] = {
        {"=?x-same?Q?a_b?=", "+a b"},
        {"=?X-SAME?q?a=20b?=", "+a b"},
        {"=?x-same?B?YWJj?=", "+abc"},
        {"=?x-same?b?YWI?=", "+ab"}, // without its padding
        {"=?x-same?Q?\?=", "+"},
        {"=?iso-8859-1?Q?=E9?=", "+\xC3\xA9"},
        {"x =?x-same?Q?a?= y", "+x a y"},
        {"a=?x-same?Q?b?=c", "+abc"},
        {" \t x ", "-x "},
        {"  =?x-same?Q?a?=", "+a"},
        {"", "-"},

        // Adjacent words.
        {"=?x-same?Q?a?= =?x-same?Q?b?=", "+ab"},
        {"=?x-same?Q?a?= \t =?iso-8859-1?B?6Q==?=", "+a\xC3\xA9"},
        {"=?x-same?Q?a?==?x-same?Q?b?=  =?x-same?Q?c?= ", "+abc "},
        {"=?x-same?Q?a?= b =?x-same?Q?c?=", "+a b c"},
        {"=?x-same?Q?a_?= =?x-same?Q?_b?=", "+a  b"},
        {"=?x-same?Q?a?= =?x-other?Q?b?= =?x-same?Q?c?=", "+a =?x-other?Q?b?= c"},
        {"=?x-same?Q?\?= =?x-same?Q?b?=", "+b"},

        // White space and comments within the syntax.
        {"=? x-same ?Q?a?=", "+a"},
        {"=?(c)x-same\t(d(e)) ? (\\() Q ?a?=", "+a"},
        {"=?(=?x-same?Q?a?=", "+=?(a"}, // the comment is never closed
        {"=?x-same? Q ? a ?=", "+ a "},
        {"=?x-same?Q?a b(c?=", "+a b(c"},

        // No words.
        {"=?x-same?X?a?=", "-=?x-same?X?a?="},
        {"=?x-same?BQ?a?=", "-=?x-same?BQ?a?="},
        {"=?x-same??a?=", "-=?x-same??a?="},
        {"=??Q?a?=", "-=??Q?a?="},
        {"=?x-same?Q?a?b?=", "-=?x-same?Q?a?b?="},
        {"=?x-same?Q?a? =", "-=?x-same?Q?a? ="},
        {"=?x.same?Q?a?=", "-=?x.same?Q?a?="},
        {"=?x-same?Q?a", "-=?x-same?Q?a"},
        {"=?x-same?Q", "-=?x-same?Q"},
        {"=?", "-=?"},
        {"=", "-="},
        {"=?x-other?Q?a?= =?x-same?Q?b?=", "+=?x-other?Q?a?= b"},
        {"=?a=?x-same?Q?b?=", "+=?ab"},
        {"=?a?b =?x-same?Q?c?=", "+=?a?b c"},

        // What the codecs make of bad data counts as decoded.
        {"=?x-same?Q?a=ZZb=?=", "+a\xFF"
                                "b"},
        {"=?x-same?B?Y*W Jj?=", "+abc"},

        // Translators: longer than the word, nothing, failures.
        {"<=?x-wide?Q?abc?=>", "+<a..........b..........c..........>"},
        {"=?x-wide?Q?a?= =?x-wide?Q?b?= x", "+a..........b.......... x"},
        {"x =?x-none?Q?abc?= y", "+x  y"},
        {"x =?x-fails?Q?a_c?= y", "-x =?x-fails?Q?a_c?= y"},
        {"x =?x-breaks?Q?abcd?= y", "+x ab y"},
        {"=?x-shift?Q?a=0Ebc=0Fd?= =?x-shift?Q?e?=", "+aBCde"},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(decoded(row.input), row.expected) << row.input;
        std::string_view text = row.input;
        text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
        EXPECT_EQ(decoded(row.input, nullptr), "-" + std::string(text));
    }
}

TEST(EncodedWords, of_any_length) {
    for (std::size_t const size : {1000U, 1023U, 1024U, 1025U, 5000U, 100000U}) {
        std::string const letters(size, 'x');
        std::string wide;
        for (char const c : letters)
            wide.append(1, c).append("..........");
        EXPECT_EQ(decoded("=?x-same?Q?" + letters + "?= y"), "+" + letters + " y");
        EXPECT_EQ(decoded("=?x-wide?Q?" + letters + "?= y"), "+" + wide + " y");
        std::string base64; // "eHh4" is "xxx"
        while (base64.size() < size)
            base64 += "eHh4";
        EXPECT_EQ(decoded("=?x-same?B?" + base64 + "?="),
                  "+" + std::string(base64.size() / 4 * 3, 'x'));
    }
}

/// Strings words, texts and blanks together at random. Two words join if only blanks stand between
/// them; all else stays.
TEST(EncodedWords, join_only_if_they_are_neighbours) {
    struct Piece {
        std::string written;
        std::string read;
        enum { word, blank, text } kind;
    };
    std::vector<Piece> const pieces = {
        {"=?x-same?Q?ab_c?=", "ab c", Piece::word},
        {"=?iso-8859-1?B?6enp?=", "\xC3\xA9\xC3\xA9\xC3\xA9", Piece::word},
        {"=?x-wide?Q?a?=", "a..........", Piece::word},
        {"=?x-same?Q?\?=", "", Piece::word},
        {" ", " ", Piece::blank},
        {"\t  ", "\t  ", Piece::blank},
        {"x", "x", Piece::text},
        {"(\"\\", "(\"\\", Piece::text},
        {"=?x-other?Q?a?=", "=?x-other?Q?a?=", Piece::text},
    };
    std::mt19937 random(1);
    for (int i = 0; i < 5000; ++i) {
        std::string written = "s";
        std::string expected = "s";
        std::string blanks; // behind the last piece
        bool is_behind_word = false;
        for (std::size_t count = random() % 12; count > 0; --count) {
            Piece const & piece = pieces[random() % pieces.size()];
            written += piece.written;
            if (piece.kind == Piece::blank) {
                blanks += piece.read;
                continue;
            }
            bool const joins = is_behind_word && piece.kind == Piece::word;
            expected += (joins ? "" : blanks) + piece.read;
            is_behind_word = piece.kind == Piece::word;
            blanks.clear();
        }
        ASSERT_EQ(decoded(written).substr(1), expected + blanks) << written;
    }
}

/// Counts the translators that it makes.
class CountingFactory : public TestFactory {
public:
    NLS_Translator * New(char const * name, int code_page) override {
        ++asked;
        return TestFactory::New(name, code_page);
    }
    int asked = 0;
};

TEST(EncodedWords, use_the_translators_of_the_run_again) {
    CountingFactory factory;
    EXPECT_EQ(decoded("=?iso-8859-1?Q?a?= =?us-ascii?Q?b?= =?iso-8859-1?Q?c?=", &factory), "+abc");
    EXPECT_EQ(factory.asked, 2); // these stay in the list of the run
    EXPECT_EQ(decoded("=?x-same?Q?a?= =?x-same?Q?b?=", &factory), "+ab");
    EXPECT_EQ(factory.asked, 4); // these don't
}

/// Its translators throw.
class ThrowingFactory : public NLS_Translator_Factory {
public:
    NLS_Translator * New(char const * name, int) override {
        class Thrower : public TestTranslator {
            using TestTranslator::TestTranslator;
            int CharSet_to_CodePage(iSimpleStream *, oSimpleStream *) override {
                throw std::runtime_error("translator");
            }
        };
        return new Thrower(name);
    }
};

TEST(EncodedWords, let_the_exception_of_a_translator_pass) {
    ThrowingFactory factory;
    EXPECT_THROW(decoded("x =?x-same?B?YWJj?=", &factory), std::runtime_error);
}

} // namespace
