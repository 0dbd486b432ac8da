// conversion/iconv_handle.hpp - one direction of the C library's iconv
#pragma once

#include "conversion/output.hpp"

#include <iconv.h>
#include <optional>
#include <string_view>
#include <utility>

namespace vellum::conversion {

class IconvHandle {
public:
    /// None if the C library doesn't know the pair. The names are constants of this component,
    /// never a word of a message: iconv reads options, and on some systems paths, out of them.
    static std::optional<IconvHandle> open(char const * to, char const * from);

    IconvHandle(IconvHandle && other) noexcept : handle_(std::exchange(other.handle_, none())) {}
    IconvHandle & operator=(IconvHandle && other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~IconvHandle();

    /// Back to the initial shift state, for a new text.
    void reset();

    /// Converts from the front of `in`, which loses what was converted, to the end of `out`. False
    /// if it stopped at a character that is bad, cut off or unknown in the target.
    bool convert(std::string_view & in, Output & out);

    /// Ends the text: writes what iconv has kept, and the way back to the initial shift state.
    void finish(Output & out);

    /// Puts all of `in`, a text of its own, to the end of `out`. False, and nothing written, if
    /// that can't be.
    bool convert_whole(std::string_view in, Output & out);

private:
    static ::iconv_t none() { return reinterpret_cast<::iconv_t>(-1); }
    explicit IconvHandle(::iconv_t handle) : handle_(handle) {}

    ::iconv_t handle_;
};

} // namespace vellum::conversion
