// conversion/iso_2022_cn.hpp - reads ISO-2022-CN
//
// Grammar:    RFC 1922, by way of iconv.
// Tolerance:  a set that is designated while a shift is on holds at once.
#pragma once

#include "conversion/codec.hpp"
#include "conversion/iconv_handle.hpp"

#include <string>

namespace vellum::conversion {

class Iso2022CnReader {
public:
    /// Null if the C library doesn't know the set.
    static std::unique_ptr<Iso2022CnReader> open(CharSet const & set);

    /// As Codec::decode.
    std::size_t decode(std::string_view text, End end, Output & utf8);

private:
    explicit Iso2022CnReader(IconvHandle iconv) : iconv_(std::move(iconv)) {}

    void take(std::string_view text);
    std::size_t take_bad(std::string_view text, Output & utf8) const;

    IconvHandle iconv_;
    std::string pending_; // what iconv gets
    bool is_shifted_ = false;
};

} // namespace vellum::conversion
