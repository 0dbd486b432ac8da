// mime/send/atomic_part_writer.cpp - a leaf: its encoding, the rest of its header, its body
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/note/position.hpp"
#include "mime/send/body_source.hpp"
#include "mime/send/body_writer.hpp"
#include "mime/send/encoder_in_use.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"
#include "mime/send/writing_rules.hpp"

#include <istream>
#include <string_view>

using vellum::set_position;

void MimeSender::Put_AtomicPart(MimeContext & ctx) {
    SettleEncoding();
    Put_AtomicHeader();
    if (rules->encoding_by_text) return Put_LookedAtBody(ctx, false);
    End_of_Header(ctx);
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
    if (IsEncodingOpen()) {
        transfer_encoding = part_character_set->BestTransferEncoding(false);
    } else {
        char const * const chosen = text_encoding;
        transfer_encoding = chosen != nullptr ? chosen : RFC1521::binary;
    }
}

/// Whether the client leaves it to the engine how text is encoded.
bool MimeSender::IsEncodingOpen() const {
    char const * const chosen = text_encoding;
    return chosen != nullptr && (*chosen == '\0' || (field_guard && !vellum::is_token(chosen)));
}

void MimeSender::Put_AtomicHeader() {
    char const * name = nullptr;
    note->GetFileName(name);
    auto const file_name = vellum::copy_text(name);
    char const * const charset = part_character_set != nullptr ? part_character_set->name : nullptr;
    Generate_Content_Type(content_type, content_subtype, nullptr, charset, file_name.get());
    Generate_Content_Id();
    if (!rules->encoding_by_text) Generate_Content_Transfer_Encoding(transfer_encoding);
    Generate_Content_Description(file_name.get(), nullptr);
    Generate_Content_Disposition(file_name.get());
    Generate_X_extensions();
}

void MimeSender::Put_Body(std::istream & body) {
    vellum::EncoderInUse const encoder(MIME_TransferEncoding::Create(transfer_encoding, true));
    if (rules->from_escaped && transfer_encoding == RFC1521::quoted_printable && encoder) {
        static_cast<EncodingQP &>(*encoder).escapeEveryFrom();
    }
    {
        vellum::TranslatorInUse const translator(
            NLS::Create(part_character_set, &translator_cache, factories));
        vellum::BodyWriter(*stream, encoder.get(), translator.get(), part_character_set)
            .Write(body);
    }
    if (encoder != nullptr) encoder->Flush();
}

// a body that is looked at ---------------------------------------------------------

/// The encoding is told behind all other fields, as it depends on the body, and the body is asked
/// for when the client has added its last field. `is_message`: without a body it is a message of
/// the note's.
void MimeSender::Put_LookedAtBody(MimeContext & ctx, bool is_message) {
    Ask_Last_Fields(ctx);
    if (!is_message) ++ctx.atomic_count;
    bool const begins = stream->good();
    std::istream * body = nullptr;
    if (begins) note->BeginBody(ctx, &body);
    std::istream no_body(nullptr);
    vellum::BodySource source(body != nullptr ? *body : no_body);
    bool const is_nested = is_message && body == nullptr;
    transfer_encoding = is_nested ? ContainerEncoding() : EncodingByLook(source);
    Generate_Content_Transfer_Encoding(transfer_encoding);
    Close_Header(ctx);
    set_position(ctx, &MimeContext::Exact::body_start, Offset());
    if (body != nullptr) {
        std::istream in(&source);
        Put_Body(in);
        failed_ |= source.failed();
    } else if (begins && is_nested) {
        Put_NestedMessage(ctx);
    }
    End_of_Part(ctx, begins);
}

/// Settles the encoding of the body in `source`, and which line ends it gets.
char const * MimeSender::EncodingByLook(vellum::BodySource & source) {
    if (content_type == RFC1521::message) {
        char const * const encoding = vellum::encoding_of_message(source.Look());
        if (encoding != RFC1521::binary) source.EndLines();
        return encoding;
    }
    if (content_type != RFC1521::text) return transfer_encoding;
    vellum::BodyLook const look = source.Look();
    bool const is_open = IsEncodingOpen();
    bool const stays = transfer_encoding == RFC1521::base64 || transfer_encoding == RFC1521::binary;
    if (rules->text_lines_ended && !look.has_nul && (is_open || !stays)) source.EndLines();
    return is_open ? vellum::encoding_of_text(look, SuitsSet()) : transfer_encoding;
}

/// The encoding that suits what the set makes of a text. Many sets for which that is base64 leave
/// ASCII as it is.
char const * MimeSender::SuitsSet() {
    char const * const best = part_character_set->BestTransferEncoding(false);
    if (best != RFC1521::base64) return best;
    vellum::TranslatorInUse const translator(
        NLS::Create(part_character_set, &translator_cache, factories));
    if (!translator) return RFC1521::quoted_printable;
    constexpr std::string_view probe("az09 +~\0\0", 9); // with terminators of double bytes
    std::string_view const text = probe.substr(0, 7);
    bool const is_ascii = vellum::Translation(*translator, text).result() == text;
    return is_ascii ? RFC1521::quoted_printable : RFC1521::base64;
}

/// What is said of a multipart or a message whose parts are not yet known (RFC 2045 6.4).
char const * MimeSender::ContainerEncoding() const {
    if (!rules->messages_unencoded) return RFC1521::ASCII_7bit;
    char const * const chosen = text_encoding;
    if (chosen == nullptr || chosen == RFC1521::binary) return RFC1521::binary;
    return chosen == RFC1521::ASCII_8bit ? RFC1521::ASCII_8bit : RFC1521::ASCII_7bit;
}
