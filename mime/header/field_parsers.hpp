// mime/header/field_parsers.hpp - one parser for each header field that the engine understands
#pragma once

#include "mime/export.hpp"

struct MimeReceiver;
class SymbolTable;

/// The parsers. Each reads `body`, the field's body in a writable, NUL-terminated buffer that it
/// edits, and reports what it found through the Set_ operation of the receiver's note. `name` is
/// the field's name as the symbol table spells it. A pointer that the note is given is good for
/// the time of the call. No parser gives up: what can't be read is passed over, and the field ends
/// in its report all the same.
class VELLUM_EXPORT ParseHeaderField {
public:
    using Parser = void(MimeReceiver * receiver, char const * body, char const * name);

    static Parser From;       ///< Set_From for each mailbox (RFC 822 4.4), and once with nulls.
    static Parser To;         ///< Set_To for each address (RFC 822 4.5), and once with nulls.
    static Parser From_ZR700; ///< As From; whatever stands in angle brackets is an address.
    static Parser To_ZR700;   ///< As To, likewise.
    static Parser Disposition_notification_to; ///< One address or group (RFC 8098 2.1).
    static Parser Date;                        ///< Set_Date, in Universal Time.
    static Parser Message_Id;  ///< Set_Message_Id, the text within the angle brackets.
    static Parser Content_Id;  ///< Set_Content_Id, likewise.
    static Parser Return_Path; ///< From here to MIME_Version: the text as it stands.
    static Parser Received;
    static Parser In_Reply_To;
    static Parser References;
    static Parser Keywords;
    static Parser Encrypted;
    static Parser MIME_Version;
    static Parser Subject;    ///< Set_Subject, with encoded words decoded.
    static Parser Comments;   ///< Set_Comments, likewise.
    static Parser Importance; ///< From here to Sensitivity: the first atom; no report without it.
    static Parser Priority;
    static Parser Sensitivity;
    static Parser Content_Description;       ///< A file name in angle brackets at its start, too.
    static Parser Content_Transfer_Encoding; ///< A word of the table, or "7bit".
    static Parser Content_Disposition;       ///< RFC 2183.
    static Parser Content_Type;              ///< RFC 2045 5.
    static Parser Other; ///< Any other field: SetProperty, with encoded words decoded.

private:
    class ContentTypeParameters;

    static void from(MimeReceiver * receiver, char const * body, char const * name, bool strict);
    static void to(MimeReceiver * receiver, char const * body, char const * name, bool strict);
};

/// Hangs the parsers on the table's entries of their fields, and marks the table.
void Install_Field_Parsers(SymbolTable * table);
