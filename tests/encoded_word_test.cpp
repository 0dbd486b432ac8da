// tests/encoded_word_test.cpp - encoded words: their neighbours and translators; grammar.case shows
// their shapes
#include "mime/header/grammar.hpp"
#include "mime/header/reading_rules.hpp"
#include "tests/support/header_scan.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

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

TEST(EncodedWords, stay_as_they_are_without_a_translator) {
    EXPECT_EQ(decoded(" =?x-same?Q?a_b?= =?us-ascii?B?YQ==?= ", nullptr),
              "-=?x-same?Q?a_b?= =?us-ascii?B?YQ==?= ");
}

/// What the codecs make of bad data counts as decoded.
TEST(EncodedWords, of_bad_data) { EXPECT_EQ(decoded("=?x-same?Q?a=ZZb=?="), "+a\377b"); }

TEST(EncodedWords, of_any_length) {
    for (std::size_t const size : {1000U, 1023U, 1024U, 1025U, 5000U, 100000U}) {
        std::string const letters(size, 'x');
        EXPECT_EQ(decoded("=?x-same?Q?" + letters + "?= y"), "+" + letters + " y");
        EXPECT_EQ(decoded("=?x-wide?Q?" + letters + "?= y"),
                  "+" + repeated("x..........", size) + " y");
        EXPECT_EQ(decoded("=?x-same?B?" + repeated("eHh4", size / 4 + 1) + "?="),
                  "+" + repeated("xxx", size / 4 + 1));
    }
}

/// Strings words, texts and blanks together at random. Two words join if only blanks stand between
/// them; all else stays.
TEST(EncodedWords, join_only_if_they_are_neighbours) {
    enum Kind { word, blank, text };
    struct {
        char const * written;
        char const * read;
        Kind kind;
    } const pieces[] = {
        {"=?x-same?Q?ab_c?=", "ab c", word},
        {"=?iso-8859-1?B?6enp?=", "\xC3\xA9\xC3\xA9\xC3\xA9", word},
        {"=?x-wide?Q?a?=", "a..........", word},
        {"=?x-same?Q?\?=", "", word},
        {" ", " ", blank},
        {"\t  ", "\t  ", blank},
        {"x", "x", text},
        {"(\"\\", "(\"\\", text},
        {"=?x-other?Q?a?=", "=?x-other?Q?a?=", text},
    };
    std::mt19937 random(1);
    for (int i = 0; i < 5000; ++i) {
        std::string written = "s";
        std::string expected = "s";
        std::string blanks; // behind the last piece
        bool is_behind_word = false;
        for (std::size_t count = random() % 12; count > 0; --count) {
            auto const & piece = pieces[random() % std::size(pieces)];
            written += piece.written;
            if (piece.kind == blank) {
                blanks += piece.read;
                continue;
            }
            bool const joins = is_behind_word && piece.kind == word;
            expected += (joins ? "" : blanks) + piece.read;
            is_behind_word = piece.kind == word;
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

/// Makes capitals of what comes up to a "!", takes no more and fails.
class Stopper : public TextTranslator {
public:
    using TextTranslator::TextTranslator;
    int Translate(std::string_view, std::string &) override { return 1; }
    bool Takes_Pieces(NLS_CharSet *) override { return std::string_view(charSetName) == "pieces"; }
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override {
        while (in->good() && in->iBufCnt() != 0 && *in->iGetPtr(0) != '!') {
            int const c = in->get();
            out->put(static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c));
        }
        return in->iBufCnt() != 0 ? 1 : 0;
    }
};

/// In extended reading all of a text reaches the client on UTF-8, and as UTF-8.
TEST(EncodedWords, show_what_a_translator_leaves) {
    struct {
        std::string written;
        std::string basic;
        std::string extended;
    } const rows[] = {
        {"=?whole?Q?ab!cd?= y", "AB y", "AB!cd y"},
        {"=?pieces?Q?ab!cd?= y", "AB y", "AB!cd y"},
        {"=?whole?Q?ab=C3!cd=E9?=", "AB\xC3", "AB\xEF\xBF\xBD!cd\xEF\xBF\xBD"},
        {"=?pieces?Q?!ab?=", "=?pieces?Q?!ab?=", "=?pieces?Q?!ab?="},
        {"=?pieces?Q?" + repeated("a", 1024) + '!' + repeated("b", 2000) + "?=",
         repeated("A", 1024), repeated("A", 1024) + '!' + repeated("b", 1023) + repeated("B", 977)},
    };
    for (auto const & row : rows) {
        for (auto const * const rules : {&basic_reading, &extended_reading}) {
            SilentRun run;
            FactoryOf<Stopper> factory;
            run.factories = &factory;
            run.rules = rules;
            run.code_page = 65001;
            ExactText const text(row.written);
            HeaderScanner scanner(text.get(), run);
            Position next = 0;
            Span out;
            scanner.get_Encoded_Text(next, out);
            EXPECT_EQ(text_of(scanner, out.begin, out.end),
                      rules == &basic_reading ? row.basic : row.extended)
                << row.written;
        }
    }
}

TEST(EncodedWords, let_the_exception_of_a_translator_pass) {
    class Thrower : public TextTranslator {
    public:
        using TextTranslator::TextTranslator;
        int Translate(std::string_view, std::string &) override {
            throw std::runtime_error("translator");
        }
    };
    FactoryOf<Thrower> factory;
    EXPECT_THROW(decoded("x =?x-same?B?YWJj?=", &factory), std::runtime_error);
}

} // namespace
