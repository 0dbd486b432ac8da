// mime/codec/transfer_codec.hpp - the contract of the content transfer encoders and decoders
//
// RFC 2045 6. A codec is fed a stream at a time. Each call takes all that the stream holds, and a
// group that is still open when the input ends waits in the object for the next call:
//
//     Create -> decode(in, out) -> decode(in, out) ... -> Delete (writes the tail to the last out)
#pragma once

#include "mime/codec/decoding_rules.hpp"
#include "mime/export.hpp"

class iSimpleStream;
class oSimpleStream;

namespace vellum {

/// What encoders and decoders have in common: the tail that they write at their end, and their
/// release. `Codec` is the family's abstract class, which derives from this class.
template <typename Codec>
class TransferCodec {
public:
    /// `Delete` for a pointer that may be null; null does nothing.
    static void Delete(Codec * codec) {
        if (codec != nullptr) codec->Delete();
    }

    /// Writes the tail of the data to `output` and sets `output` to null, so that it happens once,
    /// also when the output throws. Does nothing while `output` is null. `Delete` and the
    /// destructor do it as well.
    void Flush() {
        Codec & codec = static_cast<Codec &>(*this);
        if (codec.output == nullptr) return;
        struct Release {
            oSimpleStream *& output;
            ~Release() { output = nullptr; }
        } const release{codec.output};
        codec.writeTail();
    }

protected:
    TransferCodec() = default;
    TransferCodec(TransferCodec const &) = default;
    TransferCodec & operator=(TransferCodec const &) = default;
    ~TransferCodec() = default;

    /// `Flush` for the destructor of a concrete class: nothing that the output throws gets out.
    void flushAtEnd() noexcept {
        try {
            Flush();
        } catch (...) { // who wants to see it calls Delete or Flush
        }
    }
};

/// Holds one codec and deletes it at the end of its scope. OWNS the codec.
template <typename Codec>
class TransferCodecHolder {
public:
    TransferCodecHolder(TransferCodecHolder const &) = delete;

    operator Codec *() const { return codec_; }
    Codec * operator->() const { return codec_; }
    /// True for an empty engine.
    bool operator!() const { return codec_ == nullptr; }

    /// Deletes the codec and empties the engine, which must hold a codec.
    void close() {
        Codec * const codec = codec_;
        codec_ = nullptr;
        codec->Delete();
    }

protected:
    explicit TransferCodecHolder(Codec * codec) : codec_(codec) {}
    TransferCodecHolder & operator=(TransferCodecHolder const &) = default;
    /// Calls `Delete` on a held codec. What the output throws stays inside; `close` lets it pass.
    ~TransferCodecHolder() {
        try {
            Codec::Delete(codec_);
        } catch (...) { // the codec is gone all the same
        }
    }

    Codec * codec_;
};

} // namespace vellum

/// A transfer encoder for one body. It belongs to one thread.
///
/// Encoders refuse no input and throw nothing of their own; what the streams throw passes through.
/// After that the object can only be deleted.
class VELLUM_EXPORT MIME_TransferEncoding : public vellum::TransferCodec<MIME_TransferEncoding> {
public:
    /// The destructor of each codec does what `Flush` does. What the output throws then can't leave
    /// a destructor and stays inside; `Delete` and `Flush` let it pass.
    virtual ~MIME_TransferEncoding();

    /// Reads `in` to its end and writes the encoded form to `out`, from where the last call
    /// stopped. Neither may be null. `out` is remembered and has to live until the next call or
    /// until the object is deleted.
    ///
    /// Returns 0 if no group is open, and 1 if the input ended within a group: the object holds it,
    /// continues it at the next call, and closes it when it is deleted. Neither is an error. The
    /// buffers of `in` and `out` must not overlap.
    virtual int encode(iSimpleStream * in, oSimpleStream * out) = 0;

    /// Writes the tail and destroys the object, which must be on the heap. It is destroyed also
    /// when the output throws, and the exception passes through. A class whose objects a cache
    /// keeps overrides it. Not to be called through a null pointer; for that there is the static
    /// form.
    virtual void Delete();

    using TransferCodec::Delete;

    /// A new encoder on the heap, which the caller releases with `Delete`: for
    /// `RFC1521::base64` and `RFC1521::quoted_printable`. `name` is compared by its address: it is
    /// one of the tokens or the text of a `SymToken`. Null for all else, as for the encodings that
    /// leave a body as it is, and when memory runs out. `breakLines`: whether the output is cut
    /// into lines of at most 76 characters.
    static MIME_TransferEncoding * Create(char const * name, bool breakLines);

protected:
    explicit MIME_TransferEncoding(bool break_lines) : breakLines(break_lines) {}
    MIME_TransferEncoding(MIME_TransferEncoding const &) = default;
    MIME_TransferEncoding & operator=(MIME_TransferEncoding const &) = default;

    friend class vellum::TransferCodec<MIME_TransferEncoding>;
    /// Called by `Flush`, while `output` is set: closes what is open and writes it there.
    virtual void writeTail();

public:
    /// The position in the codec's state machine; 0 between groups.
    int state = 0;
    /// The stream of the last call, not owned; null before the first. A user whose stream is gone
    /// sets it to null, and what the codec still holds is then dropped.
    oSimpleStream * output = nullptr;
    /// Whether the output is cut into lines.
    bool breakLines;
};

/// A transfer decoder for one body. It belongs to one thread.
///
/// Decoders refuse no input: damage is passed over by the rules of each. They throw nothing of
/// their own; what the streams throw passes through, and after that the object can only be deleted.
class VELLUM_EXPORT MIME_TransferDecoding : public vellum::TransferCodec<MIME_TransferDecoding> {
public:
    /// As for the encoders.
    virtual ~MIME_TransferDecoding();

    /// Reads `in` and writes the decoded form to `out`, from where the last call stopped; a body
    /// may be cut between calls at any byte. Neither may be null. `out` is remembered and has to
    /// live until the next call or until the object is deleted. `in` is read to its end, unless the
    /// padding of base64 ends the data before.
    ///
    /// Returns 0 at a clean point, and 1 if the input ended within a group: the object holds it,
    /// continues it at the next call, or delivers what is in it when it is deleted. For uuencode: 1
    /// until a line has been read behind the line that ends the data, then 0. Neither is an error.
    /// The buffers of `in` and `out` must not overlap.
    virtual int decode(iSimpleStream * in, oSimpleStream * out) = 0;

    /// As for the encoders.
    virtual void Delete();
    using TransferCodec::Delete;

    /// Ends the data: adds to `Defects` what the end of the input shows, and does `Flush` by the
    /// rule `deliver_unfinished_end`; without the rule, sets `output` to null, and what is still
    /// open is dropped. Called once at most; only the release of the object may follow.
    void Finish();

    /// What the decoder has met so far. The defects of the end (an unfinished group, a missing
    /// "end") come with `Finish` or `Flush`.
    DecodingDefects const & Defects() const { return defects; }

    /// Before the first call of `decode`.
    void SetRules(DecodingRules const & accepted) { rules = accepted; }

    /// A new decoder on the heap, which the caller releases with `Delete`: for `RFC1521::base64`,
    /// `RFC1521::quoted_printable` and `X::uuencode`, compared by address as for the encoders. Null
    /// for all else, and when memory runs out.
    static MIME_TransferDecoding * Create(char const * name);
    /// The same with rules of its own.
    static MIME_TransferDecoding * Create(char const * name, DecodingRules const & rules);

protected:
    MIME_TransferDecoding() = default;
    MIME_TransferDecoding(MIME_TransferDecoding const &) = default;
    MIME_TransferDecoding & operator=(MIME_TransferDecoding const &) = default;

    friend class vellum::TransferCodec<MIME_TransferDecoding>;
    /// As for the encoders; calls `noteEnd` first.
    virtual void writeTail();
    /// Called once, before the tail is written or dropped: adds to `defects` what is a defect if
    /// the data end here.
    virtual void noteEnd();

public:
    /// As for the encoders.
    oSimpleStream * output = nullptr;
    /// The position in the codec's state machine; 0 between groups.
    int state = 0;

protected:
    DecodingRules rules;
    DecodingDefects defects;
};

/// Holds one encoder.
class VELLUM_EXPORT MIME_TransferEncoding_Engine
    : public vellum::TransferCodecHolder<MIME_TransferEncoding> {
public:
    /// Takes `codec`, which may be null.
    MIME_TransferEncoding_Engine(MIME_TransferEncoding * codec = nullptr)
        : TransferCodecHolder(codec) {}
    MIME_TransferEncoding_Engine(MIME_TransferEncoding_Engine const &) = delete;

    /// Takes `codec` in place of the held codec, which is not deleted.
    MIME_TransferEncoding_Engine & operator=(MIME_TransferEncoding * codec) {
        codec_ = codec;
        return *this;
    }
    /// Holds the other's codec too, and does not delete its own. One codec may be deleted once
    /// only: before both engines end, one of them has to be given a null pointer.
    MIME_TransferEncoding_Engine & operator=(MIME_TransferEncoding_Engine const &) = default;
};

/// Holds one decoder, as `MIME_TransferEncoding_Engine` an encoder.
class VELLUM_EXPORT MIME_TransferDecoding_Engine
    : public vellum::TransferCodecHolder<MIME_TransferDecoding> {
public:
    MIME_TransferDecoding_Engine(MIME_TransferDecoding * codec = nullptr)
        : TransferCodecHolder(codec) {}
    MIME_TransferDecoding_Engine(MIME_TransferDecoding_Engine const &) = delete;

    MIME_TransferDecoding_Engine & operator=(MIME_TransferDecoding * codec) {
        codec_ = codec;
        return *this;
    }
    MIME_TransferDecoding_Engine & operator=(MIME_TransferDecoding_Engine const &) = default;
};

namespace vellum {

/// The token of the encoding that `word` is another name of, whatever its case: `X::uuencode` for
/// "uuencode", "x-uue" and "uue". Null for all else, also for the tokens' own texts.
VELLUM_EXPORT char const * encoding_of_alias(char const * word);

} // namespace vellum
