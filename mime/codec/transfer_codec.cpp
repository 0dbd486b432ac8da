// mime/codec/transfer_codec.cpp - makes codecs, ends and releases them
#include "mime/codec/transfer_codec.hpp"

#include "mime/codec/base64.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/uuencode.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"

#include <memory>
#include <new>
#include <string_view>

// encoders -------------------------------------------------------------------------

MIME_TransferEncoding::~MIME_TransferEncoding() = default;

MIME_TransferEncoding * MIME_TransferEncoding::Create(char const * name, bool breakLines) {
    if (name == RFC1521::base64) return new (std::nothrow) Encoding64(breakLines);
    if (name == RFC1521::quoted_printable) return new (std::nothrow) EncodingQP(breakLines);
    return nullptr;
}

void MIME_TransferEncoding::Delete() {
    std::unique_ptr<MIME_TransferEncoding> const self(this);
    Flush();
}

void MIME_TransferEncoding::writeTail() {}

// decoders -------------------------------------------------------------------------

MIME_TransferDecoding::~MIME_TransferDecoding() = default;

MIME_TransferDecoding * MIME_TransferDecoding::Create(char const * name) {
    if (name == RFC1521::base64) return new (std::nothrow) Decoding64;
    if (name == RFC1521::quoted_printable) return new (std::nothrow) DecodingQP;
    if (name == X::uuencode) return new (std::nothrow) DecodingUU;
    return nullptr;
}

MIME_TransferDecoding * MIME_TransferDecoding::Create(char const * name,
                                                      DecodingRules const & rules) {
    MIME_TransferDecoding * const codec = Create(name);
    if (codec != nullptr) codec->SetRules(rules);
    return codec;
}

void MIME_TransferDecoding::Delete() {
    std::unique_ptr<MIME_TransferDecoding> const self(this);
    Flush();
}

void MIME_TransferDecoding::Finish() {
    if (output != nullptr && rules.deliver_unfinished_end) return Flush();
    noteEnd();
    output = nullptr;
}

void MIME_TransferDecoding::writeTail() { noteEnd(); }

void MIME_TransferDecoding::noteEnd() {}

namespace vellum {

char const * encoding_of_alias(char const * word) {
    for (std::string_view const alias : {"uuencode", "x-uue", "uue"}) {
        if (word != nullptr && ascii::equal(word, alias)) return X::uuencode;
    }
    return nullptr;
}

} // namespace vellum
