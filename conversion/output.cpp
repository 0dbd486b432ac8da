// conversion/output.cpp - where a translation writes: the engine's buffer, or a larger one of its
// own
#include "conversion/output.hpp"

#include <algorithm>
#include <cstring>

namespace vellum::conversion {

void Output::append(std::string_view bytes) {
    if (bytes.empty()) return;
    reserve(bytes.size());
    std::memcpy(put_, bytes.data(), bytes.size());
    put_ += bytes.size();
}

void Output::grow(std::size_t size) {
    std::size_t const used = this->size();
    std::size_t const least = used + size;
    if (least < used) throw std::bad_alloc();
    std::size_t const capacity = std::max({least, used + used / 2, std::size_t{256}});
    Block block(Blocks::of_process().allocate(capacity));
    if (!block) throw std::bad_alloc();
    if (used != 0) std::memcpy(block.get(), begin_, used);
    block_ = std::move(block);
    begin_ = block_.get();
    put_ = begin_ + used;
    end_ = begin_ + capacity;
}

} // namespace vellum::conversion
