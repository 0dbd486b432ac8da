// examples/support/held_bytes.cpp - bytes that wait for a decision, in memory or in a file
#include "examples/support/held_bytes.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace examples {

namespace {

constexpr std::size_t most_in_memory = std::size_t{1} << 18;

/// The standard library's place in a file is a `long`.
bool seek(std::FILE * file, long long place) {
    return std::fseek(file, static_cast<long>(place), SEEK_SET) == 0;
}

} // namespace

void HeldBytes::Append(std::string_view bytes) {
    bool const fits = memory_.size() - memory_begin_ + bytes.size() <= most_in_memory;
    if (file_size() > 0 || !fits) return WriteFile(bytes);
    memory_.erase(0, memory_begin_);
    memory_begin_ = 0;
    memory_ += bytes;
}

void HeldBytes::Remove(long long count, std::ostream * out) {
    long long const from_memory = std::min(count, memory_size());
    RemoveFromMemory(static_cast<std::size_t>(from_memory), out);
    RemoveFromFile(count - from_memory, out);
    bool const comes_back = memory_size() == 0 && file_size() > 0 &&
                            file_size() <= static_cast<long long>(most_in_memory / 2);
    if (!comes_back) return;
    memory_.resize(static_cast<std::size_t>(file_size())); // so that the file begins anew
    memory_begin_ = 0;
    ReadFile(memory_.data(), memory_.size());
}

void HeldBytes::RemoveFromMemory(std::size_t count, std::ostream * out) {
    if (out != nullptr) {
        out->write(memory_.data() + memory_begin_, static_cast<std::streamsize>(count));
    }
    memory_begin_ += count;
}

void HeldBytes::RemoveFromFile(long long count, std::ostream * out) {
    if (out == nullptr) {
        file_begin_ += count;
        return;
    }
    std::array<char, std::size_t{1} << 15> block;
    while (count > 0) {
        auto const size = static_cast<std::size_t>(std::min<long long>(count, block.size()));
        ReadFile(block.data(), size);
        out->write(block.data(), static_cast<std::streamsize>(size));
        count -= static_cast<long long>(size);
    }
}

void HeldBytes::WriteFile(std::string_view bytes) {
    if (!file_) file_.reset(std::tmpfile());
    if (!file_) throw std::runtime_error("no temporary file can be made");
    if (file_size() == 0) file_begin_ = file_end_ = 0;
    if (!seek(file_.get(), file_end_) ||
        std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
        throw std::runtime_error("the temporary file can't be written");
    }
    file_end_ += static_cast<long long>(bytes.size());
}

/// The seek writes what the file has still to get, and tells if that fails.
void HeldBytes::ReadFile(char * to, std::size_t count) {
    if (!seek(file_.get(), file_begin_) || std::fread(to, 1, count, file_.get()) != count) {
        throw std::runtime_error("the temporary file can't be read again");
    }
    file_begin_ += static_cast<long long>(count);
}

} // namespace examples
