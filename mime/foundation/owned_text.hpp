// mime/foundation/owned_text.hpp - a private copy of a C string
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>

namespace vellum {

/// A C string on the heap; null for no text.
using OwnedText = std::unique_ptr<char[]>;

/// Returns a copy of `text` with its NUL; null for null.
inline OwnedText copy_text(char const * text) {
    if (text == nullptr) return nullptr;
    std::size_t const size = std::strlen(text) + 1;
    OwnedText copy(new char[size]);
    std::copy_n(text, size, copy.get());
    return copy;
}

} // namespace vellum
