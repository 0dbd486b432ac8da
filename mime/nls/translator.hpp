// mime/nls/translator.hpp - conversion between the local code page and one character set
#pragma once

#include "mime/export.hpp"
#include "mime/nls/charset.hpp"

#include <memory>

class iSimpleStream;
class oSimpleStream;

/// Converts text in both directions between a local code page and one Internet character set. A
/// client's NLS_Translator_Factory makes translators; NLS::Create keeps them in a list for the run
/// of one message, so that later parts use them again. A translator and its list belong to one
/// thread.
class VELLUM_EXPORT NLS_Translator {
public:
    /// What a caller may do with the text that it hands over.
    enum Buffering_Restrictions {
        no_restriction = 0,    ///< single-byte characters: split it anywhere
        double_byte = 1,       ///< characters of two bytes
        shift_states = 2,      ///< escape sequences: what a byte means depends on those before it
        multi_byte_pieces = 4, ///< characters of one to several bytes
    };

    /// For NLS::PlatformCodePage, in no list. A derived class sets `charSetName` and `className`.
    NLS_Translator() noexcept;

    /// Destroys the rest of the list too, whatever its length, without recursion: a list head that
    /// points to this translator becomes null, the previous translator becomes the last one.
    virtual ~NLS_Translator();

    NLS_Translator(NLS_Translator const &) = delete;
    NLS_Translator & operator=(NLS_Translator const &) = delete;

    /// Ends the use of the translator. Here it is taken out of its list and deleted; a class whose
    /// translators stay in the list for the next text overrides this with a call that does nothing.
    virtual void Delete();

    /// Called for a translator of the list that fits, before it serves another text. Returns this,
    /// or null if it can't be used again. Here nothing is changed.
    virtual NLS_Translator * ReInit(char const * charSetName, int codePage);

    /// Whether this is a translator for the pair. The name is compared by pointer: it is the name
    /// of an NLS_CharSet, and one record has one pointer.
    virtual bool is_CacheHit(char const * charSetName, int codePage);

    /// Takes the translator out of its list. Returns true.
    virtual bool Remove_from_Cache();

    /// What text in `charSet` demands.
    virtual Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet * charSet) = 0;

    /// Converts `inLength` bytes at `in`, local text to the character set and back. 0 for success.
    ///
    /// \param out       the result: in a buffer that the caller offers here, with its capacity in
    ///                  `outLength`, or in a buffer of the translator's own. Null offers no buffer.
    /// \param outLength the number of bytes of the result.
    /// \param freeOut   in: the function that releases `out`, or null if `out` is the caller's. A
    ///                  translator that stores a buffer of its own calls it first, then stores the
    ///                  function for the new buffer. The caller calls what it finds.
    virtual int CodePage_to_CharSet(unsigned char * in, unsigned long inLength,
                                    unsigned char *& out, unsigned long & outLength,
                                    void (**freeOut)(unsigned char *)) = 0;
    /// Converts `in` up to its end into `out`. 0 for success.
    virtual int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) = 0;
    virtual int CharSet_to_CodePage(unsigned char * in, unsigned long inLength,
                                    unsigned char *& out, unsigned long & outLength,
                                    void (**freeOut)(unsigned char *)) = 0;
    virtual int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) = 0;

    /// Whether text in `charSet`, or local text for it, may be handed over in pieces that end
    /// anywhere, with the operations below. The result is that of the whole text in one call. A
    /// caller that gets false feeds the stream forms as Query_Buffering_Restrictions demands.
    /// Here false.
    virtual bool Takes_Pieces(NLS_CharSet * charSet);
    /// Converts the next piece of a text, `in` up to its end, into `out`, and keeps what the piece
    /// leaves unfinished for the next. `last`: the text ends with this piece, which may be empty;
    /// the next piece begins another text, and so does the first one behind ReInit. 0 for success.
    /// Here the stream form of the same direction is called.
    virtual int CharSet_to_CodePage_Piece(iSimpleStream * in, bool last, oSimpleStream * out);
    virtual int CodePage_to_CharSet_Piece(iSimpleStream * in, bool last, oSimpleStream * out);

    /// Release functions for `freeOut`: memory of malloc, and of operator new.
    static void FreeMem_C(unsigned char * memory) noexcept;
    static void FreeMem_Cpp(unsigned char * memory) noexcept;

    /// The local code page.
    unsigned long codePage;
    /// The name pointer of the NLS_CharSet that is served.
    char const * charSetName = nullptr;
    /// The name of the concrete class, or null.
    char const * className = nullptr;
    /// The head of the list that holds this translator. Null outside a list.
    NLS_Translator ** cacheHead = nullptr;
    NLS_Translator * previous = nullptr; // not owned
    NLS_Translator * next = nullptr;     // OWNED
};

/// Makes translators. A client installs a chain of factories on a note, which owns it from then on.
/// A factory that serves notes of several threads needs a reentrant New.
class VELLUM_EXPORT NLS_Translator_Factory {
public:
    /// In no chain, without a name.
    NLS_Translator_Factory() noexcept;

    /// Calls Delete() on each factory behind this one, whatever their number, without recursion.
    virtual ~NLS_Translator_Factory();

    NLS_Translator_Factory(NLS_Translator_Factory const &) = delete;
    NLS_Translator_Factory & operator=(NLS_Translator_Factory const &) = delete;

    /// A new translator, OWNED by the caller, between `codePage` and the character set of that
    /// name, or null: then the next factory is asked.
    virtual NLS_Translator * New(char const * charSetName, int codePage) = 0;

    /// Deletes this factory. A factory that doesn't live on the heap overrides it.
    virtual void Delete();

    /// The character set for text in `codePage`, in a header field or in a body, or null for no
    /// opinion. Here null.
    virtual NLS_CharSet * SuggestCharSet(int codePage, bool inHeader);

    /// The next factory of the chain, OWNED.
    NLS_Translator_Factory * next = nullptr;
    /// The name of the concrete class, or null.
    char const * className = nullptr;
};

namespace vellum {

/// Puts `factory` into the chain at `head`: in front of all for an `append` of 0, behind all for
/// any other. A null factory changes nothing. A factory that stands in the chain already
/// moves; a factory that brings a chain of its own brings it along.
void add_factory(NLS_Translator_Factory *& head, NLS_Translator_Factory * factory, int append);

/// A translator in use: Delete() is called on it at the end, also when an exception passes.
struct CallDelete {
    void operator()(NLS_Translator * translator) const { translator->Delete(); }
};
using TranslatorInUse = std::unique_ptr<NLS_Translator, CallDelete>;

} // namespace vellum
