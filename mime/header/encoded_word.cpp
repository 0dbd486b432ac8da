// mime/header/encoded_word.cpp - the encoded words of a header field, decoded in place (RFC 2047)
//
// Grammar:    "=?" charset ["*" language] "?" encoding "?" text "?=" (RFC 2231 5)
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
#include "mime/header/reading_rules.hpp"
#include "mime/header/text_translation.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vellum {

namespace {

constexpr int block_size = 1024;

/// A word taken apart.
struct EncodedWord {
    std::string charset;
    std::string encoding;
    Span text;
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

/// Takes the word at `in`, where "=?" stands, apart. False if no word that ends within `limit`
/// begins there.
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
    Span const & left() const { return left_; }

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

/// Converts a word; and by the rule adjacent_words_joined the words that stand beside it in the
/// same set as one text with it, as senders cut words in the middle of a character.
class WordConversion {
public:
    /// The words stand in front of `limit`.
    WordConversion(HeaderRun & run, ScanBuffer const & text, Position limit)
        : run_(run), text_(text), limit_(limit), translation_(run) {}

    /// Takes the word at `in` that ends within `limit`. False if it isn't complete, or what it
    /// needs can't be had.
    bool open(Position in, Position limit) {
        if (run_.factories == nullptr || !text_.starts_with(in, "=?")) return false;
        if (!parse(in, limit, word_)) return false;
        if (!translation_.open(word_.charset.c_str())) return false;
        decoder_.emplace(text_, word_);
        if (!*decoder_) run_.tell(Defect_BadEncodedWord);
        return !!*decoder_;
    }

    /// Calls `take` with the text, decoded and translated, in pieces. False if that fails, and
    /// nothing came of it that could be shown in place of the words.
    template <typename Take>
    bool convert(Take take) {
        std::array<char, block_size> result_block;
        ioSimpleStream result(result_block.data(), block_size, 0);
        for (bool is_last = false; !is_last && translation_.may_go_on();) {
            decoder_->decode_piece(stage_);
            is_last = decoder_->left().empty() && !follow();
            if (!translation_.takes_pieces() && !is_last) continue;
            stage_.rewind();
            translation_.translate(stage_, is_last, result);
            stage_.reInit();
            if (result.oBufCnt() == 0) continue;
            take(std::string_view(result.str(), result.oBufCnt()));
            result.reInit();
        }
        return translation_.finish(Defect_BadEncodedWord);
    }

    /// Up to where the words have been decoded, and where the last of them ends.
    Position decoded() const { return decoder_->left().begin; }
    Position end() const { return word_.end; }
    Position limit() const { return limit_; }

    /// The text in front of decoded() has been edited; decoded() is now at `place`.
    void move_to(Position place) {
        Span & left = decoder_->left();
        word_.end = place + (word_.end - left.begin);
        limit_ = place + (limit_ - left.begin);
        left = Span::of(place, place + left.size());
    }

private:
    bool parse(Position in, Position limit, EncodedWord & word) const {
        if (!parse_word(text_, in, limit, word)) return false;
        std::string & set = word.charset;
        if (run_.rules->word_languages_passed) set.erase(std::min(set.find('*'), set.size()));
        return !set.empty();
    }

    /// Whether another word stands beside this one, which is then the one to decode.
    bool follow() {
        if (!run_.rules->adjacent_words_joined) return false;
        Position const in = text_.pass_blanks(word_.end, limit_);
        EncodedWord next;
        if (!text_.starts_with(in, "=?") || !parse(in, limit_, next)) return false;
        if (!ascii::equal(next.charset, word_.charset)) return false;
        if (decoder_name(next.encoding) == nullptr) return false;
        word_ = std::move(next);
        decoder_.emplace(text_, word_);
        return !!*decoder_;
    }

    HeaderRun & run_;
    ScanBuffer const & text_;
    Position limit_;
    EncodedWord word_;
    TextTranslation translation_;
    // The decoder writes its tail to the stage at its end, which may come by an exception.
    std::array<char, block_size> stage_block_;
    ioSimpleStream stage_{stage_block_.data(), block_size, 0};
    std::optional<WordDecoder> decoder_;
};

} // namespace

Position HeaderScanner::read_Encoded_Word(Position in, std::string & out) {
    WordConversion words(run_, text_, text_.size());
    if (!words.open(in, text_.size())) return in;
    auto const take = [&](std::string_view piece) { out.append(piece); };
    return words.convert(take) ? words.end() : in;
}

/// Puts the meaning of the word at `word`, and of those that are joined with it, in the place of
/// all from `begin` on, piece by piece. Returns where the meaning ends, or null if the word stays
/// as it stands.
std::optional<Position> HeaderScanner::decode_word(ScanBuffer & text, Position begin,
                                                   Span const & word, Span & range) {
    WordConversion words(run_, text, range.end);
    if (!words.open(word.begin, word.end)) return std::nullopt;
    Position done = begin;
    bool const is_decoded = words.convert([&](std::string_view piece) {
        text.replace(done, words.decoded(), piece);
        done += piece.size();
        words.move_to(done);
    });
    if (!is_decoded) return std::nullopt;
    range.end = words.limit() - (words.end() - done);
    text.erase(done, words.end());
    return done;
}

bool HeaderScanner::decode_words(ScanBuffer & text, Span & range) {
    if (run_.factories == nullptr) return false;
    bool found = false;
    bool is_behind_word = false; // a word that was decoded ends at `done`
    Position done = range.begin;
    for (Span word; find_word(text, done, range.end, word);) {
        bool const joins = is_behind_word && text.is_blank(done, word.begin);
        auto const end = decode_word(text, joins ? done : word.begin, word, range);
        is_behind_word = end.has_value();
        done = end.value_or(word.end);
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
