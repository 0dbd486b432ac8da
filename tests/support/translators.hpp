// tests/support/translators.hpp - translators whose results are easy to foretell
//
// TestFactory knows these character sets, and no others:
//
//     x-same        every byte as it is
//     iso-8859-1    bytes from 0x80 on become the two bytes of UTF-8; us-ascii likewise. These two
//                   stay in the list of the run, the others don't
//     x-wide        every byte becomes itself and ten dots
//     x-none        no byte gives anything, and the conversion succeeds
//     x-fails       the conversion gives nothing and fails
//     x-breaks      the first half of the text, and then the conversion fails
//     x-shift       between SO and SI letters are shifted to capitals; so a text must come whole
//     iso-2022-jp   as x-same, but says that it has shift states
#pragma once

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/nls/translator.hpp"

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace vellum::test {

class TestTranslator : public NLS_Translator {
public:
    explicit TestTranslator(char const * charset) {
        charSetName = charset;
        className = "TestTranslator";
    }

    void Delete() override {
        if (!is("iso-8859-1") && !is("us-ascii")) NLS_Translator::Delete();
    }
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return is("x-shift") || is("iso-2022-jp") ? shift_states : no_restriction;
    }
    int CodePage_to_CharSet(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }
    int CodePage_to_CharSet(iSimpleStream *, oSimpleStream *) override { return 1; }
    int CharSet_to_CodePage(unsigned char * in, unsigned long inLength, unsigned char *& out,
                            unsigned long & outLength, void (**freeOut)(unsigned char *)) override {
        if (*freeOut != nullptr) (*freeOut)(out);
        std::string const text(reinterpret_cast<char const *>(in), inLength);
        std::string const result = translated(text);
        out = static_cast<unsigned char *>(::operator new(result.size() + 1));
        std::memcpy(out, result.c_str(), result.size() + 1);
        outLength = static_cast<unsigned long>(result.size());
        *freeOut = FreeMem_Cpp;
        return status();
    }
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override {
        std::string text;
        for (int c; (c = in->get()) >= 0;)
            text += static_cast<char>(c);
        out->write(translated(text));
        return status();
    }

private:
    bool is(std::string_view name) const { return ascii::equal(charSetName, name); }
    int status() const { return is("x-fails") || is("x-breaks") ? 1 : 0; }

    std::string translated(std::string const & text) const {
        if (is("x-none") || is("x-fails")) return "";
        if (is("x-breaks")) return text.substr(0, text.size() / 2);
        std::string result;
        bool shifted = false;
        for (char const c : text) {
            if (is("x-wide")) {
                result.append(1, c).append("..........");
            } else if (is("x-shift") && (c == '\x0E' || c == '\x0F')) {
                shifted = c == '\x0E';
            } else if ((is("iso-8859-1") || is("us-ascii")) && ascii::byte(c) >= 0x80) {
                result += static_cast<char>(0xC0 | (ascii::byte(c) >> 6));
                result += static_cast<char>(0x80 | (ascii::byte(c) & 0x3F));
            } else {
                result += shifted && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
            }
        }
        return result;
    }
};

class TestFactory : public NLS_Translator_Factory {
public:
    NLS_Translator * New(char const * charSetName, int) override {
        for (char const * const name : {"x-same", "iso-8859-1", "us-ascii", "x-wide", "x-none",
                                        "x-fails", "x-breaks", "x-shift", "iso-2022-jp"}) {
            if (ascii::equal(charSetName, name)) return new TestTranslator(charSetName);
        }
        return nullptr;
    }
};

} // namespace vellum::test
