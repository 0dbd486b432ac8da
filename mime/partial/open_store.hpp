// mime/partial/open_store.hpp - a partial store as long as it is locked: the index, and the names
// of the fragments' files
//
// The lock is held and the index is loaded as long as the object lives, and without the object
// nothing can be done. store.hpp says what the store does, this class how.
#pragma once

#include "mime/partial/file_stream.hpp"
#include "mime/partial/fragment_label.hpp"
#include "mime/partial/index.hpp"
#include "mime/partial/scratch_file.hpp"
#include "mime/partial/store_lock.hpp"
#include "mime/platform/files.hpp"

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vellum {

/// Bounds of the incomplete sets of a store; 0 for no bound.
struct StoreLimits {
    long long bytes = 0;    ///< Of all their files.
    long long messages = 0; ///< Of which fragments wait.
    long long seconds = 0;  ///< Since a set's latest fragment came.

    bool any() const { return bytes > 0 || messages > 0 || seconds > 0; }
};

/// A complete set, which no other receiver gets as long as this object lives.
struct CompleteSet {
    std::string id;
    std::vector<FileList> files; ///< In the order of their numbers.
    platform::File claim;        ///< One of the files, locked.
};

/// An index between two locks of a store. Only an OpenStore can look at it: it may have grown old.
class KeptIndex {
    friend class OpenStore;

    PartialIndex index_;
    /// Of the index file that it is; empty if it is no file's.
    std::optional<platform::FileState> state_;
    bool is_sealed_ = false; ///< It is known to be right, and may say so where it is written.
};

class OpenStore {
public:
    enum class Opened {
        yes,
        refused, ///< There is no directory for a store, or nothing may be read there.
        failed   ///< The lock or the index can't be had now.
    };
    enum class Taken { failed, stored, complete };

    /// Locks the store at `prefix` and loads its index, into `kept` or from it if it is the same
    /// still. Null unless the result is `yes`. Both must outlive the object.
    static std::unique_ptr<OpenStore> open(std::string const & prefix, KeptIndex & kept,
                                           Opened & opened);

    enum class Place {
        free,
        taken,  ///< Something else has the file's name.
        unknown ///< The system doesn't say what has the name.
    };

    /// Whether the fragment could be stored. Its label gets what the store adds to it.
    Place Prepare(FragmentLabel & label) const;
    /// An empty file for a fragment.
    ScratchFile New_file() const;
    /// Takes a finished file into the store. If `complete`, `set` is its set.
    Taken Take(FragmentLabel const & label, ScratchFile & file, StoreLimits const & limits,
               CompleteSet & set);
    void Remove(CompleteSet const & set);

private:
    /// A message and its place in the index.
    struct Entry {
        std::size_t place;
        MsgList message;
    };
    enum class Claim {
        taken,   ///< The file is this receiver's.
        others,  ///< Another receiver has it.
        no_file, ///< There is nothing to claim.
        failed
    };

    OpenStore(std::string const & prefix, KeptIndex & kept, std::unique_ptr<StoreLock> lock);

    PartialIndex & index() { return kept_.index_; }
    PartialIndex const & index() const { return kept_.index_; }
    std::string Make_FileName(std::string_view name) const;
    std::string Make_FileName(FragmentKey key) const;
    LabelFound Read_label(FragmentKey key, FragmentLabel & label) const;
    bool Is_fragment(std::string_view name) const;

    // open_store_index.cpp
    Opened Load_MsgList();
    Opened Rebuild_MsgList();
    void Add_found(std::list<MsgList> & messages, FragmentKey key, FragmentLabel const & label);
    bool Dump_MsgList();
    bool Write_index(ScratchFile & file);
    bool All_agree();
    bool Agrees(MsgList & message);
    bool Names_what_is_there();

    // open_store.cpp
    std::optional<Entry> Partial_FindMsg(FragmentLabel const & label);
    void Partial_FindPart(MsgList & message, FragmentLabel const & label) const;
    std::vector<FileList> Partial_FileList(MsgList const & message, int last) const;
    Place New_number(FragmentLabel const & label, int & number) const;
    static Place Place_of(LabelFound found);
    Place Look_for(MsgList const & message, int part, FragmentLabel & there) const;
    Claim Claim_one(std::vector<FileList> const & files, platform::File & claim) const;
    std::optional<bool> Is_whole(MsgList const & message) const;
    Taken Hand_out(MsgList const & message, CompleteSet & set) const;
    void Remove_files(std::vector<FileList> const & files) const;
    void Remove_left_over() const;

    // store_limits.cpp
    std::vector<FileList> Drop_oldest(std::size_t newest, StoreLimits const & limits);
    bool Is_waiting(std::size_t place) const;
    long long Size_of(MsgList const & message) const;
    bool Has_come_since(MsgList const & message, std::int64_t moment) const;

    std::string const & prefix_;
    std::string const index_path_;
    KeptIndex & kept_;
    std::unique_ptr<StoreLock> lock_;
};

} // namespace vellum
