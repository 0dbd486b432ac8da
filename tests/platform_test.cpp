// tests/platform_test.cpp - the code page of the user's locale
#include "mime/platform/platform.hpp"

#include "tests/support/texts.hpp"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

namespace platform = vellum::platform;

TEST(CodePageTest, KnowsEncodingsByAllTheirSpellings) {
    std::string const rows =
        "UTF-8=65001 utf8=65001 ISO-8859-1=819 iso88591=819 ISO_8859-2=28592 "
        "ISO-8859-8=1255 ISO8859-9=1254 ISO-8859-15=28605 ISO-8859-16=28606 ISO-8859-17=0 "
        "KOI8-R=20866 KOI8-U=21866 EUC-JP=51932 SJIS=932 Shift_JIS=932 GB2312=936 GBK=936 "
        "GB18030=54936 BIG5-HKSCS=950 EUC-KR=949 CP1251=1251 windows-1252=1252 IBM850=850 "
        "TIS-620=874 CP=0 CP99999999999999999999999=0 ANSI_X3.4-1968=0 =0";
    for (std::string const & row : vellum::test::split(rows, ' ')) {
        std::string const encoding = row.substr(0, row.find('='));
        EXPECT_EQ(std::to_string(platform::code_page_of(encoding.c_str())),
                  row.substr(encoding.size() + 1))
            << encoding;
    }
}

class LocaleTest : public testing::Test {
protected:
    void SetUp() override {
        for (char const * const variable : {"LC_ALL", "LC_CTYPE", "LANG"})
            ::unsetenv(variable);
    }
};

TEST_F(LocaleTest, TheFirstVariableThatIsSetDecides) {
    // None of these has to be installed: then their names tell.
    EXPECT_EQ(platform::code_page(), 65001u);
    ::setenv("LANG", "ru_RU.KOI8-R", 1);
    EXPECT_EQ(platform::code_page(), 20866u);
    ::setenv("LC_CTYPE", "ja_JP.eucJP@x", 1);
    EXPECT_EQ(platform::code_page(), 51932u);
    ::setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_EQ(platform::code_page(), 65001u);
    ::setenv("LC_ALL", "", 1);
    EXPECT_EQ(platform::code_page(), 51932u);
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
}

TEST_F(LocaleTest, IsUtf8WhereNoEncodingIsTold) {
    for (char const * const locale : {"C", "POSIX", "xx_XX", "xx_XX.unheard-of", ".", "@"}) {
        ::setenv("LC_ALL", locale, 1);
        EXPECT_EQ(platform::code_page(), 65001u) << locale;
    }
    ::setenv("LC_ALL", "de_DE@euro", 1);
    EXPECT_EQ(platform::code_page(), 28605u);
}

} // namespace
