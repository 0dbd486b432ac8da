// mime/util/date_text.cpp - reads the date of a message as mail writes it, not only as it should
//
// Grammar:    RFC 5322 3.3 and 4.3; ISO 8601, extended and basic, but no weeks and days of the
// year:
//               date-time = [weekday] (day month year / month day year / year month day) time
//             where the year may also stand behind the time, the time in front of the date, and the
//             time may be missing.
// Tolerance:  comments, white space, commas and semicolons between any two items; a quote in front
//             of all; names from three letters on; "-", "/" or "." between the numbers of a date;
//             "of" in front of the month; a word or a mark in front of the time; AM and PM; zones
//             as "+9", "+09:00", "- 0600", "GMT+9", "0900". What stands behind the zone isn't
//             looked at.
// Bounds:     no item is read more than four times, and the comments in front of it no oftener.
#include "mime/util/date_text.hpp"

#include "mime/foundation/ascii.hpp"

#include <array>
#include <chrono>
#include <cstddef>

namespace vellum {

namespace {

// names ----------------------------------------------------------------------------

constexpr std::array<std::string_view, 7> weekdays{"sunday",   "monday", "tuesday", "wednesday",
                                                   "thursday", "friday", "saturday"};

constexpr std::array<std::string_view, 12> months{"january",   "february", "march",    "april",
                                                  "may",       "june",     "july",     "august",
                                                  "september", "october",  "november", "december"};

struct ZoneName {
    std::string_view name;
    int hours; // east of Universal Time
};

// RFC 5322 4.3. All other names, the letters of RFC 822 among them, tell nothing for certain and
// count as "-0000".
constexpr std::array<ZoneName, 10> zones{{{"EST", -5},
                                          {"EDT", -4},
                                          {"CST", -6},
                                          {"CDT", -5},
                                          {"MST", -7},
                                          {"MDT", -6},
                                          {"PST", -8},
                                          {"PDT", -7},
                                          {"AST", -4},
                                          {"ADT", -3}}};

int zone_of_name(std::string_view name) {
    for (ZoneName const & zone : zones) {
        if (ascii::equal(name, zone.name)) return 60 * zone.hours;
    }
    return 0;
}

/// The place of the name of which `word` is the start, three letters at least, counted from 1; 0 if
/// there is no such name.
template <std::size_t Size>
int place_of(std::string_view word, std::array<std::string_view, Size> const & names) {
    if (word.size() < 3) return 0;
    for (std::size_t i = 0; i < Size; ++i) {
        if (ascii::equal(word, names[i].substr(0, word.size()))) return static_cast<int>(i) + 1;
    }
    return 0;
}

// items ----------------------------------------------------------------------------

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_white_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || ascii::byte(c) >= 0x80;
}

/// A run of digits. More than nine of them are counted, and their value is of no use.
struct Number {
    int value = 0;
    std::size_t digits = 0;
};

/// Takes a text apart. Each operation moves only if it finds what it is asked for.
class Cursor {
public:
    explicit Cursor(std::string_view text) : text_(text) {}

    /// The byte here, or NUL at the end.
    char here() const { return at_ < text_.size() ? text_[at_] : '\0'; }

    bool pass(char c) {
        if (at_ == text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }

    /// A byte of `marks`, or NUL.
    char pass_one_of(std::string_view marks) {
        bool const is_there = at_ < text_.size() && marks.find(text_[at_]) != marks.npos;
        return is_there ? text_[at_++] : '\0';
    }

    /// CFWS of RFC 5322 3.2.2. A comment that isn't closed ends with the text.
    void pass_blanks() {
        std::size_t depth = 0;
        for (; at_ < text_.size(); ++at_) {
            char const c = text_[at_];
            if (c == '(') {
                ++depth;
            } else if (depth == 0) {
                if (!is_white_space(c)) return;
            } else if (c == ')') {
                --depth;
            } else if (c == '\\' && at_ + 1 < text_.size()) {
                ++at_;
            }
        }
    }

    /// CFWS, commas and semicolons.
    void pass_commas() {
        do {
            pass_blanks();
        } while (pass_one_of(",;") != '\0');
    }

    Number number() {
        Number read;
        for (; is_digit(here()); ++at_) {
            if (++read.digits <= 9) read.value = 10 * read.value + (here() - '0');
        }
        return read;
    }

    /// A run of letters, bytes of other character sets being some.
    std::string_view word() {
        std::size_t const first = at_;
        while (is_letter(here()))
            ++at_;
        return text_.substr(first, at_ - first);
    }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

/// How the word is taken that a date begins with.
enum class FirstWord { may_be_weekday, is_month };

/// One reading of a text.
class DateReader {
public:
    explicit DateReader(std::string_view text) : cursor_(text) {}

    std::optional<DateText> read(FirstWord first_word) {
        cursor_.pass_commas();
        // A date that was doubted before, or quoted.
        while (cursor_.pass_one_of("?\"") != '\0')
            cursor_.pass_commas();
        if (first_word == FirstWord::may_be_weekday) pass_weekday();
        if (is_at_time() && !read_time()) return std::nullopt;
        cursor_.pass_commas();
        if (!read_date()) return std::nullopt;
        pass_to_time();
        if (!has_time_ && is_digit(cursor_.here()) && !read_time()) return std::nullopt;
        if (has_time_ && !read_end()) return std::nullopt;
        if (!has_year_ || !exists()) return std::nullopt;
        return date_;
    }

private:
    /// day-name [","]. A word that is no day of the week passes as a day in another language if a
    /// comma follows it.
    void pass_weekday() {
        Cursor const before = cursor_;
        std::string_view const word = cursor_.word();
        if (word.empty()) return;
        cursor_.pass('.');
        cursor_.pass_blanks();
        if (place_of(word, weekdays) == 0 && cursor_.here() != ',') cursor_ = before;
        cursor_.pass_commas();
    }

    /// The hour stands here, and its ":".
    bool is_at_time() const {
        Cursor ahead = cursor_;
        Number const hour = ahead.number();
        if (hour.digits == 0 || hour.digits > 2) return false;
        ahead.pass_blanks();
        return ahead.here() == ':';
    }

    /// Passes what stands between the date and the time: commas, and "at", "T", "-" or "@".
    void pass_to_time() {
        cursor_.pass_commas();
        Cursor const before = cursor_;
        if (cursor_.word().empty()) cursor_.pass_one_of("-@");
        cursor_.pass_blanks();
        if (!is_at_time()) cursor_ = before;
    }

    bool read_date() {
        if (!is_digit(cursor_.here())) return read_month() && read_day() && read_year_or_time();
        Number const first = cursor_.number();
        if (first.digits == 8) return take_basic_date(first.value);
        if (first.digits == 0 || first.digits > 4) return false;
        char const mark = pass_mark();
        if (first.digits == 4) return set_year(first) && read_month_and_day();
        if (!is_digit(cursor_.here())) {
            date_.day = first.value;
            return read_month() && read_year_or_time();
        }
        return mark != ' ' && read_numbers(first.value, mark);
    }

    /// Year, month and day in one: ISO 8601 4.1.2.2.
    bool take_basic_date(int number) {
        date_.day = number % 100;
        date_.month = number / 100 % 100;
        return set_year({number / 10000, 4}) && pass_t();
    }

    /// What stands behind the year: the month and the day, or the day and the month's name.
    bool read_month_and_day() {
        Cursor const before = cursor_;
        bool const is_day_first = read_day() && (pass_mark(), is_letter(cursor_.here()));
        if (is_day_first && read_month()) return true;
        cursor_ = before;
        return read_month() && read_day() && cursor_.here() != ':' && pass_t();
    }

    /// The rest of a date of numbers, in the order that its mark is a sign of; or in the other, if
    /// that can't be.
    bool read_numbers(int first, char mark) {
        int const second = cursor_.number().value;
        if (pass_mark() != mark) return false;
        bool const is_day_first = (mark == '.' || first > 12) && second <= 12;
        date_.day = is_day_first ? first : second;
        date_.month = is_day_first ? second : first;
        return is_digit(cursor_.here()) && set_year(cursor_.number());
    }

    /// What stands between the items of a date: the mark if there is any, else a blank.
    char pass_mark() {
        cursor_.pass_commas();
        char const mark = cursor_.pass_one_of("-/.");
        cursor_.pass_commas();
        return mark != '\0' ? mark : ' ';
    }

    bool read_month() {
        if (is_digit(cursor_.here())) {
            date_.month = cursor_.number().value;
        } else {
            std::string_view word = cursor_.word();
            if (ascii::equal(word, "of")) {
                cursor_.pass_blanks();
                word = cursor_.word();
            }
            date_.month = place_of(word, months);
        }
        pass_mark();
        return date_.month != 0;
    }

    bool read_day() {
        Number const day = cursor_.number();
        date_.day = day.value;
        return day.digits == 1 || day.digits == 2;
    }

    /// The "T" of ISO 8601, which a blank may stand for.
    bool pass_t() {
        Cursor const before = cursor_;
        if (!ascii::equal(cursor_.word(), "T")) cursor_ = before;
        return true;
    }

    /// A number that a ":" follows is the hour, and the year stands behind the time.
    bool read_year_or_time() {
        pass_mark();
        Cursor const before = cursor_;
        Number const number = cursor_.number();
        Cursor const behind = cursor_;
        cursor_.pass_blanks();
        if (cursor_.here() == ':') {
            cursor_ = before;
            return read_time();
        }
        cursor_ = behind;
        return set_year(number);
    }

    /// RFC 5322 4.3 for less than four digits.
    bool set_year(Number const & number) {
        if (number.digits == 0 || number.digits > 4) return false;
        date_.year = number.value;
        if (number.digits < 3) date_.year += number.value < 50 ? 2000 : 1900;
        if (number.digits == 3) date_.year += 1900;
        has_year_ = true;
        return true;
    }

    /// hour ":" minute [":" second], the same with dots, or all digits together.
    bool read_time() {
        Number const first = cursor_.number();
        has_time_ = true;
        if (first.digits == 4 || first.digits == 6) {
            int const with_seconds = first.digits == 6 ? first.value : first.value * 100;
            date_.hour = with_seconds / 10000;
            date_.minute = with_seconds / 100 % 100;
            date_.second = with_seconds % 100;
        } else {
            if (first.digits > 2) return false;
            char const mark = cursor_.here() == '.' ? '.' : ':';
            date_.hour = first.value;
            if (!pass_time_mark(mark) || !read_two_digits(date_.minute)) return false;
            if (pass_time_mark(mark) && !read_two_digits(date_.second)) return false;
        }
        pass_fraction();
        read_half_day();
        return true;
    }

    bool pass_time_mark(char mark) {
        if (mark == '.') return cursor_.pass('.');
        Cursor const before = cursor_;
        cursor_.pass_blanks();
        if (!cursor_.pass(':')) {
            cursor_ = before;
            return false;
        }
        cursor_.pass_blanks();
        return true;
    }

    bool read_two_digits(int & value) {
        Number const number = cursor_.number();
        value = number.value;
        return number.digits == 1 || number.digits == 2;
    }

    void pass_fraction() {
        if (cursor_.pass_one_of(".,:") != '\0') cursor_.number();
    }

    /// AM and PM, where the hour is from 1 to 12.
    void read_half_day() {
        Cursor const before = cursor_;
        cursor_.pass_blanks();
        std::string_view const word = cursor_.word();
        bool const is_afternoon = ascii::equal(word, "PM");
        if (!is_afternoon && !ascii::equal(word, "AM")) {
            cursor_ = before;
        } else if (date_.hour >= 1 && date_.hour <= 12) {
            date_.hour = date_.hour % 12 + (is_afternoon ? 12 : 0);
        }
    }

    /// The zone, and the year if it isn't known yet, in either order.
    bool read_end() {
        bool has_zone = false;
        for (;;) {
            cursor_.pass_commas();
            if (!has_year_ && is_digit(cursor_.here())) {
                if (!set_year(cursor_.number())) return false;
            } else if (!has_zone) {
                if (!read_zone()) return false;
                has_zone = true;
            } else {
                return true;
            }
        }
    }

    /// zone of RFC 5322 4.3, or the difference of ISO 8601, also behind a name. False for a
    /// difference out of range; what is no zone at all counts as "-0000".
    bool read_zone() {
        std::string_view const name = cursor_.word();
        date_.zone = zone_of_name(name);
        char const sign = cursor_.pass_one_of("+-");
        Number hours = cursor_.number();
        if (hours.digits == 0 && sign != '\0' && name.empty()) hours = read_distant_zone();
        if (hours.digits == 0) return true;
        if (sign == '\0' && (!name.empty() || hours.digits != 4)) return true;
        int minutes = 0;
        if (hours.digits > 4) return false;
        if (hours.digits > 2) {
            minutes = hours.value % 100;
            hours.value /= 100;
        } else if (cursor_.pass(':') && !read_two_digits(minutes)) {
            return false;
        }
        if (hours.value > 23 || minutes > 59) return false;
        date_.zone = 60 * hours.value + minutes;
        if (sign == '-') date_.zone = -date_.zone;
        return true;
    }

    /// The four digits of a zone, if white space parts them from their sign.
    Number read_distant_zone() {
        cursor_.pass_blanks();
        Number const digits = cursor_.number();
        return digits.digits == 4 ? digits : Number();
    }

    bool exists() const {
        if (date_.year < 1 || date_.month > 12 || date_.day > 31) return false;
        std::chrono::year_month_day const day(
            std::chrono::year(date_.year), std::chrono::month(static_cast<unsigned>(date_.month)),
            std::chrono::day(static_cast<unsigned>(date_.day)));
        return day.ok() && date_.hour <= 23 && date_.minute <= 59 && date_.second <= 60;
    }

    Cursor cursor_;
    DateText date_;
    bool has_year_ = false;
    bool has_time_ = false;
};

} // namespace

std::optional<DateText> read_date_text(std::string_view text) noexcept {
    // Some days of the week in other languages are names of months: "mar, 5 May 2010".
    auto const date = DateReader(text).read(FirstWord::may_be_weekday);
    return date ? date : DateReader(text).read(FirstWord::is_month);
}

} // namespace vellum
