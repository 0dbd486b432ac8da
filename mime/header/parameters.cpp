// mime/header/parameters.cpp - the parameters of Content-Type and Content-Disposition, one by one
// (RFC 2045 5.1)
#include "mime/header/parameters.hpp"

namespace vellum {

bool ParameterReader::next() {
    text_.reset();
    return scanner_.get_Parameter(at_, at_, attribute_, value_);
}

char const * ParameterReader::name() { return text().text(attribute_); }

char const * ParameterReader::value() { return text().text(value_); }

Terminated const & ParameterReader::text() {
    if (!text_) text_.emplace(scanner_.text(), std::initializer_list<Span>{attribute_, value_});
    return *text_;
}

} // namespace vellum
