// mime/header/header_run.cpp - the run that a header is parsed for, as the header parsers see it
#include "mime/header/header_run.hpp"

#include "mime/header/code_page_note.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/nls/client_text.hpp"
#include "mime/nls/message_words.hpp"
#include "mime/nls/translator.hpp"
#include "mime/nls/utf_8.hpp"
#include "mime/note/incoming_note.hpp"

namespace vellum {

HeaderRun::HeaderRun(MimeINote * client)
    : note(client), words(std::make_unique<MessageWords>()),
      code_page(client != nullptr && client->code_page_ != 0
                    ? client->code_page_
                    : static_cast<int>(NLS::PlatformCodePage)),
      fallback_set(client != nullptr ? client->fallback_set_ : nullptr),
      rules(client != nullptr && client->reading_ == MimeINote::Reading_Extended ? &extended_reading
                                                                                 : &basic_reading) {
}

HeaderRun::~HeaderRun() { delete translator_cache; } // its destructor takes the rest of the list

std::optional<std::string> HeaderRun::client_text(std::string_view text) {
    if (!rules->eight_bit_text_guessed || factories == nullptr) return std::nullopt;
    if (utf_8::is_ascii(text)) return std::nullopt;
    std::string result = guessed_text(text, translators());
    if (result == text) return std::nullopt;
    return result;
}

TextTranslators HeaderRun::translators() {
    return {.cache = &translator_cache,
            .factories = factories,
            .code_page = code_page,
            .fallback = fallback_set,
            .repairs_text = rules->eight_bit_text_guessed,
            .takes_system_sets = rules->system_sets};
}

void HeaderRun::tell(MimeDefect what) {
    if (current_context != nullptr) note->Defect(*current_context, what, field_offset);
}

void HeaderRun::Boundary_Init(char const *) {}

} // namespace vellum
