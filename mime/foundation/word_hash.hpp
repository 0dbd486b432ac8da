// mime/foundation/word_hash.hpp - the two hashes of a word, taken in one pass over its bytes
//
// `bucket` is plain and the same in every process. `order` is SipHash-1-3 under a key that each
// process draws for itself: a sender who picks the words of a message can't foresee it, and so
// can't pick words that would make a tree which is ordered by it degenerate.
//
// Both ignore the case of ASCII letters, and words that are equal without regard to case have equal
// hashes. Nothing else may be concluded from equal hashes.
#pragma once

#include "mime/foundation/ascii.hpp"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace vellum {

struct WordHash {
    std::size_t length;   // of the word, in bytes
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

/// The hashes of the NUL-terminated `text`, which isn't null.
inline WordHash hash_word(char const * text, HashKey const & key) {
    SipHash order(key);
    std::uint64_t block = 0;
    std::uint32_t sum = 0;
    std::size_t length = 0;
    for (; text[length] != '\0'; ++length) {
        char const c = text[length];
        // The mask folds the case of letters (and some other pairs, which `order` keeps apart).
        sum += (ascii::byte(c) & 0xDFU) + 40U;
        block |= std::uint64_t{ascii::byte(ascii::to_lower(c))} << (length % 8 * 8);
        if (length % 8 == 7) {
            order.add(block);
            block = 0;
        }
    }
    std::uint32_t const bucket = (sum + (sum >> 2)) & 31U;
    return {length, bucket, order.finish(block | std::uint64_t{length} << 56)};
}

} // namespace vellum
