// examples/support/spool.cpp - bodies in a temporary file, between the note that reads and the one
// that writes
#include "examples/support/spool.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <streambuf>
#include <utility>

namespace examples {

class Spool::Appender : public std::streambuf {
public:
    explicit Appender(std::FILE * file) : file_(file) {}
    long size() const { return size_; }
    bool has_eight_bit = false;
    bool has_nul = false;
    /// Somebody has read: the next text has to look for the end again.
    void LoseEnd() { is_at_end_ = false; }

protected:
    std::streamsize xsputn(char const * text, std::streamsize size) override {
        if (!is_at_end_) std::fseek(file_, 0, SEEK_END); // costs a call of the system
        is_at_end_ = true;
        auto const count = static_cast<std::size_t>(size);
        if (std::fwrite(text, 1, count, file_) != count) {
            throw std::runtime_error("the temporary file can't be written");
        }
        size_ += static_cast<long>(size);
        has_eight_bit = has_eight_bit || std::any_of(text, text + count, [](char c) {
                            return static_cast<unsigned char>(c) >= 0x80;
                        });
        has_nul = has_nul || std::find(text, text + count, '\0') != text + count;
        return size;
    }
    int_type overflow(int_type byte) override {
        char const c = traits_type::to_char_type(byte);
        return xsputn(&c, 1) == 1 ? byte : traits_type::eof();
    }

private:
    std::FILE * file_;
    long size_ = 0;
    bool is_at_end_ = true;
};

class Spool::Range : public std::streambuf {
public:
    Range(std::shared_ptr<Spool> spool, long begin, long end)
        : spool_(std::move(spool)), at_(begin), end_(end) {}

protected:
    int_type underflow() override {
        std::size_t const size = std::min(block_.size(), static_cast<std::size_t>(end_ - at_));
        if (size == 0) return traits_type::eof();
        spool_->appender_->LoseEnd();
        bool const is_there = std::fseek(spool_->file_.get(), at_, SEEK_SET) == 0;
        std::size_t const read =
            is_there ? std::fread(block_.data(), 1, size, spool_->file_.get()) : 0;
        if (read == 0) throw std::runtime_error("the temporary file can't be read");
        at_ += static_cast<long>(read);
        setg(block_.data(), block_.data(), block_.data() + read);
        return traits_type::to_int_type(*gptr());
    }

private:
    std::shared_ptr<Spool> spool_;
    long at_;
    long end_;
    std::array<char, std::size_t{1} << 16> block_;
};

namespace {

/// A stream together with its buffer.
class OwningStream : public std::istream {
public:
    explicit OwningStream(std::unique_ptr<std::streambuf> buffer)
        : std::istream(buffer.get()), buffer_(std::move(buffer)) {}

private:
    std::unique_ptr<std::streambuf> buffer_;
};

} // namespace

Spool::Spool() : file_(std::tmpfile()) {
    if (!file_) throw std::runtime_error("no temporary file can be made");
    appender_ = std::make_unique<Appender>(file_.get());
    out_ = std::make_unique<std::ostream>(appender_.get());
    out_->exceptions(std::ios_base::badbit); // a full disk must not look like a short body
}

Spool::~Spool() = default;

long Spool::size() const { return appender_->size(); }

long Spool::StartBody() {
    appender_->has_eight_bit = appender_->has_nul = false;
    return size();
}

bool Spool::has_eight_bit() const { return appender_->has_eight_bit; }

bool Spool::has_nul() const { return appender_->has_nul; }

std::unique_ptr<std::istream> Spool::Open(std::shared_ptr<Spool> spool, long begin, long end) {
    return std::make_unique<OwningStream>(std::make_unique<Range>(std::move(spool), begin, end));
}

} // namespace examples
