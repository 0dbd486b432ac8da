// examples/support/copy_writer.cpp - the note that writes a message as it came
#include "examples/support/copy_writer.hpp"

#include "examples/support/crlf_stream.hpp"
#include "examples/support/raw_field.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace examples {

CopyWriter::CopyWriter(CopiedMessage const & message, std::ostream & out)
    : StreamedNote(out), message_(message) {}

// The walk ---------------------------------------------------------------------------

int CopyWriter::BeginPart(MimeContext &) {
    if (levels_.empty()) {
        levels_.push_back({message_.root.get()});
        return 1;
    }
    Level & above = levels_.back();
    if (above.next_part == above.part->parts.size()) return 0;
    CopiedPart const * const part = above.part->parts[above.next_part++].get();
    levels_.push_back({part});
    return 1;
}

void CopyWriter::EndPart(MimeContext &) { levels_.pop_back(); }

// The header -------------------------------------------------------------------------

int CopyWriter::PutHeader(MimeContext &) {
    auto const & fields = Part().fields;
    if (fields.empty()) return 1;
    auto const in = Spool::Open(message_.input, fields.front().begin, fields.back().end);
    long place = fields.front().begin;
    for (auto const & [begin, end] : fields) {
        in->ignore(begin - place); // lines that are no field
        std::string field(static_cast<std::size_t>(end - begin), '\0');
        in->read(field.data(), end - begin);
        place = end;
        PutField(field);
    }
    return 1;
}

void CopyWriter::PutField(std::string const & field) {
    if (SendRawField(field.data(), field.size()) != 0) return;
    if (field.find('\0') != field.npos) ++lost_fields_;
    std::string const mended = mended_field(field);
    if (SendRawField(mended.data(), mended.size()) != 0) return;
    auto const [name, value] = name_and_value(mended);
    if (SendField(name.c_str(), value.c_str()) == 0) ++lost_fields_;
}

int CopyWriter::Get_Content_Type(SymToken & type, SymToken & subtype) {
    type = Part().type;
    subtype = Part().subtype;
    return 1;
}

/// Without a boundary the body of a multipart is copied.
int CopyWriter::GetBoundary(char const *& value) {
    if (Part().has_parts) value = Part().boundary.c_str();
    return 1;
}

// The body ---------------------------------------------------------------------------

void CopyWriter::Lend(std::shared_ptr<Spool> const & spool, CopiedPart::Range range, bool is_data,
                      std::istream ** stream) {
    stream_ = Spool::Open(spool, range.begin, std::max(range.begin, range.end));
    if (message_.has_file_line_ends && !is_data) {
        stream_ = std::make_unique<CrlfStream>(std::move(stream_));
    }
    *stream = stream_.get();
}

int CopyWriter::BeginBody(MimeContext &, std::istream ** body) {
    if (!Part().has_parts) Lend(message_.input, Part().body, Part().is_binary, body);
    return 0;
}

int CopyWriter::GetPreamble(MimeContext &, std::istream ** text) {
    CopiedPart::Range const range = Part().preamble;
    if (range.begin < range.end) Lend(message_.texts, range, false, text);
    return 0;
}

int CopyWriter::GetEpilogue(MimeContext &, std::istream ** text) {
    CopiedPart::Range const range = Part().epilogue;
    if (range.begin < range.end) Lend(message_.texts, range, false, text);
    return 0;
}

} // namespace examples
