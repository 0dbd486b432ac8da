// mime/send/atomic_part_writer.cpp - a leaf: its encoding, the rest of its header, its body
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/note/position.hpp"
#include "mime/send/body_writer.hpp"
#include "mime/send/encoder_in_use.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"

#include <istream>

using vellum::set_position;

void MimeSender::Put_AtomicPart(MimeContext & ctx) {
    SettleEncoding();
    Put_AtomicHeader(ctx);
    ++ctx.atomic_count;
    bool const begins = stream->good();
    if (begins) {
        set_position(ctx, &MimeContext::Exact::body_start, Offset());
        std::istream * body = nullptr;
        note->BeginBody(ctx, &body);
        if (body != nullptr) Put_Body(*body);
    }
    End_of_Part(ctx, begins);
}

/// Text goes in the chosen set and encoding, or what suits them best; all else in base64.
void MimeSender::SettleEncoding() {
    if (content_type != RFC1521::text) {
        part_character_set = nullptr;
        transfer_encoding = RFC1521::base64;
        return;
    }
    part_character_set = vellum::set_in_use(*this, false);
    char const * const chosen = text_encoding;
    if (chosen == nullptr) {
        transfer_encoding = RFC1521::binary;
    } else if (*chosen == '\0' || (field_guard && !vellum::is_token(chosen))) {
        transfer_encoding = part_character_set->BestTransferEncoding(false);
    } else {
        transfer_encoding = chosen;
    }
}

void MimeSender::Put_AtomicHeader(MimeContext & ctx) {
    char const * name = nullptr;
    note->GetFileName(name);
    auto const file_name = vellum::copy_text(name);
    char const * const charset = part_character_set != nullptr ? part_character_set->name : nullptr;
    Generate_Content_Type(content_type, content_subtype, nullptr, charset, file_name.get());
    Generate_Content_Id();
    Generate_Content_Transfer_Encoding(transfer_encoding);
    Generate_Content_Description(file_name.get(), nullptr);
    Generate_Content_Disposition(file_name.get());
    Generate_X_extensions();
    End_of_Header(ctx);
}

void MimeSender::Put_Body(std::istream & body) {
    vellum::EncoderInUse const encoder(MIME_TransferEncoding::Create(transfer_encoding, true));
    {
        vellum::TranslatorInUse const translator(
            NLS::Create(part_character_set, &translator_cache, factories));
        vellum::BodyWriter(*stream, encoder.get(), translator.get(), part_character_set)
            .Write(body);
    }
    if (encoder != nullptr) encoder->Flush();
}
