// mime/note/outgoing_note.hpp - the client's side of writing a message
//
// A client derives from MimeONote, overrides the getters for what its message holds and the four
// output operations, and calls Send. The engine keeps no model of the message: it walks it from the
// top, asks for each value at the moment that it writes it, and hands the finished bytes back in
// blocks that the client lends. The calls for a multipart/mixed message of a text and a nested
// message, by the context that they carry:
//
//     root      BeginPart  BeginHeader  (getters)  EndHeader  BeginBody
//     1st child     BeginPart -> 1  BeginHeader  Get_Content_Type -> text/plain  (getters)
//                   EndHeader  BeginBody -> a stream  EndBody  EndPart
//     2nd child     BeginPart -> 1  BeginHeader  Get_Content_Type -> message/rfc822  (getters)
//                   EndHeader  BeginBody -> no stream
//     nested            BeginPart  BeginHeader  (getters)  EndHeader  BeginBody  EndBody  EndPart
//     2nd child     EndBody  EndPart
//     3rd child     BeginPart -> 0: the multipart is complete
//     root      EndBody  EndPart
//
// The getters of a message come in this order: Get_Subject, Get_Date, Get_To (series), Get_From
// (series), Get_Return_Path, Get_In_Reply_To, Get_Received, Get_Comments, Get_Keywords,
// Get_References, Get_Encrypted, Get_Importance, Get_Priority, Get_Sensitivity,
// Get_Disposition_notification_to, PutXFields, Get_Message_Id, Get_Content_Type. A part inside a
// multipart starts at Get_Content_Type. Then follow, by the kind of part:
//
//     multipart        GetBoundary, Get_Content_Id
//     message/rfc822   GetFileName, Get_Content_Id
//     any other        GetFileName, Get_Content_Id, Get_Content_Description,
//                      Get_Content_Disposition, PutXFields
//
// Texts go in as bytes in the platform's code page (NLS::PlatformCodePage). The set of the message
// is that of SetCharacterSet, else the set that fits the code page best:
//
//                               a factory serves the set     no factory does
//     printable ASCII, tabs     as it stands                 as it stands
//     any other header text     translated, an encoded       the bytes as they are, an encoded word
//                               word of the set              of the set
//     a text body               translated, charset=set      the bytes as they are, charset=set
//
// So without a factory (SetNLS) a label is written and nothing is converted: a client whose texts
// aren't in the set that it chose labels them wrongly. Addresses, ids and the other values that are
// written raw are never converted, nor is a body that isn't text.
//
// Bodies, and what becomes of their line ends:
//
//     text, quoted-printable    CR LF ends a line; a CR or LF alone is data and becomes =0D or =0A,
//                               so a text that ends its lines in LF goes out as one long line. A
//                               last line without an end gets a soft one ("=" CR LF), which readers
//                               drop.
//     text, base64; any other   every byte comes back as it was given. A text has to have CR LF
//     type (always base64)      already, as that is what readers take for its line ends.
//     text, 7bit, 8bit, binary  copied: the client sees to CR LF, to the length of lines, and to
//     or an unknown word        bytes above 0x7F, which nobody checks against the label.
//     message/rfc822 stream     copied in the same way, labelled 7bit.
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/note/context.hpp"

#include <ctime>
#include <iosfwd>
#include <memory>

class NLS_Translator_Factory;
class oBufferStream;
struct MimeSender;

/// The source of all that a message holds, and the sink of the bytes that make it.
///
/// A note and its streams belong to the thread that calls Send, and every callback comes on it. A
/// note sends one message after another; each Send is complete in itself.
///
/// Generated ids and boundaries are made of the time in seconds, a counter that each note begins at
/// 0, and (ids) the address of the originator. Two notes of one originator that are sent within a
/// second share them. So a client with more than one message answers Get_Message_Id and GetBoundary
/// (and Get_Content_Id, where it refers to parts). In Writing_Extended they are random, and no two
/// are the same.
///
/// What holds for every callback, beside what stands at each:
/// - It is called only while Send runs. The getters carry no context: a client with several parts
///   keeps a cursor of its own, moved by BeginPart and EndPart.
/// - A text that a getter stores has to stay valid until the next call into the note, of whatever
///   operation: one buffer for all texts will do. The same holds for the arguments of SendField. A
///   SymToken is valid for good.
/// - Values are written as they are given, with no check of their syntax, unless SetFieldGuard is
///   on. Header fields are never folded and have no length limit, but in Writing_Extended.
/// - Parts nest as deep as the answers make them, at about 500 bytes of stack a level. A client
///   that passes on what came from outside limits the depth.
/// - It may throw: the exception passes through Send with nothing leaked, and no further callback
///   of that run follows (cookies apart, which are given up). Blocks that the engine held are the
///   client's as they always were. The note can send again.
/// - It may change the settings, which count from then on: a character set, a text encoding or the
///   field guard for what is written next, the split size at the next check. It may call
///   FlushOutputBuffers. Send, called from a callback, does nothing and returns 0.
class VELLUM_EXPORT MimeONote {
public:
    /// How a message is written.
    enum Writing {
        /// As the getters say, with few cares for what relays and readers accept.
        Writing_Basic = 0,
        /// As the mail of today is written: docs/WRITING.md has both columns.
        Writing_Extended = 1,
    };

    /// How a parameter is written whose value isn't plain ASCII or is too long for one line.
    enum ParameterForm {
        Parameter_Rfc2231 = 0, ///< name*=utf-8''... and name*0*=... (RFC 2231).
        Parameter_Words = 1,   ///< Encoded words in quotes, which older mail programs want.
        Parameter_Both = 2,    ///< One behind the other.
    };

    /// A new note cuts a message of more than about 256,000 bytes into fragments
    /// (SetNetworkSplitSize), has no factories, and its field guard is off.
    MimeONote();
    /// Deletes the sender, and then the chain of factories.
    virtual ~MimeONote();
    MimeONote(MimeONote const &) = delete;
    MimeONote & operator=(MimeONote const &) = delete;

    /// Writes the message. Returns 1 when the whole of it has gone through PutOutputBuffer, and 0
    /// if the client lent no block when one was needed. Without the first block nothing but
    /// BeginOutput has been called; without a later one the message breaks off there: every part
    /// that had begun gets its EndPart, blocks that were held go back, EndOutput ends the run.
    ///
    /// In Writing_Extended also 0 if the system has no random source for ids, with nothing called,
    /// and if a body stream was in error, with the message written to its end.
    int Send();

    /// Adds a field to the header that is being written: from PutXFields, from PutTraceFields and
    /// PutHeader (in Writing_Extended), or from EndHeader, where it becomes the last one of the
    /// header. `value` may hold anything: what isn't plain ASCII
    /// goes out as an encoded word (RFC 2047). Returns 1 if the field was written and the output is
    /// good.
    ///
    /// Returns 0, and writes nothing, at any other time (from an output operation too), for a null
    /// argument, and for a name that the engine knows itself (any word that SymbolTable::Init
    /// loads): such fields have their getters. With the field guard on also for a name that is no
    /// field name (RFC 5322 2.2).
    ///
    /// In Writing_Extended the only names refused are those that have a getter in this very
    /// header, and those that are no field names: so a message takes Received and Resent-To, and a
    /// part within a multipart Subject. The folds of `value` go, and it is folded anew.
    int SendField(char const * name, char const * value);

    /// The size in bytes at which a message is cut into message/partial fragments (RFC 2046 5.2.2);
    /// 0 for never, and what is below 30720 becomes that. Returns the size now in force. Whether a
    /// message may be cut at all is settled when Send begins; the size is read at every check.
    unsigned int SetNetworkSplitSize(unsigned int size);

    /// The character set of text parts and of encoded words. A name that no NLS_CharSet has selects
    /// NLS::ReservedSet, as at first: the set that fits the platform's code page best. Returns the
    /// name of the set now in force. A null name changes nothing and returns null.
    char const * SetCharacterSet(SymToken name);

    /// The transfer encoding of text parts: a token such as RFC1521::quoted_printable, the empty
    /// text (as at first) for what suits the character set, or null for RFC1521::binary. Unchecked:
    /// a word that names no encoder is written as it is, and the body goes out as it is. Returns
    /// the text of its argument.
    char const * SetTextEncoding(SymToken encoding);

    /// Adds a factory of translators in front of the others (append 0) or behind them. The note
    /// OWNS it from then on. What is installed when Send begins counts. Returns `factory`; null
    /// changes nothing.
    NLS_Translator_Factory * SetNLS(NLS_Translator_Factory * factory, int append);

    /// On (nonzero), no value that a getter, a setting or SendField gives can add, end or change a
    /// mailbox, a parameter, a field or a part:
    /// - every CR, LF and NUL that isn't part of a fold (CR LF, then blanks, then text) becomes a
    ///   blank; in a name, an address or a parameter every one does;
    /// - a display name or file name passes as encoded already only if it is well-formed encoded
    ///   words alone; any other that holds "=?" becomes an encoded word;
    /// - an entry whose address reads as anything but one address (RFC 5322 3.4.1), or that has
    ///   none, is left out, and so is a Return-Path with such an address;
    /// - a type that is no token (RFC 2045 5.1) becomes application/octet-stream, a subtype the
    ///   default of its type, a disposition "attachment"; an encoding or a character set that is no
    ///   token counts as not chosen;
    /// - a boundary that isn't of RFC 2046 5.1.1, or that begins as a boundary around it does, is
    ///   replaced by a generated boundary; and a full stop ends each generated boundary, so that
    ///   none begins as another does.
    ///
    /// Off at first, and values pass as they are. A program that passes on values from outside (a
    /// gateway, a form) turns it on. Returns its argument.
    ///
    /// Bodies it can't see. A boundary that the engine makes can be guessed: bodies from outside
    /// can hold it, and so a program that passes them on unencoded gives random ones (GetBoundary).
    int SetFieldGuard(int on);

    /// How the next messages are written; Writing_Basic unless set. Writing_Extended turns the
    /// field guard on and sets the split size to 0, Writing_Basic the field guard off and the split
    /// size to 256,000; either can be set anew afterwards. Called while Send runs, or with the way
    /// that is in force, it changes nothing. Returns the way now in force.
    int SetWriting(Writing writing);

    /// The domain of generated ids, in Writing_Extended; without it, or with a null or empty
    /// `domain`, that of the originator's address, or if that has none, "id.invalid". Returns 1,
    /// and 0, with nothing changed, for a text that is no domain (RFC 5322 3.4.1) of ASCII, or has
    /// more than 253 bytes. The text is copied.
    int SetIdDomain(char const * domain);

    /// How parameters go out in Writing_Extended; Parameter_Rfc2231 unless set. A value with a
    /// quote or a backslash always goes by RFC 2231, as some readers decode encoded words before
    /// they look for the closing quote. Returns its argument.
    int SetParameterForm(ParameterForm form);

    /// On (nonzero), Writing_Extended writes the field bcc too. Off at first; but a field Bcc that
    /// the client sends itself, from PutHeader, is never withheld. Returns its argument.
    int SetBcc(int on);

    /// On (nonzero), Writing_Extended writes header text as UTF-8 (RFC 6532), for a transport that
    /// speaks SMTPUTF8; texts that a getter gives in another code page are translated. Off at
    /// first: then nothing but ASCII leaves in a header. Returns its argument.
    int SetUtf8(int on);

    /// Adds one whole field as it was read, name, colon, folds and line ends included, `size`
    /// bytes: where SendField can be called, with the names that it takes in Writing_Extended, and
    /// in either way of writing. A bare
    /// LF or CR that ends a line becomes CR LF, as does a missing line end at the end; all else
    /// stays, 8-bit bytes too. Returns 1 if the field was written and the output is good.
    ///
    /// Returns 0, and writes nothing, at any other time, for null, for what isn't exactly one field
    /// (RFC 5322 2.2: a name, a colon with no blank in front, further lines that begin with a blank
    /// and have more than blanks), for a NUL, and for a line above 998 bytes.
    int SendRawField(char const * bytes, unsigned long size);

    /// The message or part that a getter is asked for; null for the header of a fragment
    /// (Get_Message_Id is asked for it), and while Send doesn't run. Valid until the getter
    /// returns.
    MimeContext const * Context() const;

protected:
    // The walk ------------------------------------------------------------------------------

    /// Called   first for each message and each part, before any getter; and once more behind the
    ///          last part of a multipart.
    /// Context  the place in the message; valid until EndPart. The client may hang a cookie on
    ///          its item, which is deleted when the part ends.
    /// Result   within a multipart: nonzero for one more part, 0 for the end. For a message, the
    ///          top one or a nested one, it doesn't count.
    /// Default  0.
    virtual int BeginPart(MimeContext & context);

    /// Called   last for each message and each part. `part_end` is known.
    /// Default  nothing.
    virtual void EndPart(MimeContext & context);

    /// Called   right behind each BeginPart that begins a part.
    /// Result   doesn't count.
    /// Default  0.
    virtual int BeginHeader(MimeContext & context);

    /// Called   in Writing_Extended, behind BeginHeader of each message and part. For a client that
    ///          passes on a message: it may write the whole header in its own order, by
    ///          SendRawField, and by SendField, which takes any name here.
    /// Result   nonzero: that is the header. Of the getters only Get_Content_Type and, of a
    ///          multipart, GetBoundary are still asked, for the walk; they have to say what the
    ///          header says, and the boundary is used as it is. EndHeader comes as ever, and then
    ///          the blank line. A stream of BeginBody is copied as it stands, whatever the type;
    ///          a multipart without a boundary, or with a line end in it, has such a stream too.
    ///          message/rfc822 and message/global without a stream are a nested message. A message
    ///          whose top header is passed on isn't split.
    ///          0: the header is the engine's, by the getters.
    /// Default  0.
    virtual int PutHeader(MimeContext & context);

    /// Called   in Writing_Extended, as the first place for fields of each message: Received,
    ///          Resent-..., Return-Path and their kin, in any number, by SendField and
    ///          SendRawField.
    /// Default  nothing.
    virtual void PutTraceFields();

    /// Called   when all fields of the header have been written, but not yet the blank line:
    ///          SendField still adds to the header. `header_end` counts the blank line (and what
    ///          SendField adds now, once this call is over).
    /// Default  nothing.
    virtual void EndHeader(MimeContext & context);

    /// Called   once behind each header. `body_start` is known.
    /// Body     null for a multipart, which has no stream of its own. Else it leads to a pointer
    ///          that is null; the client may store the stream to read there, which stays its own
    ///          and has to live until EndBody.
    ///          An error of the stream (any of its states) ends the body at that point; the part
    ///          is closed as usual, and nobody is told. A client looks at its stream in EndBody.
    ///          In Writing_Extended failbit at the start, badbit on the way, and a `streambuf` that
    ///          throws std::ios_base::failure, as that of a file does, make Send return 0.
    ///          There too the call comes in front of the last field of a part that isn't a
    ///          multipart, Content-Transfer-Encoding, for which up to 64 KB of the stream are read
    ///          ahead: `header_end` and `body_start` are known from EndBody on.
    /// Null     (nothing stored) an empty body; for message/rfc822 a nested message, written by
    ///          the getters of this note.
    /// Result   doesn't count.
    /// Default  stores null; 0.
    virtual int BeginBody(MimeContext & context, std::istream ** body);

    /// Called   in Writing_Extended, for each multipart: GetPreamble behind BeginBody, in front of
    ///          its first delimiter, and GetEpilogue behind its last.
    /// Text     null before the call; the client may store a stream, which has to live until
    ///          EndBody, and is copied as it stands. A line end of its own stands in front of the
    ///          first delimiter and behind the last, as for the reader (MimeINote::BeginPreamble).
    /// Null     no such text.
    /// Result   doesn't count.
    /// Default  stores null; 0.
    virtual int GetPreamble(MimeContext & context, std::istream ** text);
    virtual int GetEpilogue(MimeContext & context, std::istream ** text);

    /// Called   when the body, nested parts included, has been written. `body_end` is known.
    /// Default  nothing.
    virtual void EndBody(MimeContext & context);

    // Addresses -----------------------------------------------------------------------------

    /// Called   once with RFC822::Sender in `field`; then for RFC822::From, and then for
    ///          RFC822::Reply_To, again and again until it returns 0.
    /// Values   `field`: what is asked for. The client may move the entry to a sibling field,
    ///          X_..._BS or X_..._Fax of the same word in BureauSphere; with any other token it
    ///          is dropped. `name`, `address`: null before the first call for a field; between
    ///          the calls they keep what the client stored.
    /// Null     no name, no address. The first address of all is the last element of generated
    ///          ids.
    /// Result   nonzero: here is an entry. 0: nothing here, and the end of a series.
    /// Default  null and null; 0.
    virtual int Get_From(SymToken & field, char const *& name, char const *& address);

    /// Called   as Get_From, in a series each for RFC822::To, RFC822::cc and RFC822::bcc. (The
    ///          field bcc is written like the others.)
    virtual int Get_To(SymToken & field, char const *& name, char const *& address);

    // Plain fields --------------------------------------------------------------------------
    //
    /// Called   once per message, in the order told above.
    /// Value    null before the call; a text that the client stores makes the field, an empty one
    ///          an empty field.
    /// Null     no such field.
    /// Result   doesn't count (but for Get_Subject).
    /// Default  GetProperty with the token of the field's name.
    virtual int Get_Return_Path(char const *& value);
    virtual int Get_In_Reply_To(char const *& value);
    virtual int Get_References(char const *& value);
    virtual int Get_Keywords(char const *& value);

    /// Called   once per message, before its first field. The engine keeps a copy for the
    ///          fragments.
    /// Null     with a nonzero result: the message has no subject.
    /// Result   0: the subject stays what it was, for a nested message that of the message around
    ///          it.
    /// Default  GetProperty with RFC822::Subject.
    virtual int Get_Subject(char const *& value);

    virtual int Get_Received(char const *& value); ///< As Get_Return_Path; one field per message.
    virtual int Get_Comments(char const *& value);
    virtual int Get_Encrypted(char const *& value);

    /// Called   once per message, and once for each fragment: at any moment then, within a part
    ///          of whatever depth or behind the last EndPart.
    ///          A client whose messages enclose others tells the calls apart by its own cursor: one
    ///          that comes outside the header of a message is a fragment's.
    /// Value    the id with its angle brackets; written as it is.
    /// Null     or a result of 0: the engine makes an id.
    /// Default  null; 0. It doesn't ask GetProperty.
    virtual int Get_Message_Id(char const *& value);

    /// Called   once per message.
    /// Values   `when`: a clock, in all fields of the date, the time and the day of the week.
    ///          `offset`: how many minutes that clock is ahead of Universal Time; 0 before the
    ///          call.
    /// Result   0: the present time in the machine's zone is written.
    /// Default  0.
    virtual int Get_Date(std::tm & when, int & offset);

    virtual int Get_Importance(char const *& value); ///< As Get_Return_Path.
    virtual int Get_Priority(char const *& value);
    virtual int Get_Sensitivity(char const *& value);

    // What a part is ------------------------------------------------------------------------

    /// Called   once for each part that is neither multipart nor message/rfc822.
    /// Null     the file name of the part, if it has one, in angle brackets makes the field; else,
    ///          and in Writing_Extended, there is none.
    /// Result   doesn't count.
    /// Default  GetProperty with RFC1521::Content_Description.
    virtual int Get_Content_Description(char const *& value);

    /// Called   once for each message and part.
    /// Value    the id without its angle brackets.
    /// Null     or a result of 0: the engine makes an id, or in Writing_Extended writes none.
    /// Default  GetProperty with RFC1521::Content_Id.
    virtual int Get_Content_Id(char const *& value);

    /// Called   once for each message and part. The answer settles what kind of part it is: a
    ///          multipart asks for parts, message/rfc822 for a message, all else for a body.
    /// Values   null before the call.
    /// Null     no type: text/plain, within multipart/digest message/rfc822. No subtype: the
    ///          default of the type, "plain", "mixed", "rfc822", "octet-stream" or else
    ///          "x-unknown".
    /// Result   doesn't count.
    /// Default  RFC1521::text, RFC1521::plain; 1.
    virtual int Get_Content_Type(SymToken & type, SymToken & subtype);

    /// Called   once for each part that is neither multipart nor message/rfc822.
    /// Values   null before the call. `filename`: the name for this field; if it stays null, that
    ///          of GetFileName.
    /// Null     no disposition: RFC1806::attachment if there is a name, else no field.
    /// Result   doesn't count.
    /// Default  null and null; 0.
    virtual int Get_Content_Disposition(SymToken & disposition, char const *& filename);

    /// Called   once per message.
    /// Values   null before the call; as in Get_To.
    /// Result   nonzero: here is the entry.
    /// Default  null and null; 0.
    virtual int Get_Disposition_notification_to(char const *& name, char const *& address);

    /// Called   once for each message, and once for each part that is neither multipart nor
    ///          message/rfc822; so twice within one header for a message of a single part. The
    ///          place for the client's own fields: it calls SendField. In a message that is
    ///          split, fields of the first call of the top message are repeated in each fragment.
    /// Default  nothing.
    virtual void PutXFields();

    /// Called   once for each part that isn't a multipart.
    /// Value    null before the call; the part's file name, in the platform's code page.
    /// Null     the part has no file name.
    /// Result   doesn't count.
    /// Default  null; 0.
    virtual int GetFileName(char const *& value);

    /// Called   in Writing_Extended, for `field` RFC1521::Content_Type of each message and part,
    /// and
    ///          for RFC1806::Content_Disposition where that field is written: with `index` 0, 1, 2
    ///          ... until it returns 0.
    /// Values   null before the call. A parameter of that field (report-type, protocol, micalg,
    ///          format, method, size, dates), the value in the platform's code page, as
    ///          Get_Subject. Parameters that the engine writes itself (boundary, charset, name,
    ///          filename) are dropped, and so is a name that is no attribute (RFC 2231 7), has
    ///          more than 60 bytes, or was given before.
    /// Null     no value, no parameter.
    /// Result   nonzero: here is a parameter.
    /// Default  0.
    virtual int Get_Parameter(char const * field, int index, char const *& name,
                              char const *& value);

    /// Called   once for each multipart.
    /// Value    null before the call; the boundary, which is used unchecked: no line of the parts
    ///          may begin with "--" and this text.
    /// Null     the engine makes a boundary.
    /// Result   doesn't count.
    /// Default  null; 0.
    virtual int GetBoundary(char const *& value);

    /// Called   by the defaults above. A client that keeps its fields in a table overrides this
    ///          one operation. `name` is the token of the field.
    /// Value    as in the getter that asks.
    /// Result   that of the getter.
    /// Default  null; 0.
    virtual int GetProperty(char const * name, char const *& value);

    // Output --------------------------------------------------------------------------------

    /// Called   at the begin of each physical message: of the whole message, or of each fragment.
    virtual void BeginOutput() = 0;

    /// Called   at the end of each physical message, behind its last PutOutputBuffer.
    virtual void EndOutput() = 0;

    /// Called   whenever the engine needs memory to write to. With a split size it holds blocks
    ///          of up to that many bytes, and those of the fields that the fragments repeat,
    ///          before it gives them back; so a client has to be able to lend that much.
    /// Block    all zero before the call. The client stores the address and the capacity, 1 byte
    ///          or more; `cookie` is its own and comes back with the block. The memory stays the
    ///          client's, but it leaves it alone until PutOutputBuffer.
    /// Null     (or a capacity of 0) ends the run; see Send.
    virtual void GetOutputBuffer(Buffer & block) = 0;

    /// Called   once for each block that was lent. `filled` bytes of it, from its start, come
    ///          next in the physical message; there may be 0.
    /// Block    as it was lent; the client's again from now on. The record is valid during the
    ///          call.
    virtual void PutOutputBuffer(Buffer & block) = 0;

    /// Not called by the engine: a client calls it while Send runs, to have what stands in the
    /// current block handed over. In a message that may be split the block is held until its
    /// fragment goes out. From an output operation, and when Send isn't running, it does nothing.
    virtual void FlushOutputBuffers();

private:
    friend struct MimeSender;
    friend class oBufferStream;

    unsigned int network_split_size_;
    std::unique_ptr<MimeSender> sender_;
    NLS_Translator_Factory * factories_ = nullptr; // OWNED, with the chain behind it
};
