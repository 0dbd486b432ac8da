// conversion/system_set.cpp - the sets that this component has no row for, but the C library has
#include "conversion/system_set.hpp"

#include "conversion/iconv_handle.hpp"
#include "mime/nls/conversion_interface.hpp"

#include <algorithm>
#include <deque>
#include <mutex>
#include <string>

namespace vellum::conversion {

namespace {

struct SystemSet {
    std::string name; // as the engine has it
    CharSet set;
};

std::mutex & mutex = *new std::mutex; // outlives the translators of static objects, as below
std::deque<SystemSet> & sets = *new std::deque<SystemSet>;

/// Names are words of messages, and iconv reads options and paths out of some.
bool is_safe(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

} // namespace

int number_of_system_set(std::string_view name) {
    std::string full_name(system_set_prefix);
    full_name += name;
    if (!is_safe(name) || full_name.size() >= longest_name) return -1;
    std::lock_guard const lock(mutex);
    auto place = std::find_if(sets.begin(), sets.end(),
                              [&](SystemSet const & each) { return each.name == full_name; });
    if (place == sets.end()) {
        if (!IconvHandle::open("UTF-8", full_name.c_str() + system_set_prefix.size())) return -1;
        sets.push_back({std::move(full_name), {}});
        place = sets.end() - 1;
        place->set = {.number = first_system_number + static_cast<int>(sets.size()) - 1,
                      .name = place->name.c_str(),
                      .scheme = Scheme::system,
                      .label = place->name.c_str() + system_set_prefix.size()};
    }
    return place->set.number;
}

CharSet const * system_set_of(int number) {
    std::lock_guard const lock(mutex);
    auto const place = static_cast<std::size_t>(number - first_system_number);
    return number >= first_system_number && place < sets.size() ? &sets[place].set : nullptr;
}

} // namespace vellum::conversion
