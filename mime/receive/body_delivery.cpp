// mime/receive/body_delivery.cpp - the body of a leaf on its way to the client: decoded, translated
//
// The transfer decoder is chosen by Content-Transfer-Encoding alone and the translator by the
// character set alone; nothing here looks into the content. With neither, the text goes straight
// to the client's stream.
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/raw_stream.hpp"
#include "mime/receive/receiver.hpp"
#include "mime/receive/text_lines.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <ostream>

namespace {

using Block = std::array<char, vellum::delivery_block>;

int size_of(Block const & block) { return static_cast<int>(block.size()); }

/// A stream over text that nobody will write to.
class TextStream : public iSimpleStream {
public:
    explicit TextStream(std::string_view text)
        : iSimpleStream(const_cast<char *>(text.data()),
                        const_cast<char *>(text.data()) + text.size(), nullptr) {}
};

/// Decodes text as if each line were a call of its own: what ends the decoder's reading, such as
/// the padding of base64, ends it for the rest of that line, wherever the text is cut.
class LineDecoder {
public:
    explicit LineDecoder(MIME_TransferDecoding & decoder) : decoder_(decoder) {}

    void decode(std::string_view text, oSimpleStream & out) {
        while (!text.empty()) {
            if (is_line_over_) {
                std::size_t const lf = text.find('\n');
                if (lf == text.npos) return;
                text.remove_prefix(lf + 1);
                is_line_over_ = false;
                continue;
            }
            TextStream source(text);
            decoder_.decode(&source, &out);
            if (!source.good()) return; // it has been read to its end
            text.remove_prefix(text.size() - source.iBufCnt());
            is_line_over_ = true;
        }
    }

private:
    MIME_TransferDecoding & decoder_;
    bool is_line_over_ = false; ///< The decoder wants no more of this line.
};

/// The piece at the start of `text` that ends at a line end, as far as its size allows. Text with
/// shift states begins each line in the first state.
std::size_t piece_of_lines(std::string_view text) {
    if (text.size() <= vellum::translation_piece) return text.size();
    std::size_t const end = text.find("\r\n", vellum::translation_piece);
    return end == text.npos ? text.size() : end + 2;
}

} // namespace

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
        deliver(*data);
    }
    end_body(context, previous_position, raw);
    return !line_reader_->Boundary_is_2();
}

/// Delivers the text from the current line on.
void MimeReceiver::deliver(std::ostream & data) {
    Block out_block;
    oSimpleStream out(out_block.data(), size_of(out_block), &data);
    Block stage_block;
    ioSimpleStream stage(stage_block.data(), size_of(stage_block), 0); // outlives the decoder
    vellum::TranslatorInUse const translator(
        NLS::Create(body_charset, &translator_cache, factories));
    MIME_TransferDecoding_Engine decoder(MIME_TransferDecoding::Create(transfer_encoding));
    int const restriction = translator ? translator->Query_Buffering_Restrictions(body_charset) : 0;
    if (restriction == NLS_Translator::no_restriction) {
        deliver_lines(data, out, stage, decoder, translator.get());
    } else if (translator->Takes_Pieces(body_charset)) {
        deliver_pieces(out, stage, decoder, *translator);
    } else {
        deliver_stored(out, stage, decoder, *translator, restriction);
    }
    out.flush();
}

/// The translator, if any, can take any piece.
void MimeReceiver::deliver_lines(std::ostream & data, oSimpleStream & out, ioSimpleStream & stage,
                                 MIME_TransferDecoding_Engine & decoder,
                                 NLS_Translator * translator) {
    std::optional<LineDecoder> lines;
    if (!!decoder) lines.emplace(*decoder);
    For_each_text([&](std::string_view text) {
        if (!lines && translator == nullptr) {
            data.write(text.data(), static_cast<std::streamsize>(text.size()));
            return;
        }
        if (!lines) {
            TextStream source(text);
            translator->CharSet_to_CodePage(&source, &out);
        } else if (translator == nullptr) {
            lines->decode(text, out);
        } else {
            stage.reInit();
            lines->decode(text, stage);
            stage.rewind();
            translator->CharSet_to_CodePage(&stage, &out);
        }
    });
    if (!!decoder) {
        decoder->output = nullptr; // an unfinished group at the end of a body is dropped
        decoder.close();
    }
    drop_end_marker(out);
}

/// Decodes the text onto the stage; calls `full` behind each step.
template <typename Full>
void MimeReceiver::decode_all(ioSimpleStream & stage, MIME_TransferDecoding_Engine & decoder,
                              Full full) {
    std::optional<LineDecoder> lines;
    if (!!decoder) lines.emplace(*decoder);
    For_each_text([&](std::string_view text) {
        if (lines) {
            lines->decode(text, stage);
        } else {
            stage.write(text);
        }
        full();
    });
    if (!!decoder) decoder.close(); // what it held back goes to the stage
    drop_end_marker(stage);
    stage.rewind();
}

/// The translator can't take the body line by line, but in pieces that end anywhere.
void MimeReceiver::deliver_pieces(oSimpleStream & out, ioSimpleStream & stage,
                                  MIME_TransferDecoding_Engine & decoder,
                                  NLS_Translator & translator) {
    decode_all(stage, decoder, [&] {
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
                                  MIME_TransferDecoding_Engine & decoder,
                                  NLS_Translator & translator, int restriction) {
    decode_all(stage, decoder, [] {});
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
