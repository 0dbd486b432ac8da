// mime/partial/store_index.cpp - the index file of a store: read, checked, made anew, replaced
//
// Whether a text is an index says index.hpp; here it is held against the fragments' files.
#include "mime/partial/store.hpp"

#include "mime/foundation/trace_site.hpp"

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <set>
#include <utility>

namespace vellum {

namespace {

constexpr TraceSite site(unsigned long line) {
    return {trace_warning, "mime/partial/store_index", line};
}

/// The mark of an index file with this text.
long seal_of(std::string_view text) {
    constexpr std::size_t largest = platform::File::largest_mark;
    return static_cast<long>(1 + std::hash<std::string_view>()(text) % largest);
}

/// Reads a file of at most `largest_index` bytes. `is_sealed`: a store wrote it just so.
platform::Opened read_index(std::string const & path, std::string & text, bool & is_sealed) {
    platform::File file;
    platform::Opened const opened = platform::File::open(path.c_str(), file);
    constexpr std::size_t block = std::size_t{64} << 10;
    for (std::size_t length = 0; opened == platform::Opened::yes;) {
        text.resize(length + block);
        long long const count = file.read(text.data() + length, block);
        if (count < 0 || length > largest_index) return platform::Opened::failed;
        length += static_cast<std::size_t>(count);
        text.resize(length);
        if (count == 0) break;
    }
    is_sealed = opened == platform::Opened::yes && file.mark() == seal_of(text);
    return opened;
}

} // namespace

/// False if neither the index nor the fragments can be read: then nothing can be stored.
bool PartialStore::Load_MsgList() {
    std::string text;
    platform::Opened const opened = read_index(index_path_, text, is_sealed_);
    PartialIndex found;
    if (opened == platform::Opened::yes && parse_index(text, prefix_, found)) {
        index_ = std::move(found);
        if (is_sealed_ || All_agree()) return true;
    }
    if (opened != platform::Opened::missing) {
        trace(site(__LINE__), "%s is damaged and is made anew", index_path_.c_str());
    }
    return Rebuild_MsgList();
}

/// Makes the list from the fragments. The first number and the sequence number so far are kept
/// where the fragments don't say otherwise.
bool PartialStore::Rebuild_MsgList() {
    std::vector<std::string> names;
    if (!platform::list(prefix_, names)) {
        trace(site(__LINE__), "Error %d listing %s", platform::last_error(), prefix_.c_str());
        return false;
    }
    std::sort(names.begin(), names.end()); // so that Add_found sees a message's files in a row
    index_.messages.clear();
    for (std::string const & name : names) {
        std::optional<FragmentKey> const key = parse_fragment_file_name(name);
        if (!key) continue;
        FragmentLabel label;
        LabelFound const found = Read_label(*key, label);
        if (found == LabelFound::unreadable) {
            trace(site(__LINE__), "%s%s can't be read", prefix_.c_str(), name.c_str());
            return false; // an index without it would lose it
        }
        if (found == LabelFound::yes) Add_found(*key, label);
    }
    is_sealed_ = true;
    return true;
}

void PartialStore::Add_found(FragmentKey key, FragmentLabel const & label) {
    auto const begin = index_.messages.begin();
    auto const end = std::find_if(begin, index_.messages.end(), [key](MsgList const & each) {
        return fragment_key(each.number, 0).message != key.message;
    });
    auto const is_same = [&](MsgList const & each) { return each.id == label.id; };
    auto message = std::find_if(begin, end, is_same);
    if (message == end) {
        // A name may hold two messages, if a killed receiver has left one of them. They get
        // numbers that differ in what the name doesn't show.
        constexpr int step = 1 << message_key_bits;
        if (begin != end && begin->number > std::numeric_limits<int>::max() - step) return;
        int const number = begin == end ? key.message : begin->number + step;
        index_.messages.push_front({label.id, number, 0, {}});
        message = index_.messages.begin();
    }
    message->parts.push_back(label.number);
    message->total = std::max(message->total, label.usable_total());
    index_.first_number = label.first_number;
    index_.sequence_number = std::max(index_.sequence_number, message->number);
}

bool PartialStore::Dump_MsgList() {
    ScratchFile file(prefix_);
    std::string const text = format_index(index_, prefix_);
    if (file) {
        file.write(text);
        if (is_sealed_) file.mark(seal_of(text));
    }
    if (!file || !file.finish() || !file.rename_to(index_path_)) {
        trace(site(__LINE__), "Error %d writing %s", file.error(), index_path_.c_str());
        return false;
    }
    if (platform::sync_directory_of(index_path_.c_str())) return true;
    trace(site(__LINE__), "Error %d flushing the directory of %s", platform::last_error(),
          index_path_.c_str());
    return false;
}

/// Whether the index names just the fragments that are there, as they are. Then it gets its seal
/// when it is written.
bool PartialStore::All_agree() {
    is_sealed_ = true;
    return std::all_of(index_.messages.begin(), index_.messages.end(),
                       [this](MsgList & each) { return Agrees(each); }) &&
           Names_what_is_there();
}

bool PartialStore::Names_what_is_there() {
    std::set<std::string> missing;
    for (MsgList const & each : index_.messages) {
        for (int const part : each.parts)
            missing.insert(fragment_file_name(fragment_key(each.number, part)));
    }
    std::vector<std::string> names;
    if (!platform::list(prefix_, names)) return false;
    for (std::string const & name : names) {
        std::optional<FragmentKey> const key = parse_fragment_file_name(name);
        if (!key || missing.erase(name) != 0) continue;
        FragmentLabel label;
        LabelFound const found = Read_label(*key, label);
        if (found == LabelFound::yes) return false;
        if (found == LabelFound::unreadable) is_sealed_ = false;
    }
    return missing.empty();
}

/// Whether the fragments of one message are what the index says. A total that none of them gives is
/// corrected. A file that has vanished proves nothing, and one that can't be read now must be
/// looked at again.
bool PartialStore::Agrees(MsgList & message) {
    bool is_total_known = false;
    int largest_total = 0;
    for (int const part : message.parts) {
        FragmentLabel label;
        LabelFound const found = Read_label(fragment_key(message.number, part), label);
        if (found == LabelFound::no_label) return false;
        if (found == LabelFound::unreadable) is_sealed_ = false;
        if (found != LabelFound::yes) {
            is_total_known = true;
            continue;
        }
        if (label.id != message.id || label.number != part) return false;
        is_total_known = is_total_known || label.usable_total() == message.total;
        largest_total = std::max(largest_total, label.usable_total());
    }
    if (!is_total_known) message.total = largest_total;
    return true;
}

} // namespace vellum
