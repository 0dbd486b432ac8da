// examples/support/named_file.hpp - a file whose failures tell its name
#pragma once

#include <filesystem>
#include <fstream>
#include <istream>
#include <stdexcept>
#include <string>
#include <utility>

namespace examples {

/// Reads a file. A failure is an exception with the file's name and the reason, out of the stream's
/// buffer, which the engine reads: a file that breaks off must not look like a short one.
class NamedFile : public std::istream {
public:
    /// Throws if `name` can't be opened, and for pipes: programs read their files more than once.
    explicit NamedFile(std::string const & name) : std::istream(&buffer_), buffer_(name) {
        exceptions(badbit);
    }

private:
    class Buffer : public std::filebuf {
    public:
        explicit Buffer(std::string name) : name_(std::move(name)) {
            auto const status = std::filesystem::status(name_);
            if (is_fifo(status) || is_socket(status)) Fail("is a pipe, and is read twice");
            if (is_directory(status) || open(name_, std::ios::in | std::ios::binary) == nullptr) {
                Fail("can't be read");
            }
        }

    private:
        [[noreturn]] void Fail(std::string const & reason) const {
            throw std::runtime_error(name_ + ": " + reason);
        }
        template <class Read>
        auto Checked(Read read) const {
            try {
                return read();
            } catch (std::ios_base::failure const & error) {
                Fail(error.code().message());
            }
        }
        int_type underflow() override {
            return Checked([this] { return std::filebuf::underflow(); });
        }
        std::streamsize xsgetn(char * to, std::streamsize size) override {
            return Checked([this, to, size] { return std::filebuf::xsgetn(to, size); });
        }
        std::string name_;
    };

    Buffer buffer_;
};

} // namespace examples
