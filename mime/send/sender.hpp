// mime/send/sender.hpp - the writer of one note's messages
//
// The way of a byte out:
//
//      the client's body stream                the client's getters
//              |  2048 bytes at a time                  |  a value
//              v                                        v
//      NLS_Translator, if any                  FieldWriter: the field guard, if it is on
//              |  the part's character set              |
//              v                                 raw, oRFC2047Stream or WriteDelimited; in
//      MIME_TransferEncoding, if any             folded fields HeaderText and HeaderFolder
//              |                                        |
//              +-------------------+--------------------+
//                                  v
//              oBufferStream: into the block that the client lent (GetOutputBuffer)
//                   |                              |
//           no split size:                 with a split size:
//           each full block                blocks are held until the fragment is full; then
//           at once                        common header, fragment header, blocks
//                   |                              |
//                   +--------------+---------------+
//                                  v
//              MimeONote::PutOutputBuffer
//
// A body that is neither translated nor encoded is read straight into the client's block.
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/note/context.hpp"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class MimeONote;
class NLS_CharSet;
class NLS_Translator;
class NLS_Translator_Factory;
class oBufferStream;

namespace vellum {
class BodySource;
struct ClientParameter;
struct WritingRules;
} // namespace vellum

/// The state of a note's sending, and the steps of writing a message. A note makes its own and
/// drives it; a client has no need of it. All of it belongs to the note's thread.
///
/// What belongs to one message starts afresh with each Send_Message; `counter` runs on, so that the
/// ids of one sender are unique.
struct VELLUM_EXPORT MimeSender final {
    /// For `note`, which has to outlive the sender.
    explicit MimeSender(MimeONote * note);
    /// Deletes the translator cache.
    ~MimeSender();
    MimeSender(MimeSender const &) = delete;
    MimeSender & operator=(MimeSender const &) = delete;

    /// The whole run; see MimeONote::Send. True when the whole message went out. False too, with
    /// nothing done, if this sender is at it already.
    bool Send_Message();

    /// Whether Send_Message is at work.
    bool Sending() const { return sending_; }

    /// What stands in the current block goes onward. Nothing happens while no message is written.
    void FlushOutputBuffers();

    // The walk. Each writes the part that `ctx` is for, from the place that its header has reached,
    // and makes the structural calls from there on.

    void Put_Message(MimeContext & ctx);
    /// `boundary` is the client's, or null for one to be made.
    void Put_MultiPart(MimeContext & ctx, char const * boundary);
    void Put_MessagePart(MimeContext & ctx);
    void Put_AtomicPart(MimeContext & ctx);

    // The fields. Each asks the note for its value and writes the field, or the group of fields, if
    // there is something to write.

    void Generate_From();
    void Generate_To();
    void Generate_Date();
    /// The id, and behind it, unless only fields that were given are written, the line that names
    /// the engine.
    void Generate_Message_Id();
    void Generate_In_Reply_To();
    void Generate_Keywords();
    /// From `subject`; the note isn't asked.
    void Generate_Subject();
    void Generate_Received();
    void Generate_Comments();
    void Generate_Return_Path();
    void Generate_References();
    void Generate_Encrypted();
    void Generate_Importance();
    void Generate_Priority();
    void Generate_Sensitivity();
    void Generate_MIME_Version();
    void Generate_Content_Id();
    void Generate_Disposition_notification_to();
    /// The client's own fields, by PutXFields.
    void Generate_X_extensions();
    /// The client's trace fields, by PutTraceFields.
    void Generate_trace_fields();
    /// `description` null: the note is asked. Without one, `filename` (null or empty for none)
    /// serves.
    void Generate_Content_Description(char const * filename, char const * description);
    /// Null writes nothing.
    void Generate_Content_Transfer_Encoding(char const * encoding);
    /// Each of the last three may be null: the parameter is then left out.
    void Generate_Content_Type(char const * type, char const * subtype, char const * boundary,
                               char const * charset, char const * name);
    /// `filename` serves if the note stores no name here; it may be null.
    void Generate_Content_Disposition(char const * filename);
    /// The fields of a fragment behind the common header, up to the blank line (RFC 2046 5.2.2);
    /// `last` adds the total.
    void Generate_PartialMessageHeaderFragment(bool last);

    /// True if the client has passed on a header of its own, by PutHeader.
    bool Pass_On_Header(MimeContext & ctx);

    /// See MimeONote::SendField.
    bool Send_HeaderField(char const * name, char const * value);
    /// See MimeONote::SendRawField.
    bool Send_RawField(char const * bytes, std::size_t size);

    /// Lets the client add its last fields, writes the blank line, and sets `header_end`.
    void End_of_Header(MimeContext & ctx);

    MimeONote * note;                 ///< Not owned.
    oBufferStream * stream = nullptr; ///< Where every write goes; null outside Send_Message.
    /// The first address that the note gave for Sender, From or Reply-To, for generated ids.
    std::unique_ptr<char[]> originator_address;
    int counter = 0;                    ///< For boundaries, message ids and content ids together.
    bool accepting_fields = false;      ///< Send_HeaderField writes.
    bool first_header_open = true;      ///< In the header of the top message; it is never cut.
    vellum::WritingRules const * rules; ///< See MimeONote::SetWriting. Never null.
    struct Settings {
        std::string id_domain;  ///< See MimeONote::SetIdDomain.
        int parameter_form = 0; ///< See MimeONote::SetParameterForm.
        bool bcc = false;       ///< See MimeONote::SetBcc.
        bool utf8 = false;      ///< See MimeONote::SetUtf8.
    } settings;
    bool field_guard = false;                     ///< See MimeONote::SetFieldGuard.
    SymToken text_encoding;                       ///< See MimeONote::SetTextEncoding.
    NLS_CharSet * character_set;                  ///< See MimeONote::SetCharacterSet. Never null.
    NLS_Translator * translator_cache = nullptr;  ///< Head of the list. OWNED.
    NLS_Translator_Factory * factories = nullptr; ///< The note's, as they were when Send began.
    int fragment_count = 0;                       ///< Fragments begun so far.
    /// The `id` of all fragments, with angle brackets: the first Message-Id written, or with random
    /// ids one of its own.
    std::unique_ptr<char[]> first_message_id;
    std::unique_ptr<char[]> subject; ///< The current one, or null.

    // Of the part that is being written:
    SymToken content_type;
    SymToken content_subtype;
    char const * transfer_encoding = nullptr;   ///< A token's text.
    NLS_CharSet * part_character_set = nullptr; ///< Null for a part that isn't text.
    MimeContext * context = nullptr;

private:
    void StartMessage();
    bool SeedIds();
    void AskSubject();
    void AskType(MimeContext & ctx, bool in_digest);
    void Put_ByType(MimeContext & ctx);
    void Put_Parts(MimeContext & ctx, std::string const & delimiter);
    bool Put_NextPart(MimeContext & child, std::string const & delimiter);
    void Put_NestedMessage(MimeContext & ctx);
    void Put_AtomicHeader();
    void Put_LookedAtBody(MimeContext & ctx, bool is_message);
    bool IsEncodingOpen() const;
    char const * EncodingByLook(vellum::BodySource & source);
    char const * SuitsSet();
    char const * ContainerEncoding() const;
    void Ask_Last_Fields(MimeContext & ctx);
    void Close_Header(MimeContext & ctx);
    void Put_Body(std::istream & body);
    void End_of_Part(MimeContext & ctx, bool body_begun);
    void SettleEncoding();
    std::string MakeBoundary();
    std::string MakeId(char const * nobody);
    std::string MakeUnique();
    std::optional<std::string> GivenId(int (MimeONote::*getter)(char const *&));
    bool CanStandInside(std::string_view boundary) const;
    void GuardType();
    std::vector<vellum::ClientParameter> AskParameters(char const * field);
    long long Offset() const;
    bool IsClientField(char const * name) const;
    bool IsFieldOfEngine(std::string_view name) const;
    void PassOnByType(MimeContext & ctx, bool in_digest);
    void Put_MultiPartBody(MimeContext & ctx, std::string const & boundary, bool line_free);
    void Put_CopiedBody(MimeContext & ctx, bool is_message);
    void Put_Copy(std::istream & body);
    bool Put_TextAround(MimeContext & ctx, int (MimeONote::*text)(MimeContext &, std::istream **));

    bool sending_ = false;
    bool failed_ = false;       // a body stream was in error
    bool in_container_ = false; // the header is that of a multipart or a message
    bool any_field_ = false;    // SendField takes names of the engine's too
    std::string id_seed_;       // random too, for ids if the system's random source fails later
    std::vector<std::string> open_boundaries_; // of the multiparts around the part in hand
};
