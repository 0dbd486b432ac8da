// mime/nls/charset.hpp - the registry of Internet character sets
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/symbol_table.hpp"

class NLS;
class NLS_Translator;
class NLS_Translator_Factory;

/// A named character set. Every name has one record, and so has every alias; a record
/// doesn't change after its construction, so any thread may read it.
class VELLUM_EXPORT NLS_CharSet {
public:
    /// The width of the characters.
    enum CharWidth_t { single_byte = 0, double_byte = 1, multi_byte = 2 };

    /// A multi-byte set without a name, its own preferred record, in base64. Registers nothing.
    NLS_CharSet() noexcept;

    /// An alias of `same`: its width, encodings and preferred record. Without `same` a multi-byte
    /// set of its own, in base64.
    ///
    /// A record with a name enters NLS::CharSetTable with it, unless an earlier record has that
    /// name. The table keeps the record's address, so the record has to live as long as the process
    /// uses the engine. With `copy` the table keeps its own copy of `name` (and the record counts
    /// as dynamic), else `name` has to outlive the table.
    NLS_CharSet(char const * name, NLS_CharSet * same, bool copy);

    /// A set of its own in `encoding`, a transfer-encoding token. Registered as above, not copied.
    NLS_CharSet(char const * name, char const * encoding);
    NLS_CharSet(char const * name, char const * encoding, CharWidth_t width);
    /// The same in base64.
    NLS_CharSet(char const * name, CharWidth_t width);

    /// The record that stands for this set on the wire; of most sets the record itself.
    NLS_CharSet * Preferred() const noexcept { return preferred; }

    bool is_SingleByte() const noexcept { return width == single_byte; }
    bool is_DoubleByte() const noexcept { return width == double_byte; }
    bool is_MultiByte() const noexcept { return width == multi_byte; }

    /// Whether text in this set travels in base64, in a body as in an encoded word.
    bool is_Binary() const noexcept;

    /// The token of the transfer encoding that suits the set in a header field or in a body.
    char const * BestTransferEncoding(bool inHeader) const noexcept {
        return inHeader ? headerEncoding : bodyEncoding;
    }

    /// The same set, be it by different aliases.
    bool operator==(NLS_CharSet const & other) const noexcept {
        return preferred == other.preferred;
    }
    bool operator!=(NLS_CharSet const & other) const noexcept {
        return preferred != other.preferred;
    }
    /// True for a record without a name.
    bool operator!() const noexcept { return name == nullptr; }

    /// The name as registered, one pointer for one record. Null for a default-constructed record.
    char const * name = nullptr;
    CharWidth_t width = multi_byte;
    /// Never null in a record that has been built; points to the record itself or, for an alias,
    /// to the preferred record of the set.
    NLS_CharSet * preferred = nullptr;
    /// Transfer-encoding tokens, equal in all records of the registry.
    char const * headerEncoding = nullptr;
    char const * bodyEncoding = nullptr;
    /// Made at run time for a name that a message used.
    bool dynamic = false;

private:
    friend class NLS;

    /// A blank, before the registry fills it.
    struct Unfilled {};
    constexpr explicit NLS_CharSet(Unfilled) noexcept {}

    void Register(char const * own_name, bool copy);
};

/// The character sets of the engine, and the way from a name to its record.
class VELLUM_EXPORT NLS {
public:
    /// Name to record, without regard to case; the value of each entry is an NLS_CharSet.
    static SymbolTable & CharSetTable;

    /// The code page of the user's locale, taken at start-up. A client may set it, before it makes
    /// its first note.
    static unsigned long PlatformCodePage;

    /// The record of `name`, made now if no message has used it before. Null for null, and when
    /// there is no memory for a new record. Takes no lock for a name that is known. A record made
    /// here copies the name, is a multi-byte set of its own in base64, and is never freed.
    static NLS_CharSet * FindCharSet(char const * name);

    /// The same for a name that a message brought, or null: a new record is made only while
    /// SymbolTable::LookUpOfMessage takes the name.
    static NLS_CharSet * FindCharSetOfMessage(char const * name);

    /// The character set for text in PlatformCodePage: the preferred record of the first suggestion
    /// that a factory of the chain makes (`factory` may be null), else Equivalent_CharSet_for.
    ///
    /// \param inHeader the set is wanted for a header field or an encoded word, not for a body.
    static NLS_CharSet * BestFitCharSet(NLS_Translator_Factory * factory, bool inHeader);

    /// The character set for text in `codePage`; UTF_8 for a code page that has no other.
    static NLS_CharSet * Equivalent_CharSet_for(int codePage, bool inHeader) noexcept;

    /// The translator between PlatformCodePage and `charSet`: that of the list at `cache` which
    /// fits and can be used again, else a new translator from the first factory of the chain that
    /// makes it, put at the head of the list. Null for a null `charSet`, and when no factory serves
    /// it.
    ///
    /// The caller calls Delete() on the result after the text. With a null `cache` the translator
    /// is always new and stands in no list.
    static NLS_Translator * Create(NLS_CharSet * charSet, NLS_Translator ** cache,
                                   NLS_Translator_Factory * factory);

    /// The same between `codePage` and `charSet`.
    static NLS_Translator * Create(NLS_CharSet * charSet, NLS_Translator ** cache,
                                   NLS_Translator_Factory * factory, int codePage);

    /// The record named "": no character set was chosen.
    static NLS_CharSet ReservedSet;

    // The sets: each preferred record in front of its aliases.
    static NLS_CharSet US_ASCII;
    static NLS_CharSet ISO_8859_1;
    static NLS_CharSet ISO_8859_2;
    static NLS_CharSet ISO_8859_3;
    static NLS_CharSet ISO_8859_4;
    static NLS_CharSet ISO_8859_5;
    static NLS_CharSet ISO_8859_6;
    static NLS_CharSet ISO_8859_7;
    static NLS_CharSet ISO_8859_8;
    static NLS_CharSet ISO_8859_9;

    static NLS_CharSet Big5;
    static NLS_CharSet csBig5;
    static NLS_CharSet Big_5;
    static NLS_CharSet CN_Big5;
    static NLS_CharSet CSIC;
    static NLS_CharSet KZMCP950;
    static NLS_CharSet x_950;
    static NLS_CharSet x_Big5;

    static NLS_CharSet KSC5601;
    static NLS_CharSet KS_C_5601_1987;
    static NLS_CharSet ISO_IR_149;
    static NLS_CharSet KS_C_5601_1989;
    static NLS_CharSet KSC_5601;
    static NLS_CharSet Korean;
    static NLS_CharSet Korean_KSC56011989;
    static NLS_CharSet csKSC56011987;
    static NLS_CharSet EUC_KR;
    static NLS_CharSet csEUCKR;
    static NLS_CharSet KZMCP949;
    static NLS_CharSet x_949;
    static NLS_CharSet x_EUCKR;
    static NLS_CharSet x_EUC_KR;
    static NLS_CharSet x_KSC;

    static NLS_CharSet GB2312;
    static NLS_CharSet csGB2312;
    static NLS_CharSet GB_2312_80;
    static NLS_CharSet GB2312_80;
    static NLS_CharSet Chinese;
    static NLS_CharSet ISO_IR_58;
    static NLS_CharSet csISO58GB231280;
    static NLS_CharSet CN_GB;
    static NLS_CharSet CSGB;
    static NLS_CharSet EUC_CN;
    static NLS_CharSet GB;
    static NLS_CharSet GBK;
    static NLS_CharSet HZ_GB_2312;
    static NLS_CharSet KZM1381;
    static NLS_CharSet KZMCP936;
    static NLS_CharSet x_1381;
    static NLS_CharSet x_936;
    static NLS_CharSet x_EUC_CN;
    static NLS_CharSet x_GB;
    static NLS_CharSet x_GB2312;
    static NLS_CharSet x_GBK;

    static NLS_CharSet ISO_2022_JP;
    static NLS_CharSet csISO2022JP;
    static NLS_CharSet ISO_2022_JP_2;
    static NLS_CharSet csISO2022JP2;

    static NLS_CharSet ISO_2022_KR;
    static NLS_CharSet csISO2022KR;

    static NLS_CharSet ISO_2022_CN;

    static NLS_CharSet Shift_JIS;
    static NLS_CharSet MS_Kanji;
    static NLS_CharSet csShiftJIS;

    static NLS_CharSet EUC_JP;

    static NLS_CharSet EUC_TW;
    static NLS_CharSet EUC_T;
    static NLS_CharSet ISO_2022_INT_1;
    static NLS_CharSet x_CNS_11643;
    static NLS_CharSet x_EUC_TW;
    static NLS_CharSet CEUC;

    static NLS_CharSet Unicode_1_1;
    static NLS_CharSet csUnicode;
    static NLS_CharSet csUnicode11;
    static NLS_CharSet Unicode;

    static NLS_CharSet Unicode_1_1_UTF_7;
    static NLS_CharSet UTF_7;
    static NLS_CharSet csUnicode11UTF7;

    static NLS_CharSet UTF_8;

private:
    static constexpr NLS_CharSet::Unfilled blank{};

    NLS() = delete;
};

namespace vellum {

/// NLS::CharSetTable with all records of the class NLS, built on the first call.
VELLUM_EXPORT SymbolTable & char_set_table();

/// Makes the registry live before, and die behind, every static object of every file that includes
/// this header, whatever the order of the files.
inline SymbolTable & char_set_table_at_start_up = char_set_table();

} // namespace vellum
