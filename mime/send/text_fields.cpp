// mime/send/text_fields.cpp - the fields that are one text of the note's
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/field_writer.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"

using vellum::FieldWriter;
using vellum::OwnedText;
using vellum::TextKind;

namespace {

/// A copy of the text that a getter of the plain family stores; null for no field. Whether the
/// getter returns 0 or not doesn't count. The text itself is good until the next call into the
/// note, and that can come while the name of the field is written.
OwnedText answer(MimeONote & note, int (MimeONote::*getter)(char const *&)) {
    char const * value = nullptr;
    (note.*getter)(value);
    return vellum::copy_text(value);
}

void write_words(MimeSender & sender, char const * name, OwnedText const & value) {
    if (value != nullptr) FieldWriter(sender, name).text(": ").words(value.get()).end();
}

void write_encoded(MimeSender & sender, char const * name, OwnedText const & value) {
    if (value == nullptr) return;
    FieldWriter(sender, name).text(": ").encoded(value.get(), TextKind::unstructured).end();
}

} // namespace

void MimeSender::Generate_In_Reply_To() {
    write_words(*this, RFC822::In_Reply_To, answer(*note, &MimeONote::Get_In_Reply_To));
}

void MimeSender::Generate_Keywords() {
    write_words(*this, RFC822::Keywords, answer(*note, &MimeONote::Get_Keywords));
}

void MimeSender::Generate_References() {
    write_words(*this, RFC822::References, answer(*note, &MimeONote::Get_References));
}

void MimeSender::Generate_Encrypted() {
    write_words(*this, RFC822::Encrypted, answer(*note, &MimeONote::Get_Encrypted));
}

void MimeSender::Generate_Importance() {
    write_words(*this, RFC1138::Importance, answer(*note, &MimeONote::Get_Importance));
}

void MimeSender::Generate_Priority() {
    write_words(*this, RFC1138::Priority, answer(*note, &MimeONote::Get_Priority));
}

void MimeSender::Generate_Sensitivity() {
    write_words(*this, RFC1138::Sensitivity, answer(*note, &MimeONote::Get_Sensitivity));
}

void MimeSender::Generate_Received() {
    write_encoded(*this, RFC822::Received, answer(*note, &MimeONote::Get_Received));
}

void MimeSender::Generate_Comments() {
    write_encoded(*this, RFC822::Comments, answer(*note, &MimeONote::Get_Comments));
}

void MimeSender::Generate_Return_Path() {
    OwnedText const value = answer(*note, &MimeONote::Get_Return_Path);
    if (value == nullptr) return;
    bool const is_null_path = value[0] == '\0';
    if (field_guard && !is_null_path && !vellum::is_address(value.get())) return;
    auto const path = vellum::value_for_header(*this, value.get());
    if (!path) return;
    FieldWriter(*this, RFC822::Return_Path).text(": <").raw(path->c_str()).text(">").end();
}

void MimeSender::Generate_Subject() { write_encoded(*this, RFC822::Subject, subject); }
