// mime/foundation/simple_output.hpp - the light output stream over a memory buffer
//
//     base_        put_              end_
//      |  pending   |  room           |         put_ == end_: the next byte calls Overflow(1)
//      +------------+-----------------+
//
// Pending bytes go to the sink when the buffer is full; without a sink the buffer grows.
#pragma once

#include "mime/export.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <limits>
#include <memory>
#include <string_view>

class iSimpleStream;

/// Writes to a memory buffer, which is emptied to an `ostream` if the stream has one, and which
/// otherwise moves to the heap and grows.
///
/// The caller's buffer and the sink are not owned; they must outlive the stream, whose destructor
/// still writes to the sink. It belongs to one thread and throws nothing of its own. What the sink
/// throws passes through, and so does `std::bad_alloc` when the buffer can't grow: the stream then
/// holds what it held before the call, or a leading part of the new data behind it. Bytes count as
/// handed over from the moment that they are given to the sink, so a sink that throws doesn't get
/// them again.
class VELLUM_EXPORT oSimpleStream {
public:
    /// A stream without a buffer. The first byte written makes a buffer on the heap.
    oSimpleStream() = default;

    /// Over `length` bytes at `buffer`, or over the memory from `first` to `last`. `sink` may be
    /// null. A negative length counts as 0.
    oSimpleStream(char * buffer, int length, std::ostream * sink = nullptr);
    oSimpleStream(signed char * buffer, int length, std::ostream * sink = nullptr);
    oSimpleStream(unsigned char * buffer, int length, std::ostream * sink = nullptr);
    oSimpleStream(char * first, char * last, std::ostream * sink = nullptr);
    oSimpleStream(signed char * first, signed char * last, std::ostream * sink = nullptr);
    oSimpleStream(unsigned char * first, unsigned char * last, std::ostream * sink = nullptr);

    oSimpleStream(oSimpleStream const &) = delete;
    oSimpleStream & operator=(oSimpleStream const &) = delete;

    /// Writes what is pending to the sink and frees the heap block. A destructor can't let the
    /// sink's exception out: it stays inside, and the sink's error state tells of it. A caller that
    /// wants to see it calls `flush` first.
    virtual ~oSimpleStream();

    /// Called when a write needs at least `request` bytes of room more than there are, or with 0 to
    /// hand over what is pending. Sets `base_`, `put_` and `end_` to where writing goes on and adds
    /// what it handed over to `flushed_`. An override may give any room, down to a single byte, and
    /// is called again until the data are written. If it makes no room at all, the rest of that
    /// write is dropped. It may throw.
    virtual void Overflow(unsigned int request);

    oSimpleStream & put(char c) { return putByte(static_cast<unsigned char>(c)); }
    oSimpleStream & put(signed char c) { return putByte(static_cast<unsigned char>(c)); }
    oSimpleStream & put(unsigned char c) { return putByte(c); }
    oSimpleStream & operator<<(char c) { return put(c); }
    oSimpleStream & operator<<(signed char c) { return put(c); }
    oSimpleStream & operator<<(unsigned char c) { return put(c); }

    /// `size` bytes at `data`; a size below 1 does nothing. The data may lie in the memory of the
    /// caller's buffer, and may overlap the place that they are written to.
    oSimpleStream & write(char const * data, int size) { return writeBytes(data, size); }
    oSimpleStream & write(signed char const * data, int size) { return writeBytes(data, size); }
    oSimpleStream & write(unsigned char const * data, int size) { return writeBytes(data, size); }
    /// The same for data of any length.
    oSimpleStream & write(std::string_view data) {
        transfer(reinterpret_cast<unsigned char const *>(data.data()), data.size());
        return *this;
    }

    /// The text without its NUL. An empty text and a null pointer do nothing.
    oSimpleStream & operator<<(char const * text);
    oSimpleStream & operator<<(signed char const * text);
    oSimpleStream & operator<<(unsigned char const * text);

    /// The number in decimal digits, with no regard to the locale.
    oSimpleStream & operator<<(long value);
    oSimpleStream & operator<<(int value);
    oSimpleStream & operator<<(short value);
    oSimpleStream & operator<<(unsigned long value);
    oSimpleStream & operator<<(unsigned int value);
    oSimpleStream & operator<<(unsigned short value);

    /// All that `in` still delivers. `in` has ended afterwards. A null pointer does nothing.
    oSimpleStream & operator<<(iSimpleStream & in);
    oSimpleStream & operator<<(iSimpleStream * in);

    /// The pending bytes of `other`, which keeps them. A stream isn't appended to itself.
    oSimpleStream & operator<<(oSimpleStream & other);
    oSimpleStream & operator<<(oSimpleStream * other);

    /// All bytes of `in` to its end, read straight into this stream's buffer. Before each read the
    /// `streambuf` form asks `Overflow` for as much room as the buffer has in all, so what was
    /// pending is handed over, or the buffer grows. A heap buffer without a sink is filled before
    /// it grows.
    oSimpleStream & operator<<(std::istream & in);
    oSimpleStream & operator<<(std::streambuf * in);

    /// Hands what is pending to the sink, if the stream has a sink. The sink itself isn't flushed.
    oSimpleStream & flush() {
        Overflow(0);
        return *this;
    }

    /// How many bytes were ever written; INT_MAX if there are more.
    int pcount() const;
    /// The same, without that limit.
    long long pcountExact() const { return flushed_ + (put_ - base_); }

    /// There is a buffer, and the sink, if any, has no error.
    bool good() const;
    bool operator!() const { return !good(); }
    explicit operator bool() const { return good(); }
    operator void *() { return good() ? this : nullptr; }

    /// The start of the buffer, where the pending bytes stand; null without a buffer. It changes
    /// when the buffer grows.
    char * str() const { return reinterpret_cast<char *>(base_); }
    unsigned char * oBufPtr() const { return base_; }
    operator char *() const { return reinterpret_cast<char *>(base_); }
    operator signed char *() const { return reinterpret_cast<signed char *>(base_); }
    operator unsigned char *() const { return base_; }

    /// Moves the write position by `delta` bytes, unchecked, and returns where it then is.
    /// `oBufAvl` bytes can be written there. So a producer that works on the buffer itself reports
    /// its bytes, or takes some back.
    unsigned char * oPutPtr(long delta) { return put_ += delta; }
    /// How many bytes are pending (UINT_MAX if there are more).
    unsigned int oBufCnt() const { return saturated(pending()); }
    /// How many bytes of room there are (UINT_MAX if there are more), without a call of `Overflow`.
    unsigned int oBufAvl() const { return saturated(room()); }

    /// With a sink, copies to `os` what can be read back from the sink's `streambuf`; then the
    /// pending bytes, which stay pending.
    std::ostream & Print(std::ostream & os) const;

protected:
    std::size_t pending() const { return static_cast<std::size_t>(put_ - base_); }
    std::size_t room() const { return put_ < end_ ? static_cast<std::size_t>(end_ - put_) : 0; }

    static unsigned int saturated(std::size_t count) {
        constexpr std::size_t most = std::numeric_limits<unsigned int>::max();
        return static_cast<unsigned int>(std::min(count, most));
    }

    void transfer(unsigned char const * data, std::size_t size) {
        if (size == 0) return;
        if (size <= room()) {
            std::memmove(put_, data, size);
            put_ += size;
        } else {
            transferPastEnd(data, size);
        }
    }

    unsigned char * base_ = nullptr;
    unsigned char * end_ = nullptr;
    unsigned char * put_ = nullptr;
    std::unique_ptr<unsigned char[]> allocated_; // null while the buffer is the caller's
    std::ostream * sink_ = nullptr;              // not owned
    long long flushed_ = 0;                      // bytes handed over so far

private:
    void attach(unsigned char * first, std::ptrdiff_t length, std::ostream * sink);
    oSimpleStream & putByte(unsigned char c) {
        if (put_ < end_ || makeRoom()) *put_++ = c;
        return *this;
    }
    template <typename Byte>
    oSimpleStream & writeBytes(Byte const * data, int size) {
        if (size > 0) {
            transfer(reinterpret_cast<unsigned char const *>(data), static_cast<std::size_t>(size));
        }
        return *this;
    }
    template <typename Number>
    oSimpleStream & writeNumber(Number value);
    bool makeRoom();
    bool makeBulkRoom();
    void transferPastEnd(unsigned char const * data, std::size_t size);
    void handOver();
    void grow(std::size_t request);
};
