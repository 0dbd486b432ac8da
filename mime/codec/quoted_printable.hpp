// mime/codec/quoted_printable.hpp - the quoted-printable transfer encoding (RFC 2045 6.7), both
// ways
#pragma once

#include "mime/codec/transfer_codec.hpp"
#include "mime/export.hpp"

#include <array>
#include <cstddef>

/// Encodes text as quoted-printable.
///
/// Only CR LF is a line end; a lone CR or LF is data and is escaped. Beyond the encoding itself it
/// keeps a text whole on its way: a line's trailing white space stands before a soft break, a dot
/// at the start of a line (SMTP) and "From " behind a line end (mailbox files) are escaped. With
/// `breakLines` no output line has more than 75 characters and the "=" of its soft break, and the
/// tail of data that don't end in a line end is a soft break.
class VELLUM_EXPORT EncodingQP : public MIME_TransferEncoding {
public:
    static constexpr char basis_hex[] = "0123456789ABCDEF";

    explicit EncodingQP(bool break_lines = true);
    /// A copy takes along what has been read, and shares the output.
    EncodingQP(EncodingQP const &) = default;
    EncodingQP & operator=(EncodingQP const &) = default;
    ~EncodingQP() override;

    int encode(iSimpleStream * in, oSimpleStream * out) override;

    /// "From " is escaped wherever it would begin an encoded line: at the start of the data and
    /// behind a soft break too. Called in front of the first data.
    void escapeEveryFrom() {
        escapes_every_from_ = true;
        previous_ = '\n';
    }

protected:
    void writeTail() override;

private:
    void take(unsigned char byte);
    void takeBetweenCharacters(unsigned char byte);
    unsigned char const * encodeRun(unsigned char const * next, unsigned char const * last);
    void escape(unsigned char byte);
    void writeFrom(bool blank_follows);
    void endLine();
    bool beginsEncodedLine() const;
    void CheckLineLength(int n);
    void advance(int n);

    // What the output line ended in so far. Only blank, tab and LF mean something, so that the
    // first line of the data isn't a line that follows a line end.
    unsigned char previous_ = 0xFF;
    bool escapes_every_from_ = false;
    int column_ = 0; // characters on the output line
};

/// Decodes quoted-printable. Each line end, CR LF or LF, becomes CR LF, and a soft break of either
/// form nothing. A CR that is followed by anything else is dropped. An escape is not validated, but
/// by the rule `keep_invalid_escapes`, and white space before a line end is kept. The tail is a CR
/// at the very end; an unfinished escape is dropped, or stays by that rule if it has a digit.
class VELLUM_EXPORT DecodingQP : public MIME_TransferDecoding {
public:
    /// The value of each ASCII character as a hexadecimal digit of either case, or 0xFF.
    static std::array<unsigned char, 128> const index_hex;

    DecodingQP();
    /// A copy takes along what has been read, and shares the output.
    DecodingQP(DecodingQP const &) = default;
    DecodingQP & operator=(DecodingQP const &) = default;
    ~DecodingQP() override;

    int decode(iSimpleStream * in, oSimpleStream * out) override;

protected:
    void writeTail() override;
    void noteEnd() override;

private:
    void take(unsigned char c);
    void takeBehindEquals(unsigned char c);
    void takeSecondDigit(unsigned char c);
    void takeBehindBlanks(unsigned char c);
    void takeBetweenCharacters(unsigned char c);
    unsigned char const * decodeRuns(unsigned char const * next, unsigned char const * last);

    unsigned char first_digit_ = 0;          // of the escape being read
    std::array<unsigned char, 75> blanks_{}; // behind "=", as long as they may be a soft break's
    std::size_t blank_count_ = 0;
};
