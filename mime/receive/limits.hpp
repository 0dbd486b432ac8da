// mime/receive/limits.hpp - the limits of a run and their reasons
#pragma once

#include <cstddef>

namespace vellum {

/// Real mail nests some ten levels at most; a walk of a hundred fits a stack of 256 KB with room
/// for the client's own frames.
inline constexpr int default_nesting_limit = 100;

/// The buffer that a run begins with, and the smallest there is: hardly any line of mail is longer.
inline constexpr unsigned int line_buffer_size = 4000;

/// A body line that is longer than this, and can't be a delimiter, goes on in pieces.
inline constexpr std::size_t line_piece = std::size_t{16} << 10;

/// The most bytes of a delimiter with the blanks behind it, which no standard limits.
inline constexpr std::size_t most_padding = std::size_t{256} << 10;

/// The most text that goes on at once: it bounds what a stage between a decoder and a translator
/// has to hold, and is large enough that the cost of a call doesn't count.
inline constexpr std::size_t text_block = std::size_t{64} << 10;

/// A header's memory of more bytes than this isn't kept for the next header.
inline constexpr std::size_t most_kept_memory = std::size_t{16} << 10;

/// The most lines of a header that are no fields, but may be passed over when a field follows. Mail
/// that lost a line end has a few; a text that is longer has no header.
inline constexpr std::size_t most_stray_text = std::size_t{64} << 10;

/// Encoded messages within each other. Nothing that is meant well has more than two or three, and
/// each level costs a further decoding of what lies within it.
inline constexpr int most_decoded_levels = 10;

/// The blocks on the stack through which decoded and translated bytes go to the client's stream.
inline constexpr std::size_t delivery_block = 1024;

/// The pieces of a body that has to be gathered before a translator gets it.
inline constexpr std::size_t translation_piece = 1024;

} // namespace vellum
