// bench/workloads.hpp - the list of what is measured, the same for the engine and its peer
#pragma once

#include "bench/messages.hpp"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// Registers one benchmark for each kind of message: `read` reads one.
inline bool register_reading(std::string const & who, void (*read)(std::string const &)) {
    constexpr std::size_t megabyte = std::size_t{1} << 20;
    auto const add = [&](char const * what, auto make) {
        benchmark::RegisterBenchmark(("read/" + std::string(what) + "/" + who).c_str(),
                                     [=](benchmark::State & state) {
                                         std::vector<std::string> const messages = make();
                                         std::int64_t bytes = 0;
                                         for (auto const & message : messages) {
                                             bytes += static_cast<std::int64_t>(message.size());
                                         }
                                         for (auto _ : state) {
                                             for (auto const & message : messages)
                                                 read(message);
                                         }
                                         state.SetBytesProcessed(state.iterations() * bytes);
                                     })
            ->Unit(benchmark::kMillisecond);
    };
    using Messages = std::vector<std::string>;
    add("base64", [] { return Messages{base64_attachment(44 * megabyte)}; });
    add("quoted-printable", [] { return Messages{quoted_printable_text(32 * megabyte)}; });
    add("plain", [] { return Messages{plain_text(64 * megabyte)}; });
    add("15000-parts", [] { return Messages{many_parts(15'000)}; });
    add("200000-fields", [] { return Messages{many_fields(200'000)}; });
    add("400-small", [] { return small_messages(400); });
    return true;
}

} // namespace bench
