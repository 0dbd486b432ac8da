// mime/foundation/trace.hpp - the one destination of the engine's diagnostics
//
// The engine's own sites write through trace_site.hpp.
#pragma once

#include "mime/export.hpp"

#include <cstdio>

/// Where diagnostics go. There is at most one destination in a process, and no destination at
/// first. Derive to send the lines elsewhere: the constructor installs the object if no other is
/// installed, and the destructor takes it away again. Nothing is locked, so install it, and set the
/// level, before the engine is used from several threads. A level is a single bit.
class VELLUM_EXPORT TMimeTraceLog {
public:
    TMimeTraceLog(TMimeTraceLog const &) = delete;
    TMimeTraceLog & operator=(TMimeTraceLog const &) = delete;
    virtual ~TMimeTraceLog();

    /// Called once for each message whose level is in the mask, on the thread that it happens on,
    /// and by several threads at once. `file` and `line` are the place in the engine; `file` may be
    /// null. `format` is that of printf, and `arguments` points at the std::va_list that belongs to
    /// it: `std::vfprintf(stream, format, *reinterpret_cast<std::va_list *>(arguments))`, once. All
    /// pointers are valid for the time of the call.
    virtual void Write(unsigned long level, unsigned long line, char const * file,
                       char const * format, char * arguments) = 0;

    /// Replaces the mask of the levels that are written.
    static void SetLevel(unsigned long mask);

    /// The installed object, not owned; null while no object is installed.
    static TMimeTraceLog * fsDestination;

    /// The mask of the levels that are written; 15 at load.
    static unsigned long fsRuntimeLevel;

protected:
    TMimeTraceLog();
};

/// The destination that comes with the engine: a text file with one line per message, each flushed
/// before the engine goes on. A line is written whole, whatever other threads write. A control
/// character of a message is shown as `\xHH`.
class VELLUM_EXPORT TMimeTraceStream : public TMimeTraceLog {
public:
    /// Replaces the file at `path`, if this object has become the destination; otherwise it stays
    /// idle for good. If the file can't be opened, there is no destination.
    explicit TMimeTraceStream(char const * path);

    /// The same, and sets the mask once the file is open.
    TMimeTraceStream(char const * path, unsigned long mask);

    ~TMimeTraceStream() override;

    void Write(unsigned long level, unsigned long line, char const * file, char const * format,
               char * arguments) override;

private:
    std::FILE * file_ = nullptr; // OWNS
};

/// What a site knows of its message before any argument is computed.
struct TMimeTraceRecord {
    char const * format;
    unsigned long level;
    unsigned long line;
    char const * file;
};
