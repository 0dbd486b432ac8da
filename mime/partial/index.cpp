// mime/partial/index.cpp - the messages of a partial store, in memory and as the text of its file
//
// Bounds:     nothing is reserved for a count before what it counts has been seen.
#include "mime/partial/index.hpp"

#include "mime/partial/number_text.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace vellum {

// A message ------------------------------------------------------------------------

bool MsgList::has_part(int part) const {
    return std::find(parts.begin(), parts.end(), part) != parts.end();
}

bool MsgList::is_complete() const {
    if (total < 1 || static_cast<std::size_t>(total) > parts.size()) return false;
    auto const is_of_set = [this](int part) { return part >= 1 && part <= total; };
    return std::count_if(parts.begin(), parts.end(), is_of_set) == total;
}

// As text --------------------------------------------------------------------------

namespace {

template <typename Number>
void put_number(std::string & text, Number number) {
    text.append(std::to_string(number)).push_back('\n');
}

/// A text in two pieces with its length in front of it.
void put_text(std::string & text, std::string_view value, std::string_view rest = {}) {
    put_number(text, value.size() + rest.size());
    text.append(value).append(rest).push_back('\n');
}

bool take_count(std::string_view & text, int & number) {
    return take_number(text, '\n', number) && number >= 0;
}

bool take_text(std::string_view & text, std::string_view & value) {
    int length = 0;
    if (!take_count(text, length)) return false;
    auto const size = static_cast<std::size_t>(length);
    if (text.size() <= size || text[size] != '\n') return false;
    value = text.substr(0, size);
    text.remove_prefix(size + 1);
    return true;
}

/// Takes the lines in front of a message's fragments.
bool take_head(std::string_view & text, IndexRow & row) {
    return take_text(text, row.id) && take_count(text, row.number) && take_count(text, row.total) &&
           take_count(text, row.count) && row.count > 0;
}

bool take_part(std::string_view & text, std::string_view & path, int & part) {
    return take_text(text, path) && take_count(text, part);
}

bool take_row(std::string_view & text, IndexRow & row) {
    std::string_view const start = text;
    if (!take_head(text, row)) return false;
    std::string_view path;
    int part = 0;
    for (int i = 0; i < row.count; ++i) {
        if (!take_part(text, path, part)) return false;
    }
    row.text = start.substr(0, start.size() - text.size());
    return true;
}

/// Calls `take(path, part)` for each fragment of a row.
template <typename Take>
void for_each_part(IndexRow const & row, Take const & take) {
    std::string_view text = row.text;
    IndexRow head{};
    take_head(text, head);
    std::string_view path;
    for (int part = 0; take_part(text, path, part);)
        take(path, part);
}

bool is_path_of(std::string_view path, std::string_view prefix, FragmentKey key) {
    return path.substr(0, prefix.size()) == prefix &&
           path.substr(prefix.size()) == fragment_file_name(key);
}

int message_key(int number) { return fragment_key(number, 0).message; }

} // namespace

bool PartialIndex::assign(TextBlock text) {
    clear();
    std::string_view rest = texts_.emplace_back(std::move(text)).view();
    int count = 0;
    bool is_index = take_number(rest, '\n', first_number) && take_count(rest, sequence_number) &&
                    take_count(rest, count);
    for (int i = 0; i < count && is_index; ++i)
        is_index = take_row(rest, rows_.emplace_back());
    if (is_index && rest.empty()) return true;
    clear();
    return false;
}

bool PartialIndex::names_its_files() const {
    // All keys: 32 bits each. Twice the same would be one file for two fragments.
    std::vector<std::uint32_t> keys;
    bool is_right = true;
    for (IndexRow const & row : rows_) {
        for_each_part(row, [&](std::string_view path, int part) {
            FragmentKey const key = fragment_key(row.number, part);
            keys.push_back(static_cast<std::uint32_t>(key.message) << fragment_key_bits |
                           static_cast<std::uint32_t>(key.fragment));
            is_right = is_right && is_path_of(path, prefix_, key);
        });
    }
    std::sort(keys.begin(), keys.end());
    return is_right && std::adjacent_find(keys.begin(), keys.end()) == keys.end();
}

/// The numbers in front of the messages.
std::string PartialIndex::head_text() const {
    std::string text;
    put_number(text, first_number);
    put_number(text, sequence_number);
    put_number(text, rows_.size());
    return text;
}

std::string PartialIndex::text() const {
    std::string text;
    for_each_piece([&text](std::string_view piece) { text += piece; });
    return text;
}

// The messages ---------------------------------------------------------------------

std::size_t PartialIndex::find(std::string_view id) const {
    auto const found = std::find_if(rows_.begin(), rows_.end(),
                                    [id](IndexRow const & row) { return row.id == id; });
    return found != rows_.end() ? static_cast<std::size_t>(found - rows_.begin()) : nowhere;
}

MsgList PartialIndex::message(std::size_t place) const {
    IndexRow const & row = rows_[place];
    MsgList message{std::string(row.id), row.number, row.total, {}};
    for_each_part(row, [&](std::string_view, int part) { message.parts.push_back(part); });
    // New fragments go to the front, and so do those that are read.
    std::reverse(message.parts.begin(), message.parts.end());
    return message;
}

IndexRow PartialIndex::row_of(MsgList const & message) {
    std::string text;
    put_text(text, message.id);
    put_number(text, message.number);
    put_number(text, message.total);
    put_number(text, message.parts.size());
    for (int const part : message.parts) {
        put_text(text, prefix_, fragment_file_name(fragment_key(message.number, part)));
        put_number(text, part);
    }
    std::string_view rest = texts_.emplace_back(text).view();
    IndexRow row{};
    take_row(rest, row);
    return row;
}

void PartialIndex::add(MsgList const & message) { rows_.push_front(row_of(message)); }

void PartialIndex::replace(std::size_t place, MsgList const & message) {
    rows_[place] = row_of(message);
}

void PartialIndex::remove(std::vector<std::size_t> const & places) {
    auto next = places.begin();
    std::size_t place = 0;
    std::erase_if(rows_, [&](IndexRow const &) {
        bool const is_removed = next != places.end() && *next == place;
        ++place;
        if (is_removed) ++next;
        return is_removed;
    });
}

void PartialIndex::clear() {
    rows_.clear();
    texts_.clear();
}

bool PartialIndex::is_taken(FragmentKey key, int message, int part) const {
    bool is_taken = false;
    for (IndexRow const & row : rows_) {
        if (message_key(row.number) != key.message) continue;
        for_each_part(row, [&](std::string_view, int other) {
            bool const is_same = row.number == message && other == part;
            is_taken = is_taken || (!is_same && fragment_key(row.number, other) == key);
        });
    }
    return is_taken;
}

} // namespace vellum
