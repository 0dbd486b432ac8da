// mime/send/body_writer.hpp - passes a body through translator and encoder into the output
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string_view>

class MIME_TransferEncoding;
class NLS_CharSet;
class NLS_Translator;
class oBufferStream;

namespace vellum {

/// Writes one body. Translation comes first, then the transfer encoding. The body passes in blocks,
/// whatever its lines. It is held whole only for a translator that neither takes pieces
/// (NLS_Translator::Takes_Pieces) nor serves a set whose text can be divided anywhere.
///
/// A body stream with an error, and an output that has ended, end the body at that point. What the
/// `streambuf` of the body throws passes through.
class BodyWriter {
public:
    /// `encoder` and `translator` may be null; `character_set` is what the translator is for.
    BodyWriter(oBufferStream & out, MIME_TransferEncoding * encoder, NLS_Translator * translator,
               NLS_CharSet * character_set)
        : out_(out), encoder_(encoder), translator_(translator), character_set_(character_set) {}

    /// All of `body`. The encoder keeps its tail.
    void Write(std::istream & body);

private:
    static constexpr std::size_t block_size = 2048;

    void WriteEncoded(std::istream & body);
    void TranslatePieces(std::istream & body);
    void TranslatePiece(std::string_view piece, bool last);
    void TranslateBlocks(std::istream & body);
    void TranslateStream(std::istream & body);
    void TranslateWhole(std::istream & body);
    void Put(std::string_view text);

    oBufferStream & out_;
    MIME_TransferEncoding * encoder_;
    NLS_Translator * translator_;
    NLS_CharSet * character_set_;
};

} // namespace vellum
