// tests/support/texts.hpp - texts that are put together and taken apart
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vellum::test {

inline std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    for (; times > 0; --times)
        result += text;
    return result;
}

/// `text` with `value` in each place of `name`.
inline std::string replaced(std::string text, std::string_view name, std::string_view value) {
    for (std::size_t at = 0; (at = text.find(name, at)) != text.npos; at += value.size())
        text.replace(at, name.size(), value);
    return text;
}

inline std::vector<std::string> split(std::string_view list, char separator) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at <= list.size(); at += pieces.back().size() + 1)
        pieces.emplace_back(list.substr(at, list.find(separator, at) - at));
    return pieces;
}

} // namespace vellum::test
