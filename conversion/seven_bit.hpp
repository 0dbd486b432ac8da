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
    /// The 8-bit form is that of `set`. Null if the C library lacks it.
    static std::unique_ptr<ShiftWriter> open(CharSet const & set, Shifts const & shifts);

    void encode(std::string_view utf8, End end, Output & text);

private:
    ShiftWriter(std::unique_ptr<TableCodec> eight_bit, Shifts const & shifts)
        : eight_bit_(std::move(eight_bit)), shifts_(shifts) {}

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

/// How the text of one of these sets is read and written.
struct SevenBitScheme {
    Shifts shifts;

    /// Whether `rest` is the front of something that the end of a piece may have cut.
    bool (*is_cut)(std::string_view rest, bool shifted);

    /// Moves what is at the front of `rest` to `put`, where there is room for as many bytes.
    /// Returns its length.
    std::size_t (*move_next)(std::string_view rest, bool & shifted, char *& put);
};

/// HZ (RFC 1843) and ISO-2022-KR (RFC 1557), whose header may be missing.
class SevenBitCodec : public Codec {
public:
    /// Null if the C library lacks the set of the 8-bit form.
    static std::unique_ptr<Codec> open(CharSet const & set);

    std::size_t decode(std::string_view text, End end, Output & utf8) override;
    void encode(std::string_view utf8, End end, Output & text) override {
        writer_->encode(utf8, end, text);
    }

private:
    SevenBitCodec(SevenBitScheme const & scheme, std::unique_ptr<TableCodec> eight_bit,
                  std::unique_ptr<ShiftWriter> writer)
        : scheme_(scheme), eight_bit_(std::move(eight_bit)), writer_(std::move(writer)) {}

    std::size_t take(std::string_view text, End end);
    void flush(End end, Output & utf8);

    SevenBitScheme const & scheme_;
    std::unique_ptr<TableCodec> eight_bit_;
    std::unique_ptr<ShiftWriter> writer_;
    std::string pending_; // what was taken, in its 8-bit form
    bool shifted_ = false;
};

} // namespace vellum::conversion
