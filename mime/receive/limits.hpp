// mime/receive/limits.hpp - the limits of a run and their reasons
#pragma once

#include <cstddef>

namespace vellum {

/// Real mail nests some ten levels at most; a walk of a hundred fits a stack of 256 KB with room
/// for the client's own frames.
inline constexpr int default_nesting_limit = 100;

/// The buffer that a run begins with, and the smallest there is: hardly any line of mail is longer.
inline constexpr unsigned int line_buffer_size = 4000;

/// The blocks on the stack through which decoded and translated bytes go to the client's stream.
inline constexpr std::size_t delivery_block = 1024;

/// The pieces of a body that has to be gathered before a translator gets it.
inline constexpr std::size_t translation_piece = 1024;

} // namespace vellum
