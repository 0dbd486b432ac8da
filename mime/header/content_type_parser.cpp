// mime/header/content_type_parser.cpp - the parser of Content-Type, on which the walk depends
#include "mime/header/content_type_parser.hpp"

#include "mime/foundation/mime_string.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/field_parsers.hpp"
#include "mime/header/header_run.hpp"
#include "mime/nls/charset.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

namespace vellum {

namespace {

struct Parameter {
    Span attribute;
    Span value;
};

using ParameterList = std::vector<Parameter>;

char const * interned(HeaderScanner & scanner, Span const & word) {
    Terminated const text(scanner.text(), {word});
    TableItem const * const item = SymbolTable::Main->LookUp(text.text(word), true, true);
    return item != nullptr ? item->text : nullptr;
}

char const * default_subtype(char const * type) {
    if (type == RFC1521::text) return RFC1521::plain;
    if (type == RFC1521::multipart) return RFC1521::mixed;
    if (type == RFC1521::message) return RFC1521::rfc822;
    if (type == RFC1521::application) return RFC1521::octet_stream;
    return nullptr;
}

ParameterList read_parameters(HeaderScanner & scanner, Position at) {
    ParameterList list;
    for (Parameter next; scanner.get_Parameter(at, at, next.attribute, next.value);) {
        list.push_back(next);
    }
    return list;
}

/// What Content-Type does with its parameters, once type and subtype are known.
class ParameterEvaluation {
public:
    ParameterEvaluation(HeaderRun & run, HeaderScanner & scanner, ParameterList const & list)
        : run_(run), scanner_(scanner), list_(list) {}

    void by_type() {
        if (run_.type == RFC1521::text) {
            text();
        } else if (run_.type == RFC1521::multipart) {
            multipart();
        } else if (run_.type == RFC1521::message && run_.subtype == RFC1521::partial) {
            partial();
        } else if (run_.type == RFC1521::message && run_.subtype == RFC1521::external_body) {
            external_body();
        }
    }

    void file_name() {
        run_.content_type_file_name.reset();
        with_first(RFC1521::name, [this](char const * value) {
            run_.content_type_file_name = value;
            run_.SetFileName(RFC1521::Content_Type, run_.content_type_file_name->c_str());
        });
    }

private:
    void text() {
        run_.body_charset = &NLS::US_ASCII;
        with_first(RFC1521::charset, [this](char const * value) {
            run_.body_charset = NLS::FindCharSet(value);
            report(RFC1521::charset, value);
        });
    }

    void multipart() {
        with_first(RFC1521::boundary, [this](char const * value) {
            run_.Boundary_Init(value);
            report(RFC1521::boundary, value);
        });
    }

    void partial() {
        for (Parameter const & parameter : list_) {
            Terminated const text(scanner_.text(), {parameter.value});
            char const * const value = text.text(parameter.value);
            if (scanner_.is(parameter.attribute, RFC1521::id)) {
                if (!run_.partial_id) run_.partial_id = value;
                report(RFC1521::id, value);
            } else if (scanner_.is(parameter.attribute, RFC1521::number)) {
                if (run_.partial_number == 0) run_.partial_number = to_number(value);
                report(RFC1521::number, value);
            } else if (scanner_.is(parameter.attribute, RFC1521::total)) {
                if (run_.partial_total == 0) run_.partial_total = to_number(value);
                report(RFC1521::total, value);
            }
        }
    }

    void external_body() {
        for (Parameter const & parameter : list_) {
            Terminated const text(scanner_.text(), {parameter.attribute, parameter.value});
            report(text.text(parameter.attribute), text.text(parameter.value));
        }
    }

    /// Calls `use` with the value of the first parameter of that name, if there is one.
    template <typename Use>
    void with_first(char const * name, Use use) {
        auto const found = std::find_if(list_.begin(), list_.end(), [&](Parameter const & each) {
            return scanner_.is(each.attribute, name);
        });
        if (found == list_.end()) return;
        Terminated const text(scanner_.text(), {found->value});
        use(text.text(found->value));
    }

    void report(char const * attribute, char const * value) {
        run_.SetParameter(RFC1521::Content_Type, attribute, value);
    }

    HeaderRun & run_;
    HeaderScanner & scanner_;
    ParameterList const & list_;
};

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

void ParseHeaderField::Content_Type(MimeReceiver * receiver, char const * body, char const * name) {
    using namespace vellum;
    HeaderRun & run = run_of(*receiver);
    run.SetProperty(name, MimeString(body));
    run.body_charset = nullptr;
    HeaderScanner scanner(const_cast<char *>(body), run);
    Position at = 0;
    MediaType const found = read_media_type(scanner, at);
    run.type = found.type != nullptr ? found.type : RFC1521::text;
    run.subtype = found.subtype != nullptr ? found.subtype : default_subtype(run.type);
    ParameterList const list = read_parameters(scanner, at);
    ParameterEvaluation evaluation(run, scanner, list);
    evaluation.by_type();
    evaluation.file_name();
    run.Set_Content_Type(scanner.text().whole());
}
