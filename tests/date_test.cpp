// tests/date_test.cpp - reading, converting and writing the date of a message
//
// The texts are those of date.case.
//
// The machine's zones are told in the rules of TZ itself, so that no zone files are needed. What
// the tests expect of a calendar comes from the C library's timegm, gmtime_r and localtime_r.
#include "mime/MIMEUTIL.hpp"

#include "mime/platform/platform.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/header_scan.hpp"
#include "tests/support/trace_messages.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>
#include <time.h>
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

std::vector<std::string> lines_of(std::string_view title) {
    std::vector<std::string> lines;
    for (Cells const & row : rows_of("date.case", title))
        lines.push_back(row[0]);
    return lines;
}

constexpr std::string_view current = "Thu, 15 Jan 2026 12:00:00 +0000";

TEST_F(DateTest, ReadsTheNineForms) {
    for (Cells const & row : rows_of("date.case", "nine forms"))
        EXPECT_EQ(written(read(row[0])), row[1]) << row[0];
    constexpr std::int64_t summer_of_1998 = 899294400;
    live_in(utc, summer_of_1998);
    EXPECT_EQ(written(read("1 Jan 98 09:05:03 GMT")), "Thu, 01 Jan 1998 09:05:03 +0000");
}

TEST_F(DateTest, ReadsNamesNumbersAndRubbishAsZones) {
    for (Cells const & row : rows_of("date.case", "zones")) {
        MimeDateTime const date = read("1 Jan 1998 09:05:03 " + row[0]);
        EXPECT_EQ(std::to_string(date.zone), row[1]) << row[0];
    }
}

TEST_F(DateTest, TakesThePresentForWhatItCannotReadAndTracesIt) {
    for (std::string const & text : lines_of("unreadable")) {
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

/// "seconds zone" of what Read() makes of a text, "no" if nothing.
std::string moment_in(std::string_view text) {
    MimeDateTime date(std::tm{}, 99);
    if (!MimeDateTime::Read(ExactText(text).get(), date)) {
        EXPECT_EQ(date.zone, 99) << "what can't be read changes nothing";
        return "no";
    }
    std::string const moment = std::to_string(date.SecondsSince1970());
    EXPECT_EQ(std::to_string(MimeDateTime(date).ConvertUT().SecondsSince1970()), moment);
    return moment + " " + std::to_string(date.zone);
}

TEST_F(DateTest, ReadsTheMailOfToday) {
    live_in(new_york, noon_of_15_july_2026); // which is of no account
    for (Cells const & row : rows_of("date.case", "mail of today"))
        EXPECT_EQ(moment_in(row[0]), row[1]) << row[0];
    for (std::string const & text : lines_of("no date"))
        EXPECT_EQ(moment_in(text), "no") << text;
    MimeDateTime date;
    EXPECT_FALSE(MimeDateTime::Read(nullptr, date));
    MimeDateTime::Read("30 Apr 2010 23:59:60 +0000", date);
    EXPECT_EQ(date.tm_sec, 60);
    std::string const many(1 << 20, '(');
    EXPECT_EQ(moment_in(many + std::string(1 << 20, ')') + "1 Jan 1998 00:00" + many),
              "883612800 0");
}

TEST_F(DateTest, TakesADateWithoutAZoneInTheSummerTimeOfTheMachine) {
    for (Cells const & row : rows_of("date.case", "machines")) {
        for (std::int64_t const present_time : {noon_of_15_january_2026, noon_of_15_july_2026}) {
            live_in(row[0].c_str(), present_time);
            for (char const * const text :
                 {"Thu, 01 Jan 1998 09:05:03", "Wed, 01 Jul 1998 09:05:03 +0013"})
                EXPECT_EQ(std::to_string(read(text).zone), row[1]) << row[0] << text;
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
TEST_F(DateTest, ConvertsOnEveryDay) {
    constexpr std::time_t new_year = 1767225600;
    for (char const * const machine : machine_zones) {
        SCOPED_TRACE(machine);
        ::setenv("TZ", machine, 1); // and no tzset(): a change counts at once
        for (std::time_t at = new_year; at < new_year + 365 * 86400 && !HasFailure(); at += 3600) {
            SCOPED_TRACE(at);
            for (int const zone : {0, -300, -240, 330, 780, -720}) {
                MimeDateTime date(utc_clock(at), zone);
                std::tm const expected = utc_clock(at - zone * 60);
                expect_clock(MimeDateTime(date).ConvertUT(), expected, 0);
                EXPECT_EQ(date.SecondsSince1970(), at - zone * 60);
                EXPECT_EQ(written(date, 0), written(MimeDateTime(expected, 0)));
                EXPECT_EQ(written(read(written(date))), written(date));
            }
            present = at * 1000;
            MimeDateTime const now;
            std::tm local{};
            ::localtime_r(&at, &local);
            int const zone = static_cast<int>(local.tm_gmtoff / 60);
            expect_clock(now, local, zone);
            expect_clock(MimeDateTime(utc_clock(at), 0).ConvertLocal(), local, zone);
            expect_clock(MimeDateTime(utc_clock(at - 18000), -300).ConvertLocal(), local, zone);
            expect_clock(MimeDateTime().ConvertUT(), utc_clock(at), 0);
        }
    }
}

TEST_F(DateTest, LeavesWhatWouldPassItsYears) {
    MimeDateTime date = read("31 Dec 9999 23:30:00 -0100");
    EXPECT_EQ(written(date.ConvertUT().ConvertLocal()), "Fri, 31 Dec 9999 23:30:00 -0100");
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
