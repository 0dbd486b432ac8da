// mime/partial/file_stream.cpp - the fragments of a set as one stream
#include "mime/partial/file_stream.hpp"

#include <algorithm>
#include <utility>

namespace vellum {

iFileStream::iFileStream(std::vector<FileList> files, char * buffer, int size)
    : iSimpleStream(buffer, size), files_(std::move(files)), buffer_end_(end_) {
    get_ = end_; // nothing has been read yet
}

bool iFileStream::Underflow() {
    while (!Fill()) {
        if (failed_ || !Open_next()) return iSimpleStream::Underflow();
    }
    return true;
}

/// The next bytes of the current file into the buffer; false, and the file is closed, if there are
/// none.
bool iFileStream::Fill() {
    while (current_) {
        long long const count = current_.read(reinterpret_cast<char *>(base_),
                                              static_cast<std::size_t>(buffer_end_ - base_));
        failed_ = count < 0;
        get_ = base_;
        end_ = base_ + std::max(count, 0LL);
        Pass_label();
        if (get_ != end_) return true;
        if (count <= 0) current_.close();
    }
    return false;
}

void iFileStream::Pass_label() {
    if (get_ == end_) return;
    if (is_at_start_) is_in_label_ = *get_ >= 0x80;
    is_at_start_ = false;
    if (!is_in_label_) return;
    get_ = std::find(get_, end_, static_cast<unsigned char>('\n'));
    is_in_label_ = get_ == end_;
    if (!is_in_label_) ++get_;
}

/// Goes on to the next file that is there. False if there is none, or it can't be opened.
bool iFileStream::Open_next() {
    while (next_ < files_.size()) {
        platform::Opened const opened =
            platform::File::open(files_[next_++].file.c_str(), current_);
        is_at_start_ = opened == platform::Opened::yes;
        if (is_at_start_) return true;
        failed_ = opened != platform::Opened::missing;
        if (failed_) return false;
    }
    return false;
}

} // namespace vellum
