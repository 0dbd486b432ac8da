// tests/simple_stream_test.cpp - the light streams: ends of buffers, growth, sinks that fail
#include "mime/foundation/lite_stream.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/lending_output.hpp"
#include "tests/support/texts.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <limits>
#include <new>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace vellum::test;

/// No array of more than this many bytes can be had.
std::size_t largest_array = std::numeric_limits<std::size_t>::max();

// Volatile, so that the compiler doesn't pair an inlined `new` with `free` and warn of it.
void * (*const volatile allocate)(std::size_t) = std::malloc;
void (*const volatile release)(void *) = std::free;

} // namespace

void * operator new[](std::size_t size, std::nothrow_t const &) noexcept {
    return size <= largest_array ? allocate(size + 1) : nullptr;
}
void * operator new[](std::size_t size) {
    if (void * const memory = operator new[](size, std::nothrow)) return memory;
    throw std::bad_alloc();
}
void operator delete[](void * memory) noexcept { release(memory); }
void operator delete[](void * memory, std::size_t) noexcept { release(memory); }

namespace {

std::string pending(oSimpleStream const & out) { return {out.str(), out.oBufCnt()}; }

/// A source and a sink that throw, and have seen what they were given.
class Throwing : public std::streambuf {
public:
    std::string seen;

private:
    int underflow() override { throw std::runtime_error("source"); }
    std::streamsize xsputn(char const * text, std::streamsize size) override {
        seen.append(text, static_cast<std::size_t>(size));
        throw std::runtime_error("sink");
    }
};

// input ----------------------------------------------------------------------------

TEST(SimpleInput, EndsWithTheFirstReadThatFindsNothing) {
    ExactCopy const text("\x01z\xFF");
    struct CountingInput : iSimpleStream {
        using iSimpleStream::iSimpleStream;
        bool Underflow() override { return ++underflows, iSimpleStream::Underflow(); }
        int underflows = 0;
    } in(text.begin(), text.end());
    EXPECT_EQ(in.get(), 1);
    EXPECT_EQ(in.get(), 'z');
    EXPECT_EQ(in.get(), 0xFF);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.gcount(), 1);
    EXPECT_EQ(in.iBufCnt(), 0U);

    EXPECT_EQ(in.get(), -1);
    EXPECT_FALSE(in.good());
    EXPECT_EQ(in.gcount(), 0);
    char c = 'c';
    EXPECT_TRUE(!in.get(c) && !in.ignore() && in.peek() == -1);
    EXPECT_EQ(c, 'c');
    in.iGetPtr(-1);
    EXPECT_EQ(in.get(), -1) << "there is no way back from the end";
    EXPECT_EQ(in.iBufCnt(), 0U);
    EXPECT_EQ(in.underflows, 1);

    iSimpleStream peeked(text.begin(), text.begin() + 1);
    peeked.ignore();
    EXPECT_EQ(peeked.peek(), -1);
    EXPECT_FALSE(peeked.good());
    EXPECT_EQ(peeked.gcount(), 1) << "peek keeps the count";
}

TEST(SimpleInput, WithoutABufferThereIsNothing) {
    char some[4] = "abc";
    iSimpleStream without_buffer;
    iSimpleStream with_null(static_cast<char *>(nullptr), 4);
    iSimpleStream with_negative_length(some, -1);
    for (iSimpleStream * in : {&without_buffer, &with_null, &with_negative_length}) {
        char text[3] = "xy";
        EXPECT_EQ(in->read(text, 2).gcount(), 0);
        EXPECT_TRUE(in->get() == -1 && in->iBufCnt() == 0 && !in->good());
    }
}

TEST(SimpleInput, GetUpToADelimiter) {
    constexpr std::string_view text = "abcdefghijkl\nm";
    struct {
        int size;
        char delimiter;
        std::string_view stored; // with its NUL; empty where the buffer isn't touched
        int next;
    } const rows[] = {
        {10, '\n', {"abcdefgh\0", 9}, 'i'},
        {100, '\n', {"abcdefghijkl\0", 13}, '\n'},
        {100, 'a', {"\0", 1}, 'a'},
        {100, '!', {"abcdefghijkl\nm\0", 15}, -1},
        {2, '\n', {"\0", 1}, 'a'},
        {1, '\n', "", 'a'},
        {0, '\n', "", 'a'},
        {INT_MIN, '\n', "", 'a'},
    };
    for (auto const & row : rows) {
        for (Chunking const & chunking : chunkings(text.size())) {
            SCOPED_TRACE(std::to_string(row.size) + " bytes in " + chunking.name());
            ChunkedSimpleStream in(text, chunking);
            ExactCopy const buffer(std::string(row.stored.size(), '?'));
            in.get(buffer.begin(), row.size, row.delimiter);
            EXPECT_EQ(buffer.view(), row.stored);
            EXPECT_EQ(in.gcount() + (row.stored.empty() ? 0 : 1),
                      static_cast<int>(row.stored.size()));
            EXPECT_EQ(in.peek(), row.next);
        }
    }
}

TEST(SimpleInput, WorkOnTheBufferItself) {
    ExactCopy const text("abcdef");
    iSimpleStream in(text.begin(), text.end());
    in.ignore();
    EXPECT_EQ(in.iBufCnt(), 5U);
    EXPECT_EQ(*in.iGetPtr(2), 'd');
    EXPECT_EQ(*in.iGetPtr(-1), 'c');
    EXPECT_EQ(*in.iGetPtr(LONG_MIN), 'a');
    std::ostringstream printed;
    in.Print(printed);
    EXPECT_EQ(printed.str(), "abcdef");
    EXPECT_EQ(in.iGetPtr(LONG_MAX), in.iBufPtr() + 6);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.get(), -1);
}

// output ---------------------------------------------------------------------------

TEST(SimpleOutput, GrowsByEightOrAsMuchAsIsWritten) {
    oSimpleStream out;
    EXPECT_FALSE(out.good());
    out.put('1');
    EXPECT_EQ(out.oBufAvl(), 7U);
    out << "2345678"
        << "9";
    EXPECT_EQ(out.oBufAvl(), 64U - 9);
    EXPECT_EQ(pending(out), "123456789");

    ExactCopy const buffer(std::string(10, '?'));
    oSimpleStream over_memory(buffer.begin(), buffer.end());
    over_memory << "abc";
    EXPECT_EQ(over_memory.str(), buffer.begin());
    std::string const large(100, 'x');
    over_memory.write(large.data(), 100);
    EXPECT_EQ(pending(over_memory), "abc" + large);
    EXPECT_EQ(over_memory.oBufAvl(), 0U) << "93 bytes more than 10 are more than 7 times 10";

    LendingOutput lending(1);
    lending.write("abc", 0).write("abc", -1).write(std::string_view());
    lending << "" << static_cast<char const *>(nullptr) << static_cast<iSimpleStream *>(nullptr);
    EXPECT_EQ(lending.str(), nullptr) << "what is empty asks for no room";
}

/// Delivers no more than a piece in a call.
struct InDrops : ChunkedBuf {
    using ChunkedBuf::ChunkedBuf;
    std::streamsize xsgetn(char * out, std::streamsize size) override {
        if (gptr() == egptr() && underflow() == traits_type::eof()) return 0;
        return ChunkedBuf::xsgetn(out, std::min<std::streamsize>(size, egptr() - gptr()));
    }
};

TEST(SimpleOutput, ASourceInDropsCostsNoMoreRoomThanItsBytes) {
    for (std::size_t const size : {24U, 30'000U}) {
        char block[16];
        oSimpleStream without_buffer;
        oSimpleStream over_memory(block, 16);
        for (oSimpleStream * out : {&without_buffer, &over_memory}) {
            std::string const text(size, 'x');
            InDrops source(text, {3, 3});
            *out << &source;
            EXPECT_EQ(pending(*out), text);
            EXPECT_LE(out->oBufCnt() + out->oBufAvl(), std::max<std::size_t>(1024, 8 * size));
        }
    }
}

TEST(SimpleOutput, NumbersAndCharacters) {
    oSimpleStream out;
    out << LONG_MIN << ' ' << INT_MAX << ' ' << short{-7} << ' ' << ULONG_MAX << ' ' << 0U << ' '
        << static_cast<unsigned short>(65535) << static_cast<signed char>('s')
        << static_cast<unsigned char>(0xFF) << reinterpret_cast<unsigned char const *>("u");
    std::ostringstream expected;
    expected << LONG_MIN << " 2147483647 -7 " << ULONG_MAX << " 0 65535s\xFFu";
    EXPECT_EQ(pending(out), expected.str());
}

TEST(SimpleOutput, SendsFullBuffersToItsSink) {
    std::stringstream sink;
    {
        ExactCopy const buffer("????");
        oSimpleStream out(buffer.begin(), buffer.end(), &sink);
        out << "ab"
            << "cde";
        EXPECT_EQ(sink.str(), "ab");
        EXPECT_EQ(pending(out), "cde");
        out.flush();
        EXPECT_EQ(sink.str(), "abcde");
        EXPECT_EQ(out.pcount(), 5);
        EXPECT_EQ(out.str(), buffer.begin());
        out << "fg";
        std::ostringstream printed;
        out.Print(printed);
        EXPECT_EQ(printed.str(), "abcdefg");
        EXPECT_EQ(out.pcount(), 7);
        sink.setstate(std::ios::failbit);
        EXPECT_FALSE(out.good());
        sink.clear();
        out << "0123456789";
        EXPECT_NE(out.str(), buffer.begin())
            << "a write of more than twice the buffer lets it grow";
    }
    EXPECT_EQ(sink.str(), "abcdefg0123456789");
}

TEST(SimpleOutput, TakesAllStreamsWholeWhateverRoomThereIs) {
    std::string const text = repeated("a text that is longer than any of the blocks ", 60);
    auto const fill = [&text](oSimpleStream & out) {
        std::istringstream stream(text), streambuf(text), source(text);
        char scratch[7];
        iSimpleStream in(scratch, 7, &source);
        oSimpleStream other;
        other << "tail";
        out << text.c_str() << '!' << stream << streambuf.rdbuf() << in << in;
        out << other << &other << out;
        EXPECT_EQ(out.write(text).pcount(), static_cast<int>(5 * text.size() + 9));
        EXPECT_FALSE(in.good());
        EXPECT_EQ(pending(other), "tail");
    };
    std::string const expected = text + '!' + text + text + text + "tailtail" + text;
    for (std::size_t const block_size : {1U, 2U, 7U, 100U}) {
        LendingOutput out(block_size);
        fill(out);
        EXPECT_EQ(out.text(), expected) << block_size;
    }
    std::ostringstream sink;
    char buffer[16], buffer_of_sink[16];
    oSimpleStream without_buffer;
    oSimpleStream over_memory(buffer, 16);
    fill(without_buffer);
    fill(over_memory);
    oSimpleStream before_sink(buffer_of_sink, 16, &sink);
    fill(before_sink);
    before_sink.flush();
    EXPECT_EQ(pending(without_buffer), expected);
    EXPECT_EQ(pending(over_memory), expected);
    EXPECT_EQ(sink.str(), expected);

    LendingOutput without_more(3, 2);
    std::istringstream stream("defgh");
    without_more << "ab" << 'c' << stream << "ijk" << 'l' << stream.rdbuf();
    EXPECT_EQ(without_more.text(), "abcdef");
    EXPECT_FALSE(without_more.good());
}

TEST(SimpleStream, WhatThrowsBehindItLeavesItUsable) {
    Throwing buffer;
    std::iostream both(&buffer);
    both.exceptions(std::ios::badbit);
    char block[8];
    iSimpleStream in(block, 4, &both);
    EXPECT_THROW(in.get(), std::runtime_error);
    EXPECT_TRUE(in.get() == -1 && !in.good());
    both.clear();
    {
        oSimpleStream out(block, 8, &both);
        out << "abc";
        EXPECT_THROW(out.flush(), std::runtime_error);
        both.clear();
        out << "def"; // the destructor meets the exception, which must stay in it
    }
    EXPECT_EQ(buffer.seen, "abcdef") << "nothing twice";
    EXPECT_TRUE(both.bad());
}

TEST(SimpleOutput, KeepsItsDataWhenMemoryRunsOut) {
    oSimpleStream out;
    std::string const text(1000, 'x');
    out.write(text);
    largest_array = 10000;
    while (out.oBufAvl() > 0) {
        out << 'x'; // up to 8 times 1,000 bytes
    }
    unsigned int const full = out.oBufCnt();
    EXPECT_EQ(full, 8000U);
    out << 'y';
    EXPECT_EQ(out.oBufCnt(), full + 1) << "the least that will do, where 8 times can't be had";
    EXPECT_THROW(out.write(std::string(5000, 'z')), std::bad_alloc);
    largest_array = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(pending(out), std::string(full, 'x') + 'y');
    out << "zz";
    EXPECT_EQ(pending(out), std::string(full, 'x') + "yzz");
}

// stage ----------------------------------------------------------------------------

TEST(SimpleStage, RewindTurnsWritingIntoReading) {
    for (int const block_size : {0, 3, 4, 100}) {
        SCOPED_TRACE(block_size);
        ExactCopy const block(std::string(static_cast<std::size_t>(block_size), '?'));
        ioSimpleStream stage(block.begin(), block_size, 0);
        for (std::string const text : {"abc", "", "a longer text"}) {
            stage.reInit();
            stage << text.c_str();
            stage.rewind();
            EXPECT_TRUE(stage.good());
            EXPECT_EQ(stage.iBufCnt(), text.size());
            EXPECT_EQ(stage.oBufCnt(), text.size());
            EXPECT_EQ(std::string_view(stage.str(), text.size() + 2), text + std::string(2, '\0'));
            std::string read(text.size() + 1, '?');
            EXPECT_EQ(stage.read(read.data(), static_cast<int>(read.size())).gcount(),
                      static_cast<int>(text.size()));
            EXPECT_EQ(read, text + '?');
            EXPECT_FALSE(stage.good());
        }
    }
}

TEST(SimpleStage, StartsBehindWhatIsUsed) {
    char block[5] = "abcd";
    for (auto const & [used, room] :
         std::initializer_list<std::pair<int, unsigned>>{{0, 4}, {1, 3}, {4, 0}, {-1, 4}, {5, 0}}) {
        ioSimpleStream stage(block, 4, used);
        EXPECT_EQ(stage.oBufAvl(), room);
        EXPECT_TRUE(stage.iBufCnt() == 4 && stage.get() == 'a');
    }
    EXPECT_EQ(ioSimpleStream(block, block + 4, nullptr).oBufAvl(), 4U);
    EXPECT_EQ(ioSimpleStream(block, block + 4, block + 3).oBufAvl(), 1U);
    ioSimpleStream without_buffer;
    EXPECT_FALSE(without_buffer.reInit().good());
    EXPECT_TRUE(without_buffer.rewind().good() && without_buffer.get() == -1);
}

TEST(LiteStream, PeekGivesBytesAsUnsigned) {
    ChunkedLiteStream lite("\xFF", {1, 1});
    EXPECT_EQ(lite.peek(), 0xFF);
    unsigned char line[2];
    int count;
    lite.ReadLine(line, 2, &count);
    EXPECT_EQ(lite.peek(), -1);
}

} // namespace
