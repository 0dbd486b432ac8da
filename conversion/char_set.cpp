// conversion/char_set.cpp - the character sets that the component knows
//
// The numbers 8, 9, 18, 24, 26, 27 and 32 to 40 are code pages that contain US-ASCII; 31, 160 and
// 256 are US-ASCII and the pivots. The others are of this table alone. The platform's UTF-8 has a
// number other than that of text labelled UTF-8, as text that bears one number on both sides passes
// unseen, and what the mail calls UTF-8 has to be looked at.
#include "conversion/char_set.hpp"

#include "conversion/system_set.hpp"
#include "mime/nls/conversion_interface.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace vellum::conversion {

namespace {

using Readers = std::array<char const *, 2>;

constexpr CharSet utf_8(int number) {
    return {.number = number, .name = "UTF-8", .scheme = Scheme::utf_8};
}

constexpr CharSet bytes(int number, char const * name, Readers readers, char const * label) {
    return {.number = number,
            .name = name,
            .scheme = Scheme::table,
            .readers = readers,
            .label = label};
}

/// A set of single bytes that is read and written as iconv knows it.
constexpr CharSet bytes(int number, char const * name, char const * iconv_name) {
    return bytes(number, name, {iconv_name}, iconv_name);
}
constexpr CharSet bytes(int number, char const * name) { return bytes(number, name, name); }

constexpr CharSet pairs(int number, char const * name, Structure structure, Readers readers,
                        char const * label, Limit limit = Limit::none) {
    return {.number = number,
            .name = name,
            .scheme = Scheme::table,
            .readers = readers,
            .label = label,
            .structure = structure,
            .limit = limit};
}

/// A set of pairs that is read and written as iconv knows it, longer sequences too.
constexpr CharSet whole(CharSet set) {
    set.writes_longer = true;
    return set;
}

constexpr CharSet wide(int number, char const * name, int unit, ByteOrder order) {
    return {.number = number, .name = name, .scheme = Scheme::wide, .unit = unit, .order = order};
}

constexpr CharSet shifted(int number, char const * name, Scheme scheme, int eight_bit = -1) {
    return {
        .number = number, .name = name, .scheme = scheme, .label = name, .eight_bit = eight_bit};
}

/// The sets whose pairs the 7-bit sets write.
constexpr int gb2312 = 210;
constexpr int euc_kr = 220;
constexpr int euc_jis = 235;    // EUC-JP that is written with JIS X 0208 alone
constexpr int euc_jis_ms = 237; // the same with the vendors' rows

constexpr Readers gb_readers = {"GB18030", "CP936"};
constexpr Readers big5_readers = {"CP950", "BIG5-HKSCS"};
constexpr Readers euc_jp_readers = {"EUC-JP", "EUC-JP-MS"};

constexpr CharSet char_sets[] = {
    // The local code pages.
    bytes(8, "IBM437", "CP437"),
    bytes(9, "IBM850", "CP850"),
    bytes(18, "IBM852", "CP852"),
    bytes(24, "IBM857", "CP857"),
    bytes(26, "windows-874", "CP874"),
    bytes(27, "ISO-8859-1", {"CP1252", "ISO-8859-1"}, "ISO-8859-1"),
    bytes(32, "windows-1250", "CP1250"),
    bytes(33, "windows-1251", "CP1251"),
    bytes(34, "windows-1252", "CP1252"),
    bytes(35, "windows-1253", "CP1253"),
    bytes(36, "windows-1254", "CP1254"),
    bytes(37, "windows-1255", "CP1255"),
    bytes(38, "windows-1256", "CP1256"),
    bytes(39, "windows-1257", "CP1257"),
    utf_8(40),

    bytes(31, "US-ASCII", {"CP1252"}, "US-ASCII"),
    utf_8(160),
    utf_8(256),

    // Further sets of single bytes.
    bytes(50, "windows-1258", "CP1258"),
    bytes(51, "IBM737", "CP737"),
    bytes(52, "IBM775", "CP775"),
    bytes(53, "IBM855", "CP855"),
    bytes(54, "IBM858", "CP858"),
    bytes(55, "IBM860", "CP860"),
    bytes(56, "IBM861", "CP861"),
    bytes(57, "IBM862", "CP862"),
    bytes(58, "IBM863", "CP863"),
    bytes(59, "IBM864", "CP864"),
    bytes(60, "IBM865", "CP865"),
    bytes(61, "IBM866", "CP866"),
    bytes(62, "IBM869", "CP869"),
    bytes(63, "KOI8-R"),
    bytes(64, "KOI8-U"),
    bytes(65, "TIS-620", {"TIS-620", "CP874"}, "TIS-620"),
    bytes(66, "macintosh", "MACINTOSH"),
    bytes(67, "x-mac-cyrillic", "MAC-CYRILLIC"),
    bytes(102, "ISO-8859-2"),
    bytes(103, "ISO-8859-3"),
    bytes(104, "ISO-8859-4"),
    bytes(105, "ISO-8859-5"),
    bytes(106, "ISO-8859-6"),
    bytes(107, "ISO-8859-7"),
    bytes(108, "ISO-8859-8"),
    bytes(109, "ISO-8859-9", {"CP1254", "ISO-8859-9"}, "ISO-8859-9"),
    bytes(110, "ISO-8859-10"),
    bytes(111, "ISO-8859-11"),
    bytes(113, "ISO-8859-13"),
    bytes(114, "ISO-8859-14"),
    bytes(115, "ISO-8859-15"),
    bytes(116, "ISO-8859-16"),

    // Chinese.
    pairs(200, "Big5", Structure::pairs, big5_readers, "BIG5", Limit::big5),
    pairs(201, "CP950", Structure::pairs, big5_readers, "CP950"),
    pairs(202, "Big5-HKSCS", Structure::pairs, {"BIG5-HKSCS", "CP950"}, "BIG5-HKSCS"),
    pairs(gb2312, "GB2312", Structure::gb18030, gb_readers, "GB2312"),
    pairs(211, "GBK", Structure::gb18030, gb_readers, "CP936", Limit::gbk),
    pairs(212, "CP936", Structure::gb18030, gb_readers, "CP936"),
    whole(pairs(213, "GB18030", Structure::gb18030, gb_readers, "GB18030")),
    shifted(214, "HZ-GB-2312", Scheme::hz, gb2312),
    whole(pairs(215, "EUC-TW", Structure::euc_tw, {"EUC-TW"}, "EUC-TW")),
    shifted(216, "ISO-2022-CN", Scheme::iso_2022_cn),

    // Korean.
    pairs(euc_kr, "EUC-KR", Structure::pairs, {"CP949"}, "EUC-KR"),
    pairs(221, "CP949", Structure::pairs, {"CP949"}, "CP949"),
    pairs(222, "Johab", Structure::pairs, {"JOHAB"}, "JOHAB"),
    shifted(223, "ISO-2022-KR", Scheme::iso_2022_kr, euc_kr),

    // Japanese.
    pairs(230, "Shift_JIS", Structure::shift_jis, {"CP932", "SJIS"}, "SJIS"),
    pairs(231, "Windows-31J", Structure::shift_jis, {"CP932"}, "CP932"),
    whole(pairs(232, "EUC-JP", Structure::euc_jp, euc_jp_readers, "EUC-JP")),
    pairs(euc_jis, "EUC-JP", Structure::euc_jp, euc_jp_readers, "EUC-JP", Limit::jis_x_0208),
    pairs(236, "CP51932", Structure::euc_jp, euc_jp_readers, "EUC-JP-MS"),
    pairs(euc_jis_ms, "EUC-JP", Structure::euc_jp, euc_jp_readers, "EUC-JP-MS", Limit::jis_x_0208),
    shifted(233, "ISO-2022-JP", Scheme::iso_2022_jp, euc_jis),
    shifted(238, "ISO-2022-JP-MS", Scheme::iso_2022_jp, euc_jis_ms),
    shifted(234, "ISO-2022-JP-2", Scheme::iso_2022_jp_2, euc_jis),

    // Unicode.
    wide(240, "UTF-16", 2, ByteOrder::told),
    wide(241, "UTF-16BE", 2, ByteOrder::big),
    wide(242, "UTF-16LE", 2, ByteOrder::little),
    wide(243, "UNICODE-1-1", 2, ByteOrder::big_or_told),
    wide(244, "UTF-32", 4, ByteOrder::told),
    wide(245, "UTF-32BE", 4, ByteOrder::big),
    wide(246, "UTF-32LE", 4, ByteOrder::little),
    shifted(250, "UTF-7", Scheme::utf_7),
};

struct Name {
    std::string_view key; // lower case, letters and digits alone
    int number;
};

/// The names that don't tell a number by their form.
constexpr Name names[] = {
    {"usascii", 31},
    {"ascii", 31},
    {"us", 31},
    {"iso646us", 31},
    {"iso646irv", 31},
    {"isoir6", 31},
    {"ansix341968", 31},
    {"ansix34", 31},
    {"utf8", 256},
    {"unicode11utf8", 256},
    {"unicode20utf8", 256},

    {"latin1", 27},
    {"isolatin1", 27},
    {"isoir100", 27},
    {"l1", 27},
    {"latin2", 102},
    {"isolatin2", 102},
    {"latin3", 103},
    {"isolatin3", 103},
    {"latin4", 104},
    {"isolatin4", 104},
    {"cyrillic", 105},
    {"isolatincyrillic", 105},
    {"arabic", 106},
    {"isolatinarabic", 106},
    {"greek", 107},
    {"isolatingreek", 107},
    {"hebrew", 108},
    {"isolatinhebrew", 108},
    {"logical", 108},
    {"visual", 108},
    {"latin5", 109},
    {"isolatin5", 109},
    {"latin6", 110},
    {"isolatin6", 110},
    {"latin7", 113},
    {"latin8", 114},
    {"latin9", 115},
    {"latin10", 116},
    {"koi8r", 63},
    {"koi8", 63},
    {"koi8u", 64},
    {"koi8ru", 64},
    {"tis620", 65},
    {"macintosh", 66},
    {"macroman", 66},
    {"mac", 66},
    {"maccyrillic", 67},
    {"macukrainian", 67},

    {"big5", 200},
    {"cnbig5", 200},
    {"chinesestandardinterchangecodeset12big5", 200},
    {"big5eten", 200},
    {"kzmcp950", 201},
    {"big5hkscs", 202},
    {"gb2312", 210},
    {"gb231280", 210},
    {"chinese", 210},
    {"isoir58", 210},
    {"iso58gb231280", 210},
    {"cngb", 210},
    {"euccn", 210},
    {"gb", 210},
    {"kzm1381", 210},
    {"gbk", 211},
    {"kzmcp936", 212},
    {"chinesestandardgbkzmcp936", 212},
    {"gb18030", 213},
    {"hzgb2312", 214},
    {"hz", 214},
    {"euctw", 215},
    {"euct", 215},
    {"iso2022int1", 215},
    {"cns11643", 215},
    {"chineseextendedunixcode", 215},
    {"iso2022cn", 216},

    {"ksc5601", 220},
    {"ksc56011987", 220},
    {"ksc56011989", 220},
    {"isoir149", 220},
    {"korean", 220},
    {"koreanksc56011989", 220},
    {"euckr", 220},
    {"ksc", 220},
    {"kzmcp949", 221},
    {"uhc", 221},
    {"johab", 222},
    {"iso2022kr", 223},

    {"shiftjis", 230},
    {"sjis", 230},
    {"mskanji", 230},
    {"windows31j", 231},
    {"eucjp", 232},
    {"eucpkdfmtjapanese", 232},
    {"ujis", 232},
    {"eucjpms", 232},
    {"eucjpwin", 232},
    {"iso2022jp", 233},
    {"iso2022jp1", 233},
    {"iso2022jp3", 233},
    {"iso2022jpms", 238},
    {"iso2022jp2", 234},

    {"utf16", 240},
    {"utf16be", 241},
    {"utf16le", 242},
    {"unicode11", 243},
    {"unicode", 243},
    {"iso10646ucs2", 243},
    {"iso10646", 243},
    {"ucs2", 243},
    {"utf32", 244},
    {"iso10646ucs4", 244},
    {"ucs4", 244},
    {"utf32be", 245},
    {"utf32le", 246},
    {"utf7", 250},
    {"unicode11utf7", 250},
};

struct CodePage {
    unsigned long code_page;
    int number;
};

/// Code pages of other vendors have the number of the page that is nearest to them.
constexpr CodePage code_pages[] = {
    {437, 8},     {737, 51},    {775, 52},    {819, 27},    {850, 9},     {852, 18},
    {855, 53},    {857, 24},    {858, 54},    {860, 55},    {861, 56},    {862, 57},
    {863, 58},    {864, 59},    {865, 60},    {866, 61},    {869, 62},    {874, 26},
    {932, 231},   {934, 221},   {936, 212},   {938, 201},   {942, 231},   {944, 221},
    {946, 212},   {948, 201},   {949, 221},   {950, 201},   {1200, 242},  {1201, 241},
    {1250, 32},   {1251, 33},   {1252, 34},   {1253, 35},   {1254, 36},   {1255, 37},
    {1256, 38},   {1257, 39},   {1258, 50},   {1361, 222},  {1381, 210},  {10000, 66},
    {10007, 67},  {12000, 246}, {12001, 245}, {20127, 31},  {20866, 63},  {20932, 232},
    {21866, 64},  {28591, 27},  {50220, 238}, {50221, 238}, {50222, 238}, {50225, 223},
    {51932, 236}, {51936, 210}, {51949, 220}, {51950, 215}, {52936, 214}, {54936, 213},
    {65000, 250}, {65001, 40},
};

/// The letters and digits of a name in lower case, without what stands behind a colon (a year) and
/// without an "x-" or a "cs" in front.
std::string key_of(std::string_view name) {
    std::string key;
    for (char const c : name.substr(0, name.find(':'))) {
        char const lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9')) key += lower;
    }
    bool const is_private = name.substr(0, 2) == "x-" || name.substr(0, 2) == "X-";
    key.erase(0, is_private ? 1 : key.compare(0, 2, "cs") == 0 ? 2 : 0);
    return key;
}

/// The number that follows `prefix` in `key` up to its end; 0 if that isn't so.
unsigned long number_behind(std::string_view prefix, std::string_view key) {
    if (key.substr(0, prefix.size()) != prefix) return 0;
    unsigned long number = 0;
    char const * const end = key.data() + key.size();
    auto const [stop, error] = std::from_chars(key.data() + prefix.size(), end, number);
    return error == std::errc() && stop == end ? number : 0;
}

/// The part of ISO 8859 that has the number; parts 6 and 8 say with a letter who orders the text.
int number_of_iso_8859(std::string_view key) {
    std::string_view const part = key.empty() || (key.back() != 'i' && key.back() != 'e')
                                      ? key
                                      : key.substr(0, key.size() - 1);
    unsigned long const number = number_behind("iso8859", part);
    if (number == 0 || number > 16) return -1;
    int const found = number == 1 ? 27 : 100 + static_cast<int>(number);
    return char_set_of(found) != nullptr ? found : -1;
}

} // namespace

CharSet const * char_set_of(int number) {
    if (number >= first_system_number) return system_set_of(number);
    auto const * const found =
        std::find_if(std::begin(char_sets), std::end(char_sets),
                     [&](CharSet const & set) { return set.number == number; });
    return found != std::end(char_sets) ? found : nullptr;
}

int number_of_code_page(unsigned long code_page) {
    // These parts of ISO 8859 have no code page of IBM's.
    if (code_page > 28591 && code_page <= 28606) {
        int const number = 100 + static_cast<int>(code_page - 28590);
        return char_set_of(number) != nullptr ? number : -1;
    }
    auto const * const found =
        std::find_if(std::begin(code_pages), std::end(code_pages),
                     [&](CodePage const & row) { return row.code_page == code_page; });
    return found != std::end(code_pages) ? found->number : -1;
}

int number_of_name(std::string_view name) {
    if (name.starts_with(system_set_prefix)) {
        return number_of_system_set(name.substr(system_set_prefix.size()));
    }
    std::string const key = key_of(name);
    for (Name const & row : names) {
        if (row.key == key) return row.number;
    }
    if (int const number = number_of_iso_8859(key); number >= 0) return number;
    for (std::string_view const prefix : {"", "cp", "windows", "win", "ibm", "ms", "dos"}) {
        unsigned long const code_page = number_behind(prefix, key);
        // A page that is called by its number is a label as any other, and so looked at.
        if (code_page == 65001) return 256;
        if (code_page != 0) return number_of_code_page(code_page);
    }
    return -1;
}

} // namespace vellum::conversion
