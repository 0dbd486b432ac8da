// mime/send/delimited.cpp - a text between two delimiters: a quoted string, an address
#include "mime/send/delimited.hpp"

#include "mime/foundation/simple_stream.hpp"

#include <string_view>

namespace vellum {

void WriteDelimited(oSimpleStream * out, char const * text, char open, char close, bool escape) {
    if (out == nullptr || text == nullptr) return;
    char const specials[] = {open, close, '\r', '\\'};
    std::string_view const escaped(specials, escape ? 4 : 3);
    std::string_view rest(text);
    *out << open;
    while (!rest.empty()) {
        std::string_view const run = rest.substr(0, rest.find_first_of(escaped));
        out->write(run);
        rest.remove_prefix(run.size());
        if (rest.empty()) break;
        *out << '\\' << rest.front();
        rest.remove_prefix(1);
    }
    *out << close;
}

} // namespace vellum
