// mime/note/defect.cpp - the text of each defect
#include "mime/note/defect.hpp"

#include <array>
#include <cstddef>

namespace {

struct Row {
    MimeDefect defect;
    char const * text;
};

constexpr std::array rows{
    Row{Defect_ByteOrderMark, "byte order mark in front of the header"},
    Row{Defect_StrayLine, "line that is no field in the header"},
    Row{Defect_HeaderRunsIntoBody, "no blank line between header and body"},
    Row{Defect_HeaderRunsIntoPart, "no blank line between header and delimiter"},
    Row{Defect_HeaderUnfinished, "input ends within the header"},
    Row{Defect_HeaderTooLong, "header longer than the limit"},
    Row{Defect_BoundaryMissing, "multipart without a boundary"},
    Row{Defect_BoundaryNotFound, "multipart whose boundary is never found"},
    Row{Defect_MultipartUnclosed, "multipart without its closing delimiter"},
    Row{Defect_DelimiterBlanks, "blanks behind a delimiter"},
    Row{Defect_LineEndsMixed, "delimiter with other line ends than the header"},
    Row{Defect_NestedTooDeep, "nested deeper than the limit"},
    Row{Defect_TooManyParts, "more parts than the limit"},
    Row{Defect_EncodedContainer, "multipart or message with a transfer encoding"},
    Row{Defect_FragmentNotStored, "fragment delivered as it stands"},
    Row{Defect_TypeTwice, "more than one content type"},
    Row{Defect_FieldCut, "field with a NUL"},
    Row{Defect_BadType, "content type that can't be read"},
    Row{Defect_BadParameter, "parameter that can't be read"},
    Row{Defect_BadAddress, "address that can't be read"},
    Row{Defect_GroupUnclosed, "group of addresses that isn't closed"},
    Row{Defect_BadDate, "date that can't be read"},
    Row{Defect_BadEncodedWord, "encoded word that can't be decoded"},
    Row{Defect_UnknownEncoding, "unknown transfer encoding"},
    Row{Defect_UnknownCharSet, "unknown character set"},
    Row{Defect_EightBitField, "raw 8-bit text in a field"},
    Row{Defect_CharSetGuessed, "character set guessed"},
    Row{Defect_BadText, "bytes that are no text of their character set"},
    Row{Defect_BadBase64, "bad base64"},
    Row{Defect_UnfinishedBase64, "base64 that isn't complete"},
    Row{Defect_BadQuotedPrintable, "bad quoted-printable"},
    Row{Defect_BadUuencode, "bad uuencode"},
};

/// The row of a defect is the one at its number less 1.
constexpr bool rows_are_in_order() {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (static_cast<std::size_t>(rows[i].defect) != i + 1) return false;
    }
    return true;
}
static_assert(rows_are_in_order());

} // namespace

char const * MimeDefectText(MimeDefect defect) {
    auto const index = static_cast<std::size_t>(defect) - 1;
    return index < rows.size() ? rows[index].text : "unknown defect";
}
