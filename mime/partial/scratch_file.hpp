// mime/partial/scratch_file.hpp - a file that is written aside and gets its name when it is whole
#pragma once

#include "mime/platform/files.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace vellum {

/// A file of a partial store on its way. Under the name that counts there is always either the
/// file that was there before or this one, whole. Until it has that name its own name is one that
/// no other file has, and the file is locked, so that its writer is known to be alive.
class ScratchFile {
public:
    ScratchFile() = default; ///< No file.
    /// Makes a file whose path begins with `prefix`; no file if that fails.
    explicit ScratchFile(std::string const & prefix);
    ScratchFile(ScratchFile && other) noexcept = default;
    ScratchFile & operator=(ScratchFile && other) noexcept;
    /// Removes the file, unless it has its name.
    ~ScratchFile();

    explicit operator bool() const { return static_cast<bool>(file_); }

    /// The system's number for the first failure of this file; 0 if nothing has failed.
    int error() const { return error_; }

    /// Refuses what would make the file longer than `bytes`, as the system would: EFBIG. 0 for no
    /// limit.
    void set_limit(long long bytes) { limit_ = bytes; }

    /// Appends to the file. A failure is kept for finish().
    void write(std::string_view text);

    /// True when all that was written is on the disk. Nothing may be written after it.
    bool finish();

    /// The state of the file, for a mark that is bound to it.
    std::optional<platform::FileState> state() const { return file_.state(); }
    /// Keeps this number with the finished file (platform::File::set_mark).
    void mark(long number) { file_.set_mark(number); }

    /// Gives the finished file its name. Whatever bore the name is replaced.
    bool rename_to(std::string const & path);

private:
    void flush();
    void write_through(std::string_view text);
    void discard();
    bool note_error(bool succeeded);

    std::string path_;
    platform::File file_;
    std::string pending_;
    int error_ = 0;
    long long limit_ = 0;
    long long written_ = 0;
};

} // namespace vellum
