// examples/support/header_text.hpp - encoded words into UTF-8, by way of the system's iconv
//
// An encoded word is decoded only if the note has a factory with a translator for its character
// set. This one serves every set that iconv knows.
#pragma once

#include <mime/vellum.hpp>

#include <string>

namespace examples {

/// The code page number of UTF-8, which NLS::PlatformCodePage has to be.
inline constexpr unsigned long utf8_code_page = 65001;

/// Translates the text of a header, and leaves bodies in their own character set: what is shown as
/// a part's size, or written to a file, are the very bytes that the sender put in.
class HeaderTextFactory : public NLS_Translator_Factory {
public:
    /// Nothing is translated while this is set. The note sets it around each leaf's body.
    bool is_in_body = false;

    NLS_Translator * New(char const * charSetName, int codePage) override;
};

/// The text of a field with its encoded words decoded, for the fields that a note gets as they
/// arrived.
std::string decoded_field_text(std::string const & text);

} // namespace examples
