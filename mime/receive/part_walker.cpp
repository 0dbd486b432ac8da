// mime/receive/part_walker.cpp - the recursive descent over the parts of a message
//
// Nothing of a part is kept once it has been walked. At the end of the input every line counts as
// the end of what is being read, so that a truncated message unwinds level by level like a
// complete one.
//
// Bounds:     the recursion is as deep as the parts that are opened, which is limited; a container
//             beyond the limit is read as data.
#include "mime/receive/receiver.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/note/position.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/raw_stream.hpp"
#include "mime/receive/text_lines.hpp"

using vellum::FieldQueue;

namespace {

bool is_digest(MimeContextItem const & item) {
    return item.type == RFC1521::multipart && item.subtype == RFC1521::digest;
}

} // namespace

bool MimeReceiver::Get_message_part(int message_depth, int multipart_depth,
                                    MimeContextItem & parent, char const * encoding) {
    transfer_encoding = disposition = type = subtype = nullptr;
    body_charset = nullptr;
    long long const start = position;
    FieldQueue fields;
    read_header(false, fields); // a message/partial here is no fragment, but data
    long long const header_end = end_of_header();

    bool const has_type = type != nullptr;
    if (!has_type && is_digest(parent)) {
        type = RFC1521::message;
        subtype = RFC1521::RFC822;
    } else if (!has_type) {
        type = RFC1521::text;
        subtype = RFC1521::plain;
        body_charset = &NLS::US_ASCII;
    }
    count_part();
    settle_depth();
    MimeContextItem item(type, subtype, disposition, nullptr);
    MimeContext context(message_depth, multipart_depth, atomic_count, part_count, &item, &parent);
    begin_part(context, start);
    // The level has to be there before the parser of Content-Type gives the top one its delimiter.
    bool const owns_level = is_multipart() && !is_too_deep_;
    if (owns_level) line_reader_->Boundary_Push();
    report_url();
    dispatch_all(fields, context, has_type, owns_level);
    if (transfer_encoding == nullptr) {
        transfer_encoding = encoding != nullptr ? encoding : RFC1521::ASCII_7bit;
    }
    context.exact.header_end = header_end;
    call(&MimeINote::EndHeader, context);

    bool const more = Get_message_body(context);
    context.exact.part_end = previous_position;
    call(&MimeINote::EndPart, context);
    return more;
}

/// Type and subtype are those that the parsers of the header have left, not those of the first
/// pass.
bool MimeReceiver::Get_message_body(MimeContext & context) {
    bool const is_opened = is_container() && !is_too_deep_ && nesting_ < nesting_limit_;
    if (!is_opened) return Get_message_body__Data(context);
    ++nesting_;
    bool const more =
        is_multipart() ? Get_message_body__MultiPart(context) : Get_message_body__Message(context);
    --nesting_;
    return more;
}

/// Where a data stream can't be had, `data` is null.
void MimeReceiver::begin_body(MimeContext & context, long long start, std::ostream ** data,
                              RawStream & raw) {
    context.exact.body_start = start;
    context.exact.body_start_line = static_cast<long long>(line_count);
    vellum::mirror_positions(context);
    note->BeginBody(context, data, &raw.client);
    raw.begin();
}

void MimeReceiver::end_body(MimeContext & context, long long end, RawStream & raw) {
    context.exact.body_end = end;
    // The delimiter line that was read has counted for two: itself and the line end before it.
    context.exact.body_end_line = static_cast<long long>(line_count) - (at_end ? 0 : 2);
    call(&MimeINote::EndBody, context);
    raw.end();
}

bool MimeReceiver::Get_message_body__MultiPart(MimeContext & context) {
    long long const start = end_of_header();
    auto const to_debug = [this](std::string_view text) { copy_raw(text); };
    copy_raw("\r\n");
    NewLine_Body();
    For_each_text(to_debug); // the preamble
    copy_raw(line());
    RawStream raw(*this);
    begin_body(context, start, nullptr, raw);

    while (!line_reader_->Boundary_is_2()) {
        Get_message_part(context.message_depth, context.multipart_depth + 1, *context.item,
                         nullptr);
        copy_raw(line());
    }
    line_reader_->Boundary_Pop(); // from here on the enclosing multipart's delimiters are seen
    NewLine_Body();
    For_each_text(to_debug); // the epilogue
    end_body(context, position, raw);
    return !line_reader_->Boundary_is_2();
}

bool MimeReceiver::Get_message_body__Message(MimeContext & context) {
    NewLine_Body(); // the blank line behind the header
    RawStream raw(*this);
    begin_body(context, position, nullptr, raw);
    copy_raw(line());
    // No new level: the delimiters of the enclosing multipart end the message wherever they occur.
    if (!line_reader_->Boundary_is_a()) {
        Get_message_part(context.message_depth + 1, 0, *context.item, nullptr);
    }
    end_body(context, previous_position, raw);
    return !line_reader_->Boundary_is_2();
}
