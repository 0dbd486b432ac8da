// conversion/wide_codec.cpp - Unicode in units of two or four bytes
#include "conversion/wide_codec.hpp"

#include "conversion/utf8.hpp"

namespace vellum::conversion {

namespace {

constexpr char32_t byte_order_mark = 0xFEFF;
constexpr std::size_t looked_at = longest_rest;

bool is_surrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }
bool is_high(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool is_low(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

bool tells_no_order(ByteOrder order) {
    return order == ByteOrder::told || order == ByteOrder::big_or_told;
}

/// Units of `Size` bytes, in memory at `p`.
template <std::size_t Size, bool Little>
struct Units {
    static constexpr std::size_t size = Size;

    static char32_t get(unsigned char const * p) {
        char32_t unit = 0;
        for (std::size_t i = 0; i < Size; ++i) {
            unit |= static_cast<char32_t>(p[i]) << 8 * (Little ? i : Size - 1 - i);
        }
        return unit;
    }

    static unsigned char * put(char32_t unit, unsigned char * p) {
        for (std::size_t i = 0; i < Size; ++i) {
            p[i] = static_cast<unsigned char>(unit >> 8 * (Little ? i : Size - 1 - i));
        }
        return p + Size;
    }
};

/// What the first units of a text would be in one byte order.
struct Looks {
    std::size_t spaces = 0; // and line ends
    std::size_t latin_1 = 0;
    std::size_t units = 0;
};

template <typename Unit>
Looks looks_of(std::string_view text) {
    Looks looks;
    text = text.substr(0, looked_at);
    for (; text.size() >= Unit::size; text.remove_prefix(Unit::size)) {
        char32_t const unit = Unit::get(first(text));
        if (unit == ' ' || unit == '\r' || unit == '\n') ++looks.spaces;
        if (unit < 0x100) ++looks.latin_1;
        ++looks.units;
    }
    return looks;
}

/// Returns how many bytes were read.
template <typename Unit>
std::size_t decode_units(std::string_view text, End text_end, Output & utf8) {
    utf8.reserve(text.size() / Unit::size + 1, Unit::size == 2 ? 3 : 4); // a rest counts as one
    unsigned char * put = utf8.put();
    unsigned char const * p = first(text);
    unsigned char const * const end = p + text.size() / Unit::size * Unit::size;
    bool const goes_on = text_end == End::of_piece;
    while (p < end) {
        char32_t character = Unit::get(p);
        bool const is_pair = Unit::size == 2 && is_high(character);
        if (is_pair && goes_on && end - p == Unit::size) break;
        p += Unit::size;
        if (is_pair && p < end && is_low(Unit::get(p))) {
            character = 0x10000 + ((character - 0xD800) << 10) + (Unit::get(p) - 0xDC00);
            p += Unit::size;
        }
        bool const bad = is_surrogate(character) || character > 0x10FFFF;
        put = encode_utf8(bad ? replacement : character, put);
    }
    if (!goes_on && end < last(text)) {
        put = encode_utf8(replacement, put);
        p = last(text);
    }
    utf8.set_put(put);
    return static_cast<std::size_t>(p - first(text));
}

template <typename Unit>
void encode_units(std::string_view utf8, Output & text) {
    unsigned char const * p = first(utf8);
    unsigned char const * const end = last(utf8);
    // A byte gives a unit at most: a character of four bytes takes two of them.
    text.reserve(utf8.size(), Unit::size);
    unsigned char * put = text.put();
    while (p < end) {
        if (*p < 0x80) {
            put = Unit::put(*p++, put);
            continue;
        }
        Decoded const decoded = decode_utf8(p, end);
        char32_t character = decoded.character;
        if (Unit::size == 2 && character >= 0x10000) {
            put = Unit::put(0xD800 + ((character - 0x10000) >> 10), put);
            character = 0xDC00 + ((character - 0x10000) & 0x3FF);
        }
        put = Unit::put(character, put);
        p += decoded.length;
    }
    text.set_put(put);
}

} // namespace

WideCodec::WideCodec(CharSet const & set)
    : size_(static_cast<std::size_t>(set.unit)), order_(set.order),
      was_little_(set.order == ByteOrder::little) {}

template <typename Work>
auto WideCodec::with_units(bool little, Work work) const {
    if (size_ == 2) return little ? work(Units<2, true>()) : work(Units<2, false>());
    return little ? work(Units<4, true>()) : work(Units<4, false>());
}

bool WideCodec::is_marked(bool little, std::string_view text) const {
    if (!tells_no_order(order_) || text.size() < size_) return false;
    return with_units(
        little, [&](auto unit) { return decltype(unit)::get(first(text)) == byte_order_mark; });
}

/// The text behind the front of one doesn't change what is_little() finds in it.
bool WideCodec::shows_order(std::string_view text) const {
    return !tells_no_order(order_) || text.size() >= looked_at || is_marked(false, text) ||
           is_marked(true, text);
}

bool WideCodec::is_little(std::string_view text) const {
    if (!tells_no_order(order_) || text.size() < size_) return was_little_;
    for (bool const little : {false, true}) {
        if (is_marked(little, text)) return little;
    }
    auto const looks = [&](bool little) {
        return with_units(little, [&](auto unit) { return looks_of<decltype(unit)>(text); });
    };
    Looks const if_little = looks(true);
    Looks const if_big = looks(false);
    if (if_little.spaces != if_big.spaces) return if_little.spaces > if_big.spaces;
    bool const mostly_little = if_little.latin_1 * 2 > if_little.units;
    bool const mostly_big = if_big.latin_1 * 2 > if_big.units;
    return mostly_little == mostly_big ? was_little_ : mostly_little;
}

std::size_t WideCodec::decode(std::string_view text, End end, Output & utf8) {
    std::size_t mark = 0;
    if (!is_reading_) {
        if (end == End::of_piece && !shows_order(text)) return 0;
        was_little_ = is_little(text);
        if (is_marked(was_little_, text)) mark = size_;
    }
    is_reading_ = end == End::of_piece;
    return mark + with_units(was_little_, [&](auto unit) {
               return decode_units<decltype(unit)>(text.substr(mark), end, utf8);
           });
}

void WideCodec::encode(std::string_view utf8, End end, Output & text) {
    bool const little = order_ == ByteOrder::little || order_ == ByteOrder::told;
    with_units(little, [&](auto unit) {
        using Unit = decltype(unit);
        if (order_ == ByteOrder::told && !utf8.empty() && !is_writing_) {
            text.reserve(Unit::size);
            text.set_put(Unit::put(byte_order_mark, text.put()));
            is_writing_ = true;
        }
        encode_units<Unit>(utf8, text);
    });
    if (end == End::of_text) is_writing_ = false;
}

} // namespace vellum::conversion
