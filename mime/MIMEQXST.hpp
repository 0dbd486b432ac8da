// mime/MIMEQXST.hpp - translators over a conversion component that is loaded at run time
//
//     local code page  <-->  pivot  <-->  Internet character set
//        localSet           pivotSet            remoteSet
//
// A client installs the factory on a note, and that is all:
//
//     note.SetNLS(new NLS_qxStr_Factory, 0);
//
// The component, a library of its own, is found beside the engine; conversion_interface.hpp tells
// what it has to offer. Without it the factory makes no translators, and text passes untranslated.
#pragma once

#include "mime/export.hpp"
#include "mime/nls/conversion_interface.hpp"
#include "mime/nls/translator.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

/// One session of the component, for one character set.
class VELLUM_EXPORT NLS_qxStr_CharSet {
public:
    /// The set of that name; null for no set. `language` and `country` are the factory's settings.
    NLS_qxStr_CharSet(void * language, void * country, char const * name);

    /// The set of that record: the component is asked for its name and then, if it doesn't know
    /// that one, for the name of its preferred record. Null for no set.
    NLS_qxStr_CharSet(void * language, void * country, NLS_CharSet * charSet);

    /// The set of that number of the component's, or no set for qxtSTR_none.
    NLS_qxStr_CharSet(void * language, void * country, qxtSTRCharSettag tag);

    NLS_qxStr_CharSet(NLS_qxStr_CharSet const &) = delete;
    NLS_qxStr_CharSet & operator=(NLS_qxStr_CharSet const &) = delete;

    /// Closes the session.
    ~NLS_qxStr_CharSet();

    /// True if the component doesn't know the set or has opened no session for it.
    bool operator!() const noexcept { return session == nullptr || tag == qxtSTR_none; }
    bool operator==(NLS_qxStr_CharSet const & other) const noexcept { return tag == other.tag; }
    bool operator!=(NLS_qxStr_CharSet const & other) const noexcept { return tag != other.tag; }
    /// The name of the record, or null.
    operator char const *() const noexcept { return charSet != nullptr ? charSet->name : nullptr; }

    /// The engine's record of the set; null if it is not known.
    NLS_CharSet * charSet = nullptr;
    /// The component's number for it.
    qxtSTRCharSettag tag = qxtSTR_none;
    /// The component's session, OWNED; or null.
    void * session = nullptr;
    /// The size in bytes of a string's terminator in this set.
    short terminatorSize = 1;

private:
    void find_tag(char const * name);
    void open_session(void * language, void * country);
};

/// A translator that stays in its list for the whole run, with three sessions open.
class VELLUM_EXPORT NLS_qxStr : public NLS_Translator {
public:
    static char const * const ClassName; ///< "NLS_qxStr"

    /// A translator without sets, which copies.
    NLS_qxStr() noexcept;

    /// Between `codePage`, which is the set `localTag` of the component, and the character set of
    /// that name. A null name makes a translator without sets. See is_OK().
    NLS_qxStr(char const * name, int codePage, qxtSTRCharSettag localTag, void * language,
              void * country);
    ~NLS_qxStr() override;

    /// Does nothing: the translator stays in its list and serves the next text too.
    void Delete() override;

    /// Forgets what a text that wasn't ended has left.
    NLS_Translator * ReInit(char const * charSetName, int codePage) override;

    /// 0 for null; 2 for the sets with shift states; else by the width of the preferred record 0, 1
    /// or 4.
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet * charSet) override;

    /// The buffer forms of NLS_Translator; the result is 0 or 15. The sizes are those of
    /// CharSet_Translate.
    ///
    /// Text for a set that may be handed over in any piece may end amid a character of the local
    /// code page. Such an end is kept and put in front of the next piece, until ReInit().
    int CodePage_to_CharSet(unsigned char * in, unsigned long inLength, unsigned char *& out,
                            unsigned long & outLength, void (**freeOut)(unsigned char *)) override;
    /// Each buffer of `in` is translated by itself; but a character of the local code page that
    /// is cut by the end of a buffer is joined. A buffer that can't be translated, for want of
    /// memory, passes as it is. The result is that of the last buffer.
    int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) override;

    /// US-ASCII passes as it is to a code page that contains it, bytes beyond ASCII too.
    int CharSet_to_CodePage(unsigned char * in, unsigned long inLength, unsigned char *& out,
                            unsigned long & outLength, void (**freeOut)(unsigned char *)) override;
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override;

    /// True if the component translates pieces.
    bool Takes_Pieces(NLS_CharSet * charSet) override;
    /// A piece that can't be translated, for want of memory, passes as it is; the result is that of
    /// the first such piece.
    int CharSet_to_CodePage_Piece(iSimpleStream * in, bool last, oSimpleStream * out) override;
    int CodePage_to_CharSet_Piece(iSimpleStream * in, bool last, oSimpleStream * out) override;

    /// All three sets are there, with a session each. If not, the translator is of no use.
    virtual bool is_OK();

    /// From one of the three sets to another, by way of the pivot. Copies if one is null, or if the
    /// local and the remote set are the same.
    ///
    /// \param out, outLength, freeOut  as in the buffer forms of NLS_Translator. On failure the
    ///                                 length is that of what was translated up to it.
    /// \return 0, or 15 for a failure of the component or for want of memory.
    virtual int CharSet_Translation(unsigned char * in, unsigned long inLength,
                                    unsigned char *& out, unsigned long & outLength,
                                    void (**freeOut)(unsigned char *), NLS_qxStr_CharSet * from,
                                    NLS_qxStr_CharSet * to);

    /// One call of the component, neither set null. It gets an output buffer of 16 bytes for each
    /// byte of input and 8 more: that in `out`, if it is as large or came from the component,
    /// else a new one. A terminator at the end of the result isn't counted.
    virtual int CharSet_Translate(unsigned char * in, unsigned long inLength, unsigned char *& out,
                                  unsigned long & outLength, void (**freeOut)(unsigned char *),
                                  NLS_qxStr_CharSet * from, NLS_qxStr_CharSet * to);

    /// A release function for `freeOut`: memory of the component. Null does nothing.
    static void FreeMem_qxSTR(unsigned char * memory);

    /// OWNED, as the two below: the platform's code page.
    NLS_qxStr_CharSet * localSet = nullptr;
    NLS_qxStr_CharSet * pivotSet = nullptr;
    /// The Internet character set.
    NLS_qxStr_CharSet * remoteSet = nullptr;
    /// Text from remoteSet needs no translation.
    bool plainInbound = false;

private:
    /// The beginning of a character that the end of a piece has cut.
    struct CutCharacter {
        std::array<char, 4> bytes{};
        std::size_t length = 0;
    };

    bool same_set() const;
    bool has_pieces();
    int translate_pieces(iSimpleStream & in, bool last, oSimpleStream & out,
                         NLS_qxStr_CharSet & from, NLS_qxStr_CharSet & to);
    int translate_piece(std::string_view piece, bool last, oSimpleStream & out,
                        NLS_qxStr_CharSet & from, NLS_qxStr_CharSet & to);
    int translate_stream(iSimpleStream & in, oSimpleStream & out, NLS_qxStr_CharSet * from,
                         NLS_qxStr_CharSet * to);
    int translate_piece(std::string_view piece, oSimpleStream & out, NLS_qxStr_CharSet * from,
                        NLS_qxStr_CharSet * to);
    bool join_cut(std::string_view piece, CutCharacter & cut, std::unique_ptr<char[]> & joined,
                  std::string_view & whole) const;

    NLS_CharSet unlisted_; ///< The set of a name that NLS::CharSetTable doesn't hold.
    CutCharacter cut_;
    // A text in pieces has begun, and not ended.
    bool is_in_text_ = false;  // to the local code page
    bool is_out_text_ = false; // from it
};

/// Makes translators of the class NLS_qxStr. It may serve notes of several threads.
class VELLUM_EXPORT NLS_qxStr_Factory : public NLS_Translator_Factory {
public:
    static char const * const ClassName; ///< "NLS_qxStr_Factory"

    /// Binds the component, unless that has been done. What fails is traced, and the next factory
    /// tries again. The three texts are copied, and kept for the client's use alone: they don't
    /// choose what is loaded.
    explicit NLS_qxStr_Factory(char const * directory = nullptr, char const * table = nullptr,
                               char const * library = "Rwqfmp13.DLL");
    ~NLS_qxStr_Factory() override;

    /// Null if there is no component or it doesn't know the set or the code page, which may be any;
    /// for NLS::PlatformCodePage it is the set `localTag`.
    NLS_Translator * New(char const * charSetName, int codePage) override;

    /// The component's number of NLS::PlatformCodePage, or qxtSTR_none. It is asked for when the
    /// factory is made: a later change of the code page isn't seen.
    qxtSTRCharSettag localTag = qxtSTR_none;

    /// What the component is told of the user: the language, a text in a block of 8 bytes, and the
    /// address of the country's number. "" and 0 where the system has no profile to tell them.
    static void * LanguageSetting;
    static void * CountrySetting;

private:
    std::unique_ptr<char[]> directory_;
    std::unique_ptr<char[]> table_;
    std::unique_ptr<char[]> library_;
};
