// mime/nls/message_words.hpp - the types and character sets that one message names
//
// The tables of the process come first. What they don't take of a message is kept here and ends
// with the run, so that a sender who makes words up fills no memory for good.
#pragma once

#include "mime/foundation/ascii.hpp"
#include "mime/nls/charset.hpp"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace vellum {

/// Belongs to the thread of its run.
class MessageWords {
public:
    /// The interned text of a type or subtype, valid as long as this object at least. One word has
    /// one pointer, whatever its case. Null for null.
    char const * intern(char const * text);

    /// The record of a character set. One name has one record, valid as long as this object at
    /// least, unless give_up ends it. Null for null.
    NLS_CharSet * char_set(char const * name);

    /// The same for a record that give_up doesn't end.
    NLS_CharSet * lasting_char_set(char const * name);

    /// Tells that no translator was made for a record of char_set. A field can name sets by the
    /// million, so beyond the first 10,000 such a record ends here, if it was made for this run.
    void give_up(NLS_CharSet const * set);

    /// Tells that a translator was made for a record of char_set: it refers to the record's name.
    void keep(NLS_CharSet const * set);

private:
    struct FoldedOrder {
        using is_transparent = void;
        bool operator()(std::string_view a, std::string_view b) const {
            return ascii::compare(a, b) < 0;
        }
    };
    struct CharSet {
        NLS_CharSet record;
        bool is_lasting;
    };
    using CharSets = std::map<std::string, CharSet, FoldedOrder>;

    CharSets::iterator own(NLS_CharSet const * set);

    std::set<std::string, FoldedOrder> words_;
    CharSets char_sets_; // the name of a record is its key
};

} // namespace vellum
