// tests/type_guess_test.cpp - media types from file names and first bytes, and extensions from
// types
#include "mime/foundation/tokens.hpp"
#include "mime/util/type_guess.hpp"
#include "mime/util/type_tokens.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

namespace {

using namespace std::string_literals;

/// "type/subtype result", with presets for what is left alone.
std::string guess(char const * file_name, std::istream * data) {
    char const * type = "preset";
    char const * subtype = "preset";
    int const result = MimeUtil::GuessMimeType(file_name, data, type, subtype);
    return std::string(type) + "/" + subtype + " " + std::to_string(result);
}

TEST(MimeType, comes_from_the_file_name) {
    std::pair<char const *, char const *> const rows[] = {
        {"report.DOC", "application/octet-stream 0"},
        {"a.tar.gz", "application/x-gzip 0"},
        {".txt", "text/plain 0"},
        {"photo.JPE", "image/JPEG 0"},
        {"archive.z", "application/x-compress 0"},
        {"picture.ras", "image/x-cmu-raster 0"},
        {"readme.xyz", "application/octet-stream 1"},
        {"txt", "application/octet-stream 1"},
        {"name.", "application/octet-stream 1"},
        {"dir.txt/file", "application/octet-stream 1"},
        {nullptr, "application/octet-stream 1"},
    };
    for (auto const & [name, expected] : rows)
        EXPECT_EQ(guess(name, nullptr), expected) << expected;
    std::istringstream unread("GIF89a");
    EXPECT_EQ(guess("a.html", &unread), "text/html 0");
    EXPECT_EQ(unread.tellg(), 0);
}

TEST(MimeType, comes_from_the_first_bytes) {
    std::pair<std::string, char const *> const rows[] = {
        {"%!PS-Adobe", "application/PostScript 0"},
        {"\xCA\xFE\xBA\xBE", "application/octet-stream 0"},
        {"\xCA\xFE\xBA\xBF", "application/octet-stream 1"},
        {"GIF89a\1", "image/GIF 0"},
        {"gif89a", "preset/preset 0"},
        {"{\\rtf1}", "application/rtf 0"},
        {"<HtMl", "text/html 0"},
        {"<htm", "preset/preset 0"},
        {"\xFF\xD8\xFF\xE0\0\x10JFIF"s, "image/JPEG 0"},
        {"\xFF\xD8\xFF\xE1\0\x10JFIF"s, "application/octet-stream 1"},
        {"\xFF\xD8\xFF\xE0\0\x10JFI"s, "application/octet-stream 1"},
        {"hello\r\n", "preset/preset 0"},
        {"\t ~\x7F", "preset/preset 0"},
        {"a\x0C", "application/octet-stream 1"},
        {"", "application/octet-stream 1"},
        {std::string(1023, 'a') + '\1', "application/octet-stream 1"},
        {std::string(1024, 'a') + '\1', "preset/preset 0"},
    };
    for (auto const & [data, expected] : rows) {
        std::istringstream stream("head" + data);
        stream.ignore(4);
        EXPECT_EQ(guess("readme.xyz", &stream), expected) << data;
        EXPECT_TRUE(stream.good() && stream.tellg() == 4) << data;
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
    struct {
        char const * type;
        char const * subtype;
        char const * expected;
        char const * short_form;
        int result;
    } const rows[] = {
        {"text", "plain", "txt", "txt", 0},
        {"image", "tiff", "tiff", "tif", 0},
        {"application", "octet-stream", "bin", "bin", 0},
        {"application", "x-texinfo", "texi", "txi", 0},
        {"message", "rfc822", "txt", "txt", 0},
        {"text", "x-unheard", "txt", "txt", 0},
        {"MESSAGE", "partial", "txt", "txt", 0},
        {"application", "x-unheard", "bin", "bin", 1},
        {"text", nullptr, "txt", "txt", 0},
        {nullptr, "plain", "bin", "bin", 1},
    };
    for (auto const & row : rows) {
        char const * extension = nullptr;
        EXPECT_EQ(MimeUtil::GuessFileExt(row.type, row.subtype, extension, 0), row.result);
        EXPECT_STREQ(extension, row.expected);
        EXPECT_EQ(MimeUtil::GuessFileExt(row.type, row.subtype, extension, 1), row.result);
        EXPECT_STREQ(extension, row.short_form);
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
