// fuzz/encoded_word_fuzz.cpp - encoded words in any text: nothing outside of it is touched, and
// what stands around it changes nothing
#include "fuzz/target.hpp"
#include "tests/support/header_scan.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/translators.hpp"

#include <algorithm>
#include <string>
#include <string_view>

using namespace vellum;
using namespace vellum::test;

namespace {

/// A byte becomes eleven with the most wordy translator; a lone line end becomes two first.
constexpr std::size_t most_growth = 22;

struct Decoded {
    std::string text;
    bool changed;
};

/// Decodes the middle one of three pieces of a text.
Decoded decoded(std::string_view front, std::string_view text, std::string_view back) {
    SilentRun run;
    TestFactory factory;
    run.factories = &factory;
    ExactText const home(std::string(front).append(text).append(back));
    HeaderScanner scanner(home.get(), run);
    Position next = 0;
    Span out;
    bool const changed =
        scanner.get_Encoded_Text(Span::of(front.size(), front.size() + text.size()), next, out);
    require(front.size() <= out.begin && out.begin <= out.end && out.end == next);
    require(next + back.size() == scanner.text().size());
    require(text_of(scanner, 0, front.size()) == front);
    require(text_of(scanner, next, scanner.text().size()) == back);
    require(text_of(scanner, front.size(), out.begin).find_first_not_of(" \t") == front.npos);
    return {text_of(scanner, out.begin, out.end), changed};
}

/// The value of a quoted string that holds the text.
std::string unquoted(std::string_view text) {
    SilentRun run;
    TestFactory factory;
    run.factories = &factory;
    std::string const escaped = replaced(replaced(std::string(text), "\\", "\\\\"), "\"", "\\\"");
    ExactText const home('"' + escaped + "\"; x");
    HeaderScanner scanner(home.get(), run);
    Position next = 0;
    Span out;
    require(scanner.get_QText(0, next, out, HeaderScanner::Quotes::remove));
    require(text_of(scanner, next, scanner.text().size()) == " ; x");
    return text_of(scanner, out.begin, out.end);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    std::string text(view_of(data, size));
    text.resize(std::string_view(text.c_str()).size()); // a field ends at its first NUL
    Decoded const alone = decoded("", text, "");
    require(alone.text.size() <= most_growth * text.size());
    require(decoded("=?x-same?Q?", text, "?= b").text == alone.text);
    require(decoded("=?x-same?Q?a?= ", text, " =?x-same?Q?b?=").text == alone.text);
    require(unquoted(text) == (alone.changed ? alone.text : text));

    std::size_t const first = std::min(text.find_first_not_of(" \t"), text.size());
    require(decoded("", "p" + text + "s", "").text ==
            "p" + text.substr(0, first) + alone.text + "s");
    return 0;
}
