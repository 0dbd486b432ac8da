// mime/foundation/trace_site.hpp - how a place in the engine writes a diagnostic
#pragma once

#include "mime/foundation/trace.hpp"

#include <type_traits>

namespace vellum {

/// Failures of the operating system, and input or settings that could not be used.
inline constexpr unsigned long trace_failure = 4;
inline constexpr unsigned long trace_warning = 8;

/// The place of a message in the engine's sources: its file without an ending, and its line.
struct TraceSite {
    unsigned long level;
    char const * file;
    unsigned long line;
};

inline bool is_traced(unsigned long level) {
    return TMimeTraceLog::fsDestination != nullptr && (level & TMimeTraceLog::fsRuntimeLevel) != 0;
}

/// Passes the message to the destination; the arguments behind `record` are those of its format.
void emit_trace(TMimeTraceRecord const * record, ...);

} // namespace vellum

/// Writes a message whose level has been found switched on.
template <typename... Arguments>
void TMimeTraceEmit(TMimeTraceRecord const & record, Arguments... arguments) {
    // A reference can't begin a va_list, so the record goes on as a pointer.
    static_assert((std::is_scalar_v<Arguments> && ...), "only what printf can take");
    vellum::emit_trace(&record, arguments...);
}

namespace vellum {

template <typename T>
auto trace_argument(T const & argument) {
    if constexpr (std::is_invocable_v<T const &>) {
        return argument();
    } else {
        return argument;
    }
}

/// A trace site. Switched off it costs the look at the destination and its mask. An argument that
/// takes some work is given as a function without parameters, and called only if the level is on.
template <typename... Arguments>
void trace(TraceSite const & site, char const * format, Arguments const &... arguments) {
    if (!is_traced(site.level)) return;
    TMimeTraceEmit(TMimeTraceRecord{format, site.level, site.line, site.file},
                   trace_argument(arguments)...);
}

} // namespace vellum
