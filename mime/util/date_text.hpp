// mime/util/date_text.hpp - reads the date of a message as mail writes it, not only as it should
#pragma once

#include <optional>
#include <string_view>

namespace vellum {

/// A date as its text tells it. All fields are within their ranges, and the day exists.
struct DateText {
    int year = 0;  ///< 1 to 9999
    int month = 0; ///< 1 to 12
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0; ///< to 60, a leap second
    int zone = 0;   ///< minutes ahead of Universal Time
};

/// Reads RFC 5322 3.3 with the obsolete forms of its 4.3, ISO 8601, and what else is found in mail;
/// `MimeDateTime::Read` says what. Looks at each byte a fixed number of times at most and allocates
/// nothing. Empty if the text is no date.
std::optional<DateText> read_date_text(std::string_view text) noexcept;

} // namespace vellum
