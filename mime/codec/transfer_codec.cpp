// mime/codec/transfer_codec.cpp - makes codecs, flushes and releases them
#include "mime/codec/transfer_codec.hpp"

#include "mime/codec/base64.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/uuencode.hpp"
#include "mime/foundation/tokens.hpp"

#include <memory>
#include <new>
#include <utility>

namespace {

/// Lets go of a codec's output also when that throws, so that nothing is written to it once more.
struct OutputRelease {
    oSimpleStream *& output;
    ~OutputRelease() { output = nullptr; }
};

/// `Delete` at the end of a scope, from where nothing that the output throws may get out.
template <typename Codec>
void delete_quietly(Codec * codec) noexcept {
    if (codec == nullptr) return;
    try {
        codec->Delete();
    } catch (...) { // the codec is gone all the same
    }
}

} // namespace

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

void MIME_TransferEncoding::Delete(MIME_TransferEncoding * codec) {
    if (codec != nullptr) codec->Delete();
}

void MIME_TransferEncoding::Flush() {
    if (output == nullptr) return;
    OutputRelease const release{output};
    writeTail();
}

void MIME_TransferEncoding::writeTail() {}

void MIME_TransferEncoding::flushAtEnd() noexcept {
    try {
        Flush();
    } catch (...) { // who wants to see it calls Delete or Flush
    }
}

// decoders -------------------------------------------------------------------------

MIME_TransferDecoding::~MIME_TransferDecoding() = default;

MIME_TransferDecoding * MIME_TransferDecoding::Create(char const * name) {
    if (name == RFC1521::base64) return new (std::nothrow) Decoding64;
    if (name == RFC1521::quoted_printable) return new (std::nothrow) DecodingQP;
    if (name == X::uuencode) return new (std::nothrow) DecodingUU;
    return nullptr;
}

void MIME_TransferDecoding::Delete() {
    std::unique_ptr<MIME_TransferDecoding> const self(this);
    Flush();
}

void MIME_TransferDecoding::Delete(MIME_TransferDecoding * codec) {
    if (codec != nullptr) codec->Delete();
}

void MIME_TransferDecoding::Flush() {
    if (output == nullptr) return;
    OutputRelease const release{output};
    writeTail();
}

void MIME_TransferDecoding::writeTail() {}

void MIME_TransferDecoding::flushAtEnd() noexcept {
    try {
        Flush();
    } catch (...) { // who wants to see it calls Delete or Flush
    }
}

// engines --------------------------------------------------------------------------

MIME_TransferEncoding_Engine::~MIME_TransferEncoding_Engine() { delete_quietly(codec_); }

MIME_TransferEncoding_Engine &
MIME_TransferEncoding_Engine::operator=(MIME_TransferEncoding * codec) {
    codec_ = codec;
    return *this;
}

MIME_TransferEncoding_Engine &
MIME_TransferEncoding_Engine::operator=(MIME_TransferEncoding_Engine const & other) = default;

void MIME_TransferEncoding_Engine::close() { std::exchange(codec_, nullptr)->Delete(); }

MIME_TransferDecoding_Engine::~MIME_TransferDecoding_Engine() { delete_quietly(codec_); }

MIME_TransferDecoding_Engine &
MIME_TransferDecoding_Engine::operator=(MIME_TransferDecoding * codec) {
    codec_ = codec;
    return *this;
}

MIME_TransferDecoding_Engine &
MIME_TransferDecoding_Engine::operator=(MIME_TransferDecoding_Engine const & other) = default;

void MIME_TransferDecoding_Engine::close() { std::exchange(codec_, nullptr)->Delete(); }
