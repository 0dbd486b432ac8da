// examples/support/text_look.hpp - what the bytes of a text are
#pragma once

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace examples {

/// Looks at a text piece by piece; the result is the same wherever the pieces end.
class TextLook {
public:
    void Add(std::string_view bytes);

    bool has_eight_bit() const { return has_eight_bit_; }
    bool has_nul() const { return has_nul_; }
    /// Of the whole text, which ends here.
    bool is_utf8() const { return is_utf8_ && tail_.empty(); }

private:
    void AddUtf8(std::string_view bytes);

    bool has_eight_bit_ = false;
    bool has_nul_ = false;
    bool is_utf8_ = true;
    std::string tail_; ///< A character that the last piece may have cut.
};

/// Looks at what is written to it, and keeps nothing.
class LookingStream : public std::ostream {
public:
    LookingStream() : std::ostream(&buffer_) {}
    TextLook const & look() const { return buffer_.look; }

private:
    struct Buffer : std::streambuf {
        std::streamsize xsputn(char const * text, std::streamsize size) override;
        int_type overflow(int_type byte) override;
        TextLook look;
    };
    Buffer buffer_;
};

} // namespace examples
