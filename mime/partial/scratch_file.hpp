// mime/partial/scratch_file.hpp - a file that is written aside and gets its name when it is whole
#pragma once

#include "mime/platform/files.hpp"

#include <string>
#include <string_view>

namespace vellum {

/// A file of a partial store on its way. Under the name that counts there is always either the
/// file that was there before or this one, whole. Until it has that name its own name is one that
/// no other file has, and the file is locked, so that its writer is known to be alive.
class ScratchFile {
public:
    ScratchFile() = default; ///< None.
    /// Makes a file whose path begins with `prefix`; none if that fails.
    explicit ScratchFile(std::string const & prefix);
    ScratchFile(ScratchFile && other) noexcept;
    ScratchFile & operator=(ScratchFile && other) noexcept;
    /// Removes the file, unless it has its name.
    ~ScratchFile();

    explicit operator bool() const { return static_cast<bool>(file_); }

    /// The system's number for the first failure of this file; 0 if there was none.
    int error() const { return error_; }

    /// Appends to the file. A failure is kept for finish().
    void write(std::string_view text);

    /// Keeps this number with the file (platform::File::set_mark). Nothing may be written after it.
    void mark(long number);

    /// True when all that was written is on the disk. Nothing may be written after it.
    bool finish();

    /// Gives the finished file its name. Whatever bore it is replaced.
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
};

} // namespace vellum
