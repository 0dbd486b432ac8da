// mime/note/defect.hpp - what a reader tells of mail that isn't as it should be
#pragma once

#include "mime/export.hpp"

/// What was passed over, repaired, cut off or guessed. MimeINote::Defect gets it. The numbers stay
/// the same from version to version; new kinds come behind the last.
enum MimeDefect {
    // Structure
    Defect_ByteOrderMark = 1,  ///< A byte order mark stands in front of the first field.
    Defect_StrayLine,          ///< A line of a header is no field, and was passed over.
    Defect_HeaderRunsIntoBody, ///< No blank line ends the header; the body begins at a line that
                               ///< is no field.
    Defect_HeaderRunsIntoPart, ///< No blank line ends the header; a delimiter does.
    Defect_HeaderUnfinished,   ///< The input ends within the header.
    Defect_HeaderTooLong,      ///< The limit of SetHeaderLimit was reached; fields were passed
                               ///< over.
    Defect_BoundaryMissing,    ///< A multipart without a boundary (RFC 2046 5.1.1).
    Defect_BoundaryNotFound,   ///< No delimiter of a multipart ever comes.
    Defect_MultipartUnclosed,  ///< A multipart ends without its closing delimiter.
    Defect_DelimiterBlanks,    ///< A delimiter is followed by blanks (RFC 2046 5.1.1 allows it).
    Defect_LineEndsMixed,      ///< A delimiter's line ends are not those of the header.
    Defect_NestedTooDeep,      ///< The limit of SetNestingLimit was reached; a part is data.
    Defect_TooManyParts,       ///< The limit of SetPartLimit was reached; parts are data.
    Defect_EncodedContainer,   ///< A multipart or message has a transfer encoding that RFC 2045
                               ///< 6.4 forbids.
    Defect_FragmentNotStored,  ///< A message/partial was delivered as it stands.
    Defect_TypeTwice,          ///< A header has a second Content-Type.
    // Fields
    Defect_FieldCut,        ///< A field has a NUL; what is behind it was passed over.
    Defect_BadType,         ///< A Content-Type without a type and subtype.
    Defect_BadParameter,    ///< A parameter that can't be read, or not in full.
    Defect_BadAddress,      ///< An element of a list of addresses that can't be read, or not
                            ///< in full.
    Defect_GroupUnclosed,   ///< A group of addresses without its ";".
    Defect_BadDate,         ///< A date that can't be read.
    Defect_BadEncodedWord,  ///< An encoded word that can't be decoded; its text stays.
    Defect_UnknownEncoding, ///< A Content-Transfer-Encoding that isn't known.
    Defect_UnknownCharSet,  ///< A character set that isn't known, or can't be translated.
    Defect_EightBitField,   ///< Raw 8-bit text in a field; its set was guessed.
    // Bodies
    Defect_CharSetGuessed,     ///< 8-bit text without a set that it can be of; it was guessed.
    Defect_BadText,            ///< Bytes that are no text of their set.
    Defect_BadBase64,          ///< A character that base64 doesn't have, or data behind padding.
    Defect_UnfinishedBase64,   ///< The last group isn't complete.
    Defect_BadQuotedPrintable, ///< "=" that begins no escape.
    Defect_BadUuencode,        ///< No "begin" or no "end", or text around them that was passed
                               ///< over.
};

/// A short text for people, in English, without a full stop; "unknown defect" for any other number.
/// The text is static.
VELLUM_EXPORT char const * MimeDefectText(MimeDefect defect);
