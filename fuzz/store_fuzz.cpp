// fuzz/store_fuzz.cpp - fragments with hostile labels, fed in any order into a store: what it
// acknowledged as whole comes home once, and the files that are left agree with the index
//
// Each fragment is four bytes: which of sixteen ids (and whether the index is lost before), its
// number, its total, and the text's byte.
#include "fuzz/target.hpp"
#include "mime/partial/store.hpp"
#include "tests/support/fragments.hpp"

#include <array>
#include <cstdint>
#include <map>
#include <numeric>
#include <string>

namespace {

using namespace vellum;
using vellum::test::StoreDirectory;

std::string every_byte() {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes;
}

std::array<std::string, 16> const ids{"a",          "A",
                                      "a\r\n0\n1",  "\x80 0 1 1 a",
                                      "\\n\\",      "MailPart.Ndx",
                                      "../a",       {"\0", 1},
                                      "\\0",        " a ",
                                      "a\nb",       "a\\\\nb",
                                      "\r\n",       "a\\",
                                      every_byte(), std::string(longest_id, 'y')};
constexpr std::array<int, 8> far_numbers{0, -1, 4096, 4097, 4098, 1 << 20, 2147483647, -2147483647};

int number_of(unsigned byte) {
    return byte < 248 ? static_cast<int>(byte % 8) : far_numbers[byte - 248];
}

/// Every file is a fragment that the index names, or the index; and the index names no other.
void check_files(StoreDirectory const & store) {
    StoreDirectory::Files const files = store.files();
    if (files.empty()) return;
    PartialIndex index(store.prefix());
    require(files.contains("MailPart.Ndx") && index.assign(TextBlock(files.at("MailPart.Ndx"))));
    require(index.names_its_files());
    std::size_t named = 1;
    for (std::size_t place = 0; place < index.rows().size(); ++place) {
        MsgList const message = index.message(place);
        for (int const part : message.parts) {
            auto const file = files.find(fragment_file_name(fragment_key(message.number, part)));
            require(file != files.end());
            FragmentLabel label;
            require(parse_label(file->second.substr(0, file->second.find('\n') + 1), label));
            require(label.id == message.id && label.number == part);
            ++named;
        }
    }
    require(named == files.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static StoreDirectory const store;
    store.restore({});
    std::map<std::string, std::map<int, char>> kept; // what was acknowledged and not yet delivered
    for (std::size_t at = 0; at + 4 <= size && at < 400; at += 4) {
        if ((data[at] & 0x80) != 0) std::filesystem::remove(store.path("MailPart.Ndx"));
        std::string const & id = ids[data[at] % ids.size()];
        FragmentLabel const label =
            make_label(id, number_of(data[at + 1]), number_of(data[at + 2]));
        char const text = static_cast<char>(data[at + 3]);
        PartialStore access(store.prefix());
        NewFragment fragment;
        auto const beginning = access.Begin(label, fragment);
        require(beginning != PartialStore::Beginning::failed);
        if (beginning != PartialStore::Beginning::begun) continue;
        fragment.file.write({&text, 1});
        CompleteSet set;
        auto const outcome = access.Commit(std::move(fragment), set);
        require(outcome != PartialStore::Outcome::failed);
        kept[id][label.number] = text;
        if (outcome == PartialStore::Outcome::complete) {
            require(set.id == id);
            std::string expected;
            for (std::size_t i = 0; i < set.files.size(); ++i) {
                int const number = set.files[i].number;
                require(number == static_cast<int>(i) + 1 && kept[id].contains(number));
                expected += kept[id][number];
            }
            std::array<char, 16> buffer{};
            iFileStream joined(set.files, buffer.data(), static_cast<int>(buffer.size()));
            std::string got;
            for (int c; (c = joined.get()) != -1;)
                got += static_cast<char>(c);
            require(got == expected && !joined.failed());
            for (auto const & file : set.files)
                kept[id].erase(file.number);
            access.Remove(set);
        }
        check_files(store);
    }
    std::size_t waiting = 0;
    for (auto const & [id, parts] : kept)
        waiting += parts.size();
    // An index that was lost is written again with the next fragment that is taken.
    StoreDirectory::Files const files = store.files();
    require(files.size() - files.count("MailPart.Ndx") == waiting);
    return 0;
}
