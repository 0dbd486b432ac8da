// mime/foundation/trace.cpp - the trace destination, its text file, and the call that reaches it
#include "mime/foundation/trace.hpp"

#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"

#include <cstdarg>
#include <ctime>
#include <string_view>

TMimeTraceLog * TMimeTraceLog::fsDestination = nullptr;
unsigned long TMimeTraceLog::fsRuntimeLevel = 15;

TMimeTraceLog::TMimeTraceLog() {
    if (fsDestination == nullptr) fsDestination = this;
}

TMimeTraceLog::~TMimeTraceLog() {
    if (fsDestination == this) fsDestination = nullptr;
}

void TMimeTraceLog::SetLevel(unsigned long mask) { fsRuntimeLevel = mask; }

TMimeTraceStream::TMimeTraceStream(char const * path) {
    if (fsDestination != this) return;
    if (path != nullptr) file_ = std::fopen(path, "w");
    if (file_ == nullptr) fsDestination = nullptr;
}

TMimeTraceStream::TMimeTraceStream(char const * path, unsigned long mask) : TMimeTraceStream(path) {
    if (file_ != nullptr) SetLevel(mask);
}

TMimeTraceStream::~TMimeTraceStream() {
    if (file_ != nullptr) std::fclose(file_);
}

namespace {

char level_character(unsigned long level) {
    switch (level) {
    case 1: return 'O';
    case 2: return 'S';
    case 4: return 'E';
    case 8: return 'W';
    case 16: return 'I';
    case 32: return 'i';
    case 256: return '1';
    case 512: return '2';
    case 1024: return '*';
    case 4096: return '>';
    case 8192: return '<';
    default: return '?';
    }
}

/// The part of a path behind its last separator, of whatever platform it was built on.
char const * file_name(char const * path) {
    if (path == nullptr) return "????.???";
    std::size_t const separator = std::string_view(path).find_last_of("/\\");
    return separator == std::string_view::npos ? path : path + separator + 1;
}

} // namespace

void TMimeTraceStream::Write(unsigned long level, unsigned long line, char const * file,
                             char const * format, char * arguments) {
    if (file_ == nullptr) return;
    std::int64_t const now = vellum::platform::now();
    std::tm local{};
    vellum::platform::local_time(static_cast<std::time_t>(now / 1000), local);
    std::fprintf(file_, "%2.2d/%2.2d-%2.2d:%2.2d:%2.2d.%2.2d %08X %c [%s:%u] ", local.tm_mon + 1,
                 local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<int>(now % 1000 / 10),
                 static_cast<unsigned>(vellum::platform::thread_number()), level_character(level),
                 file_name(file), static_cast<unsigned>(line));
    std::vfprintf(file_, format, *reinterpret_cast<std::va_list *>(arguments));
    std::fprintf(file_, "\n");
    std::fflush(file_);
}

void vellum::emit_trace(TMimeTraceRecord const * record, ...) {
    TMimeTraceLog * const destination = TMimeTraceLog::fsDestination;
    if (destination == nullptr) return;
    std::va_list list;
    va_start(list, record);
    // A va_list is an array on some platforms and a pointer on others: its address is one on all.
    destination->Write(record->level, record->line, record->file, record->format,
                       reinterpret_cast<char *>(&list));
    va_end(list);
}
