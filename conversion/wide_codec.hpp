// conversion/wide_codec.hpp - Unicode in units of two or four bytes
//
// Grammar:    UTF-16 (RFC 2781), UTF-32.
// Tolerance:  where the name tells no byte order and the text has no byte order mark, the order is
//             the one in which there are more spaces and line ends, or else the one in which most
//             units are Latin-1. If that doesn't tell, the order is that of the text before it,
//             since a text may come in several pieces, and big-endian at first.
#pragma once

#include "conversion/codec.hpp"

namespace vellum::conversion {

class WideCodec : public Codec {
public:
    explicit WideCodec(CharSet const & set);

    void decode(std::string_view text, Output & utf8) override;
    void encode(std::string_view utf8, Output & text) override;

private:
    template <typename Work>
    auto with_units(bool little, Work work) const;
    bool is_little(std::string_view text) const;

    std::size_t const size_; // of a unit, in bytes
    ByteOrder const order_;
    bool was_little_;
};

} // namespace vellum::conversion
