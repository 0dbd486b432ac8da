// mime/codec/base64.cpp - base64: whole groups in runs, and one state machine for all that is open
//
// Grammar:    RFC 2045 6.8: groups of four characters for three bytes, "=" fills the last.
// Tolerance:  a character outside the alphabet is skipped anywhere, and lines may have any length,
//             as senders, gateways and mailing lists fold, indent and decorate such bodies.
#include "mime/codec/base64.hpp"

#include "mime/codec/input_span.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_output.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#if defined(__x86_64__) && defined(__GNUC__) && !defined(VELLUM_NO_SIMD)
#include <immintrin.h>
#endif

namespace {

constexpr int line_length = 76;

// encoding table -------------------------------------------------------------------

/// The two characters for each 12 bits.
constexpr auto character_pairs = [] {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (unsigned int bits = 0; bits < pairs.size(); ++bits) {
        pairs[bits] = {Encoding64::basis_64[bits >> 6], Encoding64::basis_64[bits & 63]};
    }
    return pairs;
}();

/// One whole group: three bytes at `from` make four characters at `to`.
inline void encode_group(unsigned char const * from, unsigned char * to) {
    unsigned int const bits = static_cast<unsigned int>(from[0] << 16 | from[1] << 8 | from[2]);
    std::memcpy(to, character_pairs[bits >> 12].data(), 2);
    std::memcpy(to + 2, character_pairs[bits & 0xFFF].data(), 2);
}

// decoding tables ------------------------------------------------------------------

constexpr unsigned char pad = 0x80;
constexpr unsigned char outside = 0xFF;

/// The decoder's state behind the padding of a line, until the line ends. The others are the number
/// of values in the open group.
constexpr int line_is_over = 4;

constexpr auto index_of_ascii = [] {
    std::array<unsigned char, 128> index{};
    for (unsigned char & value : index)
        value = outside;
    for (unsigned char value = 0; value < 64; ++value) {
        index[static_cast<unsigned char>(Encoding64::basis_64[value])] = value;
    }
    index['='] = pad;
    return index;
}();
static_assert(index_of_ascii['A'] == 0 && index_of_ascii['/'] == 63);

constexpr unsigned char char64(unsigned char c) { return c > 0x7F ? outside : index_of_ascii[c]; }

/// A byte of a decoded group at its place in a word that is stored as it stands in memory.
constexpr std::uint32_t in_memory(unsigned int byte, int place) {
    int const shift = std::endian::native == std::endian::little ? 8 * place : 24 - 8 * place;
    return static_cast<std::uint32_t>(byte & 0xFF) << shift;
}

/// In the fourth byte of such a word: a character of the group has no value.
constexpr std::uint32_t no_group = in_memory(0xFF, 3);

/// For each place in a group, what a character there adds to its three bytes: four entries,
/// joined, are a decoded group.
constexpr auto contributions = [] {
    std::array<std::array<std::uint32_t, 256>, 4> tables{};
    for (int place = 0; place < 4; ++place) {
        for (unsigned int c = 0; c < 256; ++c) {
            unsigned int const value = char64(static_cast<unsigned char>(c));
            unsigned int const bits = value << (18 - 6 * place);
            tables[static_cast<std::size_t>(place)][c] =
                value > 63
                    ? no_group
                    : in_memory(bits >> 16, 0) | in_memory(bits >> 8, 1) | in_memory(bits, 2);
        }
    }
    return tables;
}();

inline std::uint32_t decode_group(unsigned char const * from) {
    return contributions[0][from[0]] | contributions[1][from[1]] | contributions[2][from[2]] |
           contributions[3][from[3]];
}

/// How far a run of groups has been decoded, and where its bytes end.
struct Progress {
    unsigned char const * next;
    unsigned char * to;
};

// decoding in vectors --------------------------------------------------------------

#if defined(__x86_64__) && defined(__GNUC__) && !defined(VELLUM_NO_SIMD)

/// A character is looked up by the low and by the high half of its bits, as a vector instruction
/// has room for 16 entries. It is in the alphabet if its two entries have no bit in common.
struct HalfTables {
    using Table = std::array<unsigned char, 32>; // the 16 entries, once for each half of a vector
    Table low{};
    Table high{};
    Table to_value{}; // what to add, by the high half; "/" takes the entry before its own

    static constexpr unsigned char bit_of(unsigned int high_half) {
        switch (high_half) {
        case 2: return 1;
        case 3: return 2;
        case 4: // letters of either case have the same low halves
        case 6: return 4;
        case 5:
        case 7: return 8;
        default: return 16;
        }
    }

    constexpr HalfTables() {
        for (unsigned int c = 0; c < 256; ++c) {
            unsigned char const value = char64(static_cast<unsigned char>(c));
            high[c >> 4] = bit_of(c >> 4);
            if (value > 63) {
                low[c & 15] |= bit_of(c >> 4);
            } else {
                to_value[c == '/' ? 1 : c >> 4] = static_cast<unsigned char>(value - c);
            }
        }
        for (Table * table : {&low, &high, &to_value}) {
            for (std::size_t i = 0; i < 16; ++i)
                (*table)[i + 16] = (*table)[i];
        }
    }

    constexpr bool are_right() const {
        for (unsigned int c = 0; c < 256; ++c) {
            unsigned char const value = char64(static_cast<unsigned char>(c));
            bool const is_valid = (low[c & 15] & high[c >> 4]) == 0;
            unsigned char const sum =
                static_cast<unsigned char>(c + to_value[c == '/' ? 1 : c >> 4]);
            if (is_valid != (value < 64) || (is_valid && sum != value)) return false;
        }
        return true;
    }
};

constexpr HalfTables half_tables;
static_assert(half_tables.are_right());

/// The place of each decoded byte in its half of a vector, where every group has a word of four
/// bytes with its three in reverse; 0x80 for no byte.
constexpr HalfTables::Table group_bytes = {
    2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 0x80, 0x80, 0x80, 0x80, //
    2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 0x80, 0x80, 0x80, 0x80};

/// Decodes blocks of 32 characters, each up to its first group that isn't whole, and the line ends
/// between them. Each block stores 32 bytes, of which the next one overwrites those that aren't
/// decoded.
[[gnu::target("avx2")]] Progress decode_blocks(unsigned char const * next,
                                               unsigned char const * last, unsigned char * to,
                                               unsigned char const * end_to) {
    __m256i low_table, high_table, value_table, bytes_of_lane;
    std::memcpy(&low_table, half_tables.low.data(), sizeof low_table);
    std::memcpy(&high_table, half_tables.high.data(), sizeof high_table);
    std::memcpy(&value_table, half_tables.to_value.data(), sizeof value_table);
    std::memcpy(&bytes_of_lane, group_bytes.data(), sizeof bytes_of_lane);
    __m256i const half = _mm256_set1_epi8(0x0F);
    // The 12 bytes of each lane to the front of the whole.
    __m256i const both_lanes = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);

    while (last - next >= 32 && end_to - to >= 32) {
        __m256i const text = _mm256_loadu_si256(reinterpret_cast<__m256i const *>(next));
        __m256i const high_half = _mm256_and_si256(_mm256_srli_epi32(text, 4), half);
        __m256i const low_half = _mm256_and_si256(text, half);
        __m256i const is_valid =
            _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_shuffle_epi8(low_table, low_half),
                                               _mm256_shuffle_epi8(high_table, high_half)),
                              _mm256_setzero_si256());
        __m256i const is_slash = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/')); // -1 where it is
        __m256i const values = _mm256_add_epi8(
            text, _mm256_shuffle_epi8(value_table, _mm256_add_epi8(high_half, is_slash)));
        __m256i const pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
        __m256i const groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
        __m256i const bytes =
            _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, bytes_of_lane), both_lanes);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), bytes);

        std::uint32_t const valid = static_cast<std::uint32_t>(_mm256_movemask_epi8(is_valid));
        if (valid == 0xFFFFFFFF) { // apart, so that the next block needn't wait for the count
            next += 32;
            to += 24;
            continue;
        }
        int const whole_groups = std::countr_one(valid) / 4;
        next += 4 * whole_groups;
        to += 3 * whole_groups;
        std::size_t const line_end = vellum::line_end_length(next, last);
        if (line_end == 0) break;
        next += line_end;
    }
    return {next, to};
}

bool can_decode_blocks() { return __builtin_cpu_supports("avx2"); }

#else

Progress decode_blocks(unsigned char const * next, unsigned char const *, unsigned char * to,
                       unsigned char const *) {
    return {next, to};
}
constexpr bool can_decode_blocks() { return false; }

#endif

} // namespace

// encoder --------------------------------------------------------------------------

Encoding64::Encoding64(bool break_lines) : MIME_TransferEncoding(break_lines) {}

Encoding64::~Encoding64() { flushAtEnd(); }

int Encoding64::encode(iSimpleStream * in, oSimpleStream * out) {
    output = out;
    vellum::feed(
        *in, state,
        [this](unsigned char const * next, unsigned char const * last) {
            return encodeGroups(next, last);
        },
        [this](unsigned char byte) {
            take(byte);
            return true;
        });
    return state == 0 ? 0 : 1;
}

void Encoding64::writeTail() {
    int const open = std::exchange(state, 0);
    if (open > 0) output64chunk(group_[0], open > 1 ? group_[1] : 0, 0, 3 - open);
    if (std::exchange(column_, 0) > 0) output->write("\r\n", 2);
}

void Encoding64::output64chunk(int c1, int c2, int c3, int pads) {
    unsigned char const bytes[] = {static_cast<unsigned char>(c1), static_cast<unsigned char>(c2),
                                   static_cast<unsigned char>(c3)};
    unsigned char characters[4];
    encode_group(bytes, characters);
    for (int i = 0; i < pads; ++i)
        characters[3 - i] = '=';
    if (breakLines) column_ += 4;
    output->write(characters, 4);
}

/// The state machine: one more byte of the open group.
void Encoding64::take(unsigned char byte) {
    group_[static_cast<std::size_t>(state++)] = byte;
    if (state < 3) return;
    state = 0;
    output64chunk(group_[0], group_[1], group_[2], 0);
    endFullLine();
}

/// All whole groups of the input that the output's buffer has room for. Returns where it stopped.
unsigned char const * Encoding64::encodeGroups(unsigned char const * next,
                                               unsigned char const * last) {
    for (;;) {
        std::size_t groups =
            std::min(static_cast<std::size_t>(last - next) / 3, std::size_t{output->oBufAvl() / 4});
        if (breakLines) {
            groups = std::min(groups, static_cast<std::size_t>(line_length - column_) / 4);
        }
        if (groups == 0) return next;
        unsigned char * to = output->oPutPtr(0);
        for (unsigned char const * const stop = next + 3 * groups; next != stop; next += 3) {
            encode_group(next, to);
            to += 4;
        }
        output->oPutPtr(static_cast<long>(4 * groups));
        if (breakLines) column_ += static_cast<int>(4 * groups);
        endFullLine();
    }
}

void Encoding64::endFullLine() {
    if (column_ < line_length) return;
    column_ = 0;
    output->write("\r\n", 2);
}

// decoder --------------------------------------------------------------------------

constexpr std::array<unsigned char, 128> Decoding64::index_64 = index_of_ascii;

Decoding64::Decoding64() = default;

Decoding64::~Decoding64() { flushAtEnd(); }

int Decoding64::decode(iSimpleStream * in, oSimpleStream * out) {
    output = out;
    vellum::feed(
        *in, state,
        [this](unsigned char const * next, unsigned char const * last) {
            return decodeGroups(next, last);
        },
        [this](unsigned char c) { return take(c); });
    return state == 0 || state == line_is_over ? 0 : 1;
}

void Decoding64::noteEnd() {
    if (state != 0 && state != line_is_over) defects.unfinished_group = true;
}

void Decoding64::writeTail() {
    noteEnd();
    int const open = std::exchange(state, 0);
    if (open == 2 || open == 3) writeGroup(open);
}

/// The state machine: one more character. False: padding has ended the data.
bool Decoding64::take(unsigned char c) {
    unsigned char const value = char64(c);
    if (value == outside) {
        if (state == line_is_over && c == '\n') state = 0;
        if (!vellum::ascii::is_blank(static_cast<char>(c)) && c != '\r' && c != '\n')
            defects.bad_character = true;
        return true;
    }
    if (value != pad && has_padding_) defects.data_behind_padding = true;
    if (state == line_is_over) return true;
    if (value == pad && state < 2) return endAtPadding(state == 0);
    if (state == 3 && group_[2] == pad && value != pad) defects.unfinished_group = true;
    group_[static_cast<std::size_t>(state++)] = value;
    if (state < 4) return true;
    state = 0;
    return writeGroup(4) || endAtPadding(true);
}

/// Whether the rest of the input is still read.
bool Decoding64::endAtPadding(bool is_finished) {
    has_padding_ = true;
    if (!is_finished) defects.unfinished_group = true;
    state = rules.padding_ends_line_only ? line_is_over : 0;
    return rules.padding_ends_line_only;
}

/// The whole bytes of a group of which the first `values` are there. False: it ends in padding.
bool Decoding64::writeGroup(int values) {
    AlmostPutC(group_[0] << 2 | (group_[1] >> 4 & 3));
    if (values < 3 || group_[2] == pad) return false;
    AlmostPutC(group_[1] << 4 | (group_[2] >> 2 & 15));
    if (values < 4 || group_[3] == pad) return false;
    AlmostPutC(group_[2] << 6 | group_[3]);
    return true;
}

void Decoding64::AlmostPutC(int byte) { output->put(static_cast<unsigned char>(byte)); }

/// Whole groups and the line ends between them, while the output's buffer has room for a word.
/// Returns where it stopped: at anything else, which is left to `take`.
unsigned char const * Decoding64::decodeGroups(unsigned char const * next,
                                               unsigned char const * last) {
    unsigned char * const first_to = output->oPutPtr(0);
    unsigned char const * const end_to = first_to + output->oBufAvl();
    Progress at{next, first_to};
    if (can_decode_blocks()) at = decode_blocks(next, last, first_to, end_to);
    // Each group stores a word of four bytes, of which the next group overwrites the last byte.
    while (last - at.next >= 4 && end_to - at.to >= 4) {
        std::uint32_t const word = decode_group(at.next);
        if ((word & no_group) == 0) {
            std::memcpy(at.to, &word, sizeof word);
            at.next += 4;
            at.to += 3;
        } else {
            std::size_t const line_end = vellum::line_end_length(at.next, last);
            if (line_end == 0) break;
            at.next += line_end;
        }
    }
    at.next += vellum::line_end_length(at.next, last); // of a line that was fed alone
    if (has_padding_ && at.to != first_to) defects.data_behind_padding = true;
    output->oPutPtr(static_cast<long>(at.to - first_to));
    return at.next;
}
