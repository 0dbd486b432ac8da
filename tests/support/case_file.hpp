// tests/support/case_file.hpp - sections of a .case file, each begun by a line "=== TITLE"
#pragma once

#include "tests/support/files.hpp"
#include "tests/support/texts.hpp"

#include <string>
#include <vector>

namespace vellum::test {

struct Section {
    std::string title;
    std::string text;
};

inline std::vector<Section> sections_of(std::filesystem::path const & path) {
    std::vector<Section> sections;
    for (std::string const & line : split(content_of(path), '\n')) {
        if (line.starts_with("=== ")) {
            sections.push_back({line.substr(4), ""});
        } else {
            sections.back().text.append(line).append(1, '\n');
        }
    }
    EXPECT_GT(sections.size(), 1U) << path;
    return sections;
}

} // namespace vellum::test
