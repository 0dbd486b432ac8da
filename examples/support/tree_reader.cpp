// examples/support/tree_reader.cpp - the note that reads a message into a tree to be written again
#include "examples/support/tree_reader.hpp"

#include <sstream>
#include <utility>

namespace examples {

namespace {

/// The encoding in which a text body is written again: that which it came in, if there is an
/// encoder for it or none is needed.
char const * encoding_like(char const * token) {
    if (token == X::uuencode) return RFC1521::base64;
    return token != nullptr ? token : RFC1521::ASCII_7bit;
}

} // namespace

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
    part.charset = Part().charset.value_or("US-ASCII");
    part.encoding = encoding_like(Part().transfer_encoding);
}

std::ostream * TreeReader::BeginLeaf(MimeContext &) {
    body_start_ = spool_->size();
    return &spool_->out();
}

void TreeReader::EndLeaf(MimeContext &) {
    open_.back()->open = [spool = spool_, begin = body_start_, end = spool_->size()] {
        return Spool::Open(spool, begin, end);
    };
}

void TreeReader::EndPart(MimeContext &) {
    OutgoingPart & part = *open_.back();
    if (!part.is_multipart() && part.parts.empty() && !part.open) { // a message/rfc822 of nothing
        part.open = [] { return std::make_unique<std::istringstream>(); };
    }
    open_.pop_back();
}

void TreeReader::AddAddress(char const * field, char const * phrase, char const * address) {
    if (address == nullptr) return;
    open_.back()->addresses.push_back({field, phrase != nullptr ? phrase : "", address});
}

void TreeReader::Set_From(char const * field, char const *, char const * phrase,
                          char const * address) {
    AddAddress(field, phrase, address);
}

void TreeReader::Set_To(char const * field, char const *, char const * phrase,
                        char const * address) {
    AddAddress(field, phrase, address);
}

void TreeReader::Set_Disposition_notification_to(char const *, char const * phrase,
                                                 char const * address) {
    AddAddress(MDN::Disposition_notification_to, phrase, address);
}

void TreeReader::Set_Date(char const * field, char const * body, tm const &) {
    if (field == RFC822::Date) open_.back()->date = MimeDateTime(body);
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
    open_.back()->fields.emplace_back(name, std::string(value.get_String(), value.get_Length()));
}

} // namespace examples
