// mime/header/header_run.cpp - the run that a header is parsed for, as the header parsers see it
#include "mime/header/header_run.hpp"

#include "mime/header/reading_rules.hpp"
#include "mime/nls/message_words.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/incoming_note.hpp"

namespace vellum {

HeaderRun::HeaderRun(MimeINote * client)
    : note(client), words(std::make_unique<MessageWords>()),
      rules(client != nullptr && client->reading_ == MimeINote::Reading_Extended ? &extended_reading
                                                                                 : &basic_reading) {
}

HeaderRun::~HeaderRun() { delete translator_cache; } // its destructor takes the rest of the list

void HeaderRun::tell(MimeDefect what) {
    if (current_context != nullptr) note->Defect(*current_context, what, field_offset);
}

void HeaderRun::Boundary_Init(char const *) {}

} // namespace vellum
