// mime/MIMEUTIL.cpp - the date and time of a message: reading, conversion between zones, writing
//
// Grammar:    RFC 822 5.1, the year in two or four digits; and the further forms of `date_forms`.
//             What Read() takes stands in util/date_text.cpp.
// Tolerance:  see date_forms, read_zone() and finish().
// Bounds:     each form reads the text once at most; what follows the date isn't looked at.
// Not here:   the C library's mktime() and its reverse. They count in the machine's zone, where an
//             hour of each spring doesn't exist; days are counted in the calendar alone.
#include "mime/MIMEUTIL.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"
#include "mime/util/date_text.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string_view>

namespace ascii = vellum::ascii;
namespace platform = vellum::platform;

namespace {

// ---- Names ----

constexpr int unknown_weekday = 7;
constexpr int unknown_month = 13;
constexpr int no_zone = 13;

/// Whoever filters a log finds this message by its place, so that the number stays whatever the
/// lines of this file are.
constexpr vellum::TraceSite unreadable_date{vellum::trace_warning, "mime/MIMEUTIL", 439};

// The tokens' addresses, as their values may not be there yet when a client's static objects ask.
constexpr std::array<char const * const *, 8> weekdays{
    &RFC822::Sun, &RFC822::Mon, &RFC822::Tue, &RFC822::Wed,
    &RFC822::Thu, &RFC822::Fri, &RFC822::Sat, &RFC822::XXX,
};

constexpr std::array<char const * const *, 12> months{
    &RFC822::Jan, &RFC822::Feb, &RFC822::Mar, &RFC822::Apr, &RFC822::May, &RFC822::Jun,
    &RFC822::Jul, &RFC822::Aug, &RFC822::Sep, &RFC822::Oct, &RFC822::Nov, &RFC822::Dec,
};

struct ZoneName {
    std::string_view name;
    int hours; // east of Universal Time
};

// The letters have the signs that RFC 822 5.1 prints. "J" is the local zone, and in no message.
constexpr std::array<ZoneName, 36> zones{{
    {"UT", 0},   {"UTC", 0},  {"GMT", 0},  {"EST", -5}, {"EDT", -4}, {"CST", -6},
    {"CDT", -5}, {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7}, {"A", -1},
    {"B", -2},   {"C", -3},   {"D", -4},   {"E", -5},   {"F", -6},   {"G", -7},
    {"H", -8},   {"I", -9},   {"K", -10},  {"L", -11},  {"M", -12},  {"N", 1},
    {"O", 2},    {"P", 3},    {"Q", 4},    {"R", 5},    {"S", 6},    {"T", 7},
    {"U", 8},    {"V", 9},    {"W", 10},   {"X", 11},   {"Y", 12},   {"Z", 0},
}};

/// Names agree in their first three characters; a shorter name agrees with itself alone.
bool agrees(std::string_view text, std::string_view name) {
    return ascii::equal(text.substr(0, 3), name);
}

template <std::size_t Size>
int index_of(std::string_view text, std::array<char const * const *, Size> const & names,
             int unknown) {
    for (std::size_t i = 0; i < Size; ++i) {
        if (agrees(text, *names[i])) return static_cast<int>(i);
    }
    return unknown;
}

template <std::size_t Size>
char const * name_at(int index, std::array<char const * const *, Size> const & names) {
    bool const known = index >= 0 && index < static_cast<int>(Size);
    return known ? *names[static_cast<std::size_t>(index)] : RFC822::XXX;
}

// ---- Reading ----

/// Reads as the conversions of sscanf() do, in any locale, and to the bytes that it needs.
class DateScanner {
public:
    explicit DateScanner(char const * text) : next_(text) {}

    /// At most `width` bytes that are no white space, behind any white space; at least one.
    bool word(int width, std::string_view & value) {
        skip_white_space();
        char const * const start = next_;
        while (next_ - start < width && *next_ != '\0' && !is_white_space(*next_))
            ++next_;
        value = std::string_view(start, static_cast<std::size_t>(next_ - start));
        return !value.empty();
    }

    /// A decimal number of at most `width` bytes, the sign among them, behind any white space.
    bool number(int width, int & value) {
        skip_white_space();
        char const * const end_of_sign = next_ + (*next_ == '+' || *next_ == '-' ? 1 : 0);
        bool const negative = *next_ == '-';
        char const * digit = end_of_sign;
        int magnitude = 0;
        for (; digit - next_ < width && ascii::is_digit(*digit); ++digit)
            magnitude = magnitude * 10 + (*digit - '0');
        if (digit == end_of_sign) return false;
        next_ = digit;
        value = negative ? -magnitude : magnitude;
        return true;
    }

    /// Exactly one byte of `marks`, here.
    bool one_of(std::string_view marks) {
        if (*next_ == '\0' || marks.find(*next_) == std::string_view::npos) return false;
        ++next_;
        return true;
    }

private:
    static bool is_white_space(char c) { return ascii::is_blank(c) || (c >= '\n' && c <= '\r'); }

    void skip_white_space() {
        while (is_white_space(*next_))
            ++next_;
    }

    char const * next_;
};

/// What a form has read.
struct FormText {
    std::string_view weekday, day, month_name, month_number, zone, half_day;
    int year = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

/// The forms, tried from the first. A letter is an item (see read_item()), a mark is itself, "." is
/// also "/" or "-" where numbers make the date, and ";" is ":" or ".".
constexpr std::array<std::string_view, 9> date_forms{
    "w,dbyH:M:Sz", // Thu, 01 Jan 1998 09:05:03 +0100: RFC 822
    "w,dbyH:M:S",  //                                  without its zone
    "wbdH:M:Sy",   // Thu Jan  1 09:05:03 1998: asctime()
    "dbyH:M:Sz",   // 1 Jan 1998 09:05:03 GMT: RFC 822 without the day of the week
    "dbyH:M:S",    //                          without its zone
    "m/d/yH:M:Sp", // 01/02/1998 03:04:05 PM: the month in front
    "d.m.yH;M;Sp", // 31.12.1998 11.59.58 PM: the day in front
    "m/d/yH:M:S",  // 12-25-1998 10:00:00
    "d.m.yH;M;S",  // 25.12.1998 10.00.00
};

bool read_item(char item, DateScanner & scanner, FormText & text) {
    switch (item) {
    case 'w': return scanner.word(3, text.weekday);
    case 'd': return scanner.word(2, text.day);
    case 'b': return scanner.word(3, text.month_name);
    case 'm': return scanner.word(2, text.month_number);
    case 'y': return scanner.number(4, text.year);
    case 'H': return scanner.number(2, text.hour);
    case 'M': return scanner.number(2, text.minute);
    case 'S': return scanner.number(2, text.second);
    case 'z': return scanner.word(5, text.zone);
    case 'p': return scanner.word(2, text.half_day);
    case '/': return scanner.one_of("/-");
    case '.': return scanner.one_of("/-.");
    case ';': return scanner.one_of(":.");
    default: return scanner.one_of(std::string_view(&item, 1));
    }
}

bool read_form(std::string_view form, char const * text, FormText & read) {
    DateScanner scanner(text);
    for (char const item : form) {
        if (!read_item(item, scanner, read)) return false;
    }
    return true;
}

/// As atoi(), of a text of two bytes: what is no number is 0.
int number_in(std::string_view text) {
    std::array<char, 4> copy{};
    text.copy(copy.data(), copy.size() - 1);
    return static_cast<int>(std::strtol(copy.data(), nullptr, 10));
}

/// zone of RFC 822 5.1: a name, or a sign and HHMM. The four bytes behind a sign count as digits
/// without a look, bytes that are missing as zeros; an unknown name is Universal Time.
int read_zone(std::string_view text) {
    if (text.front() == '+' || text.front() == '-') {
        std::array<int, 4> digits{};
        for (std::size_t i = 0; i < digits.size() && i + 1 < text.size(); ++i)
            digits[i] = ascii::byte(text[i + 1]) - '0';
        int const minutes = (digits[0] * 10 + digits[1]) * 60 + digits[2] * 10 + digits[3];
        return text.front() == '-' ? -minutes : minutes;
    }
    for (ZoneName const & zone : zones) {
        if (agrees(text, zone.name)) return 60 * zone.hours;
    }
    return 0;
}

/// Takes what a form has read; what it hasn't stays as it is.
void take(FormText const & read, MimeDateTime & date) {
    if (!read.weekday.empty()) date.tm_wday = index_of(read.weekday, weekdays, unknown_weekday);
    date.tm_mday = number_in(read.day);
    date.tm_mon = read.month_name.empty() ? number_in(read.month_number) - 1
                                          : index_of(read.month_name, months, unknown_month);
    date.tm_year = read.year;
    date.tm_hour = read.hour;
    date.tm_min = read.minute;
    date.tm_sec = read.second;
    if (ascii::equal(read.half_day, "PM") && date.tm_hour < 12) date.tm_hour += 12;
    if (!read.zone.empty()) date.zone = read_zone(read.zone);
}

/// Can the fields be a date? A numeric month of 13 passes, as it may be a day.
bool is_date(MimeDateTime const & date, bool with_weekday) {
    return date.tm_mon < unknown_month && date.tm_year >= 0 && date.tm_mday >= 1 &&
           date.tm_mday <= 31 && (!with_weekday || date.tm_wday != unknown_weekday);
}

bool read_date(char const * text, MimeDateTime & date) {
    for (std::string_view const form : date_forms) {
        FormText read;
        if (!read_form(form, text, read)) continue;
        take(read, date);
        if (is_date(date, !read.weekday.empty())) return true;
    }
    return false;
}

// ---- Calendar ----

using Days = std::chrono::sys_days;

constexpr std::int64_t seconds_of_day = 24 * 60 * 60;

constexpr std::int64_t seconds_at(int year) {
    return Days(std::chrono::year(year) / 1 / 1).time_since_epoch().count() * seconds_of_day;
}

constexpr std::int64_t floor_quotient(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

/// Seconds from 1970 to what the clock shows, counted as if it were that of Universal Time. Fields
/// may be beyond their ranges, a 30th of February, 25 o'clock. Whatever they hold, the sum stays
/// far within its type.
std::int64_t seconds_on_clock(MimeDateTime const & date) {
    constexpr std::int64_t days_of_400_years = 146097; // the calendar repeats then
    std::int64_t const year = date.tm_year + std::int64_t{1900} + floor_quotient(date.tm_mon, 12);
    std::int64_t const cycles = floor_quotient(year, 400);
    auto const month = static_cast<unsigned>(date.tm_mon - 12 * floor_quotient(date.tm_mon, 12));
    Days const first(std::chrono::year(static_cast<int>(year - 400 * cycles)) /
                     std::chrono::month(month + 1) / 1);
    std::int64_t const days = first.time_since_epoch().count() + cycles * days_of_400_years +
                              std::int64_t{date.tm_mday} - 1;
    return ((days * 24 + date.tm_hour) * 60 + date.tm_min) * 60 + date.tm_sec;
}

/// Sets the clock to `seconds` from 1970, all nine fields. False, and nothing done, if they lie
/// outside the years that a message can write.
bool set_clock(MimeDateTime & date, std::int64_t seconds, bool is_summer_time) {
    if (seconds < seconds_at(0) || seconds >= seconds_at(10000)) return false;
    std::int64_t const day = floor_quotient(seconds, seconds_of_day);
    int const second = static_cast<int>(seconds - day * seconds_of_day);
    Days const days{std::chrono::days(day)};
    std::chrono::year_month_day const calendar(days);
    date.tm_sec = second % 60;
    date.tm_min = second / 60 % 60;
    date.tm_hour = second / 3600;
    date.tm_mday = static_cast<int>(static_cast<unsigned>(calendar.day()));
    date.tm_mon = static_cast<int>(static_cast<unsigned>(calendar.month())) - 1;
    date.tm_year = static_cast<int>(calendar.year()) - 1900;
    date.tm_wday = static_cast<int>(std::chrono::weekday(days).c_encoding());
    date.tm_yday = static_cast<int>((days - Days(calendar.year() / 1 / 1)).count());
    date.tm_isdst = is_summer_time ? 1 : 0;
    return true;
}

/// The moment in Universal Time.
std::int64_t moment_of(MimeDateTime const & date) {
    return seconds_on_clock(date) - std::int64_t{date.zone} * 60;
}

void show_local(MimeDateTime & date, std::int64_t moment) {
    platform::ZoneOffset const offset = platform::zone_offset(static_cast<std::time_t>(moment));
    if (set_clock(date, moment + offset.minutes * 60, offset.is_summer_time))
        date.zone = offset.minutes;
}

std::int64_t present_moment() { return floor_quotient(platform::now(), 1000); }

/// Makes a whole value of what a form has read.
void finish(MimeDateTime & date) {
    if (date.zone == no_zone || date.zone == -no_zone)
        date.zone = platform::summer_offset(static_cast<std::time_t>(present_moment()));

    if (date.tm_year > 99) {
        date.tm_year -= 1900;
    } else if (MimeDateTime today(std::tm{}, 0); set_clock(today, present_moment(), false)) {
        date.tm_year += today.tm_year / 100 * 100;
    }

    // A month of 13 is the day, if the day can be a month.
    if (date.tm_mon > 11 && date.tm_mday <= 12) {
        int const day = date.tm_mon + 1;
        date.tm_mon = date.tm_mday - 1;
        date.tm_mday = day;
    }
    set_clock(date, seconds_on_clock(date), false);
}

// ---- Writing ----

void write(MimeDateTime const & date, bool keep_zone, TimeString & out) {
    MimeDateTime shown = date;
    if (!keep_zone) {
        if (set_clock(shown, moment_of(date), false)) shown.zone = 0;
    }
    std::array<char, 128> text{}; // room for whatever the fields hold
    std::snprintf(text.data(), text.size(), "%3s, %02d %3s %02lld %02d:%02d:%02d %+.2i%.2i",
                  name_at(shown.tm_wday, weekdays), shown.tm_mday, name_at(shown.tm_mon, months),
                  shown.tm_year + 1900LL, shown.tm_hour, shown.tm_min, shown.tm_sec,
                  shown.zone / 60, std::abs(shown.zone % 60));
    out[std::string_view(text.data()).copy(out, sizeof out - 1)] = '\0';
}

} // namespace

// ---- The class ----

MimeDateTime::MimeDateTime() { Current(); }

MimeDateTime::MimeDateTime(char const * text) { ParseRFC822(text); }

MimeDateTime::MimeDateTime(std::tm const & value, int zone_of_value)
    : tm_sec(value.tm_sec), tm_min(value.tm_min), tm_hour(value.tm_hour), tm_mday(value.tm_mday),
      tm_mon(value.tm_mon), tm_year(value.tm_year), tm_wday(value.tm_wday), tm_yday(value.tm_yday),
      tm_isdst(value.tm_isdst), zone(zone_of_value) {}

MimeDateTime & MimeDateTime::ParseRFC822(char const * text) {
    if (ReadRFC822(text, *this)) return *this;
    if (text != nullptr) {
        vellum::trace(unreadable_date, "DateTimeFromRFC822: unrecognized date string=\"%s\"", text);
    }
    return Current();
}

bool MimeDateTime::ReadRFC822(char const * text, MimeDateTime & result) {
    if (text == nullptr) return false;
    MimeDateTime date(std::tm{}, no_zone);
    date.tm_sec = date.tm_min = date.tm_hour = -1;
    date.tm_mon = unknown_month;
    date.tm_year = -1;
    date.tm_wday = unknown_weekday;

    bool const is_marked = text[0] == '?' && text[1] == ' ';
    if (!read_date(is_marked ? text + 2 : text, date)) return false;
    finish(date);
    result = date;
    return true;
}

bool MimeDateTime::Read(char const * text, MimeDateTime & result) {
    if (text == nullptr) return false;
    std::optional<vellum::DateText> const read = vellum::read_date_text(text);
    if (!read) return false;
    std::tm clock{};
    clock.tm_year = read->year - 1900;
    clock.tm_mon = read->month - 1;
    clock.tm_mday = read->day;
    clock.tm_hour = read->hour;
    clock.tm_min = read->minute;
    MimeDateTime date(clock, read->zone);
    set_clock(date, seconds_on_clock(date), false);
    date.tm_sec = read->second; // behind set_clock(), to which a leap second is the next minute
    result = date;
    return true;
}

long long MimeDateTime::SecondsSince1970() const { return moment_of(*this); }

MimeDateTime & MimeDateTime::WriteRFC822(TimeString & out, int keepZone) {
    write(*this, keepZone != 0, out);
    return *this;
}

std::ostream & MimeDateTime::print(std::ostream & out) {
    TimeString text;
    WriteRFC822(text, 1);
    return out << text;
}

MimeDateTime & MimeDateTime::Current() {
    show_local(*this, present_moment());
    return *this;
}

MimeDateTime & MimeDateTime::ConvertUT() {
    if (set_clock(*this, moment_of(*this), false)) zone = 0;
    return *this;
}

MimeDateTime & MimeDateTime::ConvertLocal() {
    show_local(*this, moment_of(*this));
    return *this;
}

std::tm MimeDateTime::GetStructTM() const {
    std::tm value{};
    value.tm_sec = tm_sec;
    value.tm_min = tm_min;
    value.tm_hour = tm_hour;
    value.tm_mday = tm_mday;
    value.tm_mon = tm_mon;
    value.tm_year = tm_year;
    value.tm_wday = tm_wday;
    value.tm_yday = tm_yday;
    value.tm_isdst = tm_isdst;
    return value;
}

int MimeDateTime::dumpData() {
    std::cout << "tm_sec   " << tm_sec << "\ntm_min   " << tm_min << "\ntm_hour  " << tm_hour
              << "\ntm_mday  " << tm_mday << "\ntm_mon   " << tm_mon << "\ntm_year  " << tm_year
              << "\ntm_wday  " << tm_wday << "\ntm_yday  " << tm_yday << "\ntm_isdst " << tm_isdst
              << "\nzone     " << zone << '\n';
    return 0;
}
