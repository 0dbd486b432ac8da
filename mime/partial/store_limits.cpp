// mime/partial/store_limits.cpp - the oldest incomplete sets make room
//
// Age:        the index has the newest message first, by the arrival of its first fragment. Only
//             the limit of seconds asks the files, as a set that still grows isn't old.
// Cost:       in time what a look at each incomplete set costs, where there are limits.
#include "mime/partial/open_store.hpp"

#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"

#include <algorithm>
#include <limits>

namespace vellum {

/// Takes out of the index what is beyond the limits, and returns its files. The set at `newest` is
/// the last to go, and goes only if it is too large for itself.
std::vector<FileList> OpenStore::Drop_oldest(std::size_t newest, StoreLimits const & limits) {
    constexpr std::int64_t nanoseconds = 1'000'000;
    std::int64_t const since = (platform::now() - limits.seconds * 1000) * nanoseconds;
    long long messages = 0;
    long long bytes = 0;
    bool is_full = false;
    auto const is_beyond = [&](std::size_t place, MsgList const & message) {
        if (is_full) return true;
        // What goes for its age takes no other's place.
        bool const can_be_old = limits.seconds > 0 && place != newest;
        if (can_be_old && !Has_come_since(message, since)) return true;
        ++messages;
        if (limits.bytes > 0) bytes += Size_of(message);
        is_full = (limits.messages > 0 && messages > limits.messages) ||
                  (limits.bytes > 0 && bytes > limits.bytes);
        return is_full;
    };
    std::vector<std::size_t> dropped;
    auto const look_at = [&](std::size_t place) {
        if (Is_waiting(place) && is_beyond(place, index().message(place))) dropped.push_back(place);
    };
    look_at(newest);
    if (is_full) { // and goes; the others may still have room
        is_full = false;
        bytes = 0;
        messages = 0;
    }
    for (std::size_t place = 0; place < index().rows().size(); ++place)
        if (place != newest) look_at(place);

    std::sort(dropped.begin(), dropped.end());
    std::vector<FileList> files;
    for (std::size_t const place : dropped) {
        MsgList const message = index().message(place);
        trace({trace_warning, "mime/partial/store_limits", __LINE__},
              "Incomplete message %d of %s is removed", message.number, prefix_.c_str());
        for (int const part : message.parts)
            files.push_back({Make_FileName(fragment_key(message.number, part)), part});
    }
    index().remove(dropped);
    return files;
}

/// Whether the message waits for further fragments.
bool OpenStore::Is_waiting(std::size_t place) const {
    return !index().rows()[place].may_be_complete() ||
           !Is_whole(index().message(place)).value_or(true);
}

long long OpenStore::Size_of(MsgList const & message) const {
    long long size = 0;
    for (int const part : message.parts) {
        auto const state =
            platform::look_at(Make_FileName(fragment_key(message.number, part)).c_str());
        if (state) size += state->size;
    }
    return size;
}

/// Whether a fragment of the message has come since that moment, in nanoseconds; or may have, as
/// its file can't be looked at now.
bool OpenStore::Has_come_since(MsgList const & message, std::int64_t moment) const {
    return std::any_of(message.parts.begin(), message.parts.end(), [&](int part) {
        auto const state =
            platform::look_at(Make_FileName(fragment_key(message.number, part)).c_str());
        if (state) return state->modified >= moment;
        return platform::failure_of(platform::last_error()) != platform::Failure::absent;
    });
}

} // namespace vellum
