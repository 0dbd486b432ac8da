// mime/send/outgoing_note.cpp - the settings of an outgoing note and the defaults of its callbacks
#include "mime/note/outgoing_note.hpp"

#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/writing_rules.hpp"

#include <algorithm>
#include <new>
#include <string_view>

namespace {

constexpr unsigned int default_split_size = 256000;
/// Smaller fragments would be little more than their headers.
constexpr unsigned int least_split_size = 30720;

int no_text(char const *& value) {
    value = nullptr;
    return 0;
}

int no_stream(std::istream ** stream) {
    if (stream != nullptr) *stream = nullptr;
    return 0;
}

int no_address(char const *& name, char const *& address) {
    name = address = nullptr;
    return 0;
}

} // namespace

MimeONote::MimeONote()
    : network_split_size_(default_split_size), sender_(new (std::nothrow) MimeSender(this)) {}

MimeONote::~MimeONote() {
    sender_.reset(); // its translators may look at the factories that made them
    if (factories_ != nullptr) factories_->Delete();
}

// what a client calls --------------------------------------------------------------

int MimeONote::Send() { return sender_ != nullptr && sender_->Send_Message() ? 1 : 0; }

int MimeONote::SendField(char const * name, char const * value) {
    return sender_ != nullptr && sender_->Send_HeaderField(name, value) ? 1 : 0;
}

unsigned int MimeONote::SetNetworkSplitSize(unsigned int size) {
    network_split_size_ = size == 0 ? 0 : std::max(size, least_split_size);
    return network_split_size_;
}

char const * MimeONote::SetCharacterSet(SymToken name) {
    if (!name || sender_ == nullptr) return nullptr;
    TableItem * const entry = NLS::CharSetTable.LookUp(name, false, false);
    NLS_CharSet * const known = entry != nullptr ? entry->CharSet() : nullptr;
    sender_->character_set = known != nullptr ? known : &NLS::ReservedSet;
    return sender_->character_set->name;
}

char const * MimeONote::SetTextEncoding(SymToken encoding) {
    if (sender_ != nullptr) sender_->text_encoding = encoding;
    return encoding;
}

NLS_Translator_Factory * MimeONote::SetNLS(NLS_Translator_Factory * factory, int append) {
    vellum::add_factory(factories_, factory, append);
    return factory;
}

int MimeONote::SetFieldGuard(int on) {
    if (sender_ != nullptr) sender_->field_guard = on != 0;
    return on;
}

int MimeONote::SetWriting(Writing writing) {
    if (sender_ == nullptr) return Writing_Basic;
    bool const was_extended = sender_->rules == &vellum::extended_writing;
    bool const is_extended = writing == Writing_Extended;
    if (sender_->Sending() || is_extended == was_extended) {
        return was_extended ? Writing_Extended : Writing_Basic;
    }
    sender_->rules = is_extended ? &vellum::extended_writing : &vellum::basic_writing;
    sender_->field_guard = is_extended;
    network_split_size_ = is_extended ? 0 : default_split_size;
    return writing;
}

int MimeONote::SetIdDomain(char const * domain) {
    if (sender_ == nullptr) return 0;
    std::string_view const own = domain != nullptr ? domain : "";
    if (!own.empty() && !vellum::is_id_domain(own)) return 0;
    sender_->settings.id_domain = own;
    return 1;
}

int MimeONote::SetParameterForm(ParameterForm form) {
    if (sender_ != nullptr) sender_->settings.parameter_form = form;
    return form;
}

int MimeONote::SetBcc(int on) {
    if (sender_ != nullptr) sender_->settings.bcc = on != 0;
    return on;
}

int MimeONote::SetUtf8(int on) {
    if (sender_ != nullptr) sender_->settings.utf8 = on != 0;
    return on;
}

int MimeONote::SendRawField(char const * bytes, unsigned long size) {
    return sender_ != nullptr && sender_->Send_RawField(bytes, size) ? 1 : 0;
}

MimeContext const * MimeONote::Context() const {
    return sender_ != nullptr ? sender_->context : nullptr;
}

void MimeONote::FlushOutputBuffers() {
    if (sender_ != nullptr) sender_->FlushOutputBuffers();
}

// the walk -------------------------------------------------------------------------

int MimeONote::BeginPart(MimeContext &) { return 0; }
void MimeONote::EndPart(MimeContext &) {}
int MimeONote::BeginHeader(MimeContext &) { return 0; }
int MimeONote::PutHeader(MimeContext &) { return 0; }
void MimeONote::PutTraceFields() {}
void MimeONote::EndHeader(MimeContext &) {}

int MimeONote::BeginBody(MimeContext &, std::istream ** body) { return no_stream(body); }

int MimeONote::GetPreamble(MimeContext &, std::istream ** text) { return no_stream(text); }
int MimeONote::GetEpilogue(MimeContext &, std::istream ** text) { return no_stream(text); }
void MimeONote::EndBody(MimeContext &) {}

// values ---------------------------------------------------------------------------

int MimeONote::Get_From(SymToken &, char const *& name, char const *& address) {
    return no_address(name, address);
}
int MimeONote::Get_To(SymToken &, char const *& name, char const *& address) {
    return no_address(name, address);
}
int MimeONote::Get_Disposition_notification_to(char const *& name, char const *& address) {
    return no_address(name, address);
}

int MimeONote::Get_Return_Path(char const *& value) {
    return GetProperty(RFC822::Return_Path, value);
}
int MimeONote::Get_In_Reply_To(char const *& value) {
    return GetProperty(RFC822::In_Reply_To, value);
}
int MimeONote::Get_References(char const *& value) {
    return GetProperty(RFC822::References, value);
}
int MimeONote::Get_Keywords(char const *& value) { return GetProperty(RFC822::Keywords, value); }
int MimeONote::Get_Subject(char const *& value) { return GetProperty(RFC822::Subject, value); }
int MimeONote::Get_Received(char const *& value) { return GetProperty(RFC822::Received, value); }
int MimeONote::Get_Comments(char const *& value) { return GetProperty(RFC822::Comments, value); }
int MimeONote::Get_Encrypted(char const *& value) { return GetProperty(RFC822::Encrypted, value); }
int MimeONote::Get_Importance(char const *& value) {
    return GetProperty(RFC1138::Importance, value);
}
int MimeONote::Get_Priority(char const *& value) { return GetProperty(RFC1138::Priority, value); }
int MimeONote::Get_Sensitivity(char const *& value) {
    return GetProperty(RFC1138::Sensitivity, value);
}
int MimeONote::Get_Content_Description(char const *& value) {
    return GetProperty(RFC1521::Content_Description, value);
}
int MimeONote::Get_Content_Id(char const *& value) {
    return GetProperty(RFC1521::Content_Id, value);
}
int MimeONote::GetProperty(char const *, char const *& value) { return no_text(value); }

int MimeONote::Get_Message_Id(char const *& value) { return no_text(value); }
int MimeONote::Get_Date(std::tm &, int &) { return 0; }

int MimeONote::Get_Content_Type(SymToken & type, SymToken & subtype) {
    type = RFC1521::text;
    subtype = RFC1521::plain;
    return 1;
}

int MimeONote::Get_Content_Disposition(SymToken & disposition, char const *& filename) {
    disposition = nullptr;
    filename = nullptr;
    return 0;
}

int MimeONote::Get_Parameter(char const *, int, char const *& name, char const *& value) {
    name = value = nullptr;
    return 0;
}

void MimeONote::PutXFields() {}
int MimeONote::GetFileName(char const *& value) { return no_text(value); }
int MimeONote::GetBoundary(char const *& value) { return no_text(value); }
