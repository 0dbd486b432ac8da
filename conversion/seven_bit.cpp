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
/// `eight_bit`, where there is room. Returns its length.
std::size_t move_pair(std::string_view text, char *& eight_bit) {
    if (text.size() >= 2 && is_pair_byte(text[0]) && is_pair_byte(text[1])) {
        *eight_bit++ = with_upper_bit(text[0]);
        *eight_bit++ = with_upper_bit(text[1]);
        return 2;
    }
    *eight_bit++ = is_pair_byte(text[0]) ? bad_byte : text[0];
    return 1;
}

} // namespace

std::unique_ptr<ShiftWriter> ShiftWriter::open(CharSet const & set, Shifts const & shifts) {
    auto eight_bit = TableCodec::open(*char_set_of(set.eight_bit));
    if (!eight_bit) return nullptr;
    return std::unique_ptr<ShiftWriter>(new ShiftWriter(std::move(eight_bit), shifts));
}

void ShiftWriter::encode(std::string_view utf8, End end, Output & text) {
    Output encoded;
    while (!utf8.empty()) {
        encoded.truncate(0);
        eight_bit_->encode(take_piece(utf8), End::of_piece, encoded);
        write(encoded.view(), text);
    }
    if (end == End::of_piece) return;
    if (shifted_) text.append(shifts_.end);
    begun_ = false;
    shifted_ = false;
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

// ---- What the shifts of each set are ----

namespace {

bool is_half_pair(std::string_view rest) { return rest.size() == 1 && is_pair_byte(rest[0]); }

std::size_t move_text(std::string_view rest, bool shifted, char *& put) {
    if (shifted) return move_pair(rest, put);
    *put++ = rest[0];
    return 1;
}

/// What a tilde begins; 0 if it stands for itself.
std::size_t move_behind_tilde(std::string_view rest, bool & shifted, char *& put) {
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

constexpr SevenBitScheme hz{
    .shifts = {.header = "", .begin = "~{", .end = "~}", .doubled = '~'},
    .is_cut =
        [](std::string_view rest, bool shifted) {
            return rest == "~" || rest == "~\r" || (shifted && is_half_pair(rest));
        },
    .move_next = [](std::string_view rest, bool & shifted, char *& put) -> std::size_t {
        std::size_t const length = rest[0] == '~' ? move_behind_tilde(rest, shifted, put) : 0;
        return length != 0 ? length : move_text(rest, shifted, put);
    },
};

constexpr SevenBitScheme iso_2022_kr{
    .shifts = {.header = korean_header,
               .begin = "\x0E",
               .end = "\x0F",
               .forbidden = iso_2022_controls},
    .is_cut =
        [](std::string_view rest, bool shifted) {
            return (rest.size() < korean_header.size() && korean_header.starts_with(rest)) ||
                   (shifted && is_half_pair(rest));
        },
    .move_next = [](std::string_view rest, bool & shifted, char *& put) -> std::size_t {
        if (rest[0] == shift_out || rest[0] == shift_in) {
            shifted = rest[0] == shift_out;
            return 1;
        }
        return rest.starts_with(korean_header) ? korean_header.size()
                                               : move_text(rest, shifted, put);
    },
};

} // namespace

// ---- Reading ----

std::unique_ptr<Codec> SevenBitCodec::open(CharSet const & set) {
    SevenBitScheme const & scheme = set.scheme == Scheme::hz ? hz : iso_2022_kr;
    auto eight_bit = TableCodec::open(*char_set_of(set.eight_bit));
    auto writer = ShiftWriter::open(set, scheme.shifts);
    if (!eight_bit || !writer) return nullptr;
    return std::unique_ptr<Codec>(
        new SevenBitCodec(scheme, std::move(eight_bit), std::move(writer)));
}

std::size_t SevenBitCodec::decode(std::string_view text, End end, Output & utf8) {
    std::size_t const size = text.size();
    std::size_t rest = 0;
    while (rest == 0 && !text.empty()) {
        std::string_view const piece = take_piece(text);
        rest = piece.size() - take(piece, text.empty() ? end : End::of_text);
        flush(End::of_piece, utf8);
    }
    if (end == End::of_text) {
        flush(end, utf8);
        shifted_ = false;
    }
    return size - rest;
}

/// Moves `text` to the end of `pending_`. Returns how many bytes were moved.
std::size_t SevenBitCodec::take(std::string_view text, End end) {
    std::size_t const size = text.size();
    std::size_t const size_before = pending_.size();
    pending_.resize(size_before + size);
    char * put = pending_.data() + size_before;
    while (!text.empty() && (end == End::of_text || !scheme_.is_cut(text, shifted_))) {
        if (text[0] == '\n') shifted_ = false;
        text.remove_prefix(scheme_.move_next(text, shifted_, put));
    }
    pending_.resize(static_cast<std::size_t>(put - pending_.data()));
    return size - text.size();
}

void SevenBitCodec::flush(End end, Output & utf8) {
    pending_.erase(0, eight_bit_->decode(pending_, end, utf8));
}

} // namespace vellum::conversion
