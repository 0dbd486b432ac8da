// fuzz/checked_note.hpp - a transcript that holds each call against the input and the calls before
//
// Asserts: the calls of each part come in their order, and those of its own parts within its body;
//          a part begins behind the one before, lies within the part around it, and within the
//          input; the undecoded text of a body is that of the input in front of `body_end`. Of
//          the parts of a decoded message only the order of the calls is looked at.
#pragma once

#include "fuzz/target.hpp"
#include "tests/support/transcript.hpp"

#include <deque>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace vellum::test {

class CheckedNote : public Transcript {
public:
    template <typename Input>
    CheckedNote(Input & input, std::string_view text) : Transcript(input), text_(text) {}

    /// After the run.
    void RequireEnd() const { require(levels_.empty()); }

protected:
    void BeginPart(MimeContext & context) override {
        require(levels_.empty() ? context.part_number == 1 : levels_.back().state == body);
        long long const start = context.exact.part_start;
        require(start == context.exact.header_start);
        require(context.part_number == ++parts_);
        if (context.decoded_depth == 0) {
            require(last_start_ <= start && start <= Size());
            last_start_ = start;
        }
        levels_.push_back({part, start, -1, {}, false});
        Transcript::BeginPart(context);
    }
    void BeginHeader(MimeContext & context) override {
        Step(part, header);
        Transcript::BeginHeader(context);
    }
    void EndHeader(MimeContext & context) override {
        Step(header, header_over);
        require(context.exact.header_end >= context.exact.header_start);
        Transcript::EndHeader(context);
    }
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override {
        Step(header_over, body);
        Transcript::BeginBody(context, data, raw);
        require(context.exact.body_start >= context.exact.part_start);
        Level & level = levels_.back();
        level.is_undecoded =
            data != nullptr && *data == nullptr && raw != nullptr && *raw != nullptr;
        if (level.is_undecoded) *raw = &level.raw.emplace();
    }
    void EndBody(MimeContext & context) override {
        Step(body, over);
        Level const & level = levels_.back();
        long long const end = context.exact.body_end;
        require(level.start <= end && (end <= Size() || context.decoded_depth > 0));
        if (level.is_undecoded && context.decoded_depth == 0) {
            std::string const raw = level.raw->str();
            require(raw.size() <= static_cast<std::size_t>(end));
            require(text_.substr(static_cast<std::size_t>(end) - raw.size(), raw.size()) == raw);
            require(static_cast<long long>(raw.size()) >= end - context.exact.body_start);
        }
        Transcript::EndBody(context);
    }
    void EndPart(MimeContext & context) override {
        Level const level = std::move(levels_.back());
        levels_.pop_back();
        require(level.state == over || level.state == header_over);
        long long const end = context.exact.part_end;
        require(level.start <= end && level.inner_end <= end);
        if (context.decoded_depth == 0) {
            require(end <= Size());
            if (!levels_.empty()) levels_.back().inner_end = end;
        }
        Transcript::EndPart(context);
    }

private:
    enum State { part, header, header_over, body, over };
    struct Level {
        State state;
        long long start;
        long long inner_end; ///< Where its latest part has ended.
        std::optional<std::ostringstream> raw;
        bool is_undecoded;
    };

    void Step(State from, State to) {
        require(!levels_.empty() && levels_.back().state == from);
        levels_.back().state = to;
    }
    long long Size() const { return static_cast<long long>(text_.size()); }

    std::string_view text_;
    std::deque<Level> levels_; ///< The streams stay where they are.
    long long last_start_ = 0;
    int parts_ = 0;
};

} // namespace vellum::test
