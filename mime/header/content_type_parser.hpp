// mime/header/content_type_parser.hpp - the pieces of a Content-Type that both of its readings take
#pragma once

#include "mime/header/grammar.hpp"

namespace vellum {

/// A media type, as interned words; null for a word that isn't there.
struct MediaType {
    char const * type = nullptr;
    char const * subtype = nullptr;
};

/// Reads type and subtype at the start of the field, and sets `next` behind them. The slash between
/// them isn't required.
MediaType read_media_type(HeaderScanner & scanner, Position & next);

/// The number at the start of `text`, as atoi reads it; a number that is too large for an int
/// becomes the nearest int.
int to_number(char const * text);

} // namespace vellum
