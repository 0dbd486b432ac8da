// examples/support/media_type.cpp - the media type of a file, and the extension for a media type
#include "examples/support/media_type.hpp"

#include <string>

namespace examples {

namespace {

struct YoungType {
    SymToken extension;
    SymToken type;
    SymToken subtype;
};

YoungType const young_types[] = {
    {"csv", "text", "csv"},        {"json", "application", "json"}, {"mp3", "audio", "mpeg"},
    {"mp4", "video", "mp4"},       {"pdf", "application", "pdf"},   {"png", "image", "png"},
    {"svg", "image", "svg+xml"},   {"webp", "image", "webp"},       {"xml", "text", "xml"},
    {"zip", "application", "zip"},
};

} // namespace

MediaType media_type_of(std::filesystem::path const & file, std::istream & content) {
    std::string const extension = file.extension().string();
    for (YoungType const & young : young_types) {
        if (!extension.empty() && young.extension == extension.c_str() + 1) {
            return {young.type, young.subtype};
        }
    }
    char const * type = RFC1521::text; // for text of no known kind
    char const * subtype = RFC1521::plain;
    MimeUtil::GuessMimeType(file.filename().c_str(), &content, type, subtype);
    return {type, subtype};
}

char const * extension_for(char const * type, char const * subtype) {
    for (YoungType const & young : young_types) {
        if (young.type == type && young.subtype == subtype) return young.extension;
    }
    char const * extension = nullptr;
    MimeUtil::GuessFileExt(type, subtype, extension, 0);
    return extension;
}

} // namespace examples
