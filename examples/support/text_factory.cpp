// examples/support/text_factory.cpp - the library's translators into UTF-8, with a switch
#include "examples/support/text_factory.hpp"

#include <memory>

namespace examples {

namespace {

/// The engine keeps translators for the next text in the same set, and asks them first.
class SwitchedTranslator : public NLS_qxStr {
public:
    SwitchedTranslator(TextFactory const & factory, char const * name, int code_page)
        : NLS_qxStr(name, code_page, factory.localTag, NLS_qxStr_Factory::LanguageSetting,
                    NLS_qxStr_Factory::CountrySetting),
          factory_(factory) {}

    NLS_Translator * ReInit(char const * name, int code_page) override {
        return factory_.is_off ? nullptr : NLS_qxStr::ReInit(name, code_page);
    }

private:
    TextFactory const & factory_;
};

/// Text passes as it is. Without a translator the engine would guess the set of some texts.
class NoTranslator : public NLS_Translator {
public:
    explicit NoTranslator(char const * name) { charSetName = name; }

    NLS_Translator * ReInit(char const *, int) override { return nullptr; } // asks the factory anew
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return no_restriction;
    }
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override {
        *out << *in;
        return 0;
    }

    // The other forms fail: nobody calls them for a body that is read.
    int CodePage_to_CharSet(iSimpleStream *, oSimpleStream *) override { return 1; }
    int CharSet_to_CodePage(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }
    int CodePage_to_CharSet(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }
};

/// A note on a header that has one field, without a meaning of its own.
class FieldTextNote : public MimeINote {
public:
    explicit FieldTextNote(iSimpleStream & in) : MimeINote(in) {
        SetNLS(new NLS_qxStr_Factory, 1);
        SetHeadersOnly(1);
    }

    std::string text;

protected:
    void Set_Content_Type(char const *, char const *, char const *) override {}
    void SetProperty(char const *, MimeString const & value) override {
        text.assign(value.get_String(), value.get_Length());
    }
};

} // namespace

NLS_Translator * TextFactory::New(char const * charSetName, int codePage) {
    if (is_off) return new NoTranslator(charSetName);
    auto translator = std::make_unique<SwitchedTranslator>(*this, charSetName, codePage);
    return translator->is_OK() ? translator.release() : nullptr;
}

std::string decoded_field_text(std::string const & text, MimeINote::Reading reading) {
    if (text.find("=?") == std::string::npos) return text;
    std::string header = "Text:" + text + "\n";
    iSimpleStream in(header.data(), header.data() + header.size());
    FieldTextNote note(in);
    note.SetReading(reading);
    note.Receive();
    return note.text;
}

} // namespace examples
