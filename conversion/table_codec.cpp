// conversion/table_codec.cpp - sets of single bytes and pairs, and of pairs with longer sequences
//
// Bounds: a byte of the set gives at most three of UTF-8, and a character of UTF-8 that the table
//         knows no more bytes than it has; so room is reserved for a block of input at a time.
#include "conversion/table_codec.hpp"

#include "conversion/utf8.hpp"

#include <algorithm>
#include <cstring>

namespace vellum::conversion {

namespace {

constexpr std::ptrdiff_t block_size = 4096;
constexpr std::size_t most_growth = 3;
/// What a sequence that begins in a block may write beyond its share.
constexpr std::size_t overhang = 16;

/// The longest run of sequences that iconv gets: where it refuses a character, it will have to do
/// what stands behind that once more.
constexpr std::size_t longest_run = 256;

bool between(unsigned char byte, unsigned char low, unsigned char high) {
    return byte >= low && byte <= high;
}

std::string_view text_of(unsigned char const * p, std::size_t size) {
    return {reinterpret_cast<char const *>(p), size};
}

} // namespace

std::unique_ptr<TableCodec> TableCodec::open(CharSet const & set) {
    CodeTable const * const table = CodeTable::of(set);
    if (table == nullptr) return nullptr;
    return std::unique_ptr<TableCodec>(new TableCodec(set, *table));
}

/// Null if the set has no longer sequences, or writes none.
IconvHandle * TableCodec::writer() {
    if (!writer_ && set_.writes_longer) writer_ = IconvHandle::open(set_.label, "UTF-8");
    return writer_ ? &*writer_ : nullptr;
}

// ---- Reading ----

std::size_t TableCodec::decode(std::string_view text, End text_end, Output & utf8) {
    unsigned char const * p = first(text);
    unsigned char const * const end = last(text);
    while (p < end) {
        std::ptrdiff_t const size = std::min(block_size, end - p);
        unsigned char const * const block_end = p + size;
        utf8.reserve(static_cast<std::size_t>(size) * most_growth + overhang);
        unsigned char * put = utf8.put();
        while (p < block_end) {
            if (*p < 0x80) {
                copy_ascii(p, block_end, put);
                continue;
            }
            if (CodeTable::Text const & single = table_.text(*p); single.length != 0) {
                std::memcpy(put, &single, sizeof single); // the length falls behind the text
                put += single.length;
                ++p;
                continue;
            }
            if (end - p >= 2 && table_.single(*p) == CodeTable::lead_byte) {
                char32_t const pair = table_.pair(p[0], p[1]);
                if (pair < CodeTable::with_mark) {
                    put = encode_utf8(pair, put);
                    p += 2;
                    continue;
                }
            }
            break;
        }
        utf8.set_put(put);
        if (p >= block_end) continue;
        if (text_end == End::of_piece && is_cut(p, end)) break;
        p = decode_sequence(p, end, utf8);
    }
    return static_cast<std::size_t>(p - first(text));
}

std::size_t TableCodec::decode_seven_bit(std::string_view text, Output & utf8) const {
    text = text.substr(0, block_size);
    utf8.reserve(text.size() * most_growth + overhang);
    unsigned char * put = utf8.put();
    unsigned char const * p = first(text);
    unsigned char const * const end = last(text);
    for (; end - p >= 2 && between(p[0], 0x21, 0x7E) && between(p[1], 0x21, 0x7E); p += 2) {
        auto const lead = static_cast<unsigned char>(p[0] | 0x80);
        if (table_.single(lead) != CodeTable::lead_byte) break;
        char32_t const pair = table_.pair(lead, static_cast<unsigned char>(p[1] | 0x80));
        if (pair >= CodeTable::with_mark) break;
        put = encode_utf8(pair, put);
    }
    utf8.set_put(put);
    return static_cast<std::size_t>(p - first(text));
}

/// What is neither a byte nor a pair with one character: two characters, longer, or bad.
unsigned char const * TableCodec::decode_sequence(unsigned char const * p,
                                                  unsigned char const * end, Output & utf8) {
    if (table_.single(*p) == CodeTable::lead_byte && end - p >= 2) {
        char32_t const pair = table_.pair(p[0], p[1]);
        if (pair != CodeTable::no_character) {
            append_utf8(pair & 0xFF, utf8);
            append_utf8((pair & ~CodeTable::with_mark) >> 8, utf8);
            return p + 2;
        }
    }
    std::size_t const length = longer_length(p, end);
    if (length == 0) {
        utf8.append(replacement_text);
        return p + bad_length(p, end);
    }
    std::size_t run = length;
    while (run < longest_run && longer_length(p + run, end) == length) {
        run += length;
    }
    std::string_view rest = text_of(p, run);
    if (!reader_) reader_ = IconvHandle::open("UTF-8", set_.readers[0]);
    if (reader_) reader_->reset();
    if (!reader_ || !reader_->convert(rest, utf8)) {
        utf8.append(replacement_text);
        return p + (run - rest.size()) + length;
    }
    return p + run;
}

/// What stands at `p`, no character as far as it goes, may be one with the bytes behind `end`.
bool TableCodec::is_cut(unsigned char const * p, unsigned char const * end) const {
    auto const size = static_cast<std::size_t>(end - p);
    if (size > 3 || table_.single(*p) != CodeTable::lead_byte) return false;
    if (size == 1) return true;
    bool const is_third_cut = size == 2 || between(p[2], 0x81, 0xFE);
    switch (set_.structure) {
    case Structure::gb18030: return between(p[1], '0', '9') && is_third_cut;
    case Structure::euc_jp: return size == 2 && p[0] == 0x8F && between(p[1], 0xA1, 0xFE);
    case Structure::euc_tw:
        return p[0] == 0x8E && between(p[1], 0xA1, 0xB0) &&
               (size == 2 || between(p[2], 0xA1, 0xFE));
    default: return false;
    }
}

/// The length of a sequence of more than two bytes that is formed well; 0 if there is none.
std::size_t TableCodec::longer_length(unsigned char const * p, unsigned char const * end) const {
    auto const size = static_cast<std::size_t>(end - p);
    switch (set_.structure) {
    case Structure::gb18030:
        return size >= 4 && between(p[0], 0x81, 0xFE) && between(p[1], '0', '9') &&
                       between(p[2], 0x81, 0xFE) && between(p[3], '0', '9')
                   ? 4
                   : 0;
    case Structure::euc_jp:
        return size >= 3 && p[0] == 0x8F && between(p[1], 0xA1, 0xFE) && between(p[2], 0xA1, 0xFE)
                   ? 3
                   : 0;
    case Structure::euc_tw:
        return size >= 4 && p[0] == 0x8E && between(p[1], 0xA1, 0xB0) &&
                       between(p[2], 0xA1, 0xFE) && between(p[3], 0xA1, 0xFE)
                   ? 4
                   : 0;
    default: return 0;
    }
}

/// A pair that means nothing goes together, but an ASCII character stays one.
std::size_t TableCodec::bad_length(unsigned char const * p, unsigned char const * end) const {
    auto const lowest =
        static_cast<unsigned char>(std::max(CodeTable::lowest_trail(set_.structure), 0x80U));
    bool const is_pair =
        table_.single(*p) == CodeTable::lead_byte && end - p >= 2 && between(p[1], lowest, 0xFE);
    return is_pair ? 2 : 1;
}

// ---- Writing ----

void TableCodec::encode(std::string_view utf8, End, Output & text) {
    unsigned char const * p = first(utf8);
    unsigned char const * const end = last(utf8);
    while (p < end) {
        std::ptrdiff_t const size = std::min(block_size, end - p);
        unsigned char const * const block_end = p + size;
        text.reserve(static_cast<std::size_t>(size) + overhang);
        unsigned char * put = text.put();
        while (p < block_end) {
            if (*p < 0x80) {
                copy_ascii(p, block_end, put);
                continue;
            }
            Decoded const decoded = decode_utf8(p, end);
            std::uint16_t const code = table_.code(decoded.character);
            if (code == 0 || !decoded.valid) break;
            if (code > 0xFF) *put++ = static_cast<unsigned char>(code >> 8);
            *put++ = static_cast<unsigned char>(code & 0xFF);
            p += decoded.length;
        }
        text.set_put(put);
        if (p < block_end) p = encode_longer(p, end, text);
    }
}

/// A character that isn't in the table, or some more.
unsigned char const * TableCodec::encode_longer(unsigned char const * p, unsigned char const * end,
                                                Output & text) {
    Decoded const decoded = decode_utf8(p, end);
    if (decoded.valid && writer() != nullptr && !forms_.knows(decoded.character)) {
        std::string_view const run = longer_run(p, end);
        std::string_view rest = run;
        writer_->reset();
        writer_->convert(rest, text);
        if (rest.size() < run.size()) return p + run.size() - rest.size();
    }
    for (char32_t const part : forms_.of(decoded.character)) {
        put(part, text);
    }
    return p + decoded.length;
}

/// The characters from `p` on that only a longer sequence can be.
std::string_view TableCodec::longer_run(unsigned char const * p, unsigned char const * end) const {
    std::size_t run = 0;
    while (run < longest_run && p + run < end) {
        Decoded const decoded = decode_utf8(p + run, end);
        if (!decoded.valid || !may_be_longer(decoded.character)) break;
        run += decoded.length;
    }
    return text_of(p, run);
}

/// iconv writes the control characters of the upper half of EUC as bytes that no reader takes.
bool TableCodec::may_be_longer(char32_t character) const {
    char32_t const lowest = set_.structure == Structure::gb18030 ? 0x80 : 0xA0;
    return character >= lowest && table_.code(character) == 0;
}

bool TableCodec::has(char32_t character) {
    if (character == 0 || table_.code(character) != 0) return true;
    if (writer() == nullptr || !may_be_longer(character)) return false;
    Output utf8;
    Output bytes;
    append_utf8(character, utf8);
    return writer_->convert_whole(utf8.view(), bytes);
}

/// A character that the set has.
void TableCodec::put(char32_t character, Output & text) {
    std::uint16_t const code = table_.code(character);
    if (code != 0 || character == 0) {
        if (code > 0xFF) text.append(static_cast<char>(code >> 8));
        text.append(static_cast<char>(code & 0xFF));
        return;
    }
    Output utf8;
    append_utf8(character, utf8);
    writer_->convert_whole(utf8.view(), text);
}

} // namespace vellum::conversion
