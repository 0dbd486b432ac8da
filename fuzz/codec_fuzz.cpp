// fuzz/codec_fuzz.cpp - each transfer codec: any cut gives one output, bounded, and nothing is lost
//
// Input: one byte that chooses the codec, two for the cut (size of the first piece and of the
// others), one for the size of the output's blocks; then the data.
#include "mime/codec/base64.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/uuencode.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/lending_output.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using vellum::test::ChunkedSimpleStream;
using vellum::test::Chunking;
using vellum::test::ExactCopy;
using vellum::test::LendingOutput;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

int run(MIME_TransferDecoding & codec, iSimpleStream & in, oSimpleStream & out) {
    return codec.decode(&in, &out);
}
int run(MIME_TransferEncoding & codec, iSimpleStream & in, oSimpleStream & out) {
    return codec.encode(&in, &out);
}

struct Outcome {
    std::string output;
    int result = 0;
    bool operator==(Outcome const &) const = default;
};

struct Cut {
    Chunking chunking;
    std::size_t block_size;
};

template <typename Codec>
Outcome outcome_of(Codec codec, iSimpleStream & in, std::size_t block_size) {
    LendingOutput out(block_size);
    int const result = run(codec, in, out);
    codec.Flush();
    return {out.text(), result};
}

/// The output for the whole data; aborts if the cut changes it.
template <typename Codec>
std::string output_of(std::string_view data, Cut const & cut) {
    ExactCopy const copy(data);
    iSimpleStream whole(copy.begin(), copy.end());
    Outcome const outcome = outcome_of(Codec(), whole, 4096);
    ChunkedSimpleStream refilled(data, cut.chunking);
    check(outcome_of(Codec(), refilled, cut.block_size) == outcome);
    ChunkedSimpleStream byte_by_byte(data, {1, 1});
    check(outcome_of(Codec(), byte_by_byte, 1) == outcome);
    return outcome.output;
}

template <typename Encoder, typename Decoder>
std::string check_round_trip(std::string_view data, Cut const & cut) {
    std::string const encoded = output_of<Encoder>(data, cut);
    check(output_of<Decoder>(encoded, cut) == data);
    return encoded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * bytes, std::size_t size) {
    constexpr std::size_t choices = 4;
    if (size < choices) return 0;
    std::string_view const data(reinterpret_cast<char const *>(bytes) + choices, size - choices);
    Cut const cut{{1U + bytes[1], 1U + bytes[2]}, 1U + bytes[3]};

    switch (bytes[0] % 5) {
    case 0: check(output_of<Decoding64>(data, cut).size() <= data.size() / 4 * 3 + 2); break;
    case 1: check(output_of<DecodingQP>(data, cut).size() <= 2 * data.size()); break;
    case 2: check(output_of<DecodingUU>(data, cut).size() <= 63 * ((data.size() + 1) / 2)); break;
    case 3: {
        std::size_t const groups = (data.size() + 2) / 3;
        std::size_t const lines = (groups + 18) / 19;
        std::string const encoded = check_round_trip<Encoding64, Decoding64>(data, cut);
        check(encoded.size() == 4 * groups + 2 * lines);
        break;
    }
    default: {
        std::string const encoded = check_round_trip<EncodingQP, DecodingQP>(data, cut);
        check(encoded.size() <= 5 * data.size() + 3);
    }
    }
    return 0;
}
