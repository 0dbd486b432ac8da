// examples/support/safe_file_name.cpp - a file name that a message may choose
#include "examples/support/safe_file_name.hpp"

#include "examples/support/utf8.hpp"

#include <algorithm>

namespace examples {

namespace {

constexpr std::size_t longest_name = 100;
constexpr std::size_t longest_extension = 16;

/// The name behind the path, whatever the system that it comes from.
std::string_view last_component(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

/// Characters with a meaning for some file system or shell, and those that don't show.
bool is_unwanted(char32_t code) {
    constexpr std::string_view special = ":*?\"<>|$`";
    return !is_visible(code) || code == replacement_character ||
           (code < 0x80 && special.find(static_cast<char>(code)) != special.npos);
}

std::string without_unwanted(std::string_view name) {
    std::string result;
    while (!name.empty()) {
        Character const character = first_character(name);
        if (is_unwanted(character.code)) {
            result += '_';
        } else {
            append_character(result, character, name);
        }
        name.remove_prefix(character.length);
    }
    return result;
}

/// A leading dot hides a file, a leading hyphen looks like an option, and some systems drop dots
/// and blanks at the end.
std::string_view without_odd_ends(std::string_view name) {
    std::size_t const begin = name.find_first_not_of(". -");
    if (begin == name.npos) return {};
    return name.substr(begin, name.find_last_not_of(". ") + 1 - begin);
}

/// Some systems take these for devices, in any case and with any extension.
bool is_device(std::string_view name) {
    std::string stem(name.substr(0, name.find('.')));
    for (char & c : stem) {
        if ('a' <= c && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    if (stem.size() == 4 && '0' <= stem[3] && stem[3] <= '9') stem.pop_back();
    for (char const * device : {"CON", "PRN", "AUX", "NUL", "COM", "LPT"}) {
        if (stem == device) return true;
    }
    return false;
}

/// At most `length` bytes from the start, no character of them in halves.
std::string_view cut(std::string_view text, std::size_t length) {
    std::size_t end = 0;
    while (end < text.size()) {
        std::size_t const next = end + first_character(text.substr(end)).length;
        if (next > length) break;
        end = next;
    }
    return text.substr(0, end);
}

std::string shortened(std::string_view name) {
    if (name.size() <= longest_name) return std::string(name);
    std::string_view extension = name.substr(std::min(name.rfind('.'), name.size()));
    if (extension.size() > longest_extension) extension = {};
    std::string result(cut(name, longest_name - extension.size()));
    return result += extension;
}

} // namespace

std::string safe_file_name(std::string_view name) {
    std::string const visible = without_unwanted(last_component(name));
    std::string const result = shortened(without_odd_ends(visible));
    return is_device(result) ? '_' + result : result;
}

} // namespace examples
