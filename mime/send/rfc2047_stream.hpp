// mime/send/rfc2047_stream.hpp - a header text as plain text, quoted string or encoded word
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <string_view>

class NLS_CharSet;
struct MimeSender;

/// Takes one header text, of any length, and writes to the sender's stream what may stand in a
/// header for it (RFC 2047):
///
/// - an empty text: nothing, not even quotes;
/// - printable ASCII and tabs, or a text that is an encoded word already ("=?" at its begin, "?="
///   at its end, 8 bytes or more): the text as it stands. In a parameter it stands between quotes,
///   and so does a display name that isn't an encoded word yet. With the field guard on, only
///   well-formed encoded words count as such, and between quotes nothing may look like one;
/// - all else: one encoded word, however long, in the sender's character set and in the platform's
///   code page's best fit for headers if it has none; translated if a factory serves that set. In a
///   parameter the word stands between quotes, as mail programs want it against RFC 2047 5.
///
/// Nothing reaches the sender's stream before Finish, or the destructor. So the text that comes in
/// front is written first, and what comes behind when this object is done:
///
///     out << "Subject: ";
///     { oRFC2047Stream text(sender, false, false);  text << subject; }
///     out << "\r\n";
class VELLUM_EXPORT oRFC2047Stream : public oSimpleStream {
public:
    /// For the stream that `sender` writes to now; both outlive this object.
    ///
    /// \param quoted the text is the value of a parameter.
    /// \param phrase the text is the display name in front of an address.
    oRFC2047Stream(MimeSender * sender, bool quoted, bool phrase);

    /// As Finish, unless that was done or an exception is on its way. What the sender's stream
    /// throws can't leave a destructor: it stays inside. A caller that wants to see it calls
    /// Finish.
    ~oRFC2047Stream() override;

    /// Writes the result to the sender's stream, once; what is written into this stream afterwards
    /// is dropped. An exception of that stream or of a translator passes through.
    void Finish();

private:
    static constexpr int block_size = 2048;

    std::string_view text() const;
    bool CanStandPlain() const;
    void WritePlain(bool already_encoded);
    void WriteTranslated();
    void WriteEncodedWord(NLS_CharSet const & character_set, std::string_view text);
    void WriteB(std::string_view text);

    MimeSender * sender_;
    oSimpleStream * output_;
    bool quoted_;
    bool phrase_;
    bool finished_ = false;
    int exceptions_; // on their way at construction
    char block_[block_size];
};
