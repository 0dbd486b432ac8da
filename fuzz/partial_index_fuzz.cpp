// fuzz/partial_index_fuzz.cpp - any bytes as the index of a partial store, and as a fragment's
// label: what was read is consistent, and is written and read back the same
#include "mime/partial/fragment_label.hpp"
#include "mime/partial/index.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>

namespace {

constexpr std::string_view prefix = "D/";

void require(bool condition) {
    if (!condition) std::abort();
}

void check_message(vellum::PartialIndex const & index, vellum::MsgList const & message) {
    require(message.number >= 0 && message.total >= 0 && !message.parts.empty());
    std::set<int> const numbers(message.parts.begin(), message.parts.end());
    require(numbers.size() == message.parts.size() && *numbers.begin() >= 0);
    require(!index.is_taken(vellum::fragment_key(message.number, message.parts.front()), &message,
                            message.parts.front()));
    auto const is_there = [&](int number) { return numbers.count(number) != 0; };
    bool is_complete = message.total > 0;
    for (int number = 1; is_complete && number <= message.total; ++number)
        is_complete = is_there(number);
    require(message.is_complete() == is_complete);
}

void check_index(std::string_view text) {
    vellum::PartialIndex index;
    if (!vellum::parse_index(text, prefix, index)) return;
    std::size_t parts = 0;
    for (vellum::MsgList & message : index.messages) {
        parts += message.parts.size();
        if (parts < 1000) check_message(index, message);
        // Reading turns their order round.
        std::reverse(message.parts.begin(), message.parts.end());
    }
    require(parts <= text.size());
    std::string const written = format_index(index, prefix);
    vellum::PartialIndex again;
    require(vellum::parse_index(written, prefix, again));
    for (vellum::MsgList & message : again.messages)
        std::reverse(message.parts.begin(), message.parts.end());
    require(format_index(again, prefix) == written);
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
    std::string_view const text(reinterpret_cast<char const *>(data), size);
    check_index(text);
    check_label(text);
    return 0;
}
