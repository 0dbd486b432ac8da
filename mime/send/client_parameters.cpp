// mime/send/client_parameters.cpp - the parameters that a client adds to a field of the engine's
#include "mime/send/client_parameters.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/send/field_guard.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vellum {

namespace {

bool is_attribute(std::string_view name) {
    constexpr std::size_t longest = 60;
    return is_token(name) && name.size() <= longest &&
           name.find_first_of("*'%") == std::string_view::npos;
}

bool is_engine_parameter(std::string_view name) {
    std::string_view const own[] = {RFC1521::boundary, RFC1521::charset, RFC1521::name,
                                    RFC1806::filename};
    return std::any_of(std::begin(own), std::end(own),
                       [name](std::string_view word) { return ascii::equal(name, word); });
}

} // namespace

bool ParameterNames::Take(std::string_view name) {
    if (!is_attribute(name) || is_engine_parameter(name)) return false;
    std::string key(name);
    std::transform(key.begin(), key.end(), key.begin(), ascii::to_lower);
    return taken_.insert(std::move(key)).second;
}

} // namespace vellum
