// mime/partial/scratch_file.cpp - a file that is written aside and gets its name when it is whole
#include "mime/partial/scratch_file.hpp"

#include "mime/partial/file_names.hpp"

#include <cerrno>
#include <utility>

namespace vellum {

namespace {

/// Enough that the cost of a call to the system doesn't count.
constexpr std::size_t block_size = std::size_t{64} << 10;

/// Names that are taken belong to writers at work, or to killed ones: few in either case.
constexpr unsigned int most_attempts = 1000;

} // namespace

ScratchFile::ScratchFile(std::string const & prefix) {
    for (unsigned int attempt = 0; attempt < most_attempts && !file_; ++attempt) {
        path_ = prefix + scratch_file_name(attempt);
        file_ = platform::File::create(path_.c_str());
        if (file_) break;
        error_ = platform::last_error();
        if (!platform::exists(path_.c_str())) return;
    }
    if (!file_) return;
    error_ = 0;
    file_.lock();
}

ScratchFile & ScratchFile::operator=(ScratchFile && other) noexcept {
    if (this == &other) return *this;
    discard();
    path_ = std::move(other.path_);
    file_ = std::move(other.file_);
    pending_ = std::move(other.pending_);
    error_ = other.error_;
    limit_ = other.limit_;
    written_ = other.written_;
    return *this;
}

ScratchFile::~ScratchFile() { discard(); }

void ScratchFile::discard() {
    if (!file_) return;
    platform::remove(path_.c_str());
    file_.close();
}

void ScratchFile::write(std::string_view text) {
    written_ += static_cast<long long>(text.size());
    if (limit_ > 0 && written_ > limit_ && error_ == 0) error_ = EFBIG;
    if (error_ != 0) return;
    if (pending_.size() + text.size() < block_size) {
        pending_ += text;
        return;
    }
    flush();
    write_through(text);
}

void ScratchFile::flush() {
    write_through(pending_);
    pending_.clear();
}

void ScratchFile::write_through(std::string_view text) {
    if (error_ == 0 && !text.empty()) note_error(file_.write(text));
}

bool ScratchFile::finish() {
    flush();
    return error_ == 0 && note_error(file_.sync());
}

bool ScratchFile::rename_to(std::string const & path) {
    if (!note_error(platform::rename(path_.c_str(), path.c_str()))) return false;
    file_.close();
    return true;
}

bool ScratchFile::note_error(bool succeeded) {
    if (!succeeded) error_ = platform::last_error();
    return succeeded;
}

} // namespace vellum
