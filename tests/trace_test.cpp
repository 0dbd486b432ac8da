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
    char const * const shown[] = {"O", "S", "E", "W", "I", "i", "?",
                                  "?", "1", "2", "*", "?", ">", "<"};
    for (std::size_t bit = 0; bit < std::size(shown); ++bit) {
        TMimeTraceStream const log(path(), 1UL << bit);
        emit(1UL << bit, "y");
        EXPECT_NE(written().find(std::string(shown[bit]) + " [y:17]"), std::string::npos) << bit;
    }
    for (auto const & [file, name] :
         std::initializer_list<std::pair<char const *, std::string>>{{"mime/MIMESEM", "MIMESEM"},
                                                                     {"/a\\b/c\\d", "d"},
                                                                     {"a\\b/c", "c"},
                                                                     {nullptr, "????.???"},
                                                                     {"", ""}}) {
        TMimeTraceStream const log(path(), 4);
        emit(4, file);
        EXPECT_NE(written().find("E [" + name + ":17]"), std::string::npos) << written();
    }
}

TEST_F(TraceTest, SecondLogStaysIdle) {
    std::string const other = path_ + "2";
    auto first = std::make_unique<TMimeTraceStream>(path());
    TMimeTraceStream const second(other.c_str(), 31);
    EXPECT_EQ(TMimeTraceLog::fsDestination, first.get());
    EXPECT_EQ(TMimeTraceLog::fsRuntimeLevel, 15u);
    EXPECT_FALSE(std::filesystem::exists(other));
    emit(4, "y.c");
    EXPECT_NE(written().find("y.c"), std::string::npos);
    first.reset();
    EXPECT_EQ(TMimeTraceLog::fsDestination, nullptr);
}

TEST_F(TraceTest, FileThatCannotBeOpenedLeavesTracingOff) {
    for (char const * const name : {"/nonexistent/trace", static_cast<char const *>(nullptr)}) {
        TMimeTraceStream const log(name, 31);
        EXPECT_EQ(TMimeTraceLog::fsDestination, nullptr);
        EXPECT_EQ(TMimeTraceLog::fsRuntimeLevel, 15u);
    }
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
