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
        {"thu,1 jan1998 9:5:3 -0030", "Thu, 01 Jan 1998 09:05:03 +0030"},
        {"\r\n\tThu, \v01\fJan 1998 09:05:03 (late)", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"Thu Jan  1 09:05:03 1998", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"1 Jan 1998 09:05:03 GMT", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"01 Jan 1998 09:05:03", "Thu, 01 Jan 1998 09:05:03 +0000"},
        {"01/02/1998 03:04:05 PM", "Fri, 02 Jan 1998 15:04:05 +0000"},
        {"01/02/1998 12:30:00 AM", "Fri, 02 Jan 1998 12:30:00 +0000"},
        {"31.12.1998 11.59.58 pm", "Thu, 31 Dec 1998 23:59:58 +0000"},
        {"31.12.1998 23.59.58 PM", "Thu, 31 Dec 1998 23:59:58 +0000"},
        {"12-25-1998 10:00:00", "Fri, 25 Dec 1998 10:00:00 +0000"},
        {"25.12.1998 10.00.00", "Fri, 25 Dec 1998 10:00:00 +0000"},
        {"25/12/1998 10:00:00", "Fri, 25 Dec 1998 10:00:00 +0000"},
        // years of two digits are in the present century
        {"Thu, 1 Jan 98 09:05:03 EST", "Wed, 01 Jan 2098 09:05:03 -0500"},
        {"1 Jan 100 09:05:03 GMT", "Fri, 01 Jan 100 09:05:03 +0000"},
        // fields beyond their ranges
        {"13/05/1998 10:00:00", "Wed, 13 May 1998 10:00:00 +0000"}, // no 13th month, but a 13th
        {"13/25/1998 10:00:00", "Mon, 25 Jan 1999 10:00:00 +0000"}, // neither
        {"00/25/1998 10:00:00", "Thu, 25 Dec 1997 10:00:00 +0000"},
        {"29 Feb 2100 10:00:00", "Mon, 01 Mar 2100 10:00:00 +0000"},
        {"Mon, 01 Jan 1998 99:99:99", "Mon, 05 Jan 1998 04:40:39 +0000"}, // the weekday is computed
        {"31 Dec 9999 99:99:99", "???, 31 Dec 9999 99:99:99 +0000"},
    });
    constexpr std::int64_t summer_of_1998 = 899294400;
    live_in(utc, summer_of_1998);
    EXPECT_EQ(written(read("1 Jan 98 09:05:03 GMT")), "Thu, 01 Jan 1998 09:05:03 +0000");
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
    Row const rows[] = {
        // RFC 5322 with its obsolete forms
        {"Fri, 21 Nov 1997 09:55:06 -0600", "880127706 -360"},
        {"21 Nov 97 09:55 CST", "880127700 -360"},
        {"FRI 21 NOV 1997 09:55:06 -0600", "880127706 -360"},
        {"? Fri,(a (b) \\)) 21\r\n\t(c)Nov(d)1997 09 : 55 (e):06(f)-0600 (CST", "880127706 -360"},
        {"Friday,21november1997 9:55:6 PDT x", "880131306 -420"},
        {"Do, 1 Jan 1998 09:05:03 +0100", "883641903 60"}, // in another language
        {"1 Jan 49 00:00 Z", "2493072000 0"},
        {"1 Jan 50 00:00 K", "-631152000 0"},
        {"1 Jan 100 00:00 JST", "946684800 0"},
        // others
        {"29-Apr-2010 12:13:14 GMT", "1272543194 0"},
        {"029 Sept. 2010 12:13:14", "1285762394 0"},
        {"Thu Jan  1 09:05:03 1998", "883645503 0"},
        {"Thu Jan  1 09:05:03 PST 1998", "883674303 -480"},
        {"Thu Jan 1 09:05:03 1998 +01:00", "883641903 60"},
        {"January 1, 1998 9:05 PM", "883688700 0"},
        {"1 Jan 1998 12:30 am", "883614600 0"},
        {"1 Jan 1998 23.59.58 PM", "883699198 0"},
        {"01/02/1998 03:04:05 PM", "883753445 0"},
        {"25/12/98", "914544000 0"},
        {"25.12.1998 10.00.00", "914580000 0"},
        {"1 Jan 1998 09:05:03 UTC+9:30", "883611303 570"},
        {"1 Jan 1998 09:05:03 -930", "883679703 -570"},
        {"1 Jan 1998 09:05:03 0900", "883613103 540"},
        {"1 Jan 1998 09:05:03 H0900", "883645503 0"},
        // ISO 8601
        {"2010-04-29T12:13:14.123+02:00", "1272535994 120"},
        {"2010-04-29 12:13:14,5z", "1272543194 0"},
        {"20100429T121314-08", "1272571994 -480"},
        {"2010-04-29", "1272499200 0"},
        // where ranges end
        {"29 Feb 2000 23:59:60 +0000", "951868800 0"},
        {"1 Jan 0001 00:00 +2359", "-62135683140 1439"},
        {"31 Dec 9999 23:59:59 -2359", "253402387139 -1439"},
    };
    for (Row const & row : rows)
        EXPECT_EQ(moment_in(row.text), row.expected) << row.text;
    std::string const unreadable =
        "29 Feb 2100 00:00|31 Apr 2010 00:00|0 Apr 2010 00:00|30 Apr 2010 24:00|"
        "30 Apr 2010 23:60|30 Apr 2010 23:59:61|30 Apr 2010 23:59 +2400|"
        "30 Apr 2010 23:59 +0060|30 Apr 2010 23:59 +99999999999999999999|30 Apr 0000 00:00|"
        "30 Apr 10000 00:00|30 Apr 99999999999999999999 00:00|13/13/1998|2010-04||"
        "(1 Jan 1998|yesterday|Xyz 1 Jan 1998 00:00|1 Ja 1998 00:00|1 Jan 00:00|"
        "1 Jan 1998 09";
    for (std::string const & text : split(unreadable, '|'))
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
    std::pair<char const *, int> const rows[] = {
        {utc, 0},
        {new_york, -240},
        {kolkata, 330},
        {auckland, 780},
        {"IST-1GMT0,M10.5.0,M3.5.0/1", 60},
        {"LMT4:56:02", -297}, // seconds are cut off
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
