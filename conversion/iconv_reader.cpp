// conversion/iconv_reader.cpp - reads a set as iconv does
#include "conversion/iconv_reader.hpp"

#include "conversion/utf8.hpp"

namespace vellum::conversion {

namespace {

/// No character of any set takes more bytes, the escape sequence in front of it included.
constexpr std::size_t longest_sequence = 8;

} // namespace

std::unique_ptr<IconvReader> IconvReader::open(char const * iconv_name) {
    auto iconv = IconvHandle::open("UTF-8", iconv_name);
    if (!iconv) return nullptr;
    return std::unique_ptr<IconvReader>(new IconvReader(std::move(*iconv)));
}

std::size_t IconvReader::decode(std::string_view text, End end, Output & utf8) {
    std::size_t const size = text.size();
    while (!iconv_.convert(text, utf8)) {
        // It may be that but the end of the piece makes it bad.
        if (end == End::of_piece && text.size() < longest_sequence) return size - text.size();
        utf8.append(replacement_text);
        text.remove_prefix(1);
    }
    if (end == End::of_text) iconv_.finish(utf8);
    return size;
}

} // namespace vellum::conversion
