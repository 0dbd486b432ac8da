// examples/support/strip_rules.hpp - which parts of a message a filter takes out
#pragma once

#include "examples/support/part_note.hpp"

#include <optional>
#include <string>
#include <vector>

namespace examples {

struct StripRules {
    std::optional<long long> above; ///< Attachments of more bytes than that.
    std::vector<std::string> types; ///< Parts of these media types, of any size: see is_type_rule.
    bool is_signed_too = false;     ///< Also what is signed or encrypted.

    /// How many bytes the body of the part may have and stay; nothing if it stays in any case. A
    /// multipart is for its parts to decide.
    std::optional<long long> most_bytes(PartInfo const & part) const;
};

/// `type/subtype`, or `type/*` for all of them.
bool is_type_rule(std::string const & text);

} // namespace examples
