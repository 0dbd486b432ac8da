// mime/send/body_source.cpp - a body of the client's: looked at before it is read, and its failures
#include "mime/send/body_source.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/send/own_field.hpp"

#include <algorithm>

namespace vellum {

// the choice of an encoding --------------------------------------------------------

namespace {

/// Quoted-printable takes three bytes for an escaped one, and base64 with its line ends 37 for 27
/// of whatever kind: they meet where two bytes in eleven are escaped.
constexpr bool is_longer_escaped(std::size_t escapes, std::size_t size) {
    return escapes * 11 > size * 2;
}

/// In a set that shifts, a line has more bytes than the client's; never more than this many times.
constexpr std::size_t shifting_growth = 8;

void add_line(BodyLook & look, std::string_view line) {
    look.longest_line = std::max(look.longest_line, line.size());
    if (line.starts_with("From ")) look.has_from_line = true;
    for (char const c : line) {
        unsigned char const byte = ascii::byte(c);
        if (byte >= 0x7F || byte == '=' || (byte < ' ' && byte != '\t')) ++look.escapes;
        if (byte > 0x7F) ++look.eight_bit;
        if (byte == '\0') look.has_nul = true;
        if (byte == '\r') look.has_lone_cr = true;
    }
}

} // namespace

BodyLook look_at(std::string_view start, bool is_whole) {
    BodyLook look;
    look.size = start.size();
    look.is_whole = is_whole;
    while (!start.empty()) {
        std::size_t const end = std::min(start.find('\n'), start.size());
        std::string_view line = start.substr(0, end);
        bool const has_end = end < start.size();
        start.remove_prefix(has_end ? end + 1 : end);
        if (has_end && line.ends_with('\r')) line.remove_suffix(1);
        add_line(look, line);
    }
    return look;
}

char const * encoding_of_text(BodyLook const & look, char const * suits_set) {
    if (look.has_nul || suits_set == RFC1521::base64) return RFC1521::base64;
    bool const shifts = look.eight_bit != 0 && suits_set == RFC1521::ASCII_7bit;
    std::size_t const line_limit = shifts ? longest_line / shifting_growth : longest_line;
    bool const lines_fit = look.is_whole && look.longest_line <= line_limit && !look.has_from_line;
    if (lines_fit && !look.has_lone_cr && (shifts || look.eight_bit == 0)) {
        return RFC1521::ASCII_7bit;
    }
    return is_longer_escaped(look.escapes, look.size) ? RFC1521::base64 : RFC1521::quoted_printable;
}

char const * encoding_of_message(BodyLook const & look) {
    if (look.has_nul || look.longest_line > longest_line) return RFC1521::binary;
    return look.eight_bit != 0 ? RFC1521::ASCII_8bit : RFC1521::ASCII_7bit;
}

// the body -------------------------------------------------------------------------

BodySource::BodySource(std::istream & body) : body_(body), failed_(body.fail()) {
    ended_ = failed_ || body.rdbuf() == nullptr || !body.good();
}

/// Up to `size` bytes; fewer at the end of the body alone.
std::size_t BodySource::Read(char * to, std::size_t size) {
    if (ended_) return 0;
    std::streamsize read = 0;
    auto const wanted = static_cast<std::streamsize>(size);
    try {
        read = body_.rdbuf()->sgetn(to, wanted);
    } catch (std::ios_base::failure const &) {
        failed_ = ended_ = true;
        body_.setstate(std::ios_base::badbit);
        return 0;
    }
    if (body_.bad()) failed_ = true;
    if (read < wanted || failed_) {
        ended_ = true;
        body_.setstate(std::ios_base::eofbit | std::ios_base::failbit);
    }
    return read > 0 ? static_cast<std::size_t>(read) : 0;
}

BodyLook BodySource::Look() {
    bytes_.resize(block_size);
    std::size_t size = 0;
    while (std::size_t const read = Read(bytes_.data() + size, bytes_.size() - size)) {
        size += read;
        if (ended_ || size >= look_size) break;
        if (size == bytes_.size()) bytes_.resize(std::min(2 * size, look_size));
    }
    bytes_.resize(size);
    looked_at_ = true;
    return look_at(bytes_, ended_);
}

BodySource::int_type BodySource::underflow() {
    if (!looked_at_) {
        bytes_.resize(block_size);
        bytes_.resize(Read(bytes_.data(), bytes_.size()));
    }
    looked_at_ = false;
    Serve(bytes_);
    return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

/// Makes `bytes`, with line ends if they are wanted, what is read next.
void BodySource::Serve(std::string_view bytes) {
    char * first = bytes_.data();
    std::size_t size = bytes.size();
    if (ends_lines_) {
        lines_.clear();
        while (!bytes.empty()) {
            std::size_t const end = std::min(bytes.find('\n'), bytes.size());
            lines_.append(bytes.substr(0, end));
            if (end > 0) last_ = bytes[end - 1];
            if (end < bytes.size()) lines_.append(last_ == '\r' ? "\n" : "\r\n");
            if (end < bytes.size()) last_ = '\n';
            bytes.remove_prefix(std::min(end + 1, bytes.size()));
        }
        first = lines_.data();
        size = lines_.size();
    }
    setg(first, first, first + size);
}

/// Past what was looked at, a body that stays as it is needs no stop in between.
std::streamsize BodySource::xsgetn(char * to, std::streamsize size) {
    std::streamsize done = std::streambuf::xsgetn(to, std::min(size, egptr() - gptr()));
    if (!looked_at_ && !ends_lines_) {
        done +=
            static_cast<std::streamsize>(Read(to + done, static_cast<std::size_t>(size - done)));
    } else if (done < size) {
        done += std::streambuf::xsgetn(to + done, size - done);
    }
    return done;
}

} // namespace vellum
