// tests/writing_ids_test.cpp - ids and boundaries that never meet
#include "tests/support/files.hpp"
#include "tests/support/note_script.hpp"
#include "tests/support/processes.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;

std::string line_of(std::string const & message, std::string const & begin) {
    std::size_t const at = message.find("\r\n" + begin);
    return at == message.npos ? "" : message.substr(at + 2, message.find("\r\n", at + 2) - at - 2);
}

std::vector<std::string> ids_of_notes(int count) {
    std::vector<std::string> ids;
    for (int i = 0; i < count; ++i) {
        Part message = multipart("mixed", {text_part("x")});
        message.addresses["From"] = {{{}, "desk@x.example"}};
        DescribedNote note(message);
        note.SetWriting(MimeONote::Writing_Extended);
        std::string const sent = note.SendWhole();
        ids.push_back(line_of(sent, "Message-Id: "));
        ids.push_back(line_of(sent, "Content-Type: "));
    }
    return ids;
}

TEST(RandomIds, differ_in_notes_and_processes) {
    TemporaryDirectory const directory;
    for (int process = 0; process < 4; ++process) {
        EXPECT_EQ(result_of_child([&] {
                      std::ofstream out(directory / "ids", std::ios::app);
                      for (std::string const & id : ids_of_notes(250))
                          out << id << '\n';
                      return 0;
                  }),
                  0);
    }
    std::multiset<std::string> ids;
    std::ifstream lines(directory / "ids");
    for (std::string line; std::getline(lines, line);)
        ids.insert(line);
    EXPECT_EQ(ids.size(), 2000U);
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), 2000U);
    EXPECT_TRUE(ids.begin()->ends_with("\"") || ids.begin()->ends_with("@x.example>"))
        << *ids.begin();
}

bool no_source(std::span<std::byte>) { return false; }

/// Serves the first question, and then no more.
bool failing_source(std::span<std::byte> bytes) {
    static bool served = false;
    std::fill(bytes.begin(), bytes.end(), std::byte{0});
    return !std::exchange(served, true);
}

TEST(RandomIds, are_never_weak) {
    DescribedNote note(multipart("mixed", {text_part("x")}));
    note.SetWriting(MimeONote::Writing_Extended);
    {
        Scoped<vellum::platform::set_random> const random(no_source);
        EXPECT_EQ(note.Send(), 0);
        EXPECT_EQ(note.calls, "");
    }
    Scoped<vellum::platform::set_random> const random(failing_source);
    std::string const message = note.SendWhole();
    std::string const seed(26, 'a');
    EXPECT_EQ(line_of(message, "Message-Id: "), "Message-Id: <" + seed + "0@id.invalid>");
    EXPECT_EQ(line_of(message, "--=_"), "--=_" + seed + "2");
}

TEST(RandomIds, take_a_domain) {
    DescribedNote note;
    for (char const * domain : {"a b", "x..y", "x>", "\xC3\xBC.example", "@x"})
        EXPECT_EQ(note.SetIdDomain(domain), 0) << domain;
    EXPECT_EQ(note.SetIdDomain(std::string(254, 'x').c_str()), 0);
    for (char const * domain : {"x.example", "[127.0.0.1]", ""})
        EXPECT_EQ(note.SetIdDomain(domain), 1) << domain;
    EXPECT_EQ(note.SetIdDomain(nullptr), 1);
}

} // namespace
