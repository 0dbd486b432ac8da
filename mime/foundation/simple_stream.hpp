// mime/foundation/simple_stream.hpp - the light streams: input, output, and a stage between two
// steps
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/simple_input.hpp"
#include "mime/foundation/simple_output.hpp"

#include <cstddef>
#include <iosfwd>

/// A memory stage: one step writes into it, and after `rewind` the next step reads from it.
///
/// Both halves refer to one buffer, the caller's at first and then, when it has to grow, the
/// stream's own. There is neither source nor sink. Growing moves the output half alone: between a
/// write and the next `rewind` or `reInit` nothing may be read.
///
/// To copy a stage into another stream, say which half is meant:
/// `out << static_cast<iSimpleStream &>(stage)`.
class VELLUM_EXPORT ioSimpleStream : public iSimpleStream, public oSimpleStream {
public:
    /// Without a buffer; the first byte written makes a buffer on the heap.
    ioSimpleStream() = default;

    /// Over `length` bytes at `buffer`: all of them can be read, and writing goes on behind the
    /// first `used`. A value out of range is brought into it.
    ioSimpleStream(char * buffer, int length, int used);
    /// Over the memory from `first` to `last`; writing goes on at `put`, where null means `first`.
    ioSimpleStream(char * first, char * last, char * put);

    ~ioSimpleStream() override;

    /// Turns what was written into what is read. Two NUL bytes stand behind it, in the buffer but
    /// not among the data, so that text of single or double bytes is terminated.
    ioSimpleStream & rewind();

    /// Empties the stage for new data. `pcount` goes on counting what was handed over only.
    ioSimpleStream & reInit();

    /// The state of the input half, which `rewind` and `reInit` set anew.
    using iSimpleStream::good;
    bool operator!() const { return !good(); }
    explicit operator bool() const { return good(); }
    operator void *() { return good() ? this : nullptr; }

    /// The start of the buffer, as the output half has it.
    char * str() const { return oSimpleStream::str(); }
    operator char *() const { return oSimpleStream::str(); }
    operator signed char *() const { return reinterpret_cast<signed char *>(oBufPtr()); }
    operator unsigned char *() const { return oBufPtr(); }

    /// Writes the bytes that were written so far to `os`.
    std::ostream & Print(std::ostream & os) const;
};

/// The unit in which the message writer and a client's `MimeONote` exchange memory. The record
/// refers to the block and does not own it; copying and destroying it leaves the block alone.
struct Buffer {
    unsigned char * address = nullptr; ///< the block; null where no block is lent
    std::size_t capacity = 0;          ///< its size in bytes
    std::size_t filled = 0;            ///< how many bytes of it, from its start, are data
    void * cookie = nullptr;           ///< the client's own; travels with the record, never read
};
