// conversion/nearest_form.cpp - what stands for a character that a set lacks
#include "conversion/nearest_form.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vellum::conversion {

namespace {

struct Form {
    char32_t character;
    char32_t const * text;
};

constexpr Form forms[] = {
#include "conversion/nearest_forms.inc"
};

struct ByCharacter {
    constexpr bool operator()(Form const & a, Form const & b) const {
        return a.character < b.character;
    }
    constexpr bool operator()(Form const & form, char32_t c) const { return form.character < c; }
    constexpr bool operator()(char32_t c, Form const & form) const { return c < form.character; }
};
static_assert(std::is_sorted(std::begin(forms), std::end(forms), ByCharacter()));

/// No character has more steps; and the list has pairs of characters that stand for each other.
constexpr int most_steps = 4;

bool is_combining_mark(char32_t c) {
    return (c >= 0x300 && c < 0x370) || (c >= 0x591 && c < 0x5C8) || c == 0x3099 || c == 0x309A;
}

/// So many forms are remembered.
constexpr std::size_t most_forms = 4096;

} // namespace

bool NearestForms::expand(char32_t character, int steps, std::u32string & text) const {
    if (has_(character)) {
        text += character;
        return true;
    }
    if (is_combining_mark(character)) return true;
    if (steps == 0) return false;
    auto const [begin, end] =
        std::equal_range(std::begin(forms), std::end(forms), character, ByCharacter());
    return std::any_of(begin, end, [&](Form const & form) {
        std::size_t const size_before = text.size();
        std::u32string_view const parts = form.text;
        bool const whole = std::all_of(parts.begin(), parts.end(), [&](char32_t part) {
            return expand(part, steps - 1, text);
        });
        if (!whole) text.resize(size_before);
        return whole;
    });
}

std::u32string const & NearestForms::of(char32_t character) {
    auto place = forms_.find(character);
    if (place == forms_.end()) {
        if (forms_.size() >= most_forms) forms_.clear();
        std::u32string text;
        if (!expand(character, most_steps, text)) text.push_back(U'?');
        place = forms_.emplace(character, std::move(text)).first;
    }
    return place->second;
}

} // namespace vellum::conversion
