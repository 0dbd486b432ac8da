// conversion/codec.hpp - reads and writes the text of one character set
#pragma once

#include "conversion/char_set.hpp"
#include "conversion/output.hpp"

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

namespace vellum::conversion {

/// What comes behind the bytes of a call: more of the same text, or another text.
enum class End { of_piece, of_text };

/// Goes from the set to UTF-8 and back. Every byte of a text has its place in the result: what is
/// no text in the set is a replacement character there, and a character that the set lacks its
/// nearest form or "?".
///
/// A text comes in one piece or in several, and the result is the same for all ways of cutting it.
/// What a piece leaves in force (a shift, a byte order) is kept up to the end of the text; reading
/// and writing keep it apart. An object belongs to one thread. Throws std::bad_alloc.
class Codec {
public:
    Codec() = default;
    Codec(Codec const &) = delete;
    Codec & operator=(Codec const &) = delete;
    virtual ~Codec();

    /// Returns how many bytes of `text` were read: all at the end of the text. At the end of a
    /// piece the rest depends on what comes behind it, and has to stand in front of the next piece.
    /// No rest is larger than longest_rest.
    virtual std::size_t decode(std::string_view text, End end, Output & utf8) = 0;

    /// `utf8` may be bad; what is no UTF-8 counts as a replacement character. A piece ends with a
    /// whole character.
    virtual void encode(std::string_view utf8, End end, Output & text) = 0;
};

/// What a text in units of two or four bytes has to show before its byte order is guessed.
inline constexpr std::size_t longest_rest = 4096;

/// The codec of a set that is read in one way and written in another.
template <typename Reader, typename Writer>
class PairedCodec : public Codec {
public:
    PairedCodec(Reader reader, Writer writer)
        : reader_(std::move(reader)), writer_(std::move(writer)) {}

    std::size_t decode(std::string_view text, End end, Output & utf8) override {
        return reader_->decode(text, end, utf8);
    }
    void encode(std::string_view utf8, End end, Output & text) override {
        writer_->encode(utf8, end, text);
    }

private:
    Reader reader_; // pointers
    Writer writer_;
};

/// The codec of the two, or null if one of them is null.
template <typename Reader, typename Writer>
std::unique_ptr<Codec> paired(std::unique_ptr<Reader> reader, std::unique_ptr<Writer> writer) {
    if (!reader || !writer) return nullptr;
    return std::make_unique<PairedCodec<std::unique_ptr<Reader>, std::unique_ptr<Writer>>>(
        std::move(reader), std::move(writer));
}

/// Null if the C library doesn't know the set.
std::unique_ptr<Codec> open_codec(CharSet const & set);

} // namespace vellum::conversion
