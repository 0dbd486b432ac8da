// examples/mimegateway.cpp - reads a message and writes it again: both halves of the engine at work
//
// All fields of every header go on as they stand, and so do bodies, encoded as they are, preambles
// and epilogues; what is written anew are the delimiters. What it changes all the same: LF in a
// file whose lines end in it becomes CR LF (in the body of a part that is binary it stays); a field
// that no mail may hold is mended, and told if that is impossible; lines of a header that are no
// field, and blanks behind a delimiter, go; a blank line that is missing behind a header comes.
//
// With --redo all is written anew from what it says. That loses: fields that the engine has a word
// for but no getter (the Resent- fields); all but the first of several Received, Comments and their
// like; the names of groups, comments among addresses, and what is no address beside one; a date
// that can't be read; parameters but for the set, the boundary and names; bytes of a text labelled
// UTF-8 that are no UTF-8 (not with --basic); preambles and epilogues; of parts that are multiparts
// or messages, the fields that tell their description and disposition. A message without a Date or
// a Message-Id gets one. A text keeps its transfer encoding where it may: within a part, text of
// eight bits becomes quoted-printable and binary text base64. Every other body becomes base64. A
// fragment of a message is copied.
#include "examples/support/copy_reader.hpp"
#include "examples/support/copy_writer.hpp"
#include "examples/support/input.hpp"
#include "examples/support/output.hpp"
#include "examples/support/text_factory.hpp"
#include "examples/support/tree_reader.hpp"
#include "examples/support/tree_writer.hpp"

#include <iostream>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

bool is_fragment(examples::OutgoingPart const & message) {
    return message.type == RFC1521::message && message.subtype == RFC1521::partial;
}

/// What can't be taken apart goes on as it is.
bool copy(std::istream & in) {
    in.clear();
    in.seekg(0);
    if (!in) throw std::runtime_error("is a fragment, and can't be read again");
    std::cout << in.rdbuf();
    return static_cast<bool>(std::cout.flush());
}

/// False if what was written isn't all there.
bool redo(std::istream & in, bool is_basic) {
    examples::TreeReader reader(in);
    if (is_basic) reader.SetReading(MimeINote::Reading_Basic);
    auto const message = reader.Read();
    if (is_fragment(*message)) return copy(in);
    auto const writing = is_basic ? MimeONote::Writing_Basic : MimeONote::Writing_Extended;
    return examples::TreeWriter(*message, std::cout, writing).Write();
}

bool pass_on(std::istream & in) {
    examples::CopiedMessage const message = examples::CopyReader(in).Read();
    examples::CopyWriter writer(message, std::cout);
    bool const is_written = writer.Write();
    if (writer.lost_fields() == 0) return is_written;
    std::cerr << "mimegateway: fields left out or cut, as mail can't hold them: "
              << writer.lost_fields() << '\n';
    return false;
}

struct Options {
    bool is_basic = false;
    bool is_redo = false;
    std::string file;
};

constexpr char const * usage =
    "usage: mimegateway [--redo] [--basic] IN\n"
    "\n"
    "Reads the message IN, or standard input for \"-\", and writes it on standard output. Fields,\n"
    "bodies, and the texts around parts stay as they are.\n"
    "\n"
    "  --redo   write all anew, as this engine would write a message that says the same\n"
    "  --basic  so too, and read and write mail by the letter, not as other programs do\n";

/// Nothing for a command line that can't be understood.
std::optional<Options> parse(std::vector<std::string> const & arguments) {
    Options options;
    for (std::string const & argument : arguments) {
        bool const is_option = argument.size() > 1 && argument[0] == '-';
        if (argument == "--redo") {
            options.is_redo = true;
        } else if (argument == "--basic") {
            options.is_basic = true;
        } else if (!is_option && options.file.empty()) {
            options.file = argument;
        } else {
            return {};
        }
    }
    if (options.file.empty()) return {};
    return options;
}

} // namespace

int main(int count, char ** words) {
    auto const options = parse({words + 1, words + count});
    if (!options) {
        std::cerr << usage;
        return 2;
    }
    examples::survive_closed_pipe();
    std::ios::sync_with_stdio(false); // standard input tells of errors then, and is faster
    NLS::PlatformCodePage = examples::utf8_code_page;
    bool is_written = false;
    bool const is_read = examples::read_input("mimegateway", options->file, [&](std::istream & in) {
        is_written =
            options->is_redo || options->is_basic ? redo(in, options->is_basic) : pass_on(in);
    });
    return examples::finish_output("mimegateway") && is_read && is_written ? 0 : 1;
}
