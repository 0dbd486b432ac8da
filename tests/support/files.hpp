// tests/support/files.hpp - whole files, and a directory for the time of a scope
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace vellum::test {

inline std::string content_of(std::filesystem::path const & path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = testing::TempDir() + "vellum-XXXXXX";
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
    TemporaryDirectory(TemporaryDirectory const &) = delete;
    TemporaryDirectory & operator=(TemporaryDirectory const &) = delete;

    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace vellum::test
