// conversion/char_set.hpp - the character sets that the component knows: numbers, names, and how
// text in them is read and written
#pragma once

#include <array>
#include <string_view>

namespace vellum::conversion {

/// How characters stand in a text.
enum class Scheme {
    utf_8,
    table,         ///< by a CodeTable
    hz,            ///< RFC 1843
    iso_2022_kr,   ///< RFC 1557
    iso_2022_jp,   ///< RFC 1468
    iso_2022_jp_2, ///< RFC 1554
    wide,          ///< units of two or four bytes
    iso_2022_cn,   ///< RFC 1922
    utf_7,         ///< RFC 2152
    system,        ///< as iconv has it
};

/// Which bytes make a character, in a set with a table.
enum class Structure {
    single_bytes,
    pairs,     ///< single bytes, and pairs with a lead byte
    shift_jis, ///< likewise, with single bytes amid the lead bytes
    gb18030,   ///< pairs, and sequences of four bytes
    euc_jp,    ///< pairs, and sequences of three bytes
    euc_tw,    ///< pairs, and sequences of four bytes
};

/// What of its iconv set a label doesn't cover.
enum class Limit { none, big5, gbk, jis_x_0208 };

enum class ByteOrder {
    big,
    little,
    told, ///< written little-endian behind a byte order mark; read by that mark, else by the looks
    big_or_told, ///< the same in reading, written big-endian without a mark
};

/// One set. What mail holds under a name is often more than the name says, so text is read with the
/// sets `readers`, the first one that knows a character (each the superset that writers of this
/// name use, or the set itself); but only what `label` holds is written.
struct CharSet {
    int number;
    char const * name;
    Scheme scheme;
    std::array<char const *, 2> readers{}; // names for iconv
    char const * label = nullptr;          // likewise
    Structure structure = Structure::single_bytes;
    bool writes_longer = false; // sequences of more than two bytes
    Limit limit = Limit::none;
    int unit = 1; // bytes
    ByteOrder order = ByteOrder::big;
    int eight_bit = -1; // the number of the set whose pairs are written without the upper bit
};

/// Null for a number that no set has.
CharSet const * char_set_of(int number);

/// The number of a character set's name as mail spells it, without regard to case and punctuation;
/// -1 if there is none.
int number_of_name(std::string_view name);

/// The number of a code page; -1 if there is none.
int number_of_code_page(unsigned long code_page);

} // namespace vellum::conversion
