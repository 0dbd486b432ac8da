// examples/support/spool.hpp - bodies in a temporary file, between the note that reads and the one
// that writes
#pragma once

#include <cstdio>
#include <istream>
#include <memory>
#include <ostream>

namespace examples {

/// A file without a name, which the system removes with the last reference to it. Text is appended
/// through one stream, and any range of it can be read through others.
class Spool {
public:
    Spool();
    ~Spool();
    Spool(Spool const &) = delete;
    Spool & operator=(Spool const &) = delete;

    std::ostream & out() { return *out_; }
    long size() const;

    /// A body begins here. Gives its place.
    long StartBody();
    /// Whether not all of the latest body is ASCII.
    bool has_eight_bit() const;
    /// Whether there is a NUL in it, as in any text of 16 or 32 bits a character.
    bool has_nul() const;

    /// A stream over [begin, end). It holds a reference to the spool.
    static std::unique_ptr<std::istream> Open(std::shared_ptr<Spool> spool, long begin, long end);

private:
    class Appender;
    class Range;
    struct Close {
        void operator()(std::FILE * file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Close> file_;
    std::unique_ptr<Appender> appender_;
    std::unique_ptr<std::ostream> out_;
};

} // namespace examples
