// mime/foundation/trace.cpp - the trace destination, its text file, and the call that reaches it
#include "mime/foundation/trace.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"

#include <array>
#include <cstdarg>
#include <ctime>
#include <new>
#include <string>
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

/// What printf makes of `format`. `arguments` can be used once only, and is used here.
std::string formatted(char const * format, std::va_list & arguments) {
    std::va_list again;
    va_copy(again, arguments);
    std::array<char, 256> short_text;
    int const length = std::vsnprintf(short_text.data(), short_text.size(), format, arguments);
    std::string text(static_cast<std::size_t>(length > 0 ? length : 0), '\0');
    if (text.size() < short_text.size()) {
        text.assign(short_text.data(), text.size());
    } else {
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

/// Appends `text` with each control character as `\xHH`: what a message brought can neither begin
/// a line of its own nor speak to a terminal.
void append_visible(std::string & line, std::string_view text) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (char const c : text) {
        if (vellum::ascii::is_control(c)) {
            unsigned char const value = vellum::ascii::byte(c);
            line += {'\\', 'x', digits[value >> 4], digits[value & 15]};
        } else {
            line += c;
        }
    }
}

/// Date, time, thread, level and place: all in front of the message.
std::string line_head(unsigned long level, unsigned long line, char const * file) {
    std::int64_t const now = vellum::platform::now();
    std::tm local{};
    vellum::platform::local_time(static_cast<std::time_t>(now / 1000), local);
    std::array<char, 128> head;
    std::snprintf(head.data(), head.size(), "%2.2d/%2.2d-%2.2d:%2.2d:%2.2d.%2.2d %08X %c [",
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(now % 1000 / 10),
                  static_cast<unsigned>(vellum::platform::thread_number()), level_character(level));
    return head.data() + std::string(file_name(file)) + ':' +
           std::to_string(static_cast<unsigned>(line)) + "] ";
}

} // namespace

void TMimeTraceStream::Write(unsigned long level, unsigned long line, char const * file,
                             char const * format, char * arguments) {
    if (file_ == nullptr) return;
    try {
        std::string text = line_head(level, line, file);
        append_visible(text, formatted(format, *reinterpret_cast<std::va_list *>(arguments)));
        text += '\n';
        // One call for the whole line: the file is locked for it, so that lines of threads don't
        // mix.
        std::fwrite(text.data(), 1, text.size(), file_);
        std::fflush(file_);
    } catch (std::bad_alloc const &) { // a line that finds no memory is not worth a failure
    }
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
