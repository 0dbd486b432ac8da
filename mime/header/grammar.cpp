// mime/header/grammar.cpp - the scanner of a header field's body (RFC 822 3.3 and 6.1, RFC
// 2045 5.1)
#include "mime/header/grammar.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/header/comment.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/reading_rules.hpp"

namespace vellum {

using ascii::is_blank;

HeaderScanner::~HeaderScanner() { run_.header_bytes_moved += text_.moved(); }

// White space and comments -------------------------------------------------------

bool HeaderScanner::get_Char(Position in, Position & next, char c) {
    next = skip(in);
    if (c == '\0' || text_.at(next) != c) return false;
    ++next;
    return true;
}

/// White space or a comment begins at `in`.
bool HeaderScanner::take_LWSP(Position in, Position & next, Blanks blanks) {
    Position p = in;
    for (char c; is_blank(c = text_.at(p)) || c == '(';) {
        if (c == '(') {
            text_.erase(p, pass_comment([this](Position each) { return text_.at(each); }, p));
        } else {
            ++p;
        }
    }
    if (in < p && blanks != Blanks::leave) {
        std::string_view const left = blanks == Blanks::one ? " " : "";
        text_.replace(in, p, left);
        p = in + left.size();
    }
    next = p;
    return in < p;
}

// comment = "(" *(ctext / quoted-pair / encoded-word / comment) ")"
//
// It loses its backslashes, and its encoded words are decoded.
Position HeaderScanner::read_Comment(Position in, std::string & out) {
    std::size_t depth = 0;
    Position p = in;
    for (char c; (c = text_.at(p)) != '\0';) {
        if (c == '=') {
            Position const behind = read_Encoded_Word(p, out);
            if (behind != p) {
                p = behind;
                continue;
            }
        } else if (c == '\\') {
            c = text_.at(++p);
            if (c == '\0') break; // a backslash at the very end escapes nothing
        } else if (c == '(') {
            ++depth;
        } else if (c == ')') {
            --depth;
        }
        out += c;
        ++p;
        if (depth == 0) break;
    }
    return p;
}

/// A comment that is dropped leaves one blank, with the white space around it.
Position HeaderScanner::read_LWSP(Position in, std::string & out, Comments comments) {
    std::size_t const begin = out.size();
    bool has_dropped = false;
    Position p = in;
    for (char c; is_blank(c = text_.at(p)) || c == '(';) {
        if (c != '(') {
            out += c;
            ++p;
        } else if (comments == Comments::keep) {
            p = read_Comment(p, out);
        } else {
            p = pass_comment([this](Position each) { return text_.at(each); }, p);
            has_dropped = true;
        }
    }
    if (has_dropped) out.replace(begin, out.npos, " ");
    return p;
}

// Words ----------------------------------------------------------------------------

bool HeaderScanner::get_Atom(Position in, Position & next, Span & out, AtomSet const & atom) {
    in = skip(in);
    Position const p = pass_atom(in, atom);
    next = p;
    if (p == in) return false;
    out = Span::of(in, p);
    return true;
}

// quoted-string = <"> *(qtext / quoted-pair) <">
//
// Unquoted, its encoded words are decoded, and the closing quote becomes a blank so that what
// follows keeps its distance.
bool HeaderScanner::get_QText(Position in, Position & next, Span & out, Quotes quotes) {
    in = skip(in);
    next = in;
    if (!begins_QText(in)) return false;
    if (quotes == Quotes::keep) {
        next = pass_QText(in);
        out = Span::of(in, next);
        return true;
    }
    std::string text;
    text.reserve(pass_QText(in) - in); // it may be long: no more than it needs
    next = read_QText(in, text, quotes);
    out = Span::of(in, in + text.size());
    if (text_.at(next) != '\0') text += ' ';
    text_.replace(in, next, text);
    next = out.end;
    return true;
}

/// Text between balanced angle brackets.
bool HeaderScanner::get_RText(Position in, Position & next, Span & out) {
    next = skip(in);
    if (text_.at(next) != '<') return false;
    Position const begin = next + 1;
    Position p = begin;
    for (std::size_t depth = 1; text_.at(p) != '\0'; ++p) {
        if (text_.at(p) == '<') ++depth;
        if (text_.at(p) == '>' && --depth == 0) break;
    }
    out = Span::of(begin, p);
    next = skip(p);
    if (text_.at(next) == '>') ++next;
    return true;
}

// word = atom / quoted-string
bool HeaderScanner::get_Word(Position in, Position & next, Span & out, AtomSet const & atom,
                             Quotes quotes, bool encoded) {
    in = skip(in);
    if (get_QText(in, next, out, quotes)) return true;
    if (!get_Atom(in, next, out, atom)) return false;
    Span decoded;
    if (encoded && get_Encoded_Text(out, next, decoded)) out = decoded;
    return true;
}

/// Whether a quoted string begins at `in`. Where quotes that aren't closed are text, the text from
/// the first of them on is remembered by its size: nothing is edited there before it is read.
bool HeaderScanner::begins_QText(Position in) {
    if (text_.at(in) != '"' || text_.size() - in <= behind_open_quote_) return false;
    if (!open_quotes_are_text_ || end_of_QText(in)) return true;
    behind_open_quote_ = text_.size() - in;
    return false;
}

Position HeaderScanner::pass_atom(Position in, AtomSet const & atom) {
    auto const has = [&atom](char c) { return atom.has(c); };
    Position p = text_.pass(in, has);
    while (text_.at(p) == '"' && !begins_QText(p))
        p = text_.pass(p + 1, has);
    return p;
}

static bool is_qtext(char c) { return c != '"' && c != '\\' && c != '\0'; }

/// The place behind the closing quote; empty if there is no such quote.
std::optional<Position> HeaderScanner::end_of_QText(Position in) const {
    Position p = text_.pass(in + 1, is_qtext);
    while (text_.at(p) == '\\') {
        if (text_.at(p + 1) == '\0') return std::nullopt;
        p = text_.pass(p + 2, is_qtext);
    }
    if (text_.at(p) == '\0') return std::nullopt;
    return p + 1;
}

Position HeaderScanner::pass_QText(Position in) const {
    return end_of_QText(in).value_or(text_.size());
}

Position HeaderScanner::read_QText(Position in, std::string & out, Quotes quotes) {
    std::size_t const begin = out.size();
    Position p = in + 1;
    for (;;) {
        Position const run = p;
        p = text_.pass(p, is_qtext);
        text_.copy(run, p, out);
        if (text_.at(p) != '\\') break;
        char const c = text_.at(++p);
        if (c == '\0') break; // a backslash at the very end escapes nothing
        out += c;
        ++p;
    }
    if (quotes == Quotes::remove) decode_words(out, begin);
    return text_.at(p) == '"' ? p + 1 : p;
}

Position HeaderScanner::read_Word(Position in, AtomSet const & atom, std::string & out,
                                  bool & is_encoded) {
    Position p = read_Encoded_Word(in, out);
    is_encoded = p != in;
    if (is_encoded) return p;
    if (begins_QText(p)) return read_QText(p, out);
    Position const end = pass_atom(p, atom);
    text_.copy(p, end, out);
    return end;
}

// phrase = 1*(word / encoded-word), and the comments between them stay
bool HeaderScanner::get_Phrase(Position in, Position & next, Span & out, AtomSet const & atom,
                               Comments comments) {
    std::string & text = phrase_;
    text.clear();
    Span phrase;
    Position p = read_LWSP(in, text, comments);
    bool is_behind_word = false; // an encoded word ends at `end`
    Position last = in;          // where the last word ended, before it was decoded
    for (std::size_t end = 0;;) {
        std::size_t begin = text.size();
        bool is_encoded = false;
        Position const behind = read_Word(p, atom, text, is_encoded);
        if (behind == p) break;
        if (is_encoded && is_behind_word && run_.rules->adjacent_words_joined &&
            text_.is_blank(last, p)) {
            text.erase(end, begin - end);
            begin = end;
        }
        is_behind_word = is_encoded;
        end = text.size();
        last = behind;
        phrase = Span::of(phrase ? phrase.begin : in + begin, in + text.size());
        // As get_QText leaves it: a blank in place of the closing quote.
        if (begins_QText(p) && text_.at(behind) != '\0') text += ' ';
        p = read_LWSP(behind, text, comments);
    }
    if (text.size() != p - in || !text_.starts_with(in, text)) text_.replace(in, p, text);
    next = in + text.size();
    if (!phrase) return false;
    out = phrase;
    return true;
}

// Addresses ------------------------------------------------------------------------

// local-part = word *("." word)
bool HeaderScanner::get_LocalPart(Position in, Position & next, Span & out) {
    Span local;
    if (!get_Word(in, next, local, address_atom, Quotes::keep, false)) return false;
    Position p = next;
    get_LWSP(p, p, Blanks::one);
    if ((text_.at(p) == '.' || text_.at(p) == '@') && p > local.end) {
        text_.erase(local.end, p);
        p = local.end;
    }
    for (p = skip(p); text_.at(p) == '.'; p = skip(p)) {
        ++p;
        get_LWSP(p, p, Blanks::remove);
        Span word;
        if (!get_Word(p, p, word, dotted_atom, Quotes::keep, false)) break;
        local.end = word.end;
        p = word.end;
        get_LWSP(p, p, Blanks::remove);
    }
    next = p;
    out = local;
    return true;
}

// domain-literal = "[" *(dtext / quoted-pair) "]". The brackets lie outside the span.
bool HeaderScanner::get_DomainLiteral(Position in, Position & next, Span & out) {
    next = skip(in);
    if (text_.at(next) != '[') return false;
    Position const begin = skip(next + 1);
    Position p = begin;
    for (char c; (c = text_.at(p)) != '\0' && c != ']'; ++p) {
        if (c == '\\' && text_.at(p + 1) != '\0') ++p;
    }
    out = Span::of(begin, p);
    next = text_.at(p) == ']' ? p + 1 : p;
    return true;
}

// sub-domain = atom / domain-literal
//
// Here the span has the literal's brackets: the address that it is part of reaches the client
// whole.
bool HeaderScanner::get_SubDomain(Position in, Position & next, Span & out) {
    in = skip(in);
    Span literal;
    if (get_DomainLiteral(in, next, literal)) {
        out = Span::of(in, next);
        return true;
    }
    return get_Atom(in, next, out, address_atom);
}

// domain = sub-domain *("." sub-domain)
bool HeaderScanner::get_Domain(Position in, Position & next, Span & out) {
    Position p = in;
    get_LWSP(p, p, Blanks::remove);
    next = p;
    Span domain;
    if (!get_SubDomain(p, p, domain)) return false;
    get_LWSP(p, p, Blanks::remove);
    for (p = skip(p); text_.at(p) == '.'; p = skip(p)) {
        ++p;
        get_LWSP(p, p, Blanks::remove);
        Span sub_domain;
        if (!get_SubDomain(p, p, sub_domain)) break;
        domain.end = sub_domain.end;
        get_LWSP(p, p, Blanks::remove);
    }
    next = p;
    out = domain;
    return true;
}

// domains = *("@" domain), each added to the address in `out`
bool HeaderScanner::get_Domains(Position in, Position & next, Span & out) {
    bool found = false;
    next = in;
    for (Position p = in; get_Char(p, p, '@');) {
        Span domain;
        if (!get_Domain(p, p, domain)) break;
        next = p;
        out.end = domain.end;
        found = true;
    }
    return found;
}

// addr-spec within angle brackets: local-part *("@" domain)
bool HeaderScanner::get_AddrSpec0(Position in, Position & next, Span & out) {
    next = skip(in);
    Position p = next;
    Span address;
    if (!get_LocalPart(p, p, address)) return false;
    get_LWSP(p, p, Blanks::remove);
    next = p;
    get_Domains(p, next, address);
    out = address;
    return true;
}

// addr-spec = local-part 1*("@" domain)
bool HeaderScanner::get_AddrSpec1(Position in, Position & next, Span & out) {
    next = skip(in);
    if (text_.starts_with(next, "=?")) return false; // an encoded word is never an address
    Position p = next;
    Span address;
    if (!get_LocalPart(p, p, address)) return false;
    get_LWSP(p, p, Blanks::remove);
    Position behind = p;
    if (!get_Domains(p, behind, address)) return false;
    next = behind;
    out = address;
    return true;
}

// route-addr = "<" addr-spec ">"
bool HeaderScanner::get_RouteAddr(Position in, Position & next, Span & out, bool strict) {
    next = skip(in);
    if (!strict) return get_RText(in, next, out);
    Position p = next;
    Span address;
    if (!get_Char(p, p, '<') || !get_AddrSpec0(p, p, address) || !get_Char(p, p, '>')) return false;
    next = p;
    out = address;
    return true;
}

/// Where an element of an address list ends before it has begun: lists of nothing but commas are
/// long.
static bool is_end_of_element(char c) { return c == ',' || c == ';' || c == '\0'; }

// mailbox = addr-spec / [phrase] route-addr
bool HeaderScanner::get_Mailbox(Position in, Position & next, Span & phrase, Span & address,
                                bool strict) {
    Position behind_phrase = in;
    return find_Mailbox(in, next, phrase, address, strict, behind_phrase);
}

/// get_Mailbox; if that fails behind a phrase, `behind_phrase` is the phrase's end.
///
/// A name without an address is the end of a list. What stood in its quotes, which it has lost, is
/// not to be read as the list's own commas, so nothing of it is left to read. Only behind an empty
/// name the list may go on.
bool HeaderScanner::find_Mailbox(Position in, Position & next, Span & phrase, Span & address,
                                 bool strict, Position & behind_phrase) {
    next = in = skip(in);
    if (is_end_of_element(text_.at(in))) return false;
    if (get_AddrSpec1(in, next, address) || get_RouteAddr(in, next, address, strict)) return true;
    next = in;
    Position p = in;
    Span name;
    Span route;
    if (!get_Phrase(p, p, name, phrase_atom)) return false;
    behind_phrase = p;
    if (!get_RouteAddr(p, p, route, strict)) {
        if (!text_.is_blank(name.begin, name.end)) next = text_.size();
        return false;
    }
    next = p;
    phrase = name;
    address = route;
    return true;
}

bool HeaderScanner::end_of_group(Position & next, bool & in_group) {
    if (!get_Char(next, next, ';')) return false;
    in_group = false;
    return true;
}

// address = mailbox / phrase ":" [mailbox *("," mailbox)] ";"
//
// A call takes one mailbox, with the start or the end of a group around it. The group's name
// reaches nobody. It is not read a second time: quotes that the first reading has removed might
// have held the comma in "Doe, J.": a@b;
bool HeaderScanner::get_Address(Position in, Position & next, Span & phrase, Span & address,
                                bool & in_group, bool strict) {
    next = in = skip(in);
    Position p = in;
    if (!in_group) {
        if (find_Mailbox(in, next, phrase, address, strict, p)) return true;
        if (p == in || !get_Char(p, p, ':')) return false;
        in_group = true;
    }
    get_Mailbox(p, p, phrase, address, strict);
    end_of_group(p, in_group);
    next = p;
    return in < next;
}

// Parameters -----------------------------------------------------------------------

// parameter = ";" attribute "=" value
bool HeaderScanner::get_Parameter(Position in, Position & next, Span & attribute, Span & value) {
    next = skip(in);
    Position p = next;
    Span name;
    Span text;
    if (!get_Char(p, p, ';') || !get_Atom(p, p, name, token_atom) || !get_Char(p, p, '=')) {
        return false;
    }
    if (!get_Word(p, p, text, value_atom, Quotes::remove, true)) return false;
    next = p;
    attribute = name;
    value = text;
    return true;
}

/// The place of the next ";" that isn't quoted, or the end of the text.
Position HeaderScanner::pass_to_semicolon(Position in) const {
    Position p = in;
    while (text_.at(p) != ';' && p < text_.size())
        p = text_.at(p) == '"' ? pass_QText(p) : p + 1;
    return p;
}

// An unquoted value goes to the next ";", or to where the next parameter begins without a ";" in
// front: white space, a token, "=". A comment at its end goes.
bool HeaderScanner::get_open_Value(Position in, Position & next, Span & out) {
    Position end = in; // behind the last byte that is no white space
    Position p = in;
    for (char c; (c = text_.at(p)) != ';' && p < text_.size();) {
        if (!is_blank(c)) {
            p = end = text_.pass(p + 1, [](char each) { return value_atom.has(each); });
            continue;
        }
        p = text_.pass_blanks(p, text_.size());
        if (ends_in_comment(p)) break;
        Position const name = text_.pass(p, [](char each) { return token_atom.has(each); });
        if (name > p && text_.at(name) == '=' && text_.at(name + 1) != '=') break;
    }
    next = p;
    if (end == in) return false;
    out = Span::of(in, end);
    return true;
}

/// Whether a comment at `in` is the last thing in front of a ";" or of the end. What is within a
/// comment that isn't is not looked at again, by whatever value, as comments nest.
bool HeaderScanner::ends_in_comment(Position in) {
    if (text_.at(in) != '(' || text_.size() - in > behind_comment_) return false;
    Position p = pass_comment([this](Position each) { return text_.at(each); }, in);
    behind_comment_ = text_.size() - p;
    p = text_.pass_blanks(p, text_.size());
    return p == text_.size() || text_.at(p) == ';';
}

bool HeaderScanner::find_Parameter(Position in, Position & next, Span & attribute, Span & value) {
    for (Position p = skip(in); p < text_.size(); p = skip(p)) {
        if (text_.at(p) == ';') {
            ++p;
            continue;
        }
        Span name;
        if (!get_Atom(p, p, name, token_atom)) {
            p = pass_to_semicolon(p);
            run_.tell(Defect_BadParameter);
            continue;
        }
        if (!get_Char(p, p, '=')) { // another parameter may begin here
            run_.tell(Defect_BadParameter);
            continue;
        }
        bool const is_plain = text_.find('*', name.begin, name.end) == name.end;
        p = skip(p);
        Span text;
        if (get_QText(p, next, text, is_plain ? Quotes::remove : Quotes::remove_undecoded)) {
            attribute = name;
            value = text;
            return true;
        }
        if (get_open_Value(p, p, text)) {
            Position const behind = text_.size() - p;
            if (is_plain) get_Encoded_Text(text, next, text);
            next = text_.size() - behind;
            attribute = name;
            value = text;
            return true;
        }
        run_.tell(Defect_BadParameter);
    }
    next = text_.size();
    return false;
}

bool HeaderScanner::is(Span const & span, std::string_view word) {
    return span && ascii::equal(text_.view(span.begin, span.end), word);
}

char const * HeaderScanner::protocol_word(Span const & word) {
    Terminated const text(text_, {word});
    TableItem const * const item = SymbolTable::Main->LookUp(text.text(word), false, false);
    return item != nullptr && !item->owned ? item->text : nullptr;
}

} // namespace vellum
