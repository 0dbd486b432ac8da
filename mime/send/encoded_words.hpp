// mime/send/encoded_words.hpp - cuts one text into encoded words (RFC 2047)
#pragma once

#include "mime/send/text_kind.hpp"
#include "mime/send/translation.hpp"

#include <cstddef>
#include <string>
#include <string_view>

struct MimeSender;

namespace vellum {

/// The encoded words of one text, in the set that the sender writes in, in Q or in B, whichever is
/// shorter for the text. Each has at most 75 bytes (RFC 2047 2) and holds whole characters, and
/// begins and ends in ASCII where the set has shift states (RFC 2047 3).
class EncodedWords {
public:
    static constexpr std::size_t longest_word = 75;

    /// `text`, which isn't empty, outlives this object.
    EncodedWords(MimeSender & sender, std::string_view text, TextKind kind);

    /// All of the text has been handed out.
    bool done() const { return rest_.empty(); }
    /// The fewest bytes that the next word can do with.
    std::size_t least_size() const;
    /// Returns the next word: as much text as fits into `room` bytes and into 75, and one character
    /// at least.
    std::string Next(std::size_t room);

private:
    std::size_t WordSize(std::size_t size, bool in_q) const;
    std::size_t Fitting(std::size_t room, bool in_q) const;
    std::size_t WithoutPadding(std::size_t size) const;

    HeaderTranslation translation_;
    std::string_view rest_;
    TextKind kind_;
    bool in_q_ = true;
};

} // namespace vellum
