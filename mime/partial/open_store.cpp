// mime/partial/open_store.cpp - what is done in a partial store under its lock
#include "mime/partial/open_store.hpp"

#include "mime/foundation/trace_site.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace vellum {

namespace {

constexpr TraceSite site(unsigned long line) {
    return {trace_warning, "mime/partial/open_store", line};
}

/// To read the directory costs as much as all else that a set costs, and more where many wait. So
/// beside sets that still wait what killed receivers have left is looked for this rarely.
constexpr std::size_t least_sweep_interval = 64;

/// Whether the file is there and no writer is at work on it.
bool can_lock(std::string const & path) {
    platform::File file;
    return platform::File::open(path.c_str(), file) == platform::Opened::yes &&
           file.lock() == platform::Wait::held;
}

} // namespace

OpenStore::OpenStore(std::string const & prefix, KeptIndex & kept, std::unique_ptr<StoreLock> lock)
    : prefix_(prefix), index_path_(Make_FileName(index_file_name)), kept_(kept),
      lock_(std::move(lock)) {}

std::unique_ptr<OpenStore> OpenStore::open(std::string const & prefix, KeptIndex & kept,
                                           Opened & opened) {
    StoreLock::Outcome outcome{};
    std::unique_ptr<StoreLock> lock = StoreLock::take(prefix, outcome);
    opened = outcome == StoreLock::Outcome::no_directory ? Opened::refused : Opened::failed;
    if (!lock) return nullptr;
    std::unique_ptr<OpenStore> store(new OpenStore(prefix, kept, std::move(lock)));
    opened = store->Load_MsgList();
    return opened == Opened::yes ? std::move(store) : nullptr;
}

std::string OpenStore::Make_FileName(std::string_view name) const {
    return std::string(prefix_).append(name);
}

std::string OpenStore::Make_FileName(FragmentKey key) const {
    return Make_FileName(fragment_file_name(key));
}

/// The label of the file of this name. A label that doesn't belong to the name doesn't count.
LabelFound OpenStore::Read_label(FragmentKey key, FragmentLabel & label) const {
    LabelFound const found = read_label(Make_FileName(key), label);
    if (found != LabelFound::yes) return found;
    bool const fits =
        label.number >= 0 && !label.id.empty() && fragment_key(key.message, label.number) == key;
    return fits ? found : LabelFound::no_label;
}

bool OpenStore::Is_fragment(std::string_view name) const {
    std::optional<FragmentKey> const key = parse_fragment_file_name(name);
    FragmentLabel label;
    return key && Read_label(*key, label) == LabelFound::yes;
}

// The steps of a fragment ------------------------------------------------------------

OpenStore::Place OpenStore::Prepare(FragmentLabel & label) const {
    label.first_number = index().first_number;
    std::size_t const place = index().find(label.id);
    int number = 0;
    if (place == PartialIndex::nowhere) return New_number(label, number);
    MsgList const message = index().message(place);
    FragmentLabel there;
    Place const result = Look_for(message, label.number, there);
    // A fragment that gives no total keeps the message's, if the one that it replaces gave that: it
    // may be the only one that has it, and the index may have to be made anew.
    bool const keeps_total = result == Place::free && label.total == 0 &&
                             message.has_part(label.number) &&
                             there.usable_total() == message.total;
    if (keeps_total) label.total = message.total;
    return result;
}

ScratchFile OpenStore::New_file() const { return ScratchFile(prefix_); }

OpenStore::Taken OpenStore::Take(FragmentLabel const & label, ScratchFile & file,
                                 StoreLimits const & limits, CompleteSet & set) {
    std::optional<Entry> entry = Partial_FindMsg(label);
    if (!entry) return Taken::failed;
    kept_.state_.reset(); // from here on the index is changed
    MsgList & message = entry->message;
    if (label.number >= 1 && message.has_part(label.number)) {
        // To replace a fragment of a set that another receiver is delivering would mix two
        // messages. The one that is there will do: it goes when the set has been delivered, and
        // else stays with it.
        platform::File claim;
        switch (Claim_one(Partial_FileList(message, std::numeric_limits<int>::max()), claim)) {
        case Claim::others: return Taken::stored;
        case Claim::failed: return Taken::failed;
        case Claim::taken:
        case Claim::no_file: break;
        }
    }
    FragmentLabel there;
    if (Look_for(message, label.number, there) != Place::free) return Taken::failed;
    std::string const path = Make_FileName(fragment_key(message.number, label.number));
    if (!file.rename_to(path)) {
        trace(site(__LINE__), "Error %d writing %s", file.error(), path.c_str());
        return Taken::failed;
    }
    Partial_FindPart(message, label);
    index().replace(entry->place, message);
    if (message.is_complete() && !Agrees(message)) { // another's file in the place of a fragment
        if (Rebuild_MsgList() != Opened::yes) return Taken::failed;
        entry->place = index().find(label.id);
        if (entry->place == PartialIndex::nowhere) return Taken::failed;
        message = index().message(entry->place);
    }
    std::vector<FileList> const dropped =
        limits.any() ? Drop_oldest(entry->place, limits) : std::vector<FileList>();
    bool const is_in_store = index().find(label.id) != PartialIndex::nowhere;
    if (!Dump_MsgList()) return Taken::failed;
    Remove_files(dropped);
    if (!is_in_store) return Taken::failed;
    std::optional<bool> const is_whole = Is_whole(message);
    if (!is_whole) return Taken::failed; // what is complete comes home with a further copy
    return *is_whole ? Hand_out(message, set) : Taken::stored;
}

/// Makes a complete set this receiver's. What no receiver could claim now is not acknowledged: it
/// comes home when the fragment is received again.
OpenStore::Taken OpenStore::Hand_out(MsgList const & message, CompleteSet & set) const {
    set.id = message.id;
    set.files = Partial_FileList(message, message.total);
    switch (Claim_one(set.files, set.claim)) {
    case Claim::taken: return Taken::complete;
    case Claim::others: return Taken::stored;
    case Claim::no_file:
    case Claim::failed: break;
    }
    trace(site(__LINE__), "The set that begins with %s can't be claimed",
          set.files.front().file.c_str());
    return Taken::failed;
}

void OpenStore::Remove(CompleteSet const & set) {
    std::size_t const place = index().find(set.id);
    if (place == PartialIndex::nowhere) return;
    kept_.state_.reset();
    MsgList message = index().message(place);
    int const last = set.files.back().number;
    std::erase_if(message.parts, [last](int part) { return part >= 1 && part <= last; });
    if (message.parts.empty()) {
        index().remove({place});
    } else {
        index().replace(place, message);
    }
    // An index that names no message stands for a moment, so that who comes after a kill doesn't
    // take the files for a set that still waits.
    if (!Dump_MsgList()) return;
    Remove_files(set.files);
    std::size_t const waiting = index().rows().size();
    std::size_t const interval = least_sweep_interval + waiting;
    bool const sweeps = static_cast<std::size_t>(message.number) % interval == 0;
    if (waiting == 0 || sweeps) Remove_left_over();
    if (waiting != 0) return;
    kept_.state_.reset();
    platform::remove(index_path_.c_str());
}

// Messages and fragments ---------------------------------------------------------------

/// The message of the fragment's id; a new one if there is no such message, and empty if there is
/// no number for it.
std::optional<OpenStore::Entry> OpenStore::Partial_FindMsg(FragmentLabel const & label) {
    std::size_t const place = index().find(label.id);
    if (place != PartialIndex::nowhere) return Entry{place, index().message(place)};
    int number = 0;
    if (New_number(label, number) != Place::free) return {};
    index().sequence_number = number;
    MsgList message{label.id, number, 0, {label.number}};
    index().add(message);
    message.parts.clear(); // Partial_FindPart takes the fragment in
    return Entry{0, std::move(message)};
}

/// The next number with which no message's files and no foreign file would be in the way of the
/// fragment.
OpenStore::Place OpenStore::New_number(FragmentLabel const & label, int & number) const {
    constexpr std::size_t count = std::size_t{1} << message_key_bits;
    std::vector<bool> is_used(count);
    for (IndexRow const & row : index().rows())
        is_used[static_cast<std::size_t>(fragment_key(row.number, 0).message)] = true;
    number = index().sequence_number;
    for (std::size_t tries = 0; tries < count; ++tries) {
        number = number < std::numeric_limits<int>::max() ? number + 1 : 1;
        if (is_used[static_cast<std::size_t>(fragment_key(number, 0).message)]) continue;
        FragmentLabel there;
        Place const place = Place_of(Read_label(fragment_key(number, label.number), there));
        if (place != Place::taken)
            return place; // unknown would be all, if it is the system's state
    }
    trace(site(__LINE__), "No message number is free in %s", prefix_.c_str());
    return Place::taken;
}

/// Whether a fragment's file may take the path where this was found: nothing, or only a fragment.
OpenStore::Place OpenStore::Place_of(LabelFound found) {
    switch (found) {
    case LabelFound::yes:
    case LabelFound::no_file: return Place::free;
    case LabelFound::no_label: return Place::taken;
    case LabelFound::unreadable: break;
    }
    return Place::unknown;
}

/// Whether the message's fragment of that number can get its file, and the label of what is there.
OpenStore::Place OpenStore::Look_for(MsgList const & message, int part,
                                     FragmentLabel & there) const {
    FragmentKey const key = fragment_key(message.number, part);
    bool const is_second = part == 0 && message.has_part(0);
    bool const is_anothers = is_second || index().is_taken(key, message.number, part);
    Place const place = is_anothers ? Place::taken : Place_of(Read_label(key, there));
    if (place != Place::free) {
        trace(site(__LINE__), "%s holds something else or can't be read",
              Make_FileName(key).c_str());
    }
    return place;
}

/// Records the fragment. What was known of one with its number is replaced.
void OpenStore::Partial_FindPart(MsgList & message, FragmentLabel const & label) const {
    if (label.usable_total() != 0) message.total = label.usable_total();
    if (!message.has_part(label.number)) {
        message.parts.insert(message.parts.begin(), label.number);
    }
}

/// The files of fragment 1 to fragment `last`, as far as they are there.
std::vector<FileList> OpenStore::Partial_FileList(MsgList const & message, int last) const {
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

/// Whether the set is complete and no fragment says that there is more of it. Empty if the system
/// doesn't let it be known.
std::optional<bool> OpenStore::Is_whole(MsgList const & message) const {
    if (!message.is_complete()) return false;
    for (int const part : message.parts) {
        if (part <= message.total) continue;
        FragmentLabel label;
        LabelFound const found = Read_label(fragment_key(message.number, part), label);
        if (found == LabelFound::unreadable) return {};
        if (found == LabelFound::yes && label.usable_total() > message.total) return false;
    }
    return true;
}

/// Locks the first of the files that is there.
OpenStore::Claim OpenStore::Claim_one(std::vector<FileList> const & files,
                                      platform::File & claim) const {
    for (FileList const & each : files) {
        platform::Opened const opened = platform::File::open(each.file.c_str(), claim);
        if (opened == platform::Opened::failed) return Claim::failed;
        if (opened != platform::Opened::yes) continue;
        switch (claim.lock()) {
        case platform::Wait::held: return Claim::taken;
        case platform::Wait::timed_out: claim.close(); return Claim::others;
        case platform::Wait::failed: claim.close(); return Claim::failed;
        }
    }
    return Claim::no_file;
}

void OpenStore::Remove_files(std::vector<FileList> const & files) const {
    for (FileList const & each : files) {
        if (platform::remove(each.file.c_str())) continue;
        trace(site(__LINE__), "Error %d removing %s", platform::last_error(), each.file.c_str());
    }
}

/// Removes the unfinished files of killed receivers, and when no message is left their fragments.
void OpenStore::Remove_left_over() const {
    std::vector<std::string> names;
    platform::list(prefix_, names);
    for (std::string const & name : names) {
        bool const is_left_over = is_scratch_file_name(name)
                                      ? can_lock(Make_FileName(name))
                                      : index().rows().empty() && Is_fragment(name);
        if (is_left_over) platform::remove(Make_FileName(name).c_str());
    }
}

} // namespace vellum
