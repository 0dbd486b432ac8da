// examples/support/strip_note.cpp - the note that takes parts out of a message on its way
//
// Why a part has to wait: its header changes if it goes, and that is known when its body turns out
// to be too long. How far its body reaches is told while it is read by the bytes that the engine
// hands out of it, as the end of what has been taken may belong to a delimiter already.
#include "examples/support/strip_note.hpp"

#include "examples/support/lower_case.hpp"
#include "examples/support/raw_field.hpp"
#include "examples/support/utf8.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>

namespace examples {

namespace {

constexpr std::size_t longest_value = 200;

/// Whether the field is wrong as soon as there is another body.
bool tells_of_body(std::string_view field) {
    constexpr std::array<std::string_view, 6> names{
        "content-type",        "content-transfer-encoding",
        "content-disposition", "content-md5",
        "content-length",      "lines"};
    return std::find(names.begin(), names.end(), lower_case(name_of_field(field))) != names.end();
}

bool is_ascii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// What stands in the place of the part, but for its size.
std::string description_of(PartInfo const & part) {
    std::string text = "This part of the message was removed.\r\n";
    auto const add = [&](char const * title, std::string const & value) {
        text += title + one_line(value, longest_value) + "\r\n";
    };
    if (part.file_name) add("Name: ", *part.file_name);
    std::string type = part.type;
    if (part.subtype != nullptr) (type += '/') += part.subtype;
    add("Type: ", lower_case(type));
    return text;
}

std::string quoted_printable(std::string text) {
    oSimpleStream out;
    iSimpleStream in(text.data(), text.data() + text.size());
    EncodingQP(true).encode(&in, &out);
    std::string encoded(out.str(), static_cast<std::size_t>(out.pcountExact()));
    return encoded.substr(0, encoded.rfind("=\r\n")); // how a last line without an end ends
}

} // namespace

StripNote::StripNote(std::istream & in, PassingInput & input, StripRules const & rules)
    : PartNote(in, Bodies::as_sent), input_(input), rules_(rules) {
    DeliverRaw();
}

void StripNote::Run() {
    Receive();
    input_.PassRest();
}

/// Whether the offsets of the context count bytes of the input, and nothing around it may go.
bool StripNote::IsOutside(MimeContext const & context) const {
    return !candidate_ && context.decoded_depth == 0;
}

// The header -------------------------------------------------------------------------

void StripNote::BeginPart(MimeContext & context) {
    PartNote::BeginPart(context);
    header_ = {.line_end = header_.line_end}; // where there is no field, as in the header before
    if (candidate_) return;
    bool const is_within_encoded = context.decoded_depth > 0; // which stays
    input_.PassAll(is_within_encoded);
    if (!is_within_encoded) input_.Pass(context.exact.part_start);
}

void StripNote::RawField(MimeContext &, char const * field, unsigned long size, long long offset) {
    std::string_view const text(field, size);
    if (header_.first_field < 0) header_.first_field = offset;
    bool const has_bare_lf = size < 2 || text.substr(size - 2) != "\r\n";
    header_.line_end = has_bare_lf ? "\n" : "\r\n";
    if (!tells_of_body(text)) return;
    header_.body_fields.push_back({offset, offset + static_cast<long long>(size)});
}

void StripNote::Defect(MimeContext const &, MimeDefect what, long long) {
    if (what == Defect_HeaderRunsIntoBody) header_.has_blank_line = false;
}

// The body ---------------------------------------------------------------------------

/// Whether the part whose body begins may go.
bool StripNote::Consider(MimeContext const & context) {
    if (!IsOutside(context) || sealed_by_ != 0) return false;
    std::optional<long long> const most_bytes = rules_.most_bytes(Part());
    if (!most_bytes) return false;
    candidate_.emplace(
        Candidate{context.part_number, *most_bytes, context.exact.body_start, header_, Part()});
    watch_.Reset();
    return true;
}

void StripNote::BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) {
    bool const has_parts = data == nullptr;
    PartNote::BeginBody(context, data, raw);
    if (!has_parts) return;
    bool const is_sealed_here = IsOutside(context) && sealed_by_ == 0 && !rules_.is_signed_too;
    if (is_sealed_here && Part().is_sealed()) sealed_by_ = context.part_number;
    // The raw text of other messages has line ends more in it.
    if (Consider(context) && Part().is_encoded()) *raw = &watch_stream_;
}

std::ostream * StripNote::BeginLeaf(MimeContext & context) {
    if (Consider(context)) return &watch_stream_;
    if (IsOutside(context)) input_.PassAll(true);
    return nullptr;
}

/// The bytes of the body in front of `end` are known to be its own.
void StripNote::SeeBody(long long end) {
    if (!candidate_->is_going && end - candidate_->body_start > candidate_->most_bytes) {
        candidate_->is_going = true;
        WriteHeader();
    }
    if (candidate_->is_going) input_.Drop(end);
}

void StripNote::EndBody(MimeContext & context) {
    PartNote::EndBody(context);
    if (IsOutside(context)) input_.PassAll(false);
    if (context.part_number == sealed_by_) sealed_by_ = 0;
    if (!candidate_ || candidate_->part_number != context.part_number) return;
    long long const end = context.exact.body_end;
    SeeBody(end);
    bool const is_last = input_.taken() == end;
    if (candidate_->is_going) WriteText(end - candidate_->body_start, is_last);
    candidate_.reset();
}

/// The first line isn't counted: it is the blank line, whatever blanks it has, or else a line too
/// few.
std::streamsize StripNote::Watch::xsputn(char const * text, std::streamsize size) {
    std::string_view seen(text, static_cast<std::size_t>(size));
    if (!is_behind_line_) {
        auto const lf = seen.find('\n');
        if (lf == seen.npos) return size;
        is_behind_line_ = true;
        seen.remove_prefix(lf + 1);
    }
    count_ += static_cast<long long>(seen.size());
    note_.SeeBody(note_.candidate_->body_start + count_);
    return size;
}

StripNote::Watch::int_type StripNote::Watch::overflow(int_type byte) {
    char const c = traits_type::to_char_type(byte);
    xsputn(&c, 1);
    return traits_type::not_eof(byte);
}

// What stands beside the parts ---------------------------------------------------------

void StripNote::BeginPreamble(MimeContext & context, std::ostream **) {
    if (IsOutside(context)) input_.PassAll(true);
}

void StripNote::EndPreamble(MimeContext & context) {
    if (IsOutside(context)) input_.PassAll(false);
}

void StripNote::BeginEpilogue(MimeContext & context, std::ostream ** text) {
    BeginPreamble(context, text);
}

void StripNote::EndEpilogue(MimeContext & context) { EndPreamble(context); }

// What comes in the place of a part ------------------------------------------------------

/// The header as it stands, but for the fields that tell of the body.
void StripNote::WriteHeader() {
    Header const & header = candidate_->header;
    candidate_->description = description_of(candidate_->part);
    bool const is_plain = is_ascii(candidate_->description);
    auto const & fields = header.body_fields;
    input_.Pass(!fields.empty() ? fields.front().begin : header.first_field);
    input_.out() << "Content-Type: text/plain; charset=" << (is_plain ? "us-ascii" : "utf-8")
                 << header.line_end
                 << "Content-Transfer-Encoding: " << (is_plain ? "7bit" : "quoted-printable")
                 << header.line_end;
    for (Header::Field const & field : fields) {
        input_.Pass(field.begin);
        input_.Drop(field.end);
    }
    input_.Pass(candidate_->body_start);
    if (!header.has_blank_line) input_.out() << header.line_end;
}

/// The line end in front of a delimiter is there already.
void StripNote::WriteText(long long size, bool is_last) {
    std::string text = candidate_->description;
    text += "Size in the message: " + std::to_string(size) + " bytes";
    if (!is_ascii(text)) text = quoted_printable(text);
    if (is_last) text += "\r\n";
    if (candidate_->header.line_end == std::string_view("\n")) {
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    }
    input_.out() << text;
}

} // namespace examples
