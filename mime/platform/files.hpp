// mime/platform/files.hpp - the files of the partial store, as the operating system keeps them
//
// posix_files.cpp stands behind it. Each function says what a port must guarantee. A path is a
// C string in the system's own form. No operation follows a symbolic link in a path's last
// component. See last_error() behind what fails.
#pragma once

#include "mime/platform/platform.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vellum::platform {

enum class Opened {
    yes,
    missing,   ///< Nothing bears the name.
    not_plain, ///< A link, a directory, a pipe, a device.
    failed     ///< The system refused, or had no means for it.
};

/// Why a call failed, as far as it matters to a caller who could try again.
enum class Failure {
    shortage, ///< Of space, inodes, descriptors, memory or locks: it passes.
    absent,   ///< There is no such directory: it lasts.
    refusal,  ///< Nothing may be done there: it lasts.
    fault     ///< Anything else, as a broken disk.
};

/// What the number of last_error() means.
Failure failure_of(int error) noexcept;

/// What the system knows of a file. Times are nanoseconds since 1970 UT.
struct FileState {
    std::uint64_t inode;  ///< No other file of the directory has it while this one exists.
    std::int64_t born;    ///< When the file was made; 0 if the system doesn't tell.
    std::int64_t changed; ///< The last change of content, name, times or rights. Nobody can set it.
    std::int64_t modified; ///< The last change of content, or what set_mark made of it.
    std::int64_t size;

    bool operator==(FileState const &) const = default;
};

/// The state of what bears the name; empty if nothing does, or if it can't be told.
std::optional<FileState> look_at(char const * path) noexcept;

/// An open plain file. Programs that the process starts don't inherit it.
class File {
public:
    File() noexcept = default; ///< No file.
    File(File && other) noexcept;
    File & operator=(File && other) noexcept;
    ~File();

    /// A new, empty file for writing that its owner alone may read and write. No file if it can't
    /// be made, or if anything bears the name already.
    static File create(char const * path) noexcept;

    /// Opens a plain file for reading into `file`, which is no file after any other result than
    /// `yes`.
    static Opened open(char const * path, File & file) noexcept;

    explicit operator bool() const noexcept { return descriptor_ >= 0; }

    /// Writes the whole text. After a failure, any part of it may have been written.
    bool write(std::string_view text) noexcept;

    /// Reads up to `size` bytes, at least a byte unless the file is at its end. Returns their
    /// count, 0 at the end, -1 on failure.
    long long read(char * buffer, std::size_t size) noexcept;

    /// True when all that was written would be there after a loss of power.
    bool sync() noexcept;

    /// Keeps a number from 0 to largest_mark with the file, as the part of its time of modification
    /// that is below a second (see mark_of); whoever writes to the file afterwards changes it.
    /// Where the system has no such times it is lost.
    void set_mark(long mark) noexcept;
    static constexpr long largest_mark = 999'999'999;

    /// The state of the open file, whatever name it has by now.
    std::optional<FileState> state() const noexcept;

    /// Locks the file for this object, without waiting. Any other object is kept out, in any
    /// thread or process, until this object is closed or its process ends, however it ends.
    /// `timed_out`: another object has the lock. `failed`: the file can't be locked at all.
    Wait lock() noexcept;

    void close() noexcept;

private:
    explicit File(int descriptor) noexcept : descriptor_(descriptor) {}

    int descriptor_ = -1;
    bool is_locked_ = false;
};

/// The number that set_mark kept with the file; any number if no number was kept.
constexpr long mark_of(FileState const & state) {
    return static_cast<long>(state.modified % (File::largest_mark + 1));
}

/// Whether something that can be seen bears the name, a link that leads nowhere included.
bool exists(char const * path) noexcept;

/// Gives the file `from` the name `to` in the same directory, in one step: whoever looks finds
/// either the file that had that name before or the new one, whole.
bool rename(char const * from, char const * to) noexcept;

/// Removes the file's name. True too if nothing bears it.
bool remove(char const * path) noexcept;

/// True when the names that were given and removed in the directory of `path` would be so after a
/// loss of power.
bool sync_directory_of(char const * path);

/// Appends what follows `prefix` in the path of each file whose path begins with it. The prefix
/// may end within a name. False if the directory can't be read to its end.
bool list(std::string const & prefix, std::vector<std::string> & names);

using FileProbe = int (*)(char const * call);

/// For tests: from now on `probe` is called before each call to the system, with its name: create,
/// open, lock, write, read, sync, rename, remove, list, sync_directory, lock_directory (a Mutex of
/// a directory). Another result than 0 is the error with which the call fails at once. Null takes
/// the probe away. The result is the probe so far. The engine never calls this.
FileProbe set_file_probe(FileProbe probe) noexcept;

} // namespace vellum::platform
