// mime/header/encoded_word.cpp - the encoded words of a header field, decoded in place (RFC 2047)
//
// Grammar:    "=?" charset "?" encoding "?" text "?="
// Tolerance:  a word may be of any length and stand anywhere, also within a quoted string or amid
//             other text. White space and comments may stand around charset and encoding.
// Bounds:     text is decoded in pieces of a kilobyte, and each word takes the place of its encoded
//             form at once, so that a long text is never in memory twice. Only a translator that
//             can't take pieces gets a word whole.
//             A comment in front of the text holds no "=?", so that no byte is looked at for more
//             than one word: "=?(=?(=?(" would have the rest of the field passed for each of them.
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/grammar.hpp"
#include "mime/header/header_run.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/message_words.hpp"
#include "mime/nls/translator.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace vellum {

namespace {

constexpr int block_size = 1024;

/// A word taken apart, and what its text is decoded with.
struct EncodedWord {
    std::string charset;
    std::string encoding;
    Span text;
    Position end = 0;
    NLS_CharSet * set = nullptr;
    TranslatorInUse translator;
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
    word.text = Span::of(p, end);
    return word.end <= limit && text.starts_with(end, "?=");
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

/// Decodes the text of a word, a piece at a time.
class WordDecoder {
public:
    WordDecoder(ScanBuffer const & text, EncodedWord const & word)
        : name_(decoder_name(word.encoding)), decoder_(MIME_TransferDecoding::Create(name_)),
          text_(text), left_(word.text) {}

    /// There is no such decoder.
    bool operator!() const { return !decoder_; }

    /// What has not been decoded yet. Who edits the text in front of it moves it along.
    Span & left() { return left_; }

    /// Writes what the next piece of the text means.
    void decode_piece(oSimpleStream & out) {
        Position end = std::min(left_.end, left_.begin + block_size);
        // The padding of base64 ends the data, and what is behind it has to be left by one call.
        bool const is_base64 = name_ == RFC1521::base64;
        if (is_base64 && text_.find('=', left_.begin, end) < end) end = left_.end;
        piece_.clear();
        text_.copy(left_.begin, end, piece_);
        left_.begin = end;
        if (!is_base64) std::replace(piece_.begin(), piece_.end(), '_', ' ');
        iSimpleStream source(piece_.data(), piece_.data() + piece_.size(), nullptr);
        decoder_->decode(&source, &out);
        if (left_.empty()) decoder_.close();
    }

private:
    char const * name_;
    MIME_TransferDecoding_Engine decoder_;
    ScanBuffer const & text_;
    Span left_;
    std::string piece_;
};

/// Calls `take` with the word's text, decoded and translated, in pieces. False if that fails, and
/// nothing came of it that could be shown in place of the word.
template <typename Take>
bool convert(WordDecoder & decoder, EncodedWord const & word, Take take) {
    bool const takes_pieces = word.translator->Takes_Pieces(word.set);
    std::array<char, block_size> stage_block;
    ioSimpleStream stage(stage_block.data(), block_size, 0);
    std::array<char, block_size> result_block;
    ioSimpleStream result(result_block.data(), block_size, 0);
    bool has_failed = false;
    bool has_result = false;
    do {
        decoder.decode_piece(stage);
        bool const is_last = decoder.left().empty();
        if (!takes_pieces && !is_last) continue;
        stage.rewind();
        int const status =
            takes_pieces ? word.translator->CharSet_to_CodePage_Piece(&stage, is_last, &result)
                         : word.translator->CharSet_to_CodePage(&stage, &result);
        stage.reInit();
        has_failed = status != 0;
        if (result.oBufCnt() == 0) continue;
        has_result = true;
        take(std::string_view(result.str(), result.oBufCnt()));
        result.reInit();
    } while (!decoder.left().empty() && !has_failed);
    return has_result || !has_failed;
}

/// Takes apart the word at `in` and finds what its text needs. False if that can't be had.
bool open_word(HeaderRun & run, ScanBuffer const & text, Position in, Position limit,
               EncodedWord & word) {
    if (run.factories == nullptr || !text.starts_with(in, "=?")) return false;
    if (!parse_word(text, in, limit, word)) return false;
    word.set = run.words->char_set(word.charset.c_str());
    word.translator.reset(NLS::Create(word.set, &run.translator_cache, run.factories));
    if (!word.translator) {
        run.words->give_up(word.set);
        return false;
    }
    run.words->keep(word.set);
    return true;
}

/// Puts the meaning of the word at [place.end, end) in the place of [place.begin, end), piece by
/// piece; `place` is then the meaning alone. False if the word stays as it stands.
bool decode_word(HeaderRun & run, ScanBuffer & text, Span & place, Position end) {
    EncodedWord word;
    if (!open_word(run, text, place.end, end, word)) return false;
    WordDecoder decoder(text, word);
    if (!decoder) return false;
    Position const behind_text = end - word.text.end;
    Span & left = decoder.left();
    Position done = place.begin;
    bool const is_decoded = convert(decoder, word, [&](std::string_view piece) {
        text.replace(done, left.begin, piece);
        done += piece.size();
        left = Span::of(done, done + left.size());
    });
    if (!is_decoded) return false;
    text.erase(done, left.end + behind_text);
    place.end = done;
    return true;
}

} // namespace

Position HeaderScanner::read_Encoded_Word(Position in, std::string & out) {
    EncodedWord word;
    if (!open_word(run_, text_, in, text_.size(), word)) return in;
    WordDecoder decoder(text_, word);
    if (!decoder) return in;
    auto const take = [&](std::string_view piece) { out.append(piece); };
    return convert(decoder, word, take) ? word.end : in;
}

bool HeaderScanner::decode_words(ScanBuffer & text, Span & range) {
    if (run_.factories == nullptr) return false;
    bool found = false;
    bool is_behind_word = false; // a word that was decoded ends at `done`
    Position done = range.begin;
    for (Span word; find_word(text, done, range.end, word);) {
        Position const behind = range.end - word.end;
        bool const joins = is_behind_word && text.is_blank(done, word.begin);
        Span place = Span::of(joins ? done : word.begin, word.begin);
        is_behind_word = decode_word(run_, text, place, word.end);
        done = is_behind_word ? place.end : word.end;
        if (is_behind_word) range.end = done + behind;
        found = found || is_behind_word;
    }
    return found;
}

void HeaderScanner::decode_words(std::string & text, std::size_t from) {
    if (text.find("=?", from) == text.npos) return;
    ScanBuffer buffer(text.data() + from);
    Span words = Span::of(buffer.pass_blanks(0, buffer.size()), buffer.size());
    if (!decode_words(buffer, words)) return;
    text.replace(from, text.npos, buffer.whole() + words.begin, words.size());
}

bool HeaderScanner::get_Encoded_Text(Span range, Position & next, Span & out) {
    range.begin = text_.pass_blanks(range.begin, range.end);
    bool const found = decode_words(text_, range);
    next = range.end;
    out = range;
    return found;
}

bool HeaderScanner::get_Encoded_Text(Position & next, Span & out) {
    return get_Encoded_Text(Span::of(0, text_.size()), next, out);
}

} // namespace vellum
