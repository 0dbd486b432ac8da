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

using StreamForm = int (NLS_Translator::*)(iSimpleStream *, oSimpleStream *);
constexpr StreamForm inbound_stream = &NLS_Translator::CharSet_to_CodePage;
constexpr StreamForm outbound_stream = &NLS_Translator::CodePage_to_CharSet;

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

/// From a stream with buffers of `size` bytes.
inline std::string streamed(NLS_Translator & translator, StreamForm form, std::string_view text,
                            std::size_t size, int result = 0) {
    ChunkedSimpleStream in(text, {size, size});
    oSimpleStream out;
    EXPECT_EQ((translator.*form)(&in, &out), result);
    EXPECT_FALSE(in.good());
    return {out.str(), out.oBufCnt()};
}

} // namespace vellum::test
