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

/// ISO-8859-1 as UTF-8.
inline std::string latin_in_utf8(std::string_view text) {
    std::string result;
    for (char const c : text) {
        if (ascii::byte(c) < 0x80) {
            result += c;
        } else {
            result += static_cast<char>(0xC0 | (ascii::byte(c) >> 6));
            result += static_cast<char>(0x80 | (ascii::byte(c) & 0x3F));
        }
    }
    return result;
}

/// Does all four conversions by one operation on the whole text.
class TextTranslator : public NLS_Translator {
public:
    explicit TextTranslator(char const * charset) { charSetName = charset; }

    /// Gives the result of the conversion: 0, or why it failed.
    virtual int Translate(std::string_view text, std::string & result) = 0;

    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return no_restriction;
    }
    int CodePage_to_CharSet(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & outSize, void (**freeOut)(unsigned char *)) override {
        return CharSet_to_CodePage(in, size, out, outSize, freeOut);
    }
    int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) override {
        return CharSet_to_CodePage(in, out);
    }
    int CharSet_to_CodePage(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & outSize, void (**freeOut)(unsigned char *)) override {
        if (*freeOut != nullptr) (*freeOut)(out);
        std::string result;
        int const status = Translate({reinterpret_cast<char const *>(in), size}, result);
        out = static_cast<unsigned char *>(::operator new(result.size() + 1));
        std::memcpy(out, result.c_str(), result.size() + 1);
        outSize = static_cast<unsigned long>(result.size());
        *freeOut = FreeMem_Cpp;
        return status;
    }
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override {
        std::string text, result;
        for (int c; (c = in->get()) >= 0;)
            text += static_cast<char>(c);
        int const status = Translate(text, result);
        out->write(result);
        return status;
    }
};

/// Makes a `Translator` for every name.
template <class Translator>
class FactoryOf : public NLS_Translator_Factory {
public:
    NLS_Translator * New(char const * charset, int) override { return new Translator(charset); }
};

class TestTranslator : public TextTranslator {
public:
    using TextTranslator::TextTranslator;

    void Delete() override {
        if (!is("iso-8859-1") && !is("us-ascii")) NLS_Translator::Delete();
    }
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return is("x-shift") || is("iso-2022-jp") ? shift_states : no_restriction;
    }
    int Translate(std::string_view text, std::string & result) override {
        if (is("x-none")) return 0;
        if (is("x-fails")) return 1;
        if (is("x-breaks")) return result = text.substr(0, text.size() / 2), 1;
        if (is("iso-8859-1") || is("us-ascii")) return result = latin_in_utf8(text), 0;
        bool shifted = false;
        for (char const c : text) {
            if (is("x-wide")) {
                result.append(1, c).append("..........");
            } else if (is("x-shift") && (c == '\x0E' || c == '\x0F')) {
                shifted = c == '\x0E';
            } else {
                result += shifted && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
            }
        }
        return 0;
    }

private:
    bool is(std::string_view name) const { return ascii::equal(charSetName, name); }
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
