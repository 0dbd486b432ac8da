// examples/support/media_type.hpp - the media type of a file, and the extension for a media type
//
// By the library's guess, with a small table of formats that are younger than its own.
#pragma once

#include <mime/vellum.hpp>

#include <filesystem>
#include <istream>

namespace examples {

struct MediaType {
    SymToken type;
    SymToken subtype;
};

/// By the file's name, and by its first bytes where that doesn't tell.
MediaType media_type_of(std::filesystem::path const & file, std::istream & content);

/// Without a dot; a constant. Either argument may be null.
char const * extension_for(char const * type, char const * subtype);

} // namespace examples
