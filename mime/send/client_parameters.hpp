// mime/send/client_parameters.hpp - the parameters that a client adds to a field of the engine's
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vellum {

/// Copies of a parameter's texts.
struct ClientParameter {
    std::string name;
    std::string value;
};

/// The names of the client's parameters that a field has so far.
class ParameterNames {
public:
    /// Whether a parameter of that name may come next; if so, it has come. Refused are those that
    /// the engine writes itself, those that have come, and names that are no attribute (RFC 2231 7)
    /// or have more than 60 bytes, so that no line could hold a piece of the value.
    bool Take(std::string_view name);

private:
    std::set<std::string> taken_; // in lower case
};

} // namespace vellum
