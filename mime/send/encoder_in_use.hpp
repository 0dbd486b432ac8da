// mime/send/encoder_in_use.hpp - an encoder for the time of one text, safe against exceptions
#pragma once

#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <memory>
#include <string_view>

namespace vellum {

/// Deletes an encoder without its tail: at the end of a scope that an exception leaves, nothing may
/// be written any more. Whoever wants the tail calls Flush before.
struct DropEncoder {
    void operator()(MIME_TransferEncoding * encoder) const {
        encoder->output = nullptr;
        encoder->Delete();
    }
};
using EncoderInUse = std::unique_ptr<MIME_TransferEncoding, DropEncoder>;

/// Feeds `text` to the encoder.
inline void encode(MIME_TransferEncoding & encoder, std::string_view text, oSimpleStream & out) {
    char * const first = const_cast<char *>(text.data()); // an input without a source is only read
    iSimpleStream in(first, first + text.size());
    encoder.encode(&in, &out);
}

} // namespace vellum
