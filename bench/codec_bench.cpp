// bench/codec_bench.cpp - the transfer codecs alone, on the road that bodies take through them
//
// The input comes in spans of the given size, the output goes through a block of 1,024 bytes into
// an `ostream` that drops it. The bytes per second are those of the encoded form when decoding, and
// those of the data when encoding.
#include "bench/dropping.hpp"
#include "mime/codec/base64.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/uuencode.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <random>
#include <string>
#include <string_view>

namespace {

/// Feeds `text` in spans through `step(in, out)`.
template <typename Step>
void feed(std::string & text, std::size_t span, Step step) {
    bench::DroppingBuffer dropping;
    std::ostream sink(&dropping);
    char block[1024];
    oSimpleStream out(block, static_cast<int>(sizeof block), &sink);
    for (std::size_t at = 0; at < text.size(); at += span) {
        char * const first = text.data() + at;
        iSimpleStream in(first, first + std::min(span, text.size() - at));
        step(in, out);
    }
}

template <typename Decoder>
void decode(benchmark::State & state, std::string text) {
    for (auto _ : state) {
        Decoder decoder;
        feed(text, static_cast<std::size_t>(state.range(0)),
             [&](iSimpleStream & in, oSimpleStream & out) { decoder.decode(&in, &out); });
        decoder.output = nullptr;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

template <typename Encoder>
void encode(benchmark::State & state, std::string text) {
    for (auto _ : state) {
        Encoder encoder;
        feed(text, static_cast<std::size_t>(state.range(0)),
             [&](iSimpleStream & in, oSimpleStream & out) { encoder.encode(&in, &out); });
        encoder.output = nullptr;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

template <typename Encoder>
std::string encoded(std::string text) {
    oSimpleStream out;
    Encoder encoder;
    iSimpleStream in(text.data(), text.data() + text.size());
    encoder.encode(&in, &out);
    encoder.Flush();
    return {out.str(), out.oBufCnt()};
}

constexpr std::size_t data_size = 4 << 20;

std::string random_bytes() {
    std::mt19937 random(1);
    std::string bytes(data_size, '\0');
    for (char & byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

/// Lines of words; one character in `rarity` is one of two bytes, as in UTF-8.
std::string text_lines(unsigned int rarity, std::string_view line_end) {
    std::mt19937 random(2);
    std::string text;
    std::size_t line_start = 0;
    while (text.size() < data_size) {
        for (std::size_t letters = 1 + random() % 9; letters > 0; --letters) {
            if (random() % rarity == 0) {
                text += "\xC3\xA9";
            } else {
                text += static_cast<char>('a' + random() % 26);
            }
        }
        if (text.size() - line_start > 64) {
            text += line_end;
            line_start = text.size();
        } else {
            text += ' ';
        }
    }
    return text;
}

std::string uuencoded() {
    std::mt19937 random(3);
    std::string text = "begin 644 data\n";
    while (text.size() < data_size) {
        text += 'M';
        for (int i = 0; i < 60; ++i)
            text += static_cast<char>(' ' + random() % 64);
        text += '\n';
    }
    return text;
}

void decode_base64(benchmark::State & state) {
    decode<Decoding64>(state, encoded<Encoding64>(random_bytes()));
}

void decode_base64_bare_lf(benchmark::State & state) {
    std::string text = encoded<Encoding64>(random_bytes());
    std::erase(text, '\r');
    decode<Decoding64>(state, text);
}

void encode_base64(benchmark::State & state) { encode<Encoding64>(state, random_bytes()); }

void decode_qp(benchmark::State & state) {
    decode<DecodingQP>(state, encoded<EncodingQP>(text_lines(50, "\r\n")));
}

void decode_qp_bare_lf(benchmark::State & state) {
    std::string text = encoded<EncodingQP>(text_lines(50, "\r\n"));
    std::erase(text, '\r');
    decode<DecodingQP>(state, text);
}

void decode_qp_mostly_escapes(benchmark::State & state) {
    decode<DecodingQP>(state, encoded<EncodingQP>(text_lines(1, "\r\n")));
}

void encode_qp(benchmark::State & state) { encode<EncodingQP>(state, text_lines(50, "\r\n")); }

void encode_qp_mostly_escapes(benchmark::State & state) {
    encode<EncodingQP>(state, text_lines(1, "\r\n"));
}

void decode_uu(benchmark::State & state) { decode<DecodingUU>(state, uuencoded()); }

constexpr int line = 78;
constexpr int large_span = 64 << 10;

BENCHMARK(decode_base64)->Arg(line)->Arg(4 << 10)->Arg(large_span);
BENCHMARK(decode_base64_bare_lf)->Arg(large_span);
BENCHMARK(encode_base64)->Arg(2 << 10)->Arg(large_span);
BENCHMARK(decode_qp)->Arg(line)->Arg(4 << 10)->Arg(large_span);
BENCHMARK(decode_qp_bare_lf)->Arg(large_span);
BENCHMARK(decode_qp_mostly_escapes)->Arg(large_span);
BENCHMARK(encode_qp)->Arg(2 << 10)->Arg(large_span);
BENCHMARK(encode_qp_mostly_escapes)->Arg(large_span);
BENCHMARK(decode_uu)->Arg(line)->Arg(large_span);

} // namespace
