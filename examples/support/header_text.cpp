// examples/support/header_text.cpp - encoded words into UTF-8, by way of the system's iconv
#include "examples/support/header_text.hpp"

#include <cstddef>
#include <iconv.h>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

namespace examples {

namespace {

struct CloseIconv {
    void operator()(iconv_t descriptor) const { iconv_close(descriptor); }
};
using Iconv = std::unique_ptr<std::remove_pointer_t<iconv_t>, CloseIconv>;

/// Null for a character set that iconv doesn't know.
Iconv open_iconv(char const * from) {
    iconv_t const descriptor = iconv_open("UTF-8", from);
    return Iconv(descriptor == iconv_t(-1) ? nullptr : descriptor);
}

/// Text of one character set into UTF-8. A byte that iconv can't read stays as it is.
class HeaderTextTranslator : public NLS_Translator {
public:
    HeaderTextTranslator(HeaderTextFactory const & factory, char const * name, Iconv iconv)
        : factory_(factory), iconv_(std::move(iconv)) {
        charSetName = name;
        className = "HeaderTextTranslator";
    }

    // The engine keeps it for the next encoded word in the same character set.
    void Delete() override {}
    NLS_Translator * ReInit(char const *, int) override {
        return factory_.is_in_body ? nullptr : this;
    }

    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return multi_byte_pieces;
    }

    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override {
        std::string text;
        for (int byte = in->get(); byte >= 0; byte = in->get())
            text += static_cast<char>(byte);
        out->write(std::string_view(to_utf8(text)));
        return 0;
    }

    // Nothing here writes mail, or converts blocks of memory.
    int CodePage_to_CharSet(iSimpleStream *, oSimpleStream *) override { return 1; }
    int CodePage_to_CharSet(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }
    int CharSet_to_CodePage(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }

private:
    std::string to_utf8(std::string & text) const;

    HeaderTextFactory const & factory_;
    Iconv iconv_;
};

std::string HeaderTextTranslator::to_utf8(std::string & text) const {
    std::string result;
    char * in = text.data();
    std::size_t left = text.size();
    auto const convert = [&](char ** from) {
        char block[256];
        char * out = block;
        std::size_t room = sizeof block;
        iconv(iconv_.get(), from, from != nullptr ? &left : nullptr, &out, &room);
        result.append(block, out);
        return out > block;
    };
    iconv(iconv_.get(), nullptr, nullptr, nullptr, nullptr); // the first shift state
    while (left > 0) {
        std::size_t const left_before = left;
        bool const has_progress = convert(&in) || left < left_before;
        if (!has_progress) {
            result += *in++;
            --left;
        }
    }
    convert(nullptr); // what it held back
    return result;
}

} // namespace

NLS_Translator * HeaderTextFactory::New(char const * charSetName, int codePage) {
    // A name with a slash would be taken for one with options for iconv.
    bool const is_plain_name = std::string_view(charSetName).find('/') == std::string_view::npos;
    if (is_in_body || !is_plain_name || codePage != static_cast<int>(utf8_code_page)) {
        return nullptr;
    }
    Iconv iconv = open_iconv(charSetName);
    if (!iconv) return nullptr;
    return new HeaderTextTranslator(*this, charSetName, std::move(iconv));
}

namespace {

/// A note on a header that has one field, without a meaning of its own.
class FieldTextNote : public MimeINote {
public:
    explicit FieldTextNote(iSimpleStream & in) : MimeINote(in) {
        SetNLS(new HeaderTextFactory, 1);
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

std::string decoded_field_text(std::string const & text) {
    if (text.find("=?") == std::string::npos) return text;
    std::string header = "Text:" + text + "\n";
    iSimpleStream in(header.data(), header.data() + header.size());
    FieldTextNote note(in);
    note.Receive();
    return note.text;
}

} // namespace examples
