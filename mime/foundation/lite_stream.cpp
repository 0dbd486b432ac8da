// mime/foundation/lite_stream.cpp - the one body that the abstract source of lines has
#include "mime/foundation/lite_stream.hpp"

TiStreamLite::~TiStreamLite() = default;

int TiStreamLite::peek() {
    unsigned char byte = 0;
    return PeekByte(&byte) != 0 ? byte : -1;
}
