// mime/nls/translator.cpp - the list of translators of a run, and the chain of factories of a note
#include "mime/nls/translator.hpp"

#include <cstdlib>
#include <new>

NLS_Translator::NLS_Translator() noexcept : codePage(NLS::PlatformCodePage) {}

NLS_Translator::~NLS_Translator() {
    if (cacheHead != nullptr && *cacheHead == this) *cacheHead = nullptr;
    if (previous != nullptr) previous->next = nullptr;
    // One by one, each cut off from the rest first, so that a long list takes no stack.
    for (NLS_Translator * rest = next; rest != nullptr;) {
        NLS_Translator * const after = rest->next;
        rest->previous = nullptr;
        rest->next = nullptr;
        delete rest;
        rest = after;
    }
}

void NLS_Translator::Delete() {
    if (Remove_from_Cache()) delete this;
}

NLS_Translator * NLS_Translator::ReInit(char const *, int) { return this; }

bool NLS_Translator::Takes_Pieces(NLS_CharSet *) { return false; }

int NLS_Translator::CharSet_to_CodePage_Piece(iSimpleStream * in, bool, oSimpleStream * out) {
    return CharSet_to_CodePage(in, out);
}

int NLS_Translator::CodePage_to_CharSet_Piece(iSimpleStream * in, bool, oSimpleStream * out) {
    return CodePage_to_CharSet(in, out);
}

bool NLS_Translator::is_CacheHit(char const * name, int code_page) {
    return static_cast<unsigned long>(code_page) == codePage && name == charSetName;
}

bool NLS_Translator::Remove_from_Cache() {
    if (previous != nullptr) previous->next = next;
    if (next != nullptr) next->previous = previous;
    if (cacheHead != nullptr && *cacheHead == this) *cacheHead = next;
    cacheHead = nullptr;
    previous = nullptr;
    next = nullptr;
    return true;
}

void NLS_Translator::FreeMem_C(unsigned char * memory) noexcept { std::free(memory); }

void NLS_Translator::FreeMem_Cpp(unsigned char * memory) noexcept { ::operator delete(memory); }

NLS_Translator_Factory::NLS_Translator_Factory() noexcept = default;

NLS_Translator_Factory::~NLS_Translator_Factory() {
    for (NLS_Translator_Factory * rest = next; rest != nullptr;) {
        NLS_Translator_Factory * const after = rest->next;
        rest->next = nullptr;
        rest->Delete();
        rest = after;
    }
}

void NLS_Translator_Factory::Delete() { delete this; }

NLS_CharSet * NLS_Translator_Factory::SuggestCharSet(int, bool) { return nullptr; }

namespace {

NLS_Translator * cached(NLS_Translator * list, char const * name, int code_page) {
    while (list != nullptr) {
        NLS_Translator * const after = list->next; // before a client's code can change the list
        if (list->is_CacheHit(name, code_page)) {
            if (NLS_Translator * const ready = list->ReInit(name, code_page)) return ready;
        }
        list = after;
    }
    return nullptr;
}

NLS_Translator * made(NLS_Translator_Factory * factory, char const * name, int code_page) {
    for (; factory != nullptr; factory = factory->next) {
        if (NLS_Translator * const translator = factory->New(name, code_page)) return translator;
    }
    return nullptr;
}

} // namespace

NLS_Translator * NLS::Create(NLS_CharSet * charSet, NLS_Translator ** cache,
                             NLS_Translator_Factory * factory) {
    return Create(charSet, cache, factory, static_cast<int>(PlatformCodePage));
}

NLS_Translator * NLS::Create(NLS_CharSet * charSet, NLS_Translator ** cache,
                             NLS_Translator_Factory * factory, int code_page) {
    if (charSet == nullptr) return nullptr;
    if (cache != nullptr) {
        if (NLS_Translator * const ready = cached(*cache, charSet->name, code_page)) return ready;
    }
    NLS_Translator * const translator = made(factory, charSet->name, code_page);
    // A factory may return one that stands in a list already, which would close a ring.
    if (cache == nullptr || translator == nullptr || translator->cacheHead != nullptr) {
        return translator;
    }
    translator->cacheHead = cache;
    translator->next = *cache;
    if (*cache != nullptr) (*cache)->previous = translator;
    *cache = translator;
    return translator;
}

namespace vellum {

namespace {

NLS_Translator_Factory ** link_to(NLS_Translator_Factory *& head,
                                  NLS_Translator_Factory const * factory) {
    NLS_Translator_Factory ** link = &head;
    while (*link != nullptr && *link != factory) {
        link = &(*link)->next;
    }
    return link;
}

} // namespace

void add_factory(NLS_Translator_Factory *& head, NLS_Translator_Factory * factory, int append) {
    if (factory == nullptr) return;
    if (NLS_Translator_Factory ** const link = link_to(head, factory); *link != nullptr) {
        *link = factory->next;
        factory->next = nullptr;
    }
    if (append != 0) {
        *link_to(head, nullptr) = factory;
    } else {
        *link_to(factory->next, nullptr) = head;
        head = factory;
    }
}

} // namespace vellum
