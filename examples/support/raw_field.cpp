// examples/support/raw_field.cpp - fields as they stand in a message
#include "examples/support/raw_field.hpp"

#include <algorithm>
#include <cstddef>

namespace examples {

namespace {

constexpr std::size_t longest_line = 998;
constexpr std::string_view blanks = " \t";

/// Takes a line off `text`, without its line end. A CR within it becomes a blank.
std::string take_line(std::string_view & text) {
    std::size_t const end = std::min(text.find('\n'), text.size());
    std::string line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    line.erase(line.find_last_not_of('\r') + 1);
    for (char & c : line)
        if (c == '\r') c = ' ';
    return line;
}

/// Reads a name up to its colon, and sets `end` to the colon's place, or to the end.
std::string read_name(std::string_view field, std::size_t & end) {
    std::string name;
    int depth = 0;
    for (end = 0; end < field.size(); ++end) {
        char const c = field[end];
        if (c == ':' && depth == 0) break;
        if (c == '(') ++depth;
        bool const is_graphic = c > ' ' && c < 0x7F;
        bool const is_blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
        if (depth == 0 && !is_blank && c != ')') name += is_graphic ? c : '?';
        if (c == ')' && depth > 0) --depth;
    }
    return name;
}

/// Appends the line, folded as often as it has to be and a blank allows it.
void append_folded(std::string & out, std::string_view line) {
    while (line.size() > longest_line) {
        std::size_t const fold = line.find_last_of(blanks, longest_line);
        bool const has_text = fold != line.npos && line.find_first_not_of(blanks) < fold;
        if (!has_text) break;
        out.append(line.substr(0, fold)).append("\r\n");
        line.remove_prefix(fold);
    }
    out.append(line).append("\r\n");
}

} // namespace

std::string name_of_field(std::string_view field) {
    std::size_t end = 0;
    return read_name(field, end);
}

std::string mended_field(std::string_view field) {
    field = field.substr(0, field.find('\0'));
    std::size_t colon = 0;
    std::string first = read_name(field, colon);
    field.remove_prefix(colon);
    std::string mended;
    append_folded(mended, first.append(take_line(field)));
    while (!field.empty()) {
        std::string const line = take_line(field);
        if (line.find_first_not_of(blanks) != line.npos) append_folded(mended, line);
    }
    return mended;
}

std::pair<std::string, std::string> name_and_value(std::string_view field) {
    std::size_t const colon = std::min(field.find(':'), field.size());
    std::string const name(field.substr(0, colon));
    std::string value;
    field.remove_prefix(std::min(colon + 1, field.size()));
    while (!field.empty())
        value += take_line(field);
    return {name, value.substr(std::min(value.find_first_not_of(blanks), value.size()))};
}

} // namespace examples
