// mime/send/field_guard.cpp - keeps a value of the client's inside its header field
#include "mime/send/field_guard.hpp"

#include "mime/foundation/ascii.hpp"

#include <algorithm>

namespace vellum {

namespace {

constexpr std::string_view breaking("\r\n\0", 3);

bool breaks(char c) { return breaking.find(c) != std::string_view::npos; }

/// The length of the fold that `rest` begins with, its blanks included; 0 if it is no fold.
std::size_t fold_length(std::string_view rest) {
    if (rest.substr(0, 2) != "\r\n") return 0;
    std::size_t const text = rest.find_first_not_of(" \t", 2);
    if (text == 2 || text == std::string_view::npos || breaks(rest[text])) return 0;
    return text;
}

} // namespace

bool needs_guard(std::string_view value) {
    return value.find_first_of(breaking) != std::string_view::npos;
}

std::string guarded(std::string_view value) {
    std::string result(value);
    bool text_before = false; // else the line in front of a fold can be one of blanks alone
    for (std::size_t i = 0; i < value.size();) {
        std::size_t const fold = text_before ? fold_length(value.substr(i)) : 0;
        if (fold > 0) {
            i += fold;
            continue;
        }
        if (breaks(value[i])) {
            result[i] = ' ';
        } else if (!ascii::is_blank(value[i])) {
            text_before = true;
        }
        ++i;
    }
    return result;
}

std::string guarded_line(std::string_view value) {
    std::string result(value);
    std::replace_if(result.begin(), result.end(), breaks, ' ');
    return result;
}

bool is_field_name(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return ascii::byte(c) > 0x20 && ascii::byte(c) < 0x7F && c != ':';
    });
}

} // namespace vellum
