// tests/date_test.cpp - reading, converting and writing the date of a message
//
// The machine's zones are told in the rules of TZ itself, so that no zone files are needed. What
// the tests expect of a calendar comes from the C library's timegm, gmtime_r and localtime_r.
#include "mime/MIMEUTIL.hpp"

#include "mime/platform/platform.hpp"
#include "tests/support/header_scan.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/trace_messages.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>
#include <time.h>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;

constexpr char const * utc = "UTC0";
constexpr char const * new_york = "EST5EDT,M3.2.0,M11.1.0";
constexpr char const * kolkata = "IST-5:30";
constexpr char const * auckland = "NZST-12NZDT,M9.5.0,M4.1.0/3";
constexpr char const * machine_zones[] = {utc, new_york, kolkata, auckland};

constexpr std::int64_t noon_of_15_january_2026 = 1768478400;
constexpr std::int64_t noon_of_15_july_2026 = 1784116800;

class DateTest : public testing::Test {
protected:
    void SetUp() override { live_in(utc, noon_of_15_january_2026); }
    void TearDown() override { vellum::platform::set_clock(nullptr); }

    static void live_in(char const * machine_zone, std::int64_t seconds) {
        ::setenv("TZ", machine_zone, 1);
        ::tzset();
        present = seconds * 1000 + 999;
        vellum::platform::set_clock([] { return present; });
    }

    static std::int64_t present;
};

std::int64_t DateTest::present = 0;

std::string written(MimeDateTime date, int keep_zone = 1) {
    TimeString text;
    date.WriteRFC822(text, keep_zone);
    return text;
}

MimeDateTime read(std::string_view text) { return {ExactText(text).get()}; }

std::tm utc_clock(std::time_t seconds) {
    std::tm clock{};
    ::gmtime_r(&seconds, &clock);
    return clock;
}

struct Row {
    std::string_view text;
    std::string_view expected; ///< of the date as it was read, in its zone
};

void expect_dates(std::initializer_list<Row> rows) {
    for (Row const & row : rows)
        EXPECT_EQ(written(read(row.text)), row.expected) << row.text;
}

constexpr std::string_view current = "Thu, 15 Jan 2026 12:00:00 +0000";

TEST_F(DateTest, ReadsTheNineForms) {
    expect_dates({
        {"Thu, 01 Jan 1998 09:05:03 +0100", "Thu, 01 Jan 1998 09:05:03 +0100"},
        {"? Thu, 01 Jan 1998 09:05:03 +0000", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"Thu, 1 Jan 98 09:05:03 EST", "Wed, 01 Jan 2098 09:05:03 -0500"},
        {"thu,1 jan1998 9:5:3 -0030", "Thu, 01 Jan 1998 09:05:03 +0030"},
        {"\r\n\tThu, \v01\fJan 1998 09:05:03 (late)", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"Thu, 01 Jan 1998 09:05:03", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"Thu Jan  1 09:05:03 1998", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"1 Jan 1998 09:05:03 GMT", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"01 Jan 1998 09:05:03", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"01/02/1998 03:04:05 PM", "Fri, 02 Jan 1998 15:04:05 +0000"},
        {"01/02/1998 12:04:05 PM", "Fri, 02 Jan 1998 12:04:05 +0000"},
        {"01/02/1998 12:30:00 AM", "Fri, 02 Jan 1998 12:30:00 +0000"},
        {"31.12.1998 11.59.58 pm", "Thu, 31 Dec 1998 23:59:58 +0000"},
        {"31.12.1998 23.59.58 PM", "Thu, 31 Dec 1998 23:59:58 +0000"},
        {"12-25-1998 10:00:00", "Fri, 25 Dec 1998 10:00:00 +0000"},
        {"25.12.1998 10.00.00", "Fri, 25 Dec 1998 10:00:00 +0000"},
        {"25/12/1998 10:00:00", "Fri, 25 Dec 1998 10:00:00 +0000"},
    });
}

TEST_F(DateTest, ReadsFieldsBeyondTheirRanges) {
    expect_dates({
        {"13/05/1998 10:00:00", "Wed, 13 May 1998 10:00:00 +0000"}, // no 13th month, but a 13th
        {"13/25/1998 10:00:00", "Mon, 25 Jan 1999 10:00:00 +0000"}, // neither
        {"00/25/1998 10:00:00", "Thu, 25 Dec 1997 10:00:00 +0000"},
        {"31 Feb 1998 10:00:00", "Tue, 03 Mar 1998 10:00:00 +0000"},
        {"29 Feb 2100 10:00:00", "Mon, 01 Mar 2100 10:00:00 +0000"},
        {"Mon, 01 Jan 1998 99:99:99", "Mon, 05 Jan 1998 04:40:39 +0000"}, // the weekday is computed
        {"31 Dec 9999 99:99:99", "???, 31 Dec 9999 99:99:99 +0000"},
    });
}

TEST_F(DateTest, ReadsNamesNumbersAndRubbishAsZones) {
    std::string const rows =
        "UT=0 utc=0 GMT+1=0 EST=-300 edt=-240 CST=-360 MDT=-360 PST=-480 PDTx=-420 Z=0 "
        "A=-60 I=-540 K=-600 M=-720 N=60 Y=720 J=0 JST=0 NN=0 +0530=330 -0330=-210 "
        "+1400=840 -=0 +9=5400 +02=120 +:000=6000 (EST)=0 +0013=0 -0013=0 +00129=12";
    for (std::string const & row : split(rows, ' ')) {
        std::string const zone = row.substr(0, row.find('='));
        EXPECT_EQ(std::to_string(read("Thu, 01 Jan 1998 09:05:03 " + zone).zone),
                  row.substr(zone.size() + 1))
            << zone;
    }
    EXPECT_EQ(read("1 Jan 1998 09:05:03 \xFF\xFE").zone, 0);
    EXPECT_EQ(read("1 Jan 1998 09:05:03 +\xFF\xFF\xFF\xFF").zone, 207 * 11 * 61);
}

TEST_F(DateTest, TakesThePresentForWhatItCannotReadAndTracesIt) {
    std::string const unreadable =
        "|?|? |Xyz, 01 Jan 1998 09:05:03 +0000|Thursday, 1 January 1998|"
        "Thu, 00 Jan 1998 09:05:03|Thu, 32 Jan 1998 09:05:03|Thu, 01 Jax 1998 09:05:03|"
        "Thu, 01 Jan -998 09:05:03|Thu, 01 Jan 1998 09:05:|Thu, 01 Jan 1998 09:+-:03|"
        "14/14/1998 10:00:00|1/2/1998 10:00:00";
    for (std::string const & text : split(unreadable, '|')) {
        LastMessage const log;
        EXPECT_EQ(written(read(text)), current) << text;
        EXPECT_EQ(log.place, "8 mime/MIMEUTIL:439");
        EXPECT_EQ(log.text, "DateTimeFromRFC822: unrecognized date string=\"" + text + "\"");
    }
    LastMessage const log;
    EXPECT_EQ(written(MimeDateTime(nullptr)), current);
    EXPECT_EQ(log.text, "");
}

TEST_F(DateTest, ReadsLongRunsOfBlanksOnce) {
    std::string const blanks(4 << 20, ' ');
    EXPECT_EQ(written(read(blanks + "1" + blanks + "Jan" + blanks + "1998 9:5:3" + blanks)),
              "Thu, 01 Jan 1998 09:05:03 +0000");
    EXPECT_EQ(written(read(blanks + std::string(4 << 20, '1'))), current);
}

TEST_F(DateTest, TakesTwoDigitYearsInThePresentCentury) {
    constexpr std::int64_t summer_of_1998 = 899294400;
    EXPECT_EQ(written(read("1 Jan 98 09:05:03 GMT")), "Wed, 01 Jan 2098 09:05:03 +0000");
    live_in(utc, summer_of_1998);
    EXPECT_EQ(written(read("1 Jan 98 09:05:03 GMT")), "Thu, 01 Jan 1998 09:05:03 +0000");
    EXPECT_EQ(written(read("1 Jan 100 09:05:03 GMT")), "Fri, 01 Jan 100 09:05:03 +0000");
}

TEST_F(DateTest, TakesADateWithoutAZoneInTheSummerTimeOfTheMachine) {
    std::pair<char const *, int> const rows[] = {
        {utc, 0},
        {new_york, -240},
        {kolkata, 330},
        {auckland, 780},
        {"IST-1GMT0,M10.5.0,M3.5.0/1", 60},
    };
    for (auto const & [machine, minutes] : rows) {
        for (std::int64_t const present_time : {noon_of_15_january_2026, noon_of_15_july_2026}) {
            live_in(machine, present_time);
            for (char const * const text :
                 {"Thu, 01 Jan 1998 09:05:03", "Wed, 01 Jul 1998 09:05:03 +0013"})
                EXPECT_EQ(read(text).zone, minutes) << machine << text;
        }
    }
}

void expect_clock(MimeDateTime const & date, std::tm const & clock, int zone) {
    auto const shown = [](std::tm const & tm, int minutes) {
        return std::vector{tm.tm_sec,  tm.tm_min,  tm.tm_hour, tm.tm_mday,  tm.tm_mon,
                           tm.tm_year, tm.tm_wday, tm.tm_yday, tm.tm_isdst, minutes};
    };
    EXPECT_EQ(shown(date.GetStructTM(), date.zone), shown(clock, zone));
}

/// Each hour of 2026, on each machine.
template <typename Check>
void for_each_hour(Check const & check) {
    constexpr std::time_t new_year = 1767225600;
    for (char const * const machine : machine_zones) {
        SCOPED_TRACE(machine);
        ::setenv("TZ", machine, 1);
        ::tzset();
        for (std::time_t hour = 0; hour < 365 * 24 && !testing::Test::HasFailure(); ++hour) {
            SCOPED_TRACE(hour);
            check(new_year + hour * 3600);
        }
    }
}

TEST_F(DateTest, ConvertsToUniversalTimeOnEveryDay) {
    for_each_hour([](std::time_t clock) {
        for (int const zone : {0, -300, -240, 330, 780, -720}) {
            MimeDateTime date(utc_clock(clock), zone);
            std::tm const expected = utc_clock(clock - zone * 60);
            expect_clock(MimeDateTime(date).ConvertUT(), expected, 0);
            EXPECT_EQ(written(date, 0), written(MimeDateTime(expected, 0)));
            EXPECT_EQ(written(read(written(date))), written(date));
        }
    });
}

TEST_F(DateTest, ConvertsToTheZoneOfTheMachineOnEveryDay) {
    for_each_hour([](std::time_t moment) {
        std::tm local{};
        ::localtime_r(&moment, &local);
        int const zone = static_cast<int>(local.tm_gmtoff / 60);
        expect_clock(MimeDateTime(utc_clock(moment), 0).ConvertLocal(), local, zone);
        expect_clock(MimeDateTime(utc_clock(moment - 18000), -300).ConvertLocal(), local, zone);
        present = moment * 1000;
        expect_clock(MimeDateTime(), local, zone);
        expect_clock(MimeDateTime().ConvertUT(), utc_clock(moment), 0);
    });
}

TEST_F(DateTest, CutsTheSecondsOfAFormerLocalTime) {
    live_in("LMT4:56:02", noon_of_15_january_2026);
    EXPECT_EQ(written(MimeDateTime()), "Thu, 15 Jan 2026 07:03:00 -0457");
    EXPECT_EQ(written(MimeDateTime(), 0), current);
}

TEST_F(DateTest, LeavesWhatWouldPassItsYears) {
    MimeDateTime const last = read("31 Dec 9999 23:30:00 -0100");
    MimeDateTime date = last;
    EXPECT_EQ(written(date.ConvertUT()), "Fri, 31 Dec 9999 23:30:00 -0100");
    EXPECT_EQ(written(date.ConvertLocal()), "Fri, 31 Dec 9999 23:30:00 -0100");
    EXPECT_EQ(written(date, 0), "Fri, 31 Dec 9999 23:30:00 -0100");

    for (int const extreme : {INT_MIN, INT_MAX}) {
        std::tm clock{};
        clock.tm_sec = clock.tm_min = clock.tm_hour = clock.tm_mday = extreme;
        clock.tm_mon = clock.tm_year = clock.tm_wday = extreme;
        MimeDateTime wild(clock, extreme);
        std::string const text = written(wild, 0);
        EXPECT_EQ(text.size(), sizeof(TimeString) - 1);
        EXPECT_EQ(text.substr(0, 5), "???, ");
        EXPECT_EQ(written(wild.ConvertUT().ConvertLocal(), 0), text);
    }
}

TEST_F(DateTest, WritesAndPrints) {
    MimeDateTime date(utc_clock(883645503), 60);
    EXPECT_EQ(written(date), "Thu, 01 Jan 1998 09:05:03 +0100");
    EXPECT_EQ(written(date, 0), "Thu, 01 Jan 1998 08:05:03 +0000");
    date.zone = -210;
    std::ostringstream printed;
    date.print(printed) << '.';
    EXPECT_EQ(printed.str(), "Thu, 01 Jan 1998 09:05:03 -0330.");
}

} // namespace
