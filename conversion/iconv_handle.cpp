// conversion/iconv_handle.cpp - one direction of the C library's iconv
#include "conversion/iconv_handle.hpp"

#include <cerrno>
#include <mutex>

namespace vellum::conversion {

namespace {

constexpr std::size_t failure = static_cast<std::size_t>(-1);

/// What iconv may need for the next character, with escape sequences around it.
constexpr std::size_t least_room = 32;

/// The C library loads and unloads the code of a set, under a lock of its own that ThreadSanitizer
/// doesn't see; this one it does.
constinit std::mutex loading_mutex;

} // namespace

std::optional<IconvHandle> IconvHandle::open(char const * to, char const * from) {
    std::lock_guard const lock(loading_mutex);
    ::iconv_t const handle = ::iconv_open(to, from);
    if (handle == none()) return std::nullopt;
    return IconvHandle(handle);
}

IconvHandle::~IconvHandle() {
    if (handle_ == none()) return;
    std::lock_guard const lock(loading_mutex);
    ::iconv_close(handle_);
}

void IconvHandle::reset() { ::iconv(handle_, nullptr, nullptr, nullptr, nullptr); }

bool IconvHandle::convert(std::string_view & in, Output & out) {
    while (!in.empty()) {
        out.reserve(in.size() + least_room);
        char * from = const_cast<char *>(in.data());
        std::size_t from_left = in.size();
        char * to = reinterpret_cast<char *>(out.put());
        std::size_t to_left = out.room();
        std::size_t const result = ::iconv(handle_, &from, &from_left, &to, &to_left);
        bool const full = result == failure && errno == E2BIG;
        bool const moved = from_left != in.size() || to_left != out.room();
        out.set_put(reinterpret_cast<unsigned char *>(to));
        in.remove_prefix(in.size() - from_left);
        if (result == failure && !full) return false;
        if (!moved) { // neither takes nor gives anything, nor says why
            if (!full) return in.empty();
            out.reserve(out.room() + in.size() + least_room);
        }
    }
    return true;
}

void IconvHandle::finish(Output & out) {
    out.reserve(least_room);
    char * to = reinterpret_cast<char *>(out.put());
    std::size_t to_left = out.room();
    ::iconv(handle_, nullptr, nullptr, &to, &to_left);
    out.set_put(reinterpret_cast<unsigned char *>(to));
}

bool IconvHandle::convert_whole(std::string_view in, Output & out) {
    std::size_t const size_before = out.size();
    reset();
    bool const whole = convert(in, out);
    finish(out);
    if (!whole) out.truncate(size_before);
    return whole;
}

} // namespace vellum::conversion
