// mime/receive/incoming_note.cpp - the client's side of reading a message
#include "mime/note/incoming_note.hpp"

#include "mime/MIMEUTIL.hpp"
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/receiver.hpp"

#include <string>
#include <utility>

MimeINote::MimeINote(TiStreamLite & in)
    : lite_stream_(&in), nesting_limit_(vellum::default_nesting_limit) {}

MimeINote::MimeINote(std::istream & in)
    : stream_(&in), nesting_limit_(vellum::default_nesting_limit) {}

MimeINote::MimeINote(iSimpleStream & in)
    : simple_stream_(&in), nesting_limit_(vellum::default_nesting_limit) {}

MimeINote::~MimeINote() {
    SetCookie(nullptr);
    if (factories_ != nullptr) factories_->Delete();
}

MimeINote::ReceiveResult MimeINote::Receive() {
    char const * const dir = partial_directory_.get();
    bool const headers_only = headers_only_ != 0;
    auto const run = [&](auto * in) {
        return MimeReceiver(this, in, dir, headers_only, debug_stream_).Get_message();
    };
    if (lite_stream_ != nullptr) return run(lite_stream_);
    if (stream_ != nullptr) return run(stream_);
    if (simple_stream_ != nullptr) return run(simple_stream_);
    return Receive_Not_Finished;
}

char const * MimeINote::SetPartialDir(char const * dir) {
    partial_directory_ = vellum::copy_text(dir);
    return partial_directory_.get();
}

void MimeINote::SetPartialLimits(long long bytes, long long messages, long long seconds) {
    partial_limits_ = {bytes, messages, seconds};
}

std::ostream * MimeINote::SetDebugStream(std::ostream * debug) { return debug_stream_ = debug; }

MimeClientCookie * MimeINote::SetCookie(MimeClientCookie * cookie) {
    if (cookie == cookie_) return cookie;
    bool const is_in_use = outermost_ != nullptr && outermost_->cookie == cookie;
    if (MimeClientCookie * const old = std::exchange(cookie_, is_in_use ? nullptr : cookie)) {
        old->Delete();
    }
    return cookie;
}

NLS_Translator_Factory * MimeINote::SetNLS(NLS_Translator_Factory * factory, int append) {
    vellum::add_factory(factories_, factory, append);
    return factory;
}

int MimeINote::SetHeadersOnly(int flag) { return headers_only_ = flag; }

int MimeINote::SetNestingLimit(int limit) {
    nesting_limit_ = limit < 0 ? 0 : limit;
    return limit;
}

int MimeINote::SetReading(Reading reading) { return reading_ = reading; }

int MimeINote::SetCodePage(int codePage) { return code_page_ = codePage; }

char const * MimeINote::SetFallbackCharSet(char const * name) {
    fallback_set_ = NLS::FindCharSet(name);
    return fallback_set_ != nullptr ? fallback_set_->name : nullptr;
}

unsigned long MimeINote::SetHeaderLimit(unsigned long bytes) { return header_limit_ = bytes; }

int MimeINote::SetPartLimit(int count) {
    part_limit_ = count < 0 ? 0 : count;
    return count;
}

void MimeINote::BeginPart(MimeContext &) {}
void MimeINote::EndPart(MimeContext &) {}
void MimeINote::BeginHeader(MimeContext &) {}
void MimeINote::EndHeader(MimeContext &) {}
void MimeINote::SetFileName(char const *, char const *) {}
void MimeINote::BeginBody(MimeContext &, std::ostream **, std::ostream **) {}
void MimeINote::EndBody(MimeContext &) {}

void MimeINote::Set_From(char const * field, char const * body, char const *, char const *) {
    SetProperty(field, MimeString(body));
}

void MimeINote::Set_To(char const * field, char const * body, char const *, char const *) {
    SetProperty(field, MimeString(body));
}

void MimeINote::Set_Date(char const * field, char const * body, tm const &) {
    SetProperty(field, MimeString(body));
}

void MimeINote::Set_Message_Id(char const * field, char const * id) {
    SetProperty(field, MimeString(id));
}

void MimeINote::Set_Return_Path(char const * text) {
    SetProperty(RFC822::Return_Path, MimeString(text));
}

void MimeINote::Set_Received(char const * text) { SetProperty(RFC822::Received, MimeString(text)); }

void MimeINote::Set_In_Reply_To(char const * text) {
    SetProperty(RFC822::In_Reply_To, MimeString(text));
}

void MimeINote::Set_References(char const * text) {
    SetProperty(RFC822::References, MimeString(text));
}

void MimeINote::Set_Keywords(char const * text) { SetProperty(RFC822::Keywords, MimeString(text)); }

void MimeINote::Set_Encrypted(char const * text) {
    SetProperty(RFC822::Encrypted, MimeString(text));
}

void MimeINote::Set_Subject(MimeString text) {
    Set_Subject(std::string(text.get_String(), text.get_Length()).c_str());
}

void MimeINote::Set_Subject(char const * text) { SetProperty(RFC822::Subject, MimeString(text)); }

void MimeINote::Set_Comments(MimeString text) {
    Set_Comments(std::string(text.get_String(), text.get_Length()).c_str());
}

void MimeINote::Set_Comments(char const * text) { SetProperty(RFC822::Comments, MimeString(text)); }

void MimeINote::Set_Importance(char const * word) {
    SetProperty(RFC1138::Importance, MimeString(word));
}

void MimeINote::Set_Priority(char const * word) {
    SetProperty(RFC1138::Priority, MimeString(word));
}

void MimeINote::Set_Sensitivity(char const * word) {
    SetProperty(RFC1138::Sensitivity, MimeString(word));
}

void MimeINote::Set_MIME_Version(char const * text) {
    SetProperty(RFC1521::MIME_Version, MimeString(text));
}

void MimeINote::Set_Content_Id(char const * id) {
    SetProperty(RFC1521::Content_Id, MimeString(id));
}

void MimeINote::Set_Content_Type(char const * body, char const *, char const *) {
    SetProperty(RFC1521::Content_Type, MimeString(body));
}

void MimeINote::Set_Content_Description(char const * text) {
    SetProperty(RFC1521::Content_Description, MimeString(text));
}

void MimeINote::Set_Content_Transfer_Encoding(char const * encoding) {
    SetProperty(RFC1521::Content_Transfer_Encoding, MimeString(encoding));
}

void MimeINote::Set_Content_Disposition(char const * body, char const *, char const *) {
    SetProperty(RFC1806::Content_Disposition, MimeString(body));
}

void MimeINote::Set_URL(char const * url) { SetProperty("X-URL", MimeString(url)); }

void MimeINote::Set_Disposition_notification_to(char const * body, char const *, char const *) {
    SetProperty(MDN::Disposition_notification_to, MimeString(body));
}

void MimeINote::SetParameter(char const *, char const *, char const *) {}
void MimeINote::SetProperty(char const *, MimeString const &) {}

void MimeINote::BeginPreamble(MimeContext &, std::ostream **) {}
void MimeINote::EndPreamble(MimeContext &) {}
void MimeINote::BeginEpilogue(MimeContext &, std::ostream **) {}
void MimeINote::EndEpilogue(MimeContext &) {}
void MimeINote::SetGroup(char const *, char const *) {}

void MimeINote::Set_DateTime(char const * field, char const * body, MimeDateTime const * when) {
    if (when == nullptr) return SetProperty(field, MimeString(body));
    MimeDateTime utc(*when);
    utc.ConvertUT();
    Set_Date(field, body, utc.GetStructTM());
}

void MimeINote::Defect(MimeContext const &, MimeDefect, long long) {}
void MimeINote::RawField(MimeContext &, char const *, unsigned long, long long) {}
