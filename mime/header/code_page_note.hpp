// mime/header/code_page_note.hpp - reports fields that were parsed in UTF-8 in the client's code
// page
//
// In some code pages the second byte of a character may be "\", "@" or "[" (0x5C ends a character
// of code page 932). Text in such a page can't be parsed, so raw 8-bit text of a field is parsed in
// UTF-8, and what the parsers report is translated on its way to the client.
#pragma once

#include "mime/foundation/simple_input.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/note/incoming_note.hpp"

#include <map>
#include <string>
#include <string_view>

namespace vellum {

class HeaderRun;

/// Stands in for the client's note while a field is parsed.
class CodePageNote final : public MimeINote {
public:
    /// For the note and the code page of the run, which outlives this note.
    explicit CodePageNote(HeaderRun & run);

    /// Whether the client's code page needs all this, and can be translated to.
    static bool is_needed(HeaderRun & run);

    /// Puts the note, and UTF-8 as the code page, into the run for the time of a scope.
    class Scope {
    public:
        Scope(HeaderRun & run, CodePageNote & note);
        ~Scope();
        Scope(Scope const &) = delete;
        Scope & operator=(Scope const &) = delete;

    private:
        HeaderRun & run_;
        MimeINote * const client_;
        int const code_page_;
    };

protected:
    void SetFileName(char const * field, char const * name) override;
    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override;
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override;
    void Set_Date(char const * field, char const * body, tm const & utc) override;
    void Set_Message_Id(char const * field, char const * id) override;
    void Set_Return_Path(char const * text) override;
    void Set_Received(char const * text) override;
    void Set_In_Reply_To(char const * text) override;
    void Set_References(char const * text) override;
    void Set_Keywords(char const * text) override;
    void Set_Encrypted(char const * text) override;
    using MimeINote::Set_Comments;
    using MimeINote::Set_Subject;
    void Set_Subject(MimeString text) override;
    void Set_Comments(MimeString text) override;
    void Set_Importance(char const * word) override;
    void Set_Priority(char const * word) override;
    void Set_Sensitivity(char const * word) override;
    void Set_MIME_Version(char const * text) override;
    void Set_Content_Id(char const * id) override;
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override;
    void Set_Content_Description(char const * text) override;
    void Set_Content_Transfer_Encoding(char const * encoding) override;
    void Set_Content_Disposition(char const * body, char const * disposition,
                                 char const * filename) override;
    void Set_Disposition_notification_to(char const * body, char const * phrase,
                                         char const * address) override;
    void SetParameter(char const * field, char const * attribute, char const * value) override;
    void SetProperty(char const * name, MimeString const & value) override;
    void SetGroup(char const * field, char const * name) override;
    void Set_DateTime(char const * field, char const * body, MimeDateTime const * when) override;
    void Defect(MimeContext const & context, MimeDefect what, long long offset) override;

private:
    class Text;

    std::string translated(std::string_view text) const;
    std::string translated_string(MimeString const & text) const;

    iSimpleStream nothing_; ///< Nobody reads it.
    MimeINote & client_;
    TextTranslators translators_;                    ///< Into the client's code page.
    std::map<char const *, std::string> file_names_; ///< By their field: good until its next name.
};

} // namespace vellum
