// mime/header/text_translation.cpp - text of a header field in a named character set
#include "mime/header/text_translation.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/header/header_run.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/nls/message_words.hpp"
#include "mime/nls/translator.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace vellum {

namespace {

constexpr std::size_t piece_size = 1024;

/// Appends the translation to `out`; false if it fails.
bool translate_pieces(NLS_Translator & translator, std::string & text, std::string & out) {
    std::array<char, piece_size> block;
    ioSimpleStream result(block.data(), static_cast<int>(block.size()), 0);
    int status = 0;
    out.reserve(text.size());
    for (std::size_t at = 0; status == 0 && at <= text.size(); at += piece_size) {
        char * const piece = text.data() + at;
        std::size_t const size = std::min(text.size() - at, piece_size);
        iSimpleStream source(piece, piece + size, nullptr);
        status = translator.CharSet_to_CodePage_Piece(&source, size < piece_size, &result);
        out.append(result.str(), result.oBufCnt());
        result.reInit();
    }
    return status == 0;
}

bool translate_whole(NLS_Translator & translator, std::string_view text, std::string & out) {
    ioSimpleStream stage; // a translator may look at the two NUL bytes behind its data
    stage.write(text);
    stage.rewind();
    std::array<char, piece_size> block;
    oSimpleStream result(block.data(), static_cast<int>(block.size()));
    bool const is_right = translator.CharSet_to_CodePage(&stage, &result) == 0;
    out.append(result.str(), result.oBufCnt());
    return is_right;
}

} // namespace

bool translate_text(HeaderRun & run, char const * set_name, std::string & text) {
    if (run.factories == nullptr) return false;
    NLS_CharSet * const set = run.words->char_set(set_name);
    TranslatorInUse const translator = run.translators().of(set);
    if (!translator) {
        run.words->give_up(set);
        return false;
    }
    run.words->keep(set);
    std::string result;
    bool const is_right = translator->Takes_Pieces(set)
                              ? translate_pieces(*translator, text, result)
                              : translate_whole(*translator, text, result);
    if (!is_right && result.empty()) return false;
    text = std::move(result);
    return true;
}

} // namespace vellum
