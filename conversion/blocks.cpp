// conversion/blocks.cpp - the memory that the component and the engine hand to each other
#include "conversion/blocks.hpp"

#include <cstdlib>
#include <exception>

namespace vellum::conversion {

namespace {

/// Below these a copy costs less than to remember the block. The engine asks for 16 bytes for each
/// byte of text.
constexpr std::size_t large_text = 4096;
constexpr std::size_t large_size = 16 * large_text;

} // namespace

Blocks & Blocks::of_process() {
    static Blocks & blocks = *new Blocks; // outlives the translators of static objects
    return blocks;
}

unsigned char * Blocks::allocate(std::size_t size) noexcept {
    auto * const block = static_cast<unsigned char *>(std::malloc(size));
    if (block == nullptr || size < large_size) return block;
    try {
        std::lock_guard const lock(mutex_);
        large_[block] = Large();
        large_count_ = large_.size();
    } catch (std::exception const &) { // then it isn't shared
    }
    return block;
}

void Blocks::release(unsigned char * block) noexcept {
    if (large_count_ != 0) {
        std::lock_guard const lock(mutex_);
        auto const place = large_.find(block);
        if (place != large_.end()) {
            if (--place->second.releases_needed != 0) return;
            large_.erase(place);
            large_count_ = large_.size();
        }
    }
    std::free(block);
}

void Blocks::set_valid_text(unsigned char const * block, std::size_t size) noexcept {
    if (block == nullptr || large_count_ == 0) return;
    std::lock_guard const lock(mutex_);
    auto const place = large_.find(block);
    if (place != large_.end()) place->second.valid_size = size;
}

bool Blocks::share_valid_text(std::string_view text) noexcept {
    if (text.size() < large_text) return false;
    std::lock_guard const lock(mutex_);
    auto const place = large_.find(text.data());
    if (place == large_.end() || place->second.valid_size != text.size()) return false;
    ++place->second.releases_needed;
    return true;
}

} // namespace vellum::conversion
