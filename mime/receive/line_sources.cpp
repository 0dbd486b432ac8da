// mime/receive/line_sources.cpp - binds the line reader to the three kinds of input
#include "mime/receive/line_reader.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/lite_stream.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/receive/limits.hpp"

#include <algorithm>
#include <istream>
#include <limits>
#include <new>
#include <streambuf>

namespace {

/// The get area of any streambuf, to which only a class derived from it has access.
class GetArea : public std::streambuf {
public:
    static std::string_view of(std::streambuf & buffer) {
        char const * const first = (buffer.*&GetArea::gptr)();
        char const * const last = (buffer.*&GetArea::egptr)();
        return {first, static_cast<std::size_t>(last - first)};
    }
    static void advance(std::streambuf & buffer, std::size_t count) {
        (buffer.*&GetArea::gbump)(static_cast<int>(count));
    }
};

constexpr std::size_t largest_step = std::numeric_limits<int>::max();

} // namespace

// istream ------------------------------------------------------------------------

MimeLine_via_istream::MimeLine_via_istream(std::istream * in, char ** begin, char ** end,
                                           MimeReceiver * owner, unsigned int size)
    : MimeLine(begin, end, owner, size), in_(in) {}

MimeLine_via_istream::~MimeLine_via_istream() = default;

std::string_view MimeLine_via_istream::Window() {
    std::streambuf * const buffer = in_->rdbuf();
    if (!in_->good() || buffer == nullptr) return {};
    is_unbuffered_ = false;
    std::string_view area = GetArea::of(*buffer);
    if (area.empty()) {
        int const c = buffer->sgetc();
        if (c == std::streambuf::traits_type::eof()) {
            in_->setstate(std::ios_base::eofbit);
            return {};
        }
        area = GetArea::of(*buffer);
        if (area.empty()) { // a buffer that gives its bytes one by one
            single_ = std::streambuf::traits_type::to_char_type(c);
            is_unbuffered_ = true;
            return {&single_, 1};
        }
    }
    return area.substr(0, largest_step);
}

void MimeLine_via_istream::Take(std::size_t count) {
    if (is_unbuffered_) {
        in_->rdbuf()->sbumpc();
    } else {
        GetArea::advance(*in_->rdbuf(), count);
    }
}

// iSimpleStream --------------------------------------------------------------------

MimeLine_via_iSimpleStream::MimeLine_via_iSimpleStream(iSimpleStream * in, char ** begin,
                                                       char ** end, MimeReceiver * owner,
                                                       unsigned int size)
    : MimeLine(begin, end, owner, size), in_(in) {}

MimeLine_via_iSimpleStream::~MimeLine_via_iSimpleStream() = default;

std::string_view MimeLine_via_iSimpleStream::Window() {
    if (in_->iBufCnt() == 0 && in_->peek() == -1) return {};
    return {reinterpret_cast<char const *>(in_->iGetPtr(0)), in_->iBufCnt()};
}

void MimeLine_via_iSimpleStream::Take(std::size_t count) { in_->iGetPtr(static_cast<long>(count)); }

// TiStreamLite ---------------------------------------------------------------------

MimeLine_via_TiStreamLite::MimeLine_via_TiStreamLite(TiStreamLite * in, char ** begin, char ** end,
                                                     MimeReceiver * owner, unsigned int size)
    : MimeLine(begin, end, owner, size), in_(in),
      capacity_(std::max(size, vellum::line_buffer_size)) {
    piece_.reset(new char[capacity_]);
}

MimeLine_via_TiStreamLite::~MimeLine_via_TiStreamLite() = default;

int MimeLine_via_TiStreamLite::Peek() {
    // ReadLine would take a whole line, and the blank line behind a header has to stay.
    if (begin_ < end_) return vellum::ascii::byte(piece_[begin_]);
    return in_->peek();
}

std::string_view MimeLine_via_TiStreamLite::Window() {
    constexpr int capacity_ran_out = 2;
    while (begin_ == end_) {
        int count = 0;
        int const status = in_->ReadLine(reinterpret_cast<unsigned char *>(piece_.get()),
                                         static_cast<int>(capacity_), &count);
        begin_ = 0;
        end_ = static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(capacity_)));
        if (end_ > 0) break;
        if (status != capacity_ran_out || capacity_ > largest_step / 2) return {};
        std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity_ * 2]);
        if (!larger) return {};
        piece_ = std::move(larger);
        capacity_ *= 2;
    }
    return {piece_.get() + begin_, end_ - begin_};
}

void MimeLine_via_TiStreamLite::Take(std::size_t count) { begin_ += count; }
