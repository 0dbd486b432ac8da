// conversion/iso_2022_jp.hpp - ISO-2022-JP and ISO-2022-JP-2
//
// Grammar:    RFC 1468; RFC 1554, whose sets may stand in the text under either name.
// Tolerance:  half-width katakana and the vendors' signs are read, as many mailers write them under
//             this name. A set ends with its line.
#pragma once

#include "conversion/codec.hpp"
#include "conversion/seven_bit.hpp"

#include <memory>
#include <string>

namespace vellum::conversion {

class Iso2022JpReader {
public:
    /// Null if the C library lacks the sets.
    static std::unique_ptr<Iso2022JpReader> open(CharSet const & set);

    std::size_t decode(std::string_view text, End end, Output & utf8);

private:
    /// What the bytes below 0x80 are, by the last escape sequence.
    enum class Set { ascii, roman, kana, jis_x_0208, jis_x_0212, gb_2312, ks_c_5601 };
    /// What a byte behind a single shift is.
    enum class Upper { none, latin_1, greek };

    struct Escape;
    static Escape const escapes[];

    explicit Iso2022JpReader(std::unique_ptr<TableCodec> japanese)
        : japanese_(std::move(japanese)), codec_(japanese_.get()) {}

    bool is_cut(std::string_view text) const;
    std::size_t take_next(std::string_view text);
    TableCodec & foreign(std::unique_ptr<TableCodec> & codec, char const * name);
    std::size_t take_japanese(std::string_view text);
    std::size_t take_control(std::string_view text);
    std::size_t take_escape(std::string_view text);
    std::size_t take(std::string_view text);
    std::size_t take_upper(std::string_view text);
    void put(TableCodec & codec, std::string_view bytes);
    std::string & pending_in(TableCodec & codec);
    void flush(End end);

    std::unique_ptr<TableCodec> japanese_;
    // Opened when a text needs them.
    std::unique_ptr<TableCodec> chinese_;
    std::unique_ptr<TableCodec> korean_;
    std::unique_ptr<TableCodec> latin_1_;
    std::unique_ptr<TableCodec> greek_;

    Output * utf8_ = nullptr; // of the text that is being read
    TableCodec * codec_;      // the set of `pending_`
    std::string pending_;     // in its 8-bit form
    Set set_ = Set::ascii;
    Upper upper_ = Upper::none;
};

inline constexpr Shifts iso_2022_jp_shifts{
    .header = "", .begin = "\x1B$B", .end = "\x1B(B", .forbidden = iso_2022_controls};

} // namespace vellum::conversion
