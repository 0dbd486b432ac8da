// mime/note/context.hpp - the place reached in a message, as both notes show it to a client
//
// A context and its own item live from BeginPart to EndPart of their part. A client receives them
// by reference and keeps neither beyond the callback; what it wants to keep per level it hangs on
// the item as a cookie.
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/symbol_table.hpp"

/// A client's own state, hung on a note or on one level of a message. The engine never looks into
/// it; whoever owns the cookie calls Delete when the level that carries it ends.
class VELLUM_EXPORT MimeClientCookie {
public:
    virtual ~MimeClientCookie();

    /// Gives the cookie up. The default destroys it; a client that wants it back overrides this.
    /// The engine calls it exactly once for each cookie, and never on a null pointer. It must not
    /// throw.
    virtual void Delete();
};

/// One level of a message. While reading, what the first look at its header found: the values don't
/// change when the header's fields are reported later. While writing, type and subtype are null
/// until Get_Content_Type has answered, and the disposition stays null.
///
/// While reading, the texts of `type` and `subtype` live as long as the run of Receive: see
/// SymToken for how to keep them longer.
struct VELLUM_EXPORT MimeContextItem {
    SymToken type;             ///< Media type.
    SymToken subtype;          ///< Media subtype; null when Content-Type named none.
    SymToken disposition;      ///< A known token; null without a Content-Disposition.
    MimeClientCookie * cookie; ///< The client's state for this level, or null. OWNS it.

    /// The strings are interned texts or null, kept as pointers.
    MimeContextItem(char const * type, char const * subtype, char const * disposition,
                    MimeClientCookie * cookie);
    /// Calls Delete on the cookie, if there is one.
    ~MimeContextItem();
    MimeContextItem(MimeContextItem const &) = delete;
    MimeContextItem & operator=(MimeContextItem const &) = delete;
};

/// The place reached. Offsets count bytes of the input (when reading) or of the output (when
/// writing) from 0; -1 means: not reached yet. An `int` that would pass INT_MAX stays at INT_MAX;
/// `exact` holds the same values without that limit, and the engine sets the others from it in
/// front of each call.
///
/// While reading, the line end in front of a delimiter belongs to the delimiter, and that is why
/// some offsets surprise:
/// - The blank line and a delimiter right behind it are one: the body is empty, and `body_end` lies
///   before `body_start`, `body_end_line` before `body_start_line`.
/// - The body of a multipart within a multipart ends behind the delimiter that ended its epilogue,
///   the part in front of that delimiter: `body_end` lies behind `part_end`.
/// - `header_end` counts the blank line, also where the end of the input stands in its place: it
///   may lie beyond the input. Where in extended reading a delimiter or the body ends the header
///   without a blank line, `header_end` is the offset of that delimiter or of the body.
struct VELLUM_EXPORT MimeContext {
    int message_depth;   ///< How many message/rfc822 envelopes lie around this part.
    int multipart_depth; ///< How many multiparts lie around it within its message.

    /// Reading: parts begun that are neither multipart nor message, this part included. Writing: a
    /// part counts from its BeginBody on, and those in a nested multipart or message are not
    /// counted for what follows behind it.
    int atomic_count;

    /// 1 for the top message. Reading: each part takes the next number. Writing: the number of what
    /// encloses the part and its place in it, from 1, added together: numbers may occur twice.
    int part_number;

    MimeContextItem * item;        ///< This part's own level.
    MimeContextItem * parent_item; ///< The enclosing level; for the top message a level that
                                   ///< carries message/RFC822 and, when reading, the note's cookie.
    int part_start;                ///< Where the part's header begins. Writing: from BeginPart on.
    int part_end;     ///< Where the part ends. Reading: from EndPart on. Writing: from EndBody on.
    int header_start; ///< Reading: the same as part_start. Writing: from BeginHeader on.
    int header_end;   ///< Behind the blank line that ends the header; from EndHeader on.
    int body_start;   ///< From BeginBody on.
    int body_end;     ///< From EndBody on. Writing: the same as part_end.
    int body_start_line; ///< Reading only: lines read before the body; from BeginBody on.
    int body_end_line;   ///< Reading only: lines read when the body ended; from EndBody on.

    /// The offsets and line numbers above, without their limit.
    struct Exact {
        long long part_start;
        long long part_end;
        long long header_start;
        long long header_end;
        long long body_start;
        long long body_end;
        long long body_start_line;
        long long body_end_line;
    };
    Exact exact;

    /// How many encoded messages lie around this part whose text was decoded on the way; 0 for
    /// none. Within them the offsets and lines count the decoded bytes of the innermost one from 0.
    /// Reading only.
    int decoded_depth = 0;

    /// Every offset and line number starts at -1.
    MimeContext(int message_depth, int multipart_depth, int atomic_count, int part_number,
                MimeContextItem * item, MimeContextItem * parent_item);
};
