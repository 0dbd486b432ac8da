// mime/nls/client_text.hpp - text into the client's code page, also where its set is not what was
// said
//
// The translators of the factories believe a label. These stand in front of them where a label is
// missing or wrong, so that what comes out is text in the code page whatever goes in.
#pragma once

#include "mime/nls/translator.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace vellum {

/// Passes UTF-8 on, with U+FFFD for each sequence of bytes that is no character, wherever the text
/// is cut into pieces.
class Utf8Repair {
public:
    /// The next piece of the text. `out` may be null: then the text is only looked at.
    void take(std::string_view text, oSimpleStream * out);
    /// The text has ended.
    void finish(oSimpleStream * out);
    /// Something was no character.
    bool has_met_bad() const { return has_met_bad_; }

private:
    void pass(std::string_view text, oSimpleStream * out);
    void replace(oSimpleStream * out);

    std::array<char, 4> open_{}; ///< The start of a character that the last piece has cut.
    std::size_t open_size_ = 0;
    bool has_met_bad_ = false;
};

/// A whole text, repaired.
std::string repaired_text(std::string_view text);

/// How a reader comes to the translators into its client's code page. Nothing is owned.
struct TextTranslators {
    NLS_Translator ** cache;
    NLS_Translator_Factory * factories;
    int code_page;
    NLS_CharSet * fallback; ///< The set of 8-bit text that is no UTF-8.
    bool repairs_text;      ///< UTF-8 for a client on UTF-8, and US-ASCII, are looked at, too.
    bool takes_system_sets; ///< Sets that only the C library knows are translated.

    /// The translator from `set`; null if there are no factories, or no factory serves the set.
    TranslatorInUse of(NLS_CharSet * set) const;
    /// The same, of the factories alone.
    TranslatorInUse made_for(NLS_CharSet * set) const;
    /// The translator from the fallback set, or if it can't be had from windows-1252; `set` is then
    /// the set that it is for.
    TranslatorInUse of_fallback(NLS_CharSet *& set) const;
    /// The client is on UTF-8.
    bool is_for_utf_8() const;
};

/// A translator in one direction, which takes text in pieces that end anywhere.
class InboundTranslator : public NLS_Translator {
public:
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet * charSet) override;
    bool Takes_Pieces(NLS_CharSet * charSet) override;
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override;
    int CharSet_to_CodePage_Piece(iSimpleStream * in, bool last, oSimpleStream * out) override;

    // The other forms fail: nobody calls them.
    int CharSet_to_CodePage(unsigned char * in, unsigned long inLength, unsigned char *& out,
                            unsigned long & outLength, void (**freeOut)(unsigned char *)) override;
    int CodePage_to_CharSet(unsigned char * in, unsigned long inLength, unsigned char *& out,
                            unsigned long & outLength, void (**freeOut)(unsigned char *)) override;
    int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) override;

protected:
    virtual void take(std::string_view text, oSimpleStream & out) = 0;
    virtual void finish(oSimpleStream & out) = 0;
};

/// From UTF-8 to UTF-8.
class Utf8Text : public InboundTranslator {
protected:
    void take(std::string_view text, oSimpleStream & out) override;
    void finish(oSimpleStream & out) override;

private:
    Utf8Repair repair_;
};

/// From text whose set isn't known. Up to the first byte beyond US-ASCII it is that; from there on
/// it is UTF-8 if the next 64 KB are (RFC 6532), else of the fallback set.
class GuessedText : public InboundTranslator {
public:
    explicit GuessedText(TextTranslators const & translators) : translators_(translators) {}
    ~GuessedText() override;

    /// There were such bytes.
    bool has_guessed() const { return state_ != State::plain; }

protected:
    void take(std::string_view text, oSimpleStream & out) override;
    void finish(oSimpleStream & out) override;

private:
    enum class State { plain, gathering, decided };

    void take_plain(std::string_view text, oSimpleStream & out);
    void gather(std::string_view text, oSimpleStream & out);
    void decide(bool is_whole);
    void hand_on(std::string_view text, bool last, oSimpleStream & out);

    TextTranslators translators_;
    State state_ = State::plain;
    std::string gathered_;
    TranslatorInUse plain_;  ///< Null: US-ASCII is text of the code page.
    bool has_plain_ = false; ///< It has been asked for.
    TranslatorInUse chosen_; ///< Null: the text passes as it is.
    NLS_CharSet * set_ = nullptr;
    bool needs_all_ = false; ///< The translator can't take pieces.
};

/// 8-bit text of a header field in the client's code page: UTF-8 if it is that, else of the
/// fallback set. The text as it is if it can't be translated.
std::string guessed_text(std::string_view text, TextTranslators const & translators);

} // namespace vellum
