// mime/partial/open_store_index.cpp - the index file of a store: read, checked, made anew, replaced
//
// Whether a text is an index says index.hpp; here it is held against the fragments' files.
#include "mime/partial/open_store.hpp"

#include "mime/foundation/trace_site.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <set>
#include <utility>

namespace vellum {

namespace {

constexpr TraceSite site(unsigned long line) {
    return {trace_warning, "mime/partial/open_store_index", line};
}

/// A fast hash of text that comes in pieces; where it is cut doesn't count. Its four lanes don't
/// wait for each other.
class TextHash {
public:
    explicit TextHash(std::uint64_t seed) : lanes_{seed, ~seed, 0, factor} {}

    void add(std::string_view text) {
        size_ += text.size();
        if (!rest_.empty()) {
            std::string_view const front = text.substr(0, block - rest_.size());
            rest_ += front;
            text.remove_prefix(front.size());
            if (rest_.size() < block) return;
            mix(rest_);
            rest_.clear();
        }
        for (; text.size() >= block; text.remove_prefix(block))
            mix(text.substr(0, block));
        rest_ = text;
    }

    std::uint64_t result() {
        mix(rest_);
        std::uint64_t hash = size_;
        for (std::uint64_t const lane : lanes_)
            hash = std::rotl((hash ^ lane) * factor, 31);
        return hash;
    }

private:
    static constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;
    static constexpr std::size_t block = 4 * sizeof(std::uint64_t);

    void mix(std::string_view piece) {
        std::array<std::uint64_t, 4> words{};
        std::memcpy(words.data(), piece.data(), piece.size());
        for (std::size_t i = 0; i < lanes_.size(); ++i)
            lanes_[i] = std::rotl((lanes_[i] ^ words[i]) * factor, 29);
    }

    std::array<std::uint64_t, 4> lanes_;
    std::uint64_t size_ = 0;
    std::string rest_; ///< Less than a block.
};

/// What the seal of an index file, for files of this prefix, is made with. It is bound to the very
/// file: an older index that came back, even with its times, has been made at another moment.
TextHash seal_hash(std::string_view prefix, platform::FileState const & state) {
    TextHash hash(state.inode ^ std::rotl(static_cast<std::uint64_t>(state.born), 20));
    hash.add(prefix);
    return TextHash(hash.result());
}

/// The seal from the hash of the index's text.
long seal_of(TextHash & hash) {
    constexpr std::uint64_t largest = platform::File::largest_mark;
    return static_cast<long>(1 + hash.result() % largest);
}

bool has_seal(platform::FileState const & state, std::string_view text, std::string_view prefix) {
    TextHash hash = seal_hash(prefix, state);
    hash.add(text);
    return mark_of(state) == seal_of(hash);
}

/// Whether the file's times let it be the one that was sealed. Where the system doesn't tell when a
/// file was made, the last change must follow the seal, as a copy keeps the time of the one and not
/// that of the other.
bool has_times_of_seal(platform::FileState const & state) {
    constexpr std::int64_t longest = 2'000'000'000;
    return state.born != 0 ||
           (state.changed - state.modified < longest && state.modified - state.changed < longest);
}

/// An index file as it was read.
struct IndexFile {
    platform::Opened opened = platform::Opened::failed;
    platform::Failure failure = platform::Failure::fault; ///< If it could not be read.
    TextBlock text{0};
    std::optional<platform::FileState> state;

    void fail(platform::Failure why) {
        opened = platform::Opened::failed;
        failure = why;
    }
};

/// Reads a file of at most `largest_index` bytes. A file that is replaced is another file; so one
/// whose size isn't what the system told was not written by a store.
IndexFile read_index(std::string const & path) {
    IndexFile index;
    platform::File file;
    index.opened = platform::File::open(path.c_str(), file);
    index.failure = platform::failure_of(platform::last_error());
    if (index.opened != platform::Opened::yes) return index;
    index.state = file.state();
    auto const size = index.state ? index.state->size : -1;
    if (size < 0 || static_cast<std::uint64_t>(size) > largest_index) {
        index.fail(platform::Failure::fault);
        return index;
    }
    TextBlock text(static_cast<std::size_t>(size) + 1); // and a byte by which its end is seen
    std::size_t length = 0;
    for (long long count = 1; count > 0 && length < text.size;) {
        count = file.read(text.bytes.get() + length, text.size - length);
        if (count < 0) {
            index.fail(platform::failure_of(platform::last_error()));
            return index;
        }
        length += static_cast<std::size_t>(count);
    }
    if (length == text.size) {
        index.fail(platform::Failure::fault);
        return index;
    }
    text.size = length;
    index.text = std::move(text);
    return index;
}

/// The reason for which a store can't be used at all, or not now.
OpenStore::Opened opened_after(int error) {
    platform::Failure const failure = platform::failure_of(error);
    bool const lasts =
        failure == platform::Failure::refusal || failure == platform::Failure::absent;
    return lasts ? OpenStore::Opened::refused : OpenStore::Opened::failed;
}

} // namespace

/// The list stays empty unless the result is `yes`.
OpenStore::Opened OpenStore::Load_MsgList() {
    std::optional<platform::FileState> const state = platform::look_at(index_path_.c_str());
    if (state && kept_.state_ == state) return Opened::yes;
    int const first_number = index().first_number;
    int const sequence_number = index().sequence_number;
    kept_ = {};
    index() = PartialIndex(prefix_);
    IndexFile file = read_index(index_path_);
    if (file.opened == platform::Opened::failed && file.failure == platform::Failure::shortage) {
        trace(site(__LINE__), "%s can't be read now", index_path_.c_str());
        return Opened::failed;
    }
    kept_.is_sealed_ = file.opened == platform::Opened::yes && file.state &&
                       has_times_of_seal(*file.state) &&
                       has_seal(*file.state, file.text.view(), prefix_);
    if (file.opened == platform::Opened::yes && index().assign(std::move(file.text))) {
        if (kept_.is_sealed_) kept_.state_ = file.state;
        if (kept_.is_sealed_ || (index().names_its_files() && All_agree())) return Opened::yes;
    } else {
        index().first_number = first_number;
        index().sequence_number = sequence_number;
    }
    if (file.opened != platform::Opened::missing) {
        trace(site(__LINE__), "%s is damaged and is made anew", index_path_.c_str());
    }
    return Rebuild_MsgList();
}

/// Makes the list from the fragments. The first number and the sequence number so far are kept
/// where the fragments don't say otherwise.
OpenStore::Opened OpenStore::Rebuild_MsgList() {
    std::vector<std::string> names;
    if (!platform::list(prefix_, names)) {
        int const error = platform::last_error();
        trace(site(__LINE__), "Error %d listing %s", error, prefix_.c_str());
        return opened_after(error);
    }
    std::sort(names.begin(), names.end()); // so that Add_found sees a message's files in a row
    std::list<MsgList> messages;
    for (std::string const & name : names) {
        std::optional<FragmentKey> const key = parse_fragment_file_name(name);
        if (!key) continue;
        FragmentLabel label;
        LabelFound const found = Read_label(*key, label);
        if (found == LabelFound::unreadable) {
            int const error = platform::last_error();
            trace(site(__LINE__), "Error %d reading %s%s", error, prefix_.c_str(), name.c_str());
            return opened_after(error); // an index without it would lose it
        }
        if (found == LabelFound::yes) Add_found(messages, *key, label);
    }
    index().clear();
    for (auto message = messages.rbegin(); message != messages.rend(); ++message)
        index().add(*message);
    kept_.is_sealed_ = true;
    return Opened::yes;
}

/// The newest of the messages is in front.
void OpenStore::Add_found(std::list<MsgList> & messages, FragmentKey key,
                          FragmentLabel const & label) {
    auto const begin = messages.begin();
    auto const end = std::find_if(begin, messages.end(), [key](MsgList const & each) {
        return fragment_key(each.number, 0).message != key.message;
    });
    auto message =
        std::find_if(begin, end, [&](MsgList const & each) { return each.id == label.id; });
    if (message == end) {
        // A name may hold two messages, if a killed receiver has left one of them. They get
        // numbers that differ in what the name doesn't show.
        constexpr int step = 1 << message_key_bits;
        if (begin != end && begin->number > std::numeric_limits<int>::max() - step) return;
        int const number = begin == end ? key.message : begin->number + step;
        messages.push_front({label.id, number, 0, {}});
        message = messages.begin();
    }
    message->parts.push_back(label.number);
    message->total = std::max(message->total, label.usable_total());
    index().first_number = label.first_number;
    index().sequence_number = std::max(index().sequence_number, message->number);
}

bool OpenStore::Dump_MsgList() {
    kept_.state_.reset();
    ScratchFile file(prefix_);
    if (!file || !Write_index(file) || !file.rename_to(index_path_)) {
        trace(site(__LINE__), "Error %d writing %s", file.error(), index_path_.c_str());
        return false;
    }
    if (!platform::sync_directory_of(index_path_.c_str())) {
        trace(site(__LINE__), "Error %d flushing the directory of %s", platform::last_error(),
              index_path_.c_str());
        return false;
    }
    if (kept_.is_sealed_) kept_.state_ = platform::look_at(index_path_.c_str());
    return true;
}

bool OpenStore::Write_index(ScratchFile & file) {
    std::optional<platform::FileState> const state = file.state();
    std::optional<TextHash> hash;
    if (kept_.is_sealed_ && state) hash = seal_hash(prefix_, *state);
    index().for_each_piece([&](std::string_view piece) {
        file.write(piece);
        if (hash) hash->add(piece);
    });
    if (!file.finish()) return false;
    if (hash) file.mark(seal_of(*hash));
    return true;
}

/// Whether the index names just the fragments that are there, as they are. Then it gets its seal
/// when it is written.
bool OpenStore::All_agree() {
    kept_.is_sealed_ = true;
    for (std::size_t place = 0; place < index().rows().size(); ++place) {
        MsgList message = index().message(place);
        int const total = message.total;
        if (!Agrees(message)) return false;
        if (message.total != total) index().replace(place, message);
    }
    return Names_what_is_there();
}

bool OpenStore::Names_what_is_there() {
    std::set<std::string> missing;
    for (std::size_t place = 0; place < index().rows().size(); ++place) {
        MsgList const message = index().message(place);
        for (int const part : message.parts)
            missing.insert(fragment_file_name(fragment_key(message.number, part)));
    }
    std::vector<std::string> names;
    if (!platform::list(prefix_, names)) return false;
    for (std::string const & name : names) {
        std::optional<FragmentKey> const key = parse_fragment_file_name(name);
        if (!key || missing.erase(name) != 0) continue;
        FragmentLabel label;
        LabelFound const found = Read_label(*key, label);
        if (found == LabelFound::yes) return false;
        if (found == LabelFound::unreadable) kept_.is_sealed_ = false;
    }
    return missing.empty();
}

/// Whether the fragments of one message are what the index says. A total that they don't give is
/// corrected. A file that has vanished proves nothing, and a file that can't be read now must be
/// looked at again.
bool OpenStore::Agrees(MsgList & message) {
    bool is_total_known = false;
    int largest_total = 0;
    for (int const part : message.parts) {
        FragmentLabel label;
        LabelFound const found = Read_label(fragment_key(message.number, part), label);
        if (found == LabelFound::no_label) return false;
        if (found == LabelFound::unreadable) kept_.is_sealed_ = false;
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
