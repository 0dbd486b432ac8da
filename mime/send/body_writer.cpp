// mime/send/body_writer.cpp - passes a body through translator and encoder into the output
//
// The body's `streambuf` is read, and not the `istream`: `istream::read` keeps exceptions of the
// client's `streambuf` inside, and the end of a body that broke would look like any other.
#include "mime/send/body_writer.hpp"

#include "mime/nls/translator.hpp"
#include "mime/send/encoder_in_use.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/translation.hpp"

#include <istream>
#include <streambuf>
#include <string>
#include <utility>

namespace vellum {

namespace {

/// Up to `size` bytes of the body, with the states that istream::read sets; 0 when it is over.
std::size_t read_block(std::istream & body, unsigned char * block, std::size_t size) {
    if (body.rdstate() != std::ios_base::goodbit || body.rdbuf() == nullptr) return 0;
    auto const wanted = static_cast<std::streamsize>(size);
    std::streamsize const read = body.rdbuf()->sgetn(reinterpret_cast<char *>(block), wanted);
    if (read < wanted) body.setstate(std::ios_base::eofbit | std::ios_base::failbit);
    return read > 0 ? static_cast<std::size_t>(read) : 0;
}

std::string_view as_text(unsigned char const * block, std::size_t size) {
    return {reinterpret_cast<char const *>(block), size};
}

/// A body as a translator's input. It keeps the bytes that the translator has taken while nothing
/// came out, so that they can go out untranslated if it fails.
class TranslatorInput final : public iSimpleStream {
public:
    TranslatorInput(std::istream & body, oBufferStream & out, unsigned char * block,
                    std::size_t block_size)
        : iSimpleStream(block, 0), body_(body), out_(out), block_(block), block_size_(block_size),
          output_mark_(out.pcountExact()) {}

    bool Underflow() override {
        if (get_ > end_) return false;
        get_ = end_; // a bulk copy takes the whole block without moving get_
        Account();
        std::size_t size = 0;
        if (out_.good()) {
            oBufferStream::KeepBlock const keep(out_);
            size = read_block(body_, block_, block_size_);
        }
        if (size == 0) return iSimpleStream::Underflow();
        base_ = get_ = block_;
        end_ = block_ + size;
        loaded_ += size;
        return true;
    }

    /// The bytes taken since something last came out; they don't count any more.
    std::string TakeUntranslated() {
        Account();
        return std::exchange(silent_, {});
    }

    /// The bytes of the block that have not been taken; they count as taken now.
    std::string_view TakeRest() {
        std::string_view const rest = as_text(get_, unread());
        if (get_ <= end_) base_ = get_ = end_;
        return rest;
    }

    std::size_t Taken() const { return loaded_ - unread(); }

private:
    void Account() {
        if (out_.pcountExact() != output_mark_) {
            silent_.clear();
        } else if (get_ <= end_) {
            silent_.append(as_text(base_, static_cast<std::size_t>(get_ - base_)));
        }
        if (get_ <= end_) base_ = get_;
        output_mark_ = out_.pcountExact();
    }

    std::istream & body_;
    oBufferStream & out_;
    unsigned char * const block_;
    std::size_t const block_size_;
    std::size_t loaded_ = 0;
    long long output_mark_; // how much had come out when base_ was set
    std::string silent_;    // taken since something last came out, in front of base_
};

} // namespace

void BodyWriter::Write(std::istream & body) {
    if (translator_ == nullptr) {
        if (encoder_ != nullptr) {
            WriteEncoded(body);
        } else if (body.rdbuf() != nullptr) {
            out_.CopyFrom(*body.rdbuf());
        }
        return;
    }
    if (translator_->Takes_Pieces(character_set_)) return TranslatePieces(body);
    auto const restrictions = translator_->Query_Buffering_Restrictions(character_set_);
    if (restrictions != NLS_Translator::no_restriction &&
        restrictions != NLS_Translator::double_byte) {
        TranslateWhole(body);
    } else if (encoder_ != nullptr) {
        TranslateBlocks(body);
    } else {
        TranslateStream(body);
    }
}

void BodyWriter::WriteEncoded(std::istream & body) {
    unsigned char block[block_size];
    while (out_.good()) {
        std::size_t const size = read_block(body, block, block_size);
        if (size == 0) return;
        Put(as_text(block, size));
    }
}

void BodyWriter::TranslatePieces(std::istream & body) {
    unsigned char block[block_size];
    while (out_.good()) {
        std::size_t const size = read_block(body, block, block_size);
        if (size == 0) break;
        TranslatePiece(as_text(block, size), false);
    }
    if (out_.good()) TranslatePiece("", true);
}

void BodyWriter::TranslatePiece(std::string_view piece, bool last) {
    unsigned char room[block_size];
    oSimpleStream translated(room, static_cast<int>(block_size));
    Put(translated_piece(*translator_, piece, last, translated));
}

void BodyWriter::TranslateBlocks(std::istream & body) {
    unsigned char block[block_size];
    unsigned char offered[block_size] = {}; // a translator that tells a wrong length leaks nothing
    while (out_.good()) {
        std::size_t const size = read_block(body, block, block_size);
        if (size == 0) return;
        Put(Translation(*translator_, as_text(block, size), offered, block_size).result());
    }
}

void BodyWriter::TranslateStream(std::istream & body) {
    unsigned char block[block_size];
    TranslatorInput in(body, out_, block, block_size);
    while (in.peek() >= 0) {
        std::size_t const taken = in.Taken();
        int const failure = translator_->CodePage_to_CharSet(&in, &out_);
        if (failure != 0) Put(in.TakeUntranslated());
        if (in.Taken() == taken) Put(in.TakeRest()); // it doesn't go on by itself
    }
    out_.FlushIfAsked();
}

void BodyWriter::TranslateWhole(std::istream & body) {
    unsigned char block[block_size] = {};
    std::string whole;
    while (std::size_t const size = read_block(body, block, block_size)) {
        whole.append(as_text(block, size));
    }
    Put(Translation(*translator_, whole, block, block_size).result());
}

void BodyWriter::Put(std::string_view text) {
    if (encoder_ != nullptr) {
        encode(*encoder_, text, out_);
    } else {
        out_.write(text);
    }
}

} // namespace vellum
