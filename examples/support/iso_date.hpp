// examples/support/iso_date.hpp - a date with its zone, as programs write it to each other
#pragma once

#include "mime/MIMEUTIL.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace examples {

/// As 2010-04-29T12:30:00+02:00: the clock of the date's own zone.
inline std::string iso_date(MimeDateTime const & when) {
    char text[128];
    int const length = std::snprintf(
        text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d%c%02d:%02d", when.tm_year + 1900,
        when.tm_mon + 1, when.tm_mday, when.tm_hour, when.tm_min, when.tm_sec,
        when.zone < 0 ? '-' : '+', std::abs(when.zone) / 60, std::abs(when.zone) % 60);
    return {text, static_cast<std::size_t>(length)};
}

} // namespace examples
