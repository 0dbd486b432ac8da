// mime/header/encoded_word.cpp - the encoded words of a header field, decoded in place (RFC 2047)
//
// Grammar:    "=?" charset "?" encoding "?" text "?="
// Tolerance:  a word may be of any length and stand anywhere, also within a quoted string or amid
//             other text. White space and comments may stand around charset and encoding.
// Bounds:     a comment in front of the text holds no "=?", so that no byte is looked at for more
//             than one word: "=?(=?(=?(" would have the rest of the field passed for each of them.
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/grammar.hpp"
#include "mime/header/header_run.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace vellum {

namespace {

constexpr std::size_t block_size = 1024;

struct EncodedWord {
    std::string charset;
    std::string encoding;
    std::string text;
    Position end = 0;
};

/// The token of the decoder that the word's encoding letter means; null for any other letter.
char const * decoder_name(std::string_view encoding) {
    if (ascii::equal(encoding, "B")) return RFC1521::base64;
    if (ascii::equal(encoding, "Q")) return RFC1521::quoted_printable;
    return nullptr;
}

/// The place behind white space and comments. It stops within a comment at "=?" and at `limit`.
Position pass_syntax(ScanBuffer const & text, Position in, Position limit) {
    std::size_t depth = 0;
    Position p = in;
    for (; p < limit; ++p) {
        char const c = text.at(p);
        if (depth == 0 && c != '(' && !ascii::is_blank(c)) break;
        if (c == '(') ++depth;
        if (c == ')') --depth;
        if (c == '\\') ++p;
        if (text.starts_with(p, "=?")) break;
    }
    return std::min(p, limit);
}

/// Takes the word at `in`, where "=?" stands, apart. False if it is none that ends within `limit`.
bool parse_word(ScanBuffer const & text, Position in, Position limit, EncodedWord & word) {
    auto const atom = [&](Position & p, std::string & out) {
        p = pass_syntax(text, p, limit);
        Position const begin = p;
        while (p < limit && encoded_word_atom.has(text.at(p)))
            ++p;
        text.copy(begin, p, out);
        p = pass_syntax(text, p, limit);
        return text.at(p++) == '?';
    };
    Position p = in + 2;
    if (!atom(p, word.charset) || word.charset.empty() || !atom(p, word.encoding)) return false;
    Position const end = text.find('?', p, std::max(p, limit));
    word.end = end + 2;
    if (word.end > limit || !text.starts_with(end, "?=")) return false;
    text.copy(p, end, word.text);
    return true;
}

/// The next thing in [from, to) that has the outer shape of an encoded word.
bool find_word(ScanBuffer const & text, Position from, Position to, Span & word) {
    for (Position p = from; (p = text.find('=', p, to)) < to; ++p) {
        if (p + 1 >= to || text.at(p + 1) != '?') continue;
        Position q = p + 1;
        for (int i = 0; i < 3 && q < to; ++i)
            q = text.find('?', q + 1, to);
        if (q + 1 < to && text.at(q + 1) == '=') {
            word = Span::of(p, q + 2);
            return true;
        }
    }
    return false;
}

/// Appends the word's text to `out`, decoded by `decoder` and translated. False if that fails, and
/// nothing came of it that could be shown in place of the word.
bool convert(EncodedWord & word, MIME_TransferDecoding_Engine & decoder,
             NLS_Translator & translator, std::string & out) {
    iSimpleStream source(word.text.data(), word.text.data() + word.text.size(), nullptr);
    std::array<char, block_size> stage_block;
    ioSimpleStream stage(stage_block.data(), static_cast<int>(stage_block.size()), 0);
    decoder->decode(&source, &stage);
    decoder.close();
    stage.rewind();
    std::array<char, block_size> result_block;
    oSimpleStream result(result_block.data(), static_cast<int>(result_block.size()), nullptr);
    bool const has_failed = translator.CharSet_to_CodePage(&stage, &result) != 0;
    if (has_failed && result.oBufCnt() == 0) return false;
    out.append(result.str(), result.oBufCnt());
    return true;
}

} // namespace

Position HeaderScanner::read_Encoded_Word(ScanBuffer const & text, Position in, Position limit,
                                          std::string & out) {
    if (run_.factories == nullptr || !text.starts_with(in, "=?")) return in;
    EncodedWord word;
    if (!parse_word(text, in, limit, word)) return in;
    NLS_CharSet * const set = NLS::FindCharSet(word.charset.c_str());
    TranslatorInUse const translator(NLS::Create(set, &run_.translator_cache, run_.factories));
    if (!translator) return in;
    char const * const name = decoder_name(word.encoding);
    MIME_TransferDecoding_Engine decoder(MIME_TransferDecoding::Create(name));
    if (!decoder) return in;
    if (name == RFC1521::quoted_printable) {
        std::replace(word.text.begin(), word.text.end(), '_', ' ');
    }
    return convert(word, decoder, *translator, out) ? word.end : in;
}

bool HeaderScanner::read_Encoded_Text(ScanBuffer const & text, Position from, Position to,
                                      std::string & out) {
    if (run_.factories == nullptr) return false;
    bool found = false;
    bool is_behind_word = false; // a word that was decoded ends at `done`
    Position done = from;
    for (Span word; find_word(text, done, to, word); done = word.end) {
        if (!is_behind_word || !text.is_blank(done, word.begin)) {
            text.copy(done, word.begin, out);
            done = word.begin;
        }
        is_behind_word = read_Encoded_Word(text, word.begin, word.end, out) != word.begin;
        if (!is_behind_word) text.copy(done, word.end, out);
        found = found || is_behind_word;
    }
    if (found) text.copy(done, to, out);
    return found;
}

bool HeaderScanner::get_Encoded_Text(Span range, Position & next, Span & out) {
    Position const begin = text_.pass_blanks(range.begin, range.end);
    std::string decoded;
    bool const found = read_Encoded_Text(text_, begin, range.end, decoded);
    if (found) text_.replace(begin, range.end, decoded);
    next = found ? begin + decoded.size() : range.end;
    out = Span::of(begin, next);
    return found;
}

bool HeaderScanner::get_Encoded_Text(Position & next, Span & out) {
    return get_Encoded_Text(Span::of(0, text_.size()), next, out);
}

} // namespace vellum
