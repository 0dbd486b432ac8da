// mime/header/text_translation.hpp - text of a header field on its way from a named character set
// to the client's code page
#pragma once

#include "mime/nls/text_watch.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/defect.hpp"

#include <optional>
#include <string>
#include <string_view>

class iSimpleStream;
class ioSimpleStream;

namespace vellum {

class HeaderRun;

/// One text, in pieces. The client is told of what is wrong with it.
class TextTranslation {
public:
    /// The run outlives the translation.
    explicit TextTranslation(HeaderRun & run) : run_(run) {}

    /// Begins a text in the set of that name. False if the client has no factories, and if no
    /// factory serves the set, which is told.
    bool open(char const * set_name);
    /// Whether the text may be handed over in pieces that end anywhere; else it has to be whole.
    bool takes_pieces() const { return takes_pieces_; }
    /// Translates the next piece, which is what `piece` holds, into `result`, which is empty. By
    /// the rule untranslated_text_kept a piece at which the translator fails goes there too: what
    /// the translator has left of the piece, or the whole piece if it has read all of it, as text
    /// of no known set.
    void translate(iSimpleStream & piece, bool is_last, ioSimpleStream & result);
    /// Whether there is use in a further piece.
    bool may_go_on() const;
    /// At the end of the text. Tells `failure` if the translator has failed. False if nothing came
    /// of the text because of that.
    bool finish(MimeDefect failure);

private:
    void keep(std::string_view piece, std::size_t left, ioSimpleStream & result);

    HeaderRun & run_;
    NLS_CharSet * set_ = nullptr;
    TranslatorInUse translator_;
    std::optional<TextWatch> watch_;
    bool takes_pieces_ = false;
    bool has_failed_ = false;
    bool has_result_ = false;
    bool has_replacement_ = false; ///< U+FFFD, for bytes that are no text of their set.
};

/// Translates `text` from the character set of that name to the client's code page, and tells of
/// bytes that are no text of the set. False if no translator can be had, or nothing comes of it:
/// the text then stays as it is.
bool translate_text(HeaderRun & run, char const * set_name, std::string & text);

} // namespace vellum
