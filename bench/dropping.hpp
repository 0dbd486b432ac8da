// bench/dropping.hpp - where output goes that nobody wants
#pragma once

#include <streambuf>

namespace bench {

class DroppingBuffer : public std::streambuf {
protected:
    int overflow(int c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(char const *, std::streamsize size) override { return size; }
};

} // namespace bench
