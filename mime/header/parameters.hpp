// mime/header/parameters.hpp - the parameters of Content-Type and Content-Disposition, one by one
// (RFC 2045 5.1), and those that RFC 2231 has cut or encoded, put together
//
// A parameter is reported as it is read. Only where a field has a "*" (rule extended_parameters)
// all of its parameters are read first, as their pieces may stand in any order, and where both
// forms of a parameter stand the form of RFC 2231 counts.
//
// Tolerance:  pieces that are missing are left out; an encoded value without a set and a language
//             is taken as it is; encoded words (RFC 2047) in pieces are decoded once they are
//             joined.
// Bounds:     40 bytes a parameter while they are put in order, for at most `most_pieces`; behind
//             those a parameter is reported as it stands, and a piece is passed over. Each
//             name is hashed once, under a key that no sender knows, and compared once.
#pragma once

#include "mime/header/grammar.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vellum {

class ParameterReader {
public:
    /// Reads from `at` on, the place behind the words that the field begins with.
    ParameterReader(HeaderScanner & scanner, Position at);
    ParameterReader(ParameterReader const &) = delete;
    ParameterReader & operator=(ParameterReader const &) = delete;

    /// Whether there is a further parameter.
    bool next();
    /// Whether the parameter has this name, without regard to case.
    bool is(std::string_view name) const { return scanner_.is(attribute_, name); }
    /// The parameter's name as the message spells it, without what RFC 2231 adds to it, and its
    /// value, unquoted and decoded. Both are good until the next call of next().
    char const * name();
    char const * value();

private:
    /// A parameter as it stands, or a piece of a parameter.
    struct Piece {
        std::uint32_t name;
        std::uint32_t value;
        std::uint32_t value_size;
        std::uint32_t code;
        std::uint32_t name_size; ///< Without what RFC 2231 adds.
        std::uint32_t group;     ///< Those of one name have one number, in the order of the names.

        /// 0 is a plain parameter, 1 is "name*", and 2 + n is "name*n".
        std::uint32_t number() const { return code / 2; }
        /// Whether the value has percent escapes.
        bool is_encoded() const { return code % 2 != 0; }
    };

    bool read_next();
    bool is_piece(Span const & attribute) const;
    void collect();
    bool add_piece(Span const & attribute, Span const & value);
    std::string_view name_of(Piece const & piece);
    void number_groups();
    void put_in_order();
    void take_group();
    void join(std::size_t first, std::size_t end);
    Terminated const & text();

    HeaderScanner & scanner_;
    Position at_;
    Span attribute_;
    Span value_;
    std::optional<std::string> joined_; ///< The value, if it was put together.
    std::optional<Terminated> text_;
    bool has_pieces_;           ///< Or may have, as there is a "*".
    std::vector<Piece> pieces_; ///< Those of one name stand together.
    std::size_t next_piece_ = 0;
    std::size_t plain_end_ = 0; ///< Those in front of it have no other form.
};

/// The parameter's name as SymbolTable::Init has loaded it, or else as the message spells it.
char const * known_name(ParameterReader & parameter);

} // namespace vellum
