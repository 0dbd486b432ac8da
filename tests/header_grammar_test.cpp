// tests/header_grammar_test.cpp - the buffer that header text is edited in, and the grammar's
// scanners
#include "mime/header/grammar.hpp"
#include "mime/header/scan_buffer.hpp"
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
#include <type_traits>
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
        case 4: put(from); break;
        case 5: EXPECT_EQ(buffer_.view(from, to), model_.substr(from, to - from)); break;
        case 6: terminate(from, to); break;
        default: whole();
        }
        check(from, to);
    }

private:
    void replace(Position from, Position to, std::size_t size) {
        std::string const text(size, letter());
        buffer_.replace(from, to, text);
        model_.replace(from, to - from, text);
    }

    void whole() {
        if (random_() % 8 != 0) return;
        EXPECT_STREQ(buffer_.whole(), model_.c_str());
    }

    void put(Position at) {
        if (at == model_.size()) return;
        model_[at] = letter();
        buffer_.put(at, model_[at]);
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

using Scan = std::function<bool(HeaderScanner &, Position &, std::vector<Span> &)>;

/// An operation with one span.
template <typename... Arguments>
Scan one(bool (HeaderScanner::*operation)(Position, Position &, Span &, Arguments...),
         std::type_identity_t<Arguments>... arguments) {
    return [=](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(1);
        return (scanner.*operation)(0, next, spans[0], arguments...);
    };
}

Scan atom(AtomSet const & set) {
    return [&set](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(1);
        return scanner.get_Atom(0, next, spans[0], set);
    };
}

Scan blanks(Blanks what) {
    return [what](HeaderScanner & scanner, Position & next, std::vector<Span> &) {
        return scanner.get_LWSP(0, next, what);
    };
}

Scan word(Quotes quotes, bool encoded) {
    return [=](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(1);
        return scanner.get_Word(0, next, spans[0], value_atom, quotes, encoded);
    };
}

Scan phrase() {
    return [](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(1);
        return scanner.get_Phrase(0, next, spans[0], phrase_atom);
    };
}

Scan mailbox(bool strict) {
    return [strict](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(2);
        return scanner.get_Mailbox(0, next, spans[0], spans[1], strict);
    };
}

Scan address(bool in_group) {
    return [in_group](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(2);
        bool inside = in_group;
        bool const found = scanner.get_Address(0, next, spans[0], spans[1], inside, true);
        if (inside) spans.push_back(Span::of(0, 0)); // shown as []
        return found;
    };
}

Scan parameter() {
    return [](HeaderScanner & scanner, Position & next, std::vector<Span> & spans) {
        spans.resize(2);
        return scanner.get_Parameter(0, next, spans[0], spans[1]);
    };
}

/// `+` or `-` for the result, each span in brackets or as a `0`, and the text from `next` on.
std::string scanned(Scan const & scan, std::string_view input) {
    SilentRun run;
    TestFactory factory;
    run.factories = &factory;
    ExactText const text(input);
    HeaderScanner scanner(text.get(), run);
    Position next = 77;
    std::vector<Span> spans;
    std::string result = scan(scanner, next, spans) ? "+" : "-";
    for (Span const & span : spans) {
        result += span ? " [" + text_of(scanner, span.begin, span.end) + "]" : " 0";
    }
    return result + " > " + text_of(scanner, next, scanner.text().size());
}

TEST(Grammar, scanners) {
    std::map<std::string, Scan> const scans = {
        {"LWSP leave", blanks(Blanks::leave)},
        {"LWSP remove", blanks(Blanks::remove)},
        {"LWSP one", blanks(Blanks::one)},
        {"token", atom(token_atom)},
        {"address atom", atom(address_atom)},
        {"dotted atom", atom(dotted_atom)},
        {"phrase atom", atom(phrase_atom)},
        {"value atom", atom(value_atom)},
        {"QText keep", one(&HeaderScanner::get_QText, Quotes::keep)},
        {"QText remove", one(&HeaderScanner::get_QText, Quotes::remove)},
        {"RText", one(&HeaderScanner::get_RText)},
        {"Word", word(Quotes::remove, true)},
        {"Word as is", word(Quotes::keep, false)},
        {"Phrase", phrase()},
        {"LocalPart", one(&HeaderScanner::get_LocalPart)},
        {"DomainLiteral", one(&HeaderScanner::get_DomainLiteral)},
        {"Domain", one(&HeaderScanner::get_Domain)},
        {"AddrSpec0", one(&HeaderScanner::get_AddrSpec0)},
        {"AddrSpec1", one(&HeaderScanner::get_AddrSpec1)},
        {"RouteAddr", one(&HeaderScanner::get_RouteAddr, true)},
        {"RouteAddr any", one(&HeaderScanner::get_RouteAddr, false)},
        {"Mailbox", mailbox(true)},
        {"Mailbox any", mailbox(false)},
        {"Address", address(false)},
        {"Address in group", address(true)},
        {"Parameter", parameter()},
    };
    struct {
        char const * scan;
        char const * input;
        char const * expected;
    } const rows[] = {
        {"LWSP leave", " \t x", "+ > x"},
        {"LWSP leave", "x", "- > x"},
        {"LWSP leave", " (a) (b(c)) x", "+ > x"},
        {"LWSP leave", "(a)x", "- > x"}, // a comment alone leaves nothing to pass
        {"LWSP leave", " (a\\)b) (never closed) (", "+ > "},
        {"LWSP leave", "(a\\", "- > "},
        {"LWSP remove", " (a) (b) x", "- > x"},
        {"LWSP one", "\t (a) x", "+ > x"},
        {"LWSP one", "\tx", "+ > x"},
        {"LWSP one", "x", "- > x"},

        {"token", "a.b/c", "+ [a.b] > /c"},
        {"token", "(c) \xE9\x80\xFF;", "+ [\xE9\x80\xFF] > ;"},
        {"token", "a\x01", "+ [a] > \x01"},
        {"token", "a\x7F", "+ [a] > \x7F"},
        {"token", " /", "- 0 > /"},
        {"address atom", "a/=?\\{b.c", "+ [a/=?\\{b] > .c"},
        {"dotted atom", "a/=?\\", "+ [a/=?] > \\"},
        {"phrase atom", "a.b\\/=?c<", "+ [a.b\\/=?c] > <"},
        {"value atom", "a()[]<>/\\@,:?=.;", "+ [a()[]<>/\\@,:?=.] > ;"}, // no comment in a word
        {"value atom", "a\"b", "+ [a] > \"b"},

        {"QText keep", " \"a \\\" (b)\" c", "+ [\"a \\\" (b)\"] >  c"},
        {"QText keep", "\"a", "+ [\"a] > "},
        {"QText keep", "\"a\\", "+ [\"a\\] > "},
        {"QText keep", "\"a\\\"", "+ [\"a\\\"] > "},
        {"QText keep", "a", "- 0 > a"},
        {"QText remove", "\"a\\\"\\b\"c", "+ [a\"b] >  c"},
        {"QText remove", "\"a\"", "+ [a] > "},
        {"QText remove", "\"\" x", "+ [] >   x"},
        {"QText remove", "\"a\\", "+ [a] > "},
        {"QText remove", "\"a\\\"", "+ [a\"] > "},
        {"QText remove", "\"a =?x-same?Q?b?= =?x-same?Q?c?= d\";", "+ [a bc d] >  ;"},
        {"QText remove", "\"  =?x-same?Q?b?=\"", "+ [b] > "},
        {"QText remove", "\"=?x-same?\\Q?b?=\"", "+ [b] > "}, // the backslash goes first
        {"QText remove", "\"=?x-same?Q?b\"?=", "+ [=?x-same?Q?b] >  ?="}, // not beyond the quote

        {"RText", " <a<b>c> (x) d", "+ [a<b>c] >  (x) d"},
        {"RText", "<>", "+ [] > "},
        {"RText", "<a<b>", "+ [a<b>] > "},
        {"RText", "a", "- 0 > a"},

        {"Word", "\"a b\"", "+ [a b] > "},
        {"Word", "=?x-same?Q?a_b?=;", "+ [a b] > ;"},
        {"Word", "x=?x-same?Q?a_b?==?x-same?Q?c?=", "+ [xa bc] > "},
        {"Word", "=?x-other?Q?a_b?=", "+ [=?x-other?Q?a_b?=] > "},
        {"Word as is", "=?x-same?Q?a_b?=", "+ [=?x-same?Q?a_b?=] > "},
        {"Word as is", "\"=?x-same?Q?a_b?=\"", "+ [\"=?x-same?Q?a_b?=\"] > "},
        {"Word", ";", "- 0 > ;"},

        {"Phrase", "John Q. Public <a>", "+ [John Q. Public] > <a>"},
        {"Phrase", "\"x y\" \"z\" <a>", "+ [x y  z] > <a>"},
        {"Phrase", " (a) A \t(b\\)) B (c)", "+ [A \t(b)) B] > "},
        {"Phrase", "(=?x-same?Q?a_b?=) A (=?x-same?Q?c?= (=?x-wide?Q?d?=)) B",
         "+ [A (c (d..........)) B] > "},
        {"Phrase", "A(b (\\( =?c)) \\", "+ [A(b (( =?c)) \\] > "},
        {"Phrase", "A(b\\", "+ [A] > "}, // an open comment takes all
        {"Phrase", "=?x-same?Q?a?==?x-same?Q?b?=c =?x-same?Q?d?=", "+ [abc d] > "},
        {"Phrase", "=?x-same?Q?a,b?= <c>", "+ [a,b] > <c>"},
        {"Phrase", "a=?x-same?Q?b?=", "+ [a=?x-same?Q?b?=] > "}, // part of the atom
        {"Phrase", "\"\"", "+ [] > "},
        {"Phrase", "\"a", "+ [a] > "},
        {"Phrase", "(a) <", "- 0 > <"},

        {"LocalPart", "a . \"b\\\" c\" (x) . d @e", "+ [a.\"b\\\" c\".d] > @e"},
        {"LocalPart", "a\\b.c\\d", "+ [a\\b.c] > \\d"},
        {"LocalPart", "a . @b", "+ [a] > @b"},
        {"LocalPart", "a..b", "+ [a] > .b"},
        {"LocalPart", "a (x)\t b", "+ [a] > b"},
        {"LocalPart", ".a", "- 0 > .a"},

        {"DomainLiteral", "[ 1.2\\]3 ]x", "+ [1.2\\]3 ] > x"},
        {"DomainLiteral", "[1", "+ [1] > "},
        {"DomainLiteral", "[1\\", "+ [1\\] > "},
        {"DomainLiteral", "a", "- 0 > a"},
        {"Domain", " a (x) . [1.2] . c , d", "+ [a.[1.2].c] > , d"},
        {"Domain", "a. ;", "+ [a] > ;"},
        {"Domain", ",", "- 0 > ,"},

        {"AddrSpec0", "postmaster >", "+ [postmaster] > >"},
        {"AddrSpec0", "a @ b @ c . d>", "+ [a@b@c.d] > >"},
        {"AddrSpec0", "a@>", "+ [a] > @>"},
        {"AddrSpec0", "@a", "- 0 > @a"},
        {"AddrSpec1", "a . b @ c . d", "+ [a.b@c.d] > "},
        {"AddrSpec1", "\"a b\"@c", "+ [\"a b\"@c] > "},
        {"AddrSpec1", "a@b@c", "+ [a@b@c] > "},
        {"AddrSpec1", "a@[1.2.3.4] x", "+ [a@[1.2.3.4]] > x"},
        {"AddrSpec1", "a@[1.2.3.4", "+ [a@[1.2.3.4] > "},
        {"AddrSpec1", "a@b.", "+ [a@b] > "},
        {"AddrSpec1", "a@b (Some Name)", "+ [a@b] > "},
        {"AddrSpec1", "=?x?Q?y?=@z", "- 0 > =?x?Q?y?=@z"},
        {"AddrSpec1", "postmaster", "- 0 > postmaster"},
        {"AddrSpec1", "a@;", "- 0 > a@;"},

        {"RouteAddr", "< a . b @ c > x", "+ [a.b@c] >  x"},
        {"RouteAddr", "<a", "- 0 > <a"},
        {"RouteAddr", "<@a,@b:c@d>", "- 0 > <@a,@b:c@d>"},
        {"RouteAddr", "<>", "- 0 > <>"},
        {"RouteAddr any", "<@a,@b:c@d>", "+ [@a,@b:c@d] > "},
        {"RouteAddr any", "<a<b>c>", "+ [a<b>c] > "},
        {"RouteAddr any", "<>", "+ [] > "},

        {"Mailbox", "a@b", "+ 0 [a@b] > "},
        {"Mailbox", " <a@b>x", "+ 0 [a@b] > x"},
        {"Mailbox", "\"Doe, John\" <j@x>", "+ [Doe, John] [j@x] > "},
        {"Mailbox", "A B (c) D <a@b>", "+ [A B (c) D] [a@b] > "},
        {"Mailbox", "A (c) B <a@b>", "+ [A B] [a@b] > "}, // gone with the try for an address
        {"Mailbox", "J . Doe <a@b>", "+ [J.Doe] [a@b] > "},
        {"Mailbox", "=?x-same?Q?a,_b?= <a@b>", "+ [a, b] [a@b] > "},
        {"Mailbox", "=?iso-8859-1?B?6enp?= <a@b>", "+ [\xC3\xA9\xC3\xA9\xC3\xA9] [a@b] > "},
        {"Mailbox", "\"=?x-wide?Q?ab?=\" <a@b>", "+ [a..........b..........] [a@b] > "},
        {"Mailbox", "\"\" <a@b>", "+ [] [a@b] > "},
        {"Mailbox", "Some One", "- 0 0 > "},
        {"Mailbox", "\", b@c\"", "- 0 0 > "}, // what was quoted is no list
        {"Mailbox", "\"\" , b@c", "- 0 0 >   , b@c"},
        {"Mailbox", ", a@b", "- 0 0 > , a@b"},
        {"Mailbox", "A <@a:b@c>", "- 0 0 > "},
        {"Mailbox any", "A <555 1234>", "+ [A] [555 1234] > "},

        {"Address", "a@b, c@d", "+ 0 [a@b] > , c@d"},
        {"Address", "g: a@b, c@d;", "+ 0 [a@b] [] > , c@d;"},
        {"Address", "g (x): a@b;, e@f", "+ 0 [a@b] > , e@f"},
        {"Address", "\"Doe, J.: x\" : a@b;", "+ 0 [a@b] > "},
        {"Address", "g:;", "+ 0 0 > "},
        {"Address", "g:", "+ 0 0 [] > "},
        {"Address", ":;", "- 0 0 > :;"},
        {"Address", "g", "- 0 0 > "},
        {"Address in group", "A <a@b>;", "+ [A] [a@b] > "},
        {"Address in group", ";x", "+ 0 0 > x"},
        {"Address in group", ", a@b", "- 0 0 [] > , a@b"},

        {"Parameter", " ; a (x) = (y) b; c=d", "+ [a] [b] > ; c=d"},
        {"Parameter", ";a=\"b;\\\"c\" ;d", "+ [a] [b;\"c] >   ;d"},
        {"Parameter", ";a=b:c/d@e(f)", "+ [a] [b:c/d@e(f)] > "},
        {"Parameter", "; name==?x-same?Q?x_y?=", "+ [name] [x y] > "},
        {"Parameter", "; name==?x-other?Q?x?=", "+ [name] [=?x-other?Q?x?=] > "},
        {"Parameter", "; name=\"=?iso-8859-1?B?6enp?=\"", "+ [name] [\xC3\xA9\xC3\xA9\xC3\xA9] > "},
        {"Parameter", "; c", "- 0 0 > ; c"},
        {"Parameter", " ; =b", "- 0 0 > ; =b"},
        {"Parameter", ";a=;b=c", "- 0 0 > ;a=;b=c"},
        {"Parameter", "a=b", "- 0 0 > a=b"},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(scanned(scans.at(row.scan), row.input), row.expected)
            << row.scan << " of " << row.input;
    }
}

} // namespace
