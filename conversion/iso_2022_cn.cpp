// conversion/iso_2022_cn.cpp - reads ISO-2022-CN
#include "conversion/iso_2022_cn.hpp"

#include "conversion/utf8.hpp"

#include <algorithm>

namespace vellum::conversion {

namespace {

constexpr char escape = '\x1B';
constexpr char delete_character = '\x7F';
constexpr char shift_out = '\x0E';
constexpr std::string_view ends_shift_state = "\x0E\x0F\n"; // and what begins one

constexpr std::string_view designation = "\x1B$)"; // and a letter
constexpr std::string_view known_sets = "AEG";

/// The longest escape sequence, and a single shift with its pair.
constexpr std::size_t longest_sequence = 4;

bool is_graphic(char c) { return c > 0x20 && c < delete_character; }

/// How many bytes at the end of `text` begin a designation.
std::size_t cut_designation(std::string_view text) {
    for (std::size_t size = std::min(text.size(), designation.size()); size > 0; --size) {
        if (text.ends_with(designation.substr(0, size))) return size;
    }
    return 0;
}

} // namespace

std::unique_ptr<Iso2022CnReader> Iso2022CnReader::open(CharSet const & set) {
    auto iconv = IconvHandle::open("UTF-8", set.label);
    if (!iconv) return nullptr;
    return std::unique_ptr<Iso2022CnReader>(new Iso2022CnReader(std::move(*iconv)));
}

std::size_t Iso2022CnReader::decode(std::string_view text, End end, Output & utf8) {
    if (end == End::of_piece) text.remove_suffix(cut_designation(text));
    take(text);
    std::string_view rest = pending_;
    while (!iconv_.convert(rest, utf8)) {
        // It may be that but the end of the piece makes it bad.
        if (end == End::of_piece && rest.size() < longest_sequence) break;
        rest.remove_prefix(take_bad(rest, utf8));
    }
    pending_.erase(0, pending_.size() - rest.size());
    if (end == End::of_text) {
        iconv_.finish(utf8);
        is_shifted_ = false;
    }
    return text.size();
}

/// Moves `text` to `pending_`, with a shift behind each set that is designated while a shift is on:
/// it holds at once, but iconv begins to use it at the next shift.
void Iso2022CnReader::take(std::string_view text) {
    while (!text.empty()) {
        std::size_t const at = std::min(text.find(designation), text.size());
        std::size_t const last = text.substr(0, at).find_last_of(ends_shift_state);
        if (last != text.npos) is_shifted_ = text[last] == shift_out;
        std::string_view const taken = text.substr(0, at + designation.size() + 1);
        pending_ += taken;
        bool const is_known = taken.size() > at + designation.size() && // it isn't cut off
                              known_sets.find(taken.back()) != known_sets.npos;
        if (is_shifted_ && is_known) pending_ += shift_out;
        text.remove_prefix(taken.size());
    }
}

/// Puts what stands for the bad sequence at the front of `text`. Returns its length. A pair can't
/// be read only where a shift is on, and an escape sequence only where the end cuts it off.
std::size_t Iso2022CnReader::take_bad(std::string_view text, Output & utf8) const {
    if (text[0] == delete_character) { // which iconv takes for none in any set
        utf8.append(delete_character);
        return 1;
    }
    utf8.append(replacement_text);
    if (text[0] == escape) return text.size() < longest_sequence ? text.size() : 1;
    return text.size() >= 2 && is_graphic(text[0]) && is_graphic(text[1]) ? 2 : 1;
}

} // namespace vellum::conversion
