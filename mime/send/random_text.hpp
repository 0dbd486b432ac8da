// mime/send/random_text.hpp - 128 random bits as letters and digits, for ids and boundaries
#pragma once

#include <string>

namespace vellum {

/// Returns 26 lower-case letters and digits, which stand in an id and in a boundary; empty if the
/// system's random source can't be had.
std::string random_text();

} // namespace vellum
