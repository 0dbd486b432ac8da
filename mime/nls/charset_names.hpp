// mime/nls/charset_names.hpp - the names of the multi-byte and Unicode character sets
//
// Named like the members of mime/foundation/tokens.hpp. They are not loaded into the main symbol
// table: they are compared as text, or by way of their NLS_CharSet records.
#pragma once

#include "mime/export.hpp"

/// Names and aliases of the multi-byte and Unicode character sets.
class VELLUM_EXPORT MultiByte {
public:
    static char const * const Big5;
    static char const * const Big_5;
    static char const * const CN_Big5;
    static char const * const CN_GB;
    static char const * const Chinese;
    static char const * const EUC_CN;
    static char const * const EUC_JP;
    static char const * const EUC_KR;
    static char const * const EUC_T;
    static char const * const EUC_TW;
    static char const * const GB;
    static char const * const GB2312;
    static char const * const GB2312_80;
    static char const * const GBK;
    static char const * const HZ_GB_2312;
    static char const * const KZM1381;
    static char const * const KZMCP936;
    static char const * const KZMCP949;
    static char const * const KZMCP950;
    static char const * const ISO_2022_CN;
    static char const * const ISO_2022_INT_1;
    static char const * const ISO_2022_JP;
    static char const * const ISO_2022_JP_2;
    static char const * const ISO_2022_KR;
    static char const * const ISO_IR_149;
    static char const * const ISO_IR_58;
    static char const * const KSC5601;
    static char const * const KSC_5601; // "KSC_5601"
    static char const * const Shift_JIS;
    static char const * const Korean;
    static char const * const MS_Kanji; // "MS_Kanji"
    static char const * const UTF_7;
    static char const * const UTF_8;
    static char const * const Unicode;
    static char const * const Unicode_1_1;
    static char const * const Unicode_1_1_UTF_7;
    static char const * const csBig5;
    static char const * const csEUCKR;
    static char const * const csGB2312;
    static char const * const csISO2022JP;
    static char const * const csISO2022JP2;
    static char const * const csISO2022KR;
    static char const * const csISO58GB231280;
    static char const * const csKSC56011987;
    static char const * const csShiftJIS;
    static char const * const csUnicode;
    static char const * const csUnicode11;
    static char const * const csUnicode11UTF7;
    static char const * const x_CNS_11643;
    static char const * const x_Big5;
    static char const * const x_EUCKR;
    static char const * const x_EUC_CN;
    static char const * const x_EUC_KR;
    static char const * const x_EUC_TW;
    static char const * const x_GB;
    static char const * const x_GB2312;
    static char const * const x_GBK;
    static char const * const x_KSC;
    static char const * const CEUC;       // "Chinese Extended Unix Code"
    static char const * const CSIC;       // "Chinese Standard Interchange Code - Set 1 & 2 (Big5)"
    static char const * const CSGB;       // "Chinese Standard GB (KZMCP936)"
    static char const * const GB_2312_80; // "GB_2312-80"
    static char const * const KS_C_5601_1987;     // "KS_C_5601-1987"
    static char const * const KS_C_5601_1989;     // "KS_C_5601-1989"
    static char const * const Korean_KSC56011989; // "Korean KS C 5601-1989"
    static char const * const x_1381;             // "1381"
    static char const * const x_936;              // "936"
    static char const * const x_949;              // "949"
    static char const * const x_950;              // "950"
};
