// mime/receive/field_list.cpp - the header fields that have been read and wait for their dispatch
#include "mime/receive/field_list.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/header/comment.hpp"
#include "mime/header/field_parsers.hpp"

#include <algorithm>
#include <cstring>

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

void FieldList::Dispatch(MimeReceiver * receiver) {
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

bool FieldQueue::append(std::string_view line, FieldList & field) {
    std::size_t const start = lines_.size();
    line = trimmed(line);
    std::size_t const size = start + line.size() + 1;
    if (size > lines_.capacity()) lines_.reserve(std::max(size, 2 * start)); // one move, not two
    lines_.append(line).push_back('\0');
    if (field.split(lines_.data() + start)) return true;
    lines_.resize(start);
    return false;
}

bool FieldQueue::take(FieldList & field) {
    if (next_ == lines_.size()) {
        lines_ = std::string();
        next_ = 0;
        return false;
    }
    char * const line = lines_.data() + next_;
    next_ += std::strlen(line) + 1;
    return field.split(line);
}

} // namespace vellum
