// mime/partial/store.hpp - the directory in which the fragments of incomplete messages wait
//
//     Begin    a file for the fragment, aside          Commit   under the lock: the fragment gets
//       |                                              ^        its name, its message a number, and
//       v                                              |        the index is replaced
//     the receiver writes the fragment ----------------+
//                                                      |  complete: the set is this receiver's
//                                                      v
//                     Remove   <----------  the receiver reads the joined files (iFileStream)
//
// A store is shared by any number of receivers, in threads and processes, and any of them may be
// killed at any moment.
//
// Files:      the index and the fragments' files (file_names.hpp), readable by their owner alone.
//             Each is written aside, flushed to the disk and renamed, so that it is whole or
//             absent. No link is followed, and nothing is replaced or removed that is not a
//             fragment's file or the index.
// Index:      as long as it is whole it is the truth; a fragment that it doesn't name is what a
//             killed receiver has left. If it is damaged or missing the fragments are the truth:
//             the index is made anew from their first lines. Its text has no check sum. The store
//             keeps one in the nanoseconds of the file's time; where it has gone, the index counts
//             only if it names just the fragments that are there, and as they are.
// Set:        a set is complete when its fragments 1 to total are there, whatever else is; the last
//             total that was given counts (the largest, once the index was made anew). It is one
//             receiver's from then on, until that receiver has removed it, gives it up or dies.
//             Then it waits, complete, for a further copy of any of its fragments.
// Numbers:    a number below 0 counts as none, as does a total. A fragment without a number is kept
//             under the name that ends in .000, and is part of no set (but with a total of 1 it is
//             fragment 1). A number beyond the fragment's own total is kept too, and its total not
//             taken; beyond the total of others it waits for a larger one. What is not of the set
//             stays in the store when the set is removed.
// Refused:    a fragment whose file name is another's (a second one without a number; numbers that
//             agree in their low 12 bits) or that of a file that is no fragment; an empty id, and
//             one of more than a megabyte.
// Cost:       each fragment reads the index twice and writes it once. What a message says of its
//             numbers and totals costs nothing.
// Not here:   ageing. What never becomes complete stays for good.
#pragma once

#include "mime/partial/file_stream.hpp"
#include "mime/partial/fragment_label.hpp"
#include "mime/partial/index.hpp"
#include "mime/partial/scratch_file.hpp"
#include "mime/platform/files.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace vellum {

/// A fragment that is being written, and is none of the store yet. None if its file is none.
struct NewFragment {
    FragmentLabel label;
    ScratchFile file; ///< Begins with the label; the fragment's text goes behind it.
};

/// A complete set, which no other receiver gets as long as this object lives.
struct CompleteSet {
    std::string id;
    std::vector<FileList> files; ///< In the order of their numbers.
    platform::File claim;        ///< One of the files, locked.
};

/// One receiver's access to a store. No operation throws anything but for want of memory. What the
/// system refuses is traced at level 8.
class PartialStore {
public:
    enum class Outcome {
        failed,   ///< The fragment is not in the store.
        stored,   ///< It is in the store, and stays there whatever happens to the process.
        complete, ///< The same, and its set is complete.
    };

    /// `prefix` is what the path of each file begins with: it ends in a separator unless the store
    /// is in the current directory. Nothing is touched yet.
    explicit PartialStore(std::string prefix);

    /// A file for a fragment that says this of itself. The file is none if the fragment can't be
    /// stored.
    NewFragment Begin(FragmentLabel label);

    /// Takes a fragment that has been written into the store. If `complete`, `set` is its set. A
    /// further copy of a fragment in a set that another receiver has counts as stored and is
    /// dropped: the set keeps the first copy until it has been delivered.
    Outcome Commit(NewFragment fragment, CompleteSet & set);

    /// Removes a set that has been delivered.
    void Remove(CompleteSet set);

private:
    std::string Make_FileName(std::string_view name) const;
    std::string Make_FileName(FragmentKey key) const;
    LabelFound Read_label(FragmentKey key, FragmentLabel & label) const;
    bool Is_fragment(std::string_view name) const;

    // All of these are called under the lock.
    bool Load_MsgList();
    bool Rebuild_MsgList();
    void Add_found(FragmentKey key, FragmentLabel const & label);
    bool Dump_MsgList();
    bool All_agree();
    bool Agrees(MsgList & message);
    bool Names_what_is_there();

    MsgList * Partial_FindMsg(FragmentLabel const & label);
    void Partial_FindPart(MsgList & message, FragmentLabel const & label) const;
    void Keep_total(MsgList const & message, FragmentLabel & label) const;
    std::vector<FileList> Partial_FileList(MsgList const & message, int last) const;
    int New_number(FragmentLabel const & label) const;
    bool Is_free(MsgList const & message, int part) const;
    bool Is_dropped(MsgList const & message, int part) const;
    void Remove_left_over() const;

    std::string prefix_;
    std::string index_path_;
    PartialIndex index_;     ///< Valid under the lock, behind a Load_MsgList.
    bool is_sealed_ = false; ///< It is known to be right, and may say so where it is written.
};

} // namespace vellum
