// mime/note/context.hpp - the place reached in a message, as both notes show it to a client
//
// A context and its own item live from BeginPart to EndPart of their part. A client receives them
// by reference and keeps neither beyond the callback; what it wants to keep per level it hangs on
// the item as a cookie.
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/symbol_table.hpp"

/// A client's own state, hung on a note or on one level of a message. The engine never looks into
/// it; it calls Delete when the level that carries it ends.
class VELLUM_EXPORT MimeClientCookie {
public:
    virtual ~MimeClientCookie();

    /// Gives the cookie up. The default destroys it; a client that wants it back overrides this.
    /// The engine calls it exactly once per level, and never on a null pointer.
    virtual void Delete();
};

/// One level of a message: what the first look at its header found. The values don't change when
/// the header's fields are reported later.
struct VELLUM_EXPORT MimeContextItem {
    SymToken type;             ///< Media type.
    SymToken subtype;          ///< Media subtype; null when Content-Type named none.
    SymToken disposition;      ///< A known token; null without a Content-Disposition.
    MimeClientCookie * cookie; ///< The client's state for this level, or null. OWNS it.

    /// The strings are interned texts or null.
    MimeContextItem(char const * type, char const * subtype, char const * disposition,
                    MimeClientCookie * cookie);
    /// Calls Delete on the cookie, if there is one.
    ~MimeContextItem();
    MimeContextItem(MimeContextItem const &) = delete;
    MimeContextItem & operator=(MimeContextItem const &) = delete;
};

/// The place reached. Offsets are byte offsets in the input (when reading) or in the output (when
/// writing), counted from 0; -1 means: not reached yet. An `int` that would pass INT_MAX stays at
/// INT_MAX; `exact` holds the same values without that limit.
struct VELLUM_EXPORT MimeContext {
    int message_depth;   ///< How many message/rfc822 envelopes lie around this part.
    int multipart_depth; ///< How many multiparts lie around it within its message.
    int atomic_count;    ///< Parts begun that are neither multipart nor message, this one included.
    int part_number;     ///< 1 for the top message; each part takes the next number.
    MimeContextItem * item;        ///< This part's own level.
    MimeContextItem * parent_item; ///< The enclosing level; for the top message one that carries
                                   ///< message/RFC822 and the note's cookie.
    int part_start;                ///< Where the part's header begins.
    int part_end;                  ///< Where the part ends; from EndPart on.
    int header_start;              ///< The same as part_start.
    int header_end;      ///< Behind the blank line that ends the header; from EndHeader on.
    int body_start;      ///< From BeginBody on.
    int body_end;        ///< From EndBody on.
    int body_start_line; ///< Lines read before the body; from BeginBody on.
    int body_end_line;   ///< Lines read when the body ended; from EndBody on.

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

    /// Every offset and line number starts at -1.
    MimeContext(int message_depth, int multipart_depth, int atomic_count, int part_number,
                MimeContextItem * item, MimeContextItem * parent_item);
};
