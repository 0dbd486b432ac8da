// mime/partial/fragment_label.cpp - the first line of a fragment file, which says what the file is
#include "mime/partial/fragment_label.hpp"

#include "mime/partial/number_text.hpp"
#include "mime/platform/files.hpp"

#include <algorithm>
#include <array>

namespace vellum {

namespace {

constexpr char mark = '\x80';

struct Escape {
    char byte;
    char letter;
};

constexpr std::array<Escape, 4> escapes{{{'\r', 'r'}, {'\n', 'n'}, {'\0', '0'}, {'\\', '\\'}}};

std::string escaped(std::string_view id) {
    std::string result;
    result.reserve(id.size());
    for (char const c : id) {
        auto const found = std::find_if(escapes.begin(), escapes.end(),
                                        [c](Escape const & each) { return each.byte == c; });
        if (found != escapes.end()) result += '\\';
        result += found != escapes.end() ? found->letter : c;
    }
    return result;
}

std::string unescaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const found = std::find_if(escapes.begin(), escapes.end(), [&](Escape const & each) {
            return text[i] == '\\' && i + 1 < text.size() && text[i + 1] == each.letter;
        });
        result += found != escapes.end() ? found->byte : text[i];
        if (found != escapes.end()) ++i;
    }
    return result;
}

/// No label is longer: the escaped id and three numbers.
constexpr std::size_t longest_line = 2 * longest_id + 64;

} // namespace

FragmentLabel make_label(std::string_view id, int number, int total) {
    FragmentLabel label{0, std::max(number, 0), std::max(total, 0), std::string(id)};
    if (label.number == 0 && label.total == 1) label.number = 1;
    return label;
}

std::string format_label(FragmentLabel const & label) {
    std::string line(1, mark);
    for (int const number : {label.first_number, label.number, label.total})
        line += ' ' + std::to_string(number);
    return line + ' ' + escaped(label.id) + "\r\n";
}

bool parse_label(std::string_view line, FragmentLabel & label) {
    if (line.substr(0, 2) != std::string_view("\x80 ") || line.size() < 4) return false;
    if (line.substr(line.size() - 2) != "\r\n") return false;
    line = line.substr(2, line.size() - 4);
    if (!take_number(line, ' ', label.first_number) || !take_number(line, ' ', label.number) ||
        !take_number(line, ' ', label.total)) {
        return false;
    }
    label.id = unescaped(line);
    return true;
}

LabelFound read_label(std::string const & path, FragmentLabel & label) {
    platform::File file;
    switch (platform::File::open(path.c_str(), file)) {
    case platform::Opened::yes: break;
    case platform::Opened::missing: return LabelFound::no_file;
    case platform::Opened::not_plain: return LabelFound::no_label;
    case platform::Opened::failed: return LabelFound::unreadable;
    }
    std::string line;
    std::array<char, 512> block; // one read for any usual label
    while (line.size() < longest_line) {
        long long const count = file.read(block.data(), block.size());
        if (count < 0) return LabelFound::unreadable;
        line.append(block.data(), static_cast<std::size_t>(count));
        if (count == 0 || line.front() != mark) return LabelFound::no_label;
        std::size_t const lf = line.find('\n', line.size() - static_cast<std::size_t>(count));
        if (lf == line.npos) continue;
        line.resize(lf + 1);
        return parse_label(line, label) ? LabelFound::yes : LabelFound::no_label;
    }
    return LabelFound::no_label;
}

} // namespace vellum
