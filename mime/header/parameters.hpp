// mime/header/parameters.hpp - the parameters of Content-Type and Content-Disposition, one by one
// (RFC 2045 5.1)
#pragma once

#include "mime/header/grammar.hpp"

#include <optional>
#include <string_view>

namespace vellum {

/// Reads one parameter after the other, in the order of the field, and keeps none: a field may have
/// millions of them.
class ParameterReader {
public:
    /// Reads from `at` on, the place behind the words that the field begins with.
    ParameterReader(HeaderScanner & scanner, Position at) : scanner_(scanner), at_(at) {}
    ParameterReader(ParameterReader const &) = delete;
    ParameterReader & operator=(ParameterReader const &) = delete;

    /// Whether there is a further parameter. The first text that is no parameter ends the list.
    bool next();
    /// Whether the parameter has this name, without regard to case.
    bool is(std::string_view name) const { return scanner_.is(attribute_, name); }
    /// The parameter's name as the message spells it, and its value, unquoted and decoded. Both are
    /// good until the next call of next().
    char const * name();
    char const * value();

private:
    Terminated const & text();

    HeaderScanner & scanner_;
    Position at_;
    Span attribute_;
    Span value_;
    std::optional<Terminated> text_;
};

} // namespace vellum
