// mime/header/header_run.hpp - the run that a header is parsed for, as the header parsers see it
//
// The parsers stand below the receiver and don't know it. They keep what the walk will need in the
// members of this class, from which MimeReceiver derives, and report to the client's note.
#pragma once

#include "mime/note/defect.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct MimeContext;
class MimeINote;
struct MimeReceiver;
class NLS_CharSet;
class NLS_Translator;
class NLS_Translator_Factory;

namespace vellum {

struct ReadingRules;
struct TextTranslators;
class CodePageNote;
class MessageWords;

class HeaderRun {
public:
    MimeINote * note; ///< Called back. Not owned.

    /// The types and character sets that the message names. Never null.
    std::unique_ptr<MessageWords> const words;

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
    int code_page;                                ///< The client's, or that of CodePageNote.
    std::unique_ptr<CodePageNote> code_page_note; ///< Null until it is needed.
    NLS_CharSet * fallback_set;                   ///< Of raw 8-bit text that is no UTF-8.

    ReadingRules const * rules; ///< What the run accepts. Not owned.
    MimeContext * current_context =
        nullptr; ///< Of the part whose fields are dispatched. Not owned.
    /// The body of the field that is dispatched, as it arrived, if the parser has got it in another
    /// code page; else null.
    char const * raw_body = nullptr;
    long long field_offset = 0; ///< Where the field that is dispatched begins in the input.

    /// Reads as the note has been told to; without a note in the basic way, and nothing is told.
    explicit HeaderRun(MimeINote * client);
    virtual ~HeaderRun();
    HeaderRun(HeaderRun const &) = delete;
    HeaderRun & operator=(HeaderRun const &) = delete;

    /// Header text with bytes beyond US-ASCII as the client gets it, in its code page; empty if it
    /// gets the text as it stands.
    std::optional<std::string> client_text(std::string_view text);
    /// The way to the translators into the client's code page, by the rules.
    TextTranslators translators();
    /// Tells the client of a defect of the field that is dispatched. Nothing without a context.
    void tell(MimeDefect what);
    /// A multipart's Content-Type names its boundary. Here nothing.
    virtual void Boundary_Init(char const * boundary);
};

/// The run that a receiver is.
HeaderRun & run_of(MimeReceiver & receiver);

} // namespace vellum
