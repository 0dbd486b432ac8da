// mime/header/header_run.hpp - the run that a header is parsed for, as the header parsers see it
//
// The parsers stand below the receiver and don't know it. They keep what the walk will need in the
// members of this class, and report to the client through its operations; MimeReceiver derives from
// it and passes the reports on to its note.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>

struct MimeReceiver;
class MimeString;
class NLS_CharSet;
class NLS_Translator;
class NLS_Translator_Factory;

namespace vellum {

class HeaderRun {
public:
    // Of the part whose header is parsed. The texts are interned; null means not known (yet).
    char const * type = nullptr;
    char const * subtype = nullptr;
    char const * transfer_encoding = nullptr;
    char const * disposition = nullptr;
    NLS_CharSet * body_charset = nullptr;

    // The names given to SetFileName: good until the next field of that kind.
    std::optional<std::string> content_type_file_name;
    std::optional<std::string> disposition_file_name;
    std::optional<std::string> description_file_name;

    std::optional<std::string> url; ///< Built by Query_Content_Type, waiting for Set_URL.

    // The parameters of a message/partial.
    std::optional<std::string> partial_id;
    int partial_number = 0;
    int partial_total = 0;

    bool saw_mime_version = false;

    /// How many bytes the scanners of all fields have moved: what the guard against quadratic cost
    /// looks at.
    std::size_t header_bytes_moved = 0;

    NLS_Translator * translator_cache = nullptr;  ///< Head of the list of translators in use. OWNS.
    NLS_Translator_Factory * factories = nullptr; ///< The note's chain; not owned.

    HeaderRun() = default;
    virtual ~HeaderRun();
    HeaderRun(HeaderRun const &) = delete;
    HeaderRun & operator=(HeaderRun const &) = delete;

    // The reports: each is the operation of that name of the note.
    virtual void SetProperty(char const * name, MimeString const & value) = 0;
    virtual void SetParameter(char const * field, char const * attribute, char const * value) = 0;
    virtual void SetFileName(char const * field, char const * name) = 0;
    virtual void Set_From(char const * field, char const * body, char const * phrase,
                          char const * address) = 0;
    virtual void Set_To(char const * field, char const * body, char const * phrase,
                        char const * address) = 0;
    virtual void Set_Disposition_notification_to(char const * body, char const * phrase,
                                                 char const * address) = 0;
    virtual void Set_Date(char const * field, char const * body, tm const & utc) = 0;
    virtual void Set_Message_Id(char const * field, char const * id) = 0;
    virtual void Set_Content_Type(char const * body) = 0;
    virtual void Set_Content_Disposition(char const * body, char const * file_name) = 0;
    /// The one-argument operation of the field that has this token.
    virtual void Set_Text(char const * token, char const * text) = 0;
    /// Set_Subject or Set_Comments, whichever has this token.
    virtual void Set_Decoded(char const * token, MimeString const & text) = 0;

    /// A multipart's Content-Type names its boundary.
    virtual void Boundary_Init(char const * boundary) = 0;
};

/// The run that a receiver is.
HeaderRun & run_of(MimeReceiver & receiver);

} // namespace vellum
