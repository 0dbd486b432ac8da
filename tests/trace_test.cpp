// tests/trace_test.cpp - the trace destination, its text file, and what a site that is off costs
#include "mime/foundation/trace.hpp"

#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

class TraceTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(::mkdtemp(directory_.data()), nullptr);
        path_ = directory_ + "/trace";
    }

    void TearDown() override {
        TMimeTraceLog::SetLevel(15);
        vellum::platform::set_clock(nullptr);
        std::filesystem::remove_all(directory_);
    }

    char const * path() const { return path_.c_str(); }

    std::string written() const {
        std::ifstream file(path_);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string directory_ = testing::TempDir() + "vellum-trace-XXXXXX";
    std::string path_;
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

TEST_F(TraceTest, LevelsHaveTheirCharactersAndFilesTheirLastName) {
    struct Row {
        unsigned long level;
        char const * file;
        char const * shown;
    };
    constexpr Row rows[] = {
        {1, "y.c", "O [y.c:17]"},
        {2, "mime/MIMESEM", "S [MIMESEM:17]"},
        {4, "/a\\b/c\\d", "E [d:17]"},
        {8, "a\\b/c", "W [c:17]"},
        {16, nullptr, "I [????.???:17]"},
        {32, "", "i [:17]"},
        {64, "y", "? [y:17]"},
        {128, "y", "? [y:17]"},
        {256, "y", "1 [y:17]"},
        {512, "y", "2 [y:17]"},
        {1024, "y", "* [y:17]"},
        {2048, "y", "? [y:17]"},
        {4096, "y", "> [y:17]"},
        {8192, "y", "< [y:17]"},
    };
    for (Row const & row : rows) {
        TMimeTraceStream const log(path(), row.level);
        emit(row.level, row.file);
        EXPECT_NE(written().find(row.shown), std::string::npos) << row.shown << " in " << written();
    }
}

TEST_F(TraceTest, MaskChoosesTheLevels) {
    TMimeTraceStream const log(path());
    emit(16, "off");
    TMimeTraceLog::SetLevel(31);
    emit(16, "on");
    TMimeTraceLog::SetLevel(0);
    emit(4, "off");
    EXPECT_EQ(written().find("off"), std::string::npos);
    EXPECT_NE(written().find("on:17"), std::string::npos);
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
    for (char const * const path : {"/nonexistent/trace", static_cast<char const *>(nullptr)}) {
        TMimeTraceStream const log(path, 31);
        EXPECT_EQ(TMimeTraceLog::fsDestination, nullptr);
        EXPECT_EQ(TMimeTraceLog::fsRuntimeLevel, 15u);
    }
}

class TextLog : public TMimeTraceLog {
public:
    void Write(unsigned long, unsigned long line, char const *, char const * format,
               char * arguments) override {
        char message[100];
        std::vsnprintf(message, sizeof message, format,
                       *reinterpret_cast<std::va_list *>(arguments));
        text += std::to_string(line) + " " + message + "\n";
    }

    std::string text;
};

TEST_F(TraceTest, SiteEvaluatesNothingWhileItIsOff) {
    int evaluated = 0;
    auto const site = [&](unsigned long level) {
        vellum::trace(
            {level, "y.c", 3}, "%d %s %5.1f", [&] { return ++evaluated; }, "text", 2.5);
    };
    site(4);
    TextLog const log;
    site(16);
    EXPECT_EQ(evaluated, 0);
    site(8);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(log.text, "3 1 text   2.5\n");
}

} // namespace
