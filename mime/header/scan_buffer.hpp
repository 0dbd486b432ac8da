// mime/header/scan_buffer.hpp - the text of one header field, edited while it is scanned
//
// The grammar cuts comments, quotes and blanks out of the text and puts decoded words into it, a
// few bytes at a time, and a hostile field has a million of them. So the text is a gap buffer:
//
//     base   [ text before the gap | gap | text behind it ]
//
// An edit moves the gap to its place and then costs what it edits. As scanning goes forward, so
// does the gap. What has to be read twice (a display name, first as the start of an address) is
// written anew in one piece by the second reading, which moves nothing around the gap. So all the
// edits of a field together move at most twice the bytes that it has.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace vellum {

/// A place in the text, counted as if there were no gap. An edit moves the places behind it along.
using Position = std::size_t;

/// A piece of the text. A span that nothing was matched for is null.
struct Span {
    Position begin = 0;
    Position end = 0;
    bool matched = false;

    static Span of(Position begin, Position end) { return {begin, end, true}; }
    explicit operator bool() const { return matched; }
    bool empty() const { return begin == end; }
    std::size_t size() const { return end - begin; }
};

class ScanBuffer {
public:
    /// Edits the NUL-terminated `text` in place; it outlives the buffer. Memory of its own is only
    /// needed when the text becomes longer than it was.
    explicit ScanBuffer(char * text);
    ScanBuffer(ScanBuffer const &) = delete;
    ScanBuffer & operator=(ScanBuffer const &) = delete;

    Position size() const { return gap_begin_ + behind(); }
    /// The byte at `position`; NUL at the end of the text and behind it.
    char at(Position position) const {
        if (position < gap_begin_) return base_[position];
        position += gap();
        return position < end_ ? base_[position] : '\0';
    }
    /// The first byte from `from` on that `has` is false for; it is for NUL. The same as asking
    /// at() byte by byte, but the gap is looked for once.
    template <typename Has>
    Position pass(Position from, Has has) const {
        Position p = from;
        while (p < gap_begin_ && has(base_[p]))
            ++p;
        if (p < gap_begin_) return p;
        char const * const behind_gap = base_ + gap();
        std::size_t const limit = end_ - gap();
        while (p < limit && has(behind_gap[p]))
            ++p;
        return p;
    }
    bool starts_with(Position position, std::string_view text) const;
    /// The first `byte` in [from, to), or `to`.
    Position find(char byte, Position from, Position to) const;
    /// The first byte in [from, to) that is no white space, or `to`.
    Position pass_blanks(Position from, Position to) const;
    bool is_blank(Position from, Position to) const { return pass_blanks(from, to) == to; }
    /// [from, to) as it lies in memory; good until the next edit.
    std::string_view view(Position from, Position to);
    /// Appends [from, to) to `out`.
    void copy(Position from, Position to, std::string & out) const;

    void put(Position position, char byte);
    void erase(Position from, Position to) { replace(from, to, {}); }
    void replace(Position from, Position to, std::string_view text);

    /// The text from its start to its end as a C string.
    char * whole();
    /// Whether whole() can be had although more edits will follow: the bytes that are moved for it,
    /// before it and behind it stay below twice the field's size. It says no to a field that asks
    /// for it at every comma.
    bool is_whole_cheap() const;

    /// The bytes moved and written so far: what the guard against quadratic cost counts.
    std::size_t moved() const { return moved_; }

private:
    friend class Terminated;

    std::size_t gap() const { return gap_end_ - gap_begin_; }
    std::size_t behind() const { return end_ - gap_end_; }
    void move_gap(Position position);
    void close_gap();
    void grow(std::size_t needed);

    std::unique_ptr<char[]> own_; ///< The text's home once it has outgrown the caller's.
    char * base_;                 ///< Its first byte, which isn't the home's first for ever.
    std::size_t gap_begin_ = 0;
    std::size_t gap_end_ = 0;
    std::size_t end_; ///< A byte for a NUL stands behind it.
    std::size_t original_size_;
    std::size_t moved_ = 0;
};

/// Makes C strings of spans, and of the text before the first of them, for the time of a callback:
/// each has a NUL behind it. A null span has no text.
class Terminated {
public:
    Terminated(ScanBuffer & buffer, std::initializer_list<Span> spans);
    ~Terminated();
    Terminated(Terminated const &) = delete;
    Terminated & operator=(Terminated const &) = delete;

    /// The text of one of the spans; null for a null span.
    char const * text(Span const & span) const;
    /// The start of the field, which reads up to the end of the first span.
    char const * field() const { return buffer_.base_; }

private:
    static constexpr std::size_t most_spans = 2;
    struct Saved {
        char * place;
        char byte;
    };

    ScanBuffer & buffer_;
    Saved saved_[most_spans];
    std::size_t count_ = 0;
};

} // namespace vellum
