// examples/support/text_look.cpp - what the bytes of a text are
#include "examples/support/text_look.hpp"

#include "examples/support/utf8.hpp"

#include <algorithm>

namespace examples {

namespace {

constexpr std::size_t longest_character = 4;
constexpr std::string_view replacement = "\xEF\xBF\xBD"; // a character like any other if sent

bool has_high_bit(char c) { return static_cast<unsigned char>(c) >= 0x80; }

} // namespace

void TextLook::Add(std::string_view bytes) {
    bool const is_ascii = std::none_of(bytes.begin(), bytes.end(), has_high_bit);
    has_eight_bit_ = has_eight_bit_ || !is_ascii;
    has_nul_ = has_nul_ || bytes.find('\0') != bytes.npos;
    if (is_ascii && tail_.empty()) return;
    AddUtf8(tail_ += bytes);
}

void TextLook::AddUtf8(std::string_view bytes) {
    while (is_utf8_ && !bytes.empty()) {
        Character const character = first_character(bytes);
        bool const is_character =
            character.code != replacement_character || bytes.starts_with(replacement);
        // All of the rest could begin a character whose end is in the next piece.
        bool const is_cut =
            !is_character && character.length == bytes.size() && bytes.size() < longest_character;
        if (is_cut) break;
        is_utf8_ = is_character;
        bytes.remove_prefix(character.length);
    }
    tail_ = std::string(is_utf8_ ? bytes : std::string_view());
}

std::streamsize LookingStream::Buffer::xsputn(char const * text, std::streamsize size) {
    look.Add({text, static_cast<std::size_t>(size)});
    return size;
}

LookingStream::Buffer::int_type LookingStream::Buffer::overflow(int_type byte) {
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
        char const c = traits_type::to_char_type(byte);
        look.Add({&c, 1});
    }
    return traits_type::not_eof(byte);
}

} // namespace examples
