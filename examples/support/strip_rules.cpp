// examples/support/strip_rules.cpp - which parts of a message a filter takes out
#include "examples/support/strip_rules.hpp"

#include "examples/support/lower_case.hpp"

#include <algorithm>
#include <string_view>

namespace examples {

namespace {

std::string_view text_of(char const * word) { return word != nullptr ? word : ""; }

bool matches(PartInfo const & part, std::string_view rule) {
    auto const slash = rule.find('/');
    std::string_view const subtype = rule.substr(slash + 1);
    return lower_case(text_of(part.type)) == lower_case(rule.substr(0, slash)) &&
           (subtype == "*" || lower_case(text_of(part.subtype)) == lower_case(subtype));
}

/// Text that nothing calls an attachment is what the message says. A message within the message is
/// looked into, unless that would have to be done through its encoding.
bool is_attachment(PartInfo const & part) {
    if (part.type == RFC1521::message) return part.is_encoded();
    return part.type != RFC1521::text || part.file_name || part.disposition == RFC1806::attachment;
}

/// A whole message in one part, signed or encrypted (RFC 8551).
bool is_sealed_leaf(PartInfo const & part) {
    return matches(part, "application/pkcs7-mime") || matches(part, "application/x-pkcs7-mime");
}

} // namespace

std::optional<long long> StripRules::most_bytes(PartInfo const & part) const {
    bool const is_left =
        part.type == RFC1521::multipart || (is_sealed_leaf(part) && !is_signed_too);
    if (is_left) return {};
    bool const has_type = std::any_of(
        types.begin(), types.end(), [&](std::string const & rule) { return matches(part, rule); });
    if (has_type) return 0;
    return is_attachment(part) ? above : std::nullopt;
}

bool is_type_rule(std::string const & text) {
    auto const slash = text.find('/');
    return slash != 0 && slash != text.npos && slash + 1 != text.size() &&
           text.find('/', slash + 1) == text.npos;
}

} // namespace examples
