// mime/foundation/mime_string.hpp - a piece of text and what is known about it
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/symbol_table.hpp"

#include <iosfwd>
#include <memory>

class MimeStringBuffer;

/// Text with a length, a character set or a local code page, and a transfer encoding.
///
/// The text isn't copied, neither at construction nor between copies of a string: all copies share
/// it and its length. It belongs to whoever made it unless it was handed over with
/// set_String. A string that a callback receives is valid while the callback runs. Names (character
/// set, encoding) are kept as pointers too; the tokens and the names of NLS_CharSet records live
/// long enough.
///
/// Strings can be chained, one piece for each character set, into one logical text. A string owns
/// the strings behind it.
///
/// Strings that share a text have to stay in one thread.
class VELLUM_EXPORT MimeString {
public:
    /// The text up to its NUL, which is counted here; "US-ASCII" in "7bit".
    MimeString(char const * text = nullptr) noexcept;

    /// The text up to its NUL in `charSet`, "US-ASCII" for a null token. No encoding.
    MimeString(char const * text, SymToken charSet) noexcept;

    /// `length` bytes at `text`, with no need of a NUL, in `charSet` as above. No encoding.
    MimeString(char const * text, unsigned long length, SymToken charSet) noexcept;

    /// `length` bytes at `text` in a local code page. The character set is "US-ASCII" for code page
    /// 0 and null for any other. No encoding.
    MimeString(char const * text, unsigned long length, int codePage) noexcept;

    /// Shares the other's text, copies its attributes, and copies the strings behind it likewise.
    /// Assignment gives up what this string holds, the strings behind it included, and leaves it at
    /// its place behind the string in front. A new copy has no string in front.
    MimeString(MimeString const & other) noexcept;
    MimeString & operator=(MimeString const & other) noexcept;

    /// Destroys the strings behind this one, however many, without recursion. The text goes with
    /// the last string that shares it, if it was handed over.
    virtual ~MimeString();

    /// Makes `other` the string behind this one and returns this string. A null or empty `other`
    /// changes nothing and stays the caller's; any other has to be a heap object, OWNED by this
    /// string from now on. To build a longer chain call it on the last string: strings that stand
    /// behind this one already move behind `other`.
    virtual MimeString & Concatenate(MimeString & other);
    virtual MimeString * Concatenate(MimeString * other);

    /// Replaces the text for all strings that share it and returns it. The length stays as it is.
    /// With a nonzero `own` the buffer OWNS the text, which then comes from `new char[]`. An old
    /// text that was handed over is freed, unless it is the same.
    virtual char const * set_String(char const * text, int own);
    /// The text of this string alone, or null. It needn't be NUL-terminated.
    virtual char const * get_String() const;

    /// The length in bytes, of this string alone and shared with its copies.
    virtual unsigned long set_Length(unsigned long length);
    virtual unsigned long get_Length() const;

    /// The name of the character set, or null.
    virtual char const * set_CharSet(char const * charSet);
    virtual char const * get_CharSet() const;

    /// The local code page, or 0.
    virtual int set_CodePage(int codePage);
    virtual int get_CodePage() const;

    /// The transfer encoding, or null.
    virtual char const * set_Encoding(char const * encoding);
    virtual char const * get_Encoding() const;

    /// get_String(), for functions that take a pointer to writable bytes. The text isn't writable.
    operator char *() const;
    operator signed char *() const;
    operator unsigned char *() const;

    /// Writes this string and each one behind it in turn.
    std::ostream & print(std::ostream & os) const;

private:
    struct GiveUp {
        void operator()(MimeStringBuffer * buffer) const noexcept;
    };
    using BufferReference = std::unique_ptr<MimeStringBuffer, GiveUp>;

    MimeString(char const * text, unsigned long length, char const * charSet, int codePage,
               char const * encoding) noexcept;

    bool MakeBuffer() const noexcept;
    void ShareText(MimeString const & other) noexcept;
    void CopyChain(MimeString const & other) noexcept;
    void DestroyChain() noexcept;

    /// What the copies share. Null as long as this string has its text alone, which most strings
    /// do to their end: text and length then stand here, and no memory is asked for.
    mutable BufferReference buffer_;
    char const * text_;
    unsigned long length_;
    char const * encoding_;
    char const * char_set_;
    int code_page_;
    MimeString * previous_ = nullptr;
    std::unique_ptr<MimeString> next_;
};
