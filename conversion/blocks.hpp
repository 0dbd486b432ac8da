// conversion/blocks.hpp - the memory that the component and the engine hand to each other
//
// A text on its way to a UTF-8 machine is read into UTF-8 and then asked for in UTF-8 once more.
// The second time a large one isn't copied: the block is given out again, and freed when it has
// been released as often.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace vellum::conversion {

class Blocks {
public:
    /// Those of this process.
    static Blocks & of_process();

    /// Null if there is no memory.
    unsigned char * allocate(std::size_t size) noexcept;
    void release(unsigned char * block) noexcept;

    /// `text` is all that `block`, one of these, holds of UTF-8, and was found to be valid.
    void set_valid_text(unsigned char const * block, std::size_t size) noexcept;

    /// One more release is needed of the block that holds `text`, if it is a text of
    /// set_valid_text() with a terminator behind it: then the result is true.
    bool share_valid_text(std::string_view text) noexcept;

private:
    struct Large {
        std::size_t valid_size = 0; // 0 for no text
        unsigned releases_needed = 1;
    };

    std::mutex mutex_;
    std::unordered_map<void const *, Large> large_;
    std::atomic<std::size_t> large_count_{0}; // with none there is nothing to look for
};

} // namespace vellum::conversion
