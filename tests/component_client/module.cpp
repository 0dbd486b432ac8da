// tests/component_client/module.cpp - a client of the engine that component_client has loaded
#include "mime/MIMEQXST.hpp"

extern "C" VELLUM_EXPORT void make_factory();

void make_factory() { NLS_qxStr_Factory const factory; }
