// mime/send/sender.cpp - the writer of one note's messages: its life, and one run
#include "mime/send/sender.hpp"

#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/random_text.hpp"
#include "mime/send/scoped_value.hpp"
#include "mime/send/writing_rules.hpp"

using vellum::ScopedValue;

MimeSender::MimeSender(MimeONote * client)
    : note(client), rules(&vellum::basic_writing), text_encoding(""),
      character_set(&NLS::ReservedSet) {
    StartMessage();
}

MimeSender::~MimeSender() { delete translator_cache; }

/// What the last message left behind doesn't belong to the next.
void MimeSender::StartMessage() {
    originator_address.reset();
    first_header_open = true;
    fragment_count = 0;
    first_message_id.reset();
    subject.reset();
    content_type = RFC1521::text;
    content_subtype = RFC1521::plain;
    transfer_encoding = RFC1521::ASCII_7bit;
    part_character_set = &NLS::US_ASCII;
    open_boundaries_.clear();
    failed_ = false;
}

/// False if there is no random source: ids that others can guess or meet don't go out.
bool MimeSender::SeedIds() {
    id_seed_ = vellum::random_text();
    return !id_seed_.empty();
}

bool MimeSender::Send_Message() {
    if (sending_) return false;
    ScopedValue const sending(sending_, true);
    StartMessage();
    if (rules->random_ids && !SeedIds()) return false;
    oBufferStream output(note);
    ScopedValue<oBufferStream *> const current(stream, &output);
    factories = note->factories_;
    if (!output.good()) return false;

    MimeContextItem parent(RFC1521::message, RFC1521::RFC822, nullptr, nullptr);
    MimeContextItem item(nullptr, nullptr, nullptr, nullptr);
    MimeContext root(0, 0, 0, 1, &item, &parent);
    Put_Message(root);
    return output.Finish() && !failed_;
}

void MimeSender::FlushOutputBuffers() {
    if (stream != nullptr) stream->FlushBlock();
}

long long MimeSender::Offset() const { return stream->pcountExact(); }
