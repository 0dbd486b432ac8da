// mime/receive/field_list.cpp - the header fields that have been read and wait for their dispatch
#include "mime/receive/field_list.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/header/code_page_note.hpp"
#include "mime/header/comment.hpp"
#include "mime/header/field_parsers.hpp"
#include "mime/header/header_run.hpp"
#include "mime/nls/utf_8.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>

namespace vellum {

namespace {

/// Passes white space and comments in the NUL-terminated text.
char * pass_LWSP(char * p) {
    while (ascii::is_blank(*p) || *p == '(') {
        p = *p == '(' ? p + pass_comment([p](std::size_t i) { return p[i]; }, 0) : p + 1;
    }
    return p;
}

/// The line up to its first NUL, without one line end and then the white space at its end.
std::string_view trimmed(std::string_view line) {
    line = line.substr(0, line.find('\0'));
    auto const ends_in = [&](char c) { return !line.empty() && line.back() == c; };
    if (ends_in('\n')) line.remove_suffix(1);
    if (ends_in('\r')) line.remove_suffix(1);
    while (!line.empty() && ascii::is_blank(line.back()))
        line.remove_suffix(1);
    return line;
}

} // namespace

bool FieldList::split(char * text) {
    char * p = line = pass_LWSP(text);
    while (*p != ':' && !ascii::is_blank(*p) && !ascii::is_control(*p))
        ++p;
    name = p > line ? Substring{line, p, '\0'} : Substring{};
    p = pass_LWSP(p);
    if (*p != ':') return false;
    ++p;
    while (ascii::is_blank(*p))
        ++p;
    body = p;
    return true;
}

bool FieldList::is(char const * token) const {
    return ascii::equal({name.begin, static_cast<std::size_t>(name.end - name.begin)}, token);
}

/// What the parsers find in a field is in the client's code page, as they get it so; or as it is
/// brought there behind them, where text in the client's code page can't be parsed.
void FieldList::Dispatch(MimeReceiver * receiver) {
    HeaderRun & run = run_of(*receiver);
    std::string_view const text(line);
    if (utf_8::is_ascii(text)) return call_parser(receiver);
    run.tell(Defect_EightBitField);
    std::optional<CodePageNote::Scope> in_utf_8;
    if (CodePageNote::is_needed(run)) {
        if (!run.code_page_note) run.code_page_note = std::make_unique<CodePageNote>(run);
        in_utf_8.emplace(run, *run.code_page_note);
    }
    std::optional<std::string> translated = run.client_text(text);
    FieldList field;
    if (!translated || !field.split(translated->data())) return call_parser(receiver);
    run.raw_body = body;
    struct Scope {
        HeaderRun & run;
        ~Scope() { run.raw_body = nullptr; }
    } const scope{run};
    field.call_parser(receiver);
}

void FieldList::call_parser(MimeReceiver * receiver) {
    name.terminate();
    TableItem const * const item = SymbolTable::Main->LookUp(name.begin, false, false);
    name.restore();
    if (auto const parser = item != nullptr ? item->FieldParser() : nullptr) {
        parser(receiver, body, item->text);
        return;
    }
    name.terminate();
    ParseHeaderField::Other(receiver, body, name.begin);
    name.restore();
}

std::size_t unfold(char * text, std::size_t size) {
    char * const end = text + size;
    char * to = text;
    for (char * from = text; from < end;) {
        auto const left = static_cast<std::size_t>(end - from);
        char * lf = static_cast<char *>(std::memchr(from, '\n', left));
        bool const is_fold = lf != nullptr && lf + 1 != end;
        char * const next = lf != nullptr ? lf + 1 : end;
        char * const stop = !is_fold ? next : lf > from && lf[-1] == '\r' ? lf - 1 : lf;
        if (to != from) std::memmove(to, from, static_cast<std::size_t>(stop - from));
        to += stop - from;
        from = next;
    }
    return static_cast<std::size_t>(to - text);
}

namespace {

/// The lines unfolded, without the white space at their end.
std::string unfolded(std::string_view lines) {
    std::string text(lines);
    text.resize(unfold(text.data(), text.size()));
    text.resize(trimmed(text).size());
    return text;
}

/// The bytes that a name may hold (RFC 5322 2.2), and those of 8 bits that mail has in names.
constexpr std::array<bool, 256> name_bytes = [] {
    std::array<bool, 256> bytes{};
    for (std::size_t c = 0x21; c < 256; ++c)
        bytes[c] = c != ':' && c != 0x7F;
    return bytes;
}();

/// The size of the name at the start of nearly every field, which the colon follows.
std::size_t plain_name_size(std::string_view lines) {
    std::size_t size = 0;
    while (size < lines.size() && name_bytes[ascii::byte(lines[size])])
        ++size;
    bool const is_plain = size < lines.size() && lines[size] == ':' && lines.front() != '(';
    return is_plain ? size : lines.npos;
}

} // namespace

bool FieldQueue::is_field(std::string_view lines, std::string & name) {
    constexpr std::size_t longest = 63;
    std::size_t const size = plain_name_size(lines);
    if (size != lines.npos) {
        name.assign(lines.substr(0, std::min(size, longest)));
        return true;
    }
    std::string text = unfolded(lines);
    FieldList field;
    if (!field.split(text.data())) return false;
    name.assign(field.name.begin,
                std::min(static_cast<std::size_t>(field.name.end - field.name.begin), longest));
    return true;
}

std::string FieldQueue::last_body() const {
    std::string text = unfolded(std::string_view(lines_).substr(last_));
    FieldList field;
    field.split(text.data());
    return text.erase(0, static_cast<std::size_t>(field.body - text.data()));
}

void FieldQueue::append(std::string_view lines, long long offset) {
    constexpr std::size_t most_beside = 21; // two numbers and a NUL
    bool const has_gap = offset != end_;
    std::size_t const size = lines_.size() + lines.size() + most_beside;
    if (size > lines_.capacity()) {
        lines_.reserve(std::max(size, 2 * lines_.size())); // one move, not two
    }
    put_number(lines.size() * 2 + (has_gap ? 1 : 0));
    if (has_gap) put_number(static_cast<unsigned long long>(offset - end_));
    last_ = lines_.size();
    lines_.append(lines);
    if (lines.back() != '\n') lines_.push_back('\0');
    end_ = offset + static_cast<long long>(lines.size());
}

bool FieldQueue::next(RawField & raw) {
    if (next_ == lines_.size()) return false;
    unsigned long long const number = get_number();
    raw.gap_before = number % 2 != 0 ? at_ : -1;
    if (number % 2 != 0) at_ += static_cast<long long>(get_number());
    current_ = next_;
    current_size_ = static_cast<std::size_t>(number / 2);
    raw.text = {lines_.data() + current_, current_size_};
    raw.offset = at_;
    at_ += static_cast<long long>(current_size_);
    next_ += current_size_ + (raw.text.back() != '\n' ? 1 : 0);
    return true;
}

void FieldQueue::take(FieldList & field) {
    char * const text = lines_.data() + current_;
    text[trimmed({text, unfold(text, current_size_)}).size()] = '\0';
    field.split(text);
}

bool FieldQueue::take_next(FieldList & field) {
    RawField raw;
    if (!next(raw)) return false;
    take(field);
    return true;
}

void FieldQueue::rewind() {
    next_ = 0;
    at_ = start_;
}

/// Seven bits a byte, the low ones first; the high bit says that more follow.
void FieldQueue::put_number(unsigned long long number) {
    for (; number > 0x7F; number >>= 7)
        lines_.push_back(static_cast<char>(number % 0x80 + 0x80));
    lines_.push_back(static_cast<char>(number));
}

unsigned long long FieldQueue::get_number() {
    unsigned long long number = 0;
    for (int shift = 0;; shift += 7) {
        unsigned long long const byte = static_cast<unsigned char>(lines_[next_++]);
        number += byte % 0x80 << shift;
        if (byte < 0x80) return number;
    }
}

} // namespace vellum
