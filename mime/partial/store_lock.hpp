// mime/partial/store_lock.hpp - keeps receivers apart that use one partial store
//
// The mutex "MIMEINDX" keeps the processes of a user apart wherever their stores are, as far as the
// system lets them have it. The directory's own mutex keeps apart all who use one directory, of
// whatever user and in whatever container; without it nothing may be done in the store.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace vellum {

/// A lock on a store that is held as long as this object lives.
class StoreLock {
public:
    enum class Outcome {
        held,
        no_directory, ///< There is nothing that could be locked.
        failed        ///< The system refused, or another receiver has held the lock for too long.
    };

    /// Waits for the lock of the store whose files' paths begin with `prefix`. Null if the outcome
    /// isn't `held`; a failure is traced.
    static std::unique_ptr<StoreLock> take(std::string const & prefix, Outcome & outcome);

    StoreLock(StoreLock const &) = delete;
    StoreLock & operator=(StoreLock const &) = delete;
    ~StoreLock();

private:
    struct Locks;

    explicit StoreLock(std::string_view prefix);

    std::unique_ptr<Locks> locks_;
};

} // namespace vellum
