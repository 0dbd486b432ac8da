// mime/foundation/symbol_table.cpp - look-up without a lock, insertion under one
//
// A table is 32 roots of unbalanced binary trees. The links of a tree are null until a finished
// entry is published in them, and never change again, so a reader sees a whole entry or no entry.
//
// Order of a tree: first by a hash of the folded text that is keyed for this process, then by the
// folded text itself. Words arrive from messages, and a hostile one brings them sorted, by the
// million: ordered by text alone they would make a list. Under the keyed hash they come in random
// order whoever chose them, and the expected depth is logarithmic.
//
// In front of the trees stands an array with a place for each value of a hash that costs next to
// nothing. The first entry of that value stays there, so most words are found, or known to be
// missing, without the keyed hash. Whoever fills the places with words of their own only sends the
// look-ups of others back to the trees.
#include "mime/foundation/symbol_table.hpp"

#include "mime/MIMESEM.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/foundation/word_hash.hpp"

#include <climits>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>

namespace {

std::string_view view(char const * text) { return text != nullptr ? text : std::string_view(); }

int clamped_length(std::size_t length) {
    return length < std::size_t{INT_MAX} ? static_cast<int>(length) : INT_MAX;
}

/// The text of an entry, without counting it again but for the clamped lengths.
std::string_view key_of(TableItem const & item) {
    if (item.text == nullptr || item.length == INT_MAX) return view(item.text);
    return {item.text, static_cast<std::size_t>(item.length)};
}

/// Words of messages mostly have the table's own spelling, so that is tried first.
int compare_words(std::string_view a, std::string_view b) {
    return a == b ? 0 : vellum::ascii::compare(a, b);
}

bool is_word(TableItem const & item, std::string_view word) {
    std::string_view const key = key_of(item);
    return key == word || vellum::ascii::equal(key, word);
}

/// Deletes a tree. Each lesser subtree is rotated to the top first, so that neither the depth of
/// the tree nor the number of its entries costs stack or memory.
void destroy_tree(TableItem * root) noexcept {
    while (root != nullptr) {
        if (TableItem * const lesser = root->lesser.load(std::memory_order_relaxed)) {
            root->lesser.store(lesser->greater.load(std::memory_order_relaxed),
                               std::memory_order_relaxed);
            lesser->greater.store(root, std::memory_order_relaxed);
            root = lesser;
        } else {
            TableItem * const greater = root->greater.exchange(nullptr, std::memory_order_relaxed);
            delete root;
            root = greater;
        }
    }
}

} // namespace

TableItem::TableItem(char const * key, bool copy) noexcept : text(key), owned(copy) {
    if (key == nullptr) return;
    std::size_t const bytes = std::strlen(key);
    if (copy) {
        char * const own = new (std::nothrow) char[bytes + 1];
        text = own;
        if (own == nullptr) return;
        std::memcpy(own, key, bytes + 1);
    }
    length = clamped_length(bytes);
}

TableItem::TableItem(TableItem const & other) noexcept { *this = other; }

TableItem & TableItem::operator=(TableItem const & other) noexcept {
    if (this == &other) return *this;
    text = other.text;
    length = other.length;
    value = other.value.load();
    greater = other.greater.load();
    lesser = other.lesser.load();
    owned = other.owned;
    order_ = other.order_;
    return *this;
}

TableItem::~TableItem() {
    destroy_tree(greater.load(std::memory_order_acquire));
    destroy_tree(lesser.load(std::memory_order_acquire));
    if (owned) delete[] text;
}

int TableItem::Compare(char const * other) const noexcept {
    return compare_words(key_of(*this), view(other));
}

TableItem::Parser TableItem::FieldParser() const noexcept {
    return reinterpret_cast<Parser>(value.load(std::memory_order_acquire));
}

void TableItem::SetFieldParser(Parser parser) noexcept {
    value.store(reinterpret_cast<std::uintptr_t>(parser), std::memory_order_release);
}

NLS_CharSet * TableItem::CharSet() const noexcept {
    return reinterpret_cast<NLS_CharSet *>(value.load(std::memory_order_acquire));
}

NLS_CharSet * TableItem::OfferCharSet(NLS_CharSet * record) noexcept {
    std::uintptr_t present = 0;
    value.compare_exchange_strong(present, reinterpret_cast<std::uintptr_t>(record),
                                  std::memory_order_acq_rel, std::memory_order_acquire);
    return present == 0 ? record : reinterpret_cast<NLS_CharSet *>(present);
}

constinit SymbolTable * SymbolTable::Main = nullptr;

SymbolTable::SymbolTable() : mutex_(new (std::nothrow) TMimeMutexSemaphore) {}

SymbolTable::~SymbolTable() {
    for (Link & root : roots_) {
        destroy_tree(root.load(std::memory_order_acquire));
    }
}

bool SymbolTable::ParsersInstalled() const noexcept {
    return parsers_installed_.load(std::memory_order_acquire);
}

void SymbolTable::SetParsersInstalled() noexcept {
    parsers_installed_.store(true, std::memory_order_release);
}

TableItem * SymbolTable::LookUp(char const * text, bool copy, bool insert) {
    return Find(text, copy, Origin::client, [insert](std::string_view) { return insert; });
}

namespace {

/// Real mail has a few hundred types and sets in all. Beyond these numbers it is a sender who makes
/// words up, and nobody will ask for them again.
constexpr int most_words_of_messages = 10'000;
constexpr std::size_t longest_word_of_message = 127;

} // namespace

TableItem * SymbolTable::LookUpOfMessage(char const * text) {
    return Find(text, true, Origin::message, [this](std::string_view word) {
        return word.size() <= longest_word_of_message &&
               words_of_messages_.load(std::memory_order_relaxed) < most_words_of_messages;
    });
}

template <typename MayInsert>
TableItem * SymbolTable::Find(char const * text, bool copy, Origin origin, MayInsert may_insert) {
    static_assert(front_count == vellum::front_hashes);
    if (text == nullptr) return nullptr;
    std::string_view const word = text;
    TableItem * item = fronts_[vellum::front_hash(word)].load(std::memory_order_acquire);
    if (item != nullptr && is_word(*item, word)) return item;
    if (item == nullptr && !may_insert(word)) return nullptr;
    vellum::WordHash const hash = vellum::hash_word(word, vellum::process_hash_key());
    item = Search(hash, word, &roots_[hash.bucket])->load(std::memory_order_acquire);
    return item == nullptr && may_insert(word) ? Insert(hash, word, copy, origin) : item;
}

/// The link that holds the entry of the word, or the empty link where it belongs. `link` is where
/// the walk begins.
SymbolTable::Link * SymbolTable::Search(vellum::WordHash const & hash, std::string_view word,
                                        Link * link) {
    while (TableItem * const item = link->load(std::memory_order_acquire)) {
        if (item->order_ != hash.order) {
            link = item->order_ < hash.order ? &item->greater : &item->lesser;
            continue;
        }
        int const difference = compare_words(key_of(*item), word);
        if (difference == 0) break;
        link = difference < 0 ? &item->greater : &item->lesser;
    }
    return link;
}

TableItem * SymbolTable::Insert(vellum::WordHash const & hash, std::string_view word, bool copy,
                                Origin origin) {
    if (mutex_ == nullptr) return nullptr;
    // A wait that fails doesn't stop the insertion. That is why each entry is published by an
    // exchange: even without the lock no entry gets lost or doubled.
    TMimeMutexSemaphoreEntry const lock(*mutex_, TMimeMutexSemaphore::fsInfinite);
    TableItem * const item = Make(hash, word, copy, origin);
    if (item == nullptr) return nullptr;
    // Before the call returns, whoever made the entry: from then on the word has to be found.
    TableItem * empty = nullptr;
    fronts_[vellum::front_hash(word)].compare_exchange_strong(empty, item,
                                                              std::memory_order_acq_rel);
    return item;
}

/// The entry of the word in the trees, new if need be. A NUL stands behind the word.
TableItem * SymbolTable::Make(vellum::WordHash const & hash, std::string_view word, bool copy,
                              Origin origin) {
    Link * link = &roots_[hash.bucket];
    std::unique_ptr<TableItem> made;
    for (;;) {
        link = Search(hash, word, link); // again: another thread may have added the word
        if (TableItem * const item = link->load(std::memory_order_acquire)) return item;
        if (made == nullptr) {
            if (origin == Origin::message && words_of_messages_ >= most_words_of_messages) {
                return nullptr;
            }
            made.reset(new (std::nothrow) TableItem(word.data(), copy));
            if (made == nullptr || made->text == nullptr) return nullptr;
            made->order_ = hash.order;
        }
        TableItem * empty = nullptr;
        if (link->compare_exchange_strong(empty, made.get(), std::memory_order_acq_rel)) {
            if (origin == Origin::message) ++words_of_messages_;
            return made.release();
        }
    }
}

namespace {

/// The tokens that are compared by pointer throughout. No two are equal without regard to case.
constexpr char const * const * loaded_tokens[] = {
    &RFC1521::Content_Type,
    &RFC1521::text,
    &RFC1521::plain,
    &RFC1521::charset,
    &RFC1521::Content_Transfer_Encoding,
    &RFC1521::ASCII_7bit,
    &RFC1521::ASCII_8bit,
    &RFC1521::quoted_printable,
    &RFC1521::base64,
    &RFC1521::binary,
    &RFC1521::Content_Description,
    &RFC1521::Content_Id,
    &RFC1521::MIME_Version,
    &RFC822::Received,
    &RFC822::Date,
    &RFC822::Return_Path,
    &RFC822::Sender,
    &RFC822::Subject,
    &RFC822::From,
    &RFC822::Reply_To,
    &RFC822::To,
    &RFC822::cc,
    &RFC822::bcc,
    &RFC822::Message_Id,
    &RFC822::In_Reply_To,
    &RFC1521::multipart,
    &RFC1521::boundary,
    &RFC1521::mixed,
    &RFC1521::parallel,
    &RFC1521::alternative,
    &RFC1521::digest,
    &RFC1521::image,
    &RFC1521::GIF,
    &RFC1521::JPEG,
    &RFC1521::MPEG,
    &RFC1521::application,
    &RFC1521::PostScript,
    &RFC1521::audio,
    &RFC1521::basic,
    &RFC1521::message,
    &RFC1521::RFC822,
    &RFC1521::partial,
    &RFC1521::external_body,
    &RFC1521::octet_stream,
    &RFC1521::richtext,
    &RFC1521::video,
    &RFC822::Resent_From,
    &RFC822::Resent_Date,
    &RFC822::Resent_Message_Id,
    &RFC822::Resent_Reply_To,
    &RFC822::Resent_Sender,
    &RFC822::Resent_To,
    &RFC822::Resent_bcc,
    &RFC822::Resent_cc,
    &RFC822::References,
    &RFC822::Keywords,
    &RFC822::Comments,
    &RFC822::Encrypted,
    &RFC1138::Importance,
    &RFC1138::low,
    &RFC1138::medium,
    &RFC1138::high,
    &RFC1138::Priority,
    &RFC1138::normal,
    &RFC1138::non_urgent,
    &RFC1138::urgent,
    &RFC1138::Sensitivity,
    &RFC1138::Personal,
    &RFC1138::Private,
    &RFC1138::Company_Confidential,
    &RFC1806::Content_Disposition,
    &RFC1806::inLine,
    &RFC1806::attachment,
    &RFC1806::filename,
    &BureauSphere::X_From_Fax,
    &BureauSphere::X_From_BS,
    &BureauSphere::X_Sender_Fax,
    &BureauSphere::X_Sender_BS,
    &BureauSphere::X_Reply_To_Fax,
    &BureauSphere::X_Reply_To_BS,
    &BureauSphere::X_To_Fax,
    &BureauSphere::X_To_BS,
    &BureauSphere::X_bcc_Fax,
    &BureauSphere::X_bcc_BS,
    &BureauSphere::X_cc_Fax,
    &BureauSphere::X_cc_BS,
    &MDN::Disposition_notification_to,
    &MDN::Original_Message_Id,
    &MDN::Original_Recipient,
    &MDN::Final_Recipient,
    &MDN::List_Recipient,
    &MDN::Reporting_UA,
    &MDN::MDN_Gateway,
    &MDN::delivery_status,
    &MDN::disposition_notification,
    &MDN::Disposition,
    &MDN::displayed,
    &MDN::processed,
    &MDN::autoprocessed,
    &MDN::deleted,
    &MDN::autodeleted,
    &MDN::obsoleted,
    &MDN::expired,
    &MDN::terminated,
    &MDN::denied,
    &MDN::autodenied,
    &X::uuencode,
};
static_assert(std::size(loaded_tokens) == 107);

} // namespace

SymbolTable * SymbolTable::Init() {
    for (char const * const * token : loaded_tokens) {
        LookUp(*token, false, true);
    }
    return this;
}

namespace vellum {

namespace {

/// SymbolTable::Main points here as long as there is a table.
struct MainTable {
    MainTable() { SymbolTable::Main = table.Init(); }
    ~MainTable() { SymbolTable::Main = nullptr; }
    SymbolTable table;
};

} // namespace

SymbolTable & main_table() {
    static MainTable main;
    return main.table;
}

} // namespace vellum

char const * SymToken::Intern(char const * text) {
    if (text == nullptr) return nullptr;
    TableItem const * const item = vellum::main_table().LookUp(text, true, true);
    return item != nullptr ? item->text : nullptr;
}

bool SymToken::Equals(char const * text) const noexcept {
    if (text_ == text) return true;
    if (text_ == nullptr || text == nullptr) return false;
    return vellum::ascii::equal(text_, text);
}
