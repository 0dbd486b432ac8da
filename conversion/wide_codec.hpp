// conversion/wide_codec.hpp - Unicode in units of two or four bytes
//
// Grammar:    UTF-16 (RFC 2781), UTF-32.
// Tolerance:  where the name tells no byte order and the text has no byte order mark, the order is
//             the one in which there are more spaces and line ends, or else the one in which most
//             units are Latin-1, in the first 4,096 bytes. If that doesn't tell, the order is that
//             of the text before it, and big-endian at first.
#pragma once

#include "conversion/codec.hpp"

namespace vellum::conversion {

class WideCodec : public Codec {
public:
    explicit WideCodec(CharSet const & set);

    std::size_t decode(std::string_view text, End end, Output & utf8) override;
    void encode(std::string_view utf8, End end, Output & text) override;

private:
    template <typename Work>
    auto with_units(bool little, Work work) const;
    bool is_marked(bool little, std::string_view text) const;
    bool shows_order(std::string_view text) const;
    bool is_little(std::string_view text) const;

    std::size_t const size_; // of a unit, in bytes
    ByteOrder const order_;
    bool was_little_;
    bool is_reading_ = false; // the order of the text is known
    bool is_writing_ = false; // the text has its mark
};

} // namespace vellum::conversion
