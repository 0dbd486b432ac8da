// mime/foundation/word_hash.hpp - the hashes of a word
//
// `front_hash` is taken from a few bytes: it only serves to find or to miss a word soon.
// `bucket` is plain, and the same in every process. `order` is SipHash-1-3 under a key that each
// process draws for itself: a sender who picks the words of a message can't foresee it, and so
// can't pick words that would make a tree which is ordered by it degenerate.
//
// All ignore the case of ASCII letters, and words that are equal without regard to case have equal
// hashes. Nothing else may be concluded from equal hashes.
#pragma once

#include "mime/foundation/ascii.hpp"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vellum {

struct WordHash {
    std::uint32_t bucket; // 0 to 31
    std::uint64_t order;
};

struct HashKey {
    std::uint64_t low;
    std::uint64_t high;
};

/// The key of this process, drawn on the first call.
HashKey const & process_hash_key();

/// SipHash with one round for each block of eight bytes and three at the end.
class SipHash {
public:
    explicit SipHash(HashKey const & key)
        : v0_(key.low ^ 0x736f6d6570736575U), v1_(key.high ^ 0x646f72616e646f6dU),
          v2_(key.low ^ 0x6c7967656e657261U), v3_(key.high ^ 0x7465646279746573U) {}

    void add(std::uint64_t block) {
        v3_ ^= block;
        round();
        v0_ ^= block;
    }

    std::uint64_t finish(std::uint64_t last_block) {
        add(last_block);
        v2_ ^= 0xff;
        round();
        round();
        round();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

private:
    void round() {
        v0_ += v1_;
        v1_ = std::rotl(v1_, 13) ^ v0_;
        v0_ = std::rotl(v0_, 32);
        v2_ += v3_;
        v3_ = std::rotl(v3_, 16) ^ v2_;
        v0_ += v3_;
        v3_ = std::rotl(v3_, 21) ^ v0_;
        v2_ += v1_;
        v1_ = std::rotl(v1_, 17) ^ v2_;
        v2_ = std::rotl(v2_, 32);
    }

    std::uint64_t v0_, v1_, v2_, v3_;
};

/// The bucket and the order of `word`.
inline WordHash hash_word(std::string_view word, HashKey const & key) {
    SipHash order(key);
    std::uint64_t block = 0;
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < word.size(); ++i) {
        // The mask folds the case of letters (and some other pairs, which `order` keeps apart).
        sum += (ascii::byte(word[i]) & 0xDFU) + 40U;
        block |= std::uint64_t{ascii::byte(ascii::to_lower(word[i]))} << (i % 8 * 8);
        if (i % 8 == 7) {
            order.add(block);
            block = 0;
        }
    }
    std::uint32_t const bucket = (sum + (sum >> 2)) & 31U;
    return {bucket, order.finish(block | std::uint64_t{word.size()} << 56)};
}

/// The number of different values of front_hash.
inline constexpr std::size_t front_hashes = 512;

/// Chosen so that the words of the protocol, and the names of fields that mail has beside them,
/// hardly ever meet.
constexpr std::size_t front_hash(std::string_view word) {
    if (word.empty()) return 0;
    auto const folded = [](char c) { return std::size_t{ascii::byte(c)} & 0xDFU; };
    std::size_t const letters =
        (folded(word.back()) * 5 + folded(word[word.size() / 2])) * 5 + folded(word.front());
    return (letters * 5 + word.size()) % front_hashes;
}

} // namespace vellum
