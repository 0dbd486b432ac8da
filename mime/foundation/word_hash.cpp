// mime/foundation/word_hash.cpp - the key of the word hashes of this process
#include "mime/foundation/word_hash.hpp"

#include <chrono>
#include <exception>
#include <random>

namespace vellum {

namespace {

std::uint64_t random_word() noexcept {
    try {
        std::random_device source;
        return std::uint64_t{source()} << 32 | source();
    } catch (std::exception const &) {
        return 0; // no source of randomness: the clock and the address below have to do
    }
}

HashKey draw_key() noexcept {
    static char const anywhere = 0;
    auto const now = std::chrono::steady_clock::now().time_since_epoch().count();
    return {random_word() ^ static_cast<std::uint64_t>(now),
            random_word() ^ reinterpret_cast<std::uintptr_t>(&anywhere)};
}

} // namespace

HashKey const & process_hash_key() {
    static HashKey const key = draw_key();
    return key;
}

} // namespace vellum
