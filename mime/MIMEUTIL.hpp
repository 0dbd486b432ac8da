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
    /// count as Universal Time. A null text, or a text in none of the forms, is read as Current();
    /// the latter is traced.
    MimeDateTime & ParseRFC822(char const * text);

    /// The same, but false, with `result` untouched and nothing traced, for a null text and for a
    /// text in none of the forms.
    static bool ReadRFC822(char const * text, MimeDateTime & result);

    /// Reads what mail writes as a date today, and sets `result` to it, `zone` to the zone of the
    /// text: RFC 5322 3.3 with all obsolete forms of its 4.3 (comments and white space anywhere, no
    /// seconds, years of two and three digits, names of zones), whatever the case; without commas
    /// or the day of the week, with long names of days and months, `29-Apr-2010`, asctime() with
    /// and without a zone, ISO 8601 in the extended and the basic form (a fraction of a second is
    /// cut off), numbers divided by "/" (the month in front), "." (the day in front) or "-", AM and
    /// PM, and differences as `+09:00`, `- 0900`, `+9` and `GMT+9`; "of" in front of the month, a
    /// word or a mark in front of the time (`at 9:55`), the time in front of the date. What follows
    /// the date is passed over.
    ///
    /// The day of the week is computed, not believed. A date without a zone, with the name of an
    /// unknown one, or with a letter other than Z (RFC 5322 4.3) counts as Universal Time, zone 0,
    /// whatever the machine's; a date without a time as midnight. Second 60, a leap second, stays.
    ///
    /// False, and `result` untouched, if `text` is null, can't be read, or tells what doesn't
    /// exist: 31 April, hour 24, a difference of 24 hours, a year outside 1 to 9999. Nothing is
    /// traced. The cost is linear in the text's length, and nothing is allocated.
    static bool Read(char const * text, MimeDateTime & result);

    /// Seconds since 1 January 1970, 00:00 Universal Time, without leap seconds, negative before.
    /// Only the clock and `zone` count, not the zone of the machine nor `tm_isdst`, `tm_wday` and
    /// `tm_yday`. Fields beyond their ranges count on: minute 75 is in the next hour.
    long long SecondsSince1970() const;

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
