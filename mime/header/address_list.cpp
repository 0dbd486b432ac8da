// mime/header/address_list.cpp - a list of addresses, of which each element stands for itself
#include "mime/header/address_list.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/header/comment.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/reading_rules.hpp"

#include <algorithm>

namespace vellum {

namespace {

/// In front of an angle bracket, and in front of the colon of a group, any byte is one of the name
/// that doesn't begin something else.
constexpr AtomSet name_atom{"@,;:\\/[]?=>)", ""};
constexpr AtomSet group_atom{"@\\/[]?=>)", ""};
/// What has no meaning for the extent of an element, nor for that of a bracket.
constexpr AtomSet inner_atom{"@\\/]?)", ""};
constexpr AtomSet word_atom{"@,;:\\/[]?=>)", ""};
constexpr AtomSet plain_atom{"@\\/?=[]", ""};

} // namespace

AddressList::Found AddressList::next() {
    ScanBuffer const & text = scanner_.text();
    for (;;) {
        begin_ = at_ = text.pass_blanks(at_, text.size());
        char const c = text.at(at_);
        if (at_ >= text.size() && !in_group_) return Found::end;
        if (at_ >= text.size() || (c == ';' && in_group_)) return end_group(c == ';');
        if (c == ',' || c == ';') {
            ++at_;
            continue;
        }
        Extent const found = extent();
        if (text.at(found.end) == ':') return in_group_ ? end_group(false) : read_group();
        if (!read_mailbox(found)) continue;
        return address_ ? Found::mailbox : Found::unreadable;
    }
}

/// `is_closed`: by the ";" that stands here.
AddressList::Found AddressList::end_group(bool is_closed) {
    if (is_closed) ++at_;
    if (!is_closed) scanner_.run().tell(Defect_GroupUnclosed);
    in_group_ = false;
    return Found::end_of_group;
}

// The extent of an element ------------------------------------------------------------

AddressList::Extent AddressList::extent() {
    ScanBuffer const & text = scanner_.text();
    bool const may_be_group = scanner_.run().rules->groups_told;
    Extent found{};
    Position p = at_;
    for (char c; p < text.size() && (c = text.at(p)) != ',' && c != ';';) {
        if (c == ':' && may_be_group && !found.has_bracket) break;
        Position const begin = p;
        if (c == '"') {
            p = pass_quote(p, found);
        } else if (c == '(') {
            p = pass_comment([&text](Position each) { return text.at(each); }, p);
            found.comment = Span::of(begin, p);
        } else if (c == '<') {
            found.has_bracket = true;
            p = pass_bracket(p, found);
        } else if (c == '[') {
            p = pass_literal(p);
        } else {
            p = c == '=' ? pass_encoded_word(p) : pass_inner(p + 1);
        }
    }
    found.end = p;
    return found;
}

/// The place behind the quoted string that begins at `in`, or behind the quote that is text.
Position AddressList::pass_quote(Position in, Extent & found) {
    if (scanner_.begins_QText(in)) return scanner_.pass_QText(in);
    found.has_open_quote = true;
    return in + 1;
}

/// The place behind the bytes that mean nothing for an extent.
Position AddressList::pass_inner(Position in) const {
    return scanner_.text().pass(in, [](char c) { return inner_atom.has(c); });
}

/// The place behind the bracket's end. An address in a bracket that is never closed ends where the
/// element would end without it; but not at the commas of a route, which a colon ends.
Position AddressList::pass_bracket(Position in, Extent & found) {
    ScanBuffer const & text = scanner_.text();
    Position p = in + 1;
    if (!strict_) {
        for (std::size_t depth = 1; depth > 0 && p < text.size(); ++p) {
            if (text.at(p) == '<') ++depth;
            if (text.at(p) == '>') --depth;
        }
        return p;
    }
    if (text.at(text.pass_blanks(p, text.size())) == '@') {
        Position route = p;
        for (char c; (c = text.at(route)) != ':' && c != '>' && c != '<' && c != ';' && c != '"' &&
                     route < text.size();)
            ++route;
        if (text.at(route) == ':') p = route + 1;
    }
    bool const ends_at_comma = scanner_.run().rules->bracket_ends_at_comma;
    for (char c; p < text.size() && (c = text.at(p)) != '>';) {
        if (ends_at_comma && (c == ',' || c == ';')) return p;
        if (c == '[') {
            p = pass_literal(p);
        } else {
            p = c == '"' ? pass_quote(p, found) : pass_inner(p + 1);
        }
    }
    return p < text.size() ? p + 1 : p;
}

/// The place behind the encoded word that may begin at `in`, which can hold a separator; else the
/// next place.
Position AddressList::pass_encoded_word(Position in) {
    ScanBuffer const & text = scanner_.text();
    Position p = in + 1;
    for (int marks = 0; p < text.size() && word_atom.has(text.at(p)); ++p) {
        if (p == in + 1 && text.at(p) != '?') break;
        if (text.at(p) == '?' && ++marks == 4) return text.at(p + 1) == '=' ? p + 2 : in + 1;
    }
    return in + 1;
}

/// The place behind the domain literal that may begin at `in`; else the next place.
Position AddressList::pass_literal(Position in) {
    ScanBuffer const & text = scanner_.text();
    Position p = in + 1;
    while (token_atom.has(text.at(p)) || text.at(p) == ':')
        ++p;
    return text.at(p) == ']' ? p + 1 : in + 1;
}

// What is in an element -----------------------------------------------------------------

AddressList::Found AddressList::read_group() {
    phrase_ = Span();
    scanner_.get_Phrase(at_, at_, phrase_, group_atom, HeaderScanner::Comments::drop);
    // Behind a name that can't be read the list has to go on all the same.
    bool const has_colon = scanner_.get_Char(at_, at_, ':');
    if (!has_colon) at_ = std::min(at_ + 1, scanner_.text().size());
    in_group_ = true;
    return Found::group;
}

/// False if there is nothing but comments.
bool AddressList::read_mailbox(Extent const & found) {
    ScanBuffer & text = scanner_.text();
    ReadingRules const & rules = *scanner_.run().rules;
    // Edits are made in front of the element's end, so it is known by what is behind it.
    Position const behind = text.size() - found.end;
    phrase_ = address_ = Span();
    comment_.clear();
    if (found.comment && rules.comment_is_name) read_comment(found.comment);
    bool is_right = !found.has_open_quote;
    Position p = at_;
    if (found.has_bracket && rules.bracketed_address_first) {
        scanner_.get_Phrase(p, p, phrase_, name_atom, HeaderScanner::Comments::drop);
        is_right = read_bracket(p, behind) && is_right;
    } else if (!scanner_.get_AddrSpec1(p, p, address_)) {
        if (p == end_of(behind)) return at_ = p, false;
        is_right = take_plain_address(p, p, end_of(behind)) && is_right;
    }
    p = scanner_.skip(p);
    is_right = is_right && address_ && p == end_of(behind);
    at_ = std::max(p, end_of(behind));
    if (address_ && address_.end > at_) address_ = Span();
    if (!is_right || !address_) scanner_.run().tell(Defect_BadAddress);
    return true;
}

/// The end of the element that has `behind` bytes behind it. What is read as a comment or a quoted
/// string may have begun within an encoded word, and reach beyond the element.
Position AddressList::end_of(Position behind) const {
    Position const size = scanner_.text().size();
    return std::max(begin_, size - std::min(size, behind));
}

/// The comment's text without its parentheses, decoded.
void AddressList::read_comment(Span const & comment) {
    scanner_.read_Comment(comment.begin, comment_);
    comment_.erase(0, 1);
    if (comment_.ends_with(')')) comment_.pop_back();
}

// route-addr = "<" [route] addr-spec ">"
// route      = "@" domain *("," "@" domain) ":"
//
// False if something in the bracket can't be read, or it isn't closed.
bool AddressList::read_bracket(Position & at, Position behind) {
    ScanBuffer & text = scanner_.text();
    if (!strict_) return scanner_.get_RText(at, at, address_);
    Position p = at;
    if (!scanner_.get_Char(p, p, '<')) return false;
    p = scanner_.skip(p);
    if (text.at(p) == '@' && scanner_.run().rules->routes_passed) {
        Position const end = end_of(behind);
        Position const colon = p < end ? text.find(':', p, end) : end;
        if (colon < end) p = colon + 1;
    }
    Span address;
    Position next = p;
    scanner_.get_AddrSpec0(p, next, address);
    next = scanner_.skip(next);
    Position const end = end_of(behind);
    at = next;
    if (address && (text.at(next) == '>' || next == end)) {
        address_ = address;
        return scanner_.get_Char(next, at, '>');
    }
    Position const bracket = p < end ? text.find('>', p, end) : end;
    at = std::min(bracket + 1, end);
    return take_plain_address(p, p, bracket);
}

/// Takes [in, end) for an address if it is in one piece and has an "@", whatever else RFC 5322
/// wants of it: "a..b@c" is in use.
bool AddressList::take_plain_address(Position in, Position & next, Position end) {
    ScanBuffer const & text = scanner_.text();
    bool has_at = false;
    Position p = text.pass_blanks(in, end);
    Position const begin = p;
    for (; p < end && plain_atom.has(text.at(p)); ++p)
        has_at = has_at || (text.at(p) == '@' && p > begin && p + 1 < end);
    next = p;
    if (!has_at || text.pass_blanks(p, end) != end) return false;
    address_ = Span::of(begin, p);
    return true;
}

} // namespace vellum
