// mime/partial/file_stream.hpp - the fragments of a set as one stream
#pragma once

#include "mime/foundation/simple_input.hpp"
#include "mime/platform/files.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace vellum {

/// A fragment's file in the order of reading.
struct FileList {
    std::string file; ///< Its path.
    int number;       ///< The fragment's.
};

/// Reads files one behind the other with nothing between them, each without its first line if that
/// begins with a byte of 0x80 or above. A file that isn't there counts as an empty one.
class iFileStream : public iSimpleStream {
public:
    /// The files in the order of reading. The buffer, of at least one byte, is the caller's and
    /// outlives the stream; there is never more in memory.
    iFileStream(std::vector<FileList> files, char * buffer, int size);

    bool Underflow() override;

    /// Whether a file could not be read. The stream has ended there.
    bool failed() const { return failed_; }

private:
    bool Fill();
    bool Open_next();
    void Pass_label();

    std::vector<FileList> files_;
    std::size_t next_ = 0; ///< The first of the files that has not been opened.
    platform::File current_;
    unsigned char * buffer_end_;
    bool is_at_start_ = false; ///< Nothing of the current file has been read.
    bool is_in_label_ = false; ///< Its first line is being dropped.
    bool failed_ = false;
};

} // namespace vellum
