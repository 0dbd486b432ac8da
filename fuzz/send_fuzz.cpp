// fuzz/send_fuzz.cpp - a message of one hostile value and one body, whole and in fragments
//
// Input:   four bytes of choices (block size, split size, encoding, how often the body is
//          repeated), a value up to the first 0xFF, and the body.
// Asserts: the fragments join to the message that an unsplit run gives; behind the field guard no
//          value begins a field; the body decodes to what was given.
#include "fuzz/target.hpp"
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/tokens.hpp"
#include "tests/support/outgoing_notes.hpp"
#include "tests/support/texts.hpp"

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Input {
    std::size_t block_size;
    unsigned int split_size;
    char const * encoding;
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
    Input input{choice(0) + 1U, 30720U + 64U * choice(1), encodings[choice(2) % 3], {}, {}};
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

class Note : public vellum::test::OutputNote {
public:
    Note(Input const & input, unsigned int split_size) : input_(input), body_(input.body) {
        block_size = input.block_size;
        SetNetworkSplitSize(split_size);
        SetTextEncoding(input.encoding);
        SetFieldGuard(1);
    }

    std::size_t body_start = 0;
    std::size_t body_end = 0;

protected:
    int Give(char const *& value) const {
        value = input_.value.c_str();
        return 1;
    }
    int GetProperty(char const *, char const *& value) override { return Give(value); }
    int Get_Message_Id(char const *& value) override { return Give(value); }
    int GetFileName(char const *& value) override { return Give(value); }
    int Get_To(SymToken &, char const *& name, char const *& address) override {
        bool const first = address == nullptr;
        Give(address);
        return first ? Give(name) : 0;
    }
    int Get_Date(std::tm &, int &) override { return 1; }
    int BeginBody(MimeContext & context, std::istream ** body) override {
        body_start = static_cast<std::size_t>(context.body_start);
        *body = &body_;
        return 1;
    }
    void EndBody(MimeContext & context) override {
        body_end = static_cast<std::size_t>(context.body_end);
    }

private:
    Input const & input_;
    std::istringstream body_;
};

/// Common header and data; a fragment's own header begins at its Subject.
std::string join(std::vector<std::string> const & messages) {
    std::string joined = messages[0].substr(0, messages[0].find("\r\nSubject: ") + 2);
    for (auto const & message : messages) {
        std::size_t const type = message.find("\r\nContent-Type: message/partial; number=");
        require(type != std::string::npos);
        joined += message.substr(message.find("\r\n\r\n", type) + 4);
    }
    return joined;
}

void check_header(std::string_view header) {
    static std::vector<std::string> const names = vellum::test::split(
        "Date:,To:,cc:,bcc:,Return-Path:,In-Reply-To:,Received:,Comments:,Keywords:,References:,"
        "Encrypted:,Importance:,Priority:,Sensitivity:,Subject:,Message-Id:,X-MIME-Engine:,"
        "MIME-Version:,Content-Type:,Content-Id:,Content-Transfer-Encoding:,Content-Description:,"
        "Content-Disposition:",
        ',');
    std::size_t seen = 0;
    while (!header.empty()) {
        std::size_t const end = header.find_first_of("\r\n");
        require(end != header.npos && header.substr(end, 2) == "\r\n");
        std::string_view const line = header.substr(0, end);
        header.remove_prefix(end + 2);
        require(!line.empty());
        if (line[0] == ' ' || line[0] == '\t') continue;
        while (seen < names.size() && !line.starts_with(names[seen]))
            ++seen;
        require(seen++ < names.size());
    }
}

std::string decode(std::string encoded, char const * encoding) {
    MIME_TransferDecoding * const decoder = MIME_TransferDecoding::Create(encoding);
    if (decoder == nullptr) return encoded;
    oSimpleStream out;
    iSimpleStream in(encoded.data(), encoded.data() + encoded.size());
    decoder->decode(&in, &out);
    decoder->Delete();
    return {out.str(), out.oBufCnt()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Input const input = read_input(view_of(data, size));
    Note whole(input, 0);
    require(whole.Send() == 1 && whole.messages.size() == 1);
    std::string const & message = whole.messages[0];
    check_header(std::string_view(message).substr(0, whole.body_start - 2));
    require(decode(message.substr(whole.body_start, whole.body_end - whole.body_start),
                   input.encoding) == input.body);

    Note split(input, input.split_size);
    require(split.Send() == 1);
    require((split.messages.size() == 1 ? split.messages[0] : join(split.messages)) == message);
    return 0;
}
