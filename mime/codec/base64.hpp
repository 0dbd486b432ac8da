// mime/codec/base64.hpp - the base64 transfer encoding (RFC 2045 6.8), in both directions
#pragma once

#include "mime/codec/transfer_codec.hpp"
#include "mime/export.hpp"

#include <array>

/// Encodes bytes as base64. CR and LF are data like all others: there is no text mode.
///
/// With `breakLines` a line has 76 characters, which are 57 bytes of input, and ends in CR LF; the
/// last line ends so too, and no empty line follows a full line. Without it the output is a single
/// line of any length with no line end, as an encoded word needs it. The tail is an open group,
/// closed with "=", and the end of the last line.
class VELLUM_EXPORT Encoding64 : public MIME_TransferEncoding {
public:
    /// The alphabet, in the order of its values.
    static constexpr char basis_64[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

    explicit Encoding64(bool break_lines = true);
    /// A copy takes the open group along and shares the output.
    Encoding64(Encoding64 const &) = default;
    Encoding64 & operator=(Encoding64 const &) = default;
    ~Encoding64() override;

    int encode(iSimpleStream * in, oSimpleStream * out) override;

protected:
    void writeTail() override;

private:
    void output64chunk(int c1, int c2, int c3, int pads);
    void take(unsigned char byte);
    unsigned char const * encodeGroups(unsigned char const * next, unsigned char const * last);
    void endFullLine();

    std::array<int, 3> group_{}; // the bytes of the open group; state tells how many
    int column_ = 0;             // characters on the output line; stays 0 without breakLines
};

/// Decodes base64. Characters outside the alphabet are passed over wherever they stand, line ends
/// among them. "=" in the first or second place of a group, or a group that ends in it, ends the
/// data: `decode` returns 0 and leaves the rest of the input unread, but by the rule
/// `padding_ends_line_only`. The tail is what whole bytes an open group holds.
class VELLUM_EXPORT Decoding64 : public MIME_TransferDecoding {
public:
    /// The value of each ASCII character: 0 to 63, 0x80 for "=", 0xFF outside the alphabet.
    static std::array<unsigned char, 128> const index_64;

    Decoding64();
    /// A copy takes the open group along and shares the output.
    Decoding64(Decoding64 const &) = default;
    Decoding64 & operator=(Decoding64 const &) = default;
    ~Decoding64() override;

    int decode(iSimpleStream * in, oSimpleStream * out) override;

protected:
    void writeTail() override;
    void noteEnd() override;

private:
    bool take(unsigned char c);
    bool endAtPadding(bool is_finished);
    bool writeGroup(int values);
    void AlmostPutC(int byte);
    unsigned char const * decodeGroups(unsigned char const * next, unsigned char const * last);

    bool has_padding_ = false;             // some group has ended in "="
    std::array<unsigned char, 4> group_{}; // the values of the open group; state tells how many
};
