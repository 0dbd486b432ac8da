// fuzz/partial_index_fuzz.cpp - any bytes as the index of a partial store, and as a fragment's
// label: what was read is consistent, and is written and read back the same
#include "fuzz/target.hpp"
#include "mime/partial/fragment_label.hpp"
#include "mime/partial/index.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>

namespace {

constexpr std::string_view prefix = "D/";

void check_message(vellum::PartialIndex const & index, vellum::MsgList const & message) {
    require(message.number >= 0 && message.total >= 0 && !message.parts.empty());
    std::set<int> const numbers(message.parts.begin(), message.parts.end());
    require(numbers.size() == message.parts.size() && *numbers.begin() >= 0);
    require(!index.is_taken(vellum::fragment_key(message.number, message.parts.front()),
                            message.number, message.parts.front()));
    auto const is_there = [&](int number) { return numbers.count(number) != 0; };
    bool is_complete = message.total > 0;
    for (int number = 1; is_complete && number <= message.total; ++number)
        is_complete = is_there(number);
    require(message.is_complete() == is_complete);
}

void check_index(std::string_view text) {
    vellum::PartialIndex index{std::string(prefix)};
    if (!index.assign(vellum::TextBlock(text))) return;
    bool const is_right = index.names_its_files();
    std::size_t parts = 0;
    for (std::size_t place = 0; place < index.rows().size(); ++place) {
        vellum::MsgList const message = index.message(place);
        parts += message.parts.size();
        require(message.id == index.rows()[place].id);
        if (is_right && parts < 1000) check_message(index, message);
        index.replace(place, message);
        require(index.message(place).parts.size() == message.parts.size());
    }
    require(parts <= text.size());
    // What was put in anew names its files, and is read back the same.
    std::string const written = index.text();
    vellum::PartialIndex again{std::string(prefix)};
    require(again.assign(vellum::TextBlock(written)) && again.text() == written);
    require(!is_right || again.names_its_files());
}

void check_label(std::string_view text) {
    vellum::FragmentLabel label;
    if (!vellum::parse_label(text, label)) return;
    std::string const line = vellum::format_label(label);
    require(line.find('\n') == line.size() - 1);
    vellum::FragmentLabel again;
    require(vellum::parse_label(line, again) && again == label);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    std::string_view const text = view_of(data, size);
    check_index(text);
    check_label(text);
    return 0;
}
