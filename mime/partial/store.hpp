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
// Lock:       the directory itself is locked (store_lock.hpp), so that users and containers exclude
//             each other too. Without the lock nothing is stored. Who holds it has an OpenStore.
// Files:      the index and the fragments' files (file_names.hpp), readable by their owner alone.
//             Each is written aside, flushed to the disk and renamed, so that it is whole or
//             absent. No link is followed, and nothing is replaced or removed that is not a
//             fragment's file or the index.
// Index:      as long as it is whole it is the truth; a fragment that it doesn't name is what a
//             killed receiver has left. If it is damaged or missing the fragments are the truth:
//             the index is made anew from their first lines. Its text has no check sum. The store
//             keeps a seal in the nanoseconds of the file's time, made of the text and of what no
//             copy of the file has; where the seal isn't right, the index counts only if it names
//             just the fragments that are there, and as they are.
// Set:        a set is complete when its fragments 1 to total are there, whatever else is; the last
//             total that was given counts (the largest, once the index was made anew). But while a
//             fragment beyond that total is there whose own total takes it in, the set waits. A
//             complete set is one receiver's, until that receiver has removed it, gives it up or
//             dies. Then it waits, complete, for a further copy of any of its fragments.
// Numbers:    a number below 0 counts as none, as does a total. A fragment without a number is kept
//             under the name that ends in .000, and is part of no set (but with a total of 1 it is
//             fragment 1). A number beyond the fragment's own total is kept too, and its total not
//             taken; beyond the total of others it waits for a larger one. What is not of the set
//             stays in the store when the set is removed.
// Refused:    a fragment whose file name is another's (a second one without a number; numbers that
//             agree in their low 12 bits) or that of a file that is no fragment; an empty id, and
//             one of more than 4,096 bytes; every fragment where there is no directory or nothing
//             may be written. What fails for any other reason has failed, and may be tried again.
// Limits:     where a client sets them, the incomplete sets that came first are removed until they
//             hold (store_limits.cpp). Otherwise what never becomes complete stays for good.
// Cost:       each fragment reads the index once and writes it once, unless others write it
//             meanwhile. What a message says of its numbers and totals costs nothing.
#pragma once

#include "mime/partial/open_store.hpp"

#include <string>

namespace vellum {

/// A fragment that is being written. It is not in the store yet.
struct NewFragment {
    FragmentLabel label;
    ScratchFile file; ///< Begins with the label; the fragment's text goes behind it.
};

/// One receiver's access to a store. No operation throws anything but for want of memory. What the
/// system refuses is traced at level 8.
class PartialStore {
public:
    enum class Beginning {
        begun,
        refused, ///< The store can't take such a fragment.
        failed   ///< It can't take the fragment now.
    };
    using Outcome = OpenStore::Taken;

    /// `prefix` is what the path of each file begins with: it ends in a separator unless the store
    /// is in the current directory. Nothing is touched yet.
    explicit PartialStore(std::string prefix, StoreLimits const & limits = {})
        : prefix_(std::move(prefix)), limits_(limits) {}
    PartialStore(PartialStore const &) = delete;
    PartialStore & operator=(PartialStore const &) = delete;

    /// Begins a fragment that says this of itself. `fragment` has a file if the result is `begun`.
    Beginning Begin(FragmentLabel label, NewFragment & fragment);

    /// Takes a fragment that has been written into the store.
    /// - failed: the fragment is not acknowledged;
    /// - stored: it is in the store, and stays there whatever happens to the process;
    /// - complete: the same, and `set` is its set.
    /// A further copy of a fragment in a set that another receiver has counts as stored and is
    /// dropped: the set keeps the first copy until it has been delivered.
    Outcome Commit(NewFragment fragment, CompleteSet & set);

    /// Removes a set that has been delivered.
    void Remove(CompleteSet const & set);

private:
    std::string const prefix_;
    StoreLimits const limits_;
    KeptIndex kept_;
};

} // namespace vellum
