// tests/support/codec_runs.hpp - what comes out of a transfer codec
#pragma once

#include "mime/codec/transfer_codec.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/lending_output.hpp"

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace vellum::test {

inline int run(MIME_TransferDecoding & codec, iSimpleStream & in, oSimpleStream & out) {
    return codec.decode(&in, &out);
}
inline int run(MIME_TransferEncoding & codec, iSimpleStream & in, oSimpleStream & out) {
    return codec.encode(&in, &out);
}

inline std::string defects_of(MIME_TransferEncoding const &) { return {}; }
inline std::string defects_of(MIME_TransferDecoding const & codec) {
    DecodingDefects const & met = codec.Defects();
    std::string names;
    if (met.bad_character) names += "character ";
    if (met.unfinished_group) names += "group ";
    if (met.data_behind_padding) names += "padding ";
    if (met.bad_escape) names += "escape ";
    if (met.no_begin) names += "begin ";
    if (met.no_end) names += "end ";
    if (met.text_outside) names += "outside ";
    return names.substr(0, names.empty() ? 0 : names.size() - 1);
}

/// What comes out of a codec: of its calls, and then of its end.
struct Outcome {
    std::string output;
    int result;
    std::string tail;
    std::string defects = {};
    bool operator==(Outcome const &) const = default;
};

inline std::ostream & operator<<(std::ostream & os, Outcome const & outcome) {
    return os << outcome.output << ", result " << outcome.result << ", tail " << outcome.tail
              << ", defects " << outcome.defects;
}

template <typename Codec>
Outcome at_end_of(Codec & codec, int result, LendingOutput const & out) {
    std::string const output = out.text();
    codec.Flush();
    return {output, result, out.text().substr(output.size()), defects_of(codec)};
}

/// One call for all of `in`.
template <typename Codec>
Outcome outcome_of(Codec codec, iSimpleStream & in, std::size_t block_size = 1000) {
    LendingOutput out(block_size);
    int const result = run(codec, in, out);
    return at_end_of(codec, result, out);
}

template <typename Codec>
Outcome outcome_of(Codec const & codec, std::string_view text, std::size_t block_size = 1000) {
    ExactCopy const copy(text);
    iSimpleStream in(copy.begin(), copy.end());
    return outcome_of(codec, in, block_size);
}

/// One call for each piece.
template <typename Codec>
Outcome outcome_of(Codec codec, std::string_view text, Chunking chunking) {
    LendingOutput out(7);
    int result = -1;
    for (PieceSource source(text, chunking); source.next();) {
        iSimpleStream in(source.piece().begin(), source.piece().end());
        result = run(codec, in, out);
    }
    return at_end_of(codec, result, out);
}

} // namespace vellum::test
