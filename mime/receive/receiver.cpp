// mime/receive/receiver.cpp - the driver of a run: lines, the two passes over a header, the message
#include "mime/receive/receiver.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/field_parsers.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/note/position.hpp"
#include "mime/receive/boundary_stack.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"

#include <algorithm>
#include <limits>
#include <ostream>
#include <utility>

using vellum::FieldList;
using vellum::FieldQueue;

namespace vellum {

HeaderRun & run_of(MimeReceiver & receiver) { return receiver; }

} // namespace vellum

namespace {

bool is_blank(char const * boundary) {
    std::string_view const text(boundary != nullptr ? boundary : "");
    return text.find_first_not_of(" \t") == text.npos;
}

void install_parsers_once() {
    if (!SymbolTable::Main->ParsersInstalled()) Install_Field_Parsers(SymbolTable::Main);
}

} // namespace

MimeReceiver::MimeReceiver(MimeINote * client, char const * dir, bool only_headers,
                           std::ostream * debug_stream)
    : HeaderRun(client), debug(debug_stream), headers_only(only_headers),
      partial_directory(dir != nullptr ? dir : ""), has_partial_directory_(dir != nullptr),
      nesting_limit_(client->nesting_limit_), part_limit_(client->part_limit_),
      header_limit_(client->header_limit_) {
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
    return count_head(line_reader_->ReadLine_Head(line_count, at_end, first));
}

/// The same, but the field as it stands, and nothing goes to the debug stream.
bool MimeReceiver::NewField_Head(bool first) {
    return count_head(line_reader_->ReadField_Head(line_count, at_end, first));
}

bool MimeReceiver::count_head(long long taken) {
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

/// Lines of a header that are no fields.
struct MimeReceiver::StrayLines {
    long long start = -1;         ///< Where they begin, or -1.
    unsigned long long lines = 0; ///< The count of lines in front of them.
    std::string text;             ///< Where they may begin the body.
};

/// The first pass: collects the fields up to the blank line, and looks only at what decides on the
/// part's kind. True if the type is message/partial. `first`: a blank line at the start ends
/// nothing.
bool MimeReceiver::read_header(bool first, bool begins_message, FieldQueue & fields) {
    runs_into_body_ = false;
    header_size_ = 0;
    early_defects_.clear();
    line_reader_->Boundary_Expect(nullptr);
    StrayLines stray;
    bool is_fragment = false;
    unsigned long long lines_before = line_count;
    for (bool more = NewField_Head(first); more; more = NewField_Head(false)) {
        if (begins_message && rules->byte_order_mark_passed) pass_byte_order_mark(fields);
        begins_message = false;
        if (std::string_view name; FieldQueue::is_field(line(), name)) {
            if (stray.start >= 0) copy_raw(std::exchange(stray.text, std::string()));
            stray.start = -1;
            add_field(fields, name, is_fragment);
        } else {
            add_stray(stray, lines_before);
            if (stray.text.size() > vellum::most_stray_text) {
                line_reader_->end_head();
                break;
            }
        }
        line_reader_->Forget_Head();
        lines_before = line_count;
    }
    end_header(stray);
    return is_fragment;
}

/// The mark isn't the first field's, nor does it stand in front of it as a line that was passed
/// over.
void MimeReceiver::pass_byte_order_mark(FieldQueue & fields) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    std::string_view name;
    if (!line().starts_with(mark) || !FieldQueue::is_field(line().substr(mark.size()), name))
        return;
    early_defects_.push_back({Defect_ByteOrderMark, previous_position});
    copy_raw(mark);
    line_begin += mark.size();
    previous_position += static_cast<long long>(mark.size());
    fields = FieldQueue(previous_position);
}

/// The current line is a field of that name.
void MimeReceiver::add_field(FieldQueue & fields, std::string_view name, bool & is_fragment) {
    copy_raw(line());
    std::size_t const size = line().size();
    header_size_ += std::min(size, std::numeric_limits<std::size_t>::max() - header_size_);
    if (header_limit_ != 0 && header_size_ > header_limit_) {
        if (header_size_ - size > header_limit_) return; // not the first
        early_defects_.push_back({Defect_HeaderTooLong, previous_position});
        return;
    }
    fields.append(line(), name, previous_position);
    look_at_kind(fields, name, is_fragment);
}

/// Looks at the field that was appended last, the current line, if it decides on the part's kind.
/// (Such names begin alike; of the other fields this is to cost next to nothing.)
void MimeReceiver::look_at_kind(FieldQueue & fields, std::string_view name, bool & is_fragment) {
    if (name.empty() || vellum::ascii::to_lower(name.front()) != 'c') return;
    auto const is = [name](char const * token) { return vellum::ascii::equal(name, token); };
    bool const is_type = type == nullptr && is(RFC1521::Content_Type);
    bool const is_disposition = disposition == nullptr && is(RFC1806::Content_Disposition);
    if (!is_type && !is_disposition) return;
    line_reader_->Forget_Head(); // and the name with it
    fields.copy_last_body(kind_body_);
    if (is_type) {
        is_fragment = Query_Content_Type(kind_body_);
        if (is_multipart() && rules->delimiter_ends_header) {
            fields.copy_last_body(kind_body_);
            Expect_delimiter(kind_body_);
        }
    }
    if (is_disposition) Query_Content_Disposition(kind_body_);
    if (kind_body_.capacity() > vellum::most_kept_memory) kind_body_ = std::string();
}

/// The current line is no field.
void MimeReceiver::add_stray(StrayLines & stray, unsigned long long lines_before) {
    if (stray.start < 0) {
        stray.start = previous_position;
        stray.lines = lines_before;
    }
    if (rules->stray_lines_begin_body) {
        stray.text += line();
    } else {
        copy_raw(line());
    }
}

/// No field follows the stray lines: they begin the body, or were passed over. A blank line alone,
/// in front of all, is no text.
void MimeReceiver::end_header(StrayLines & stray) {
    bool const is_blank = stray.text.size() <= vellum::most_stray_text &&
                          stray.text.find_first_not_of("\r\n") == stray.text.npos;
    if (stray.start >= 0 && is_blank) {
        copy_raw(stray.text);
        early_defects_.push_back({Defect_StrayLine, stray.start});
    } else if (stray.start >= 0) {
        early_defects_.push_back({Defect_HeaderRunsIntoBody, stray.start});
        put_back(stray);
        runs_into_body_ = stray.text.front() != '\r' && stray.text.front() != '\n';
        return;
    }
    runs_into_body_ = line_reader_->Body_follows();
    if (line_reader_->Boundary_follows() || runs_into_body_) {
        early_defects_.push_back({Defect_HeaderRunsIntoPart, position});
    } else if (at_end) {
        early_defects_.push_back({Defect_HeaderUnfinished, position});
    }
}

/// The lines are to be read again, as text.
void MimeReceiver::put_back(StrayLines & stray) {
    line_reader_->Push_Back(stray.text);
    position = stray.start;
    line_count = stray.lines;
    at_end = false;
}

/// A CR alone ends a header too. Behind it begins what the part encloses, in the same line.
bool MimeReceiver::pass_lone_cr() {
    if (!rules->lone_cr_is_blank_line || runs_into_body_ || !line_reader_->Pass_Lone_CR()) {
        return false;
    }
    copy_raw("\r");
    previous_position = position++;
    runs_into_body_ = true;
    return true;
}

/// What was met while the header was read, in its order.
void MimeReceiver::tell_early(FieldQueue & fields, MimeContext & context) {
    if (early_defects_.empty() && !fields.has_gaps()) return;
    auto early = early_defects_.begin();
    auto const tell_up_to = [&](long long offset) {
        for (; early != early_defects_.end() && early->offset < offset; ++early)
            tell(context, early->what, early->offset);
    };
    for (vellum::RawField raw; fields.next(raw);) {
        if (raw.gap_before < 0) continue;
        tell_up_to(raw.gap_before);
        tell(context, Defect_StrayLine, raw.gap_before);
    }
    fields.rewind();
    tell_up_to(std::numeric_limits<long long>::max());
    early_defects_.clear();
}

void MimeReceiver::tell(MimeContext & context, MimeDefect what, long long offset) {
    vellum::mirror_positions(context);
    note->Defect(context, what, offset);
}

/// The second pass: reports the fields in arrival order. `owns_level`: the top boundary level is
/// that of this part.
void MimeReceiver::dispatch_all(FieldQueue & fields, MimeContext & context, bool has_type,
                                bool owns_level) {
    owns_level_ = owns_level;
    dispatch(fields, context);
    // Its memory isn't needed below: the next header takes it, unless that would bind much of it.
    std::string memory = fields.release();
    if (memory.capacity() <= vellum::most_kept_memory) field_memory_ = std::move(memory);
    settle_opening(context);
    if (!has_type) note->Set_Content_Type("", type, subtype);
}

void MimeReceiver::dispatch(FieldQueue & fields, MimeContext & context) {
    struct Scope {
        HeaderRun & run;
        ~Scope() { run.current_context = nullptr; }
    } const scope{*this};
    current_context = &context;
    type_offset_ = -1;
    FieldList field;
    for (vellum::RawField raw; fields.next(raw); field.Dispatch(this)) {
        field_offset = raw.offset;
        note->RawField(context, raw.text.data(), raw.text.size(), raw.offset);
        fields.take(field);
        if (field.is_cut) HeaderRun::tell(Defect_FieldCut);
        if (!field.is_known_as(RFC1521::Content_Type)) continue;
        if (type_offset_ >= 0) HeaderRun::tell(Defect_TypeTwice);
        if (type_offset_ < 0) type_offset_ = raw.offset;
    }
}

/// Whether the part is walked, now that the parsers have had the last word on its type. What is to
/// be data has no delimiter of its own.
void MimeReceiver::settle_opening(MimeContext & context) {
    bool const is_deep = is_too_deep_ || nesting_ >= nesting_limit_ ||
                         (is_encoded() && decoded_depth_ >= vellum::most_decoded_levels);
    bool const owns_level = owns_level_ || !rules->outer_delimiters;
    bool const has_boundary = !is_multipart() || (owns_level && line_reader_->Boundary_has_text());
    long long const offset = type_offset_ < 0 ? context.exact.part_start : type_offset_;
    if (is_container() && is_deep) {
        tell(context, Defect_NestedTooDeep, offset);
    } else if (is_container() && has_all_parts()) {
        tell(context, Defect_TooManyParts, offset);
    } else if (!has_boundary) {
        tell(context, Defect_BoundaryMissing, offset);
    }
    is_opened_ = is_container() && !is_deep && !has_all_parts() &&
                 (has_boundary || !rules->multipart_needs_boundary);
    if (is_container() && is_encoded()) tell(context, Defect_EncodedContainer, offset);
    if (!owns_level_ || (is_multipart() && is_opened_)) return;
    bool const is_data = rules->outer_delimiters || has_all_parts();
    if (is_data && line_reader_->levels_->depth() > 1) {
        line_reader_->Boundary_Pop(); // that of a part
    } else if (is_data || !is_multipart()) {
        // What follows is data to its end, and the first type's delimiter mustn't cut it off.
        line_reader_->Boundary_Init(nullptr);
    }
}

bool MimeReceiver::is_encoded() const {
    return transfer_encoding == RFC1521::base64 || transfer_encoding == RFC1521::quoted_printable ||
           transfer_encoding == X::uuencode;
}

bool MimeReceiver::has_all_parts() const { return part_limit_ != 0 && part_count >= part_limit_; }

void MimeReceiver::Boundary_Init(char const * boundary) {
    // A multipart that is delivered as data has no level of its own: the delimiter on top is that
    // of the multipart around it.
    if (is_too_deep_) return;
    if (rules->multipart_needs_boundary && is_blank(boundary)) return;
    if (rules->outer_delimiters && !owns_level_) {
        line_reader_->Boundary_Push(); // only a further Content-Type has made it a multipart
        owns_level_ = true;
    }
    line_reader_->Boundary_Init(boundary);
}

/// The blank line that ends the header has not been read yet: the body's walk begins with it. Where
/// the body or a delimiter follows at once, there is none.
long long MimeReceiver::end_of_header() const {
    bool const has_blank_line = !runs_into_body_ && !line_reader_->Boundary_follows();
    return position + (has_blank_line ? line_reader_->Boundary_EOL_Length() : 0);
}

bool MimeReceiver::is_multipart() const { return type == RFC1521::multipart; }

/// A part that encloses others: the kinds that the nesting limit counts.
bool MimeReceiver::is_container() const {
    if (is_multipart() || type != RFC1521::message) return is_multipart();
    if (subtype == RFC1521::RFC822) return true;
    return rules->encoded_messages_opened && subtype != nullptr &&
           vellum::ascii::equal(subtype, "global");
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

void MimeReceiver::begin_header(FieldQueue & fields, MimeContext & context, long long start) {
    context.exact.part_start = context.exact.header_start = start;
    call(&MimeINote::BeginPart, context);
    call(&MimeINote::BeginHeader, context);
    tell_early(fields, context);
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
    FieldQueue fields(start, std::move(field_memory_));
    bool const is_fragment = read_header(true, true, fields);
    long long const header_end = end_of_header();
    if (is_fragment && (has_partial_directory_ || !rules->fragments_need_directory)) {
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
    begin_header(fields, context, start);
    if (is_fragment) tell(context, Defect_FragmentNotStored, start);
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
