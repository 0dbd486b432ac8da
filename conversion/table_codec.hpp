// conversion/table_codec.hpp - sets of single bytes and pairs, and of pairs with longer sequences
#pragma once

#include "conversion/code_table.hpp"
#include "conversion/codec.hpp"
#include "conversion/iconv_handle.hpp"
#include "conversion/nearest_form.hpp"

#include <optional>

namespace vellum::conversion {

class TableCodec : public Codec {
public:
    /// Null if the C library doesn't know the set.
    static std::unique_ptr<TableCodec> open(CharSet const & set);

    std::size_t decode(std::string_view text, End end, Output & utf8) override;
    void encode(std::string_view utf8, End end, Output & text) override;

    /// Reads the pairs at the front of `text`, whose upper bits are missing, as far as each is one
    /// character. Returns their length.
    std::size_t decode_seven_bit(std::string_view text, Output & utf8) const;

private:
    TableCodec(CharSet const & set, CodeTable const & table)
        : set_(set), table_(table), forms_([this](char32_t character) { return has(character); }) {}

    IconvHandle * writer();
    unsigned char const * decode_sequence(unsigned char const * p, unsigned char const * end,
                                          Output & utf8);
    bool is_cut(unsigned char const * p, unsigned char const * end) const;
    std::size_t longer_length(unsigned char const * p, unsigned char const * end) const;
    std::size_t bad_length(unsigned char const * p, unsigned char const * end) const;
    unsigned char const * encode_longer(unsigned char const * p, unsigned char const * end,
                                        Output & text);
    std::string_view longer_run(unsigned char const * p, unsigned char const * end) const;
    bool may_be_longer(char32_t character) const;
    bool has(char32_t character);
    void put(char32_t character, Output & text);

    CharSet const & set_;
    CodeTable const & table_;
    // For the longer sequences, opened when a text needs them.
    std::optional<IconvHandle> reader_;
    std::optional<IconvHandle> writer_;
    NearestForms forms_;
};

} // namespace vellum::conversion
