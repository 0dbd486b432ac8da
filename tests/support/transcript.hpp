// tests/support/transcript.hpp - keeps the lines of every call; see
// examples/support/event_printer.hpp
//
// What a body's streams got is one line in front of EndBody: data "text\r\n"; and so is what the
// stream of a preamble or an epilogue got: text "text\r\n"
#pragma once

#include "examples/support/event_printer.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vellum::test {

using examples::quoted;

class Transcript : public examples::EventPrinter {
public:
    using EventPrinter::EventPrinter;

    bool takes_data = true;             ///< Offers a stream for the decoded data of each body.
    std::ostream * data_sink = nullptr; ///< The stream for all data, if it is to be another one.
    bool takes_raw = false;             ///< Offers a stream for the raw lines of each body.
    /// Called behind each line with its number, from 1; may throw.
    std::function<void(std::size_t line)> after_line;

    /// Receives; the result becomes the last line. Returns all lines so far, each with a '\n'.
    std::string run() {
        PutResult(Receive());
        return text();
    }

    std::vector<std::string> const & lines() const { return lines_; }
    std::string text() const {
        std::string result;
        for (std::string const & line : lines_)
            result.append(line).append(1, '\n');
        return result;
    }

private:
    struct Body {
        std::ostringstream data;
        std::ostringstream raw;
    };

    void PutLine(std::string line) override {
        lines_.push_back(std::move(line));
        if (after_line) after_line(lines_.size());
    }
    void OpenBody(std::ostream ** data, std::ostream ** raw) override {
        bodies_.push_back(std::make_unique<Body>());
        if (data != nullptr && takes_data) *data = data_sink ? data_sink : &bodies_.back()->data;
        if (takes_raw) *raw = &bodies_.back()->raw;
    }
    void CloseBody() override {
        std::unique_ptr<Body> const body = std::move(bodies_.back());
        bodies_.pop_back();
        if (std::string const data = body->data.str(); !data.empty()) Put({"data", LongText(data)});
        if (std::string const raw = body->raw.str(); !raw.empty()) Put({"raw", LongText(raw)});
    }
    void OpenText(std::ostream ** text) override {
        text_.str("");
        *text = &text_;
    }
    void CloseText() override { Put({"text", LongText(text_.str())}); }
    /// `now` stands for a date that can't be read.
    std::string DateText(tm const & utc) const override {
        tm copy = utc;
        bool const is_now = std::abs(std::difftime(timegm(&copy), std::time(nullptr))) < 600;
        return is_now ? "now" : EventPrinter::DateText(utc);
    }

    std::vector<std::string> lines_;
    std::vector<std::unique_ptr<Body>> bodies_;
    std::ostringstream text_; ///< Of the preamble or the epilogue that has begun last.
};

/// The transcript of a message, read from memory of exactly its size. `set_up` is called with the
/// note before it receives.
inline std::string transcript_of(std::string_view message,
                                 std::function<void(Transcript &)> const & set_up = {}) {
    auto const copy = std::make_unique<char[]>(message.size());
    std::copy(message.begin(), message.end(), copy.get());
    iSimpleStream input(copy.get(), copy.get() + message.size());
    Transcript note(input);
    if (set_up) set_up(note);
    return note.run();
}

} // namespace vellum::test
