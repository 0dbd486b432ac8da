// mime/header/code_page_note.cpp - reports fields that were parsed in UTF-8 in the client's code
// page
#include "mime/header/code_page_note.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/text_stream.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/nls/character_boundary.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/utf_8.hpp"

#include <optional>
#include <utility>

namespace vellum {

namespace {

/// A string with the attributes of `like` that refers to the text.
MimeString string_of(std::string const & text, MimeString const & like) {
    MimeString string(text.c_str(), text.size(), like.get_CodePage());
    string.set_CharSet(like.get_CharSet());
    string.set_Encoding(like.get_Encoding());
    return string;
}

} // namespace

/// A text as the client gets it, for the time of a call. Text in US-ASCII, and null, stay the same
/// pointer, as the words of the protocol are compared by their address.
class CodePageNote::Text {
public:
    Text(CodePageNote const & note, char const * text) : text_(text) {
        if (text == nullptr || utf_8::is_ascii(text)) return;
        translated_ = note.translated(text);
        text_ = translated_.c_str();
    }
    Text(Text const &) = delete;
    Text & operator=(Text const &) = delete;

    operator char const *() const { return text_; }

private:
    char const * text_;
    std::string translated_;
};

CodePageNote::CodePageNote(HeaderRun & run)
    : MimeINote(nothing_), client_(*run.note), translators_(run.translators()) {}

bool CodePageNote::is_needed(HeaderRun & run) {
    return run.rules->eight_bit_text_guessed && run.factories != nullptr &&
           has_ascii_trail_bytes(static_cast<unsigned long>(run.code_page)) &&
           run.translators().made_for(&NLS::UTF_8);
}

CodePageNote::Scope::Scope(HeaderRun & run, CodePageNote & note)
    : run_(run), client_(std::exchange(run.note, &note)),
      code_page_(std::exchange(run.code_page, static_cast<int>(utf_8::code_page))) {}

CodePageNote::Scope::~Scope() {
    run_.note = client_;
    run_.code_page = code_page_;
}

std::string CodePageNote::translated(std::string_view text) const {
    TranslatorInUse const translator = translators_.made_for(&NLS::UTF_8);
    if (!translator) return std::string(text);
    TextStream source(text);
    oSimpleStream result;
    translator->CharSet_to_CodePage(&source, &result);
    return {result.str(), result.oBufCnt()};
}

std::string CodePageNote::translated_string(MimeString const & text) const {
    return translated({text.get_String(), text.get_Length()});
}

// Fields -----------------------------------------------------------------------------

void CodePageNote::SetFileName(char const * field, char const * name) {
    std::string & kept = file_names_[field];
    if (name == nullptr || utf_8::is_ascii(name)) return client_.SetFileName(field, name);
    kept = translated(name);
    client_.SetFileName(field, kept.c_str());
}

void CodePageNote::Set_From(char const * field, char const * body, char const * phrase,
                            char const * address) {
    client_.Set_From(Text(*this, field), Text(*this, body), Text(*this, phrase),
                     Text(*this, address));
}

void CodePageNote::Set_To(char const * field, char const * body, char const * phrase,
                          char const * address) {
    client_.Set_To(Text(*this, field), Text(*this, body), Text(*this, phrase),
                   Text(*this, address));
}

void CodePageNote::Set_Date(char const * field, char const * body, tm const & utc) {
    client_.Set_Date(field, Text(*this, body), utc);
}

void CodePageNote::Set_Message_Id(char const * field, char const * id) {
    client_.Set_Message_Id(field, Text(*this, id));
}

void CodePageNote::Set_Return_Path(char const * text) {
    client_.Set_Return_Path(Text(*this, text));
}

void CodePageNote::Set_Received(char const * text) { client_.Set_Received(Text(*this, text)); }

void CodePageNote::Set_In_Reply_To(char const * text) {
    client_.Set_In_Reply_To(Text(*this, text));
}

void CodePageNote::Set_References(char const * text) { client_.Set_References(Text(*this, text)); }

void CodePageNote::Set_Keywords(char const * text) { client_.Set_Keywords(Text(*this, text)); }

void CodePageNote::Set_Encrypted(char const * text) { client_.Set_Encrypted(Text(*this, text)); }

void CodePageNote::Set_Subject(MimeString text) {
    std::string const page_text = translated_string(text);
    client_.Set_Subject(string_of(page_text, text));
}

void CodePageNote::Set_Comments(MimeString text) {
    std::string const page_text = translated_string(text);
    client_.Set_Comments(string_of(page_text, text));
}

void CodePageNote::Set_Importance(char const * word) { client_.Set_Importance(Text(*this, word)); }

void CodePageNote::Set_Priority(char const * word) { client_.Set_Priority(Text(*this, word)); }

void CodePageNote::Set_Sensitivity(char const * word) {
    client_.Set_Sensitivity(Text(*this, word));
}

void CodePageNote::Set_MIME_Version(char const * text) {
    client_.Set_MIME_Version(Text(*this, text));
}

void CodePageNote::Set_Content_Id(char const * id) { client_.Set_Content_Id(Text(*this, id)); }

/// The words are interned, and so is their pointer.
void CodePageNote::Set_Content_Type(char const * body, char const * type, char const * subtype) {
    client_.Set_Content_Type(Text(*this, body), type, subtype);
}

void CodePageNote::Set_Content_Description(char const * text) {
    client_.Set_Content_Description(Text(*this, text));
}

void CodePageNote::Set_Content_Transfer_Encoding(char const * encoding) {
    client_.Set_Content_Transfer_Encoding(encoding);
}

void CodePageNote::Set_Content_Disposition(char const * body, char const * disposition,
                                           char const * filename) {
    client_.Set_Content_Disposition(Text(*this, body), disposition, Text(*this, filename));
}

void CodePageNote::Set_Disposition_notification_to(char const * body, char const * phrase,
                                                   char const * address) {
    client_.Set_Disposition_notification_to(Text(*this, body), Text(*this, phrase),
                                            Text(*this, address));
}

void CodePageNote::SetParameter(char const * field, char const * attribute, char const * value) {
    client_.SetParameter(field, Text(*this, attribute), Text(*this, value));
}

void CodePageNote::SetProperty(char const * name, MimeString const & value) {
    std::string const page_text = translated_string(value);
    client_.SetProperty(Text(*this, name), string_of(page_text, value));
}

void CodePageNote::SetGroup(char const * field, char const * name) {
    client_.SetGroup(field, Text(*this, name));
}

void CodePageNote::Set_DateTime(char const * field, char const * body, MimeDateTime const * when) {
    client_.Set_DateTime(field, Text(*this, body), when);
}

void CodePageNote::Defect(MimeContext const & context, MimeDefect what, long long offset) {
    client_.Defect(context, what, offset);
}

} // namespace vellum
