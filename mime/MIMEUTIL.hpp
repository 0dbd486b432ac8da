// mime/MIMEUTIL.hpp - the date and time of a message: reading, conversion between zones, writing
#pragma once

#include "mime/export.hpp"

#include <ctime>
#include <iosfwd>

/// Receives the written form of a date, NUL-terminated.
using TimeString = char[40];

/// A date and time in some zone. The fields of the clock are those of std::tm and show the clock of
/// `zone`. Conversions are right on every day of the year, whatever the zone of the machine and its
/// summer time; their results lie in the years 0 to 9999, and a conversion that would leave these
/// leaves the value as it was.
class VELLUM_EXPORT MimeDateTime {
public:
    int tm_sec = 0;
    int tm_min = 0;
    int tm_hour = 0;
    int tm_mday = 0;
    int tm_mon = 0;   ///< 0 to 11
    int tm_year = 0;  ///< years since 1900
    int tm_wday = 0;  ///< 0 is Sunday; 7 if not known
    int tm_yday = 0;  ///< 0 is 1 January
    int tm_isdst = 0; ///< above 0 only where the clock is that of the machine's zone in its summer
    int zone = 0;     ///< how many minutes this clock is ahead of Universal Time; EST has -300

    /// As Current().
    MimeDateTime();

    /// As ParseRFC822().
    MimeDateTime(char const * text);

    /// Takes the fields as they stand, without a look at whether they make a date.
    MimeDateTime(std::tm const & value, int zone);

    MimeDateTime(MimeDateTime const &) = default;
    MimeDateTime & operator=(MimeDateTime const &) = default;
    ~MimeDateTime() = default;

    /// Reads a date of RFC 822 5.1 with a year of two or four digits, with and without the day of
    /// the week or the zone, or one of five further forms found in mail: asctime(), and numbers
    /// divided by "/", "-" or "." with the month or the day in front. What follows the date is
    /// passed over. A year of two digits is taken in the present century; a date without a zone in
    /// that of the machine, in its summer time if the zone has one. The names of unknown zones
    /// count as Universal Time. A null text, or one in none of the forms, gives Current(), and the
    /// latter is traced.
    MimeDateTime & ParseRFC822(char const * text);

    /// Writes the form of RFC 822 with a year of four digits: *this* clock and zone if `keepZone`
    /// is nonzero, else converted to Universal Time, "+0000". Changes nothing in the value. Values
    /// that are no date are cut where `out` ends. An offset above -60 and below 0 is written with
    /// "+".
    MimeDateTime & WriteRFC822(TimeString & out, int keepZone);

    /// Puts what WriteRFC822() writes with this clock's zone.
    std::ostream & print(std::ostream & out);

    /// Takes the present time in the machine's zone, with the offset that holds now.
    MimeDateTime & Current();

    /// Changes to Universal Time, zone 0.
    MimeDateTime & ConvertUT();

    /// Changes to the machine's zone, with the offset that holds at this value's moment.
    MimeDateTime & ConvertLocal();

    /// The nine fields of the clock.
    std::tm GetStructTM() const;

    /// Puts the ten fields on std::cout, one labelled line each. The result is 0.
    int dumpData();
};
