// mime/partial/store.cpp - the directory in which the fragments of incomplete messages wait
#include "mime/partial/store.hpp"

#include "mime/MIMESEM.hpp"
#include "mime/foundation/trace_site.hpp"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace vellum {

namespace {

/// Guards the index and the names of the fragments' files, in all stores.
TMimeMutexSemaphore index_mutex("MIMEINDX");

class Lock {
private:
    // A lock that can't be had doesn't stop the work.
    TMimeMutexSemaphoreEntry const entry_{index_mutex, TMimeMutexSemaphore::fsInfinite};
};

constexpr TraceSite site(unsigned long line) { return {trace_warning, "mime/partial/store", line}; }

/// Of so many sets one looks for what killed receivers have left beside sets that still wait: to
/// read the directory costs as much as all else that a set costs.
constexpr int sweep_interval = 64;

/// Whether a new fragment's file may take this path: nothing is there, or only a fragment.
bool is_replaceable(LabelFound found) {
    return found == LabelFound::yes || found == LabelFound::no_file;
}

/// Locks the first of the files that is there. `timed_out`: another receiver has it.
platform::Wait claim_one(std::vector<FileList> const & files, platform::File & claim) {
    for (FileList const & each : files) {
        if (platform::File::open(each.file.c_str(), claim) != platform::Opened::yes) continue;
        platform::Wait const outcome = claim.lock();
        if (outcome == platform::Wait::timed_out) claim.close();
        return outcome;
    }
    return platform::Wait::failed;
}

/// Whether the file is there and no writer is at work on it.
bool can_lock(std::string const & path) {
    platform::File file;
    return platform::File::open(path.c_str(), file) == platform::Opened::yes &&
           file.lock() == platform::Wait::held;
}

} // namespace

PartialStore::PartialStore(std::string prefix)
    : prefix_(std::move(prefix)), index_path_(Make_FileName(index_file_name)) {}

std::string PartialStore::Make_FileName(std::string_view name) const {
    return std::string(prefix_).append(name);
}

std::string PartialStore::Make_FileName(FragmentKey key) const {
    return Make_FileName(fragment_file_name(key));
}

/// The label of the file of this name. A label that doesn't belong to the name is none.
LabelFound PartialStore::Read_label(FragmentKey key, FragmentLabel & label) const {
    LabelFound const found = read_label(Make_FileName(key), label);
    if (found != LabelFound::yes) return found;
    bool const fits =
        label.number >= 0 && !label.id.empty() && fragment_key(key.message, label.number) == key;
    return fits ? found : LabelFound::no_label;
}

bool PartialStore::Is_fragment(std::string_view name) const {
    std::optional<FragmentKey> const key = parse_fragment_file_name(name);
    FragmentLabel label;
    return key && Read_label(*key, label) == LabelFound::yes;
}

// The steps of a fragment ------------------------------------------------------------

NewFragment PartialStore::Begin(FragmentLabel label) {
    if (!is_storable_id(label.id)) return {};
    Lock const lock; // also while the file is made, as Remove_left_over must not find it unlocked
    if (!Load_MsgList()) return {};
    if (MsgList const * const message = index_.find(label.id)) {
        if (!Is_free(*message, label.number)) return {};
        Keep_total(*message, label);
    } else if (New_number(label) == 0) {
        return {};
    }
    label.first_number = index_.first_number;
    NewFragment fragment{std::move(label), ScratchFile(prefix_)};
    if (fragment.file) {
        fragment.file.write(format_label(fragment.label));
    } else {
        trace(site(__LINE__), "Error %d creating a fragment file in %s", fragment.file.error(),
              prefix_.c_str());
    }
    return fragment;
}

PartialStore::Outcome PartialStore::Commit(NewFragment fragment, CompleteSet & set) {
    FragmentLabel const & label = fragment.label;
    if (!fragment.file.finish()) {
        trace(site(__LINE__), "Error %d writing a fragment file in %s", fragment.file.error(),
              prefix_.c_str());
        return Outcome::failed;
    }
    Lock const lock;
    if (!Load_MsgList()) return Outcome::failed;
    MsgList * message = Partial_FindMsg(label);
    if (message == nullptr) return Outcome::failed;
    if (Is_dropped(*message, label.number)) return Outcome::stored;
    if (!Is_free(*message, label.number)) return Outcome::failed;
    std::string const path = Make_FileName(fragment_key(message->number, label.number));
    if (!fragment.file.rename_to(path)) {
        trace(site(__LINE__), "Error %d writing %s", fragment.file.error(), path.c_str());
        return Outcome::failed;
    }
    Partial_FindPart(*message, label);
    if (message->is_complete() && !Agrees(*message)) { // another's file in the place of a fragment
        if (!Rebuild_MsgList()) return Outcome::failed;
        message = index_.find(label.id);
        if (message == nullptr) return Outcome::failed;
    }
    if (!Dump_MsgList()) return Outcome::failed;
    if (!message->is_complete()) return Outcome::stored;
    set.id = label.id;
    set.files = Partial_FileList(*message, message->total);
    bool const is_taken = claim_one(set.files, set.claim) == platform::Wait::timed_out;
    return is_taken ? Outcome::stored : Outcome::complete;
}

void PartialStore::Remove(CompleteSet set) {
    Lock const lock;
    if (!Load_MsgList()) return;
    MsgList * const message = index_.find(set.id);
    if (message == nullptr) return;
    bool const sweeps = message->number % sweep_interval == 0;
    int const last = set.files.back().number;
    std::erase_if(message->parts, [last](int part) { return part >= 1 && part <= last; });
    index_.messages.remove_if([](MsgList const & each) { return each.parts.empty(); });
    // An index that names no message stands for a moment, so that one who comes after a kill
    // doesn't take the files for a set that still waits.
    if (!Dump_MsgList()) return;
    for (FileList const & each : set.files) {
        if (platform::remove(each.file.c_str())) continue;
        trace(site(__LINE__), "Error %d removing %s", platform::last_error(), each.file.c_str());
    }
    bool const is_last = index_.messages.empty();
    if (is_last || sweeps) Remove_left_over();
    if (is_last) platform::remove(index_path_.c_str());
}

// Messages and fragments ---------------------------------------------------------------

/// The message of the fragment's id; a new one if there is none, and null if there is no number for
/// it.
MsgList * PartialStore::Partial_FindMsg(FragmentLabel const & label) {
    if (MsgList * const message = index_.find(label.id)) return message;
    int const number = New_number(label);
    if (number == 0) return nullptr;
    index_.sequence_number = number;
    index_.messages.push_front({label.id, number, 0, {}});
    return &index_.messages.front();
}

/// The next number with which no message's files and no foreign file would be in the way of the
/// fragment; 0 if there is none.
int PartialStore::New_number(FragmentLabel const & label) const {
    constexpr std::size_t count = std::size_t{1} << message_key_bits;
    std::vector<bool> is_used(count);
    for (MsgList const & each : index_.messages)
        is_used[static_cast<std::size_t>(fragment_key(each.number, 0).message)] = true;
    int number = index_.sequence_number;
    for (std::size_t tries = 0; tries < count; ++tries) {
        number = number < std::numeric_limits<int>::max() ? number + 1 : 1;
        if (is_used[static_cast<std::size_t>(fragment_key(number, 0).message)]) continue;
        FragmentLabel other;
        LabelFound const found = Read_label(fragment_key(number, label.number), other);
        if (is_replaceable(found)) return number;
        if (found == LabelFound::unreadable) break; // so would be all, if it is the system's state
    }
    trace(site(__LINE__), "No message number is free in %s", prefix_.c_str());
    return 0;
}

/// Records the fragment. What was known of one with its number is replaced.
void PartialStore::Partial_FindPart(MsgList & message, FragmentLabel const & label) const {
    if (label.usable_total() != 0) message.total = label.usable_total();
    if (!message.has_part(label.number)) {
        message.parts.insert(message.parts.begin(), label.number);
    }
}

/// A fragment that gives no total keeps the message's, if the one that it replaces gave that: it
/// may be the only one that has it, and the index may have to be made anew.
void PartialStore::Keep_total(MsgList const & message, FragmentLabel & label) const {
    if (label.total != 0 || !message.has_part(label.number)) return;
    FragmentLabel replaced;
    bool const is_there =
        Read_label(fragment_key(message.number, label.number), replaced) == LabelFound::yes;
    if (is_there && replaced.usable_total() == message.total) label.total = message.total;
}

/// The files of fragment 1 to fragment `last`, as far as they are there.
std::vector<FileList> PartialStore::Partial_FileList(MsgList const & message, int last) const {
    std::vector<FileList> files;
    for (int const part : message.parts) {
        if (part < 1 || part > last) continue;
        files.push_back({Make_FileName(fragment_key(message.number, part)), part});
    }
    std::sort(files.begin(), files.end(), [](FileList const & left, FileList const & right) {
        return left.number < right.number;
    });
    return files;
}

/// Whether the message's fragment of that number can get its file.
bool PartialStore::Is_free(MsgList const & message, int part) const {
    FragmentKey const key = fragment_key(message.number, part);
    bool const is_second = part == 0 && message.has_part(0);
    FragmentLabel label;
    if (!is_second && !index_.is_taken(key, &message, part) &&
        is_replaceable(Read_label(key, label))) {
        return true;
    }
    trace(site(__LINE__), "%s holds something else", Make_FileName(key).c_str());
    return false;
}

/// Whether a fragment of that number is in a set that another receiver is delivering. To replace it
/// would mix two messages. The one that is there will do: it goes when the set has been delivered,
/// and else stays with it.
bool PartialStore::Is_dropped(MsgList const & message, int part) const {
    if (part < 1 || !message.has_part(part)) return false;
    platform::File claim;
    return claim_one(Partial_FileList(message, std::numeric_limits<int>::max()), claim) ==
           platform::Wait::timed_out;
}

/// Removes the unfinished files of killed receivers, and when no message is left their fragments.
void PartialStore::Remove_left_over() const {
    std::vector<std::string> names;
    platform::list(prefix_, names);
    for (std::string const & name : names) {
        bool const is_left_over = is_scratch_file_name(name)
                                      ? can_lock(Make_FileName(name))
                                      : index_.messages.empty() && Is_fragment(name);
        if (is_left_over) platform::remove(Make_FileName(name).c_str());
    }
}

} // namespace vellum
