// mime/receive/text_watch.hpp - a stream that looks whether the bytes of a body are text of its set
#pragma once

#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/text_watch.hpp"
#include "mime/nls/utf_8.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace vellum {

/// A stream to the client that looks at what goes by: at text that needs no translator, or for
/// U+FFFD, which stands where a translator into UTF-8 has met bytes that are no text of their set.
class WatchedOutput : public oSimpleStream {
public:
    enum class Look { nowhere, at_text, for_replacement };

    WatchedOutput(char * buffer, int size, std::ostream & sink, Look look, TextWatch & watch)
        : oSimpleStream(buffer, size, &sink), look_(look), watch_(watch) {}

    void Overflow(unsigned int request) override {
        // All that is pending goes to the sink now.
        std::string_view const text(str(), pending());
        if (look_ == Look::at_text) watch_.take(text);
        if (look_ == Look::for_replacement && !has_replacement_) look_for_replacement(text);
        oSimpleStream::Overflow(request);
    }
    bool has_replacement() const { return has_replacement_; }

private:
    void look_for_replacement(std::string_view text) {
        constexpr std::size_t overlap = utf_8::replacement.size() - 1;
        seam_.append(text.substr(0, overlap));
        has_replacement_ = has(seam_) || has(text);
        if (text.size() >= overlap) seam_ = text.substr(text.size() - overlap);
        if (seam_.size() > overlap) seam_.erase(0, seam_.size() - overlap);
    }
    static bool has(std::string_view text) { return text.find(utf_8::replacement) != text.npos; }

    Look look_;
    TextWatch & watch_;
    bool has_replacement_ = false;
    std::string seam_; ///< The last bytes that have been looked at.
};

} // namespace vellum
