// conversion/iso_2022_jp.cpp - ISO-2022-JP and ISO-2022-JP-2
#include "conversion/iso_2022_jp.hpp"

#include "conversion/utf8.hpp"

#include <algorithm>
#include <iterator>

namespace vellum::conversion {

namespace {

/// Moves the pairs at the front of `text` to the end of `eight_bit`. If there is no pair, one byte
/// goes instead: as it is, or as a bad one if it is half a pair.
void take_pairs(std::string_view & text, std::string & eight_bit) {
    std::size_t length = 0;
    while (length + 1 < text.size() && is_pair_byte(text[length]) &&
           is_pair_byte(text[length + 1])) {
        length += 2;
    }
    if (length == 0) {
        eight_bit += is_pair_byte(text[0]) ? bad_byte : text[0];
        text.remove_prefix(1);
        return;
    }
    auto const begin = static_cast<std::ptrdiff_t>(eight_bit.size());
    eight_bit.append(text.substr(0, length));
    std::transform(eight_bit.begin() + begin, eight_bit.end(), eight_bit.begin() + begin,
                   with_upper_bit);
    text.remove_prefix(length);
}

/// Moves text up to the next control character that may mean something, and at least one byte.
void take_plain(std::string_view & text, std::string & eight_bit) {
    auto const end = std::find_if(text.begin() + 1, text.end(), [](char c) {
        return c == '\n' || c == '\x0E' || c == '\x0F' || c == '\x1B';
    });
    auto const length = static_cast<std::size_t>(end - text.begin());
    eight_bit.append(text.substr(0, length));
    text.remove_prefix(length);
}

} // namespace

struct Iso2022JpReader::Escape {
    std::string_view sequence;
    Set set;
    Upper upper = Upper::none; // else it is this, and the set stays
};

constexpr Iso2022JpReader::Escape Iso2022JpReader::escapes[] = {
    {"\x1B(B", Set::ascii},
    {"\x1B(J", Set::roman},
    {"\x1B(H", Set::roman}, // a wrong one that was in wide use
    {"\x1B(I", Set::kana},
    {"\x1B$@", Set::jis_x_0208},
    {"\x1B$B", Set::jis_x_0208},
    {"\x1B$(@", Set::jis_x_0208},
    {"\x1B$(B", Set::jis_x_0208},
    {"\x1B$(D", Set::jis_x_0212},
    {"\x1B$(O", Set::jis_x_0208}, // JIS X 0213, which contains it
    {"\x1B$(Q", Set::jis_x_0208},
    {"\x1B$A", Set::gb_2312},
    {"\x1B$(A", Set::gb_2312}, // some writers' own
    {"\x1B$(C", Set::ks_c_5601},
    {"\x1B.A", Set::ascii, Upper::latin_1},
    {"\x1B.F", Set::ascii, Upper::greek},
};

std::unique_ptr<Iso2022JpReader> Iso2022JpReader::open(CharSet const & set) {
    auto japanese = TableCodec::open(*char_set_of(set.eight_bit));
    if (!japanese) return nullptr;
    return std::unique_ptr<Iso2022JpReader>(new Iso2022JpReader(std::move(japanese)));
}

/// A set that few texts need. What isn't to be had is read as Japanese.
TableCodec & Iso2022JpReader::foreign(std::unique_ptr<TableCodec> & codec, char const * name) {
    if (!codec) codec = TableCodec::open(*char_set_of(number_of_name(name)));
    return codec ? *codec : *japanese_;
}

std::size_t Iso2022JpReader::decode(std::string_view text, End end, Output & utf8) {
    std::size_t const size = text.size();
    utf8_ = &utf8;
    while (!text.empty() && (end == End::of_text || !is_cut(text))) {
        text.remove_prefix(take_next(text));
    }
    flush(end);
    if (end == End::of_text) {
        codec_ = japanese_.get();
        set_ = Set::ascii;
        upper_ = Upper::none;
    }
    return size - text.size();
}

/// Whether `text` is the front of something that the end of a piece may have cut.
bool Iso2022JpReader::is_cut(std::string_view text) const {
    if (text[0] == '\x1B') {
        bool const is_single_shift =
            text.size() < 3 && std::string_view("\x1BN ").starts_with(text.substr(0, 2));
        return is_single_shift ||
               std::any_of(std::begin(escapes), std::end(escapes), [&](Escape const & escape) {
                   return text.size() < escape.sequence.size() && escape.sequence.starts_with(text);
               });
    }
    bool const has_pairs = set_ == Set::jis_x_0208 || set_ == Set::jis_x_0212 ||
                           set_ == Set::gb_2312 || set_ == Set::ks_c_5601;
    return has_pairs && text.size() == 1 && is_pair_byte(text[0]);
}

/// Takes what is at the front of `text`. Returns its length.
std::size_t Iso2022JpReader::take_next(std::string_view text) {
    if (std::size_t const control = take_control(text); control != 0) return control;
    std::string_view rest = text;
    switch (set_) {
    case Set::ascii: take_plain(rest, pending_in(*japanese_)); break;
    case Set::jis_x_0208: return take_japanese(text);
    case Set::gb_2312: take_pairs(rest, pending_in(foreign(chinese_, "GB2312"))); break;
    case Set::ks_c_5601: take_pairs(rest, pending_in(foreign(korean_, "EUC-KR"))); break;
    default: return take(text);
    }
    return text.size() - rest.size();
}

/// Pairs as most of the text is made of go into the result at once, unless what is pending ends in
/// a byte that may be half of one.
std::size_t Iso2022JpReader::take_japanese(std::string_view text) {
    if (pending_.empty() || (pending_.back() & 0x80) == 0) {
        flush(End::of_text);
        if (std::size_t const length = japanese_->decode_seven_bit(text, *utf8_)) return length;
    }
    std::string_view rest = text;
    take_pairs(rest, pending_in(*japanese_));
    return text.size() - rest.size();
}

/// The length of what is no text at the front; 0 if there is text. A line end is text, and ends
/// what is in force.
std::size_t Iso2022JpReader::take_control(std::string_view text) {
    switch (text[0]) {
    case '\x1B': return take_escape(text);
    case '\x0E': set_ = Set::kana; return 1; // another way to katakana
    case '\x0F': set_ = Set::ascii; return 1;
    case '\n':
        set_ = Set::ascii;
        upper_ = Upper::none;
        if (pending_.size() >= piece_size) flush(End::of_text);
        return 0;
    default: return 0;
    }
}

/// The length of the escape sequence at the front; 0 if it isn't a known one.
std::size_t Iso2022JpReader::take_escape(std::string_view text) {
    auto const * const found =
        std::find_if(std::begin(escapes), std::end(escapes), [&](Escape const & escape) {
            return text.substr(0, escape.sequence.size()) == escape.sequence;
        });
    if (found != std::end(escapes)) {
        if (found->upper == Upper::none) {
            set_ = found->set;
        } else {
            upper_ = found->upper;
        }
        return found->sequence.size();
    }
    return text.substr(0, 2) == "\x1BN" ? take_upper(text) : 0;
}

/// ESC N and the character behind it.
std::size_t Iso2022JpReader::take_upper(std::string_view text) {
    bool const is_known = upper_ != Upper::none && text.size() >= 3;
    if (!is_known || !(is_pair_byte(text[2]) || text[2] == ' ')) return 0;
    char const byte = with_upper_bit(text[2]);
    put(upper_ == Upper::greek ? foreign(greek_, "ISO-8859-7") : foreign(latin_1_, "ISO-8859-1"),
        {&byte, 1});
    return 3;
}

/// One character of a set whose bytes have no 8-bit form that differs by the upper bit alone.
std::size_t Iso2022JpReader::take(std::string_view text) {
    char const c = text[0];
    bool const is_pair = text.size() >= 2 && is_pair_byte(c) && is_pair_byte(text[1]);
    if (set_ == Set::roman && (c == '\\' || c == '~')) {
        flush(End::of_text);
        utf8_->append(c == '\\' ? "\u00A5" : "\u203E");
    } else if (set_ == Set::roman || !is_pair_byte(c)) {
        put(*japanese_, {&c, 1});
    } else if (set_ == Set::kana) {
        char const kana[] = {'\x8E', with_upper_bit(c)};
        put(*japanese_, {kana, 2});
    } else if (is_pair) { // JIS X 0212
        char const pair[] = {'\x8F', with_upper_bit(c), with_upper_bit(text[1])};
        put(*japanese_, {pair, 3});
    } else {
        put(*japanese_, {&bad_byte, 1});
    }
    return is_pair && set_ == Set::jis_x_0212 ? 2 : 1;
}

void Iso2022JpReader::put(TableCodec & codec, std::string_view bytes) {
    pending_in(codec) += bytes;
}

/// Where text in the 8-bit form of that set goes.
std::string & Iso2022JpReader::pending_in(TableCodec & codec) {
    if (codec_ != &codec) {
        flush(End::of_text);
        codec_ = &codec;
    }
    return pending_;
}

/// Text of another set, or a character that stands for itself, ends the text of `pending_`.
void Iso2022JpReader::flush(End end) { pending_.erase(0, codec_->decode(pending_, end, *utf8_)); }

} // namespace vellum::conversion
