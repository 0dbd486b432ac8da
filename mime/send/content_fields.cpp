// mime/send/content_fields.cpp - the fields that tell what a part is
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/client_parameters.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/field_writer.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/writing_rules.hpp"

using vellum::FieldWriter;
using vellum::TextKind;

/// The further parameters of `field` that the note has.
std::vector<vellum::ClientParameter> MimeSender::AskParameters(char const * field) {
    std::vector<vellum::ClientParameter> result;
    vellum::ParameterNames names;
    if (!rules->extended_parameters) return result;
    char const * name = nullptr;
    char const * value = nullptr;
    for (int i = 0; note->Get_Parameter(field, i, name, value) != 0; ++i) {
        bool const is_whole = name != nullptr && value != nullptr;
        if (is_whole && names.Take(name)) result.push_back({name, value});
        name = value = nullptr;
    }
    return result;
}

void MimeSender::Generate_Content_Type(char const * type, char const * subtype,
                                       char const * boundary, char const * charset,
                                       char const * name) {
    auto const further = AskParameters(RFC1521::Content_Type);
    FieldWriter field(*this, RFC1521::Content_Type);
    field.text(": ").raw(type).text("/").raw(subtype);
    if (charset != nullptr) field.text("; ").text(RFC1521::charset).text("=").raw(charset);
    if (boundary != nullptr) {
        field.text("; ").text(RFC1521::boundary).text("=").delimited(boundary, '"', '"', true);
    }
    if (name != nullptr) field.parameter(";\r\n ", RFC1521::name, name);
    field.parameters(further).end();
}

void MimeSender::Generate_Content_Transfer_Encoding(char const * encoding) {
    if (encoding == nullptr) return;
    FieldWriter(*this, RFC1521::Content_Transfer_Encoding).text(": ").raw(encoding).end();
}

void MimeSender::Generate_Content_Description(char const * filename, char const * description) {
    vellum::OwnedText answer;
    if (description == nullptr) {
        note->Get_Content_Description(description);
        answer = vellum::copy_text(description);
        description = answer.get();
    }
    bool const has_name = filename != nullptr && filename[0] != '\0' && !rules->only_fields_given;
    if (description == nullptr && !has_name) return;
    FieldWriter field(*this, RFC1521::Content_Description);
    field.text(": ");
    if (description != nullptr) {
        field.encoded(description, TextKind::unstructured);
    } else {
        field.delimited(filename, '<', '>', false);
    }
    field.end();
}

void MimeSender::Generate_Content_Disposition(char const * filename) {
    SymToken disposition;
    char const * name = nullptr;
    note->Get_Content_Disposition(disposition, name);
    auto const answer = vellum::copy_text(name);
    name = answer != nullptr ? answer.get() : filename;
    if (name == nullptr && !disposition) return;
    char const * const word = disposition;
    if (word == nullptr || (field_guard && !vellum::is_token(word))) {
        disposition = RFC1806::attachment;
    }
    context->item->disposition = disposition;
    auto const further = AskParameters(RFC1806::Content_Disposition);
    FieldWriter field(*this, RFC1806::Content_Disposition);
    field.text(": ").raw(disposition);
    if (name != nullptr) field.parameter("; ", RFC1806::filename, name);
    field.parameters(further).end();
}
