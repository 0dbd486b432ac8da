// conversion/code_table.hpp - the characters of a set of single bytes and pairs, both ways
//
// Made from iconv when a set is first used, one character after the other; from then on a text
// needs no call of iconv but for its longer sequences. So each byte that is no text is seen for
// itself, no character waits in a state for the next one, and what is read (all that writers of the
// name use) and what is written (what the name says) come from different sets.
#pragma once

#include "conversion/char_set.hpp"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace vellum::conversion {

class CodeTable {
public:
    /// The table of a set. Null if the C library doesn't know it. Any thread may call this.
    static CodeTable const * of(CharSet const & set);

    /// What a byte is by itself: a character, or one of these.
    static constexpr char32_t no_character = 0xFFFFFFFF;
    static constexpr char32_t lead_byte = 0xFFFFFFFE;
    char32_t single(unsigned char byte) const { return singles_[byte]; }

    /// The UTF-8 of a byte that is a character by itself, with its length behind it.
    struct Text {
        std::array<unsigned char, 3> bytes;
        unsigned char length;
    };
    Text const & text(unsigned char byte) const { return texts_[byte]; }

    /// The character of a lead byte and the byte behind it, or `no_character`. Above `with_mark` it
    /// is two characters: a combining mark in the bits from 8 up, and its base in those below.
    static constexpr char32_t with_mark = 0x80000000;
    char32_t pair(unsigned char lead, unsigned char trail) const {
        return pairs_[static_cast<std::size_t>(lead - 0x80) << 8 | trail];
    }

    /// The lowest byte that can follow a lead byte, whether the pair means something or not.
    static unsigned lowest_trail(Structure structure);

    /// The bytes of a character, with a first byte in the upper half if they are two; 0 if the set
    /// lacks it, and for NUL.
    std::uint16_t code(char32_t character) const {
        std::size_t const page = character >> 8;
        if (page >= pages_.size() || pages_[page] == nullptr) return 0;
        return (*pages_[page])[character & 0xFF];
    }

private:
    friend class CodeTableBuilder;
    using Page = std::array<std::uint16_t, 256>;

    void set_code(char32_t character, unsigned code);

    std::array<char32_t, 256> singles_;
    std::array<Text, 256> texts_{};
    std::vector<char32_t> pairs_; // empty in a set of single bytes
    std::array<std::unique_ptr<Page>, 0x300> pages_;
};

} // namespace vellum::conversion
