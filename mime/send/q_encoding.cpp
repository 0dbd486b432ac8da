// mime/send/q_encoding.cpp - the "Q" encoding of encoded words (RFC 2047 4.2)
#include "mime/send/q_encoding.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <algorithm>
#include <array>

namespace vellum {

namespace {

using ascii::byte;

enum : unsigned char { in_text = 1, in_parameter = 2, in_phrase = 4 };

/// Which bytes stand for themselves in Q, and where; the blank is written "_" there. RFC 2047 5.
constexpr auto q_classes = [] {
    std::array<unsigned char, 256> classes{};
    for (unsigned c = 0x20; c < 0x7F; ++c) {
        bool const digit_or_letter =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        bool const in_word = c != '?' && c != '=' && c != '_';
        bool const phrase_sign =
            std::string_view(" !*+-/").find(static_cast<char>(c)) != std::string_view::npos;
        if (in_word) classes[c] |= in_text;
        if (in_word && c != '"' && c != '\\') classes[c] |= in_parameter;
        if (digit_or_letter || phrase_sign) classes[c] |= in_phrase;
    }
    return classes;
}();
static_assert(q_classes['_'] == 0 && q_classes['"'] == in_text && q_classes[','] == 3);

class Place {
public:
    explicit Place(TextKind kind)
        : class_(kind == TextKind::phrase      ? in_phrase
                 : kind == TextKind::parameter ? in_parameter
                                               : in_text) {}
    bool takes(char c) const { return (q_classes[byte(c)] & class_) != 0 && c != ' '; }

private:
    unsigned char class_;
};

} // namespace

void write_q(std::string_view text, TextKind kind, oSimpleStream & out) {
    constexpr char digits[] = "0123456789ABCDEF";
    Place const place(kind);
    while (!text.empty()) {
        auto const run_end =
            std::find_if_not(text.begin(), text.end(), [place](char c) { return place.takes(c); });
        auto const run = static_cast<std::size_t>(run_end - text.begin());
        out.write(text.substr(0, run));
        text.remove_prefix(run);
        if (text.empty()) return;
        unsigned char const c = byte(text.front());
        text.remove_prefix(1);
        if (c == ' ') {
            out << '_';
        } else {
            out << '=' << digits[c >> 4] << digits[c & 0xF];
        }
    }
}

std::size_t q_size(std::string_view text, TextKind kind) {
    Place const place(kind);
    auto const escaped = std::count_if(text.begin(), text.end(),
                                       [place](char c) { return c != ' ' && !place.takes(c); });
    return text.size() + 2 * static_cast<std::size_t>(escaped);
}

} // namespace vellum
