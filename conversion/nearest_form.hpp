// conversion/nearest_form.hpp - what stands for a character that a set lacks
//
// The forms come from Unicode's decompositions and from a list of our own (quotation marks, dashes,
// the variants of East Asian signs); make_nearest_forms.py puts both into nearest_forms.inc.
#pragma once

#include <functional>
#include <string>
#include <unordered_map>

namespace vellum::conversion {

/// Whether a set has a character.
using HasCharacter = std::function<bool(char32_t)>;

/// The forms of one set's missing characters; remembers them, as a text that lacks one of them
/// often lacks it often.
class NearestForms {
public:
    /// `has` answers for the set, for as long as this object lives.
    explicit NearestForms(HasCharacter has) : has_(std::move(has)) {}

    /// The first form of `character`, which the set lacks, of which it has all characters; accents
    /// that it lacks are left out. "?" if there is none, and nothing for a character that can't be
    /// seen. Valid until the next call.
    std::u32string const & of(char32_t character);

    /// of() has been asked for it: the set lacks it.
    bool knows(char32_t character) const { return forms_.count(character) != 0; }

private:
    bool expand(char32_t character, int steps, std::u32string & text) const;

    HasCharacter has_;
    std::unordered_map<char32_t, std::u32string> forms_;
};

} // namespace vellum::conversion
