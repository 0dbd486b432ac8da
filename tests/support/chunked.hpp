// tests/support/chunked.hpp - one text as many inputs: cut in every way, through every kind of
// stream
//
// A reader must not care where a buffer ends. So a test runs its input through for_each_input, or
// cuts it as each of its chunkings, and expects one result. Each piece lies in a heap block of
// exactly its size, which is freed when the next one is asked for: AddressSanitizer reports a read
// of one byte too many, and any use of an old piece.
#pragma once

#include "mime/foundation/lite_stream.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <algorithm>
#include <cstddef>
#include <istream>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace vellum::test {

/// A copy of a text in a heap block of exactly its size.
class ExactCopy {
public:
    [[gnu::noinline]] explicit ExactCopy(std::string_view text = {})
        : data_(std::make_unique<char[]>(text.size())), size_(text.size()) {
        std::copy(text.begin(), text.end(), data_.get());
    }

    char * begin() const { return data_.get(); }
    char * end() const { return data_.get() + size_; }
    std::size_t size() const { return size_; }
    std::string_view view() const { return {data_.get(), size_}; }

private:
    std::unique_ptr<char[]> data_;
    std::size_t size_;
};

/// How a text is cut: a first piece of `first` bytes, and the rest in pieces of `rest` bytes.
struct Chunking {
    std::size_t first;
    std::size_t rest;

    std::string name() const {
        return "pieces of " + std::to_string(first) + " and then " + std::to_string(rest);
    }
};

/// Whole, byte by byte, in pieces of 2 and 3, and cut in two at every offset; in a text of more
/// than `most_cuts` bytes at that many offsets, evenly spread.
inline std::vector<Chunking> chunkings(std::size_t size, std::size_t most_cuts = 1000) {
    std::size_t const whole = std::max<std::size_t>(size, 1);
    std::vector<Chunking> result{{whole, whole}, {1, 1}, {2, 2}, {3, 3}};
    std::size_t const step = size / most_cuts + 1;
    for (std::size_t cut = step; cut < size; cut += step)
        result.push_back({cut, whole});
    return result;
}

/// Hands out the pieces of a text one after the other.
class PieceSource {
public:
    PieceSource(std::string_view text, Chunking chunking)
        : text_(text), chunking_(chunking), rest_(text_) {}
    PieceSource(PieceSource const &) = delete;
    PieceSource & operator=(PieceSource const &) = delete;

    /// Frees the current piece and takes the next. False, with an empty piece, at the end.
    bool next() {
        std::size_t const size = rest_.size() == text_.size() ? chunking_.first : chunking_.rest;
        piece_ = ExactCopy(rest_.substr(0, size));
        rest_.remove_prefix(piece_.size());
        return piece_.size() > 0;
    }
    ExactCopy const & piece() const { return piece_; }

private:
    std::string text_;
    Chunking chunking_;
    std::string_view rest_;
    ExactCopy piece_;
};

/// A `streambuf` whose get area is one piece at a time.
class ChunkedBuf : public std::streambuf {
public:
    ChunkedBuf(std::string_view text, Chunking chunking) : source_(text, chunking) {}

protected:
    int_type underflow() override {
        if (!source_.next()) return traits_type::eof();
        setg(source_.piece().begin(), source_.piece().begin(), source_.piece().end());
        return traits_type::to_int_type(*gptr());
    }

private:
    PieceSource source_;
};

/// A `streambuf` without a get area, as standard input is while it is in step with C's.
class UnbufferedBuf : public std::streambuf {
public:
    explicit UnbufferedBuf(std::string_view text) : text_(std::string(text)) {}

protected:
    int_type underflow() override { return text_.sgetc(); }
    int_type uflow() override { return text_.sbumpc(); }

private:
    std::stringbuf text_;
};

/// An `iSimpleStream` whose buffer is one piece at a time.
class ChunkedSimpleStream : public iSimpleStream {
public:
    ChunkedSimpleStream(std::string_view text, Chunking chunking) : source_(text, chunking) {
        source_.next();
        show();
        good_ = true;
    }

    bool Underflow() override {
        if (!source_.next()) return iSimpleStream::Underflow();
        show();
        return true;
    }

private:
    void show() {
        base_ = get_ = reinterpret_cast<unsigned char *>(source_.piece().begin());
        end_ = base_ + source_.piece().size();
    }

    PieceSource source_;
};

/// A `TiStreamLite` that gives lines, and of a long line no more than a piece at a time.
class ChunkedLiteStream : public TiStreamLite {
public:
    ChunkedLiteStream(std::string_view text, Chunking chunking) : source_(text, chunking) {}

    int ReadLine(unsigned char * buffer, int capacity, int * count) override {
        constexpr int capacity_ran_out = 2;
        *count = 0;
        if (!fill()) return 0;
        std::size_t const size = std::min(rest_.find('\n'), rest_.size() - 1) + 1;
        std::size_t const taken = std::min(size, static_cast<std::size_t>(capacity));
        std::copy_n(rest_.begin(), taken, buffer);
        *count = static_cast<int>(taken);
        bool const ends_line = taken > 0 && rest_[taken - 1] == '\n';
        rest_.remove_prefix(taken);
        return ends_line || !fill() ? 0 : capacity_ran_out;
    }

    int PeekByte(unsigned char * byte) override {
        if (!fill()) return 0;
        *byte = static_cast<unsigned char>(rest_.front());
        return 1;
    }

private:
    bool fill() {
        if (!rest_.empty()) return true;
        if (!source_.next()) return false;
        rest_ = source_.piece().view();
        return true;
    }

    PieceSource source_;
    std::string_view rest_;
};

/// Calls `run(input, how)` with the text as an `std::istream &`, an `iSimpleStream &` and a
/// `TiStreamLite &`; so `run` takes `auto & input`. `how` is a text for the test's messages.
template <class Run>
void for_each_stream(std::string_view text, Chunking chunking, Run && run) {
    ChunkedBuf buffer(text, chunking);
    std::istream stream(&buffer);
    run(stream, "istream, " + chunking.name());

    ChunkedSimpleStream simple(text, chunking);
    run(static_cast<iSimpleStream &>(simple), "iSimpleStream, " + chunking.name());

    ChunkedLiteStream lite(text, chunking);
    run(static_cast<TiStreamLite &>(lite), "TiStreamLite, " + chunking.name());
}

/// The same for every way of cutting the text, and for streams of other kinds.
template <class Run>
void for_each_input(std::string_view text, Run && run, std::size_t most_cuts = 1000) {
    for (Chunking const & chunking : chunkings(text.size(), most_cuts))
        for_each_stream(text, chunking, run);

    UnbufferedBuf unbuffered(text);
    std::istream stream(&unbuffered);
    run(stream, std::string("istream without a buffer"));

    ExactCopy const whole(text);
    iSimpleStream memory(whole.begin(), whole.end());
    run(memory, std::string("iSimpleStream over memory"));

    ChunkedBuf buffer(text, {7, 7});
    std::istream source(&buffer);
    ExactCopy const scratch(std::string(16, '\0'));
    iSimpleStream refilled(scratch.begin(), scratch.end(), &source);
    run(refilled, std::string("iSimpleStream with a source"));
}

} // namespace vellum::test
