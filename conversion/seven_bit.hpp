// conversion/seven_bit.hpp - sets that write pairs without the upper bit, between shifts
//
// Reading turns the text back into the 8-bit form, whose table then reads it; so the tolerances of
// that set hold here too, as does its count of what is bad. A shift ends with its line.
#pragma once

#include "conversion/codec.hpp"
#include "conversion/table_codec.hpp"

#include <string>
#include <string_view>

namespace vellum::conversion {

/// What stands around pairs.
struct Shifts {
    std::string_view header; // in front of a text that has pairs
    std::string_view begin;
    std::string_view end;
    char doubled = '\0'; // the ASCII character that stands for itself when doubled
    // Control characters that would be taken for what they do in such a text; "?" is written.
    std::string_view forbidden = "";
};

/// SO, SI and ESC, in the sets of ISO 2022.
inline constexpr std::string_view iso_2022_controls = "\x0E\x0F\x1B";

/// Writes text of ASCII and of pairs with the upper bits set.
class ShiftWriter {
public:
    ShiftWriter(std::unique_ptr<TableCodec> eight_bit, Shifts const & shifts)
        : eight_bit_(std::move(eight_bit)), shifts_(shifts) {}

    void encode(std::string_view utf8, Output & text);

    /// The set of the 8-bit form.
    TableCodec & eight_bit() { return *eight_bit_; }

private:
    void write(std::string_view encoded, Output & text);

    std::unique_ptr<TableCodec> eight_bit_;
    Shifts shifts_;
    bool begun_ = false; // the text has had its header
    bool shifted_ = false;
};

/// A byte that is bad in every 8-bit form.
inline constexpr char bad_byte = '\xFF';

inline bool is_pair_byte(char c) { return c > 0x20 && c < 0x7F; }
inline char with_upper_bit(char c) { return static_cast<char>(c | 0x80); }

/// Text goes through the 8-bit form in pieces of this size and up to the next line end.
inline constexpr std::size_t piece_size = 65536;

/// HZ (RFC 1843).
class HzCodec : public Codec {
public:
    /// Null if the C library lacks the set; as below.
    static std::unique_ptr<HzCodec> open();

    void decode(std::string_view text, Output & utf8) override;
    void encode(std::string_view utf8, Output & text) override { writer_.encode(utf8, text); }

private:
    explicit HzCodec(std::unique_ptr<TableCodec> gb);

    ShiftWriter writer_;
};

/// ISO-2022-KR (RFC 1557). Its header may be missing, as in a later piece of a text.
class Iso2022KrCodec : public Codec {
public:
    static std::unique_ptr<Iso2022KrCodec> open();

    void decode(std::string_view text, Output & utf8) override;
    void encode(std::string_view utf8, Output & text) override { writer_.encode(utf8, text); }

private:
    explicit Iso2022KrCodec(std::unique_ptr<TableCodec> ks);

    ShiftWriter writer_;
};

} // namespace vellum::conversion
