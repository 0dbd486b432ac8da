// conversion/iconv_reader.hpp - reads a set as iconv does
#pragma once

#include "conversion/codec.hpp"
#include "conversion/iconv_handle.hpp"

namespace vellum::conversion {

class IconvReader {
public:
    /// Null if the C library doesn't know the set of that name.
    static std::unique_ptr<IconvReader> open(char const * iconv_name);

    /// As Codec::decode. Each byte that iconv refuses is a replacement character.
    std::size_t decode(std::string_view text, End end, Output & utf8);

private:
    explicit IconvReader(IconvHandle iconv) : iconv_(std::move(iconv)) {}

    IconvHandle iconv_;
};

} // namespace vellum::conversion
