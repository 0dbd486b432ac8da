// mime/nls/text_watch.hpp - whether bytes are text of their character set
#pragma once

#include "mime/nls/client_text.hpp"
#include "mime/nls/utf_8.hpp"

#include <string_view>

namespace vellum {

/// Looks at a text in front of the translator, where the set tells by itself which bytes it has.
class TextWatch {
public:
    enum class Set { any, us_ascii, utf_8 };

    explicit TextWatch(Set set) : set_(set) {}

    /// What to look for in text of `set`.
    static Set set_of(NLS_CharSet const & set) {
        if (set == NLS::US_ASCII) return Set::us_ascii;
        return set == NLS::UTF_8 ? Set::utf_8 : Set::any;
    }

    bool is_on() const { return set_ != Set::any; }
    /// The next piece, which may end anywhere.
    void take(std::string_view text) {
        if (set_ == Set::utf_8) utf_8_.take(text, nullptr);
        if (set_ == Set::us_ascii && !has_8bit_) has_8bit_ = !utf_8::is_ascii(text);
    }
    /// At the end of the text. There were bytes that are no text of the set.
    bool has_bad() {
        utf_8_.finish(nullptr);
        return has_8bit_ || utf_8_.has_met_bad();
    }

private:
    Set set_;
    bool has_8bit_ = false;
    Utf8Repair utf_8_;
};

} // namespace vellum
