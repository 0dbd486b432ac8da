// mime/header/header_run.cpp - the run that a header is parsed for, as the header parsers see it
#include "mime/header/header_run.hpp"

#include "mime/nls/translator.hpp"

namespace vellum {

HeaderRun::~HeaderRun() { delete translator_cache; } // its destructor takes the rest of the list

void HeaderRun::Boundary_Init(char const *) {}

} // namespace vellum
