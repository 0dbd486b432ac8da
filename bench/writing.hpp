// bench/writing.hpp - the messages that are written, the same for the engine and its peer
#pragma once

#include "bench/messages.hpp"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// A multipart/mixed message: its parts are of one kind.
struct Letter {
    bool is_text;                    ///< text/plain as quoted-printable, or else base64
    std::vector<std::string> bodies; ///< one for each part
    unsigned int split_size = 0;     ///< 0 for one piece
};

/// Registers one benchmark for each letter. A peer that can't split leaves that one out.
inline bool register_writing(std::string const & who, void (*write)(Letter const &),
                             bool can_split) {
    constexpr std::size_t megabyte = std::size_t{1} << 20;
    auto const add = [&](char const * what, auto make) {
        benchmark::RegisterBenchmark(("write/" + std::string(what) + "/" + who).c_str(),
                                     [=](benchmark::State & state) {
                                         Letter const letter = make();
                                         std::int64_t bytes = 0;
                                         for (auto const & body : letter.bodies) {
                                             bytes += static_cast<std::int64_t>(body.size());
                                         }
                                         for (auto _ : state)
                                             write(letter);
                                         state.SetBytesProcessed(state.iterations() * bytes);
                                     })
            ->Unit(benchmark::kMillisecond);
    };
    add("base64", [] { return Letter{false, {bytes_of(48 * megabyte)}}; });
    add("quoted-printable", [] { return Letter{true, {text_of(32 * megabyte, true)}}; });
    add("15000-parts", [] {
        return Letter{false, std::vector<std::string>(15'000, bytes_of(1500))};
    });
    if (can_split) add("split", [] { return Letter{false, {bytes_of(48 * megabyte)}, 256'000}; });
    return true;
}

} // namespace bench
