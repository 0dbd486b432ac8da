// conversion/iconv_writer.cpp - writes sets with shift states as iconv does
#include "conversion/iconv_writer.hpp"

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

unsigned char byte(char c) { return static_cast<unsigned char>(c); }
bool has_single_shift(std::string_view text) { return text.find("\x1BN") != text.npos; }

} // namespace

std::unique_ptr<IconvWriter> IconvWriter::open(char const * iconv_name, std::string_view forbidden,
                                               SingleShifts single_shifts) {
    auto writer = IconvHandle::open(iconv_name, "UTF-8");
    auto probe = IconvHandle::open(iconv_name, "UTF-8");
    if (!writer || !probe) return nullptr;
    return std::unique_ptr<IconvWriter>(
        new IconvWriter(std::move(*writer), std::move(*probe), forbidden, single_shifts));
}

/// Where the first forbidden character begins.
std::size_t IconvWriter::forbidden_at(std::string_view utf8) const {
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
std::string_view IconvWriter::piece_of(std::string_view utf8, std::size_t size) const {
    std::string_view piece = utf8.substr(0, size);
    if (std::size_t const end = forbidden_at(piece); end != piece.npos) return piece.substr(0, end);
    while (piece.size() < utf8.size() && piece.size() > size - 3 &&
           (byte(utf8[piece.size()]) & 0xC0U) == 0x80) {
        piece.remove_suffix(1);
    }
    return piece;
}

void IconvWriter::encode(std::string_view utf8, End end, Output & text) {
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
    if (end == End::of_text) writer_.finish(text);
}

/// Puts what is in front of the first character that the set lacks. Returns its length.
std::size_t IconvWriter::put(std::string_view utf8, Output & text) {
    if (single_shifts_ == SingleShifts::written_wrong) return put_one_by_one(utf8, text);
    std::string_view rest = utf8;
    writer_.convert(rest, text);
    return utf8.size() - rest.size();
}

/// The same where iconv loses track behind a single shift: its text ends there, and the next one
/// begins.
std::size_t IconvWriter::put_one_by_one(std::string_view utf8, Output & text) {
    std::string_view rest = utf8;
    while (!rest.empty()) {
        std::size_t const size_before = text.size();
        std::size_t const length = decode_utf8(first(rest), last(rest)).length;
        std::string_view character = rest.substr(0, length);
        if (!writer_.convert(character, text)) break;
        if (has_single_shift(text.view().substr(size_before))) writer_.finish(text);
        rest.remove_prefix(length);
    }
    return utf8.size() - rest.size();
}

bool IconvWriter::is_forbidden(char32_t character) const {
    if (!has_shifts()) return false;
    // One of the upper half is written as a single shift and the one below it: a line end, say.
    if (character >= 0x80 && character < 0xA0) return true;
    return character < 0x20 && forbidden_.find(static_cast<char>(character)) != forbidden_.npos;
}

bool IconvWriter::has(char32_t character) {
    if (is_forbidden(character)) return false;
    Output utf8;
    Output text;
    append_utf8(character, utf8);
    return probe_.convert_whole(utf8.view(), text);
}

void IconvWriter::put_nearest(char32_t character, Output & text) {
    Output utf8;
    for (char32_t const part : forms_.of(character)) {
        append_utf8(part, utf8);
    }
    put(utf8.view(), text);
}

} // namespace vellum::conversion
