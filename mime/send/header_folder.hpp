// mime/send/header_folder.hpp - divides one header field into lines (RFC 5322 2.1.1, 2.2.3)
//
// A line ends in front of a blank, which begins the next line, so that unfolding brings back every
// byte. Text is held from one blank to the next, as only then is it known whether it still fits.
#pragma once

#include "mime/send/own_field.hpp"

#include <cstddef>
#include <string>
#include <string_view>

class oSimpleStream;

namespace vellum {

/// One field, from its name to `End`. No line is longer than 78 bytes where a blank allows it, nor
/// longer than 998 at all, and no line has blanks alone.
class HeaderFolder {
public:
    static constexpr std::size_t wanted_line = 78;
    static constexpr std::size_t longest_line = vellum::longest_line;

    /// `out` outlives this object. With `ascii_only` any other byte that comes here becomes "?".
    HeaderFolder(oSimpleStream & out, bool ascii_only) : out_(out), ascii_only_(ascii_only) {}

    /// The engine's own text. Each run of its blanks is one blank; a fold in it ends the line.
    void AddOwn(std::string_view text);
    /// A value, which keeps its blanks and may be folded at them.
    void AddWords(std::string_view value);
    /// Text that isn't divided at its blanks.
    void AddSolid(std::string_view text) { word_ += text; }

    /// How many bytes of a next word still fit into this line.
    std::size_t room() const;
    /// Ends the field and its last line. Blanks at its end are dropped.
    void End();

private:
    void AddBlank(char blank);
    void PutWord();
    void Put(std::string_view text);

    oSimpleStream & out_;
    bool ascii_only_;
    bool must_fold_ = false; // in front of the word in hand
    std::string blanks_;     // in front of the word in hand
    std::string word_;
    std::size_t column_ = 0; // where `blanks_` will stand
};

} // namespace vellum
