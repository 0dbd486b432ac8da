// mime/receive/line_reader.hpp - cuts the input into lines and knows where a multipart ends
//
// A header line comes unfolded, and the blank line that ends a header stays in the input. A body
// line is looked at together with the next one, since the line end in front of a delimiter belongs
// to the delimiter (RFC 2046 5.1.1): the last text line before it has to lose its line end.
//
// Input:      the bytes that the source has at hand, taken without a copy where whole lines of
//             text, or a whole header field, stand in them, and gathered in one buffer where they
//             don't. Nothing is ever taken from the source beyond the line that is handed out and,
//             where a line begins with "-", the one behind it.
// Tolerance:  a line ends at LF. Whether a delimiter's line ends are CR LF or bare LF is learnt
//             from the header lines. A bare CR is a plain byte, but at the start of a header line
//             it ends the header.
// Bounds:     the buffer holds a line and the one read ahead. A long line of text goes on in
//             pieces. A header line has no limit but memory, unless by the rule
//             `stray_lines_begin_body` it can only be text; when memory is exhausted, the input
//             ends there.
#pragma once

#include "mime/export.hpp"
#include "mime/receive/boundary.hpp"

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

struct MimeReceiver;
class TiStreamLite;
class iSimpleStream;

namespace vellum {
class BoundaryStack;
class LineBuffer;
struct ReadingRules;
} // namespace vellum

/// The line reader of one run. It hands out a line by setting two pointers of the receiver; they
/// are good until the next read.
class VELLUM_EXPORT MimeLine {
public:
    /// `begin` and `end` are the receiver's two pointers; they outlive the reader, which sets them
    /// to null when it goes. `owner` may be null; otherwise its debug stream gets each header line
    /// as it was read. `size` is the buffer's first size in bytes, at least 4000.
    MimeLine(char ** begin, char ** end, MimeReceiver * owner, unsigned int size);
    virtual ~MimeLine();
    MimeLine(MimeLine const &) = delete;
    MimeLine & operator=(MimeLine const &) = delete;

    /// The next input byte, 0 to 255, without taking it; -1 at the end of the input.
    virtual int Peek();
    /// Appends the input up to and including the next LF to the buffer's first `offset` bytes, or
    /// to all of them if that is negative or there are fewer. Returns the count of bytes; 0 at the
    /// end of the input.
    virtual long long Read_to_LF(long long offset);

    /// The next header line, unfolded, with its last line end. Returns the count of input bytes
    /// that it took, or 0 when the header has ended: at a line that begins with CR or LF, unless it
    /// is the `first`, and at the end of the input. Adds the lines read to `lines`.
    long long ReadLine_Head(unsigned long long & lines, bool & atEnd, bool first);
    /// The same, but as it stands: with its line ends where it is folded, without a copy if the
    /// source has it at hand, and nothing goes to the debug stream. The header may also end in
    /// front of a delimiter, which is then the next body line. A line of more than 64 KB that is no
    /// field may come in part: it begins the body then.
    long long ReadField_Head(unsigned long long & lines, bool & atEnd, bool first);
    /// Puts text in front of what is left of the input. Its lines have been read as header lines,
    /// and are now to be read again. Where the next body line is the first of them, it has no line
    /// end in front of it that it would need as a delimiter.
    void Push_Back(std::string_view text);
    /// Puts `before` and then the current body line back, as if neither had been read: `before` are
    /// the lines in front of it.
    void Unread_Body(std::string before);
    /// Takes a CR that isn't followed by LF. False if there is none: nothing is taken then.
    bool Pass_Lone_CR();
    /// Releases the memory of a header line that was very long. There is no current line then.
    void Forget_Head();
    /// The next body line, with its line end; a delimiter together with the line end in front of
    /// it, and the line before without. Returns its length, 0 at the end of the input.
    long long ReadLine_Body(unsigned long long & lines, bool & atEnd);
    /// The same, but a line of more than 16 KB that can't be a delimiter may come in pieces, of
    /// which the last has the line end.
    long long ReadText_Body(unsigned long long & lines, bool & atEnd);
    /// Further text behind the current line or piece, as it lies in the source's own memory, at
    /// most 64 KB of it: lines that keep their line ends, or a piece of a line. Empty if
    /// ReadText_Body has to look. It is taken with the call and good until the next one. Only
    /// behind a line that is no delimiter.
    std::string_view ReadLines_Body(unsigned long long & lines);

    /// A new level, without a delimiter.
    void Boundary_Push();
    /// Gives the top level its delimiter; null takes it away. Nothing on an empty stack.
    void Boundary_Init(char const * boundary);
    void Boundary_Pop();
    /// The header that is being read is a multipart's with that boundary, whose level comes later:
    /// its delimiter too ends the header, and is found when the level is there. Null: none is.
    void Boundary_Expect(char const * boundary);

protected:
    friend struct MimeReceiver;

    bool Boundary_is_1() const { return boundary_current.kind == vellum::Boundary_Part; }
    /// Nothing more belongs to the innermost level.
    bool Boundary_is_2() const { return Boundary_is_close() || Boundary_is_outer(); }
    bool Boundary_is_a() const { return at_end_flag || boundary_current.kind != 0; }
    /// The end of the input, or a closing delimiter.
    bool Boundary_is_close() const {
        return at_end_flag || boundary_current.kind == vellum::Boundary_Close;
    }
    /// The current line is the delimiter of a level around the innermost one.
    bool Boundary_is_outer() const;
    /// The header that was read last ended in front of a delimiter.
    bool Boundary_follows() const { return boundary_next.kind != vellum::Boundary_Not; }
    /// The next body line is the first of a text that was put back.
    bool Body_follows() const { return is_put_back_; }
    /// What the current line is doesn't count for what is read next.
    void Boundary_Forget() { boundary_current = {}; }
    bool Boundary_has_text() const;
    /// How many lines the current delimiter is: itself, and the line in front of it that has no
    /// other line end.
    int Boundary_Lines() const { return delimiter_lines_; }
    /// The length of the line end that the top level expects; 2 with an empty stack.
    int Boundary_EOL_Length() const;

    /// The bytes that the source has at hand; it is asked for more when it has none. Empty only at
    /// the end of the input.
    virtual std::string_view Window() = 0;
    /// Takes the first `count` bytes of the last Window().
    virtual void Take(std::size_t count) = 0;

private:
    std::string_view window();
    void take(std::size_t count);
    int peek();
    int peek_line();
    long long next_physical_line(std::size_t & most);
    long long read_head(unsigned long long & lines, bool & atEnd, bool first, bool as_it_stands);
    long long take_field_at_hand(unsigned long long & lines, std::size_t most);
    void end_head();
    bool starts_with_delimiter();
    bool ends_line(bool as_it_stands);
    vellum::FoundBoundary find(std::size_t at, std::string_view eol_in_front);
    vellum::FoundBoundary match(std::size_t at, std::string_view eol_in_front);
    vellum::FoundBoundary find_in(vellum::BoundaryStack const & levels, std::string_view line);
    bool may_be_delimiter(std::string_view text) const;
    long long read_body(unsigned long long & lines, bool & atEnd, std::size_t most);
    long long start_body_line(unsigned long long & lines, std::size_t most);
    long long look_ahead(long long length, unsigned long long & lines, std::size_t most);
    void gather(std::size_t start, std::size_t most);
    void gather_body_line(std::size_t start, std::size_t most);
    std::size_t piece_size() const;
    void hand_out(std::size_t length);
    void restore_saved();
    std::size_t text_length(std::string_view text) const;

    MimeReceiver * owner_;
    std::unique_ptr<vellum::LineBuffer> buffer_;
    char ** line_begin_;
    char ** line_end_;
    std::size_t pending = 0;           ///< Offset of the line read ahead; 0 if there is none.
    std::size_t saved_at_ = 0;         ///< Where the NUL behind the current body line stands, if
    bool is_saved_ = false;            ///< this is set, and
    char saved = '\0';                 ///< the byte that it displaced.
    bool exhausted_ = false;           ///< No memory for a longer line: the input has ended.
    unsigned long long lf_lines = 0;   ///< Header lines that ended in a bare LF.
    unsigned long long crlf_lines = 0; ///< Header lines that ended in CR LF.
    bool at_end_flag = false;          ///< A body line met the end of the input.
    std::unique_ptr<vellum::BoundaryStack> levels_;
    std::unique_ptr<vellum::BoundaryStack> expected_; ///< The delimiter of Boundary_Expect, if any.
    vellum::FoundBoundary boundary_next;              ///< What the line read ahead is,
    vellum::FoundBoundary boundary_current;           ///< the current line,
    vellum::FoundBoundary boundary_previous;          ///< and the one before.
    int delimiter_lines_ = 2;
    std::string pushed_;        ///< Text in front of the source's.
    std::size_t pushed_at_ = 0; ///< How much of it has been taken.
    bool is_put_back_ = false;  ///< The next body line begins it.
    vellum::ReadingRules const * rules_;
};

/// Lines from an istream, taken straight from its buffer. Sets eofbit at the end of the input.
class VELLUM_EXPORT MimeLine_via_istream : public MimeLine {
public:
    /// The stream is not owned and outlives the reader; so for the two classes below.
    MimeLine_via_istream(std::istream * in, char ** begin, char ** end, MimeReceiver * owner,
                         unsigned int size);
    ~MimeLine_via_istream() override;

protected:
    std::string_view Window() override;
    void Take(std::size_t count) override;

private:
    std::istream * in_;
    bool is_unbuffered_ = false; ///< The window is `single_`, still in the stream.
    char single_ = '\0';
};

/// Lines from an iSimpleStream, taken straight from its buffer.
class VELLUM_EXPORT MimeLine_via_iSimpleStream : public MimeLine {
public:
    MimeLine_via_iSimpleStream(iSimpleStream * in, char ** begin, char ** end, MimeReceiver * owner,
                               unsigned int size);
    ~MimeLine_via_iSimpleStream() override;

protected:
    std::string_view Window() override;
    void Take(std::size_t count) override;

private:
    iSimpleStream * in_;
};

/// Lines from a client's TiStreamLite.
class VELLUM_EXPORT MimeLine_via_TiStreamLite : public MimeLine {
public:
    MimeLine_via_TiStreamLite(TiStreamLite * in, char ** begin, char ** end, MimeReceiver * owner,
                              unsigned int size);
    ~MimeLine_via_TiStreamLite() override;

    int Peek() override;

protected:
    std::string_view Window() override;
    void Take(std::size_t count) override;

private:
    TiStreamLite * in_;
    std::unique_ptr<char[]> piece_; ///< What the last ReadLine gave.
    std::size_t capacity_;
    std::size_t begin_ = 0; ///< The part of it that has not been taken.
    std::size_t end_ = 0;
};
