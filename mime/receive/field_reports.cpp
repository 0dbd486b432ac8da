// mime/receive/field_reports.cpp - what the header parsers report goes on to the client's note
#include "mime/receive/receiver.hpp"

#include "mime/foundation/tokens.hpp"
#include "mime/receive/line_reader.hpp"

void MimeReceiver::SetProperty(char const * name, MimeString const & value) {
    note->SetProperty(name, value);
}

void MimeReceiver::SetParameter(char const * field, char const * attribute, char const * value) {
    note->SetParameter(field, attribute, value);
}

void MimeReceiver::SetFileName(char const * field, char const * name) {
    note->SetFileName(field, name);
}

void MimeReceiver::Set_From(char const * field, char const * body, char const * phrase,
                            char const * address) {
    note->Set_From(field, body, phrase, address);
}

void MimeReceiver::Set_To(char const * field, char const * body, char const * phrase,
                          char const * address) {
    note->Set_To(field, body, phrase, address);
}

void MimeReceiver::Set_Disposition_notification_to(char const * body, char const * phrase,
                                                   char const * address) {
    note->Set_Disposition_notification_to(body, phrase, address);
}

void MimeReceiver::Set_Date(char const * field, char const * body, tm const & utc) {
    note->Set_Date(field, body, utc);
}

void MimeReceiver::Set_Message_Id(char const * field, char const * id) {
    note->Set_Message_Id(field, id);
}

void MimeReceiver::Set_Content_Type(char const * body) {
    note->Set_Content_Type(body, type, subtype);
}

void MimeReceiver::Set_Content_Disposition(char const * body, char const * file_name) {
    note->Set_Content_Disposition(body, disposition, file_name);
}

void MimeReceiver::Set_Text(char const * token, char const * text) {
    struct Row {
        char const * token;
        void (MimeINote::*operation)(char const *);
    };
    Row const rows[] = {
        {RFC822::Received, &MimeINote::Set_Received},
        {RFC822::Return_Path, &MimeINote::Set_Return_Path},
        {RFC822::In_Reply_To, &MimeINote::Set_In_Reply_To},
        {RFC822::References, &MimeINote::Set_References},
        {RFC822::Keywords, &MimeINote::Set_Keywords},
        {RFC822::Encrypted, &MimeINote::Set_Encrypted},
        {RFC1138::Importance, &MimeINote::Set_Importance},
        {RFC1138::Priority, &MimeINote::Set_Priority},
        {RFC1138::Sensitivity, &MimeINote::Set_Sensitivity},
        {RFC1521::MIME_Version, &MimeINote::Set_MIME_Version},
        {RFC1521::Content_Id, &MimeINote::Set_Content_Id},
        {RFC1521::Content_Description, &MimeINote::Set_Content_Description},
        {RFC1521::Content_Transfer_Encoding, &MimeINote::Set_Content_Transfer_Encoding},
    };
    for (Row const & row : rows) {
        if (row.token == token) return (note->*row.operation)(text);
    }
}

void MimeReceiver::Set_Decoded(char const * token, MimeString const & text) {
    if (token == RFC822::Subject) {
        note->Set_Subject(text);
    } else {
        note->Set_Comments(text);
    }
}

void MimeReceiver::Boundary_Init(char const * boundary) {
    // A multipart that is delivered as data has no level of its own: the delimiter on top is that
    // of the multipart around it.
    if (!is_too_deep_) line_reader_->Boundary_Init(boundary);
}
