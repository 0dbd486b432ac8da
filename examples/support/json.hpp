// examples/support/json.hpp - writes JSON, piece by piece
#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace examples {

/// Puts the commas and the quotes; that each list and object is closed is the caller's concern.
class JsonWriter {
public:
    /// The stream stays the caller's and outlives the writer. It has got everything after end_line.
    explicit JsonWriter(std::ostream & out) : out_(out) {}

    void begin_object() { begin('{'); }
    void end_object() { end('}'); }
    void begin_list() { begin('['); }
    void end_list() { end(']'); }

    /// The name of the value that comes next: plain ASCII, with nothing to escape.
    void key(std::string_view name);

    /// Bytes that are no UTF-8 become U+FFFD.
    void value(std::string_view text);
    void value(long long number);
    void null();

    void end_line();

private:
    void begin(char bracket);
    void end(char bracket);
    void separate();
    void flush();

    std::ostream & out_;
    std::string pending_; // a stream is slow for pieces of a few bytes
    bool needs_comma_ = false;
};

} // namespace examples
