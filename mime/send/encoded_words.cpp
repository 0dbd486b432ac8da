// mime/send/encoded_words.cpp - cuts one text into encoded words (RFC 2047)
//
// The text is cut as it comes from the client, and each piece is translated by itself. So the cuts
// fall between characters in any set, and no shift state goes over from one word to the next.
#include "mime/send/encoded_words.hpp"

#include "mime/codec/base64.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/charset.hpp"
#include "mime/send/encoder_in_use.hpp"
#include "mime/send/q_encoding.hpp"

#include <algorithm>

namespace vellum {

namespace {

constexpr std::size_t b_size(std::size_t size) { return (size + 2) / 3 * 4; }

void write_b(std::string_view text, oSimpleStream & out) {
    constexpr bool break_lines = false;
    EncoderInUse const encoder(new Encoding64(break_lines));
    encode(*encoder, text, out);
    encoder->Flush();
}

} // namespace

EncodedWords::EncodedWords(MimeSender & sender, std::string_view text, TextKind kind)
    : translation_(sender), rest_(text), kind_(kind) {
    std::string const whole = translation_.Translate(text);
    in_q_ = q_size(whole, kind) <= b_size(whole.size());
}

/// The size of the word of the first `size` bytes.
std::size_t EncodedWords::WordSize(std::size_t size, bool in_q) const {
    constexpr std::size_t around = 7; // "=?", "?Q?" and "?="
    std::string const text = translation_.Translate(rest_.substr(0, size));
    return around + std::string_view(translation_.set().name).size() +
           (in_q ? q_size(text, kind_) : b_size(text.size()));
}

std::size_t EncodedWords::least_size() const {
    std::size_t const first = translation_.WholeCharacters(rest_, 1);
    return std::max(WordSize(first, true), WordSize(first, in_q_));
}

/// How many bytes of the text fit into a word of `room` bytes.
std::size_t EncodedWords::Fitting(std::size_t room, bool in_q) const {
    constexpr std::size_t most_for_one = 4; // bytes of the text that become one in a word
    std::size_t fits = 1;
    std::size_t beyond = std::min(rest_.size(), room * most_for_one) + 1;
    while (beyond - fits > 1) {
        std::size_t const middle = fits + (beyond - fits) / 2;
        bool const is_in = WordSize(translation_.WholeCharacters(rest_, middle), in_q) <= room;
        (is_in ? fits : beyond) = middle;
    }
    return translation_.WholeCharacters(rest_, fits);
}

/// A size of at most `size` for which B needs no padding; 0 if there is no such size near it.
std::size_t EncodedWords::WithoutPadding(std::size_t size) const {
    std::size_t const least = size / 2;
    for (std::size_t shorter = size; shorter > least;) {
        if (translation_.Translate(rest_.substr(0, shorter)).size() % 3 == 0) return shorter;
        std::size_t const next = translation_.WholeCharacters(rest_, shorter - 1);
        if (next >= shorter) break;
        shorter = next;
    }
    return 0;
}

std::string EncodedWords::Next(std::size_t room) {
    room = std::min(room, longest_word);
    bool in_q = in_q_;
    std::size_t size = Fitting(room, in_q);
    // Some readers join words in B before they decode them, and stop at padding between.
    if (!in_q && size < rest_.size()) {
        size = WithoutPadding(size);
        in_q = size == 0;
        if (in_q) size = Fitting(room, true);
    }
    std::string const text = translation_.Translate(rest_.substr(0, size));
    rest_.remove_prefix(size);
    oSimpleStream word;
    word << "=?" << translation_.set().name << (in_q ? "?Q?" : "?B?");
    if (in_q) {
        write_q(text, kind_, word);
    } else {
        write_b(text, word);
    }
    word << "?=";
    return {word.str(), word.oBufCnt()};
}

} // namespace vellum
