// examples/support/crlf_stream.hpp - a file's text with CR LF at the end of each line
#pragma once

#include <array>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <utility>

namespace examples {

/// Text and messages have CR LF in mail, and files of this system a bare LF. A CR LF stays one.
class CrlfStream : public std::istream {
public:
    explicit CrlfStream(std::unique_ptr<std::istream> file)
        : std::istream(&buffer_), buffer_(std::move(file)) {}

private:
    class Filter : public std::streambuf {
    public:
        explicit Filter(std::unique_ptr<std::istream> file) : file_(std::move(file)) {}

    protected:
        int_type underflow() override {
            // Not istream::read, which keeps what the file's buffer throws.
            auto const size = file_->rdbuf()->sgetn(block_.data(), block_.size());
            lines_.clear();
            for (char const * c = block_.data(); c != block_.data() + size; ++c) {
                if (*c == '\n' && last_ != '\r') lines_ += '\r';
                lines_ += last_ = *c;
            }
            setg(lines_.data(), lines_.data(), lines_.data() + lines_.size());
            return lines_.empty() ? traits_type::eof() : traits_type::to_int_type(lines_[0]);
        }

    private:
        std::unique_ptr<std::istream> file_;
        std::array<char, 4096> block_;
        std::string lines_;
        char last_ = '\0';
    };

    Filter buffer_;
};

} // namespace examples
