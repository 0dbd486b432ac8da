// mime/foundation/mime_string.cpp - strings on shared text, alone and in chains
#include "mime/foundation/mime_string.hpp"

#include "mime/foundation/tokens.hpp"

#include <cstring>
#include <new>
#include <ostream>
#include <utility>

/// The text of a string and of all its copies. Counts its references itself.
class MimeStringBuffer {
public:
    MimeStringBuffer(char const * text, unsigned long length) noexcept
        : text_(text), length_(length) {}
    MimeStringBuffer(MimeStringBuffer const &) = delete;
    MimeStringBuffer & operator=(MimeStringBuffer const &) = delete;

    virtual ~MimeStringBuffer() {
        if (owned_) delete[] text_;
    }

    virtual MimeStringBuffer * AddRef() noexcept {
        ++references_;
        return this;
    }
    virtual void Release() noexcept {
        if (--references_ == 0) delete this;
    }

    virtual char const * set_String(char const * text, bool owned) noexcept {
        if (owned_ && text_ != text) delete[] text_;
        text_ = text;
        owned_ = owned;
        return text;
    }
    virtual char const * get_String() const noexcept { return text_; }

    virtual unsigned long set_Length(unsigned long length) noexcept { return length_ = length; }
    virtual unsigned long get_Length() const noexcept { return length_; }

    virtual bool set_Owned(bool owned) noexcept { return owned_ = owned; }
    virtual bool get_Owned() const noexcept { return owned_; }

private:
    char const * text_;
    unsigned long length_;
    bool owned_ = false;
    int references_ = 1;
};

namespace {

unsigned long length_of(char const * text) {
    return text != nullptr ? static_cast<unsigned long>(std::strlen(text)) : 0;
}

char const * name_or_ascii(SymToken const & charSet) {
    return !charSet ? RFC1521::US_ASCII : static_cast<char const *>(charSet);
}

} // namespace

void MimeString::GiveUp::operator()(MimeStringBuffer * buffer) const noexcept { buffer->Release(); }

/// Makes the text one that can be shared or owned. False if there is no memory for it.
bool MimeString::MakeBuffer() const noexcept {
    if (buffer_ == nullptr) buffer_.reset(new (std::nothrow) MimeStringBuffer(text_, length_));
    return buffer_ != nullptr;
}

/// Without memory this string reads as empty.
void MimeString::ShareText(MimeString const & other) noexcept {
    if (other.MakeBuffer()) buffer_.reset(other.buffer_->AddRef());
}

MimeString::MimeString(char const * text, unsigned long length, char const * charSet, int codePage,
                       char const * encoding) noexcept
    : text_(text), length_(length), encoding_(encoding), char_set_(charSet), code_page_(codePage) {}

MimeString::MimeString(char const * text) noexcept
    : MimeString(text, length_of(text), RFC1521::US_ASCII, 0, RFC1521::ASCII_7bit) {}

MimeString::MimeString(char const * text, SymToken charSet) noexcept
    : MimeString(text, length_of(text), charSet) {}

MimeString::MimeString(char const * text, unsigned long length, SymToken charSet) noexcept
    : MimeString(text, length, name_or_ascii(charSet), 0, nullptr) {}

MimeString::MimeString(char const * text, unsigned long length, int codePage) noexcept
    : MimeString(text, length, codePage == 0 ? RFC1521::US_ASCII : nullptr, codePage, nullptr) {}

MimeString::MimeString(MimeString const & other) noexcept
    : MimeString(nullptr, 0, other.char_set_, other.code_page_, other.encoding_) {
    ShareText(other);
    CopyChain(other);
}

MimeString & MimeString::operator=(MimeString const & other) noexcept {
    MimeString copy(other); // first, as the other may stand in the chain that is given up
    std::swap(buffer_, copy.buffer_);
    text_ = copy.text_;
    length_ = copy.length_;
    std::swap(next_, copy.next_);
    if (next_ != nullptr) next_->previous_ = this;
    if (copy.next_ != nullptr) copy.next_->previous_ = &copy;
    encoding_ = copy.encoding_;
    char_set_ = copy.char_set_;
    code_page_ = copy.code_page_;
    return *this;
}

MimeString::~MimeString() {
    // Deleted by someone else than the string in front: that one must not do it again.
    if (previous_ != nullptr && previous_->next_.get() == this) {
        static_cast<void>(previous_->next_.release());
    }
    DestroyChain();
}

void MimeString::CopyChain(MimeString const & other) noexcept {
    MimeString * last = this;
    for (MimeString const * from = other.next_.get(); from != nullptr; from = from->next_.get()) {
        last->next_.reset(new (std::nothrow) MimeString(nullptr, 0, from->char_set_,
                                                        from->code_page_, from->encoding_));
        if (last->next_ == nullptr) return;
        last->next_->ShareText(*from);
        last->next_->previous_ = last;
        last = last->next_.get();
    }
}

/// Takes the strings behind this one off one by one, each without a chain of its own.
void MimeString::DestroyChain() noexcept {
    while (next_ != nullptr) {
        next_->previous_ = nullptr;
        next_ = std::move(next_->next_);
    }
}

MimeString & MimeString::Concatenate(MimeString & other) {
    if (&other == this || &other == next_.get()) return *this;
    if (other.get_String() == nullptr || other.get_Length() == 0) return *this;
    if (other.previous_ != nullptr) static_cast<void>(other.previous_->next_.release());

    std::unique_ptr<MimeString> moved = std::move(next_);
    next_.reset(&other);
    other.previous_ = this;
    if (moved != nullptr) {
        MimeString * last = &other;
        while (last->next_ != nullptr) {
            last = last->next_.get();
        }
        moved->previous_ = last;
        last->next_ = std::move(moved);
    }
    return *this;
}

MimeString * MimeString::Concatenate(MimeString * other) {
    if (other != nullptr) Concatenate(*other);
    return this;
}

char const * MimeString::set_String(char const * text, int own) {
    if (buffer_ == nullptr && own == 0) return text_ = text;
    if (MakeBuffer()) return buffer_->set_String(text, own != 0);
    delete[] text;
    return text_ = nullptr;
}

char const * MimeString::get_String() const {
    return buffer_ != nullptr ? buffer_->get_String() : text_;
}

unsigned long MimeString::set_Length(unsigned long length) {
    return buffer_ != nullptr ? buffer_->set_Length(length) : length_ = length;
}

unsigned long MimeString::get_Length() const {
    return buffer_ != nullptr ? buffer_->get_Length() : length_;
}

char const * MimeString::set_CharSet(char const * charSet) { return char_set_ = charSet; }

char const * MimeString::get_CharSet() const { return char_set_; }

int MimeString::set_CodePage(int codePage) { return code_page_ = codePage; }

int MimeString::get_CodePage() const { return code_page_; }

char const * MimeString::set_Encoding(char const * encoding) { return encoding_ = encoding; }

char const * MimeString::get_Encoding() const { return encoding_; }

MimeString::operator char *() const { return const_cast<char *>(get_String()); }

MimeString::operator signed char *() const {
    return reinterpret_cast<signed char *>(const_cast<char *>(get_String()));
}

MimeString::operator unsigned char *() const {
    return reinterpret_cast<unsigned char *>(const_cast<char *>(get_String()));
}

std::ostream & MimeString::print(std::ostream & os) const {
    for (MimeString const * piece = this; piece != nullptr; piece = piece->next_.get()) {
        char const * const text = piece->get_String();
        if (text != nullptr) os.write(text, static_cast<std::streamsize>(piece->get_Length()));
    }
    return os;
}
