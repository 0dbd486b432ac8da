// mime/nls/client_text.cpp - text into the client's code page, also where its set is not what was
// said
//
// Bounds:     of a text whose set is guessed 64 KB are held. All of it is only for a fallback set
//             whose translator can't take pieces.
#include "mime/nls/client_text.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/text_stream.hpp"
#include "mime/nls/system_charset.hpp"
#include "mime/nls/utf_8.hpp"

#include <algorithm>
#include <new>
#include <utility>

namespace vellum {

namespace {

constexpr int failed = 15;

/// Whoever mixes his sets does it soon.
constexpr std::size_t decisive_size = std::size_t{64} << 10;

/// Calls `take` with what is left of the stream, piece by piece.
template <typename Take>
void for_each_piece(iSimpleStream & in, Take take) {
    while (in.good()) {
        unsigned int const size = in.iBufCnt();
        if (size == 0) {
            in.Underflow();
            continue;
        }
        std::string_view const piece(reinterpret_cast<char const *>(in.iGetPtr(0)), size);
        in.iGetPtr(static_cast<long>(size)); // the bytes stay where they are until the Underflow
        take(piece);
    }
}

/// Whether text that has bytes beyond US-ASCII is UTF-8. A character that the end cuts is no
/// reason against it if the text goes on, or if others are whole.
bool is_utf_8(std::string_view text, bool is_whole) {
    std::size_t const length = utf_8::valid_length(text);
    if (length == text.size()) return true;
    if (!utf_8::broken_start(text.substr(length)).may_be_character) return false;
    return !is_whole || utf_8::ascii_length(text) < length;
}

} // namespace

// ---- UTF-8 ----

void Utf8Repair::take(std::string_view text, oSimpleStream * out) {
    for (; open_size_ != 0 && !text.empty(); text.remove_prefix(1)) {
        open_[open_size_] = text[0];
        std::array<char, 4> const begun = open_;
        std::size_t const size = open_size_ + 1;
        open_size_ = 0;
        pass({begun.data(), size}, out);
    }
    pass(text, out);
}

void Utf8Repair::pass(std::string_view text, oSimpleStream * out) {
    while (!text.empty()) {
        std::size_t const length = utf_8::valid_length(text);
        if (out != nullptr) out->write(text.substr(0, length));
        text.remove_prefix(length);
        if (text.empty()) return;
        utf_8::Broken const broken = utf_8::broken_start(text);
        if (broken.may_be_character) {
            open_size_ = text.copy(open_.data(), open_.size());
            return;
        }
        replace(out);
        text.remove_prefix(broken.length);
    }
}

void Utf8Repair::finish(oSimpleStream * out) {
    if (open_size_ != 0) replace(out);
    open_size_ = 0;
}

void Utf8Repair::replace(oSimpleStream * out) {
    has_met_bad_ = true;
    if (out != nullptr) out->write(utf_8::replacement);
}

std::string repaired_text(std::string_view text) {
    oSimpleStream result;
    Utf8Repair repair;
    repair.take(text, &result);
    repair.finish(&result);
    return {result.str(), result.oBufCnt()};
}

// ---- The way to a translator ----

bool TextTranslators::is_for_utf_8() const {
    return static_cast<unsigned long>(code_page) == utf_8::code_page;
}

TranslatorInUse TextTranslators::of(NLS_CharSet * set) const {
    if (set == nullptr || factories == nullptr) return nullptr;
    if (repairs_text && is_for_utf_8() && *set == NLS::UTF_8) {
        return TranslatorInUse(new (std::nothrow) Utf8Text);
    }
    if (repairs_text && *set == NLS::US_ASCII) {
        return TranslatorInUse(new (std::nothrow) GuessedText(*this));
    }
    return made_for(set);
}

TranslatorInUse TextTranslators::made_for(NLS_CharSet * set) const {
    if (set == nullptr || factories == nullptr) return nullptr;
    if (NLS_Translator * const made = NLS::Create(set, cache, factories, code_page)) {
        return TranslatorInUse(made);
    }
    if (!takes_system_sets || set->name == nullptr) return nullptr;
    return TranslatorInUse(NLS::Create(system_charset(set->name), cache, factories, code_page));
}

TranslatorInUse TextTranslators::of_fallback(NLS_CharSet *& set) const {
    for (NLS_CharSet * const each : {fallback, NLS::FindCharSet("windows-1252")}) {
        // Text of 8-bit bytes is no US-ASCII: that would have to be guessed again.
        if (each == nullptr || *each == NLS::US_ASCII) continue;
        set = each;
        if (TranslatorInUse made = of(each)) return made;
    }
    return nullptr;
}

// ---- One direction ----

NLS_Translator::Buffering_Restrictions
InboundTranslator::Query_Buffering_Restrictions(NLS_CharSet *) {
    return multi_byte_pieces;
}

bool InboundTranslator::Takes_Pieces(NLS_CharSet *) { return true; }

int InboundTranslator::CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) {
    return CharSet_to_CodePage_Piece(in, true, out);
}

int InboundTranslator::CharSet_to_CodePage_Piece(iSimpleStream * in, bool last,
                                                 oSimpleStream * out) {
    for_each_piece(*in, [&](std::string_view piece) { take(piece, *out); });
    if (last) finish(*out);
    return 0;
}

int InboundTranslator::CharSet_to_CodePage(unsigned char *, unsigned long, unsigned char *&,
                                           unsigned long & outLength, void (**)(unsigned char *)) {
    outLength = 0;
    return failed;
}

int InboundTranslator::CodePage_to_CharSet(unsigned char *, unsigned long, unsigned char *&,
                                           unsigned long & outLength, void (**)(unsigned char *)) {
    outLength = 0;
    return failed;
}

int InboundTranslator::CodePage_to_CharSet(iSimpleStream *, oSimpleStream *) { return failed; }

void Utf8Text::take(std::string_view text, oSimpleStream & out) { repair_.take(text, &out); }

void Utf8Text::finish(oSimpleStream & out) { repair_.finish(&out); }

// ---- Text of no known set ----

GuessedText::~GuessedText() = default;

void GuessedText::take(std::string_view text, oSimpleStream & out) {
    if (state_ == State::plain) {
        std::size_t const plain = utf_8::ascii_length(text);
        if (plain != 0) take_plain(text.substr(0, plain), out);
        text.remove_prefix(plain);
        if (text.empty()) return;
        state_ = State::gathering;
    }
    if (state_ == State::gathering) return gather(text, out);
    hand_on(text, false, out);
}

void GuessedText::take_plain(std::string_view text, oSimpleStream & out) {
    if (!has_plain_ && !translators_.is_for_utf_8()) plain_ = translators_.made_for(&NLS::US_ASCII);
    has_plain_ = true;
    if (!plain_) {
        out.write(text);
        return;
    }
    TextStream source(text);
    plain_->CharSet_to_CodePage(&source, &out);
}

void GuessedText::gather(std::string_view text, oSimpleStream & out) {
    // Not a byte more, so that it doesn't matter how the text is cut.
    std::string_view const front = text.substr(0, decisive_size - gathered_.size());
    gathered_.append(front);
    if (gathered_.size() < decisive_size) return;
    decide(false);
    hand_on(std::exchange(gathered_, {}), false, out);
    hand_on(text.substr(front.size()), false, out);
}

void GuessedText::decide(bool is_whole) {
    state_ = State::decided;
    set_ = &NLS::UTF_8;
    if (is_utf_8(gathered_, is_whole)) {
        chosen_ = translators_.of(set_);
    } else {
        chosen_ = translators_.of_fallback(set_);
        // What no translator helps becomes text all the same.
        if (!chosen_ && translators_.is_for_utf_8()) chosen_.reset(new (std::nothrow) Utf8Text);
    }
    needs_all_ = chosen_ && !chosen_->Takes_Pieces(set_) &&
                 chosen_->Query_Buffering_Restrictions(set_) != NLS_Translator::no_restriction;
}

void GuessedText::finish(oSimpleStream & out) {
    if (state_ == State::plain) return;
    if (state_ == State::gathering) decide(true);
    std::string const rest = std::exchange(gathered_, {});
    hand_on(rest, true, out);
}

void GuessedText::hand_on(std::string_view text, bool last, oSimpleStream & out) {
    if (!chosen_) {
        out.write(text);
        return;
    }
    if (needs_all_ && !last) {
        gathered_.append(text);
        return;
    }
    TextStream source(text);
    if (chosen_->Takes_Pieces(set_)) {
        chosen_->CharSet_to_CodePage_Piece(&source, last, &out);
    } else if (!text.empty()) {
        chosen_->CharSet_to_CodePage(&source, &out);
    }
}

std::string guessed_text(std::string_view text, TextTranslators const & translators) {
    bool const is_text = utf_8::is_valid(text);
    if (is_text && translators.is_for_utf_8()) return std::string(text);
    NLS_CharSet * set = &NLS::UTF_8;
    TranslatorInUse const translator = is_text ? translators.of(set) : translators.of_fallback(set);
    if (translator) {
        TextStream source(text);
        oSimpleStream result;
        int const status = translator->CharSet_to_CodePage(&source, &result);
        if (status == 0) return {result.str(), result.oBufCnt()};
    }
    return translators.is_for_utf_8() ? repaired_text(text) : std::string(text);
}

} // namespace vellum
