// mime/nls/message_words.cpp - the types and character sets that one message names
//
// Own words are looked for first: once the run has handed out a pointer, a word that enters the
// table meanwhile mustn't get another pointer.
#include "mime/nls/message_words.hpp"

namespace vellum {

namespace {

/// A record takes some hundred bytes, so these stay within two megabytes.
constexpr std::size_t most_lasting_char_sets = 10'000;

} // namespace

char const * MessageWords::intern(char const * text) {
    if (text == nullptr) return nullptr;
    if (!words_.empty()) {
        auto const own_word = words_.find(std::string_view(text));
        if (own_word != words_.end()) return own_word->c_str();
    }
    if (TableItem const * const item = main_table().LookUpOfMessage(text)) return item->text;
    return words_.emplace(text).first->c_str();
}

NLS_CharSet * MessageWords::char_set(char const * name) {
    if (name == nullptr) return nullptr;
    if (!char_sets_.empty()) {
        auto const own_set = char_sets_.find(std::string_view(name));
        if (own_set != char_sets_.end()) return &own_set->second.record;
    }
    if (NLS_CharSet * const known = NLS::FindCharSetOfMessage(name)) return known;

    bool const is_lasting = char_sets_.size() < most_lasting_char_sets;
    auto const made = char_sets_.try_emplace(name).first;
    made->second.is_lasting = is_lasting;
    made->second.record.name = made->first.c_str();
    made->second.record.dynamic = true;
    return &made->second.record;
}

NLS_CharSet * MessageWords::lasting_char_set(char const * name) {
    NLS_CharSet * const set = char_set(name);
    keep(set);
    return set;
}

void MessageWords::give_up(NLS_CharSet const * set) {
    auto const own_set = own(set);
    if (own_set != char_sets_.end() && !own_set->second.is_lasting) char_sets_.erase(own_set);
}

void MessageWords::keep(NLS_CharSet const * set) {
    auto const own_set = own(set);
    if (own_set != char_sets_.end()) own_set->second.is_lasting = true;
}

/// The end for a record of the process, and for null.
MessageWords::CharSets::iterator MessageWords::own(NLS_CharSet const * set) {
    if (set == nullptr || char_sets_.empty()) return char_sets_.end();
    auto const found = char_sets_.find(std::string_view(set->name));
    return found != char_sets_.end() && &found->second.record == set ? found : char_sets_.end();
}

} // namespace vellum
