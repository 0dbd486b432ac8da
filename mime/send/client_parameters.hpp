// mime/send/client_parameters.hpp - the parameters that a client adds to a field of the engine's
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vellum {

/// Copies of a parameter's texts.
struct ClientParameter {
    std::string name;
    std::string value;
};

/// Whether a parameter of that name may come behind those of `before`. Refused are those that the
/// engine writes itself, those given before, and names that are no attribute (RFC 2231 7) or have
/// more than 60 bytes, so that no line could hold a piece of the value.
bool takes_parameter(std::vector<ClientParameter> const & before, std::string_view name);

} // namespace vellum
