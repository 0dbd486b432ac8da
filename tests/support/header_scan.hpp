// tests/support/header_scan.hpp - a header's text to scan, and the run that a scanner needs
#pragma once

#include "mime/header/grammar.hpp"
#include "mime/header/header_run.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

namespace vellum::test {

/// A run that scans alone, and so reports to nobody.
class SilentRun : public HeaderRun {
public:
    SilentRun() : HeaderRun(nullptr) {}
};

/// A text with a NUL behind it in a heap block of exactly that size, to be edited.
class ExactText {
public:
    explicit ExactText(std::string_view text) : data_(new char[text.size() + 1]) {
        *std::copy(text.begin(), text.end(), data_.get()) = '\0';
    }
    char * get() const { return data_.get(); }

private:
    std::unique_ptr<char[]> data_;
};

/// A piece of the scanner's text.
inline std::string text_of(HeaderScanner & scanner, Position from, Position to) {
    std::string text;
    scanner.text().copy(from, to, text);
    return text;
}

} // namespace vellum::test
