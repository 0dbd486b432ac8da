// mime/nls/charset.cpp - character set records, and the ways from a name or a code page to one
#include "mime/nls/charset.hpp"

#include "mime/MIMESEM.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/translator.hpp"

#include <new>

NLS_CharSet::NLS_CharSet() noexcept
    : preferred(this), headerEncoding(RFC1521::base64), bodyEncoding(RFC1521::base64) {}

NLS_CharSet::NLS_CharSet(char const * own_name, NLS_CharSet * same, bool copy) : NLS_CharSet() {
    if (same != nullptr) {
        width = same->width;
        preferred = same->preferred;
        headerEncoding = same->headerEncoding;
        bodyEncoding = same->bodyEncoding;
    }
    dynamic = copy;
    Register(own_name, copy);
}

NLS_CharSet::NLS_CharSet(char const * own_name, char const * encoding)
    : NLS_CharSet(own_name, encoding, multi_byte) {}

NLS_CharSet::NLS_CharSet(char const * own_name, char const * encoding, CharWidth_t own_width)
    : width(own_width), preferred(this), headerEncoding(encoding), bodyEncoding(encoding) {
    Register(own_name, false);
}

NLS_CharSet::NLS_CharSet(char const * own_name, CharWidth_t own_width)
    : NLS_CharSet(own_name, RFC1521::base64, own_width) {}

/// Takes the name from the table, whose copy outlives a name that was only lent.
void NLS_CharSet::Register(char const * own_name, bool copy) {
    TableItem * const item = vellum::char_set_table().LookUp(own_name, copy, true);
    if (item == nullptr) {
        name = copy ? nullptr : own_name;
        return;
    }
    name = item->text;
    item->OfferCharSet(this);
}

bool NLS_CharSet::is_Binary() const noexcept { return bodyEncoding == RFC1521::base64; }

namespace {

/// A record for a name that came up at run time. Never deleted. The chain keeps the records in
/// sight of leak checkers when the table that knows them is gone.
struct DynamicCharSet : NLS_CharSet {
    explicit DynamicCharSet(char const * new_name) : NLS_CharSet(new_name, nullptr, true) {}
    DynamicCharSet * made_before = nullptr;
};

constinit DynamicCharSet * newest_dynamic = nullptr; // under the mutex of NLS::CharSetTable

/// False if there was no memory for the record.
bool make_dynamic(char const * name) {
    auto * const made = new (std::nothrow) DynamicCharSet(name);
    if (made == nullptr) return false;
    made->made_before = newest_dynamic;
    newest_dynamic = made;
    return true;
}

NLS_CharSet * registered(SymbolTable & table, char const * name) {
    TableItem const * const item = table.LookUp(name, false, false);
    return item != nullptr ? item->CharSet() : nullptr;
}

} // namespace

NLS_CharSet * NLS::FindCharSet(char const * name) {
    if (name == nullptr) return nullptr;
    SymbolTable & table = vellum::char_set_table();
    if (NLS_CharSet * const known = registered(table, name)) return known;

    if (table.mutex_ == nullptr) return nullptr;
    TMimeMutexSemaphoreEntry const lock(*table.mutex_, TMimeMutexSemaphore::fsInfinite);
    if (NLS_CharSet * const known = registered(table, name)) return known;
    // The table decides which record it is: a client may make another one meanwhile.
    return make_dynamic(name) ? registered(table, name) : nullptr;
}

NLS_CharSet * NLS::FindCharSetOfMessage(char const * name) {
    TableItem const * const item = vellum::char_set_table().LookUpOfMessage(name);
    if (item == nullptr) return nullptr;
    NLS_CharSet * const known = item->CharSet();
    return known != nullptr ? known : FindCharSet(name);
}

NLS_CharSet * NLS::BestFitCharSet(NLS_Translator_Factory * factory, bool inHeader) {
    int const code_page = static_cast<int>(PlatformCodePage);
    for (; factory != nullptr; factory = factory->next) {
        if (NLS_CharSet * const suggested = factory->SuggestCharSet(code_page, inHeader)) {
            return suggested->Preferred();
        }
    }
    return Equivalent_CharSet_for(code_page, inHeader);
}

NLS_CharSet * NLS::Equivalent_CharSet_for(int codePage, bool inHeader) noexcept {
    switch (codePage) {
    case 437:
    case 819:
    case 850:
    case 860:
    case 863:
    case 865:
    case 1252: return &ISO_8859_1;
    case 852:
    case 1250:
    case 1257: return &ISO_8859_2;
    case 1251: return &ISO_8859_5;
    case 1256: return &ISO_8859_6;
    case 1253: return &ISO_8859_7;
    case 1255: return &ISO_8859_8;
    case 857:
    case 1254: return &ISO_8859_9;
    case 932:
    case 942: return &ISO_2022_JP;
    case 934:
    case 944:
    case 949: return inHeader ? &KSC5601 : &ISO_2022_KR;
    case 936:
    case 946:
    case 1381: return &GB2312;
    case 938:
    case 948:
    case 950: return &Big5;
    default: return &UTF_8;
    }
}
