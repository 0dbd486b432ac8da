// tests/support/conversions.hpp - what a translator makes of a text in a buffer
#pragma once

#include "mime/nls/translator.hpp"
#include "tests/support/chunked.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vellum::test {

using Form = int (NLS_Translator::*)(unsigned char *, unsigned long, unsigned char *&,
                                     unsigned long &, void (**)(unsigned char *));
constexpr Form inbound = &NLS_Translator::CharSet_to_CodePage;
constexpr Form outbound = &NLS_Translator::CodePage_to_CharSet;

/// A text, and the buffer that a translation has put in its place, or that is offered to it.
struct Conversion {
    explicit Conversion(std::string_view text) : in(text) {}
    ~Conversion() {
        if (release != nullptr) release(out);
    }

    template <class Translator, class Operation, class... Sets>
    int run(Translator & translator, Operation operation, Sets... sets) {
        auto * const bytes = reinterpret_cast<unsigned char *>(in.begin());
        return (translator.*operation)(bytes, in.size(), out, length, &release, sets...);
    }
    std::string result() const { return {reinterpret_cast<char const *>(out), length}; }

    ExactCopy in;
    unsigned char * out = nullptr;
    unsigned long length = 0;
    void (*release)(unsigned char *) = nullptr;
};

inline std::string translated(NLS_Translator & translator, Form form, std::string_view text) {
    Conversion conversion(text);
    EXPECT_EQ(conversion.run(translator, form), 0);
    return conversion.result();
}

} // namespace vellum::test
