// examples/support/copy_reader.cpp - the note that reads a message to be passed on as it came
//
// Within an encoded message the offsets count decoded bytes: its parts are not looked at.
#include "examples/support/copy_reader.hpp"

#include <algorithm>
#include <istream>
#include <utility>

namespace examples {

KeptInput::KeptInput(std::istream & in)
    : kept_(std::make_shared<Spool>()), passing_(*in.rdbuf(), kept_->out()) {
    passing_.PassAll(true);
}

CopiedMessage CopyReader::Read() {
    message_.input = kept_;
    message_.texts = std::make_shared<Spool>();
    Receive();
    passing_.PassRest();
    SettleLineEnds();
    return std::move(message_);
}

void CopyReader::SettleLineEnds() {
    auto const in = Spool::Open(kept_, 0, kept_->size());
    std::string line;
    std::getline(*in, line);
    bool const has_line_end = !in->eof();
    message_.has_file_line_ends = has_line_end && !line.ends_with('\r');
    CopiedPart & root = *message_.root;
    bool const has_blank_line = root.fields.empty() && !runs_into_body_ && root.body.begin > 0;
    // A blank line in front of all is none that ends a header: there has to be a second one.
    long const line_end = line.ends_with('\r') ? 2 : 1;
    if (has_blank_line) root.body.begin -= std::min(line_end, root.body.begin);
}

// The header -------------------------------------------------------------------------

void CopyReader::BeginPart(MimeContext & context) {
    PartNote::BeginPart(context);
    next_boundary_.clear();
    boundary_.clear();
    if (context.decoded_depth > 0) return;
    auto part = std::make_unique<CopiedPart>();
    CopiedPart * const added = part.get();
    (open_.empty() ? message_.root : open_.back()->parts.emplace_back()) = std::move(part);
    open_.push_back(added);
}

void CopyReader::RawField(MimeContext & context, char const *, unsigned long size,
                          long long offset) {
    if (context.decoded_depth > 0) return;
    auto const begin = static_cast<long>(offset);
    open_.back()->fields.push_back({begin, begin + static_cast<long>(size)});
}

void CopyReader::SetParameter(char const * field, char const * attribute, char const * value) {
    PartNote::SetParameter(field, attribute, value);
    bool const is_boundary = field == RFC1521::Content_Type && attribute == RFC1521::boundary;
    if (is_boundary && next_boundary_.empty()) next_boundary_ = value;
}

void CopyReader::Set_Content_Type(char const * body, char const * type, char const * subtype) {
    PartNote::Set_Content_Type(body, type, subtype);
    boundary_ = std::exchange(next_boundary_, {}); // the last field counts
}

void CopyReader::EndHeader(MimeContext & context) {
    if (context.decoded_depth > 0) return;
    CopiedPart & part = *open_.back();
    part.type = Part().type;
    part.subtype = Part().subtype;
    part.boundary = boundary_;
    bool const is_multipart = part.type == RFC1521::multipart; // which is made of lines
    part.is_binary = !is_multipart && Part().transfer_encoding == RFC1521::binary;
}

// The body ---------------------------------------------------------------------------

void CopyReader::BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) {
    PartNote::BeginBody(context, data, raw);
    if (context.decoded_depth > 0) return;
    CopiedPart & part = *open_.back();
    part.body.begin = static_cast<long>(context.exact.body_start);
    bool const is_opened = data == nullptr;
    bool const is_multipart = part.type == RFC1521::multipart;
    part.has_parts = is_opened && !Part().is_sealed() && (is_multipart || !Part().is_encoded());
}

/// The end of a multipart's body isn't the place that is meant here: see MimeContext.
void CopyReader::EndPart(MimeContext & context) {
    if (context.decoded_depth > 0) return;
    CopiedPart & part = *open_.back();
    part.body.end = static_cast<long>(context.exact.part_end);
    if (part.type != RFC1521::multipart && part.parts.empty()) part.has_parts = false;
    if (part.is_loose) part.has_parts = false;
    if (!part.has_parts) part.parts.clear();
    open_.pop_back();
}

void CopyReader::Defect(MimeContext const & context, MimeDefect what, long long) {
    if (what == Defect_HeaderRunsIntoBody && context.part_number == 1) runs_into_body_ = true;
    bool const is_loose = what == Defect_MultipartUnclosed || what == Defect_BoundaryNotFound;
    if (is_loose && context.decoded_depth == 0) open_.back()->is_loose = true;
}

void CopyReader::BeginPreamble(MimeContext & context, std::ostream ** text) {
    if (context.decoded_depth > 0) return;
    open_.back()->preamble.begin = message_.texts->size();
    *text = &message_.texts->out();
}

void CopyReader::EndPreamble(MimeContext & context) {
    if (context.decoded_depth == 0) open_.back()->preamble.end = message_.texts->size();
}

void CopyReader::BeginEpilogue(MimeContext & context, std::ostream ** text) {
    if (context.decoded_depth > 0) return;
    open_.back()->epilogue.begin = message_.texts->size();
    *text = &message_.texts->out();
}

void CopyReader::EndEpilogue(MimeContext & context) {
    if (context.decoded_depth == 0) open_.back()->epilogue.end = message_.texts->size();
}

} // namespace examples
