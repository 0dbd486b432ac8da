// mime/partial/index.cpp - the messages of a partial store, in memory and as the text of its file
//
// Bounds:     nothing is reserved for a count before what it counts has been seen.
#include "mime/partial/index.hpp"

#include "mime/partial/number_text.hpp"

#include <algorithm>
#include <cstdint>

namespace vellum {

// In memory ------------------------------------------------------------------------

bool MsgList::has_part(int part) const {
    return std::find(parts.begin(), parts.end(), part) != parts.end();
}

bool MsgList::is_complete() const {
    if (total < 1 || static_cast<std::size_t>(total) > parts.size()) return false;
    auto const is_of_set = [this](int part) { return part >= 1 && part <= total; };
    return std::count_if(parts.begin(), parts.end(), is_of_set) == total;
}

MsgList * PartialIndex::find(std::string_view id) {
    auto const found = std::find_if(messages.begin(), messages.end(),
                                    [id](MsgList const & each) { return each.id == id; });
    return found != messages.end() ? &*found : nullptr;
}

bool PartialIndex::is_taken(FragmentKey key, MsgList const * message, int part) const {
    for (MsgList const & each : messages) {
        if (fragment_key(each.number, 0).message != key.message) continue;
        for (int const other : each.parts) {
            bool const is_same = &each == message && other == part;
            if (!is_same && fragment_key(each.number, other) == key) return true;
        }
    }
    return false;
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

bool is_path_of(std::string_view path, std::string_view prefix, FragmentKey key) {
    return path.substr(0, prefix.size()) == prefix &&
           path.substr(prefix.size()) == fragment_file_name(key);
}

/// All keys of an index: 32 bits each. Twice the same would be one file for two fragments.
using Keys = std::vector<std::uint32_t>;

bool has_twins(Keys & keys) {
    std::sort(keys.begin(), keys.end());
    return std::adjacent_find(keys.begin(), keys.end()) != keys.end();
}

bool take_part(std::string_view & text, std::string_view prefix, MsgList & message, Keys & keys) {
    std::string_view path;
    int number = 0;
    if (!take_text(text, path) || !take_count(text, number)) return false;
    FragmentKey const key = fragment_key(message.number, number);
    message.parts.push_back(number);
    keys.push_back(static_cast<std::uint32_t>(key.message) << fragment_key_bits |
                   static_cast<std::uint32_t>(key.fragment));
    return is_path_of(path, prefix, key);
}

bool take_message(std::string_view & text, std::string_view prefix, MsgList & message,
                  Keys & keys) {
    std::string_view id;
    int count = 0;
    if (!take_text(text, id) || !take_count(text, message.number) ||
        !take_count(text, message.total) || !take_count(text, count) || count == 0) {
        return false;
    }
    message.id = id;
    for (int i = 0; i < count; ++i) {
        if (!take_part(text, prefix, message, keys)) return false;
    }
    // New fragments go to the front, and so do those that are read.
    std::reverse(message.parts.begin(), message.parts.end());
    return true;
}

} // namespace

std::string format_index(PartialIndex const & index, std::string_view prefix) {
    std::string text;
    put_number(text, index.first_number);
    put_number(text, index.sequence_number);
    put_number(text, index.messages.size());
    for (MsgList const & message : index.messages) {
        put_text(text, message.id);
        put_number(text, message.number);
        put_number(text, message.total);
        put_number(text, message.parts.size());
        for (int const part : message.parts) {
            put_text(text, prefix, fragment_file_name(fragment_key(message.number, part)));
            put_number(text, part);
        }
    }
    return text;
}

bool parse_index(std::string_view text, std::string_view prefix, PartialIndex & index) {
    index = {};
    int count = 0;
    if (!take_number(text, '\n', index.first_number) || !take_count(text, index.sequence_number) ||
        !take_count(text, count)) {
        return false;
    }
    Keys keys;
    for (int i = 0; i < count; ++i) {
        if (!take_message(text, prefix, index.messages.emplace_back(), keys)) return false;
    }
    return text.empty() && !has_twins(keys);
}

} // namespace vellum
