// mime/foundation/symbol_table.hpp - interned words: one spelling and one address for each
#pragma once

#include "mime/export.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

struct MimeReceiver;
class NLS;
class NLS_CharSet;
class SymbolTable;
class TMimeMutexSemaphore;

namespace vellum {
struct WordHash;
}

/// One entry of a SymbolTable, a node of one of its trees. Entries are made by their table only;
/// the address of an entry and of its text don't change until the table is destroyed.
///
/// What other threads can see change is atomic: the two links (set once) and the value word.
class VELLUM_EXPORT TableItem {
public:
    /// The parser of a header field: the run, the body in the scan buffer, the field's name.
    using Parser = void (*)(MimeReceiver *, char const *, char const *);

    /// Every field zero.
    TableItem() noexcept = default;

    /// With `copy` the entry keeps its own heap copy of `text`, else the pointer as given, which
    /// then has to outlive the entry. A null text stays null, and so does a text that finds no
    /// memory.
    TableItem(char const * text, bool copy) noexcept;

    /// Copies all fields as they stand, pointers and `owned` included, and so never what is part
    /// of a table: two owners of one text would be the result.
    TableItem(TableItem const & other) noexcept;
    TableItem & operator=(TableItem const & other) noexcept;

    /// Destroys both subtrees, of whatever depth without recursion, and frees an owned text.
    ~TableItem();

    /// Below, at or above 0 as the text sorts before, with or behind `other`, without regard to
    /// the case of ASCII letters. A null pointer on either side counts as the empty text.
    int Compare(char const * other) const noexcept;

    /// The value word as the main table uses it: the parser of this header field, or null.
    Parser FieldParser() const noexcept;
    void SetFieldParser(Parser parser) noexcept;

    /// The value word as NLS::CharSetTable uses it: the record of this name, or null.
    NLS_CharSet * CharSet() const noexcept;

    /// Stores `record` if the entry has no record yet, and returns the entry's record: the first
    /// record stays.
    NLS_CharSet * OfferCharSet(NLS_CharSet * record) noexcept;

    /// The key, spelled as when it was first inserted.
    char const * text = nullptr;
    /// strlen of `text` (INT_MAX for any text longer than that), 0 for null.
    int length = 0;
    /// One pointer-sized word, never read by the table; see FieldParser() and CharSet().
    std::atomic<std::uintptr_t> value{0};
    /// The subtrees of the keys that sort behind and before this one.
    std::atomic<TableItem *> greater{nullptr};
    std::atomic<TableItem *> lesser{nullptr};
    /// `text` is a heap copy that this entry frees.
    bool owned = false;

private:
    friend class SymbolTable;

    /// The first key of the order within a tree; see SymbolTable::Search.
    std::uint64_t order_ = 0;
};

/// A table of words, found without regard to the case of ASCII letters. Nothing is ever removed.
///
/// Any thread may call LookUp with no lock of its own: readers take no lock at all, and an
/// insertion takes the table's own mutex.
class VELLUM_EXPORT SymbolTable {
public:
    /// An empty table.
    SymbolTable();
    /// Frees all entries and the texts that they own.
    ~SymbolTable();
    SymbolTable(SymbolTable const &) = delete;
    SymbolTable & operator=(SymbolTable const &) = delete;

    /// The entry of `text`; null for a null text, for a word that is missing when `insert` is
    /// false, and when there is no memory for a new entry.
    ///
    /// \param text   NUL-terminated.
    /// \param copy   a new entry keeps its own copy of `text`. False is for storage that outlives
    ///               the table. An entry that exists is returned as it stands.
    /// \param insert a missing word is added, spelled as in `text`, with a null value.
    TableItem * LookUp(char const * text, bool copy, bool insert);

    /// The entry of a word that a message brought, or null: a message decides on no memory that
    /// stays. A word that is missing is added, copied, only if it has at most 127 bytes, and while
    /// fewer than 10,000 words have been added by this operation. A word that was refused once is
    /// refused until it comes in through LookUp. Null for a null text, and when there is no memory.
    TableItem * LookUpOfMessage(char const * text);

    /// Loads the 107 words of the protocol that are compared by pointer, each by the pointer of
    /// its token member. Returns this table.
    SymbolTable * Init();

    /// Whether the field parsers hang on the entries. A true result makes the parsers visible to
    /// the thread that asks. Threads that race to install them store the same values.
    bool ParsersInstalled() const noexcept;
    void SetParsersInstalled() noexcept;

    /// The main table, which holds the words of Init and every SymToken. Null until it is loaded,
    /// which happens before the static initialisation of any file that includes this header.
    static SymbolTable * Main;

private:
    friend class NLS;

    using Link = std::atomic<TableItem *>;
    static constexpr int bucket_count = 32;

    static constexpr int front_count = 512;
    enum class Origin { client, message };

    static Link * Search(vellum::WordHash const & hash, std::string_view word, Link * link);
    template <typename MayInsert>
    TableItem * Find(char const * text, bool copy, Origin origin, MayInsert may_insert);
    TableItem * Insert(vellum::WordHash const & hash, std::string_view word, bool copy,
                       Origin origin);
    TableItem * Make(vellum::WordHash const & hash, std::string_view word, bool copy,
                     Origin origin);

    Link roots_[bucket_count]{};
    /// The first entry of each front hash: a word whose place here is empty is in no tree.
    Link fronts_[front_count]{};
    std::atomic<bool> parsers_installed_{false};
    std::atomic<int> words_of_messages_{0};
    /// Serialises writers. Null if there was no memory for it; then nothing is inserted.
    std::unique_ptr<TMimeMutexSemaphore> mutex_;
};

namespace vellum {

/// The main table, loaded on the first call.
VELLUM_EXPORT SymbolTable & main_table();

/// Makes the main table live before, and die behind, every static object of every file that
/// includes this header, whatever the order of the files.
inline SymbolTable & main_table_at_start_up = main_table();

} // namespace vellum

/// An interned word: one pointer to its text, or null. Two tokens of one word hold one pointer,
/// whatever the case of the texts that they were made from. Owns nothing.
///
/// The text of a token that a client makes from a text lives as long as the main table, to the end
/// of the process or the unloading of the library. So does a word of a message that the table took
/// (see LookUpOfMessage). The words that it didn't take live as long as the run of Receive that met
/// them: a token that the reader shows is good in the callbacks of that run. Within the run two
/// such tokens of one word hold one pointer too; a token that the client makes of that word
/// meanwhile holds another, and only the texts compare as equal. A client that keeps the word makes
/// a token of its own from the text, `SymToken(static_cast<char const *>(token))`, or copies it.
class VELLUM_EXPORT SymToken {
public:
    /// Interns `text`, with a copy if the word is new. Null stays null (and is what is left when
    /// there is no memory for a new word).
    SymToken(char const * text = nullptr) : text_(Intern(text)) {}

    /// Interns `text` likewise, and returns the interned text.
    char const * operator=(char const * text) { return text_ = Intern(text); }

    /// Same word, by pointer.
    bool operator==(SymToken const & other) const noexcept { return text_ == other.text_; }
    bool operator!=(SymToken const & other) const noexcept { return text_ != other.text_; }

    /// Same pointer, or same text without regard to case. Null equals null alone.
    bool operator==(char const * text) const noexcept { return Equals(text); }
    bool operator!=(char const * text) const noexcept { return !Equals(text); }
    friend bool operator==(char const * text, SymToken const & token) noexcept {
        return token.Equals(text);
    }
    friend bool operator!=(char const * text, SymToken const & token) noexcept {
        return !token.Equals(text);
    }

    /// True for a null token.
    bool operator!() const noexcept { return text_ == nullptr; }

    /// The interned text, or null.
    operator char const *() const noexcept { return text_; }

private:
    friend struct MimeContextItem;

    /// The token of a text that is interned already, in the main table or in a run.
    struct Interned {
        char const * text;
    };
    explicit SymToken(Interned word) noexcept : text_(word.text) {}

    static char const * Intern(char const * text);
    bool Equals(char const * text) const noexcept;

    char const * text_;
};
