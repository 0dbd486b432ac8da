// mime/foundation/simple_input.hpp - the light input stream over a memory buffer
//
//     base_         get_              end_
//      |  delivered  |  still to come  |        get_ == end_: the buffer is used up
//      +-------------+-----------------+        get_ == end_ + 1: the stream has ended
//
// A byte costs a comparison and an increment; one virtual call is made where the buffer runs out.
#pragma once

#include "mime/export.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>

class oSimpleStream;

/// Reads from a memory buffer, and refills it from an `istream` if it has one.
///
/// Neither the buffer nor the source is owned; both must outlive the stream's use. A stream is good
/// until a read finds nothing where it looks for a byte, not already when the last byte is taken;
/// from then on it has ended, and stays so. It belongs to one thread, throws nothing of its own and
/// lets what its source throws pass through.
class VELLUM_EXPORT iSimpleStream {
public:
    /// A stream that has no buffer, and so is not good.
    iSimpleStream() = default;

    /// Over `length` bytes at `buffer`, or over the bytes from `first` to `last`. Without a source
    /// (null) these bytes are the input, and are never written to. With a source they are scratch
    /// space: the first read fills them from `source`, and each refill asks for the whole buffer. A
    /// null buffer makes a stream that is not good; a negative length counts as 0.
    iSimpleStream(char * buffer, int length, std::istream * source = nullptr);
    iSimpleStream(signed char * buffer, int length, std::istream * source = nullptr);
    iSimpleStream(unsigned char * buffer, int length, std::istream * source = nullptr);
    iSimpleStream(char * first, char * last, std::istream * source = nullptr);
    iSimpleStream(signed char * first, signed char * last, std::istream * source = nullptr);
    iSimpleStream(unsigned char * first, unsigned char * last, std::istream * source = nullptr);

    iSimpleStream(iSimpleStream const &) = delete;
    iSimpleStream & operator=(iSimpleStream const &) = delete;
    virtual ~iSimpleStream();

    /// Called by every read that finds the buffer used up (`get_ == end_`), and never again once
    /// the stream has ended. True: at least one byte now stands between `get_` and `end_`. False:
    /// the input is over; an override leaves that to this body, which marks the stream as ended. It
    /// may throw; the stream then is where it was.
    virtual bool Underflow();

    /// The next byte as a value from 0 to 255, with a count of 1; or -1, with a count of 0.
    int get() {
        count_ = 0;
        if (!hasByte()) return -1;
        count_ = 1;
        return *get_++;
    }

    /// The next byte into `c`, which is left alone at the end of the data.
    iSimpleStream & get(char & c) {
        int const byte = get();
        if (byte >= 0) c = static_cast<char>(byte);
        return *this;
    }

    /// Bytes up to and not including `delimiter`, at most `size - 2` of them, and a NUL behind
    /// them; across refills. The delimiter stays in the stream and isn't counted. With a size of 1
    /// or less, or on a stream that isn't good, nothing is stored at all, and the count is 0.
    iSimpleStream & get(char * buffer, int size, char delimiter);

    /// Up to `size` bytes to `buffer`, across refills; `gcount` tells how many came. No NUL is
    /// written. A size below 1 copies nothing.
    iSimpleStream & read(char * buffer, int size);

    /// The next byte from 0 to 255, left in the stream; or -1. Refills the buffer, and at the end
    /// of the data it ends the stream. The count is unchanged.
    int peek() { return hasByte() ? *get_ : -1; }

    /// Drops one byte. The count is 1, or 0 at the end of the data.
    iSimpleStream & ignore() {
        get();
        return *this;
    }

    /// The number of bytes that the last `get`, `read` or `ignore` delivered.
    int gcount() const { return count_; }

    bool good() const { return good_; }
    bool operator!() const { return !good_; }
    explicit operator bool() const { return good_; }
    operator void *() { return good_ ? this : nullptr; }

    /// The start of the buffer; null without a buffer.
    char * str() const { return reinterpret_cast<char *>(base_); }
    unsigned char * iBufPtr() const { return base_; }
    operator char *() const { return reinterpret_cast<char *>(base_); }
    operator signed char *() const { return reinterpret_cast<signed char *>(base_); }
    operator unsigned char *() const { return base_; }

    /// Moves the read position by `delta` bytes, no further than the ends of the buffer, and
    /// returns where it then is. `iBufCnt` bytes can be read there. So a consumer that works on the
    /// buffer itself reports how far it got. A stream that has ended stays as it is.
    unsigned char * iGetPtr(long delta) {
        if (get_ <= end_) get_ += std::clamp<std::ptrdiff_t>(delta, base_ - get_, end_ - get_);
        return get_;
    }

    /// How many unread bytes stand in the buffer (UINT_MAX if there are more), without a refill; 0
    /// when the stream has ended.
    unsigned int iBufCnt() const {
        constexpr std::size_t most = std::numeric_limits<unsigned int>::max();
        return static_cast<unsigned int>(std::min(unread(), most));
    }

    /// This stream, for `out << in.rdbuf()`.
    iSimpleStream * rdbuf() { return this; }

    /// If good, writes the unread bytes of the buffer to `os` and leaves them in the stream. What a
    /// source still holds isn't part of it.
    std::ostream & Print(std::ostream & os) const;

protected:
    friend class oSimpleStream;

    bool hasByte() { return get_ < end_ || (get_ == end_ && Underflow()); }
    std::size_t unread() const { return get_ < end_ ? static_cast<std::size_t>(end_ - get_) : 0; }

    /// Not good any more, and `get_` past `end_`. By way of an integer, as a stream without a
    /// buffer ends too, and nothing may be added to a null pointer.
    void markEnded() {
        good_ = false;
        get_ = reinterpret_cast<unsigned char *>(reinterpret_cast<std::uintptr_t>(end_) + 1);
    }

    /// What `read` does, without a limit on the type of the byte.
    void readChars(unsigned char * buffer, int size);
    /// What `get` with a delimiter does, for a limit that is 1 above the room, the NUL included.
    void getChars(unsigned char * buffer, int limit, unsigned char delimiter);

    unsigned char * base_ = nullptr;
    unsigned char * end_ = nullptr;
    unsigned char * get_ = nullptr;
    std::istream * source_ = nullptr; // not owned
    int count_ = 0;
    bool good_ = false;

private:
    void attach(unsigned char * first, std::ptrdiff_t length, std::istream * source);
};
