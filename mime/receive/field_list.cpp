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
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

namespace vellum {

namespace {

/// Passes white space and comments in the NUL-terminated text.
char * pass_LWSP(char * p) {
    while (ascii::is_blank(*p) || *p == '(') {
        p = *p == '(' ? p + pass_comment([p](std::size_t i) { return p[i]; }, 0) : p + 1;
    }
    return p;
}

char * pass_blanks(char * p) {
    while (ascii::is_blank(*p))
        ++p;
    return p;
}

/// The line without one line end and then the white space at its end.
std::string_view without_blank_end(std::string_view line) {
    auto const ends_in = [&](char c) { return !line.empty() && line.back() == c; };
    if (ends_in('\n')) line.remove_suffix(1);
    if (ends_in('\r')) line.remove_suffix(1);
    while (!line.empty() && ascii::is_blank(line.back()))
        line.remove_suffix(1);
    return line;
}

/// The same for the line up to its first NUL.
std::string_view trimmed(std::string_view line) {
    return without_blank_end(line.substr(0, line.find('\0')));
}

} // namespace

bool FieldList::split(char * text, char * text_end) {
    end = text_end;
    char * p = line = pass_LWSP(text);
    while (*p != ':' && !ascii::is_blank(*p) && !ascii::is_control(*p))
        ++p;
    set_name(line, p);
    p = pass_LWSP(p);
    if (*p != ':') return false;
    body = pass_blanks(p + 1);
    return true;
}

void FieldList::split_plain(char * text, char * text_end, std::size_t name_size) {
    end = text_end;
    line = text;
    set_name(text, text + name_size);
    body = pass_blanks(name.end != nullptr ? name.end + 1 : text + 1);
}

void FieldList::set_name(char * begin, char * name_end) {
    name = begin < name_end ? Substring{begin, name_end, '\0'} : Substring{};
    name.terminate();
    known = SymbolTable::Main->LookUp(name.begin, false, false);
    name.restore();
}

bool FieldList::is(char const * token) const {
    return ascii::equal({name.begin, static_cast<std::size_t>(name.end - name.begin)}, token);
}

bool FieldList::is_known_as(char const * token) const {
    return known != nullptr && known->text == token;
}

/// What the parsers find in a field is in the client's code page, as they get it so; or as it is
/// brought there behind them, where text in the client's code page can't be parsed.
void FieldList::Dispatch(MimeReceiver * receiver) {
    HeaderRun & run = run_of(*receiver);
    std::string_view const text(line, static_cast<std::size_t>(end - line));
    if (utf_8::is_ascii(text)) return call_parser(receiver);
    run.tell(Defect_EightBitField);
    std::optional<CodePageNote::Scope> in_utf_8;
    if (CodePageNote::is_needed(run)) {
        if (!run.code_page_note) run.code_page_note = std::make_unique<CodePageNote>(run);
        in_utf_8.emplace(run, *run.code_page_note);
    }
    std::optional<std::string> translated = run.client_text(text);
    FieldList field;
    if (!translated || !field.split(translated->data(), translated->data() + translated->size()))
        return call_parser(receiver);
    run.raw_body = body;
    struct Scope {
        HeaderRun & run;
        ~Scope() { run.raw_body = nullptr; }
    } const scope{run};
    field.call_parser(receiver);
}

void FieldList::call_parser(MimeReceiver * receiver) {
    if (auto const parser = known != nullptr ? known->FieldParser() : nullptr) {
        parser(receiver, body, known->text);
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

FieldQueue::FieldQueue(long long start, std::string memory)
    : lines_(std::move(memory)), start_(start), end_(start), at_(start) {
    lines_.clear();
}

std::string FieldQueue::release() {
    std::string memory = std::move(lines_);
    *this = FieldQueue();
    return memory;
}

bool FieldQueue::is_field(std::string_view lines, std::string_view & name) {
    std::size_t const size = plain_name_size(lines);
    if (size != lines.npos) {
        name = lines.substr(0, size);
        return true;
    }
    std::string text = unfolded(lines);
    FieldList field;
    if (!field.split(text.data(), text.data() + text.size())) return false;
    std::string_view const found(field.name.begin,
                                 static_cast<std::size_t>(field.name.end - field.name.begin));
    name = lines.substr(lines.find(found), found.size()); // no fold lies within it
    return true;
}

void FieldQueue::copy_last_body(std::string & body) const {
    body.assign(lines_, last_);
    body.resize(unfold(body.data(), body.size()));
    body.resize(trimmed(body).size());
    FieldList field;
    field.split(body.data(), body.data() + body.size());
    body.erase(0, static_cast<std::size_t>(field.body - body.data()));
}

namespace {

/// A number in seven bits a byte, the low ones first; the high bit says that more follow.
class NumberBytes {
public:
    void put(unsigned long long number) {
        for (; number > 0x7F; number >>= 7)
            bytes_[size_++] = static_cast<char>(number % 0x80 + 0x80);
        bytes_[size_++] = static_cast<char>(number);
    }
    std::string_view view() const { return {bytes_.data(), size_}; }

private:
    std::array<char, 30> bytes_; // three numbers
    std::size_t size_ = 0;
};

constexpr std::size_t least_memory = 2000; // hardly any header of a part is longer

} // namespace

void FieldQueue::append(std::string_view lines, std::string_view name, long long offset) {
    bool const has_gap = offset != end_;
    bool const is_plain = name.data() == lines.data() && lines[name.size()] == ':';
    NumberBytes numbers;
    numbers.put(std::uint64_t{lines.size()} * 4 + (is_plain ? 2 : 0) + (has_gap ? 1 : 0));
    if (has_gap) numbers.put(static_cast<unsigned long long>(offset - end_));
    if (is_plain) numbers.put(name.size());
    std::size_t const size = lines_.size() + numbers.view().size() + lines.size() + 1;
    if (size > lines_.capacity()) { // one move, not two
        lines_.reserve(std::max({size, 2 * lines_.size(), least_memory}));
    }
    lines_.append(numbers.view());
    last_ = lines_.size();
    lines_.append(lines);
    if (lines.back() != '\n') lines_.push_back('\0');
    end_ = offset + static_cast<long long>(lines.size());
    has_gaps_ = has_gaps_ || has_gap;
}

bool FieldQueue::next(RawField & raw) {
    if (next_ == lines_.size()) return false;
    unsigned long long const number = get_number();
    bool const has_gap = number % 2 != 0;
    raw.gap_before = has_gap ? at_ : -1;
    if (has_gap) at_ += static_cast<long long>(get_number());
    name_size_ = number / 2 % 2 != 0 ? static_cast<std::size_t>(get_number()) : lines_.npos;
    current_ = next_;
    current_size_ = static_cast<std::size_t>(number / 4);
    raw.text = {lines_.data() + current_, current_size_};
    raw.offset = at_;
    at_ += static_cast<long long>(current_size_);
    next_ += current_size_ + (raw.text.back() != '\n' ? 1 : 0);
    return true;
}

void FieldQueue::take(FieldList & field) {
    char * const text = lines_.data() + current_;
    std::string_view const whole(text, unfold(text, current_size_));
    std::string_view const used = whole.substr(0, whole.find('\0'));
    char * const end = text + without_blank_end(used).size();
    *end = '\0';
    field.is_cut = used.size() < whole.size();
    if (name_size_ == lines_.npos) {
        field.split(text, end);
    } else {
        field.split_plain(text, end, name_size_);
    }
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

unsigned long long FieldQueue::get_number() {
    unsigned long long number = 0;
    for (int shift = 0;; shift += 7) {
        unsigned long long const byte = static_cast<unsigned char>(lines_[next_++]);
        number += byte % 0x80 << shift;
        if (byte < 0x80) return number;
    }
}

} // namespace vellum
