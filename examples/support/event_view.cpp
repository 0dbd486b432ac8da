// examples/support/event_view.cpp - a message as the calls that it makes, one line each
#include "examples/support/event_view.hpp"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace examples {

namespace {

constexpr std::size_t longest_line = 64;

void append_escaped(std::string & out, char c) {
    constexpr char const * digits = "0123456789ABCDEF";
    auto const byte = static_cast<unsigned char>(c);
    switch (c) {
    case '"':
    case '\\': (out += '\\') += c; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: break;
    }
    if (0x20 <= byte && byte < 0x7F) {
        out += c;
    } else {
        (out += "\\x") += {digits[byte >> 4], digits[byte & 15]};
    }
}

void append_quoted(std::string & out, std::string_view text) {
    out += '"';
    for (char const c : text)
        append_escaped(out, c);
    out += '"';
}

std::string_view view_of(MimeString const & text) { return {text.get_String(), text.get_Length()}; }

} // namespace

// Bodies ---------------------------------------------------------------------------

void QuotedLines::Finish() {
    if (!line_.empty()) PutLine();
}

QuotedLines::int_type QuotedLines::overflow(int_type byte) {
    if (!traits_type::eq_int_type(byte, traits_type::eof())) Put(traits_type::to_char_type(byte));
    return traits_type::not_eof(byte);
}

std::streamsize QuotedLines::xsputn(char const * data, std::streamsize size) {
    std::for_each_n(data, size, [this](char byte) { Put(byte); });
    return size;
}

void QuotedLines::Put(char byte) {
    line_ += byte;
    if (byte == '\n' || line_.size() == longest_line) PutLine();
}

void QuotedLines::PutLine() {
    std::string quoted = "    ";
    append_quoted(quoted, line_);
    out_ << (quoted += '\n');
    line_.clear();
}

// Lines ----------------------------------------------------------------------------

EventView::Argument::Argument(char const * its_name, char const * its_text)
    : name(its_name), text(its_text != nullptr ? its_text : ""), is_null(its_text == nullptr) {}

EventView::Argument::Argument(char const * its_name, std::string_view its_text)
    : name(its_name), text(its_text), is_null(false) {}

void EventView::Event(char const * operation, std::initializer_list<Argument> arguments) {
    line_ = operation;
    for (Argument const & argument : arguments) {
        ((line_ += ' ') += argument.name) += '=';
        if (argument.is_null) {
            line_ += "null";
        } else {
            append_quoted(line_, argument.text);
        }
    }
    EndLine();
}

/// What the context tells by then. The kind of the part stays the same, and is told once.
void EventView::StructureEvent(char const * operation, MimeContext const & context) {
    line_ = operation;
    AddNumber("part_number", context.part_number);
    if (std::string_view(operation) == "BeginPart") AddKind(context);
    AddPlaces(context.exact);
    EndLine();
}

void EventView::AddKind(MimeContext const & context) {
    AddNumber("message_depth", context.message_depth);
    AddNumber("multipart_depth", context.multipart_depth);
    AddNumber("atomic_count", context.atomic_count);
    AddText("type", context.item->type);
    AddText("subtype", context.item->subtype);
    AddText("disposition", context.item->disposition);
    AddText("parent_type", context.parent_item->type);
    AddText("parent_subtype", context.parent_item->subtype);
}

void EventView::AddPlaces(MimeContext::Exact const & exact) {
    AddPlace("part_start", exact.part_start);
    AddPlace("header_end", exact.header_end);
    AddPlace("body_start", exact.body_start);
    AddPlace("body_start_line", exact.body_start_line);
    AddPlace("body_end", exact.body_end);
    AddPlace("body_end_line", exact.body_end_line);
    AddPlace("part_end", exact.part_end);
}

void EventView::AddNumber(char const * name, long long number) {
    (((line_ += ' ') += name) += '=') += std::to_string(number);
}

void EventView::AddPlace(char const * name, long long place) {
    bool const is_reached = place >= 0;
    if (is_reached) AddNumber(name, place);
}

void EventView::AddText(char const * name, char const * text) {
    if (text == nullptr) return;
    ((line_ += ' ') += name) += '=';
    append_quoted(line_, text);
}

void EventView::EndLine() { out_ << (line_ += '\n'); }

/// The first 64 bytes of the body of a field of addresses, which comes anew with each address.
EventView::Argument EventView::StartOf(char const * body) {
    if (body == nullptr) return {"body", body};
    void const * const end = std::memchr(body, '\0', longest_line);
    auto const length = end != nullptr ? static_cast<char const *>(end) - body : longest_line;
    return {"body", std::string_view(body, static_cast<std::size_t>(length))};
}

void EventView::PrintResult(ReceiveResult result) { out_ << "Receive " << name_of(result) << '\n'; }

// Calls ----------------------------------------------------------------------------

void EventView::BeginPart(MimeContext & context) { StructureEvent("BeginPart", context); }
void EventView::EndPart(MimeContext & context) { StructureEvent("EndPart", context); }
void EventView::BeginHeader(MimeContext & context) { StructureEvent("BeginHeader", context); }
void EventView::EndHeader(MimeContext & context) { StructureEvent("EndHeader", context); }

void EventView::BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) {
    StructureEvent("BeginBody", context);
    PartNote::BeginBody(context, data, raw);
}

void EventView::EndBody(MimeContext & context) {
    PartNote::EndBody(context);
    StructureEvent("EndBody", context);
}

void EventView::SetFileName(char const * field, char const * name) {
    Event("SetFileName", {{"field", field}, {"name", name}});
}

void EventView::SetParameter(char const * field, char const * attribute, char const * value) {
    Event("SetParameter", {{"field", field}, {"attribute", attribute}, {"value", value}});
}

void EventView::SetProperty(char const * name, MimeString const & value) {
    Event("SetProperty", {{"name", name}, {"value", view_of(value)}});
}

void EventView::Set_From(char const * field, char const * body, char const * phrase,
                         char const * address) {
    Event("Set_From", {{"field", field}, StartOf(body), {"phrase", phrase}, {"address", address}});
}

void EventView::Set_To(char const * field, char const * body, char const * phrase,
                       char const * address) {
    Event("Set_To", {{"field", field}, StartOf(body), {"phrase", phrase}, {"address", address}});
}

void EventView::Set_Date(char const * field, char const * body, tm const & utc) {
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    Event("Set_Date", {{"field", field}, {"body", body}, {"utc", std::string_view(text)}});
}

void EventView::Set_Message_Id(char const * field, char const * id) {
    Event("Set_Message_Id", {{"field", field}, {"id", id}});
}

void EventView::Set_Subject(MimeString text) { Event("Set_Subject", {{"text", view_of(text)}}); }

void EventView::Set_Comments(MimeString text) { Event("Set_Comments", {{"text", view_of(text)}}); }

void EventView::Set_MIME_Version(char const * text) { Event("Set_MIME_Version", {{"text", text}}); }

void EventView::Set_Content_Type(char const * body, char const * type, char const * subtype) {
    Event("Set_Content_Type", {{"body", body}, {"type", type}, {"subtype", subtype}});
}

void EventView::Set_Content_Description(char const * text) {
    Event("Set_Content_Description", {{"text", text}});
}

void EventView::Set_Content_Transfer_Encoding(char const * encoding) {
    Event("Set_Content_Transfer_Encoding", {{"encoding", encoding}});
}

void EventView::Set_Content_Disposition(char const * body, char const * disposition,
                                        char const * filename) {
    Event("Set_Content_Disposition",
          {{"body", body}, {"disposition", disposition}, {"filename", filename}});
}

void EventView::Set_Disposition_notification_to(char const * body, char const * phrase,
                                                char const * address) {
    Event("Set_Disposition_notification_to",
          {StartOf(body), {"phrase", phrase}, {"address", address}});
}

} // namespace examples
