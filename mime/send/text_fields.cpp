// mime/send/text_fields.cpp - the fields that are one text of the note's
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/field_writer.hpp"
#include "mime/send/sender.hpp"

using vellum::FieldWriter;
using vellum::TextKind;

namespace {

/// A field of a raw value; null for none.
void write_raw(MimeSender & sender, char const * name, char const * value) {
    if (value != nullptr) FieldWriter(sender, name).text(": ").raw(value).end();
}

void write_encoded(MimeSender & sender, char const * name, char const * value) {
    if (value == nullptr) return;
    FieldWriter(sender, name).text(": ").encoded(value, TextKind::unstructured).end();
}

} // namespace

// Whether a getter of these gives 0 or not doesn't count: a value makes the field.

void MimeSender::Generate_In_Reply_To() {
    char const * value = nullptr;
    note->Get_In_Reply_To(value);
    write_raw(*this, RFC822::In_Reply_To, value);
}

void MimeSender::Generate_Keywords() {
    char const * value = nullptr;
    note->Get_Keywords(value);
    write_raw(*this, RFC822::Keywords, value);
}

void MimeSender::Generate_References() {
    char const * value = nullptr;
    note->Get_References(value);
    write_raw(*this, RFC822::References, value);
}

void MimeSender::Generate_Encrypted() {
    char const * value = nullptr;
    note->Get_Encrypted(value);
    write_raw(*this, RFC822::Encrypted, value);
}

void MimeSender::Generate_Importance() {
    char const * value = nullptr;
    note->Get_Importance(value);
    write_raw(*this, RFC1138::Importance, value);
}

void MimeSender::Generate_Priority() {
    char const * value = nullptr;
    note->Get_Priority(value);
    write_raw(*this, RFC1138::Priority, value);
}

void MimeSender::Generate_Sensitivity() {
    char const * value = nullptr;
    note->Get_Sensitivity(value);
    write_raw(*this, RFC1138::Sensitivity, value);
}

void MimeSender::Generate_Return_Path() {
    char const * value = nullptr;
    note->Get_Return_Path(value);
    if (value != nullptr) {
        FieldWriter(*this, RFC822::Return_Path).text(": <").raw(value).text(">").end();
    }
}

void MimeSender::Generate_Received() {
    char const * value = nullptr;
    note->Get_Received(value);
    write_encoded(*this, RFC822::Received, value);
}

void MimeSender::Generate_Comments() {
    char const * value = nullptr;
    note->Get_Comments(value);
    write_encoded(*this, RFC822::Comments, value);
}

void MimeSender::Generate_Subject() { write_encoded(*this, RFC822::Subject, subject.get()); }
