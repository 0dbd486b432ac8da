// mime/nls/system_charset.cpp - character sets that the registry doesn't know, but the system does
#include "mime/nls/system_charset.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/nls/conversion_binding.hpp"

#include <algorithm>
#include <array>

namespace vellum {

namespace {

using Name = std::array<char, conversion::longest_name>;

/// False if the name is too long.
bool write_name(std::string_view name, Name & full_name) {
    constexpr std::string_view prefix = conversion::system_set_prefix;
    if (name.size() >= full_name.size() - prefix.size()) return false;
    char * const behind = std::copy(prefix.begin(), prefix.end(), full_name.begin());
    char * const end = std::transform(name.begin(), name.end(), behind, [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    *end = '\0';
    return true;
}

} // namespace

NLS_CharSet * system_charset(std::string_view name) {
    auto const * const component = bound_conversion();
    if (component == nullptr) return nullptr;
    for (bool const is_whole : {true, false}) {
        if (!is_whole && !ascii::equal(name.substr(0, 2), "x-")) break;
        Name full_name;
        qxtSTRCharSettag tag = qxtSTR_none;
        bool const is_known =
            write_name(is_whole ? name : name.substr(2), full_name) &&
            component->qxSTRCsidConvExt(&tag, full_name.data(), conversion::name_to_tag, 0) == 0;
        if (is_known) return NLS::FindCharSet(full_name.data());
    }
    return nullptr;
}

} // namespace vellum
