// mime/receive/position.hpp - sets a context's offset and its exact twin at once
#pragma once

#include <limits>

namespace vellum {

inline void set_position(int & field, long long & exact, long long value) {
    constexpr long long limit = std::numeric_limits<int>::max();
    exact = value;
    field = static_cast<int>(value < limit ? value : limit);
}

} // namespace vellum
