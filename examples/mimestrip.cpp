// examples/mimestrip.cpp - a filter that takes attachments out of a message, in one pass
//
// Every byte that it doesn't replace goes on as it came: the engine tells at which offset each
// field, header and body begins and ends, and the filter copies what lies between. It holds no more
// of a message than the header and the body of a part that may still go, and that in a file if it
// is much. What a signature is over stays as it is, and a message within an encoded part is one
// part of the message around it, as offsets within it count other bytes.
#include "examples/support/input.hpp"
#include "examples/support/output.hpp"
#include "examples/support/strip_note.hpp"

#include <mime/vellum.hpp>

#include <charconv>
#include <iostream>
#include <istream>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

constexpr char const * usage =
    "usage: mimestrip [--above BYTES] [--type TYPE]... [--signed] [FILE]\n"
    "\n"
    "Writes the message in FILE, or on standard input, on standard output, with a few lines of\n"
    "text in the place of each part that is taken out. All else stays as it is, to the byte.\n"
    "\n"
    "  --above BYTES  take out attachments of more bytes than that, counted as they stand in the\n"
    "                 message: text is one only if it has a file name or is said to be one\n"
    "  --type TYPE    take out parts of that media type, such as application/x-msdownload or\n"
    "                 \"image/*\"; may come several times\n"
    "  --signed       also in multipart/signed and multipart/encrypted, and S/MIME's own parts,\n"
    "                 which are left alone otherwise\n"
    "\n"
    "A signature of the whole message by its relays (DKIM) is no longer valid afterwards.\n";

struct Options {
    examples::StripRules rules;
    std::string file = "-";
};

/// Nothing for a text that is no number, or a number that is too large.
std::optional<long long> number_in(std::string const & text) {
    long long number = -1;
    char const * const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < 0) return {};
    return number;
}

/// Nothing for a command line that can't be understood.
std::optional<Options> parse(std::vector<std::string> const & arguments) {
    Options options;
    bool has_file = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string const & argument = arguments[i];
        bool const has_value = i + 1 < arguments.size();
        if (argument == "--signed") {
            options.rules.is_signed_too = true;
        } else if (argument == "--above" && has_value) {
            options.rules.above = number_in(arguments[++i]);
            if (!options.rules.above) return {};
        } else if (argument == "--type" && has_value && examples::is_type_rule(arguments[i + 1])) {
            options.rules.types.push_back(arguments[++i]);
        } else if ((argument == "-" || argument.substr(0, 1) != "-") &&
                   !std::exchange(has_file, true)) {
            options.file = argument;
        } else {
            return {};
        }
    }
    return options;
}

void strip(std::istream & in, examples::StripRules const & rules) {
    examples::PassingInput input(*in.rdbuf(), std::cout);
    std::istream message(&input);
    examples::StripNote(message, input, rules).Run();
}

} // namespace

int main(int count, char ** words) {
    std::vector<std::string> const arguments(words + 1, words + count);
    bool const is_help = arguments == std::vector<std::string>{"--help"};
    std::optional<Options> const options = parse(arguments);
    if (!options) {
        (is_help ? std::cout : std::cerr) << usage;
        return is_help ? 0 : 2;
    }
    examples::survive_closed_pipe();
    std::ios::sync_with_stdio(false); // standard input tells of errors then, and is faster
    NLS::PlatformCodePage = examples::utf8_code_page;
    bool const is_read = examples::read_input(
        "mimestrip", options->file, [&](std::istream & in) { strip(in, options->rules); });
    return examples::finish_output("mimestrip") && is_read ? 0 : 1;
}
