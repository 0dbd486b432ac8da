// mime/send/body_source.hpp - a body of the client's: looked at before it is read, and its failures
#pragma once

#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>
#include <string_view>

class NLS_CharSet;

namespace vellum {

/// What the start of a body holds, as the choice of a transfer encoding needs it.
struct BodyLook {
    std::size_t size = 0;         ///< of the bytes looked at
    bool is_whole = true;         ///< nothing stands behind them
    bool has_nul = false;         ///< no text of bytes
    bool has_lone_cr = false;     ///< no line end, and altered on many ways
    bool has_from_line = false;   ///< a line that begins with "From ", at which mailboxes are cut
    std::size_t eight_bit = 0;    ///< bytes above 0x7F
    std::size_t escapes = 0;      ///< bytes that quoted-printable writes as three
    std::size_t longest_line = 0; ///< in bytes, without its line end
};

/// Returns what `start`, the start of a body, holds.
BodyLook look_at(std::string_view start, bool is_whole);

/// Returns the token of the transfer encoding for a text that goes out in a set of which
/// `suits_set` is the best encoding: 7bit for short lines of ASCII that have been seen whole,
/// base64 for what quoted-printable would make larger still, and else quoted-printable.
char const * encoding_of_text(BodyLook const & look, char const * suits_set);

/// Returns the token for a message that goes out as it stands (RFC 2046 5.2): 7bit, 8bit or binary.
char const * encoding_of_message(BodyLook const & look);

/// Reads the body of a client's stream through its `streambuf`. It belongs to one body, and the
/// stream outlives it.
///
/// At the end of the body the stream gets eofbit and failbit, as istream::read would set them. A
/// body fails if its stream is in error when it begins, if the stream gets badbit on the way, or if
/// its `streambuf` throws std::ios_base::failure, as that of a file does; the stream has badbit
/// then, and the body ends there. All else that the `streambuf` throws passes through.
class BodySource final : public std::streambuf {
public:
    explicit BodySource(std::istream & body);
    BodySource(BodySource const &) = delete;
    BodySource & operator=(BodySource const &) = delete;

    /// Looks at the first 64 KB, before anything has been read.
    BodyLook Look();

    /// Each LF that has no CR in front becomes CR LF. Called before anything has been read.
    void EndLines() { ends_lines_ = true; }

    bool failed() const { return failed_; }

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char * to, std::streamsize size) override;

private:
    static constexpr std::size_t look_size = std::size_t{64} << 10;
    static constexpr std::size_t block_size = std::size_t{8} << 10;

    std::size_t Read(char * to, std::size_t size);
    void Serve(std::string_view bytes);

    std::istream & body_;
    std::string bytes_; // looked at and not yet served, or the block in hand
    std::string lines_; // the block with its line ends
    bool looked_at_ = false;
    bool ends_lines_ = false;
    bool ended_ = false;
    bool failed_ = false;
    char last_ = '\0'; // served
};

} // namespace vellum
