// mime/header/text_translation.hpp - text of a header field in a named character set
#pragma once

#include <string>

namespace vellum {

class HeaderRun;

/// Translates `text` from the character set of that name to the local code page. False if no
/// translator can be had, or gives nothing: the text then stays as it is.
bool translate_text(HeaderRun & run, char const * set, std::string & text);

} // namespace vellum
