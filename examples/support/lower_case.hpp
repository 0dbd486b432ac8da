// examples/support/lower_case.hpp - the words of mail, which have no case
#pragma once

#include <string>
#include <string_view>

namespace examples {

/// ASCII alone, whatever the locale.
inline std::string lower_case(std::string_view text) {
    std::string lower(text);
    for (char & c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

} // namespace examples
