// tests/support/case_rows.hpp - the rows of a section of a .case file
//
// Bars part the cells of a row; blanks around a cell don't count, nor do lines that begin with "#
// ". In a cell stand \r, \n, \t, \s for a blank, \xHH for a byte, \12(abc) for twelve times "abc",
// and a backslash in front of any other character.
#pragma once

#include "tests/support/case_file.hpp"
#include "tests/support/texts.hpp"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

namespace vellum::test {

inline std::string unescaped(std::string_view text) {
    constexpr std::string_view letters = "rnts";
    std::string result;
    while (!text.empty()) {
        std::size_t const plain = text.find('\\');
        result += text.substr(0, plain);
        if (plain == text.npos) break;
        text.remove_prefix(plain + 1);
        std::size_t taken = 1;
        if (text[0] == 'x') {
            result += static_cast<char>(std::stoi(std::string(text.substr(1, 2)), nullptr, 16));
            taken = 3;
        } else if (std::isdigit(static_cast<unsigned char>(text[0])) != 0) {
            std::size_t const open = text.find('('), close = text.find(')');
            result += repeated(unescaped(text.substr(open + 1, close - open - 1)),
                               std::stoul(std::string(text.substr(0, open))));
            taken = close + 1;
        } else {
            std::size_t const letter = letters.find(text[0]);
            result += letter == letters.npos ? text[0] : "\r\n\t "[letter];
        }
        text.remove_prefix(taken);
    }
    return result;
}

struct Cells : std::vector<std::string> {
    /// Rows leave out empty cells at their end.
    std::string const & operator[](std::size_t at) const {
        static std::string const empty;
        return at < size() ? vector::operator[](at) : empty;
    }
};

inline std::vector<Cells> rows_of(std::string const & text) {
    std::vector<Cells> rows;
    for (std::string const & line : split(text, '\n')) {
        if (line.empty() || line.starts_with("# ")) continue;
        Cells & cells = rows.emplace_back();
        for (std::string const & cell : split(line, '|')) {
            std::size_t const first = std::min(cell.find_first_not_of(' '), cell.size());
            cells.push_back(unescaped(cell.substr(first, cell.find_last_not_of(' ') + 1 - first)));
        }
    }
    EXPECT_FALSE(rows.empty());
    return rows;
}

/// The rows of the sections with that title.
inline std::vector<Cells> rows_of(std::filesystem::path const & path, std::string_view title) {
    std::string text;
    for (Section const & section : sections_of(path)) {
        if (section.title == title) text += section.text;
    }
    return rows_of(text);
}

} // namespace vellum::test
