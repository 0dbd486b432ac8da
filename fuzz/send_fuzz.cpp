// fuzz/send_fuzz.cpp - a message of one hostile value and one body, whole and in fragments
//
// Input:   four bytes of choices (block size, split size, encoding, how often the body is
//          repeated), a value up to the first 0xFF, and the body.
// Asserts: the fragments join to the message that an unsplit run gives; behind the field guard no
//          value begins a field; and our own reader reads the bodies as they were given.
#include "fuzz/target.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/utf_8.hpp"
#include "tests/support/outgoing_notes.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/transcript.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace {

struct Input {
    std::size_t block_size;
    unsigned int split_size;
    char const * encoding;
    bool is_multipart;
    bool is_extended;
    std::string value;
    std::string body;
};

Input read_input(std::string_view bytes) {
    constexpr std::size_t choices = 4;
    char const * const encodings[] = {RFC1521::ASCII_8bit, RFC1521::base64,
                                      RFC1521::quoted_printable};
    std::string head(bytes.substr(0, choices));
    head.resize(choices);
    auto const choice = [&head](std::size_t i) { return static_cast<unsigned char>(head[i]); };
    Input input{choice(0) + 1U,
                30720U + 64U * choice(1),
                encodings[choice(2) % 3],
                choice(2) / 3 % 2 == 1,
                choice(2) / 6 % 2 == 1,
                {},
                {}};
    std::string_view const rest = bytes.substr(head.size() < bytes.size() ? choices : bytes.size());
    std::size_t const value_end = rest.find('\xFF');
    input.value = rest.substr(0, value_end);
    input.value = input.value.c_str(); // as a C string
    std::string_view const piece =
        value_end < rest.size() ? rest.substr(value_end + 1) : std::string_view();
    while (!piece.empty() && input.body.size() < 200U * choice(3))
        input.body += piece;
    return input;
}

using vellum::test::DescribedNote;
using vellum::test::Part;

/// The value wherever it can stand. By choice the body is the only one, or that of three parts.
Part message_of(Input const & input) {
    Part message = vellum::test::text_part(input.body);
    for (char const * const key : {"Property", "Message-Id", "FileName"})
        message.With(key, input.value);
    message.addresses["To"] = {{input.value, input.value}};
    if (!input.is_multipart) return message;
    Part file = vellum::test::binary_part(input.body, input.value);
    Part nested = vellum::test::message_part(message);
    message = vellum::test::multipart("mixed", {message, file, nested});
    for (Part * part : {&message, &message.parts[1], &message.parts[2]}) // a cut may come in any
        part->With("Message-Id", input.value).With("Content-Id", input.value);
    return message.With("Property", input.value).With("Boundary", input.value);
}

void set_up(DescribedNote & note, Input const & input, unsigned int split_size) {
    note.block_size = input.block_size;
    note.SetWriting(input.is_extended ? MimeONote::Writing_Extended : MimeONote::Writing_Basic);
    note.SetNetworkSplitSize(split_size);
    note.SetTextEncoding(input.encoding);
    note.SetFieldGuard(1);
}

/// Behind the guard a header has these fields, in this order, and no line that mail can't carry
/// where the writing sees to it.
void check_header(std::string_view header, bool is_extended) {
    static std::vector<std::string> const names = vellum::test::split(
        "Date:,To:,cc:,bcc:,Return-Path:,In-Reply-To:,Received:,Comments:,Keywords:,References:,"
        "Encrypted:,Importance:,Priority:,Sensitivity:,Subject:,Message-Id:,X-MIME-Engine:,"
        "MIME-Version:,Content-Type:,Content-Id:,Content-Transfer-Encoding:,Content-Description:,"
        "Content-Disposition:,Content-Transfer-Encoding:",
        ',');
    std::size_t seen = 0;
    while (!header.empty()) {
        std::size_t const end = header.find_first_of("\r\n");
        require(end != header.npos && header.substr(end, 2) == "\r\n");
        std::string_view const line = header.substr(0, end);
        header.remove_prefix(end + 2);
        require(!line.empty());
        require(!is_extended || (line.size() <= 998 && vellum::utf_8::is_ascii(line)));
        if (line[0] == ' ' || line[0] == '\t') continue;
        while (seen < names.size() && !line.starts_with(names[seen]))
            ++seen;
        require(seen++ < names.size());
    }
}

/// What the body of a text goes out as.
std::string as_sent(Input const & input) {
    bool const stays = input.encoding == RFC1521::base64 || !input.is_extended;
    std::string const & body = input.body;
    if (stays || body.substr(0, std::size_t{64} << 10).find('\0') != body.npos) return body;
    return vellum::test::replaced(vellum::test::replaced(body, "\r\n", "\n"), "\n", "\r\n");
}

/// Our own reader delivers the text, or in a multipart the text, the file and the text.
void check_bodies(std::string const & message, Input const & input) {
    std::string const texts[] = {as_sent(input), input.body, as_sent(input)};
    std::size_t count = 0;
    vellum::test::transcript_of(message, [&](vellum::test::Transcript & note) {
        note.longest_text = message.size();
        note.after_line = [&](std::size_t) {
            std::string const & line = note.lines().back();
            require(!line.starts_with("data ") ||
                    (count < 3 && line == "data " + vellum::test::quoted(texts[count++])));
            require(!line.starts_with("Receive ") || line == "Receive Complete");
        };
    });
    std::size_t const bodies = input.is_multipart ? 3 : 1;
    require(count == (input.body.empty() ? 0 : bodies));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    vellum::test::FixedClock const clock;
    Input const input = read_input(view_of(data, size));
    DescribedNote whole(message_of(input));
    set_up(whole, input, 0);
    std::size_t body_start = 0;
    std::size_t body_end = 0;
    whole.on_call = [&](std::string_view call, MimeContext * context) {
        if (context == nullptr || context->part_number != 1) return;
        if (call != "EndBody") return;
        body_start = static_cast<std::size_t>(context->body_start);
        body_end = static_cast<std::size_t>(context->body_end);
    };
    require(whole.Send() == 1 && whole.messages.size() == 1);
    std::string const & message = whole.messages[0];
    check_header(std::string_view(message).substr(0, body_start - 2), input.is_extended);
    if (input.encoding != RFC1521::ASCII_8bit) { // else a body could hold a delimiter
        check_bodies(message, input);
    } else if (!input.is_multipart) {
        require(message.substr(body_start, body_end - body_start) == as_sent(input));
    }

    DescribedNote split(message_of(input));
    set_up(split, input, input.split_size);
    require(split.Send() == 1);
    std::vector<std::string> const & sent = split.messages;
    if (input.is_extended) return 0; // each run has ids of its own
    require((sent.size() == 1 ? sent[0] : vellum::test::joined(sent)) == message);
    return 0;
}
