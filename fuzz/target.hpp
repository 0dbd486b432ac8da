// fuzz/target.hpp - what every fuzz target needs
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

inline void require(bool holds) {
    if (!holds) std::abort();
}

inline std::string_view view_of(std::uint8_t const * data, std::size_t size) {
    return {reinterpret_cast<char const *>(data), size};
}
