// mime/send/writing_rules.hpp - what a writer does beyond the basic way of writing
//
// All that differs between the two ways of writing stands here, as one bool a rule. Code that
// decides asks for its rule by name, and never which way of writing it is in.
// docs/WRITING.md shows both columns, with the RFC section of each rule.
#pragma once

namespace vellum {

struct WritingRules {
    // Ids
    bool random_ids;        ///< Ids and boundaries are of 128 random bits (RFC 5322 3.6.4).
    bool only_fields_given; ///< No X-MIME-Engine, no generated Content-Id, no Content-Description
                            ///< made of a file name.

    // Header fields
    bool lines_folded;        ///< At 78 bytes where a blank allows it, at 998 anyhow (RFC 5322
                              ///< 2.1.1).
    bool short_encoded_words; ///< At most 75 bytes, whole characters, the shorter of Q and B (RFC
                              ///< 2047 2).
    bool ascii_header;        ///< No byte above 0x7F leaves in a header without SetUtf8.
    bool extended_parameters; ///< RFC 2231, as SetParameterForm says; Get_Parameter is asked.
    bool any_own_field;       ///< SendField takes each name that this header doesn't have from the
                              ///< engine, and folds again.
    bool trace_fields_first;  ///< PutTraceFields is called.
    bool headers_passed_on;   ///< PutHeader is called, and GetPreamble and GetEpilogue.
    bool bcc_withheld;        ///< Unless SetBcc says otherwise.

    // Bodies
    bool text_lines_ended;   ///< A bare LF of a text becomes CR LF.
    bool encoding_by_text;   ///< 7bit, quoted-printable or base64, by the first 64 KB.
    bool from_escaped;       ///< "From " at the start of an encoded line.
    bool messages_unencoded; ///< message/* stays 7bit, 8bit or binary (RFC 2046 5.2).

    // The run
    bool failures_told; ///< A body stream in error makes Send return 0.
};

inline constexpr WritingRules basic_writing{};

inline constexpr WritingRules extended_writing{
    .random_ids = true,
    .only_fields_given = true,
    .lines_folded = true,
    .short_encoded_words = true,
    .ascii_header = true,
    .extended_parameters = true,
    .any_own_field = true,
    .trace_fields_first = true,
    .headers_passed_on = true,
    .bcc_withheld = true,
    .text_lines_ended = true,
    .encoding_by_text = true,
    .from_escaped = true,
    .messages_unencoded = true,
    .failures_told = true,
};

} // namespace vellum
