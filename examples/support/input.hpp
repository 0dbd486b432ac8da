// examples/support/input.hpp - the message that a command line names
#pragma once

#include <array>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

namespace examples {

/// A file, or standard input for "-". The engine reads straight from the stream's buffer: a large
/// one makes few calls of the system.
class Input {
public:
    explicit Input(std::string const & name) : is_standard_(name == "-") {
        if (is_standard_) return;
        file_.rdbuf()->pubsetbuf(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        file_.open(name, std::ios::binary);
    }

    bool is_open() const { return is_standard_ || file_.is_open(); }
    /// False for a directory, for one, which can be opened like a file.
    bool is_readable() {
        stream().peek();
        bool const is_good = !stream().bad();
        stream().clear();
        return is_good;
    }
    std::istream & stream() { return is_standard_ ? std::cin : file_; }

private:
    bool is_standard_;
    std::array<char, std::size_t{1} << 16> buffer_; // outlives the file
    std::ifstream file_;
};

/// Calls `read(stream)`. False, with a line on standard error, if the input can't be opened or
/// read.
template <typename Read>
bool read_input(std::string const & program, std::string const & name, Read read) {
    auto const complain = [&](char const * reason) {
        std::cerr << program << ": " << name << ": " << reason << '\n';
        return false;
    };
    try {
        Input input(name);
        if (!input.is_open()) return complain("can't be opened");
        if (!input.is_readable()) return complain("can't be read");
        read(input.stream());
        return true;
    } catch (std::exception const & error) { // what a stream throws passes through the engine
        return complain(error.what());
    }
}

} // namespace examples
