// mime/receive/body_delivery.cpp - the body of a leaf on its way to the client: decoded, translated
//
// The transfer decoder is chosen by Content-Transfer-Encoding alone and the translator by the
// character set alone; nothing here looks into the content. With neither, the text goes straight
// to the client's stream.
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/text_stream.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/nls/translator.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/raw_stream.hpp"
#include "mime/receive/receiver.hpp"
#include "mime/receive/text_lines.hpp"
#include "mime/receive/text_watch.hpp"

#include <algorithm>
#include <array>
#include <ostream>

namespace {

using vellum::TextStream;

using Block = std::array<char, vellum::delivery_block>;

int size_of(Block const & block) { return static_cast<int>(block.size()); }

/// The piece at the start of `text` that ends at a line end, as far as its size allows. Text with
/// shift states begins each line in the first state.
std::size_t piece_of_lines(std::string_view text) {
    if (text.size() <= vellum::translation_piece) return text.size();
    std::size_t const end = text.find("\r\n", vellum::translation_piece);
    return end == text.npos ? text.size() : end + 2;
}

} // namespace

/// The transfer decoder of a body, if the body has an encoding that is undone.
///
/// Text is decoded as if each line were a call of its own: what ends the decoder's reading, such as
/// the padding of base64, ends it for the rest of that line, wherever the text is cut.
class MimeReceiver::BodyDecoder {
public:
    BodyDecoder(char const * encoding, DecodingRules const & rules)
        : decoder_(MIME_TransferDecoding::Create(encoding, rules)) {}

    bool operator!() const { return !decoder_; }

    void decode(std::string_view text, oSimpleStream & out) {
        while (!text.empty()) {
            if (is_line_over_) {
                std::size_t const lf = text.find('\n');
                if (text.substr(0, lf).find_first_not_of(" \t\r=") != text.npos) {
                    has_rest_ = true;
                }
                if (lf == text.npos) return;
                text.remove_prefix(lf + 1);
                is_line_over_ = false;
                continue;
            }
            TextStream source(text);
            decoder_->decode(&source, &out);
            if (!source.good()) return; // it has been read to its end
            text.remove_prefix(text.size() - source.iBufCnt());
            is_line_over_ = true;
        }
    }

    /// The body has ended: what the decoder holds back goes to the last stream by the rules, or in
    /// any case.
    void finish() {
        if (!!decoder_) decoder_->Finish();
    }
    void flush() {
        if (!decoder_) return;
        if (decoder_->output == nullptr) return decoder_->Finish();
        decoder_->Flush();
    }

    /// What was met; behind the end.
    DecodingDefects defects() const {
        DecodingDefects met = !decoder_ ? DecodingDefects() : decoder_->Defects();
        met.data_behind_padding = met.data_behind_padding || has_rest_;
        return met;
    }

private:
    MIME_TransferDecoding_Engine decoder_;
    bool is_line_over_ = false; ///< The decoder wants no more of this line.
    bool has_rest_ = false;     ///< And more there was.
};

bool MimeReceiver::Get_message_body__Data(MimeContext & context) {
    NewText_Body(); // the blank line behind the header
    bool const is_text = !line_reader_->Boundary_is_a() && !vellum::is_blank_line(line());
    std::ostream * data = nullptr;
    RawStream raw(*this);
    begin_body(context, is_text ? previous_position : position, &data, raw);
    if (data == nullptr) {
        For_each_text([this](std::string_view text) { copy_raw(text); });
    } else {
        if (!line_reader_->Boundary_is_a() && !is_text) {
            copy_raw(line());
            NewText_Body();
        }
        deliver(context, *data);
    }
    end_body(context, previous_position, raw);
    return !line_reader_->Boundary_is_2();
}

/// Delivers the text from the current line on.
void MimeReceiver::deliver(MimeContext const & context, std::ostream & data) {
    using vellum::TextWatch;
    vellum::TextTranslators const available = translators();
    bool const is_text = type == RFC1521::text;
    bool const is_ascii = body_charset == nullptr || *body_charset == NLS::US_ASCII;
    bool const may_guess = is_text && factories != nullptr && rules->eight_bit_text_guessed;
    vellum::TranslatorInUse translator;
    if (!(may_guess && is_ascii)) translator = available.of(body_charset);
    bool const is_unknown = is_text && !is_ascii && factories != nullptr && !translator;
    vellum::GuessedText * guessed = nullptr;
    if (may_guess && !translator) {
        guessed = new vellum::GuessedText(available);
        translator.reset(guessed);
    }
    TextWatch watch(!is_text || guessed != nullptr ? TextWatch::Set::any
                    : is_ascii                     ? TextWatch::Set::us_ascii
                                                   : TextWatch::set_of(*body_charset));
    using Look = vellum::WatchedOutput::Look;
    Look const look = !translator ? Look::at_text
                      : is_text && !watch.is_on() && available.is_for_utf_8()
                          ? Look::for_replacement
                          : Look::nowhere;

    Block out_block;
    vellum::WatchedOutput out(out_block.data(), size_of(out_block), data, look, watch);
    Block stage_block;
    ioSimpleStream stage(stage_block.data(), size_of(stage_block), 0); // outlives the decoder
    BodyDecoder decoder(transfer_encoding, rules->decoding);
    int const restriction = translator ? translator->Query_Buffering_Restrictions(body_charset) : 0;
    if (restriction == NLS_Translator::no_restriction) {
        deliver_lines(data, out, stage, decoder, watch, translator.get());
    } else if (translator->Takes_Pieces(body_charset)) {
        deliver_pieces(out, stage, decoder, watch, *translator);
    } else {
        deliver_stored(out, stage, decoder, watch, *translator, restriction);
    }
    out.flush();

    tell_decoding(context, decoder.defects());
    if (is_unknown) tell_of_body(context, Defect_UnknownCharSet);
    if (guessed != nullptr && guessed->has_guessed()) tell_of_body(context, Defect_CharSetGuessed);
    if (watch.has_bad() || out.has_replacement()) tell_of_body(context, Defect_BadText);
}

/// The body's start stands for the place, whatever the pieces that the input came in.
void MimeReceiver::tell_of_body(MimeContext const & context, MimeDefect what) {
    note->Defect(context, what, context.exact.body_start);
}

/// The translator, if any, can take any piece.
void MimeReceiver::deliver_lines(std::ostream & data, oSimpleStream & out, ioSimpleStream & stage,
                                 BodyDecoder & decoder, vellum::TextWatch & watch,
                                 NLS_Translator * translator) {
    auto const pass_stage = [&] {
        stage.rewind();
        watch.take({stage.str(), stage.iBufCnt()});
        translator->CharSet_to_CodePage(&stage, &out);
        stage.reInit();
    };
    For_each_text([&](std::string_view text) {
        if (!decoder) {
            watch.take(text);
            if (translator == nullptr) {
                data.write(text.data(), static_cast<std::streamsize>(text.size()));
                return;
            }
            TextStream source(text);
            translator->CharSet_to_CodePage(&source, &out);
        } else if (translator == nullptr) {
            decoder.decode(text, out);
        } else {
            decoder.decode(text, stage);
            pass_stage();
        }
    });
    decoder.finish();
    if (stage.oBufCnt() != 0) pass_stage();
    drop_end_marker(out);
}

/// Decodes the text onto the stage; calls `full` behind each step.
template <typename Full>
void MimeReceiver::decode_all(ioSimpleStream & stage, BodyDecoder & decoder,
                              vellum::TextWatch & watch, Full full) {
    auto const watched = [&](auto step) {
        std::ptrdiff_t const before = stage.oPutPtr(0) - stage.oBufPtr();
        step();
        char const * const end = stage.str() + (stage.oPutPtr(0) - stage.oBufPtr());
        watch.take({stage.str() + before, end});
    };
    For_each_text([&](std::string_view text) {
        watched([&] {
            if (!decoder) {
                stage.write(text);
            } else {
                decoder.decode(text, stage);
            }
        });
        full();
    });
    watched([&] { decoder.flush(); }); // what it held back goes to the stage
    drop_end_marker(stage);
    stage.rewind();
}

/// The translator can't take the body line by line, but in pieces that end anywhere.
void MimeReceiver::deliver_pieces(oSimpleStream & out, ioSimpleStream & stage,
                                  BodyDecoder & decoder, vellum::TextWatch & watch,
                                  NLS_Translator & translator) {
    decode_all(stage, decoder, watch, [&] {
        if (stage.oBufCnt() < vellum::translation_piece) return;
        char const last = static_cast<char>(*(stage.oPutPtr(0) - 1)); // it may be the end marker
        stage.oPutPtr(-1);
        stage.rewind();
        translator.CharSet_to_CodePage_Piece(&stage, false, &out);
        stage.reInit();
        stage.put(last);
    });
    translator.CharSet_to_CodePage_Piece(&stage, true, &out);
}

/// The translator has to have the whole body, or pieces of a certain kind.
void MimeReceiver::deliver_stored(oSimpleStream & out, ioSimpleStream & stage,
                                  BodyDecoder & decoder, vellum::TextWatch & watch,
                                  NLS_Translator & translator, int restriction) {
    decode_all(stage, decoder, watch, [] {});
    if (restriction != NLS_Translator::double_byte && restriction != NLS_Translator::shift_states) {
        translator.CharSet_to_CodePage(&stage, &out);
        return;
    }
    auto const size_of_all = static_cast<std::size_t>(stage.pcountExact()); // may pass UINT_MAX
    for (std::string_view text(stage.str(), size_of_all); !text.empty();) {
        std::size_t const size = restriction == NLS_Translator::double_byte
                                     ? std::min(text.size(), vellum::translation_piece)
                                     : piece_of_lines(text);
        TextStream piece(text.substr(0, size));
        translator.CharSet_to_CodePage(&piece, &out);
        text.remove_prefix(size);
    }
}

/// Text files of some systems end in 0x1A, which is no part of their text.
void MimeReceiver::drop_end_marker(oSimpleStream & out) const {
    constexpr unsigned char end_marker = 0x1A;
    bool const is_plain_text = type == RFC1521::text && subtype == RFC1521::plain &&
                               body_charset != nullptr && body_charset->is_SingleByte();
    if (!is_plain_text || out.oBufCnt() == 0) return;
    if (*(out.oPutPtr(0) - 1) == end_marker) out.oPutPtr(-1);
}
