// fuzz/replay_main.cpp - runs a fuzz target on its seeds, for builds without libFuzzer
//
// Input:  directories that are searched for seeds.
// Runs:   each seed whole, and its prefixes: every length up to `dense_prefixes`, then steps that
//         keep the count for one seed near twice that number. Each in a heap block of exactly its
//         size, so that a read beyond the end is seen by AddressSanitizer.
// Result: failure if there is no seed at all; a corpus that isn't found must not look like success.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

namespace {

constexpr std::size_t dense_prefixes = 512;

void run_prefix(std::string const & seed, std::size_t size) {
    auto const copy = std::make_unique<std::uint8_t[]>(size);
    std::copy_n(seed.begin(), size, copy.get());
    LLVMFuzzerTestOneInput(copy.get(), size);
}

bool run_seed(std::filesystem::path const & path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "can't read %s\n", path.c_str());
        return false;
    }
    std::string const seed(std::istreambuf_iterator<char>(file), {});
    std::size_t const sparse_step = seed.size() / dense_prefixes + 1;
    for (std::size_t size = 0; size < seed.size();
         size += size < dense_prefixes ? 1 : sparse_step) {
        run_prefix(seed, size);
    }
    run_prefix(seed, seed.size());
    return true;
}

} // namespace

int main(int argc, char ** argv) {
    std::set<std::filesystem::path> seeds;
    for (int i = 1; i < argc; ++i) {
        for (auto const & entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (entry.is_regular_file()) seeds.insert(entry.path());
        }
    }
    if (seeds.empty()) {
        std::fprintf(stderr, "no seed found\n");
        return 1;
    }
    bool const all_read = std::all_of(seeds.begin(), seeds.end(), run_seed);
    std::printf("%zu seeds replayed\n", seeds.size());
    return all_read ? 0 : 1;
}
