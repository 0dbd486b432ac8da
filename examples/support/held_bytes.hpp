// examples/support/held_bytes.hpp - bytes that wait for a decision, in memory or in a file
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace examples {

/// A queue of bytes. It takes no more than about a quarter of a megabyte of memory: what is beyond
/// that waits in a file without a name, which the system removes with the process. It throws
/// std::runtime_error where the file can't be made, written or read.
class HeldBytes {
public:
    long long size() const { return memory_size() + file_size(); }

    void Append(std::string_view bytes);
    /// The first `count` bytes, of which there are that many, go to `out`, or nowhere if it is
    /// null.
    void Remove(long long count, std::ostream * out);

private:
    struct Close {
        void operator()(std::FILE * file) const { std::fclose(file); }
    };

    long long memory_size() const { return static_cast<long long>(memory_.size() - memory_begin_); }
    long long file_size() const { return file_end_ - file_begin_; }
    void RemoveFromMemory(std::size_t count, std::ostream * out);
    void RemoveFromFile(long long count, std::ostream * out);
    void WriteFile(std::string_view bytes);
    void ReadFile(char * to, std::size_t count);

    std::string memory_; ///< The front of the queue, from `memory_begin_` on.
    std::size_t memory_begin_ = 0;
    std::unique_ptr<std::FILE, Close> file_; ///< What comes behind it.
    long long file_begin_ = 0;
    long long file_end_ = 0;
};

} // namespace examples
