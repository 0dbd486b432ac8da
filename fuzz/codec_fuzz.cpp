// fuzz/codec_fuzz.cpp - each transfer codec: any cut gives one output, bounded, and nothing is lost
//
// Input: one byte that chooses the codec and the rules of a decoder, two for the cut (size of the
// first piece and of the others), one for the size of the output's blocks; then the data.
#include "fuzz/target.hpp"
#include "mime/codec/base64.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/uuencode.hpp"
#include "tests/support/codec_runs.hpp"
#include "tests/support/texts.hpp"

#include <string>
#include <string_view>

namespace {

using namespace vellum::test;

struct Cut {
    Chunking chunking;
    std::size_t block_size;
};

/// The output for the whole data; aborts if the cut changes it.
template <typename Codec>
std::string output_of(std::string_view data, Cut const & cut, Codec const & codec = Codec()) {
    Outcome const outcome = outcome_of(codec, data, 4096);
    ChunkedSimpleStream refilled(data, cut.chunking);
    require(outcome_of(codec, refilled, cut.block_size) == outcome);
    ChunkedSimpleStream byte_by_byte(data, {1, 1});
    require(outcome_of(codec, byte_by_byte, 1) == outcome);
    return outcome.output + outcome.tail;
}

template <typename Encoder, typename Decoder>
std::string check_round_trip(std::string_view data, Cut const & cut) {
    std::string encoded = output_of<Encoder>(data, cut);
    require(output_of<Decoder>(encoded, cut) == data);
    for (std::string const & line : split(encoded, '\n'))
        require(line.size() <= 76 + 1);
    return encoded;
}

/// A decoder with the rules that the bits of `choice` choose.
template <typename Decoder>
Decoder decoder_with(unsigned int choice) {
    DecodingRules rules;
    rules.keep_invalid_escapes = (choice & 1) != 0;
    rules.drop_blanks_behind_soft_break = (choice & 2) != 0;
    rules.padding_ends_line_only = (choice & 4) != 0;
    rules.end_word_ends_data = (choice & 8) != 0;
    Decoder decoder;
    decoder.SetRules(rules);
    return decoder;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * bytes, std::size_t size) {
    constexpr std::size_t choices = 4;
    if (size < choices) return 0;
    std::string_view const data = view_of(bytes + choices, size - choices);
    Cut const cut{{1U + bytes[1], 1U + bytes[2]}, 1U + bytes[3]};

    unsigned int const rules = bytes[0] / 5U;
    std::size_t const most_lines = (data.size() + 1) / 2;
    switch (bytes[0] % 5) {
    case 0:
        require(output_of(data, cut, decoder_with<Decoding64>(rules)).size() <=
                data.size() / 4 * 3 + 2);
        break;
    case 1:
        require(output_of(data, cut, decoder_with<DecodingQP>(rules)).size() <= 2 * data.size());
        break;
    case 2:
        require(output_of(data, cut, decoder_with<DecodingUU>(rules)).size() <= 63 * most_lines);
        break;
    case 3: {
        std::size_t const groups = (data.size() + 2) / 3;
        std::size_t const lines = (groups + 18) / 19;
        std::string const encoded = check_round_trip<Encoding64, Decoding64>(data, cut);
        require(encoded.size() == 4 * groups + 2 * lines);
        break;
    }
    default: {
        std::string const encoded = check_round_trip<EncodingQP, DecodingQP>(data, cut);
        require(encoded.size() <= 5 * data.size() + 3);
    }
    }
    return 0;
}
