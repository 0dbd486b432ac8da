// mime/codec/decoding_rules.hpp - what a transfer decoder accepts, and what it tells of its input
#pragma once

/// What a decoder accepts beyond the plain reading of its encoding. All rules are off at first; a
/// rule of one encoding means nothing to the others.
struct DecodingRules {
    /// Quoted-printable: "=" that begins neither an escape nor a soft break stays as it is, and so
    /// does what follows it. Off: any two characters behind "=" are an escape.
    bool keep_invalid_escapes = false;
    /// Quoted-printable: blanks and tabs between "=" and its line end, up to 75 of them, belong to
    /// the soft break (RFC 2045 6.7, rule 3).
    bool drop_blanks_behind_soft_break = false;
    /// Base64: padding ends the data of its line only, and the next line goes on. Off: `decode`
    /// returns at the padding and leaves the rest of its input unread.
    bool padding_ends_line_only = false;
    /// Uuencode: a line "end" ends the data also without a line of length 0 in front of it.
    bool end_word_ends_data = false;
    /// Uuencode: an empty line is passed over where a line follows that can be nothing but data.
    /// Off: it ends the data.
    bool skip_empty_lines = false;
    /// All: `Finish` delivers what is open at the end of the data: the whole bytes of an unfinished
    /// base64 group, a last uuencoded line without a line end, a lone CR. Off: it is dropped.
    bool deliver_unfinished_end = false;
};

/// What a decoder has met in its input so far that its encoding doesn't allow. Nothing here stops a
/// decoder.
struct DecodingDefects {
    /// Base64: a character that is neither in the alphabet nor "=" nor white space.
    bool bad_character = false;
    /// Base64: the data ends within a group, the padding comes where no byte is whole, or one of
    /// two "=" is missing, so that the character in its place is lost.
    bool unfinished_group = false;
    /// Base64: characters of the alphabet behind the padding.
    bool data_behind_padding = false;
    /// Quoted-printable: "=" that begins neither an escape nor a soft break.
    bool bad_escape = false;
    /// Uuencode: the input ended without a "begin" line.
    bool no_begin = false;
    /// Uuencode: the input ended within the data.
    bool no_end = false;
    /// Uuencode: text in front of the "begin" line or behind the end, which is not delivered.
    bool text_outside = false;

    bool any() const {
        return bad_character || unfinished_group || data_behind_padding || bad_escape || no_begin ||
               no_end || text_outside;
    }
};
