// tests/trace_test.cpp - the trace destination, its text file, and what a site that is off costs
#include "mime/foundation/trace.hpp"

#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"
#include "tests/support/files.hpp"
#include "tests/support/trace_messages.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

class TraceTest : public testing::Test {
protected:
    void TearDown() override {
        TMimeTraceLog::SetLevel(15);
        vellum::platform::set_clock(nullptr);
    }
    char const * path() const { return path_.c_str(); }
    std::string written() const { return vellum::test::content_of(path_); }

    vellum::test::TemporaryDirectory directory_;
    std::string path_ = directory_ / "trace";
};

void emit(unsigned long level, char const * file) {
    vellum::trace({level, file, 17}, "%d %s", 5, "text");
}

TEST_F(TraceTest, LineShowsTimeThreadLevelPlaceAndMessage) {
    ::setenv("TZ", "UTC0", 1);
    vellum::platform::set_clock([] { return std::int64_t{886496707123}; });
    TMimeTraceStream const log(path());
    emit(4, "d:\\x\\y.c");
    char thread[9];
    std::snprintf(thread, sizeof thread, "%08X",
                  static_cast<unsigned>(vellum::platform::thread_number()));
    EXPECT_EQ(written(), "02/03-09:05:07.12 " + std::string(thread) + " E [y.c:17] 5 text\n");
}

TEST_F(TraceTest, MessageBringsNoControlCharacters) {
    std::string const text(1000, 't'); // longer than what is formatted at once
    std::pair<std::string, std::string> const rows[] = {
        {"a\nb\r\x1B[2J\x7F", "a\\x0Ab\\x0D\\x1B[2J\\x7F\n"},
        {"\xC3\xA4 \\", "\xC3\xA4 \\\n"},
        {text + '\t', text + "\\x09\n"},
        {"", "\n"},
    };
    for (auto const & [message, shown] : rows) {
        TMimeTraceStream const log(path());
        vellum::trace({4, "y", 17}, "%s", message.c_str());
        std::string const line = written();
        EXPECT_EQ(line.substr(line.find(']') + 2), shown);
    }
}

TEST_F(TraceTest, ThreadsWriteWholeLines) {
    TMimeTraceStream const log(path());
    auto const write_lines = [](char letter) {
        for (std::size_t i = 0; i < 300; ++i)
            vellum::trace({4, "y", 17}, "%s", std::string(i * 20, letter).c_str());
    };
    std::thread other(write_lines, 'b');
    write_lines('a');
    other.join();
    std::istringstream lines(written());
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        std::string const text = line.substr(std::min(line.size(), line.find("] ") + 2));
        ASSERT_TRUE(line.size() > 30 && line[2] == '/') << line;
        ASSERT_EQ(text.find_first_not_of(text.empty() ? 'a' : text[0]), std::string::npos) << line;
    }
    EXPECT_EQ(count, 600U);
}

TEST_F(TraceTest, LevelsHaveTheirCharactersAndFilesTheirLastName) {
    auto const expect_line = [this](unsigned long level, char const * file,
                                    std::string const & place) {
        TMimeTraceStream const log(path(), level);
        emit(level, file);
        EXPECT_NE(written().find(place + ":17]"), std::string::npos) << written();
    };
    for (std::size_t bit = 0; bit < 14; ++bit)
        expect_line(1UL << bit, "y", std::string(1, "OSEWIi??12*?><"[bit]) + " [y");
    expect_line(4, "mime/MIMESEM", "E [MIMESEM");
    expect_line(4, "/a\\b/c\\d", "E [d");
    expect_line(4, "a\\b/c", "E [c");
    expect_line(4, nullptr, "E [????.???");
    expect_line(4, "", "E [");
}

TEST_F(TraceTest, SecondLogAndLogWithoutAFileStayIdle) {
    auto const expect_idle = [](char const * file, TMimeTraceLog const * in_use) {
        TMimeTraceStream const log(file, 31);
        EXPECT_EQ(TMimeTraceLog::fsDestination, in_use);
        EXPECT_EQ(TMimeTraceLog::fsRuntimeLevel, 15u);
    };
    auto first = std::make_unique<TMimeTraceStream>(path());
    std::string const other = path_ + "2";
    expect_idle(other.c_str(), first.get());
    EXPECT_FALSE(std::filesystem::exists(other));
    emit(4, "y.c");
    EXPECT_NE(written().find("y.c"), std::string::npos);
    first.reset();
    expect_idle("/nonexistent/trace", nullptr);
    expect_idle(nullptr, nullptr);
}

TEST_F(TraceTest, SiteEvaluatesNothingWhileItIsOff) {
    int evaluated = 0;
    auto const site = [&](unsigned long level) {
        vellum::trace(
            {level, "y.c", 3}, "%d %s %5.1f", [&] { return ++evaluated; }, "text", 2.5);
    };
    site(4);
    vellum::test::LastMessage const log;
    site(16);
    EXPECT_EQ(evaluated, 0);
    site(8);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(log.place + " " + log.text, "8 y.c:3 1 text   2.5");
    TMimeTraceLog::SetLevel(31);
    site(16);
    TMimeTraceLog::SetLevel(0);
    site(4);
    EXPECT_EQ(evaluated, 2);
}

} // namespace
