// mime/header/reading_rules.hpp - what a reader accepts beyond the basic way of reading
//
// All that differs between the two ways of reading stands here, as one member a rule. Code that
// decides asks for its rule by name, and never which way of reading it is in.
// docs/TOLERANCES.md shows both columns, with the mail that needs each rule.
#pragma once

#include "mime/codec/decoding_rules.hpp"

namespace vellum {

struct ReadingRules {
    // Structure
    bool delimiter_blanks;         ///< Blanks may stand behind a delimiter (RFC 2046 5.1.1).
    bool delimiter_at_end;         ///< A delimiter may be the last line, without a line end.
    bool any_line_end;             ///< CR LF or LF around a delimiter, whatever the header has.
    bool outer_delimiters;         ///< A delimiter of any open level ends the levels within it
                                   ///< (RFC 2046 5.1.2).
    bool delimiter_ends_header;    ///< A delimiter directly behind header fields ends that header.
    bool stray_lines_begin_body;   ///< Lines that are no fields, with no field behind them, are the
                                   ///< start of the body.
    bool lone_cr_is_blank_line;    ///< A CR that ends the header of a multipart or a message is its
                                   ///< blank line, and the rest of that line is the body's.
    bool multipart_needs_boundary; ///< A multipart without a boundary is data.
    bool encoded_messages_opened;  ///< A message in base64, quoted-printable or uuencode is walked;
                                   ///< message/global is a message (RFC 6532 3.7).
    bool fragments_need_directory; ///< message/partial is stored only where SetPartialDir said so.
    bool byte_order_mark_passed;   ///< In front of the first field.

    // Parameters
    bool parameters_resume;   ///< A parameter that can't be read costs only itself, and an unquoted
                              ///< value goes to the next ";".
    bool extended_parameters; ///< Sets, escapes and continuations of RFC 2231.
    bool all_parameters_told; ///< SetParameter gets every parameter, of Content-Disposition too.

    // Addresses, words, text, dates
    bool bracketed_address_first; ///< "name <address>" is tried before a bare address.
    bool comment_is_name;         ///< addr (Name), where there is no other name.
    bool routes_passed;           ///< <@a,@b:c@d> (RFC 5322 4.4).
    bool bracket_ends_at_comma;   ///< A missing ">".
    bool address_lists_resume;    ///< An element that can't be read costs only itself, and is told
                                  ///< without an address.
    bool groups_told;             ///< SetGroup, and groups in From too (RFC 6854).
    bool adjacent_words_joined;   ///< Encoded words side by side are one text in their set.
    bool word_languages_passed;   ///< =?set*language?Q?text?= (RFC 2231 5).
    bool untranslated_text_kept; ///< Where a translator fails in the middle of a field's text, what
                                 ///< it leaves comes as text of no known set.
    bool eight_bit_text_guessed; ///< Raw 8-bit text is UTF-8 or of the fallback set (RFC 6532).
    bool system_sets;            ///< Sets that only the C library knows are translated.
    bool all_dates;              ///< RFC 5322 4.3 and other forms that mail has; Set_DateTime.

    // Bodies
    DecodingRules decoding; ///< What the transfer decoders accept.
    bool encoding_names;    ///< uuencode, x-uue, uue; a ";" or a comment behind the word.
};

inline constexpr ReadingRules basic_reading{};

inline constexpr ReadingRules extended_reading{
    .delimiter_blanks = true,
    .delimiter_at_end = true,
    .any_line_end = true,
    .outer_delimiters = true,
    .delimiter_ends_header = true,
    .stray_lines_begin_body = true,
    .lone_cr_is_blank_line = true,
    .multipart_needs_boundary = true,
    .encoded_messages_opened = true,
    .fragments_need_directory = true,
    .byte_order_mark_passed = true,
    .parameters_resume = true,
    .extended_parameters = true,
    .all_parameters_told = true,
    .bracketed_address_first = true,
    .comment_is_name = true,
    .routes_passed = true,
    .bracket_ends_at_comma = true,
    .address_lists_resume = true,
    .groups_told = true,
    .adjacent_words_joined = true,
    .word_languages_passed = true,
    .untranslated_text_kept = true,
    .eight_bit_text_guessed = true,
    .system_sets = true,
    .all_dates = true,
    .decoding = {.keep_invalid_escapes = true,
                 .drop_blanks_behind_soft_break = true,
                 .padding_ends_line_only = true,
                 .end_word_ends_data = true,
                 .skip_empty_lines = true,
                 .deliver_unfinished_end = true},
    .encoding_names = true,
};

} // namespace vellum
