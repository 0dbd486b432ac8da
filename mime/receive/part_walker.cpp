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
#include "mime/header/reading_rules.hpp"
#include "mime/nls/charset.hpp"
#include "mime/note/position.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/raw_stream.hpp"
#include "mime/receive/text_lines.hpp"

#include <algorithm>
#include <ostream>
#include <utility>

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
    FieldQueue fields(start, std::move(field_memory_));
    read_header(false, parent.type == RFC1521::message,
                fields); // a message/partial here is no fragment, but data
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
    context.decoded_depth = decoded_depth_;
    begin_header(fields, context, start);
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
    if (!is_opened_) return Get_message_body__Data(context);
    ++nesting_;
    pass_lone_cr();
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
    tell_delimiter(context);
}

void MimeReceiver::end_body(MimeContext & context, long long end, RawStream & raw) {
    context.exact.body_end = end;
    // The delimiter line that was read has counted for two: itself and the line end before it.
    context.exact.body_end_line =
        static_cast<long long>(line_count) - (at_end ? 0 : line_reader_->Boundary_Lines());
    tell_delimiter(context);
    if (limit_passed_at >= 0) {
        tell(context, Defect_TooManyParts, std::exchange(limit_passed_at, -1));
    }
    call(&MimeINote::EndBody, context);
    raw.end();
}

/// What is not as expected of the delimiter that was read, once.
void MimeReceiver::tell_delimiter(MimeContext & context) {
    vellum::FoundBoundary & found = line_reader_->boundary_current;
    if (at_end || found.kind == vellum::Boundary_Not) return;
    auto const place = std::min(line().find('-'), line().size());
    long long const offset = previous_position + static_cast<long long>(place);
    if (std::exchange(found.has_blanks, false)) tell(context, Defect_DelimiterBlanks, offset);
    if (std::exchange(found.has_other_eol, false)) tell(context, Defect_LineEndsMixed, offset);
}

/// The text beside the parts of a multipart. The client is called when there is any.
class MimeReceiver::SideText {
public:
    SideText(MimeReceiver & receiver, MimeContext & context,
             void (MimeINote::*begin)(MimeContext &, std::ostream **),
             void (MimeINote::*end)(MimeContext &))
        : receiver_(receiver), context_(context), begin_(begin), end_(end) {}

    void put(std::string_view text) {
        if (text.empty()) return;
        if (!std::exchange(has_begun_, true)) {
            vellum::mirror_positions(context_);
            (receiver_.note->*begin_)(context_, &client_);
        }
        if (client_ != nullptr) {
            client_->write(text.data(), static_cast<std::streamsize>(text.size()));
        }
    }
    void finish() {
        if (has_begun_) receiver_.call(end_, context_);
    }

private:
    MimeReceiver & receiver_;
    MimeContext & context_;
    void (MimeINote::*begin_)(MimeContext &, std::ostream **);
    void (MimeINote::*end_)(MimeContext &);
    std::ostream * client_ = nullptr;
    bool has_begun_ = false;
};

/// From the current line on.
void MimeReceiver::read_side_text(SideText & side) {
    For_each_text([&](std::string_view text) {
        copy_raw(text);
        side.put(text);
    });
    side.finish();
}

bool MimeReceiver::Get_message_body__MultiPart(MimeContext & context) {
    long long const start = end_of_header();
    if (!runs_into_body_) copy_raw("\r\n");
    NewText_Body();
    SideText preamble(*this, context, &MimeINote::BeginPreamble, &MimeINote::EndPreamble);
    if (!line_reader_->Boundary_is_a() && vellum::is_blank_line(line())) {
        copy_raw(line());
        NewText_Body();
    }
    read_side_text(preamble);
    copy_raw(line());
    bool const is_found = !at_end && !line_reader_->Boundary_is_outer();
    RawStream raw(*this);
    begin_body(context, start, nullptr, raw);
    if (!is_found && line_reader_->Boundary_has_text()) {
        tell(context, Defect_BoundaryNotFound, start);
    }

    while (!line_reader_->Boundary_is_2()) {
        Get_message_part(context.message_depth, context.multipart_depth + 1, *context.item,
                         nullptr);
        copy_raw(line());
    }
    bool const is_outer = line_reader_->Boundary_is_outer();
    if (is_found && (is_outer || at_end)) {
        tell(context, Defect_MultipartUnclosed, is_outer ? previous_position : position);
    }
    line_reader_->Boundary_Pop(); // from here on the enclosing multipart's delimiters are seen
    if (!is_outer) {
        NewText_Body();
        SideText epilogue(*this, context, &MimeINote::BeginEpilogue, &MimeINote::EndEpilogue);
        read_side_text(epilogue);
    }
    end_body(context, position, raw);
    return !line_reader_->Boundary_is_2();
}

bool MimeReceiver::Get_message_body__Message(MimeContext & context) {
    bool const has_blank_line = !runs_into_body_;
    bool const is_decoded = is_encoded() && rules->encoded_messages_opened;
    if (has_blank_line) {
        NewLine_Body();
    } else {
        line_reader_->Boundary_Forget();
    }
    RawStream raw(*this);
    begin_body(context, position, nullptr, raw);
    if (has_blank_line) copy_raw(line());
    // No new level: the delimiters of the enclosing multipart end the message wherever they occur.
    if (!line_reader_->Boundary_is_a()) {
        if (is_decoded && !is_encoded_in_name_only(context)) {
            walk_encoded(context);
        } else {
            Get_message_part(context.message_depth + 1, 0, *context.item, nullptr);
        }
    }
    end_body(context, previous_position, raw);
    return !line_reader_->Boundary_is_2();
}
