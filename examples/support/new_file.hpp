// examples/support/new_file.hpp - a file that wasn't there before
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <ostream>
#include <streambuf>

namespace examples {

/// Creates a file and writes to it. It never opens a file that exists, nor one behind a link that
/// stands in its place, and nobody can make it so by a change of the directory at the right moment:
/// looking and creating is one call of the system.
class NewFile {
public:
    /// If no file was made, `is_open` tells, and errno has the reason.
    explicit NewFile(std::filesystem::path const & path);

    bool is_open() const { return buffer_.file != nullptr; }
    std::ostream & stream() { return stream_; }
    /// Closes the file. False if anything could not be written.
    bool close();

private:
    struct CloseFile {
        void operator()(std::FILE * open_file) const { std::fclose(open_file); }
    };
    struct Buffer : std::streambuf {
        int_type overflow(int_type byte) override;
        std::streamsize xsputn(char const * data, std::streamsize size) override;
        std::unique_ptr<std::FILE, CloseFile> file;
    };
    Buffer buffer_;
    std::ostream stream_{&buffer_};
};

} // namespace examples
