// conversion/seven_bit.cpp - sets that write pairs without the upper bit, between shifts
#include "conversion/seven_bit.hpp"

#include <algorithm>

namespace vellum::conversion {

namespace {

constexpr char shift_out = '\x0E';
constexpr char shift_in = '\x0F';
constexpr std::string_view korean_header = "\x1B$)C";

/// Takes the next piece off the front of `text`.
std::string_view take_piece(std::string_view & text) {
    std::size_t const line_end = text.find('\n', std::min(piece_size, text.size()));
    std::string_view const piece = text.substr(0, line_end == text.npos ? text.npos : line_end + 1);
    text.remove_prefix(piece.size());
    return piece;
}

/// Puts the pair at the front of `text`, or the byte there if it isn't one of a pair, to the end of
/// `eight_bit`, where there is room. Gives its length.
std::size_t move_pair(std::string_view text, char *& eight_bit) {
    if (text.size() >= 2 && is_pair_byte(text[0]) && is_pair_byte(text[1])) {
        *eight_bit++ = with_upper_bit(text[0]);
        *eight_bit++ = with_upper_bit(text[1]);
        return 2;
    }
    *eight_bit++ = is_pair_byte(text[0]) ? bad_byte : text[0];
    return 1;
}

/// Reads `text` by way of its 8-bit form: `next(rest, shifted, put)` moves what is at the front of
/// the rest to `put`, in as many bytes at most, and gives its length.
template <typename Next>
void decode_shifted(std::string_view text, TableCodec & codec, Output & utf8, Next next) {
    std::string eight_bit;
    while (!text.empty()) {
        std::string_view piece = take_piece(text);
        eight_bit.resize(piece.size());
        char * put = eight_bit.data();
        for (bool shifted = false; !piece.empty();) {
            if (piece[0] == '\n') shifted = false;
            piece.remove_prefix(next(piece, shifted, put));
        }
        codec.decode({eight_bit.data(), static_cast<std::size_t>(put - eight_bit.data())}, utf8);
    }
}

} // namespace

void ShiftWriter::encode(std::string_view utf8, Output & text) {
    begun_ = false;
    shifted_ = false;
    Output encoded;
    while (!utf8.empty()) {
        encoded.truncate(0);
        eight_bit_->encode(take_piece(utf8), encoded);
        write(encoded.view(), text);
    }
    if (shifted_) text.append(shifts_.end);
}

void ShiftWriter::write(std::string_view encoded, Output & text) {
    while (!encoded.empty()) {
        bool const pairs = (encoded[0] & 0x80) != 0;
        if (pairs != shifted_) {
            if (!begun_) text.append(shifts_.header);
            begun_ = true;
            text.append(pairs ? shifts_.begin : shifts_.end);
            shifted_ = pairs;
        }
        auto const run_end = std::find_if(encoded.begin(), encoded.end(), [&](char c) {
            return ((c & 0x80) != 0) != pairs || (!pairs && c == shifts_.doubled);
        });
        auto const run = static_cast<std::size_t>(run_end - encoded.begin());
        text.reserve(run);
        text.set_put(std::transform(encoded.begin(), run_end, text.put(), [&](char c) {
            auto const low = static_cast<unsigned char>(c & 0x7F);
            bool const stays = low >= 0x20 || shifts_.forbidden.find(c) == shifts_.forbidden.npos;
            return stays ? low : static_cast<unsigned char>('?');
        }));
        encoded.remove_prefix(run);
        if (run == 0) { // the character that is doubled
            text.append(encoded[0]);
            text.append(encoded[0]);
            encoded.remove_prefix(1);
        }
    }
}

// ---- HZ ----

HzCodec::HzCodec(std::unique_ptr<TableCodec> gb)
    : writer_(std::move(gb), {.header = "", .begin = "~{", .end = "~}", .doubled = '~'}) {}

std::unique_ptr<HzCodec> HzCodec::open() {
    auto gb = TableCodec::open(*char_set_of(gb2312));
    return gb ? std::unique_ptr<HzCodec>(new HzCodec(std::move(gb))) : nullptr;
}

namespace {

/// What a tilde begins; 0 if it stands for itself.
std::size_t next_behind_tilde(std::string_view rest, bool & shifted, char *& put) {
    std::string_view const two = rest.substr(0, 2);
    if (two == (shifted ? "~}" : "~{")) {
        shifted = !shifted;
        return 2;
    }
    if (shifted) return 0;
    if (two == "~~") {
        *put++ = '~';
        return 2;
    }
    if (two == "~\n") return 2; // the line goes on, as with the next
    return rest.substr(0, 3) == "~\r\n" ? 3 : 0;
}

} // namespace

void HzCodec::decode(std::string_view text, Output & utf8) {
    auto const next = [](std::string_view rest, bool & shifted, char *& put) -> std::size_t {
        if (rest[0] == '~') {
            if (std::size_t const length = next_behind_tilde(rest, shifted, put)) return length;
        }
        if (shifted) return move_pair(rest, put);
        *put++ = rest[0];
        return 1;
    };
    decode_shifted(text, writer_.eight_bit(), utf8, next);
}

// ---- ISO-2022-KR ----

Iso2022KrCodec::Iso2022KrCodec(std::unique_ptr<TableCodec> ks)
    : writer_(std::move(ks), {.header = korean_header,
                              .begin = "\x0E",
                              .end = "\x0F",
                              .forbidden = iso_2022_controls}) {}

std::unique_ptr<Iso2022KrCodec> Iso2022KrCodec::open() {
    auto ks = TableCodec::open(*char_set_of(euc_kr));
    return ks ? std::unique_ptr<Iso2022KrCodec>(new Iso2022KrCodec(std::move(ks))) : nullptr;
}

void Iso2022KrCodec::decode(std::string_view text, Output & utf8) {
    auto const next = [](std::string_view rest, bool & shifted, char *& put) -> std::size_t {
        char const c = rest[0];
        if (c == shift_out || c == shift_in) {
            shifted = c == shift_out;
            return 1;
        }
        if (c == '\x1B' && rest.substr(0, korean_header.size()) == korean_header) {
            return korean_header.size();
        }
        if (shifted) return move_pair(rest, put);
        *put++ = c;
        return 1;
    };
    decode_shifted(text, writer_.eight_bit(), utf8, next);
}

} // namespace vellum::conversion
