// examples/support/part_note.cpp - the note that the example programs build upon
#include "examples/support/part_note.hpp"

#include "examples/support/lower_case.hpp"

#include <utility>

namespace examples {

bool PartInfo::is_encoded() const {
    return transfer_encoding == RFC1521::base64 || transfer_encoding == RFC1521::quoted_printable ||
           transfer_encoding == X::uuencode;
}

bool PartInfo::is_sealed() const {
    if (type != RFC1521::multipart || subtype == nullptr) return false;
    std::string const kind = lower_case(subtype);
    return kind == "signed" || kind == "encrypted";
}

PartNote::PartNote(std::istream & in, Bodies bodies)
    : MimeINote(in), bodies_(bodies), factory_(new TextFactory) {
    SetNLS(factory_, 1);
    SetPartialDir(no_directory);
    SetReading(Reading_Extended);
}

void PartNote::BeginPart(MimeContext & context) {
    top_.See(context);
    part_ = {};
    has_disposition_name_ = false;
}

void PartNote::BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) {
    if (data == nullptr) return; // the parts in it come one by one
    is_in_leaf_ = true;
    factory_->is_off = bodies_ == Bodies::as_sent;
    *(is_raw_ ? raw : data) = BeginLeaf(context);
}

void PartNote::EndBody(MimeContext & context) {
    if (!std::exchange(is_in_leaf_, false)) return;
    factory_->is_off = false;
    EndLeaf(context);
}

void PartNote::SetFileName(char const * field, char const * name) {
    // Where several fields name the file, Content-Disposition has the last word.
    if (has_disposition_name_ && field != RFC1806::Content_Disposition) return;
    has_disposition_name_ = field == RFC1806::Content_Disposition;
    part_.file_name = name;
}

void PartNote::SetParameter(char const * field, char const * attribute, char const * value) {
    bool const is_charset = field == RFC1521::Content_Type && attribute == RFC1521::charset;
    if (is_charset) charset_ = value;
}

void PartNote::Set_Content_Type(char const *, char const * type, char const * subtype) {
    part_.type = type;
    part_.subtype = subtype;
    part_.charset = std::exchange(charset_, {}); // a second Content-Type replaces the first whole
}

void PartNote::Set_Content_Transfer_Encoding(char const * encoding) {
    part_.transfer_encoding = encoding;
    MimeINote::Set_Content_Transfer_Encoding(encoding); // on to SetProperty, like any other field
}

void PartNote::Set_Content_Disposition(char const *, char const * disposition, char const *) {
    part_.disposition = disposition;
}

char const * name_of(MimeINote::ReceiveResult result) {
    switch (result) {
    case MimeINote::Receive_Complete: return "complete";
    case MimeINote::Receive_Fragment_Stored: return "fragment_stored";
    default: return "not_finished";
    }
}

} // namespace examples
