// mime/codec/conversion.cpp - chains a transfer codec and a translator through a memory stage
#include "mime/codec/conversion.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/translator.hpp"

namespace {

/// A translator's result, beside 0, behind which its output is still to be used.
constexpr int output_usable = 11;

} // namespace

int Internet_to_Local(MIME_TransferDecoding * decoder, NLS_Translator * translator,
                      iSimpleStream * in, oSimpleStream * out) {
    if (decoder == nullptr && translator == nullptr) {
        *out << *in;
        return 0;
    }
    if (decoder == nullptr) return translator->CharSet_to_CodePage(in, out);
    if (translator == nullptr) return decoder->decode(in, out);

    char block[2048];
    ioSimpleStream stage(block, static_cast<int>(sizeof block), 0);
    struct Detach { // the decoder outlives the stage
        MIME_TransferDecoding & decoder;
        ~Detach() { decoder.output = nullptr; }
    } const detach{*decoder};
    decoder->decode(in, &stage);
    stage.rewind();
    return translator->CharSet_to_CodePage(&stage, out);
}

int Local_to_Internet(MIME_TransferEncoding * encoder, NLS_Translator * translator,
                      iSimpleStream * in, oSimpleStream * out) {
    if (encoder == nullptr && translator == nullptr) {
        *out << *in;
        return 0;
    }
    if (encoder == nullptr) return translator->CodePage_to_CharSet(in, out);
    if (translator == nullptr) return encoder->encode(in, out);

    char block[8192];
    ioSimpleStream stage(block, static_cast<int>(sizeof block), 0);
    int const result = translator->CodePage_to_CharSet(in, &stage);
    if (result != 0 && result != output_usable) return result;
    stage.rewind();
    return encoder->encode(&stage, out);
}
