// mime/nls/charset_records.cpp - the character sets that the engine knows from the start
//
// Their records are blank constants at load and are filled when the registry is first asked for,
// as the static initialisation of a client may come first.
#include "mime/nls/charset.hpp"

#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset_names.hpp"
#include "mime/platform/platform.hpp"

#include <new>

namespace {

/// Room for a table whose life begins and ends with the registry below.
union TableRoom {
    constexpr TableRoom() : empty() {}
    ~TableRoom() {}
    char empty;
    SymbolTable table;
};

constinit TableRoom room;

} // namespace

constinit SymbolTable & NLS::CharSetTable = room.table;
constinit unsigned long NLS::PlatformCodePage = 0;

constinit NLS_CharSet NLS::ReservedSet{blank};
constinit NLS_CharSet NLS::US_ASCII{blank};
constinit NLS_CharSet NLS::ISO_8859_1{blank};
constinit NLS_CharSet NLS::ISO_8859_2{blank};
constinit NLS_CharSet NLS::ISO_8859_3{blank};
constinit NLS_CharSet NLS::ISO_8859_4{blank};
constinit NLS_CharSet NLS::ISO_8859_5{blank};
constinit NLS_CharSet NLS::ISO_8859_6{blank};
constinit NLS_CharSet NLS::ISO_8859_7{blank};
constinit NLS_CharSet NLS::ISO_8859_8{blank};
constinit NLS_CharSet NLS::ISO_8859_9{blank};
constinit NLS_CharSet NLS::Big5{blank};
constinit NLS_CharSet NLS::csBig5{blank};
constinit NLS_CharSet NLS::Big_5{blank};
constinit NLS_CharSet NLS::CN_Big5{blank};
constinit NLS_CharSet NLS::CSIC{blank};
constinit NLS_CharSet NLS::KZMCP950{blank};
constinit NLS_CharSet NLS::x_950{blank};
constinit NLS_CharSet NLS::x_Big5{blank};
constinit NLS_CharSet NLS::KSC5601{blank};
constinit NLS_CharSet NLS::KS_C_5601_1987{blank};
constinit NLS_CharSet NLS::ISO_IR_149{blank};
constinit NLS_CharSet NLS::KS_C_5601_1989{blank};
constinit NLS_CharSet NLS::KSC_5601{blank};
constinit NLS_CharSet NLS::Korean{blank};
constinit NLS_CharSet NLS::Korean_KSC56011989{blank};
constinit NLS_CharSet NLS::csKSC56011987{blank};
constinit NLS_CharSet NLS::EUC_KR{blank};
constinit NLS_CharSet NLS::csEUCKR{blank};
constinit NLS_CharSet NLS::KZMCP949{blank};
constinit NLS_CharSet NLS::x_949{blank};
constinit NLS_CharSet NLS::x_EUCKR{blank};
constinit NLS_CharSet NLS::x_EUC_KR{blank};
constinit NLS_CharSet NLS::x_KSC{blank};
constinit NLS_CharSet NLS::GB2312{blank};
constinit NLS_CharSet NLS::csGB2312{blank};
constinit NLS_CharSet NLS::GB_2312_80{blank};
constinit NLS_CharSet NLS::GB2312_80{blank};
constinit NLS_CharSet NLS::Chinese{blank};
constinit NLS_CharSet NLS::ISO_IR_58{blank};
constinit NLS_CharSet NLS::csISO58GB231280{blank};
constinit NLS_CharSet NLS::CN_GB{blank};
constinit NLS_CharSet NLS::CSGB{blank};
constinit NLS_CharSet NLS::EUC_CN{blank};
constinit NLS_CharSet NLS::GB{blank};
constinit NLS_CharSet NLS::GBK{blank};
constinit NLS_CharSet NLS::HZ_GB_2312{blank};
constinit NLS_CharSet NLS::KZM1381{blank};
constinit NLS_CharSet NLS::KZMCP936{blank};
constinit NLS_CharSet NLS::x_1381{blank};
constinit NLS_CharSet NLS::x_936{blank};
constinit NLS_CharSet NLS::x_EUC_CN{blank};
constinit NLS_CharSet NLS::x_GB{blank};
constinit NLS_CharSet NLS::x_GB2312{blank};
constinit NLS_CharSet NLS::x_GBK{blank};
constinit NLS_CharSet NLS::ISO_2022_JP{blank};
constinit NLS_CharSet NLS::csISO2022JP{blank};
constinit NLS_CharSet NLS::ISO_2022_JP_2{blank};
constinit NLS_CharSet NLS::csISO2022JP2{blank};
constinit NLS_CharSet NLS::ISO_2022_KR{blank};
constinit NLS_CharSet NLS::csISO2022KR{blank};
constinit NLS_CharSet NLS::ISO_2022_CN{blank};
constinit NLS_CharSet NLS::Shift_JIS{blank};
constinit NLS_CharSet NLS::MS_Kanji{blank};
constinit NLS_CharSet NLS::csShiftJIS{blank};
constinit NLS_CharSet NLS::EUC_JP{blank};
constinit NLS_CharSet NLS::EUC_TW{blank};
constinit NLS_CharSet NLS::EUC_T{blank};
constinit NLS_CharSet NLS::ISO_2022_INT_1{blank};
constinit NLS_CharSet NLS::x_CNS_11643{blank};
constinit NLS_CharSet NLS::x_EUC_TW{blank};
constinit NLS_CharSet NLS::CEUC{blank};
constinit NLS_CharSet NLS::Unicode_1_1{blank};
constinit NLS_CharSet NLS::csUnicode{blank};
constinit NLS_CharSet NLS::csUnicode11{blank};
constinit NLS_CharSet NLS::Unicode{blank};
constinit NLS_CharSet NLS::Unicode_1_1_UTF_7{blank};
constinit NLS_CharSet NLS::UTF_7{blank};
constinit NLS_CharSet NLS::csUnicode11UTF7{blank};
constinit NLS_CharSet NLS::UTF_8{blank};

namespace {

constexpr char const * no_name = "";

constexpr auto single = NLS_CharSet::single_byte;
constexpr auto twin = NLS_CharSet::double_byte;
constexpr auto multi = NLS_CharSet::multi_byte;

/// A set that is its own preferred record.
struct PreferredRow {
    NLS_CharSet & record;
    char const * const & name;
    NLS_CharSet::CharWidth_t width;
    char const * const & encoding;
};

constexpr PreferredRow preferred_rows[] = {
    {NLS::ReservedSet, no_name, multi, RFC1521::base64},
    {NLS::US_ASCII, RFC1521::US_ASCII, single, RFC1521::ASCII_7bit},
    {NLS::ISO_8859_1, RFC1521::ISO_8859_1, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_2, RFC1521::ISO_8859_2, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_3, RFC1521::ISO_8859_3, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_4, RFC1521::ISO_8859_4, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_5, RFC1521::ISO_8859_5, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_6, RFC1521::ISO_8859_6, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_7, RFC1521::ISO_8859_7, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_8, RFC1521::ISO_8859_8, single, RFC1521::quoted_printable},
    {NLS::ISO_8859_9, RFC1521::ISO_8859_9, single, RFC1521::quoted_printable},
    {NLS::Big5, MultiByte::Big5, multi, RFC1521::base64},
    {NLS::KSC5601, MultiByte::KSC5601, multi, RFC1521::base64},
    {NLS::GB2312, MultiByte::GB2312, multi, RFC1521::base64},
    {NLS::ISO_2022_JP, MultiByte::ISO_2022_JP, multi, RFC1521::ASCII_7bit},
    {NLS::ISO_2022_KR, MultiByte::ISO_2022_KR, multi, RFC1521::ASCII_7bit},
    {NLS::ISO_2022_CN, MultiByte::ISO_2022_CN, multi, RFC1521::ASCII_7bit},
    {NLS::Shift_JIS, MultiByte::Shift_JIS, multi, RFC1521::base64},
    {NLS::EUC_JP, MultiByte::EUC_JP, multi, RFC1521::base64},
    {NLS::EUC_TW, MultiByte::EUC_TW, multi, RFC1521::base64},
    {NLS::Unicode_1_1, MultiByte::Unicode_1_1, twin, RFC1521::base64},
    {NLS::Unicode_1_1_UTF_7, MultiByte::Unicode_1_1_UTF_7, multi, RFC1521::quoted_printable},
    {NLS::UTF_8, MultiByte::UTF_8, multi, RFC1521::base64},
};

struct AliasRow {
    NLS_CharSet & record;
    char const * const & name;
    NLS_CharSet & same;
};

constexpr AliasRow alias_rows[] = {
    {NLS::csBig5, MultiByte::csBig5, NLS::Big5},
    {NLS::Big_5, MultiByte::Big_5, NLS::Big5},
    {NLS::CN_Big5, MultiByte::CN_Big5, NLS::Big5},
    {NLS::CSIC, MultiByte::CSIC, NLS::Big5},
    {NLS::KZMCP950, MultiByte::KZMCP950, NLS::Big5},
    {NLS::x_950, MultiByte::x_950, NLS::Big5},
    {NLS::x_Big5, MultiByte::x_Big5, NLS::Big5},
    {NLS::KS_C_5601_1987, MultiByte::KS_C_5601_1987, NLS::KSC5601},
    {NLS::ISO_IR_149, MultiByte::ISO_IR_149, NLS::KSC5601},
    {NLS::KS_C_5601_1989, MultiByte::KS_C_5601_1989, NLS::KSC5601},
    {NLS::KSC_5601, MultiByte::KSC_5601, NLS::KSC5601},
    {NLS::Korean, MultiByte::Korean, NLS::KSC5601},
    {NLS::Korean_KSC56011989, MultiByte::Korean_KSC56011989, NLS::KSC5601},
    {NLS::csKSC56011987, MultiByte::csKSC56011987, NLS::KSC5601},
    {NLS::EUC_KR, MultiByte::EUC_KR, NLS::KSC5601},
    {NLS::csEUCKR, MultiByte::csEUCKR, NLS::KSC5601},
    {NLS::KZMCP949, MultiByte::KZMCP949, NLS::KSC5601},
    {NLS::x_949, MultiByte::x_949, NLS::KSC5601},
    {NLS::x_EUCKR, MultiByte::x_EUCKR, NLS::KSC5601},
    {NLS::x_EUC_KR, MultiByte::x_EUC_KR, NLS::KSC5601},
    {NLS::x_KSC, MultiByte::x_KSC, NLS::KSC5601},
    {NLS::csGB2312, MultiByte::csGB2312, NLS::GB2312},
    {NLS::GB_2312_80, MultiByte::GB_2312_80, NLS::GB2312},
    {NLS::GB2312_80, MultiByte::GB2312_80, NLS::GB2312},
    {NLS::Chinese, MultiByte::Chinese, NLS::GB2312},
    {NLS::ISO_IR_58, MultiByte::ISO_IR_58, NLS::GB2312},
    {NLS::csISO58GB231280, MultiByte::csISO58GB231280, NLS::GB2312},
    {NLS::CN_GB, MultiByte::CN_GB, NLS::GB2312},
    {NLS::CSGB, MultiByte::CSGB, NLS::GB2312},
    {NLS::EUC_CN, MultiByte::EUC_CN, NLS::GB2312},
    {NLS::GB, MultiByte::GB, NLS::GB2312},
    {NLS::GBK, MultiByte::GBK, NLS::GB2312},
    {NLS::HZ_GB_2312, MultiByte::HZ_GB_2312, NLS::GB2312},
    {NLS::KZM1381, MultiByte::KZM1381, NLS::GB2312},
    {NLS::KZMCP936, MultiByte::KZMCP936, NLS::GB2312},
    {NLS::x_1381, MultiByte::x_1381, NLS::GB2312},
    {NLS::x_936, MultiByte::x_936, NLS::GB2312},
    {NLS::x_EUC_CN, MultiByte::x_EUC_CN, NLS::GB2312},
    {NLS::x_GB, MultiByte::x_GB, NLS::GB2312},
    {NLS::x_GB2312, MultiByte::x_GB2312, NLS::GB2312},
    {NLS::x_GBK, MultiByte::x_GBK, NLS::GB2312},
    {NLS::csISO2022JP, MultiByte::csISO2022JP, NLS::ISO_2022_JP},
    {NLS::ISO_2022_JP_2, MultiByte::ISO_2022_JP_2, NLS::ISO_2022_JP},
    {NLS::csISO2022JP2, MultiByte::csISO2022JP2, NLS::ISO_2022_JP},
    {NLS::csISO2022KR, MultiByte::csISO2022KR, NLS::ISO_2022_KR},
    {NLS::MS_Kanji, MultiByte::MS_Kanji, NLS::Shift_JIS},
    {NLS::csShiftJIS, MultiByte::csShiftJIS, NLS::Shift_JIS},
    {NLS::EUC_T, MultiByte::EUC_T, NLS::EUC_TW},
    {NLS::ISO_2022_INT_1, MultiByte::ISO_2022_INT_1, NLS::EUC_TW},
    {NLS::x_CNS_11643, MultiByte::x_CNS_11643, NLS::EUC_TW},
    {NLS::x_EUC_TW, MultiByte::x_EUC_TW, NLS::EUC_TW},
    {NLS::CEUC, MultiByte::CEUC, NLS::EUC_TW},
    {NLS::csUnicode, MultiByte::csUnicode, NLS::Unicode_1_1},
    {NLS::csUnicode11, MultiByte::csUnicode11, NLS::Unicode_1_1},
    {NLS::Unicode, MultiByte::Unicode, NLS::Unicode_1_1},
    {NLS::UTF_7, MultiByte::UTF_7, NLS::Unicode_1_1_UTF_7},
    {NLS::csUnicode11UTF7, MultiByte::csUnicode11UTF7, NLS::Unicode_1_1_UTF_7},
};

void register_record(NLS_CharSet & record, char const * name) {
    record.name = name;
    if (TableItem * const item = room.table.LookUp(name, false, true)) item->OfferCharSet(&record);
}

void fill(PreferredRow const & row) {
    row.record.width = row.width;
    row.record.preferred = &row.record;
    row.record.headerEncoding = row.encoding;
    row.record.bodyEncoding = row.encoding;
    register_record(row.record, row.name);
}

void fill(AliasRow const & row) {
    row.record = row.same;
    register_record(row.record, row.name);
}

struct Registry {
    Registry() {
        new (&room.table) SymbolTable;
        for (PreferredRow const & row : preferred_rows) {
            fill(row);
        }
        for (AliasRow const & row : alias_rows) {
            fill(row);
        }
        NLS::PlatformCodePage = vellum::platform::code_page();
    }
    ~Registry() { room.table.~SymbolTable(); }
};

} // namespace

SymbolTable & vellum::char_set_table() {
    static Registry const registry;
    return NLS::CharSetTable;
}
