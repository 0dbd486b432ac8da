// tests/receive_cases_test.cpp - messages and the calls that they make: cases/*.eml, cases/*.txt
//
// Each message is read cut in every way through every kind of input, and gives one transcript.
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using vellum::test::for_each_input;
using vellum::test::Transcript;

std::string content_of(std::filesystem::path const & path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> case_names() {
    std::vector<std::string> names;
    for (auto const & entry : std::filesystem::directory_iterator("cases")) {
        if (entry.path().extension() == ".eml") names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(ReceiveCases, EveryCaseGivesItsTranscript) {
    std::vector<std::string> const names = case_names();
    ASSERT_FALSE(names.empty());
    for (std::string const & name : names) {
        std::filesystem::path const path = std::filesystem::path("cases") / name;
        std::string const message = content_of(path.string() + ".eml");
        std::string const expected = content_of(path.string() + ".txt");
        bool is_equal = true;
        for_each_input(message, [&](auto & input, std::string const & how) {
            if (!is_equal) return;
            std::string const actual = Transcript(input).run();
            is_equal = actual == expected;
            EXPECT_EQ(actual, expected) << name << ", " << how;
        });
    }
}

} // namespace
