// mime/codec/uuencode.hpp - reads uuencoded bodies ("x-uuencode")
#pragma once

#include "mime/codec/transfer_codec.hpp"
#include "mime/export.hpp"

#include <array>
#include <cstddef>
#include <string_view>

/// Decodes one uuencoded file: what stands between a "begin " line of either case and a line of
/// length 0, which an empty line is too unless the rule `skip_empty_lines` finds data behind it, or
/// by the rule `end_word_ends_data` "end". Text around it is dropped, the mode and the file name as
/// well. A line yields the number of bytes that its first character tells: what lies beyond them is
/// not looked at, and what is missing or no character of the encoding counts as zero. The tail is a
/// last line without a line end.
class VELLUM_EXPORT DecodingUU : public MIME_TransferDecoding {
public:
    DecodingUU();
    /// A copy takes the gathered line along and shares the output.
    DecodingUU(DecodingUU const &) = default;
    DecodingUU & operator=(DecodingUU const &) = default;
    ~DecodingUU() override;

    int decode(iSimpleStream * in, oSimpleStream * out) override;

protected:
    void writeTail() override;
    void noteEnd() override;

private:
    int takeLine(std::string_view line);
    void decodeLine(std::string_view line);
    void gather(std::string_view text);
    void noteTextOutside(std::string_view line);

    std::array<char, 100> gathered_{}; // the start of a line that was cut by the end of an input
    std::size_t length_ = 0;
    bool has_end_ = false; // the line "end" has come, or stands for the end itself
};
