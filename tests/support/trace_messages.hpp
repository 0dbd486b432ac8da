// tests/support/trace_messages.hpp - what was traced, for the time of a scope
#pragma once

#include "mime/foundation/trace.hpp"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace vellum::test {

class LastMessage : public TMimeTraceLog {
public:
    void Write(unsigned long level, unsigned long line, char const * file, char const * format,
               char * arguments) override {
        char message[400];
        std::vsnprintf(message, sizeof message, format,
                       *reinterpret_cast<std::va_list *>(arguments));
        place = std::to_string(level) + " " + file + ":" + std::to_string(line);
        text = message;
        all.push_back(std::to_string(level) + " " + text);
    }

    std::string place; ///< LEVEL FILE:LINE
    std::string text;
    std::vector<std::string> all; ///< LEVEL TEXT, of each
};

} // namespace vellum::test
