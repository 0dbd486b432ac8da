// mime/note/incoming_note.hpp - the client's side of reading a message
//
// A message exists for the client as a sequence of calls and as bytes on the streams that it hands
// out; the engine builds no model of it. The input of a multipart with one text part, and the calls
// that each line leads to:
//
//     (start of input)                       BeginPart, BeginHeader        top message
//     From: a@b                              SetProperty, Set_From ..
//     Content-Type: multipart/mixed; ..      SetProperty, SetParameter, Set_Content_Type
//     (blank line)                           EndHeader
//     preamble                               (read and passed over)
//     --delimiter                            BeginBody                     top message
//     Content-Type: text/plain               BeginPart, BeginHeader, Set_Content_Type ..   part
//     (blank line)                           EndHeader, BeginBody          part
//     text                                   written to the stream of BeginBody
//     --delimiter--                          EndBody, EndPart              part
//     epilogue                               (read and passed over)
//     (end of input)                         EndBody, EndPart              top message
//
// The reader refuses nothing: what can't be read is passed over, the walk goes on to the end of the
// input, and a truncated message unwinds like a complete one.
//
// Text of header fields. Encoded words (RFC 2047) are decoded in Subject, Comments,
// Content-Description, display names, file names, parameters, and fields without an operation of
// their own; the rest comes as it stands, in whatever bytes. A word is decoded only if a factory of
// SetNLS has a translator for its set, and is then in the local code page (NLS::PlatformCodePage).
// So without a factory even `=?us-ascii?Q?x?=` stays as it is. What a MimeString says of its set is
// always "US-ASCII", with code page 0: it tells nothing about the bytes.
//
// Text of bodies. Base64, quoted-printable and x-uuencode are always undone. A body of type text
// whose set a factory knows comes in the local code page, any other body in its own bytes. Text
// without a set is in US-ASCII; only a top message without a Content-Type has no set at all.
//
// Line ends of bodies. With no encoding they are those of the input; quoted-printable makes CR LF
// of every line end; base64 and uuencode deliver what was encoded. The line end in front of a
// delimiter is the delimiter's: the last line of a part has none. The raw and debug streams get the
// bytes of the input, but for a CR LF more in front of each preamble.
//
// Each operation that a client may override says when it is called, how often, and what its
// arguments mean. A `char const *` is NUL-terminated and good for the time of the call. A field's
// name is given in the engine's own spelling ("cc" whatever the message wrote). Any operation may
// throw: the exception passes through to the caller of Receive, and nothing is leaked or locked. It
// may use other notes, but not this one's Receive.
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/mime_string.hpp"
#include "mime/note/context.hpp"
#include "mime/note/defect.hpp"

#include <ctime>
#include <iosfwd>
#include <memory>

struct MimeReceiver;
class MimeDateTime;
class NLS_CharSet;
class NLS_Translator_Factory;
class ParseHeaderField;
class TiStreamLite;
class iSimpleStream;

namespace vellum {
class CodePageNote;
class HeaderRun;
} // namespace vellum

class VELLUM_EXPORT MimeINote {
public:
    enum ReceiveResult {
        /// The message has been read to its end and delivered: a message that was joined from its
        /// fragments if the input was the last of them.
        Receive_Complete = 0,
        /// The input was one fragment of a message/partial set; it is in the store, and others are
        /// missing, or another note is delivering the set. Nothing was called.
        Receive_Fragment_Stored = 1,
        /// Headers only: the body was not read. (Of a fragment nothing was called or stored.)
        ///
        /// Else the input was a fragment and has been read to its end, and something failed that
        /// the trace tells. If nothing was called, the fragment couldn't be stored (the disk is
        /// full, say): receive it once more. If the operations were called, the set is complete but
        /// could not be read to its end, so that they got a message that is cut off. The set stays.
        Receive_Not_Finished = 2,
    };

    /// What a run accepts.
    enum Reading {
        /// Mail by the letter, with few tolerances.
        Reading_Basic = 0,
        /// All that other readers of mail show is shown too: docs/TOLERANCES.md has both columns.
        Reading_Extended = 1,
    };

    // Implemented in mime/receive/incoming_note.cpp, like all defaults below.

    /// The stream stays the client's and outlives the note. An istream is read through its
    /// streambuf; its end sets eofbit.
    MimeINote(TiStreamLite & in);
    MimeINote(std::istream & in);
    MimeINote(iSimpleStream & in);
    MimeINote(MimeINote const &) = delete;
    MimeINote & operator=(MimeINote const &) = delete;
    /// Gives up the cookie of SetCookie, if no run has taken it over, and the factories.
    virtual ~MimeINote();

    /// Reads one message, from where the stream stands to its end, and calls the operations below.
    /// May be called again: each call is a run of its own, without a cookie unless SetCookie has
    /// been called since. (mime/receive/receiver.hpp has the run.)
    ReceiveResult Receive();

    /// The directory of the store of fragments (RFC 2046 5.2.2), a plain prefix of file names: it
    /// ends in a path separator unless the store is in the current directory. Null, as at first,
    /// means the current directory: a note without SetPartialDir stores fragments there. Notes in
    /// all threads and processes of a user may share it. Returns the note's own copy of the text.
    ///
    /// A message comes home when its fragments 1 to total are there; the last total that any of
    /// them gave counts. A number or total below 0 counts as none, and a total below the fragment's
    /// own number isn't taken. A fragment that is not of the set is stored all the same: one
    /// without a number (unless its total is 1: then it is the whole set), which stays for good,
    /// and one beyond the total, which waits for a larger total.
    ///
    /// A fragment that the store can't take is delivered as it stands, with its own fields and its
    /// body as data: one without an id or with an id of more than 4,096 bytes; a second one without
    /// a number; one whose number agrees with another's in its low 12 bits; and each one while
    /// there is no directory that can be written to.
    ///
    /// Receivers lock the directory, so that threads, processes, users and containers may share it
    /// (but not machines). Where the lock can't be had, or space, descriptors or memory run short,
    /// nothing is acknowledged: the result is Receive_Not_Finished, and the fragment may be
    /// received again.
    ///
    /// Nothing ages unless SetPartialLimits says so. What is not complete stays until somebody
    /// removes the files of the fragments, and the index MailPart.Ndx with them: it is made anew
    /// from the fragments that are left. (A fragment that has gone while the index still names it
    /// reads as an empty one.) A set whose delivery has not finished, as the process died or an
    /// operation has thrown, stays too, and is delivered when a further copy of any of its
    /// fragments is received.
    char const * SetPartialDir(char const * dir);
    /// Bounds what the incomplete sets of the store take: the bytes of their files together, their
    /// number, and the seconds since a set's latest fragment came. 0 for no bound, which is so at
    /// first, and so is a number below 0. A fragment that this note stores beyond them has the
    /// oldest sets removed whole, by the arrival of their first fragments. A set that is itself too
    /// large is removed too, and the result is Receive_Not_Finished. Complete sets are never
    /// removed. With bounds a fragment costs a look at the files of all sets that wait.
    void SetPartialLimits(long long bytes, long long messages, long long seconds);
    /// A stream that gets a raw copy of what is read: header lines, and the body lines that no
    /// stream of BeginBody takes. When a fragment completes its set, the stream is set back to its
    /// start, and the joined message is written over what was copied. Null for no stream.
    /// Returns the argument.
    std::ostream * SetDebugStream(std::ostream * debug);
    /// The client's state for the level around the top message, which finds it in its
    /// `parent_item`. The note OWNS it from here on and calls Delete on it exactly once: at the end
    /// of the next Receive, or before, when another cookie is set or the note goes. Called within a
    /// run it sets the cookie of the next run; the cookie that the run has already stays with it.
    /// Null for no cookie. Returns the argument.
    MimeClientCookie * SetCookie(MimeClientCookie * cookie);
    /// Adds a factory of translators to the chain, which is asked from its head: at the tail if
    /// `append` isn't 0, else at the head. The note OWNS it. Null is ignored. Returns the argument.
    NLS_Translator_Factory * SetNLS(NLS_Translator_Factory * factory, int append);
    /// Not 0: stop behind the top header. The stream then stands at the blank line behind it.
    /// Returns the argument.
    int SetHeadersOnly(int flag);
    /// How many multiparts and message/rfc822 may be open, one within the other; 100 unless set,
    /// and not below 0. One that lies deeper is delivered as data, with all that is in it. The walk
    /// takes about half a kilobyte of stack for each. Returns the argument.
    int SetNestingLimit(int limit);
    /// How the next runs read; Reading_Basic unless set. Returns the argument.
    int SetReading(Reading reading);
    /// The code page that the next runs translate text into, in place of NLS::PlatformCodePage,
    /// which 0 stands for, as at first. The parts of a header are found by bytes of US-ASCII, so
    /// that a code page has to contain it. Returns the argument.
    int SetCodePage(int codePage);
    /// The character set of raw 8-bit text that is no UTF-8, in fields and in bodies without a set
    /// of their own, in extended reading: windows-1252 unless set, and for null, and where no
    /// factory serves the set. Returns the set's name, which lives as long as the process.
    char const * SetFallbackCharSet(char const * name);
    /// The most bytes that the fields of one header may take, folds and line ends included; 0 for
    /// no limit, as at first. Further fields of that header are passed over and told
    /// (Defect_HeaderTooLong). Returns the argument.
    unsigned long SetHeaderLimit(unsigned long bytes);
    /// The most parts of a message, the message itself included; 0 for no limit, as at first.
    /// Further parts are delivered as data of the last part, delimiters included, and told
    /// (Defect_TooManyParts). Below 0 counts as 0. Returns the argument.
    int SetPartLimit(int count);

protected:
    friend struct MimeReceiver;
    friend class vellum::CodePageNote;
    friend class vellum::HeaderRun;
    friend class ParseHeaderField;

    // Structure. Called from mime/receive/receiver.cpp (the top message), part_walker.cpp (parts)
    // and body_delivery.cpp (leaves). The defaults do nothing. What is known of the context at each
    // call stands in mime/note/context.hpp.

    /// Called   first for each message and part. Its type is known, no field has been reported.
    /// Value    the client may put a cookie into the context's item.
    virtual void BeginPart(MimeContext & context);

    /// Called   last for each message and part.
    virtual void EndPart(MimeContext & context);

    /// Called   right behind BeginPart.
    virtual void BeginHeader(MimeContext & context);

    /// Called   behind the last field of the header.
    virtual void EndHeader(MimeContext & context);

    /// Called   for each field that names a file, in front of the field's own operation.
    /// Value    `field`: RFC1521::Content_Type for its parameter `name`,
    ///          RFC1806::Content_Disposition for `filename`, RFC1521::Content_Description for text
    ///          in angle brackets at its start. `name`: decoded, good until the next field of that
    ///          kind; it may hold anything, path separators too.
    virtual void SetFileName(char const * field, char const * name);

    /// Called   in front of each body that is read: not with SetHeadersOnly. For a multipart it
    ///          comes behind the first delimiter, so that nobody gets the preamble but the debug
    ///          stream.
    /// Value    `data` leads to a pointer that is null, for a stream that is to get the body
    /// decoded
    ///          and translated; the stream has to live until EndBody is called. `raw` likewise, for
    ///          a stream that is to get the lines as they stand, in place of the debug stream, from
    ///          the blank line in front of the body on; it has to live until EndBody has returned
    ///          and it has been flushed. Both stay the client's. They are written to in portions of
    ///          any size, a long line in several, and their state is never looked at.
    /// Null     `data` itself is null for a multipart and for message/rfc822, whose `*raw` gets the
    ///          raw text of all that is enclosed, but not the bodies whose data the client takes.
    ///          (A multipart or message that lies too deep to be opened is data like any leaf.)
    ///          `*data` left null: `*raw` or the debug stream gets all lines, else only the blank
    ///          line.
    ///          `*raw` left null: the debug stream stays.
    virtual void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw);

    /// Called   behind each body that BeginBody has begun. The stream from `*data` has got
    ///          everything; the engine never flushes it. The stream from `*raw` is flushed right
    ///          after this call.
    virtual void EndBody(MimeContext & context);

    // Fields, each reported as often as it occurs, in the order of the header. Reported from
    // mime/header/. The default of each is SetProperty with the field's name and the text, if
    // nothing else is said.

    /// Called   once for each mailbox of From, Sender, Reply-To and their Resent- and X- forms,
    ///          then once more at the end of the field.
    /// Value    `body`: the field's text, edited, up to this mailbox. It begins at the field's
    ///          start while all the bodies handed out for one field stay below eight times the
    ///          field, and at the mailbox's own element from then on; so a client may look at each
    ///          of them. `phrase`: the display name, decoded.
    /// Null     `phrase`: there is no name. `address`: no address could be read. All three: the
    ///          end.
    virtual void Set_From(char const * field, char const * body, char const * phrase,
                          char const * address);

    /// Called   as Set_From, for To, cc, bcc and their forms. The mailboxes of a group come one by
    ///          one.
    virtual void Set_To(char const * field, char const * body, char const * phrase,
                        char const * address);

    /// Called   for Date and Resent-Date.
    /// Value    `utc`: in Universal Time, and the present if `body` is no date.
    virtual void Set_Date(char const * field, char const * body, tm const & utc);

    /// Called   for Message-Id and Resent-Message-Id.
    /// Value    without the angle brackets.
    virtual void Set_Message_Id(char const * field, char const * id);

    /// Called   for the field of that name.
    /// Value    the field as it stands, not decoded.
    virtual void Set_Return_Path(char const * text);
    virtual void Set_Received(char const * text);
    virtual void Set_In_Reply_To(char const * text);
    virtual void Set_References(char const * text);
    virtual void Set_Keywords(char const * text);
    virtual void Set_Encrypted(char const * text);

    /// Called   for the field of that name.
    /// Value    decoded; the string's text is good for the time of the call.
    /// Default  calls the form with a C string.
    virtual void Set_Subject(MimeString text);
    virtual void Set_Comments(MimeString text);

    /// Called   by the default of the form above.
    virtual void Set_Subject(char const * text);
    virtual void Set_Comments(char const * text);

    /// Called   for the field of that name, if it has a word.
    /// Value    its first word.
    virtual void Set_Importance(char const * word);
    virtual void Set_Priority(char const * word);
    virtual void Set_Sensitivity(char const * word);

    /// Called   for MIME-Version.
    /// Value    the field as it stands.
    virtual void Set_MIME_Version(char const * text);

    /// Called   for Content-Id.
    /// Value    without the angle brackets.
    virtual void Set_Content_Id(char const * id);

    /// Called   for Content-Type; and as the last field for a header without it, with an empty
    /// body. Value    `type`, `subtype`: interned (compare the pointers with the members of
    /// RFC1521). Null     `subtype`, for a type that has no default.
    virtual void Set_Content_Type(char const * body, char const * type, char const * subtype);

    /// Called   for Content-Description.
    /// Value    decoded.
    virtual void Set_Content_Description(char const * text);

    /// Called   for Content-Transfer-Encoding.
    /// Value    a word that SymbolTable::Init loads, or "7bit" for any other.
    virtual void Set_Content_Transfer_Encoding(char const * encoding);

    /// Called   for Content-Disposition.
    /// Value    `disposition`: a word that SymbolTable::Init loads; any other word counts as an
    ///          attachment if there is a file name, else as inline.
    /// Null     `filename`: there is no file name.
    virtual void Set_Content_Disposition(char const * body, char const * disposition,
                                         char const * filename);

    /// Called   right behind BeginHeader for a message/external-body with access-type anon-ftp
    ///          (RFC 2046 5.2.3).
    /// Default  SetProperty with "X-URL".
    virtual void Set_URL(char const * url);

    /// Called   once for the address of Disposition-notification-to, or for each address of a
    /// group,
    ///          then once more at the end of the field.
    /// Null     as for Set_From.
    virtual void Set_Disposition_notification_to(char const * body, char const * phrase,
                                                 char const * address);

    /// Called   for each parameter of Content-Type that the engine uses: charset, boundary, those
    /// of
    ///          message/partial, and all of message/external-body.
    /// Value    unquoted and decoded.
    /// Default  nothing.
    virtual void SetParameter(char const * field, char const * attribute, char const * value);

    /// Called   for every field without an operation of its own; by every default above; and for
    ///          the address fields, Content-Type and Content-Disposition before anything else of
    ///          them. A client that overrides only this operation sees all fields, those of
    ///          addresses several times.
    /// Value    `name`: for a field without an operation as the message spelled it. `value`:
    ///          decoded; of the address fields, Content-Type and Content-Disposition the whole
    ///          field as it arrived.
    /// Null     `name`, for a line that begins with a colon.
    /// Default  nothing.
    virtual void SetProperty(char const * name, MimeString const & value);

    // What stands beside parts and fields. Called in both ways of reading, unless the text says
    // otherwise.

    /// Called:   for a multipart with a boundary, in front of its BeginBody, if there is text in
    ///           front of its first delimiter; also when no delimiter ever comes.
    /// Value:    the client may set `*text`, which is null, to a stream of its own. The stream gets
    ///           the text as it stands and has to live until EndPreamble is called.
    /// Default:  nothing; the text is passed over.
    virtual void BeginPreamble(MimeContext & context, std::ostream ** text);
    /// Behind the text of BeginPreamble.
    virtual void EndPreamble(MimeContext & context);
    /// The same for the text behind the closing delimiter, in front of EndBody.
    virtual void BeginEpilogue(MimeContext & context, std::ostream ** text);
    /// Behind the text of BeginEpilogue.
    virtual void EndEpilogue(MimeContext & context);
    /// Called:   in extended reading, for a group of addresses (RFC 5322 3.4): in front of its
    /// first
    ///           member, and behind its last one with a null `name`.
    /// Value:    `field` as for the members; `name` decoded, in the client's code page.
    /// Default:  nothing.
    virtual void SetGroup(char const * field, char const * name);
    /// Called:   in extended reading, in place of Set_Date.
    /// Value:    `body` as for Set_Date; `when` with its zone, or null for a date that can't be
    ///           read. It lives for the time of the call.
    /// Default:  Set_Date with the date in Universal Time; SetProperty where there is no date.
    virtual void Set_DateTime(char const * field, char const * body, MimeDateTime const * when);
    /// Called:   whenever something was passed over, repaired, cut off or guessed. What was met
    ///           before BeginPart of its part is told right behind BeginHeader.
    /// Value:    `offset` is where it stands in the input, or where the field or line begins that
    ///           it stands in; within a decoded message it counts as the context's offsets do. For
    ///           what is met in the text of a body it is the body's start, and each kind is told
    ///           once, in front of EndBody.
    /// Default:  nothing.
    virtual void Defect(MimeContext const & context, MimeDefect what, long long offset);
    /// Called:   for each field, in the order of the header, in front of the field's other calls.
    /// Value:    `field` is the field as it stands in the message, folds and line end included, of
    ///           `size` bytes, NUL not excluded and no NUL behind it; `offset` is its place in the
    ///           input. It is good for the time of the call.
    /// Default:  nothing.
    virtual void RawField(MimeContext & context, char const * field, unsigned long size,
                          long long offset);

private:
    TiStreamLite * lite_stream_ = nullptr;
    std::istream * stream_ = nullptr;
    iSimpleStream * simple_stream_ = nullptr;
    int headers_only_ = 0;
    int nesting_limit_;
    Reading reading_ = Reading_Basic;
    unsigned long header_limit_ = 0;
    int part_limit_ = 0;
    int code_page_ = 0;
    NLS_CharSet * fallback_set_ = nullptr;
    std::unique_ptr<char[]> partial_directory_;
    struct PartialLimits {
        long long bytes = 0;
        long long messages = 0;
        long long seconds = 0;
    } partial_limits_;
    std::ostream * debug_stream_ = nullptr;
    MimeClientCookie * cookie_ = nullptr;          ///< For the next run. OWNS it.
    MimeContextItem const * outermost_ = nullptr;  ///< That of a run; its cookie is in use.
    NLS_Translator_Factory * factories_ = nullptr; ///< OWNS the chain.
};
