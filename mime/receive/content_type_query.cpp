// mime/receive/content_type_query.cpp - the early look at the fields that decide on a part's kind
//
// Nothing is reported here, and the fields' own text isn't touched: the parsers of the second pass
// see it as it arrived.
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/content_type_parser.hpp"
#include "mime/header/grammar.hpp"
#include "mime/receive/receiver.hpp"

#include <optional>
#include <string>

using vellum::HeaderScanner;
using vellum::MediaType;
using vellum::Position;
using vellum::Span;
using vellum::Terminated;
using vellum::to_number;

namespace {

/// Calls `use` with the attribute's span and the value's text of each parameter from `at` on.
template <typename Use>
void for_each_parameter(HeaderScanner & scanner, Position at, Use use) {
    Span attribute;
    Span value;
    while (scanner.get_Parameter(at, at, attribute, value)) {
        Terminated const text(scanner.text(), {value});
        use(attribute, text.text(value));
    }
}

/// The URL of a message/external-body that can be had by anonymous FTP (RFC 2046 5.2.3.2). Nothing
/// in its pieces is escaped.
std::optional<std::string> external_body_url(HeaderScanner & scanner, Position at) {
    bool is_anonymous_ftp = false;
    std::optional<std::string> site;
    std::optional<std::string> directory;
    std::optional<std::string> name;
    for_each_parameter(scanner, at, [&](Span const & attribute, char const * value) {
        if (scanner.is(attribute, RFC1521::access_type)) {
            is_anonymous_ftp = vellum::ascii::equal(value, RFC1521::anon_ftp);
        } else if (scanner.is(attribute, RFC1521::site)) {
            site = value;
        } else if (scanner.is(attribute, RFC1521::directory)) {
            directory = value;
        } else if (scanner.is(attribute, RFC1521::name)) {
            name = value;
        }
    });
    if (!is_anonymous_ftp || !site || !name) return std::nullopt;
    return "ftp://" + *site + "/" + (directory ? *directory + "/" : "") + *name;
}

} // namespace

bool MimeReceiver::Query_Content_Type(char const * body) {
    std::string text(body);
    HeaderScanner scanner(text.data(), *this);
    Position at = 0;
    MediaType const found = vellum::read_media_type(scanner, at);
    type = found.type;
    subtype = found.subtype;
    if (type != RFC1521::message) return false;
    if (subtype == RFC1521::external_body) {
        url = external_body_url(scanner, at);
        return false;
    }
    if (subtype != RFC1521::partial) return false;
    for_each_parameter(scanner, at, [&](Span const & attribute, char const * value) {
        if (scanner.is(attribute, RFC1521::id)) {
            if (!partial_id) partial_id = value;
        } else if (scanner.is(attribute, RFC1521::number)) {
            partial_number = to_number(value);
        } else if (scanner.is(attribute, RFC1521::total)) {
            partial_total = to_number(value);
        }
    });
    return true;
}

void MimeReceiver::Query_Content_Disposition(char const * body) {
    std::string text(body);
    HeaderScanner scanner(text.data(), *this);
    Position next = 0;
    Span word;
    scanner.get_Atom(0, next, word, vellum::token_atom);
    Terminated const terminated(scanner.text(), {word});
    TableItem const * const item = SymbolTable::Main->LookUp(terminated.text(word), false, false);
    disposition = item != nullptr ? item->text : RFC1806::inLine;
}
