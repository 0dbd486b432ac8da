// mime/receive/content_type_query.cpp - the early look at the fields that decide on a part's kind
//
// Nothing is reported here, and the fields' own text isn't touched, but a copy: the parsers of the
// second pass see it as it arrived.
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/content_type_parser.hpp"
#include "mime/header/grammar.hpp"
#include "mime/header/parameters.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/receiver.hpp"

#include <optional>
#include <string>
#include <utility>

using vellum::HeaderScanner;
using vellum::MediaType;
using vellum::ParameterReader;
using vellum::Position;
using vellum::Span;
using vellum::to_number;

namespace {

/// The URL of a message/external-body that can be had by anonymous FTP (RFC 2046 5.2.3.2). Nothing
/// in its pieces is escaped.
std::optional<std::string> external_body_url(HeaderScanner & scanner, Position at) {
    bool is_anonymous_ftp = false;
    std::optional<std::string> site;
    std::optional<std::string> directory;
    std::optional<std::string> name;
    for (ParameterReader parameter(scanner, at); parameter.next();) {
        if (parameter.is(RFC1521::access_type)) {
            is_anonymous_ftp = vellum::ascii::equal(parameter.value(), RFC1521::anon_ftp);
        } else if (parameter.is(RFC1521::site)) {
            site = parameter.value();
        } else if (parameter.is(RFC1521::directory)) {
            directory = parameter.value();
        } else if (parameter.is(RFC1521::name)) {
            name = parameter.value();
        }
    }
    if (!is_anonymous_ftp || !site || !name) return std::nullopt;
    return "ftp://" + *site + "/" + (directory ? *directory + "/" : "") + *name;
}

} // namespace

bool MimeReceiver::Query_Content_Type(std::string & body) {
    if (auto translated = client_text(body)) body = std::move(*translated);
    HeaderScanner scanner(body.data(), *this);
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
    for (ParameterReader parameter(scanner, at); parameter.next();) {
        if (parameter.is(RFC1521::id)) {
            if (!partial_id) partial_id = parameter.value();
        } else if (parameter.is(RFC1521::number)) {
            partial_number = to_number(parameter.value());
        } else if (parameter.is(RFC1521::total)) {
            partial_total = to_number(parameter.value());
        }
    }
    return true;
}

/// The multipart's delimiter may end its header. It has the boundary as it stands in the field, not
/// in the client's code page.
void MimeReceiver::Expect_delimiter(std::string & body) {
    HeaderScanner scanner(body.data(), *this);
    Position at = 0;
    vellum::read_media_type(scanner, at);
    for (ParameterReader parameter(scanner, at); parameter.next();) {
        if (!parameter.is(RFC1521::boundary)) continue;
        std::string const boundary = parameter.value();
        if (boundary.find_first_not_of(" \t") == boundary.npos) return; // it counts as missing
        return line_reader_->Boundary_Expect(boundary.c_str());
    }
}

void MimeReceiver::Query_Content_Disposition(std::string & body) {
    HeaderScanner scanner(body.data(), *this);
    Position next = 0;
    Span word;
    scanner.get_Atom(0, next, word, vellum::token_atom);
    char const * const token = scanner.protocol_word(word);
    disposition = token != nullptr ? token : RFC1806::inLine;
}
