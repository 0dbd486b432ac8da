// examples/support/text_factory.hpp - the library's translators into UTF-8, with a switch
#pragma once

#include <mime/vellum.hpp>

#include <string>

namespace examples {

/// The code page number of UTF-8, which NLS::PlatformCodePage has to be.
inline constexpr unsigned long utf8_code_page = 65001;

/// Makes the translators of NLS_qxStr_Factory. A note that wants some texts as their sender wrote
/// them, byte for byte, turns it off for that time; one that doesn't has no need of this class.
class TextFactory : public NLS_qxStr_Factory {
public:
    bool is_off = false;

    NLS_Translator * New(char const * charSetName, int codePage) override;
};

/// The text of a field with its encoded words decoded, for the fields that a note gets as they
/// arrived.
std::string decoded_field_text(std::string const & text, MimeINote::Reading reading);

} // namespace examples
