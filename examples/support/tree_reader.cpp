// examples/support/tree_reader.cpp - the note that reads a message into a tree to be written again
#include "examples/support/tree_reader.hpp"

#include "examples/support/crlf_stream.hpp"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

namespace examples {

namespace {

/// The walks of reading and writing take some stack for each level; this many fit into a megabyte.
constexpr int deepest_nesting = 500;

/// The encoding in which a text body is written again: that which it came in, if there is an
/// encoder for it or none is needed.
char const * encoding_like(char const * token, bool has_eight_bit) {
    if (token == X::uuencode) return RFC1521::base64;
    for (char const * const known : {RFC1521::quoted_printable, RFC1521::base64, RFC1521::binary}) {
        if (token == known) return known;
    }
    return has_eight_bit ? RFC1521::ASCII_8bit : RFC1521::ASCII_7bit;
}

/// A character set's name is written bare, so it has to be a token (RFC 2045 5.1).
bool is_token(std::string_view text) {
    constexpr std::string_view special = "()<>@,;:\\\"/[]?=";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return c > ' ' && c < 0x7F && special.find(c) == special.npos;
    });
}

} // namespace

TreeReader::TreeReader(std::istream & in, Place place)
    : PartNote(in, Bodies::as_sent), place_(place), spool_(std::make_shared<Spool>()) {
    SetNestingLimit(deepest_nesting);
}

std::unique_ptr<OutgoingPart> TreeReader::Read() {
    Receive();
    return std::move(root_);
}

void TreeReader::BeginPart(MimeContext & context) {
    PartNote::BeginPart(context);
    auto part = std::make_unique<OutgoingPart>();
    OutgoingPart * const added = part.get();
    if (open_.empty()) {
        root_ = std::move(part);
    } else {
        open_.back()->parts.push_back(std::move(part));
    }
    open_.push_back(added);
}

void TreeReader::EndHeader(MimeContext &) {
    OutgoingPart & part = *open_.back();
    part.type = Part().type;
    part.subtype = Part().subtype;
    part.disposition = Part().disposition;
    part.file_name = Part().file_name;
}

std::ostream * TreeReader::BeginLeaf(MimeContext &) {
    body_start_ = spool_->StartBody();
    return &spool_->out();
}

void TreeReader::EndLeaf(MimeContext &) {
    OutgoingPart & part = *open_.back();
    part.open = [spool = spool_, begin = body_start_, end = spool_->size()] {
        return Spool::Open(spool, begin, end);
    };
    bool const is_unopened = part.is_multipart(); // it lies too deep or has no boundary
    if (is_unopened) {
        part.type = RFC1521::application;
        part.subtype = RFC1521::octet_stream;
    }
    if (part.type == RFC1521::text) SettleText(part);
}

/// The engine declares no encoding for a part that encloses others, which then counts as one of
/// seven bits (RFC 2045 6.4): within one, what has more is encoded. Text that isn't gets the line
/// ends of mail.
void TreeReader::SettleText(OutgoingPart & part) const {
    bool const is_message = open_.size() == 1 && place_ == Place::alone;
    bool const has_eight_bit = spool_->has_eight_bit();
    part.encoding = encoding_like(Part().transfer_encoding, has_eight_bit);
    // In such text a line end isn't two bytes, and no mail may hold it as it is.
    if (spool_->has_nul()) part.encoding = RFC1521::base64;
    bool const is_binary = part.encoding == RFC1521::binary;
    bool const is_encoded =
        part.encoding == RFC1521::quoted_printable || part.encoding == RFC1521::base64;
    if (!is_encoded && !is_binary) {
        part.open = [open = part.open] { return std::make_unique<CrlfStream>(open()); };
    }
    if (!is_message && is_binary) part.encoding = RFC1521::base64;
    if (!is_message && part.encoding == RFC1521::ASCII_8bit) {
        part.encoding = RFC1521::quoted_printable;
    }
    part.charset = Part().charset.value_or("");
    // RFC 1428 has the name for a text of which nobody said what it is in.
    if (!is_token(part.charset)) part.charset = has_eight_bit ? "unknown-8bit" : "US-ASCII";
}

void TreeReader::EndPart(MimeContext &) {
    OutgoingPart & part = *open_.back();
    if (!part.is_multipart() && part.parts.empty() && !part.open) { // a message/rfc822 of nothing
        part.open = [] { return std::make_unique<std::istringstream>(); };
    }
    open_.pop_back();
}

/// A field in which no address could be read goes on as it was.
void TreeReader::AddAddress(char const * field, char const * body, char const * phrase,
                            char const * address) {
    auto const text_of = [](char const * text) { return std::string(text ? text : ""); };
    bool const is_end = body == nullptr;
    std::string const name = text_of(phrase);
    std::string const text = is_end && !has_address_ ? field_text_ : text_of(address);
    if (name.empty() && text.empty()) return;
    has_address_ = true;
    open_.back()->addresses.push_back({field, name, text});
}

void TreeReader::Set_From(char const * field, char const * body, char const * phrase,
                          char const * address) {
    AddAddress(field, body, phrase, address);
}

void TreeReader::Set_To(char const * field, char const * body, char const * phrase,
                        char const * address) {
    AddAddress(field, body, phrase, address);
}

void TreeReader::Set_Disposition_notification_to(char const *, char const * phrase,
                                                 char const * address) {
    if (address == nullptr) return;
    open_.back()->addresses.push_back(
        {MDN::Disposition_notification_to, phrase != nullptr ? phrase : "", address});
}

void TreeReader::Set_Date(char const * field, char const * body, tm const &) {
    if (field == RFC822::Date) open_.back()->date = MimeDateTime(body);
}

/// A date that can't be read becomes the present, as the basic way of reading has it.
void TreeReader::Set_DateTime(char const * field, char const *, MimeDateTime const * when) {
    if (field == RFC822::Date && when != nullptr) open_.back()->date = *when;
}

void TreeReader::Set_Message_Id(char const * field, char const * id) {
    if (field == RFC822::Message_Id) open_.back()->message_id = id;
}

/// The engine writes the angle brackets itself.
void TreeReader::Set_Return_Path(char const * text) {
    std::string path = text;
    if (path.size() >= 2 && path.front() == '<' && path.back() == '>') {
        path = path.substr(1, path.size() - 2);
    }
    open_.back()->fields.emplace_back(RFC822::Return_Path, path);
}

void TreeReader::SetProperty(char const * name, MimeString const & value) {
    if (name == nullptr) return;
    field_text_.assign(value.get_String(), value.get_Length());
    has_address_ = false;
    bool const is_of_engine = std::string_view(name) == "X-MIME-Engine"; // it writes its own
    if (!is_of_engine) open_.back()->fields.emplace_back(name, field_text_);
}

} // namespace examples
