// mime/platform/posix.cpp - errors, threads, character encoding and time on POSIX systems
//
// The mutexes stand in posix_mutex.cpp.
#include "mime/platform/platform.hpp"

#include "mime/foundation/ascii.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <langinfo.h>
#include <locale.h>
#include <string>
#include <thread>
#include <time.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/syscall.h>
#endif

namespace vellum::platform {

int last_error() noexcept { return errno; }

unsigned long thread_number() noexcept {
#if defined(__linux__)
    return static_cast<unsigned long>(::syscall(SYS_gettid));
#else
    return std::hash<std::thread::id>()(std::this_thread::get_id());
#endif
}

// ---- Character encoding ----

namespace {

constexpr unsigned long utf_8 = 65001;

struct EncodingName {
    std::string_view key; // lower case, letters and digits alone
    unsigned long code_page;
};

constexpr std::array<EncodingName, 24> encoding_names{{
    {"utf8", utf_8},
    {"iso88591", 819},
    {"iso88598", 1255}, // 1255 and 1254 agree with these
                        // two in letters and signs
    {"iso88599", 1254},
    {"tis620", 874},
    {"iso885911", 874},
    {"koi8r", 20866},
    {"koi8u", 21866},
    {"sjis", 932},
    {"shiftjis", 932},
    {"gb2312", 936},
    {"euccn", 936},
    {"gbk", 936},
    {"euckr", 949},
    {"uhc", 949},
    {"big5", 950},
    {"big5hkscs", 950},
    {"johab", 1361},
    {"eucjp", 51932},
    {"ujis", 51932},
    {"euctw", 51950},
    {"gb18030", 54936},
    {"ansi1251", 1251},
    {"ansi1252", 1252},
}};

/// Room for the longest name of an encoding; a longer name is cut and then found nowhere.
constexpr std::size_t longest_key = 24;

struct Key {
    std::array<char, longest_key> text;
    std::size_t length = 0;

    std::string_view view() const { return {text.data(), length}; }
};

Key key_of(std::string_view encoding) {
    Key key;
    for (char const c : encoding) {
        char const lower = ascii::to_lower(c);
        bool const kept = ascii::is_digit(lower) || (lower >= 'a' && lower <= 'z');
        if (kept && key.length < key.text.size()) key.text[key.length++] = lower;
    }
    return key;
}

/// The number that makes up the rest of `key` behind `prefix`; 0 if it is no such key.
unsigned long number_behind(std::string_view prefix, std::string_view key) {
    if (!key.starts_with(prefix)) return 0;
    unsigned long number = 0;
    char const * const end = key.data() + key.size();
    auto const [stop, error] = std::from_chars(key.data() + prefix.size(), end, number);
    return error == std::errc() && stop == end ? number : 0;
}

/// The encoding in a locale's name: language[_territory][.encoding][@modifier].
std::string_view encoding_in(std::string_view locale) {
    std::size_t const modifier = locale.find('@');
    std::size_t const dot = locale.substr(0, modifier).find('.');
    if (dot != std::string_view::npos) return locale.substr(dot + 1, modifier - dot - 1);
    bool const euro = modifier != std::string_view::npos && locale.substr(modifier + 1) == "euro";
    return euro ? "ISO-8859-15" : "";
}

/// The name of the locale that the environment chooses for text; "" if it chooses no locale.
std::string_view chosen_locale() {
    for (char const * const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        char const * const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return "";
}

} // namespace

unsigned long code_page_of(std::string_view encoding) noexcept {
    Key const key = key_of(encoding);
    for (EncodingName const & row : encoding_names) {
        if (row.key == key.view()) return row.code_page;
    }
    for (std::string_view const prefix : {"cp", "ibm", "windows"}) {
        unsigned long const number = number_behind(prefix, key.view());
        if (number != 0) return number;
    }
    unsigned long const part = number_behind("iso8859", key.view());
    return part >= 1 && part <= 16 ? 28590 + part : 0;
}

unsigned long code_page() noexcept {
    std::string_view const locale = chosen_locale();
    // These name no encoding: text beyond ASCII has no encoding in them.
    if (locale.empty() || locale == "C" || locale == "POSIX") return utf_8;

    unsigned long number = 0;
    if (::locale_t const settings = ::newlocale(LC_CTYPE_MASK, "", nullptr)) {
        number = code_page_of(::nl_langinfo_l(CODESET, settings));
        ::freelocale(settings);
    } else { // not installed on this machine, but its name may tell
        number = code_page_of(encoding_in(locale));
    }
    return number != 0 ? number : utf_8;
}

// ---- Time ----

namespace {

std::atomic<Clock> test_clock{nullptr};

/// localtime_r needn't see that the setting of the zone has changed, tzset does. While TZ is set it
/// compares that alone; else it asks for the state of the zone's file each time, which costs more
/// than all the rest of a short message and is done once a second.
void look_at_zone() noexcept {
    using std::chrono::steady_clock;
    static std::atomic<steady_clock::rep> next_look{steady_clock::duration::min().count()};
    bool const is_set = std::getenv("TZ") != nullptr;
    steady_clock::rep const now = steady_clock::now().time_since_epoch().count();
    if (!is_set && now < next_look.load(std::memory_order_relaxed)) return;
    ::tzset();
    // A variable that goes away is a change too: the next look finds it.
    steady_clock::duration const pause =
        is_set ? steady_clock::duration{} : std::chrono::seconds(1);
    next_look.store(now + pause.count(), std::memory_order_relaxed);
}

} // namespace

std::int64_t now() noexcept {
    if (Clock const clock = test_clock.load()) return clock();
    auto const since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch).count();
}

Clock set_clock(Clock clock) noexcept { return test_clock.exchange(clock); }

bool local_time(std::time_t when, std::tm & out) noexcept {
    look_at_zone();
    std::tm clock{};
    if (::localtime_r(&when, &clock) == nullptr) return false;
    out = clock;
    return true;
}

ZoneOffset zone_offset(std::time_t when) noexcept {
    std::tm clock{};
    if (!local_time(when, clock)) return {0, false};
    long const seconds = clock.tm_gmtoff;
    long const minutes = seconds >= 0 ? seconds / 60 : -((-seconds + 59) / 60);
    return {static_cast<int>(minutes), clock.tm_isdst > 0};
}

int summer_offset(std::time_t when) noexcept {
    // The C library's own `timezone` and `daylight` won't do: they tell whether the zone has ever
    // kept a summer time, say in a war. And where the law calls the winter the exception, tm_isdst
    // is set in winter: the summer is the time of the larger offset.
    constexpr std::time_t day = 24 * 60 * 60;
    int const present = zone_offset(when).minutes;
    std::tm clock{};
    if (!local_time(when, clock)) return present;

    bool changes = false;
    int largest = present;
    std::time_t const new_year = when - clock.tm_yday * day;
    for (int half_month = 0; half_month < 24; ++half_month) {
        ZoneOffset const offset = zone_offset(new_year + half_month * 15 * day);
        changes = changes || offset.is_summer_time;
        largest = std::max(largest, offset.minutes);
    }
    return changes ? largest : present;
}

} // namespace vellum::platform
