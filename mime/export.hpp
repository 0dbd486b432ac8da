// mime/export.hpp - the mark of what the shared library gives to its clients
#pragma once

#if defined(_WIN32)
#if defined(VELLUM_BUILDING)
#define VELLUM_EXPORT __declspec(dllexport)
#else
#define VELLUM_EXPORT __declspec(dllimport)
#endif
#else
#define VELLUM_EXPORT __attribute__((visibility("default")))
#endif
