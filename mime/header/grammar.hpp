// mime/header/grammar.hpp - the scanner of a header field's body (RFC 822 3.3 and 6.1, RFC
// 2045 5.1)
//
// Each scanner reads at `in`, sets `next` behind what it took and returns true if it took
// something; `in` and `next` may be one variable. Nearly all begin by skipping white space and
// comments. On false, `next` stands behind that skip and the result spans are untouched, but what
// the scanner has edited stays edited: a comment that was passed is gone for the alternative that
// follows. Comments go wherever they are skipped; those within a phrase stay part of it.
//
// Input:      the body of one unfolded field; it ends at the first NUL.
// Tolerance:  8-bit bytes are bytes of an atom. Dots may stand in a phrase, a backslash in an atom,
//             tspecials in a parameter's value. What the end of the field cuts off (a comment, a
//             quoted string, a bracket, a group) counts as closed there. More in
//             docs/TOLERANCES.md.
// Bounds:     no recursion: nesting is counted. Each byte is looked at a fixed number of times.
// Not here:   routes (<@a,@b:c@d>) are no addresses in strict mode.
#pragma once

#include "mime/foundation/ascii.hpp"
#include "mime/header/scan_buffer.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace vellum {

class HeaderRun;

/// The bytes that an atom may hold.
class AtomSet {
public:
    /// All but controls, white space, `tspecials` and the bytes of `reject`; but those of `accept`
    /// in any case, unless they are controls or white space.
    constexpr AtomSet(std::string_view accept, std::string_view reject);
    constexpr bool has(char c) const { return bytes_[static_cast<unsigned char>(c)]; }

private:
    std::array<bool, 256> bytes_{};
};

/// The 15 bytes that RFC 2045 5.1 keeps out of a token. The dot is not among them.
inline constexpr std::string_view tspecials = "()<>@,;:\\\"/[]?=";

constexpr AtomSet::AtomSet(std::string_view accept, std::string_view reject) {
    for (unsigned int c = 0x21; c < 256; ++c)
        bytes_[c] = c != 0x7F;
    for (char const c : tspecials)
        bytes_[static_cast<unsigned char>(c)] = false;
    for (char const c : reject)
        bytes_[static_cast<unsigned char>(c)] = false;
    for (char const c : accept)
        bytes_[static_cast<unsigned char>(c)] = true;
}

inline constexpr AtomSet token_atom{"", ""};               ///< RFC 2045 token.
inline constexpr AtomSet address_atom{"/=?\\", "."};       ///< RFC 822 atom, and backslash.
inline constexpr AtomSet dotted_atom{"/=?", "."};          ///< Behind a local part's dot.
inline constexpr AtomSet phrase_atom{"\\/=?", ""};         ///< RFC 822 atom, and dot.
inline constexpr AtomSet value_atom{"()[]<>/\\@,:?=", ""}; ///< A parameter's value.
inline constexpr AtomSet encoded_word_atom{"", "."};       ///< Charset and encoding.

static_assert(!token_atom.has('\0') && !token_atom.has(' ') && !value_atom.has('\t'));
static_assert(token_atom.has('\xE9') && token_atom.has('.') && !address_atom.has('.'));
static_assert(!value_atom.has(';') && !value_atom.has('"') && value_atom.has('('));

class HeaderScanner {
public:
    /// Scans the NUL-terminated `text` and edits it in place. The run's factories translate the
    /// encoded words, its cache keeps the translators. Both outlive the scanner.
    HeaderScanner(char * text, HeaderRun & run) : text_(text), run_(run) {}
    /// Tells the run how many bytes have been moved.
    ~HeaderScanner();
    HeaderScanner(HeaderScanner const &) = delete;
    HeaderScanner & operator=(HeaderScanner const &) = delete;

    ScanBuffer & text() { return text_; }
    HeaderRun & run() const { return run_; }

    /// What becomes of a run of white space. The comments in it go in any case.
    enum class Blanks { leave, remove, one };
    /// Whether a quoted string loses its quotes and backslashes, and has its encoded words decoded.
    enum class Quotes { keep, remove, remove_undecoded };

    /// Whether the comments between the words of a phrase stay part of it.
    enum class Comments { keep, drop };

    bool get_Char(Position in, Position & next, char c);
    bool get_LWSP(Position in, Position & next, Blanks blanks) {
        char const c = text_.at(in);
        if (ascii::is_blank(c) || c == '(') return take_LWSP(in, next, blanks);
        next = in;
        return false;
    }
    bool get_Atom(Position in, Position & next, Span & out, AtomSet const & atom);
    bool get_QText(Position in, Position & next, Span & out, Quotes quotes);
    bool get_RText(Position in, Position & next, Span & out);
    bool get_Word(Position in, Position & next, Span & out, AtomSet const & atom, Quotes quotes,
                  bool encoded);
    bool get_Phrase(Position in, Position & next, Span & out, AtomSet const & atom,
                    Comments comments = Comments::keep);
    bool get_LocalPart(Position in, Position & next, Span & out);
    bool get_DomainLiteral(Position in, Position & next, Span & out);
    bool get_SubDomain(Position in, Position & next, Span & out);
    bool get_Domain(Position in, Position & next, Span & out);
    bool get_AddrSpec0(Position in, Position & next, Span & out);
    bool get_AddrSpec1(Position in, Position & next, Span & out);
    bool get_RouteAddr(Position in, Position & next, Span & out, bool strict);
    bool get_Mailbox(Position in, Position & next, Span & phrase, Span & address, bool strict);
    /// `in_group` is false before a field's first address and survives between the calls for it.
    bool get_Address(Position in, Position & next, Span & phrase, Span & address, bool & in_group,
                     bool strict);
    bool get_Parameter(Position in, Position & next, Span & attribute, Span & value);
    /// The same by the rule parameters_resume: passes over what can't be read, and tells of it. Of
    /// an attribute with a "*" the value is not decoded (RFC 2231).
    bool find_Parameter(Position in, Position & next, Span & attribute, Span & value);

    /// From now on a quote that isn't closed up to the end of the text is a character like any
    /// other, and so are the quotes behind it.
    void take_open_quotes_as_text() { open_quotes_are_text_ = true; }

    /// Decodes all encoded words of `range`, and drops the white space between two of them. True
    /// if there was a word; `out` is the text without leading white space in any case.
    bool get_Encoded_Text(Span range, Position & next, Span & out);
    /// The same, for all of the text.
    bool get_Encoded_Text(Position & next, Span & out);

    /// The same, for a text of its own from `from` on. If there was a word, the white space at that
    /// place goes.
    void decode_words(std::string & text, std::size_t from);

    /// Whether the span is `word`, without regard to case.
    bool is(Span const & span, std::string_view word);
    /// The word as SymbolTable::Init has loaded it; null for any other word, whatever a message or
    /// a client has added to the table.
    char const * protocol_word(Span const & word);

private:
    friend class AddressList;

    Position skip(Position in) {
        get_LWSP(in, in, Blanks::leave);
        return in;
    }
    bool take_LWSP(Position in, Position & next, Blanks blanks);
    bool get_Domains(Position in, Position & next, Span & out);
    bool find_Mailbox(Position in, Position & next, Span & phrase, Span & address, bool strict,
                      Position & behind_phrase);
    bool end_of_group(Position & next, bool & in_group);
    bool get_open_Value(Position in, Position & next, Span & out);
    bool ends_in_comment(Position in);
    Position pass_to_semicolon(Position in) const;

    bool begins_QText(Position in);
    Position pass_atom(Position in, AtomSet const & atom);
    std::optional<Position> end_of_QText(Position in) const;
    Position pass_QText(Position in) const;

    // Readers: each leaves the text as it is, appends to `out` what it means, and returns the place
    // behind what it took.
    Position read_LWSP(Position in, std::string & out, Comments comments);
    Position read_Comment(Position in, std::string & out);
    Position read_QText(Position in, std::string & out, Quotes quotes = Quotes::remove);
    Position read_Word(Position in, AtomSet const & atom, std::string & out, bool & is_encoded);
    /// Takes nothing if no word begins at `in` that can be decoded.
    Position read_Encoded_Word(Position in, std::string & out);

    std::optional<Position> decode_word(ScanBuffer & text, Position begin, Span const & word,
                                        Span & range);
    /// Puts the meaning of each encoded word of `range` in the word's place; the range's end moves
    /// along. True if there was such a word.
    bool decode_words(ScanBuffer & text, Span & range);

    ScanBuffer text_;
    HeaderRun & run_;
    std::size_t behind_comment_ = std::string::npos; ///< See ends_in_comment().
    bool open_quotes_are_text_ = false;
    std::size_t behind_open_quote_ = 0; ///< See begins_QText().
    std::string phrase_;                ///< The phrase that is being read; kept for its memory.
};

} // namespace vellum
