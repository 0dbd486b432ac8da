// mime/platform/posix_files.cpp - files on POSIX systems
#include "mime/platform/files.hpp"

#include "mime/platform/posix_probe.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace vellum::platform {

namespace {

std::atomic<FileProbe> current_probe{nullptr};

/// Calls again as long as a signal has interrupted the call.
template <typename Call>
auto uninterrupted(Call call) noexcept {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

bool sync_descriptor(int descriptor) noexcept {
    // EINVAL: something that has no disk behind it.
    return uninterrupted([=] { return ::fsync(descriptor); }) == 0 || errno == EINVAL;
}

/// A path's directory, with the separator at its end; "" if it names no directory.
std::string_view directory_part(std::string_view path) noexcept {
    return path.substr(0, path.rfind('/') + 1);
}

std::string directory_to_open(std::string_view path) {
    std::string_view const directory = directory_part(path);
    return directory.empty() ? "." : std::string(directory);
}

} // namespace

FileProbe set_file_probe(FileProbe probe) noexcept { return current_probe.exchange(probe); }

bool is_refused(char const * call) noexcept {
    FileProbe const probe = current_probe.load();
    int const error = probe != nullptr ? probe(call) : 0;
    if (error != 0) errno = error;
    return error != 0;
}

Failure failure_of(int error) noexcept {
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case ENOBUFS:
    case ENOLCK:
    case EAGAIN:
    case EINTR: return Failure::shortage;
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG: return Failure::absent;
    case EACCES:
    case EPERM:
    case EROFS: return Failure::refusal;
    default: return Failure::fault;
    }
}

// ---- What the system knows of a file ----

namespace {

constexpr std::int64_t nanoseconds(std::int64_t seconds, std::int64_t rest) {
    return seconds * 1'000'000'000 + rest;
}

/// `name` is seen from `directory`; an empty name is the open file itself.
std::optional<FileState> state_of(int directory, char const * name) noexcept {
#if defined(__linux__)
    constexpr int flags = AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH;
    struct statx status {};
    if (::statx(directory, name, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return {};
    auto const time_of = [](statx_timestamp const & time) {
        return nanoseconds(time.tv_sec, time.tv_nsec);
    };
    bool const has_birth = (status.stx_mask & STATX_BTIME) != 0;
    return FileState{status.stx_ino, has_birth ? time_of(status.stx_btime) : 0,
                     time_of(status.stx_ctime), time_of(status.stx_mtime),
                     static_cast<std::int64_t>(status.stx_size)};
#else
    struct stat status {};
    bool const is_open_file = *name == '\0';
    int const outcome = is_open_file ? ::fstat(directory, &status) : ::lstat(name, &status);
    if (outcome != 0) return {};
    auto const time_of = [](timespec const & time) {
        return nanoseconds(time.tv_sec, time.tv_nsec);
    };
#if defined(__APPLE__)
    return FileState{status.st_ino, time_of(status.st_birthtimespec), time_of(status.st_ctimespec),
                     time_of(status.st_mtimespec), status.st_size};
#else
    return FileState{status.st_ino, 0, time_of(status.st_ctim), time_of(status.st_mtim),
                     status.st_size};
#endif
#endif
}

} // namespace

std::optional<FileState> look_at(char const * path) noexcept {
    if (*path == '\0') return {};
    return state_of(AT_FDCWD, path);
}

std::optional<FileState> File::state() const noexcept { return state_of(descriptor_, ""); }

// ---- Open files ----

File::File(File && other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      is_locked_(std::exchange(other.is_locked_, false)) {}

File & File::operator=(File && other) noexcept {
    if (this == &other) return *this;
    close();
    descriptor_ = std::exchange(other.descriptor_, -1);
    is_locked_ = std::exchange(other.is_locked_, false);
    return *this;
}

File::~File() { close(); }

File File::create(char const * path) noexcept {
    if (is_refused("create")) return {};
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    return File(uninterrupted([=] { return ::open(path, flags, mode_t{S_IRUSR | S_IWUSR}); }));
}

Opened File::open(char const * path, File & file) noexcept {
    file.close();
    if (is_refused("open")) return Opened::failed;
    // Without O_NONBLOCK a pipe of that name would stop the process until somebody writes to it.
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    File opened(uninterrupted([=] { return ::open(path, flags); }));
    if (!opened) {
        if (errno == ENOENT) return Opened::missing;
        // ELOOP: a link. EMLINK: the same on some systems. ENXIO: a socket.
        bool const is_special = errno == ELOOP || errno == EMLINK || errno == ENXIO;
        return is_special ? Opened::not_plain : Opened::failed;
    }
    struct stat status {};
    if (::fstat(opened.descriptor_, &status) != 0) return Opened::failed;
    if (!S_ISREG(status.st_mode)) return Opened::not_plain;
    file = std::move(opened);
    return Opened::yes;
}

bool File::write(std::string_view text) noexcept {
    while (!text.empty()) {
        if (is_refused("write")) return false;
        ssize_t const count =
            uninterrupted([&] { return ::write(descriptor_, text.data(), text.size()); });
        if (count < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

long long File::read(char * buffer, std::size_t size) noexcept {
    if (is_refused("read")) return -1;
    return uninterrupted([=, this] { return ::read(descriptor_, buffer, size); });
}

bool File::sync() noexcept { return !is_refused("sync") && sync_descriptor(descriptor_); }

void File::set_mark(long mark) noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::array<timespec, 2> const times{now, {now.tv_sec, mark}};
    ::futimens(descriptor_, times.data());
}

Wait File::lock() noexcept {
    if (is_refused("lock")) return Wait::failed;
    if (uninterrupted([this] { return ::flock(descriptor_, LOCK_EX | LOCK_NB); }) == 0) {
        is_locked_ = true;
        return Wait::held;
    }
    return errno == EWOULDBLOCK ? Wait::timed_out : Wait::failed;
}

void File::close() noexcept {
    if (descriptor_ < 0) return;
    int const error = errno;
    if (is_locked_) ::flock(descriptor_, LOCK_UN); // a child may have the same open file
    ::close(descriptor_);
    descriptor_ = -1;
    is_locked_ = false;
    errno = error;
}

// ---- Names ----

bool exists(char const * path) noexcept {
    struct stat status {};
    return ::lstat(path, &status) == 0;
}

bool rename(char const * from, char const * to) noexcept {
    return !is_refused("rename") && std::rename(from, to) == 0;
}

bool remove(char const * path) noexcept {
    return !is_refused("remove") && (::unlink(path) == 0 || errno == ENOENT);
}

bool sync_directory_of(char const * path) {
    if (is_refused("sync_directory")) return false;
    std::string const directory = directory_to_open(path);
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    int const descriptor = uninterrupted([&] { return ::open(directory.c_str(), flags); });
    if (descriptor < 0) return false;
    bool const is_synced = sync_descriptor(descriptor);
    int const error = errno;
    ::close(descriptor);
    errno = error;
    return is_synced;
}

bool list(std::string const & prefix, std::vector<std::string> & names) {
    if (is_refused("list")) return false;
    struct Close {
        void operator()(DIR * directory) const { ::closedir(directory); }
    };
    std::unique_ptr<DIR, Close> const directory(::opendir(directory_to_open(prefix).c_str()));
    if (!directory) return false;
    std::string_view const start = std::string_view(prefix).substr(directory_part(prefix).size());
    for (;;) {
        errno = 0; // the only way to tell the end from a failure
        dirent const * const entry = ::readdir(directory.get());
        if (entry == nullptr) return errno == 0;
        std::string_view const name = entry->d_name;
        if (name.substr(0, start.size()) == start) names.emplace_back(name.substr(start.size()));
    }
}

} // namespace vellum::platform
