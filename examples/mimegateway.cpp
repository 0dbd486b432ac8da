// examples/mimegateway.cpp - reads a message and writes it again: both halves of the engine at work
//
// What it loses: fields that the engine has a word for but no getter (the Resent- fields); all but
// the first of several Received, Comments and their like; the names of groups, comments among
// addresses, and what is no address beside one; a date that can't be read; parameters but for the
// set, the boundary and names; bytes of a text labelled UTF-8 that are no UTF-8 (not with --basic);
// preambles and epilogues; of parts that are multiparts or messages, the fields that tell their
// description and disposition. A message without a Date or a Message-Id gets one. A text keeps its
// transfer encoding where it may: within a part, text of eight bits becomes quoted-printable and
// binary text base64. Every other body becomes base64. A fragment of a message is copied.
#include "examples/support/arguments.hpp"
#include "examples/support/input.hpp"
#include "examples/support/output.hpp"
#include "examples/support/text_factory.hpp"
#include "examples/support/tree_reader.hpp"
#include "examples/support/tree_writer.hpp"

#include <iostream>
#include <stdexcept>
#include <string>

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

} // namespace

int main(int count, char ** words) {
    examples::Arguments const arguments(count, words);
    if (arguments.names.size() != 1) {
        std::cerr
            << "usage: mimegateway [--basic] IN\n"
               "\n"
               "Reads the message IN, or standard input for \"-\", and writes it on standard\n"
               "output as this engine writes it.\n"
               "\n"
               "  --basic  read mail by the letter, and not as other readers do\n";
        return 2;
    }
    examples::survive_closed_pipe();
    NLS::PlatformCodePage = examples::utf8_code_page;
    bool is_written = false;
    auto const & file = arguments.names[0];
    bool const is_read = examples::read_input("mimegateway", file, [&](std::istream & in) {
        examples::TreeReader reader(in);
        reader.SetReading(arguments.reading);
        auto const message = reader.Read();
        auto const writing = arguments.reading == MimeINote::Reading_Basic
                                 ? MimeONote::Writing_Basic
                                 : MimeONote::Writing_Extended;
        is_written = is_fragment(*message)
                         ? copy(in)
                         : examples::TreeWriter(*message, std::cout, writing).Write();
    });
    return examples::finish_output("mimegateway") && is_read && is_written ? 0 : 1;
}
