// conversion/codec.hpp - reads and writes the text of one character set
#pragma once

#include "conversion/char_set.hpp"
#include "conversion/output.hpp"

#include <memory>
#include <string_view>

namespace vellum::conversion {

/// Goes from the set to UTF-8 and back. Every text is whole, and every byte of it has its place in
/// the result: what is no text in the set is a replacement character there, and a character that
/// the set lacks its nearest form or "?". An object belongs to one thread. Throws std::bad_alloc.
class Codec {
public:
    Codec() = default;
    Codec(Codec const &) = delete;
    Codec & operator=(Codec const &) = delete;
    virtual ~Codec();

    virtual void decode(std::string_view text, Output & utf8) = 0;

    /// `utf8` may be bad; what is no UTF-8 counts as a replacement character.
    virtual void encode(std::string_view utf8, Output & text) = 0;
};

/// Null if the C library doesn't know the set.
std::unique_ptr<Codec> open_codec(CharSet const & set);

} // namespace vellum::conversion
