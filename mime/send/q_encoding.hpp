// mime/send/q_encoding.hpp - the "Q" encoding of encoded words (RFC 2047 4.2)
#pragma once

#include "mime/send/text_kind.hpp"

#include <cstddef>
#include <string_view>

class oSimpleStream;

namespace vellum {

/// Writes `text` in Q, with the bytes as they stand that RFC 2047 5 lets stand in that place.
void write_q(std::string_view text, TextKind kind, oSimpleStream & out);

/// The number of bytes that write_q writes.
std::size_t q_size(std::string_view text, TextKind kind);

} // namespace vellum
