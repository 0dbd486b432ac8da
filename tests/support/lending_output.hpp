// tests/support/lending_output.hpp - an output stream whose room comes in blocks of a given size
#pragma once

#include "mime/foundation/simple_stream.hpp"
#include "tests/support/chunked.hpp"

#include <cstddef>
#include <limits>
#include <string>

namespace vellum::test {

/// Writes into heap blocks of exactly `block_size` bytes, each new at a call of `Overflow`, which
/// frees the one before: AddressSanitizer reports a byte too many and any use of an old block.
/// After `most_blocks` blocks it has no room to give any more.
class LendingOutput : public oSimpleStream {
public:
    explicit LendingOutput(std::size_t block_size,
                           std::size_t most_blocks = std::numeric_limits<std::size_t>::max())
        : block_size_(block_size), blocks_left_(most_blocks) {}

    void Overflow(unsigned int) override {
        collected_.append(str(), pending());
        flushed_ += static_cast<long long>(pending());
        bool const can_lend = blocks_left_ > 0;
        if (can_lend) --blocks_left_;
        block_ = ExactCopy(std::string(can_lend ? block_size_ : 0, '?'));
        base_ = put_ = can_lend ? reinterpret_cast<unsigned char *>(block_.begin()) : nullptr;
        end_ = can_lend ? base_ + block_size_ : nullptr;
    }

    /// All that was written so far.
    std::string text() const { return collected_ + std::string(str(), pending()); }

private:
    std::size_t block_size_;
    std::size_t blocks_left_;
    std::string collected_;
    ExactCopy block_;
};

} // namespace vellum::test
