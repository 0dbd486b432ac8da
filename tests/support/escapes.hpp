// tests/support/escapes.hpp - the escapes of case files: \r \n \t \\ \" and \xHH
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vellum::test {

inline std::string from_escapes(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            result += text[at];
        } else if (char const kind = text[++at]; kind == 'x') {
            result +=
                static_cast<char>(std::stoi(std::string(text.substr(at + 1, 2)), nullptr, 16));
            at += 2;
        } else {
            result += kind == 'r' ? '\r' : kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
        }
    }
    return result;
}

} // namespace vellum::test
