// mime/foundation/text_stream.hpp - an input stream over text that nobody will write to
#pragma once

#include "mime/foundation/simple_input.hpp"

#include <string_view>

namespace vellum {

/// The text outlives the stream, and is only read.
class TextStream : public iSimpleStream {
public:
    explicit TextStream(std::string_view text)
        : iSimpleStream(const_cast<char *>(text.data()),
                        const_cast<char *>(text.data()) + text.size(), nullptr) {}
};

} // namespace vellum
