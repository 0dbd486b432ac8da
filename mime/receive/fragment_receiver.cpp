// mime/receive/fragment_receiver.cpp - a fragment of a message on its way into the store, and the
// message that comes out when it was the last one
//
// The headers are joined by the rule of RFC 1521 7.3.2.1: the fields of the outer header of
// fragment 1, except nine, and these nine from the header that the fragment encloses.
//
// Tolerance:  input with bare LF line ends gives a joined message with bare LF line ends. Behind a
//             header of CR LF lines the reader would not find the delimiters of its multiparts.
// Bounds:     a joined message may itself be a fragment. This is limited, as each such step costs
//             frames of the stack and a copy of the message. If it is only stored, nothing has
//             been delivered, and the set that it came from stays too.
#include "mime/receive/receiver.hpp"

#include "mime/foundation/tokens.hpp"
#include "mime/foundation/trace_site.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/partial/file_stream.hpp"
#include "mime/partial/store.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/text_lines.hpp"

#include <algorithm>
#include <array>
#include <ostream>
#include <utility>

using vellum::CompleteSet;
using vellum::FieldList;
using vellum::FieldQueue;
using vellum::NewFragment;
using vellum::PartialStore;
using vellum::ScratchFile;

namespace {

/// A relay may cut what another one has cut already; a third cut is nothing that mail does.
constexpr int most_joined_levels = 3;

/// The fields that describe the enclosed message, not the fragment.
bool is_of_enclosed(FieldList const & field) {
    static std::array<char const *, 9> const names{
        RFC1521::MIME_Version, RFC1521::Content_Type,        RFC1521::Content_Transfer_Encoding,
        RFC1521::Content_Id,   RFC1521::Content_Description, RFC1806::Content_Disposition,
        RFC822::Subject,       RFC822::Message_Id,           RFC822::Encrypted};
    return std::any_of(names.begin(), names.end(),
                       [&](char const * name) { return field.is(name); });
}

char const * eol_of(int length) { return length == 1 ? "\n" : "\r\n"; }

/// True if there were any to write.
bool write_fields(ScratchFile & file, FieldQueue & fields, bool of_enclosed, int eol_length) {
    bool has_any = false;
    for (FieldList field; fields.take_next(field);) {
        if (is_of_enclosed(field) != of_enclosed) continue;
        file.write(field.line);
        file.write(eol_of(eol_length));
        has_any = true;
    }
    return has_any;
}

bool is_empty_line(std::string_view line) { return line == "\r\n" || line == "\n"; }

} // namespace

/// What becomes of the message if it is a fragment that the store takes. Otherwise empty, and
/// nothing has been read.
std::optional<MimeINote::ReceiveResult> MimeReceiver::Get_fragment(FieldQueue & fields,
                                                                   MimeContextItem & parent) {
    if (!partial_id || !vellum::is_storable_id(*partial_id) || !May_join()) return std::nullopt;
    if (headers_only) return MimeINote::Receive_Not_Finished;
    auto const & [bytes, messages, seconds] = note->partial_limits_;
    PartialStore store(partial_directory, {bytes, messages, seconds});
    NewFragment fragment;
    switch (store.Begin(vellum::make_label(*partial_id, partial_number, partial_total), fragment)) {
    case PartialStore::Beginning::begun: break;
    case PartialStore::Beginning::refused: return std::nullopt;
    case PartialStore::Beginning::failed: return MimeINote::Receive_Not_Finished;
    }
    Copy_fragment(fields, fragment);
    CompleteSet set;
    switch (store.Commit(std::move(fragment), set)) { // the input has been read to its end
    case PartialStore::Outcome::failed: return MimeINote::Receive_Not_Finished;
    case PartialStore::Outcome::stored: return MimeINote::Receive_Fragment_Stored;
    case PartialStore::Outcome::complete: break;
    }
    MimeINote::ReceiveResult const result = Receive_joined(set, parent);
    if (result == MimeINote::Receive_Complete) store.Remove(set);
    return result;
}

/// False within a message that was joined from fragments of this very id, and too many levels down.
bool MimeReceiver::May_join() const {
    int levels = 0;
    for (MimeReceiver const * run = joined_by_; run != nullptr; run = run->joined_by_) {
        if (++levels == most_joined_levels || run->partial_id == partial_id) return false;
    }
    return true;
}

void MimeReceiver::Copy_fragment(FieldQueue & fields, NewFragment & fragment) {
    ScratchFile & file = fragment.file;
    int const number = fragment.label.number;
    bool const has_fields =
        number <= 1 && write_fields(file, fields, false, line_reader_->Boundary_EOL_Length());
    pass_lone_cr();
    if (!runs_into_body_) NewLine_Body(); // the blank line behind the outer header
    if (number == 1) Copy_enclosed_header(file, has_fields);
    NewText_Body();
    For_each_text([&file](std::string_view text) { file.write(text); });
}

/// The header ends in front of its blank line, which is copied with the text behind it. If there is
/// no field to copy and none before, another blank line stands for the header: one at the very
/// start of a message doesn't end its header.
void MimeReceiver::Copy_enclosed_header(ScratchFile & file, bool has_fields) {
    if (rules->stray_lines_begin_body) return Copy_header_before_text(file, has_fields);
    FieldQueue enclosed;
    std::string_view name;
    std::string blank_line;
    for (bool more = NewLine_Head(true); more; more = NewLine_Head(false)) {
        if (FieldQueue::is_field(line(), name)) {
            enclosed.append(line(), name, previous_position);
            blank_line.clear();
        } else if (is_empty_line(line())) {
            blank_line = line();
        } else if (!blank_line.empty()) {
            // An empty line at the start and then no field: there is no header, and this is text.
            if (!has_fields) file.write(blank_line);
            file.write(blank_line);
            file.write(line());
            return;
        }
    }
    int const eol_length = line_reader_->Boundary_EOL_Length();
    if (!write_fields(file, enclosed, true, eol_length) && !has_fields) {
        file.write(eol_of(eol_length));
    }
}

/// The same, but lines that are no fields, with no field behind them, are the start of the text, as
/// they are in any header. They stay in the input, and a blank line is written in front of them.
void MimeReceiver::Copy_header_before_text(ScratchFile & file, bool has_fields) {
    FieldQueue enclosed;
    std::string_view name;
    std::string text;
    bool is_first = true;
    while (text.size() <= vellum::most_stray_text &&
           NewField_Head(std::exchange(is_first, false))) {
        copy_raw(line());
        if (FieldQueue::is_field(line(), name)) {
            enclosed.append(line(), name, previous_position);
            text.clear();
        } else {
            text += line();
        }
    }
    int const eol_length = line_reader_->Boundary_EOL_Length();
    bool const has_any = write_fields(file, enclosed, true, eol_length) || has_fields;
    if (!has_any) file.write(eol_of(eol_length));
    if (!text.empty() && text.front() != '\r' && text.front() != '\n') {
        file.write(eol_of(eol_length));
    }
    line_reader_->Push_Back(text);
}

/// Reads the set as a message for the same note.
MimeINote::ReceiveResult MimeReceiver::Receive_joined(CompleteSet const & set,
                                                      MimeContextItem & parent) {
    std::array<char, 1024> buffer;
    vellum::iFileStream joined(set.files, buffer.data(), static_cast<int>(buffer.size()));
    auto const is_readable = [&] {
        if (!joined.failed()) return true;
        vellum::trace({vellum::trace_warning, "mime/receive/fragment_receiver", __LINE__},
                      "The set that begins with %s can't be read", set.files.front().file.c_str());
        return false;
    };
    joined.peek(); // so that a message is only begun when there is something of it
    if (!is_readable()) return MimeINote::Receive_Not_Finished;
    if (debug != nullptr) { // the message takes the place of what was captured of the fragment
        debug->clear();
        debug->seekp(0);
        debug->clear(); // a stream that has no places goes on where it is
    }
    MimeReceiver run(note, &joined, partial_directory.c_str(), false, debug);
    run.joined_by_ = this;
    note->SetCookie(std::exchange(parent.cookie, nullptr)); // the other run takes it over
    MimeINote::ReceiveResult const result = run.Get_message();
    return is_readable() ? result : MimeINote::Receive_Not_Finished;
}
