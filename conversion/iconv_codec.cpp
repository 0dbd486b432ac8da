// conversion/iconv_codec.cpp - sets with shift states that iconv reads and writes by itself
#include "conversion/iconv_codec.hpp"

#include "conversion/utf8.hpp"

#include <algorithm>
#include <optional>
#include <string>

namespace vellum::conversion {

namespace {

// iconv converts in two steps, and where the second one refuses a character, the first has been
// done for all that was given and is done again. So behind a refusal it gets little, then more.
constexpr std::size_t smallest_piece = 64;
constexpr std::size_t largest_piece = 65536;

constexpr char escape = '\x1B';

unsigned char byte(char c) { return static_cast<unsigned char>(c); }
bool has_single_shift(std::string_view text) { return text.find("\x1BN") != text.npos; }
bool is_graphic(char c) { return c > 0x20 && c < 0x7F; }

constexpr char shift_out = '\x0E';
constexpr std::string_view ends_shift_state = "\x0E\x0F\n"; // and what begins one

/// ISO-2022-CN with a shift behind each set that is designated while a shift is on: it holds at
/// once, but iconv begins to use it at the next shift.
std::string with_shifts_behind_designations(std::string_view text) {
    constexpr std::string_view designation = "\x1B$)";
    std::string result;
    bool is_shifted = false;
    while (!text.empty()) {
        std::size_t const at = std::min(text.find(designation), text.size());
        std::size_t const last = text.substr(0, at).find_last_of(ends_shift_state);
        if (last != text.npos) is_shifted = text[last] == shift_out;
        std::string_view const taken = text.substr(0, at + designation.size() + 1);
        result += taken;
        bool const is_known = taken.size() > at + designation.size() && // it isn't cut off
                              std::string_view("AEG").find(taken.back()) != text.npos;
        if (is_shifted && is_known) result += shift_out;
        text.remove_prefix(taken.size());
    }
    return result;
}

} // namespace

std::unique_ptr<IconvCodec> IconvCodec::open(char const * iconv_name, std::string_view forbidden,
                                             SingleShifts single_shifts) {
    auto reader = IconvHandle::open("UTF-8", iconv_name);
    auto writer = IconvHandle::open(iconv_name, "UTF-8");
    auto probe = IconvHandle::open(iconv_name, "UTF-8");
    if (!reader || !writer || !probe) return nullptr;
    return std::unique_ptr<IconvCodec>(new IconvCodec(std::move(*reader), std::move(*writer),
                                                      std::move(*probe), forbidden, single_shifts));
}

void IconvCodec::decode(std::string_view text, Output & utf8) {
    std::string const shifted = has_shifts() ? with_shifts_behind_designations(text) : "";
    if (has_shifts()) text = shifted;
    reader_.reset();
    while (!reader_.convert(text, utf8)) {
        std::size_t const length = bad_length(text);
        bool const is_lone_ascii = length == 1 && byte(text[0]) < 0x80 && !has_shifts();
        utf8.append(is_lone_ascii ? text.substr(0, 1) : replacement_text);
        text.remove_prefix(length);
    }
    reader_.finish(utf8);
}

/// How much of a text that iconv doesn't read is one bad sequence. A pair can't be read only where
/// a shift is on, and an escape sequence only where the end cuts it off. In UTF-7 it is a character
/// that would have to be encoded, which many a writer leaves as it is.
std::size_t IconvCodec::bad_length(std::string_view text) const {
    constexpr std::size_t longest_escape = 4;
    if (!has_shifts()) return 1;
    if (text[0] == escape) return text.size() < longest_escape ? text.size() : 1;
    return text.size() >= 2 && is_graphic(text[0]) && is_graphic(text[1]) ? 2 : 1;
}

/// Where the first forbidden character begins.
std::size_t IconvCodec::forbidden_at(std::string_view utf8) const {
    if (!has_shifts()) return utf8.npos;
    std::size_t const size = utf8.size();
    for (std::size_t at = 0; at < size; ++at) {
        char32_t const first_byte = byte(utf8[at]);
        if (first_byte >= 0x20 && first_byte != 0xC2) continue;
        bool const is_two = first_byte == 0xC2 && at + 1 < size;
        if (is_forbidden(is_two ? byte(utf8[at + 1]) : first_byte)) return at;
    }
    return utf8.npos;
}

/// The front of `utf8`, of about `size` bytes, that ends with a character and is free of forbidden
/// ones.
std::string_view IconvCodec::piece_of(std::string_view utf8, std::size_t size) const {
    std::string_view piece = utf8.substr(0, size);
    if (std::size_t const end = forbidden_at(piece); end != piece.npos) return piece.substr(0, end);
    while (piece.size() < utf8.size() && piece.size() > size - 3 &&
           (byte(utf8[piece.size()]) & 0xC0U) == 0x80) {
        piece.remove_suffix(1);
    }
    return piece;
}

void IconvCodec::encode(std::string_view utf8, Output & text) {
    writer_.reset();
    std::size_t size = smallest_piece;
    while (!utf8.empty()) {
        std::string_view const piece = piece_of(utf8, size);
        std::size_t const length = put(piece, text);
        bool const whole = length == piece.size() && !piece.empty();
        utf8.remove_prefix(length);
        size = whole ? std::min(size * 2, largest_piece) : smallest_piece;
        if (whole) continue;
        Decoded const decoded = decode_utf8(first(utf8), last(utf8));
        put_nearest(decoded.character, text);
        utf8.remove_prefix(decoded.length);
    }
    writer_.finish(text);
}

/// Puts what is in front of the first character that the set lacks, and gives its length.
std::size_t IconvCodec::put(std::string_view utf8, Output & text) {
    bool const may_lose_track = single_shifts_ == SingleShifts::written_wrong;
    if (may_lose_track) writer_.finish(text);
    std::size_t const size_before = text.size();
    std::string_view rest = utf8;
    writer_.convert(rest, text);
    utf8.remove_suffix(rest.size());
    if (may_lose_track && has_single_shift(text.view().substr(size_before))) {
        text.truncate(size_before);
        writer_.reset();
        put_one_by_one(utf8, text);
    }
    return utf8.size();
}

/// The same for characters that the set has, where iconv would lose track behind a single shift.
void IconvCodec::put_one_by_one(std::string_view utf8, Output & text) {
    while (!utf8.empty()) {
        std::size_t const size_before = text.size();
        std::size_t const length = decode_utf8(first(utf8), last(utf8)).length;
        std::string_view character = utf8.substr(0, length);
        writer_.convert(character, text);
        if (has_single_shift(text.view().substr(size_before))) writer_.finish(text);
        utf8.remove_prefix(length);
    }
}

bool IconvCodec::is_forbidden(char32_t character) const {
    if (!has_shifts()) return false;
    // One of the upper half is written as a single shift and the one below it: a line end, say.
    if (character >= 0x80 && character < 0xA0) return true;
    return character < 0x20 && forbidden_.find(static_cast<char>(character)) != forbidden_.npos;
}

bool IconvCodec::has(char32_t character) {
    if (is_forbidden(character)) return false;
    Output utf8;
    Output text;
    append_utf8(character, utf8);
    return probe_.convert_whole(utf8.view(), text);
}

void IconvCodec::put_nearest(char32_t character, Output & text) {
    Output utf8;
    for (char32_t const part : forms_.of(character)) {
        append_utf8(part, utf8);
    }
    put(utf8.view(), text);
}

} // namespace vellum::conversion
