// mime/header/content_type_parser.cpp - the parser of Content-Type, on which the walk depends
#include "mime/header/content_type_parser.hpp"

#include "mime/foundation/mime_string.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/field_parsers.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/parameters.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/message_words.hpp"
#include "mime/note/incoming_note.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace vellum {

namespace {

char const * interned(HeaderScanner & scanner, Span const & word) {
    Terminated const text(scanner.text(), {word});
    return scanner.run().words->intern(text.text(word));
}

char const * default_subtype(char const * type) {
    if (type == RFC1521::text) return RFC1521::plain;
    if (type == RFC1521::multipart) return RFC1521::mixed;
    if (type == RFC1521::message) return RFC1521::rfc822;
    if (type == RFC1521::application) return RFC1521::octet_stream;
    return nullptr;
}

} // namespace

MediaType read_media_type(HeaderScanner & scanner, Position & next) {
    Span type;
    Span subtype;
    scanner.get_Atom(0, next, type, token_atom);
    scanner.get_LWSP(next, next, HeaderScanner::Blanks::leave);
    if (scanner.text().at(next) == '/') ++next;
    scanner.get_Atom(next, next, subtype, token_atom);
    return {interned(scanner, type), interned(scanner, subtype)};
}

int to_number(char const * text) {
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10),
                                             std::numeric_limits<int>::min(),
                                             std::numeric_limits<int>::max()));
}

} // namespace vellum

using vellum::HeaderRun;
using vellum::ParameterReader;

/// What Content-Type does with its parameters, one after the other, once type and subtype are
/// known. What it has to remember of them is the first parameter of a name.
class ParseHeaderField::ContentTypeParameters {
public:
    explicit ContentTypeParameters(HeaderRun & run) : run_(run), take_by_type_(for_type(run)) {}

    void take(ParameterReader & parameter) {
        is_reported_ = false;
        if (take_by_type_ != nullptr) (this->*take_by_type_)(parameter);
        if (!is_reported_ && run_.rules->all_parameters_told) report_any(parameter);
        if (!file_name_ && parameter.is(RFC1521::name)) file_name_ = parameter.value();
    }

    /// Behind the last parameter.
    void report_file_name() {
        run_.content_type_file_name = std::move(file_name_);
        if (!run_.content_type_file_name) return;
        run_.note->SetFileName(RFC1521::Content_Type, run_.content_type_file_name->c_str());
    }

private:
    using Take = void (ContentTypeParameters::*)(ParameterReader &);

    static Take for_type(HeaderRun const & run) {
        if (run.type == RFC1521::text) return &ContentTypeParameters::text;
        if (run.type == RFC1521::multipart) return &ContentTypeParameters::multipart;
        if (run.type != RFC1521::message) return nullptr;
        if (run.subtype == RFC1521::partial) return &ContentTypeParameters::partial;
        if (run.subtype == RFC1521::external_body) return &ContentTypeParameters::external_body;
        return nullptr;
    }

    void text(ParameterReader & parameter) {
        if (!is_first(parameter, RFC1521::charset)) return;
        run_.body_charset = run_.words->lasting_char_set(parameter.value());
        report(RFC1521::charset, parameter.value());
    }

    void multipart(ParameterReader & parameter) {
        if (!is_first(parameter, RFC1521::boundary)) return;
        run_.Boundary_Init(raw_boundary().value_or(parameter.value()).c_str());
        report(RFC1521::boundary, parameter.value());
    }

    /// The boundary as it stands in the delimiters, which reach nobody in the client's code page;
    /// empty if the field itself is as it stands.
    std::optional<std::string> raw_boundary() {
        if (run_.raw_body == nullptr) return std::nullopt;
        // Its defects have been told already.
        struct Scope {
            HeaderRun & run;
            MimeContext * before;
            ~Scope() { run.current_context = before; }
        } const scope{run_, std::exchange(run_.current_context, nullptr)};
        std::string text(run_.raw_body);
        vellum::HeaderScanner scanner(text.data(), run_);
        vellum::Position at = 0;
        vellum::read_media_type(scanner, at);
        for (ParameterReader parameter(scanner, at); parameter.next();) {
            if (parameter.is(RFC1521::boundary)) return parameter.value();
        }
        return std::nullopt;
    }

    void partial(ParameterReader & parameter) {
        if (parameter.is(RFC1521::id)) {
            if (!run_.partial_id) run_.partial_id = parameter.value();
            report(RFC1521::id, parameter.value());
        } else if (parameter.is(RFC1521::number)) {
            take_number(run_.partial_number, parameter);
            report(RFC1521::number, parameter.value());
        } else if (parameter.is(RFC1521::total)) {
            take_number(run_.partial_total, parameter);
            report(RFC1521::total, parameter.value());
        }
    }

    void external_body(ParameterReader & parameter) { report(parameter.name(), parameter.value()); }

    static void take_number(int & number, ParameterReader & parameter) {
        if (number == 0) number = vellum::to_number(parameter.value());
    }

    bool is_first(ParameterReader const & parameter, char const * name) {
        if (has_first_ || !parameter.is(name)) return false;
        has_first_ = true;
        return true;
    }

    void report_any(ParameterReader & parameter) {
        report(vellum::known_name(parameter), parameter.value());
    }

    void report(char const * attribute, char const * value) {
        is_reported_ = true;
        run_.note->SetParameter(RFC1521::Content_Type, attribute, value);
    }

    HeaderRun & run_;
    Take take_by_type_;
    bool has_first_ = false;   ///< The one parameter of which the first counts has been met.
    bool is_reported_ = false; ///< The parameter that is taken.
    std::optional<std::string> file_name_;
};

void ParseHeaderField::Content_Type(MimeReceiver * receiver, char const * body, char const * name) {
    using namespace vellum;
    HeaderRun & run = run_of(*receiver);
    run.note->SetProperty(name, MimeString(body));
    HeaderScanner scanner(const_cast<char *>(body), run);
    Position at = 0;
    MediaType const found = read_media_type(scanner, at);
    run.type = found.type != nullptr ? found.type : RFC1521::text;
    run.subtype = found.subtype != nullptr ? found.subtype : default_subtype(run.type);
    run.body_charset = run.type == RFC1521::text ? &NLS::US_ASCII : nullptr;
    ContentTypeParameters parameters(run);
    for (ParameterReader parameter(scanner, at); parameter.next();)
        parameters.take(parameter);
    parameters.report_file_name();
    run.note->Set_Content_Type(scanner.text().whole(), run.type, run.subtype);
}
