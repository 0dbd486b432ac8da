// mime/header/address_list.hpp - a list of addresses, of which each element stands for itself
//
// How a list is read by the rule address_lists_resume. The extent of an element is found first, and
// what is in it can't spoil the rest: an element ends at a "," or ";" that is in no quoted string,
// comment, angle bracket or encoded word. A quote that is never closed is a character.
//
// Bounds:     each byte is looked at a fixed number of times.
// Not here:   groups within groups: the second ends the first.
#pragma once

#include "mime/header/grammar.hpp"

#include <string>

namespace vellum {

class AddressList {
public:
    /// `strict`: an RFC 5322 address stands in angle brackets, else any text.
    AddressList(HeaderScanner & scanner, bool strict) : scanner_(scanner), strict_(strict) {
        scanner.take_open_quotes_as_text();
    }

    enum class Found { mailbox, unreadable, group, end_of_group, end };
    /// What comes next. An empty element is passed over.
    Found next();

    /// Of a mailbox, its name and its address; of a group its name. Null where it is missing.
    Span phrase() const { return phrase_; }
    Span address() const { return address_; }
    /// The name of a mailbox that has it in a comment; else empty.
    std::string const & comment() const { return comment_; }
    /// Where the element stands in the text.
    Span place() const { return Span::of(begin_, at_); }

private:
    struct Extent {
        Position end;
        bool has_bracket = false;
        bool has_open_quote = false;
        Span comment; ///< The last comment that isn't in brackets.
    };
    Extent extent();
    Position pass_inner(Position in) const;
    Position pass_quote(Position in, Extent & found);
    Position pass_bracket(Position in, Extent & found);
    Position pass_encoded_word(Position in);
    Position pass_literal(Position in);
    Found read_group();
    Found end_group(bool is_closed);
    bool read_mailbox(Extent const & extent);
    Position end_of(Position behind) const;
    void read_comment(Span const & comment);
    bool read_bracket(Position & at, Position behind);
    bool take_plain_address(Position in, Position & next, Position end);

    HeaderScanner & scanner_;
    bool strict_;
    bool in_group_ = false;
    Position begin_ = 0;
    Position at_ = 0;
    Span phrase_;
    Span address_;
    std::string comment_;
};

} // namespace vellum
