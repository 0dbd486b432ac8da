// mime/foundation/lite_stream.hpp - the source of lines that a client derives from to feed a
// message
#pragma once

#include "mime/export.hpp"

/// An abstract source of lines, for a client whose message stands in neither an `istream` nor a
/// memory buffer. The receiver calls it on the thread that calls `Receive`. An exception that it
/// throws passes through to the caller of `Receive`.
class VELLUM_EXPORT TiStreamLite {
public:
    TiStreamLite() = default;
    TiStreamLite(TiStreamLite const &) = delete;
    TiStreamLite & operator=(TiStreamLite const &) = delete;
    virtual ~TiStreamLite();

    /// Called for the next line, or for the rest of a line that did not fit before.
    ///
    /// Stores at most `capacity` bytes at `buffer`, up to and including the next LF, and their
    /// number in `*count`; writes no NUL. `buffer` and `count` are never null and are valid for
    /// the call only. A count of 0 with a result other than 2 is the end of the input.
    ///
    /// Returns 2 if the capacity ran out before the line did: what was stored counts, and the next
    /// call goes on behind it, with more room if nothing was stored. Any other value: the call
    /// finished.
    virtual int ReadLine(unsigned char * buffer, int capacity, int * count) = 0;

    /// Called to look ahead by one byte: stores the byte that `ReadLine` would deliver next at
    /// `byte` (never null) and leaves it in the input. Returns nonzero if there was a byte, and 0
    /// at the end of the input.
    virtual int PeekByte(unsigned char * byte) = 0;

    /// The next byte as a value from 0 to 255, left in the input; or -1 at the end of the input.
    virtual int peek();
};
