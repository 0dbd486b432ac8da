// tests/type_guess_test.cpp - media types from file names and first bytes, and extensions from
// types: the rows of type_guess.case
#include "mime/foundation/tokens.hpp"
#include "mime/util/type_guess.hpp"
#include "mime/util/type_tokens.hpp"
#include "tests/support/case_rows.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace vellum::test;

/// "type/subtype result", with presets for what is left alone.
std::string guess(char const * file_name, std::istream * data) {
    char const * type = "preset";
    char const * subtype = "preset";
    int const result = MimeUtil::GuessMimeType(file_name, data, type, subtype);
    return std::string(type) + "/" + subtype + " " + std::to_string(result);
}

char const * text_or_null(std::string const & cell) {
    return cell == "null" ? nullptr : cell.c_str();
}

TEST(MimeType, comes_from_the_file_name) {
    for (Cells const & row : rows_of("type_guess.case", "file names"))
        EXPECT_EQ(guess(text_or_null(row[0]), nullptr), row[1]) << row[0];
    std::istringstream unread("GIF89a");
    EXPECT_EQ(guess("a.html", &unread), "text/html 0");
    EXPECT_EQ(unread.tellg(), 0);
}

TEST(MimeType, comes_from_the_first_bytes) {
    for (Cells const & row : rows_of("type_guess.case", "first bytes")) {
        std::istringstream stream("head" + row[0]);
        stream.ignore(4);
        EXPECT_EQ(guess("readme.xyz", &stream), row[1]) << row[0];
        EXPECT_TRUE(stream.good() && stream.tellg() == 4) << row[0];
    }
}

TEST(MimeType, leaves_a_stream_alone_that_cannot_go_back) {
    struct Pipe : std::stringbuf {
        using std::stringbuf::stringbuf;
        pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override {
            return pos_type(off_type(-1));
        }
    } pipe("GIF89a");
    std::istream stream(&pipe);
    EXPECT_EQ(guess(nullptr, &stream), "application/octet-stream 1");
    EXPECT_EQ(stream.get(), 'G');

    // Nor does it trouble one that throws.
    std::istringstream strict("short");
    strict.exceptions(std::ios_base::failbit | std::ios_base::eofbit);
    EXPECT_EQ(guess(nullptr, &strict), "preset/preset 0");
    EXPECT_EQ(strict.exceptions(), std::ios_base::failbit | std::ios_base::eofbit);
}

TEST(FileExtension, comes_from_the_type) {
    for (Cells const & row : rows_of("type_guess.case", "extensions")) {
        for (int const is_short : {0, 1}) {
            char const * extension = nullptr;
            int const result = MimeUtil::GuessFileExt(text_or_null(row[0]), text_or_null(row[1]),
                                                      extension, is_short);
            EXPECT_EQ(std::to_string(result), row[4]) << row[0] << row[1];
            EXPECT_EQ(extension, row[is_short == 0 ? 2 : 3]) << row[0] << row[1];
        }
    }
}

TEST(MimeType, and_subtype_are_the_tokens_themselves) {
    char const * type = nullptr;
    char const * subtype = nullptr;
    MimeUtil::GuessMimeType("a.bmp", nullptr, type, subtype);
    EXPECT_EQ(type, RFC1521::image);
    EXPECT_EQ(subtype, X_SubType::x_MS_bmp);
    EXPECT_STREQ(IANASubType::_32kadpcm, "32kadpcm");
}

} // namespace
