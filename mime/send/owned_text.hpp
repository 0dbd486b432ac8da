// mime/send/owned_text.hpp - a private copy of a text that a getter gave
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>

namespace vellum {

/// A copy of `text` with its NUL; null for null.
inline std::unique_ptr<char[]> copy_text(char const * text) {
    if (text == nullptr) return nullptr;
    std::size_t const size = std::strlen(text) + 1;
    auto copy = std::make_unique<char[]>(size);
    std::copy_n(text, size, copy.get());
    return copy;
}

} // namespace vellum
