// mime/send/header_text.hpp - a client's text in a folded field: plain, quoted, or encoded words
#pragma once

#include "mime/send/text_kind.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

struct MimeSender;

namespace vellum {

class HeaderFolder;

/// Writes the texts of one field into its folder, in words that can all be read back (RFC 2047 5).
/// What is plain ASCII stands as it is; so do encoded words alone. Anything else, and anything that
/// only looks like an encoded word, becomes encoded words, or with SetUtf8 UTF-8.
class HeaderText {
public:
    HeaderText(MimeSender & sender, HeaderFolder & folder) : sender_(sender), folder_(folder) {}

    /// A subject, a comment, a description, a client's own field.
    void PutUnstructured(std::string_view text);
    /// A display name: a quoted string, where it isn't encoded.
    void PutPhrase(std::string_view text);
    /// Ids, keywords: words of a structured field, of which only those are encoded that have to be.
    void PutWords(std::string_view text);
    /// A file name by RFC 2231, as encoded words in quotes, or both (SetParameterForm); in plain
    /// quotes, or as a token, where that will do.
    void PutParameter(std::string_view name, std::string_view value);

private:
    std::optional<std::string> AsItStands(std::string_view text) const;
    bool CanBeFolded(std::string_view text, std::size_t longest_word) const;
    bool BeginsWell(std::string_view text) const;
    void PutEncoded(std::string_view text, TextKind kind);
    void PutEncodedRun(std::string_view words);
    bool PutQuoted(std::string const & text);
    bool PutQuotedParameter(std::string_view name, std::string_view value);
    void PutExtendedParameter(std::string_view name, std::string_view value);
    void PutEncodedParameter(std::string_view name, std::string_view value);

    MimeSender & sender_;
    HeaderFolder & folder_;
};

} // namespace vellum
