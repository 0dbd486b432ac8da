// mime/send/message_writer.cpp - the walk: a message, its parts, and the messages within
//
// When the output has ended, nothing more is begun: no further part, no body. What has begun gets
// its End calls, so that a client that keeps something for each level can let go of it.
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/note/position.hpp"
#include "mime/send/body_source.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/scoped_value.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/writing_rules.hpp"

#include <algorithm>
#include <istream>
#include <string>
#include <string_view>

using vellum::ScopedValue;
using vellum::set_position;

namespace {

/// What stands for a missing subtype; the reader has the same defaults.
char const * default_subtype(SymToken const & type) {
    if (type == RFC1521::text) return RFC1521::plain;
    if (type == RFC1521::multipart) return RFC1521::mixed;
    if (type == RFC1521::message) return RFC1521::RFC822;
    if (type == RFC1521::application) return RFC1521::octet_stream;
    return "x-unknown";
}

bool is_digest(MimeContextItem const & item) {
    return item.type == RFC1521::multipart && item.subtype == RFC1521::digest;
}

} // namespace

void MimeSender::Put_Message(MimeContext & ctx) {
    ScopedValue const level(context, &ctx);
    set_position(ctx, &MimeContext::Exact::part_start, Offset());
    set_position(ctx, &MimeContext::Exact::header_start, Offset());
    note->BeginPart(ctx);
    note->BeginHeader(ctx);
    if (Pass_On_Header(ctx)) return PassOnByType(ctx, false);
    AskSubject();

    Generate_trace_fields();
    Generate_Date();
    Generate_To();
    Generate_From();
    Generate_Return_Path();
    Generate_In_Reply_To();
    Generate_Received();
    Generate_Comments();
    Generate_Keywords();
    Generate_References();
    Generate_Encrypted();
    Generate_Importance();
    Generate_Priority();
    Generate_Sensitivity();
    Generate_Disposition_notification_to();
    Generate_X_extensions();
    if (first_header_open) stream->SaveCommonHeader();

    Generate_Subject();
    Generate_Message_Id();
    Generate_MIME_Version();
    AskType(ctx, false);
    Put_ByType(ctx);
}

void MimeSender::AskSubject() {
    char const * value = nullptr;
    if (note->Get_Subject(value) != 0) subject = vellum::copy_text(value);
}

void MimeSender::AskType(MimeContext & ctx, bool in_digest) {
    content_type = nullptr;
    content_subtype = nullptr;
    note->Get_Content_Type(content_type, content_subtype);
    if (!content_type) {
        content_type = in_digest ? RFC1521::message : RFC1521::text;
        content_subtype = nullptr;
    } else if (field_guard) {
        GuardType();
    }
    if (!content_subtype) content_subtype = default_subtype(content_type);
    ctx.item->type = content_type;
    ctx.item->subtype = content_subtype;
}

/// Data of a type that is no token are data of an unknown type (RFC 2045 5.2).
void MimeSender::GuardType() {
    char const * const type = content_type;
    char const * const subtype = content_subtype;
    bool const is_type = vellum::is_token(type);
    if (!is_type) content_type = RFC1521::application;
    if (!is_type || (subtype != nullptr && !vellum::is_token(subtype))) content_subtype = nullptr;
}

/// Goes on with the header that has been begun, by what the part turned out to be.
void MimeSender::Put_ByType(MimeContext & ctx) {
    if (content_type == RFC1521::multipart) {
        char const * boundary = nullptr;
        note->GetBoundary(boundary);
        Put_MultiPart(ctx, boundary);
    } else if (content_type == RFC1521::message && content_subtype == RFC1521::RFC822) {
        Put_MessagePart(ctx);
    } else {
        Put_AtomicPart(ctx);
    }
}

/// Goes on behind a header that the client has written itself. What that header says isn't known
/// here, so that the walk follows the note.
void MimeSender::PassOnByType(MimeContext & ctx, bool in_digest) {
    AskType(ctx, in_digest);
    char const * value = nullptr;
    if (content_type == RFC1521::multipart) note->GetBoundary(value);
    auto const boundary = vellum::copy_text(value);
    bool const is_message =
        content_type == RFC1521::message &&
        (content_subtype == RFC1521::RFC822 ||
         vellum::ascii::equal(static_cast<char const *>(content_subtype), "global"));
    End_of_Header(ctx);
    if (boundary != nullptr && *boundary.get() != '\0' && !vellum::needs_guard(boundary.get())) {
        Put_MultiPartBody(ctx, boundary.get(), false);
    } else {
        if (!is_message) ++ctx.atomic_count;
        Put_CopiedBody(ctx, is_message);
    }
}

// multipart ------------------------------------------------------------------------

void MimeSender::Put_MultiPart(MimeContext & ctx, char const * boundary) {
    bool const usable = boundary != nullptr && (!field_guard || CanStandInside(boundary)) &&
                        (!rules->ascii_header || vellum::is_boundary(boundary));
    std::string const own = usable ? boundary : MakeBoundary();
    Generate_Content_Type(ctx.item->type, ctx.item->subtype, own.c_str(), nullptr, nullptr);
    Generate_Content_Id();
    char const * const encoding = ContainerEncoding();
    if (encoding != RFC1521::ASCII_7bit) Generate_Content_Transfer_Encoding(encoding);
    End_of_Header(ctx);
    Put_MultiPartBody(ctx, own, true);
}

/// `line_free`: the first delimiter stands behind an empty line, even if no preamble does.
void MimeSender::Put_MultiPartBody(MimeContext & ctx, std::string const & boundary,
                                   bool line_free) {
    open_boundaries_.push_back(boundary);
    bool const begins = stream->good();
    if (begins) {
        set_position(ctx, &MimeContext::Exact::body_start, Offset());
        note->BeginBody(ctx, nullptr);
        std::string const delimiter = "\r\n--" + boundary;
        bool const has_preamble = Put_TextAround(ctx, &MimeONote::GetPreamble);
        stream->write(std::string_view(delimiter).substr(has_preamble || line_free ? 0 : 2));
        Put_Parts(ctx, delimiter);
        Put_TextAround(ctx, &MimeONote::GetEpilogue);
    }
    open_boundaries_.pop_back();
    End_of_Part(ctx, begins);
}

/// Copies the text in front of the parts, or behind them. Returns whether there is such a text.
bool MimeSender::Put_TextAround(MimeContext & ctx,
                                int (MimeONote::*text)(MimeContext &, std::istream **)) {
    if (!rules->headers_passed_on || !stream->good()) return false;
    std::istream * body = nullptr;
    (note->*text)(ctx, &body);
    if (body != nullptr) Put_Copy(*body);
    return body != nullptr;
}

/// Copies a body as it stands.
void MimeSender::Put_Copy(std::istream & body) {
    if (!rules->failures_told) {
        if (body.rdbuf() != nullptr) stream->CopyFrom(*body.rdbuf());
        return;
    }
    vellum::BodySource source(body);
    stream->CopyFrom(source);
    failed_ |= source.failed();
}

/// Whether a client's boundary can be told from those of the multiparts around it, by readers too
/// that compare the begin of a line alone.
bool MimeSender::CanStandInside(std::string_view boundary) const {
    auto const begins_alike = [boundary](std::string_view around) {
        std::size_t const common = std::min(around.size(), boundary.size());
        return around.substr(0, common) == boundary.substr(0, common);
    };
    return vellum::is_boundary(boundary) &&
           std::none_of(open_boundaries_.begin(), open_boundaries_.end(), begins_alike);
}

/// A delimiter line is ended by what comes behind it: a part, or "--" for the last one.
void MimeSender::Put_Parts(MimeContext & ctx, std::string const & delimiter) {
    int atomic_count = ctx.atomic_count;
    int part_number = ctx.part_number;
    for (bool more = true; more;) {
        MimeContextItem item(nullptr, nullptr, nullptr, nullptr);
        MimeContext child(ctx.message_depth, ctx.multipart_depth + 1, atomic_count, ++part_number,
                          &item, ctx.item);
        more = Put_NextPart(child, delimiter);
        atomic_count = child.atomic_count;
    }
    stream->write("--\r\n");
}

bool MimeSender::Put_NextPart(MimeContext & child, std::string const & delimiter) {
    constexpr int line_end = 2;
    ScopedValue const level(context, &child);
    set_position(child, &MimeContext::Exact::part_start, Offset() + line_end);
    if (!stream->good() || note->BeginPart(child) == 0) return false;
    stream->write("\r\n");
    set_position(child, &MimeContext::Exact::header_start, Offset());
    note->BeginHeader(child);
    bool const in_digest = is_digest(*child.parent_item);
    if (Pass_On_Header(child)) {
        PassOnByType(child, in_digest);
    } else {
        AskType(child, in_digest);
        Put_ByType(child);
    }
    stream->write(delimiter);
    return true;
}

// message/rfc822 -------------------------------------------------------------------

void MimeSender::Put_MessagePart(MimeContext & ctx) {
    char const * name = nullptr;
    note->GetFileName(name);
    auto const file_name = vellum::copy_text(name);
    Generate_Content_Id();
    if (rules->messages_unencoded) {
        Generate_Content_Type(ctx.item->type, ctx.item->subtype, nullptr, nullptr, file_name.get());
        return Put_LookedAtBody(ctx, true);
    }
    Generate_Content_Type(ctx.item->type, ctx.item->subtype, nullptr, RFC1521::US_ASCII,
                          file_name.get());
    Generate_Content_Transfer_Encoding(RFC1521::ASCII_7bit);
    End_of_Header(ctx);
    Put_CopiedBody(ctx, true);
}

/// A body as it stands; `is_message`: without a stream it is a message of the note's.
void MimeSender::Put_CopiedBody(MimeContext & ctx, bool is_message) {
    bool const begins = stream->good();
    if (begins) {
        set_position(ctx, &MimeContext::Exact::body_start, Offset());
        std::istream * body = nullptr;
        note->BeginBody(ctx, &body);
        if (body != nullptr) {
            Put_Copy(*body);
        } else if (is_message) {
            Put_NestedMessage(ctx);
        }
    }
    End_of_Part(ctx, begins);
}

void MimeSender::Put_NestedMessage(MimeContext & ctx) {
    MimeContextItem item(RFC1521::message, RFC1521::RFC822, nullptr, nullptr);
    MimeContext nested(ctx.message_depth + 1, 0, ctx.atomic_count, ctx.part_number + 1, &item,
                       ctx.item);
    Put_Message(nested);
}

void MimeSender::End_of_Part(MimeContext & ctx, bool body_begun) {
    set_position(ctx, &MimeContext::Exact::part_end, Offset());
    set_position(ctx, &MimeContext::Exact::body_end, Offset());
    if (body_begun) note->EndBody(ctx);
    note->EndPart(ctx);
}
