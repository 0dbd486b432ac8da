// mime/send/field_writer.cpp - writes one header field of the engine's text and the client's values
#include "mime/send/field_writer.hpp"

#include "mime/send/delimited.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/rfc2047_stream.hpp"
#include "mime/send/sender.hpp"

namespace vellum {

FieldWriter::FieldWriter(MimeSender & sender, char const * name)
    : sender_(sender), out_(*sender.stream) {
    raw(name);
}

FieldWriter & FieldWriter::text(std::string_view text) {
    out_.write(text);
    return *this;
}

FieldWriter & FieldWriter::number(long value) {
    out_ << value;
    return *this;
}

FieldWriter & FieldWriter::raw(char const * value) {
    out_ << guard(value, Fold::stays);
    return *this;
}

FieldWriter & FieldWriter::encoded(char const * value, TextKind kind) {
    bool const is_empty = value == nullptr || *value == '\0';
    if (sender_.field_guard && is_empty && kind == TextKind::parameter) return text("\"\"");
    oRFC2047Stream stream(&sender_, kind == TextKind::parameter, kind == TextKind::phrase);
    stream << guard(value, kind == TextKind::unstructured ? Fold::stays : Fold::goes);
    stream.Finish();
    return *this;
}

FieldWriter & FieldWriter::delimited(char const * value, char open, char close, bool escape) {
    WriteDelimited(&out_, guard(value, Fold::goes), open, close, escape);
    return *this;
}

void FieldWriter::end() { out_.write("\r\n"); }

char const * FieldWriter::guard(char const * value, Fold fold) {
    if (!sender_.field_guard || value == nullptr || !needs_guard(value)) return value;
    guarded_ = fold == Fold::stays ? guarded(value) : guarded_line(value);
    return guarded_.c_str();
}

} // namespace vellum
