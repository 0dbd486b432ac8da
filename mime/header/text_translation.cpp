// mime/header/text_translation.cpp - text of a header field on its way from a named character set
// to the client's code page
#include "mime/header/text_translation.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/nls/message_words.hpp"
#include "mime/nls/utf_8.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace vellum {

namespace {

constexpr std::size_t piece_size = 1024;

std::string_view text_in(iSimpleStream & stream) {
    return {reinterpret_cast<char const *>(stream.iGetPtr(0)), stream.iBufCnt()};
}

} // namespace

bool TextTranslation::open(char const * set_name) {
    if (run_.factories == nullptr) return false;
    set_ = run_.words->char_set(set_name);
    translator_ = run_.translators().of(set_);
    if (!translator_) {
        run_.words->give_up(set_);
        run_.tell(Defect_UnknownCharSet);
        return false;
    }
    run_.words->keep(set_);
    takes_pieces_ = translator_->Takes_Pieces(set_);
    watch_.emplace(TextWatch::set_of(*set_));
    return true;
}

void TextTranslation::translate(iSimpleStream & piece, bool is_last, ioSimpleStream & result) {
    std::string_view const text = text_in(piece);
    watch_->take(text);
    int const status = takes_pieces_
                           ? translator_->CharSet_to_CodePage_Piece(&piece, is_last, &result)
                           : translator_->CharSet_to_CodePage(&piece, &result);
    if (status != 0) {
        has_failed_ = true;
        bool const has_any = has_result_ || result.oBufCnt() != 0;
        if (has_any && run_.rules->untranslated_text_kept) keep(text, piece.iBufCnt(), result);
    }
    if (result.oBufCnt() == 0) return;
    has_result_ = true;
    has_replacement_ = has_replacement_ ||
                       std::string_view(result.str(), result.oBufCnt()).find(utf_8::replacement) !=
                           std::string_view::npos;
}

/// A translator may stop in the middle of a character.
void TextTranslation::keep(std::string_view piece, std::size_t left, ioSimpleStream & result) {
    std::string text(result.str(), left != 0 ? result.oBufCnt() : 0);
    std::string_view const rest = left != 0 ? piece.substr(piece.size() - left) : piece;
    text += run_.client_text(rest).value_or(std::string(rest));
    result.reInit();
    result.write(run_.translators().is_for_utf_8() ? repaired_text(text) : text);
}

bool TextTranslation::may_go_on() const {
    return !has_failed_ || (has_result_ && run_.rules->untranslated_text_kept);
}

bool TextTranslation::finish(MimeDefect failure) {
    if (has_failed_) {
        run_.tell(failure);
        return has_result_;
    }
    bool const is_guessed = *set_ == NLS::US_ASCII && run_.rules->eight_bit_text_guessed;
    bool const is_bad = watch_->has_bad();
    bool const is_replaced =
        has_replacement_ && !watch_->is_on() && run_.translators().is_for_utf_8();
    if (is_bad || is_replaced) run_.tell(is_guessed ? Defect_CharSetGuessed : Defect_BadText);
    return true;
}

bool translate_text(HeaderRun & run, char const * set_name, std::string & text) {
    TextTranslation translation(run);
    if (!translation.open(set_name)) return false;
    std::string translated;
    std::array<char, piece_size> block;
    ioSimpleStream result(block.data(), static_cast<int>(block.size()), 0);
    auto const translate = [&](iSimpleStream & piece, bool is_last) {
        translation.translate(piece, is_last, result);
        translated.append(result.str(), result.oBufCnt());
        result.reInit();
    };
    if (translation.takes_pieces()) {
        translated.reserve(text.size());
        for (std::size_t at = 0; at <= text.size() && translation.may_go_on(); at += piece_size) {
            char * const piece = text.data() + at;
            std::size_t const size = std::min(text.size() - at, piece_size);
            iSimpleStream source(piece, piece + size, nullptr);
            translate(source, size < piece_size);
        }
    } else {
        ioSimpleStream stage; // a translator may look at the two NUL bytes behind its data
        stage.write(text);
        stage.rewind();
        translate(stage, true);
    }
    if (!translation.finish(Defect_UnknownCharSet)) return false;
    text = std::move(translated);
    return true;
}

} // namespace vellum
