// mime/codec/quoted_printable.cpp - quoted-printable: runs of plain text, and a state machine each
// way
//
// Grammar:    RFC 2045 6.7.
// Tolerance:  "=" and any two characters are an escape, a character that is no digit counting as
//             0xFF, unless the rules keep them; see DecodingRules. LF alone ends a line, also
//             behind the "=" of a soft break; lines may have any length.
// Not here:   white space before a line end is no padding to be taken off: senders that don't
//             encode it at all mean it, and a text of signatures ("-- ") needs it.
#include "mime/codec/quoted_printable.hpp"

#include "mime/codec/input_span.hpp"
#include "mime/foundation/simple_output.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#if defined(__SSE2__) && !defined(VELLUM_NO_SIMD)
#include <emmintrin.h>
#endif

namespace {

// runs -----------------------------------------------------------------------------

constexpr std::uint64_t each_byte(unsigned int value) { return 0x0101010101010101U * value; }
constexpr std::uint64_t high_bits = each_byte(0x80);

/// Marks, with its high bit, each byte of `word` that equals `c`. No mark depends on another byte.
constexpr std::uint64_t equal_bytes(std::uint64_t word, unsigned char c) {
    std::uint64_t const difference = word ^ each_byte(c);
    return ~(((difference & ~high_bits) + each_byte(0x7F)) | difference) & high_bits;
}

/// Marks the bytes that a decoder doesn't copy as they stand: "=", CR, LF, and, as one test does
/// for both line ends, the other controls below 0x10.
constexpr std::uint64_t decoder_stops(std::uint64_t word) {
    std::uint64_t const above_controls = (word & ~high_bits) + each_byte(0x70);
    return equal_bytes(word, '=') | (~(above_controls | word) & high_bits);
}
static_assert(decoder_stops(each_byte(0x0A)) == high_bits);
static_assert(decoder_stops(each_byte(' ')) == 0 && decoder_stops(each_byte(0x8D)) == 0);

/// Marks the bytes that an encoder doesn't copy as they stand: controls (a tab as well, which is
/// rare), "=", DEL, and those above.
constexpr std::uint64_t encoder_stops(std::uint64_t word) {
    std::uint64_t const low = word & ~high_bits;
    std::uint64_t const printable = low + each_byte(0x60);
    std::uint64_t const del_or_above = (low + each_byte(0x01)) | word;
    return equal_bytes(word, '=') | ((~printable | del_or_above) & high_bits);
}
static_assert(encoder_stops(each_byte(' ')) == 0 && encoder_stops(each_byte('~')) == 0);
static_assert(encoder_stops(each_byte(0x1F)) == high_bits &&
              encoder_stops(each_byte(0x7F)) == high_bits &&
              encoder_stops(each_byte(0xA0)) == high_bits);

inline std::size_t bytes_before_mark(std::uint64_t marks) {
    int const bits = std::endian::native == std::endian::little ? std::countr_zero(marks)
                                                                : std::countl_zero(marks);
    return static_cast<std::size_t>(bits) / 8;
}

/// Copies up to `size` bytes, as far as the first one that `Stops` marks; returns how many. Beyond
/// them, what stands in the `size` bytes at `to` is undefined.
template <std::uint64_t Stops(std::uint64_t)>
inline std::size_t copy_run(unsigned char const * from, std::size_t size, unsigned char * to) {
    std::size_t done = 0;
    std::uint64_t word = 0;
    for (; size - done >= sizeof word; done += sizeof word) {
        std::memcpy(&word, from + done, sizeof word);
        std::memcpy(to + done, &word, sizeof word);
        if (std::uint64_t const marks = Stops(word)) return done + bytes_before_mark(marks);
    }
    for (; done < size && Stops(from[done]) % 0x100 == 0; ++done)
        to[done] = from[done];
    return done;
}

#if defined(__SSE2__) && !defined(VELLUM_NO_SIMD)

constexpr std::size_t block_size = 32;

/// Marks, with a bit each, the bytes of a block that equal `c`.
inline std::uint32_t equal_bytes(__m128i const (&block)[2], char c) {
    __m128i const all = _mm_set1_epi8(c);
    int const low = _mm_movemask_epi8(_mm_cmpeq_epi8(block[0], all));
    int const high = _mm_movemask_epi8(_mm_cmpeq_epi8(block[1], all));
    return static_cast<std::uint32_t>(low) | static_cast<std::uint32_t>(high) << 16;
}

/// Copies a block, and marks "=" and each CR and LF that isn't half of a pair within the block.
inline std::uint32_t copy_block(unsigned char const * from, unsigned char * to) {
    __m128i block[2];
    std::memcpy(block, from, sizeof block);
    std::memcpy(to, block, sizeof block);
    std::uint32_t const cr = equal_bytes(block, '\r');
    std::uint32_t const lf = equal_bytes(block, '\n');
    return equal_bytes(block, '=') | (cr & ~(lf >> 1)) | (lf & ~(cr << 1));
}

/// As `copy_run` for a decoder, but on through each CR LF that lies within a block.
inline std::size_t copy_lines(unsigned char const * from, std::size_t size, unsigned char * to) {
    if (size < block_size) return copy_run<decoder_stops>(from, size, to);
    std::size_t done = 0;
    for (; size - done >= block_size; done += block_size) {
        std::uint32_t const stops = copy_block(from + done, to + done);
        if (stops != 0) return done + static_cast<std::size_t>(std::countr_zero(stops));
    }
    if (done == size) return size;
    // The rest, as the end of a last block, the start of which is copied once more.
    std::size_t const start = size - block_size;
    std::uint32_t const stops = copy_block(from + start, to + start) & ~0U << (done - start);
    return stops != 0 ? start + static_cast<std::size_t>(std::countr_zero(stops)) : size;
}

#else

inline std::size_t copy_lines(unsigned char const * from, std::size_t size, unsigned char * to) {
    return copy_run<decoder_stops>(from, size, to);
}

#endif

// encoder --------------------------------------------------------------------------

enum EncoderState { between_characters, cr_read, f_read, fr_read, fro_read, from_read };

constexpr int longest_line = 75; // without the "=" of a soft break
constexpr unsigned char nothing_special = 0xFF;
constexpr std::string_view from_line = "From";

constexpr auto escapes = [] {
    std::array<std::array<char, 3>, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        table[byte] = {'=', EncodingQP::basis_hex[byte >> 4], EncodingQP::basis_hex[byte & 15]};
    }
    return table;
}();

/// The bytes that can stand nowhere as they are, CR and LF aside.
constexpr bool is_escaped(unsigned char byte) {
    if (byte < ' ') return byte != '\t' && byte != '\r' && byte != '\n';
    return byte == '=' || byte >= 0x7F;
}

} // namespace

EncodingQP::EncodingQP(bool break_lines) : MIME_TransferEncoding(break_lines) {}

EncodingQP::~EncodingQP() { flushAtEnd(); }

int EncodingQP::encode(iSimpleStream * in, oSimpleStream * out) {
    output = out;
    vellum::feed(
        *in, state,
        [this](unsigned char const * next, unsigned char const * last) {
            return encodeRun(next, last);
        },
        [this](unsigned char byte) {
            take(byte);
            return true;
        });
    return state == between_characters ? 0 : 1;
}

void EncodingQP::writeTail() {
    if (state == cr_read) {
        state = between_characters;
        escape('\r');
    } else if (state != between_characters) {
        writeFrom(false);
    }
    if (std::exchange(column_, 0) != 0 && breakLines) output->write("=\r\n", 3);
}

/// The state machine. A byte that doesn't continue what has been read counts by itself.
void EncodingQP::take(unsigned char byte) {
    if (state == cr_read) {
        state = between_characters;
        if (byte == '\n') return endLine();
        escape('\r');
    } else if (state != between_characters) {
        std::size_t const matched = static_cast<std::size_t>(state - f_read) + 1;
        if (matched < from_line.size() && byte == static_cast<unsigned char>(from_line[matched])) {
            ++state;
            return;
        }
        writeFrom(byte == ' ');
    }
    takeBetweenCharacters(byte);
}

void EncodingQP::takeBetweenCharacters(unsigned char byte) {
    if (byte == '\r') {
        state = cr_read;
    } else if (byte == '\n') {
        escape(byte);
        previous_ = '\n';
    } else if (byte == 'F' && (previous_ == '\n' || beginsEncodedLine())) {
        CheckLineLength(6); // "=46rom"; behind an escaped LF it doesn't begin the line
        state = f_read;
    } else if (is_escaped(byte) || (byte == '.' && (column_ == 0 || column_ >= longest_line))) {
        escape(byte);
    } else {
        CheckLineLength(1);
        advance(1);
        previous_ = byte;
        output->put(byte);
    }
}

/// Plain characters and escapes within a line, where neither a dot nor an "F" is special. Returns
/// where it stopped.
unsigned char const * EncodingQP::encodeRun(unsigned char const * next,
                                            unsigned char const * last) {
    while (next != last && column_ > 0 && column_ < longest_line && previous_ != '\n') {
        if (is_escaped(*next)) {
            escape(*next++);
            continue;
        }
        std::size_t const size = std::min({static_cast<std::size_t>(last - next),
                                           static_cast<std::size_t>(longest_line - column_),
                                           std::size_t{output->oBufAvl()}});
        std::size_t const copied = copy_run<encoder_stops>(next, size, output->oPutPtr(0));
        if (copied == 0) break;
        output->oPutPtr(static_cast<long>(copied));
        advance(static_cast<int>(copied));
        next += copied;
        previous_ = next[-1];
    }
    return next;
}

void EncodingQP::escape(unsigned char byte) {
    CheckLineLength(3);
    advance(3);
    previous_ = nothing_special;
    output->write(escapes[byte].data(), 3);
}

/// What has been read of "From", all of it being protected where a blank follows it. There is
/// no soft break within it: room was made for it.
void EncodingQP::writeFrom(bool blank_follows) {
    std::string_view text = from_line.substr(0, static_cast<std::size_t>(state - f_read) + 1);
    if (state == from_read && blank_follows) text = "=46rom";
    state = between_characters;
    advance(static_cast<int>(text.size()));
    previous_ = nothing_special;
    output->write(text);
}

void EncodingQP::endLine() {
    bool const has_trailing_blank = previous_ == ' ' || previous_ == '\t';
    column_ = 0;
    previous_ = '\n';
    if (has_trailing_blank) {
        output->write("=\r\n\r\n", 5);
    } else {
        output->write("\r\n", 2);
    }
}

/// Whether the next character begins a line behind a soft break, at which "From " is looked for.
bool EncodingQP::beginsEncodedLine() const {
    return escapes_every_from_ && breakLines && column_ >= longest_line;
}

/// A soft break, if the line has no place for `n` characters more.
void EncodingQP::CheckLineLength(int n) {
    if (!breakLines || column_ + n <= longest_line) return;
    column_ = 0;
    previous_ = '\n';
    output->write("=\r\n", 3);
}

/// A line that is never broken is counted no further than matters, as it may have any length.
void EncodingQP::advance(int n) {
    column_ = breakLines ? column_ + n : std::min(column_ + n, longest_line);
}

// decoder --------------------------------------------------------------------------

namespace {

enum DecoderState {
    between,
    equals_read,
    equals_cr_read,
    digit_read,
    lone_cr_read,
    equals_blanks_read,
};

constexpr unsigned char no_digit = 0xFF;

constexpr auto digit_values = [] {
    std::array<unsigned char, 256> values{};
    for (unsigned char & value : values)
        value = no_digit;
    for (unsigned char value = 0; value < 16; ++value) {
        unsigned char const digit = static_cast<unsigned char>(EncodingQP::basis_hex[value]);
        values[digit] = value;
        if (digit >= 'A') values[digit - 'A' + 'a'] = value;
    }
    return values;
}();

constexpr unsigned char HexChar(unsigned char c) { return digit_values[c]; }
static_assert(HexChar('9') == 9 && HexChar('f') == 15 && HexChar('G') == 0xFF);

constexpr unsigned char escaped_byte(unsigned char first_digit, unsigned char second_digit) {
    return static_cast<unsigned char>(HexChar(first_digit) << 4 | HexChar(second_digit));
}
static_assert(escaped_byte('Z', '4') == 0xF4);

constexpr bool is_escape(unsigned char first_digit, unsigned char second_digit) {
    return (HexChar(first_digit) | HexChar(second_digit)) < 16;
}

} // namespace

constexpr std::array<unsigned char, 128> DecodingQP::index_hex = [] {
    std::array<unsigned char, 128> index{};
    for (std::size_t c = 0; c < index.size(); ++c)
        index[c] = digit_values[c];
    return index;
}();

DecodingQP::DecodingQP() = default;

DecodingQP::~DecodingQP() { flushAtEnd(); }

int DecodingQP::decode(iSimpleStream * in, oSimpleStream * out) {
    output = out;
    vellum::feed(
        *in, state,
        [this](unsigned char const * next, unsigned char const * last) {
            return decodeRuns(next, last);
        },
        [this](unsigned char c) {
            take(c);
            return true;
        });
    return state == between ? 0 : 1;
}

void DecodingQP::noteEnd() {
    if (state == digit_read) defects.bad_escape = true; // "=" alone may be a soft break's
}

void DecodingQP::writeTail() {
    noteEnd();
    int const open = std::exchange(state, between);
    if (open == lone_cr_read) output->put('\r');
    if (open != digit_read || !rules.keep_invalid_escapes) return;
    output->put('=');
    output->put(first_digit_);
}

/// The state machine. A byte that doesn't continue what has been read counts by itself.
void DecodingQP::take(unsigned char c) {
    switch (std::exchange(state, between)) {
    case equals_read:
        if (rules.drop_blanks_behind_soft_break && (c == ' ' || c == '\t')) {
            blanks_[0] = c;
            blank_count_ = 1;
            state = equals_blanks_read;
            return;
        }
        return takeBehindEquals(c);
    case digit_read: return takeSecondDigit(c);
    case equals_blanks_read: return takeBehindBlanks(c);
    case equals_cr_read:
        if (c == '\n') return;
        defects.bad_escape = true;
        if (rules.keep_invalid_escapes) output->put('=');
        break;
    default: break; // behind a lone CR, LF makes a line end as it does by itself
    }
    takeBetweenCharacters(c);
}

void DecodingQP::takeBehindEquals(unsigned char c) {
    if (c == '\n') return;
    if (c == '\r') {
        state = equals_cr_read;
    } else if (rules.keep_invalid_escapes && HexChar(c) == no_digit) {
        defects.bad_escape = true;
        output->put('=');
        takeBetweenCharacters(c);
    } else {
        first_digit_ = c;
        state = digit_read;
    }
}

void DecodingQP::takeSecondDigit(unsigned char c) {
    if (!is_escape(first_digit_, c)) {
        defects.bad_escape = true;
        if (rules.keep_invalid_escapes) {
            output->put('=');
            output->put(first_digit_);
            return takeBetweenCharacters(c);
        }
    }
    output->put(escaped_byte(first_digit_, c));
}

/// Behind "=" and blanks: if no line end follows them, they are read again without the rule that
/// let them wait.
void DecodingQP::takeBehindBlanks(unsigned char c) {
    if (c == '\r' || c == '\n') return takeBehindEquals(c);
    if ((c == ' ' || c == '\t') && blank_count_ < blanks_.size()) {
        blanks_[blank_count_++] = c;
        state = equals_blanks_read;
        return;
    }
    takeBehindEquals(blanks_[0]);
    for (std::size_t i = 1; i < blank_count_; ++i)
        take(blanks_[i]);
    take(c);
}

void DecodingQP::takeBetweenCharacters(unsigned char c) {
    switch (c) {
    case '=': state = equals_read; break;
    case '\r': state = lone_cr_read; break;
    case '\n': output->write("\r\n", 2); break;
    default: output->put(c);
    }
}

/// Plain text, line ends, valid escapes and soft breaks that lie whole in the input, while the
/// output's buffer has room. Returns where it stopped: at anything else, which is left to `take`.
unsigned char const * DecodingQP::decodeRuns(unsigned char const * next,
                                             unsigned char const * last) {
    unsigned char * const first_to = output->oPutPtr(0);
    unsigned char * to = first_to;
    unsigned char const * const end_to = to + output->oBufAvl();
    for (;;) {
        std::ptrdiff_t const size = std::min(last - next, end_to - to);
        std::size_t const copied = copy_lines(next, static_cast<std::size_t>(size), to);
        next += copied;
        to += copied;
        // Escapes come in rows, one for each byte of a character.
        while (last - next >= 3 && to != end_to && next[0] == '=' && is_escape(next[1], next[2])) {
            *to++ = escaped_byte(next[1], next[2]);
            next += 3;
        }
        if (next == last || end_to - to < 2) break;
        if (*next == '=' && last - next >= 3 && next[1] == '\r' && next[2] == '\n') {
            next += 3;
        } else if (std::size_t const line_end = vellum::line_end_length(next, last)) {
            next += line_end;
            *to++ = '\r';
            *to++ = '\n';
        } else if (*next == '\r' || *next == '=') {
            break;
        } else { // another control, or the character behind an escape
            *to++ = *next++;
        }
    }
    output->oPutPtr(static_cast<long>(to - first_to));
    return next;
}
