// mime/send/client_parameters.cpp - the parameters that a client adds to a field of the engine's
#include "mime/send/client_parameters.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/send/field_guard.hpp"

#include <algorithm>
#include <iterator>

namespace vellum {

namespace {

bool is_attribute(std::string_view name) {
    constexpr std::size_t longest = 60;
    return is_token(name) && name.size() <= longest &&
           name.find_first_of("*'%") == std::string_view::npos;
}

bool is_written_by_engine(std::string_view name) {
    std::string_view const own[] = {RFC1521::boundary, RFC1521::charset, RFC1521::name,
                                    RFC1806::filename};
    return std::any_of(std::begin(own), std::end(own),
                       [name](std::string_view word) { return ascii::equal(name, word); });
}

} // namespace

bool takes_parameter(std::vector<ClientParameter> const & before, std::string_view name) {
    return is_attribute(name) && !is_written_by_engine(name) &&
           std::none_of(before.begin(), before.end(), [name](ClientParameter const & other) {
               return ascii::equal(other.name, name);
           });
}

} // namespace vellum
