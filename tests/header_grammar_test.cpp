// tests/header_grammar_test.cpp - the buffer that header text is edited in, and the grammar's
// scanners
#include "mime/header/grammar.hpp"
#include "mime/header/scan_buffer.hpp"
#include "tests/support/case_file.hpp"
#include "tests/support/header_scan.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace vellum;
using namespace vellum::test;
using Blanks = HeaderScanner::Blanks;
using Quotes = HeaderScanner::Quotes;

// The buffer -----------------------------------------------------------------------

/// Makes random edits to a ScanBuffer and to a plain string, which have to stay the same.
class BufferModel {
public:
    BufferModel(std::string text, unsigned int seed)
        : random_(seed), model_(text), home_(text), buffer_(home_.get()) {}

    void step() {
        Position const from = random_() % (model_.size() + 1);
        Position const to = from + random_() % (std::min<std::size_t>(model_.size() - from, 9) + 1);
        switch (random_() % 8) {
        case 0:
        case 1: buffer_.erase(from, to), model_.erase(from, to - from); break;
        case 2: replace(from, to, random_() % 4); break;
        case 3: replace(from, to, random_() % 40 == 0 ? 60 : to - from); break;
        case 4:
            if (from < model_.size()) buffer_.put(from, model_[from] = letter());
            break;
        case 5: EXPECT_EQ(buffer_.view(from, to), model_.substr(from, to - from)); break;
        case 6: terminate(from, to); break;
        default:
            if (random_() % 8 == 0) {
                EXPECT_STREQ(buffer_.whole(), model_.c_str());
            }
        }
        check(from, to);
    }

private:
    void replace(Position from, Position to, std::size_t size) {
        std::string const text(size, letter());
        buffer_.replace(from, to, text);
        model_.replace(from, to - from, text);
    }

    void terminate(Position from, Position to) {
        Position const middle = from + (to - from) / 2;
        Span const front = Span::of(from, middle);
        Span const back = Span::of(std::min(middle + 1, to), to);
        Terminated const text(buffer_, {front, back});
        EXPECT_EQ(text.text(front), model_.substr(from, middle - from));
        EXPECT_EQ(text.text(back), model_.substr(back.begin, back.size()));
        EXPECT_EQ(text.field(), model_.substr(0, middle));
        EXPECT_EQ(text.text(Span()), nullptr);
    }

    void check(Position from, Position to) {
        ASSERT_EQ(buffer_.size(), model_.size());
        std::string copied = "+";
        buffer_.copy(0, buffer_.size(), copied);
        ASSERT_EQ(copied, "+" + model_);
        EXPECT_EQ(buffer_.at(from), model_.c_str()[std::min(from, model_.size())]);
        EXPECT_EQ(buffer_.at(model_.size() + 1), '\0');
        to = std::min(to, model_.size());
        from = std::min(from, to);
        char const sought = letter();
        EXPECT_EQ(buffer_.find(sought, from, to), std::min(model_.find(sought, from), to));
        EXPECT_EQ(buffer_.pass_blanks(from, to),
                  std::min(model_.find_first_not_of(" \t", from), to));
        EXPECT_TRUE(buffer_.starts_with(from, std::string_view(model_).substr(from, to - from)));
        EXPECT_FALSE(buffer_.starts_with(from, model_.substr(from) + 'x'));
    }

    char letter() { return "abc \tx"[random_() % 6]; }

    std::mt19937 random_;
    std::string model_;
    ExactText home_;
    ScanBuffer buffer_;
};

TEST(ScanBuffer, is_a_string_to_its_user) {
    for (unsigned int seed = 0; seed < 300; ++seed) {
        BufferModel model(std::string(seed % 80, 'a') + std::string(seed % 3, ' '), seed);
        for (int i = 0; i < 150; ++i)
            model.step();
        if (HasFailure()) FAIL() << "seed " << seed;
    }
}

TEST(ScanBuffer, moves_little) {
    // The whole text costs the shorter side of the gap, and is not to be had at every step.
    ExactText const home(std::string(1000, 'a'));
    ScanBuffer buffer(home.get());
    buffer.erase(10, 20);
    buffer.whole();
    EXPECT_EQ(buffer.moved(), 10U);
    buffer.erase(900, 901);
    buffer.whole();
    EXPECT_EQ(buffer.moved(), 10U + 89U);
    std::size_t asked = 0;
    for (Position at = 0; at + 3 < buffer.size(); at += 2) {
        buffer.erase(at, at + 1);
        if (buffer.is_whole_cheap()) buffer.whole(), ++asked;
    }
    EXPECT_LT(buffer.moved(), 2000U);
    EXPECT_GT(asked, 10U);
}

// The scanners ---------------------------------------------------------------------

struct Scan {
    std::size_t span_count;
    std::function<bool(HeaderScanner &, Position &, Span *)> run;
};

template <std::size_t span_count, typename Operation, typename... Arguments>
Scan scan(Operation operation, Arguments... arguments) {
    return {span_count, [=](HeaderScanner & scanner, Position & next, Span * spans) {
                return [&]<std::size_t... I>(std::index_sequence<I...>) {
                    return (scanner.*operation)(0, next, spans[I]..., arguments...);
                }
                (std::make_index_sequence<span_count>());
            }};
}

Scan address(bool in_group) {
    return {3, [=](HeaderScanner & scanner, Position & next, Span * spans) {
                bool inside = in_group;
                bool const found = scanner.get_Address(0, next, spans[0], spans[1], inside, true);
                if (inside) spans[2] = Span::of(0, 0);
                return found;
            }};
}

/// `+` or `-` for the result, each span in brackets or as a `0`, and the text from `next` on. What
/// is left within a group is shown by a span `[]`.
std::string scanned(Scan const & scan, std::string_view input) {
    SilentRun run;
    TestFactory factory;
    run.factories = &factory;
    ExactText const text(input);
    HeaderScanner scanner(text.get(), run);
    Position next = 77;
    Span spans[3];
    std::string result = scan.run(scanner, next, spans) ? "+" : "-";
    for (std::size_t i = 0; i < scan.span_count; ++i) {
        Span const & span = spans[i];
        if (span) result += " [" + text_of(scanner, span.begin, span.end) + "]";
        if (!span && i < 2) result += " 0";
    }
    return result + " >" + text_of(scanner, next, scanner.text().size());
}

/// grammar.case holds rows INPUT -> RESULT, in a section for each scan.
TEST(Grammar, scanners) {
    using S = HeaderScanner;
    std::map<std::string, Scan> const scans = {
        {"LWSP leave", scan<0>(&S::get_LWSP, Blanks::leave)},
        {"LWSP remove", scan<0>(&S::get_LWSP, Blanks::remove)},
        {"LWSP one", scan<0>(&S::get_LWSP, Blanks::one)},
        {"token", scan<1>(&S::get_Atom, token_atom)},
        {"address atom", scan<1>(&S::get_Atom, address_atom)},
        {"dotted atom", scan<1>(&S::get_Atom, dotted_atom)},
        {"phrase atom", scan<1>(&S::get_Atom, phrase_atom)},
        {"value atom", scan<1>(&S::get_Atom, value_atom)},
        {"QText keep", scan<1>(&S::get_QText, Quotes::keep)},
        {"QText remove", scan<1>(&S::get_QText, Quotes::remove)},
        {"RText", scan<1>(&S::get_RText)},
        {"Word", scan<1>(&S::get_Word, value_atom, Quotes::remove, true)},
        {"Word as is", scan<1>(&S::get_Word, value_atom, Quotes::keep, false)},
        {"Phrase", scan<1>(&S::get_Phrase, phrase_atom, S::Comments::keep)},
        {"LocalPart", scan<1>(&S::get_LocalPart)},
        {"DomainLiteral", scan<1>(&S::get_DomainLiteral)},
        {"Domain", scan<1>(&S::get_Domain)},
        {"AddrSpec0", scan<1>(&S::get_AddrSpec0)},
        {"AddrSpec1", scan<1>(&S::get_AddrSpec1)},
        {"RouteAddr", scan<1>(&S::get_RouteAddr, true)},
        {"RouteAddr any", scan<1>(&S::get_RouteAddr, false)},
        {"Mailbox", scan<2>(&S::get_Mailbox, true)},
        {"Mailbox any", scan<2>(&S::get_Mailbox, false)},
        {"Address", address(false)},
        {"Address in group", address(true)},
        {"Parameter", scan<2>(&S::get_Parameter)},
        {"encoded words",
         {1, [](S & scanner, Position & next,
                Span * spans) { return scanner.get_Encoded_Text(next, *spans); }}},
    };
    for (auto const & [title, rows] : sections_of("grammar.case")) {
        for (std::string const & row : split(rows, '\n')) {
            std::size_t const arrow = row.find(" -> ");
            if (arrow == row.npos) continue; // a comment
            EXPECT_EQ(scanned(scans.at(title), row.substr(0, arrow)), row.substr(arrow + 4))
                << title << " of " << row;
        }
    }
    EXPECT_EQ(scanned(scans.at("token"), "a\x01"), "+ [a] >\x01");
    EXPECT_EQ(scanned(scans.at("token"), "a\x7F"), "+ [a] >\x7F");
    EXPECT_EQ(scanned(scans.at("token"), "\x80\xFF;"), "+ [\x80\xFF] >;");
}

} // namespace
