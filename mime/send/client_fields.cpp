// mime/send/client_fields.cpp - the client's own fields, and the end of a header
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/note/position.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/field_writer.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/own_field.hpp"
#include "mime/send/scoped_value.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/writing_rules.hpp"

#include <string>
#include <string_view>
#include <utility>

using vellum::ScopedValue;
using vellum::set_position;

namespace {

constexpr std::string_view blank_line = "\r\n";

/// Whether the engine itself knows `name`. Words that messages and clients have brought into the
/// table don't count (those own their text): else a message with the type text/x-spam would keep
/// the field X-Spam out of all that this process writes.
bool is_own_word(char const * name) {
    TableItem const * const entry = SymbolTable::Main->LookUp(name, false, false);
    return entry != nullptr && !entry->owned;
}

} // namespace

void MimeSender::Generate_X_extensions() {
    ScopedValue const accept(accepting_fields, true);
    note->PutXFields();
}

bool MimeSender::Send_HeaderField(char const * name, char const * value) {
    if (!accepting_fields || stream->Busy() || name == nullptr || value == nullptr) return false;
    if (!IsClientField(name)) return false;
    // Copies, as the note is called again if the field is cut.
    std::string const own_name(name);
    // Bare LF ends the lines of folds here too; the guard makes a blank of any other.
    std::string const own_value = rules->any_own_field ? vellum::unfolded(value) : value;
    vellum::FieldWriter field(*this, own_name.c_str());
    field.text(": ");
    if (rules->any_own_field && vellum::is_structured(own_name)) {
        field.words(own_value.c_str());
    } else {
        field.encoded(own_value.c_str(), vellum::TextKind::unstructured);
    }
    field.end();
    return stream->good();
}

bool MimeSender::Send_RawField(char const * bytes, std::size_t size) {
    if (!accepting_fields || stream->Busy() || bytes == nullptr) return false;
    std::string field;
    if (!vellum::read_field({bytes, size}, field)) return false;
    // In a header of the engine's the field would be a second one of its name.
    if (IsFieldOfEngine(std::string_view(field).substr(0, field.find(':')))) return false;
    stream->write(field);
    return stream->good();
}

bool MimeSender::Pass_On_Header(MimeContext & ctx) {
    if (!rules->headers_passed_on) return false;
    ScopedValue const accept(accepting_fields, true);
    ScopedValue const any(any_field_, true);
    bool const is_complete = note->PutHeader(ctx) != 0;
    // Which of its fields the fragments would have to repeat isn't known.
    if (is_complete && first_header_open) stream->KeepWhole();
    return is_complete;
}

void MimeSender::Generate_trace_fields() {
    if (!rules->trace_fields_first) return;
    ScopedValue const accept(accepting_fields, true);
    note->PutTraceFields();
}

/// Whether SendField may write the field `name` now.
bool MimeSender::IsClientField(char const * name) const {
    if (!rules->any_own_field) {
        // With something else for a name, the line would be no field, or another one.
        return !is_own_word(name) && (!field_guard || vellum::is_field_name(name));
    }
    return vellum::is_field_name(name) && std::string_view(name).size() < vellum::longest_line &&
           !IsFieldOfEngine(name);
}

bool MimeSender::IsFieldOfEngine(std::string_view name) const {
    bool const in_message = context->multipart_depth == 0;
    return !any_field_ && vellum::is_field_of_engine(name, {in_message, in_container_});
}

void MimeSender::End_of_Header(MimeContext & ctx) {
    Ask_Last_Fields(ctx);
    Close_Header(ctx);
}

void MimeSender::Ask_Last_Fields(MimeContext & ctx) {
    set_position(ctx, &MimeContext::Exact::header_end,
                 Offset() + static_cast<long long>(blank_line.size()));
    bool const is_message = content_type == RFC1521::message && content_subtype == RFC1521::RFC822;
    ScopedValue const container(in_container_, is_message || content_type == RFC1521::multipart);
    ScopedValue const accept(accepting_fields, true);
    note->EndHeader(ctx);
}

void MimeSender::Close_Header(MimeContext & ctx) {
    stream->write(blank_line);
    set_position(ctx, &MimeContext::Exact::header_end, Offset());
    if (std::exchange(first_header_open, false)) {
        stream->HeaderDone([this](bool last) { Generate_PartialMessageHeaderFragment(last); });
    }
}
