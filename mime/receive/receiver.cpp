// mime/receive/receiver.cpp - the driver of a run: lines, the two passes over a header, the message
#include "mime/receive/receiver.hpp"

#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/field_parsers.hpp"
#include "mime/note/position.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"

#include <limits>
#include <ostream>
#include <utility>

using vellum::FieldList;
using vellum::FieldQueue;

namespace vellum {

HeaderRun & run_of(MimeReceiver & receiver) { return receiver; }

} // namespace vellum

namespace {

void install_parsers_once() {
    if (!SymbolTable::Main->ParsersInstalled()) Install_Field_Parsers(SymbolTable::Main);
}

} // namespace

MimeReceiver::MimeReceiver(MimeINote * client, char const * dir, bool only_headers,
                           std::ostream * debug_stream)
    : HeaderRun(client), debug(debug_stream), headers_only(only_headers),
      partial_directory(dir != nullptr ? dir : ""), nesting_limit_(client->nesting_limit_) {
    install_parsers_once();
    factories = client->factories_;
}

MimeReceiver::MimeReceiver(MimeINote * client, TiStreamLite * in, char const * dir,
                           bool only_headers, std::ostream * debug_stream)
    : MimeReceiver(client, dir, only_headers, debug_stream) {
    line_reader_ = std::make_unique<MimeLine_via_TiStreamLite>(in, &line_begin, &line_end, this,
                                                               vellum::line_buffer_size);
}

MimeReceiver::MimeReceiver(MimeINote * client, std::istream * in, char const * dir,
                           bool only_headers, std::ostream * debug_stream)
    : MimeReceiver(client, dir, only_headers, debug_stream) {
    line_reader_ = std::make_unique<MimeLine_via_istream>(in, &line_begin, &line_end, this,
                                                          vellum::line_buffer_size);
}

MimeReceiver::MimeReceiver(MimeINote * client, iSimpleStream * in, char const * dir,
                           bool only_headers, std::ostream * debug_stream)
    : MimeReceiver(client, dir, only_headers, debug_stream) {
    line_reader_ = std::make_unique<MimeLine_via_iSimpleStream>(in, &line_begin, &line_end, this,
                                                                vellum::line_buffer_size);
}

MimeReceiver::~MimeReceiver() = default;

// Lines ----------------------------------------------------------------------------

bool MimeReceiver::NewLine_Head(bool first) {
    long long const taken = line_reader_->ReadLine_Head(line_count, at_end, first);
    if (taken > 0) {
        previous_position = position;
        position += taken;
    }
    return taken > 0;
}

bool MimeReceiver::NewLine_Body() {
    return count_body(line_reader_->ReadLine_Body(line_count, at_end));
}

/// The same, but a long line may come in pieces.
bool MimeReceiver::NewText_Body() {
    return count_body(line_reader_->ReadText_Body(line_count, at_end));
}

bool MimeReceiver::count_body(long long taken) {
    previous_position = position;
    position += taken;
    return taken > 0;
}

/// Further text behind the current line or piece, as far as it can be had at once.
std::string_view MimeReceiver::NewLines_Body() {
    std::string_view const lines = line_reader_->ReadLines_Body(line_count);
    position += static_cast<long long>(lines.size());
    return lines;
}

std::string_view MimeReceiver::line() const {
    return {line_begin, static_cast<std::size_t>(line_end - line_begin)};
}

void MimeReceiver::copy_raw(std::string_view text) {
    if (debug != nullptr) debug->write(text.data(), static_cast<std::streamsize>(text.size()));
}

// Headers --------------------------------------------------------------------------

/// The first pass: collects the fields up to the blank line, and looks only at what decides on the
/// part's kind. True if the type is message/partial.
bool MimeReceiver::read_header(bool first, FieldQueue & fields) {
    bool is_fragment = false;
    FieldList field;
    for (bool more = NewLine_Head(first); more; more = NewLine_Head(false)) {
        bool const is_field = fields.append(line(), field);
        line_reader_->Forget_Head();
        if (!is_field) continue;
        if (type == nullptr && field.is(RFC1521::Content_Type)) {
            is_fragment = Query_Content_Type(field.body);
        } else if (disposition == nullptr && field.is(RFC1806::Content_Disposition)) {
            Query_Content_Disposition(field.body);
        }
    }
    return is_fragment;
}

/// The second pass: reports the fields in arrival order. `owns_level`: the top boundary level is
/// that of this part.
void MimeReceiver::dispatch_all(FieldQueue & fields, MimeContext & context, bool has_type,
                                bool owns_level) {
    struct Scope {
        HeaderRun & run;
        ~Scope() { run.current_context = nullptr; }
    } const scope{*this};
    current_context = &context;
    for (FieldList field; fields.take(field);)
        field.Dispatch(this);
    // A further Content-Type may have made it no multipart: what follows is data to its end, and
    // the first one's delimiter mustn't cut it off.
    if (owns_level && !is_multipart()) line_reader_->Boundary_Init(nullptr);
    if (!has_type) note->Set_Content_Type("", type, subtype);
}

void MimeReceiver::Boundary_Init(char const * boundary) {
    // A multipart that is delivered as data has no level of its own: the delimiter on top is that
    // of the multipart around it.
    if (!is_too_deep_) line_reader_->Boundary_Init(boundary);
}

/// The blank line that ends the header has not been read yet: the body's walk begins with it.
long long MimeReceiver::end_of_header() const {
    return position + line_reader_->Boundary_EOL_Length();
}

bool MimeReceiver::is_multipart() const { return type == RFC1521::multipart; }

/// A part that encloses others: the kinds that the nesting limit counts.
bool MimeReceiver::is_container() const {
    return is_multipart() || (type == RFC1521::message && subtype == RFC1521::RFC822);
}

/// The numbers of a message with more parts than an int can count stay at the last one.
void MimeReceiver::count_part() {
    auto const count = [](int & number) { number += number < std::numeric_limits<int>::max(); };
    count(part_count);
    if (!is_multipart() && type != RFC1521::message) count(atomic_count);
}

/// Whether the part whose header was read lies too deep to be opened.
void MimeReceiver::settle_depth() { is_too_deep_ = is_container() && nesting_ >= nesting_limit_; }

void MimeReceiver::call(void (MimeINote::*operation)(MimeContext &), MimeContext & context) {
    vellum::mirror_positions(context);
    (note->*operation)(context);
}

void MimeReceiver::begin_part(MimeContext & context, long long start) {
    context.exact.part_start = context.exact.header_start = start;
    call(&MimeINote::BeginPart, context);
    call(&MimeINote::BeginHeader, context);
}

void MimeReceiver::report_url() {
    if (!url) return;
    std::string const text = *std::exchange(url, std::nullopt);
    note->Set_URL(text.c_str());
}

// The message ------------------------------------------------------------------------

/// The level around the top message. It takes over the note's cookie, and tells the note that it
/// has it: a client may set the same cookie or another one meanwhile.
class MimeReceiver::OutermostLevel : public MimeContextItem {
public:
    explicit OutermostLevel(MimeINote & note)
        : MimeContextItem(RFC1521::message, RFC1521::RFC822, nullptr,
                          std::exchange(note.cookie_, nullptr)),
          note_(note), before_(std::exchange(note.outermost_, this)) {}
    ~OutermostLevel() { note_.outermost_ = before_; }

private:
    MimeINote & note_;
    MimeContextItem const * before_;
};

MimeINote::ReceiveResult MimeReceiver::Get_message() {
    OutermostLevel parent(*note);
    long long const start = position;
    line_reader_->Boundary_Push();
    FieldQueue fields;
    bool const is_fragment = read_header(true, fields);
    long long const header_end = end_of_header();
    if (is_fragment) {
        if (auto const result = Get_fragment(fields, parent)) {
            if (debug != nullptr) debug->flush();
            return *result;
        }
    }

    bool const has_type = type != nullptr;
    if (!has_type) {
        type = RFC1521::text;
        subtype = RFC1521::plain;
    }
    count_part();
    settle_depth();
    MimeContextItem item(type, subtype, disposition, nullptr);
    MimeContext context(0, 0, atomic_count, part_count, &item, &parent);
    begin_part(context, start);
    report_url();
    dispatch_all(fields, context, has_type, true);
    context.exact.header_end = header_end;
    call(&MimeINote::EndHeader, context);

    if (!headers_only) Get_message_body(context);
    context.exact.part_end = position;
    call(&MimeINote::EndPart, context);
    if (debug != nullptr) debug->flush();
    return headers_only ? MimeINote::Receive_Not_Finished : MimeINote::Receive_Complete;
}
