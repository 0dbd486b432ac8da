// tests/symbols_test.cpp - tokens, symbol tables and strings
#include "mime/foundation/mime_string.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/foundation/word_hash.hpp"
#include "mime/nls/charset.hpp"
#include "tests/support/chunked.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// What a client may do before main and behind it. The tests may be linked with the library's
/// objects in any order, so this also runs in front of the library's own static initialisation.
struct StaticClient {
    StaticClient()
        : token("TEXT"), unknown("X-Static-Client"), find_utf_8(NLS::FindCharSet("utf-8")),
          main_item(SymbolTable::Main->LookUp("subject", false, false)),
          table_item(NLS::CharSetTable.LookUp("big5", false, false)) {}
    ~StaticClient() {
        SymToken const again("x-static-client");
        if (again != unknown || std::strcmp(unknown, "X-Static-Client") != 0 ||
            NLS::FindCharSet("UTF-8") != &NLS::UTF_8) {
            std::fputs("the tables died before a client's static object\n", stderr);
            std::abort();
        }
    }

    SymToken token;
    SymToken unknown;
    NLS_CharSet * find_utf_8;
    TableItem * main_item;
    TableItem * table_item;
};
StaticClient static_client;

TEST(Symbols, serve_a_clients_static_initialisation) {
    EXPECT_EQ(static_cast<char const *>(static_client.token), RFC1521::text);
    EXPECT_EQ(static_client.find_utf_8, &NLS::UTF_8);
    ASSERT_NE(static_client.main_item, nullptr);
    EXPECT_EQ(static_client.main_item->text, RFC822::Subject);
    ASSERT_NE(static_client.table_item, nullptr);
    EXPECT_EQ(static_client.table_item->CharSet(), &NLS::Big5);
}

TEST(Tokens, that_are_not_named_by_their_text) {
    std::pair<char const *, char const *> const rows[] = {
        {RFC822::Resent_bcc, "Resent-bcc"},
        {RFC822::XXX, "???"},
        {RFC1521::ASCII_7bit, "7bit"},
        {RFC1806::inLine, "inline"},
        {BureauSphere::X_bcc_Fax, "X-Bcc-ZR700Fax"},
        {X::uuencode, "x-uuencode"},
    };
    for (auto const & [token, text] : rows)
        EXPECT_STREQ(token, text);
    EXPECT_EQ(RFC1521::rfc822, RFC1521::RFC822);
}

TEST(WordHash, gives_the_bucket_whatever_the_case_and_another_order_under_another_key) {
    std::pair<char const *, unsigned> const rows[] = {
        {"", 0}, {"To", 15}, {"cc", 11}, {"CC", 11}, {"Content-Type", 28}, {"cONTENT-tYPE", 28},
    };
    for (auto const & [text, bucket] : rows)
        EXPECT_EQ(vellum::hash_word(text, {1, 2}).bucket, bucket) << text;

    auto const order = [](char const * text, std::uint64_t key = 2) {
        return vellum::hash_word(text, {1, key}).order;
    };
    EXPECT_EQ(order("Content-Type"), order("CONTENT-TYPE"));
    EXPECT_NE(order("Content-Type"), order("Content-Type", 3));
    EXPECT_NE(order("["), order("{")); // one bucket, but no letters
    EXPECT_NE(order("12345678"), order("1234567"));
    EXPECT_NE(order("1234567890123456"), order("1234567890123457"));
}

TEST(SymbolTable, finds_without_regard_to_case_and_keeps_the_first_spelling) {
    TableItem * const item = SymbolTable::Main->LookUp("Content-type", false, false);
    ASSERT_NE(item, nullptr);
    EXPECT_STREQ(item->text, "Content-Type");
    EXPECT_EQ(item->length, 12);
    EXPECT_FALSE(item->owned);
    EXPECT_EQ(SymbolTable::Main->LookUp(nullptr, true, true), nullptr);

    SymbolTable table;
    char temporary[] = "X-Unknown";
    EXPECT_EQ(table.LookUp(temporary, false, false), nullptr);
    TableItem * const made = table.LookUp(temporary, true, true);
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->owned);
    EXPECT_EQ(made->value, 0U);
    temporary[0] = 'Y';
    EXPECT_STREQ(made->text, "X-Unknown");
    EXPECT_EQ(table.LookUp("x-unKNOWN", true, true), made);
    char lent[] = "lent";
    EXPECT_EQ(table.LookUp(lent, false, true)->text, lent);
}

TEST(SymbolTable, keeps_words_of_one_bucket_apart) {
    SymbolTable table;
    char const * const words[] = {"", "[", "{", "a[", "a{", "@", "`", "\xC4", "\xE4"};
    for (char const * word : words)
        EXPECT_STREQ(table.LookUp(word, true, true)->text, word);
    for (char const * word : words)
        EXPECT_STREQ(table.LookUp(word, false, false)->text, word);
}

TEST(TableItem, compares_as_folded_bytes) {
    struct {
        char const * text;
        char const * other;
        int sign;
    } const rows[] = {
        {"abc", "ABC", 0}, {"abc", "abd", -1}, {"b", "abc", 1},  {"ab", "abc", -1},
        {"_", "a", -1},    {"_", "A", -1},     {"\xE4", "z", 1}, {"", nullptr, 0},
    };
    for (auto const & row : rows) {
        int const result = TableItem(row.text, false).Compare(row.other);
        EXPECT_EQ((result > 0) - (result < 0), row.sign) << row.text;
    }
}

TEST(TableItem, holds_one_value_word) {
    TableItem item("Subject", false);
    EXPECT_EQ(item.FieldParser(), nullptr);
    auto const parser = [](MimeReceiver *, char const *, char const *) {};
    item.SetFieldParser(parser);
    EXPECT_EQ(item.FieldParser(), static_cast<TableItem::Parser>(parser));

    TableItem name("utf-8", false);
    EXPECT_EQ(name.OfferCharSet(&NLS::UTF_8), &NLS::UTF_8);
    EXPECT_EQ(name.OfferCharSet(&NLS::Big5), &NLS::UTF_8);
    EXPECT_EQ(name.CharSet(), &NLS::UTF_8);
}

int depth(TableItem const * item) {
    return item == nullptr ? 0 : 1 + std::max(depth(item->lesser), depth(item->greater));
}

TEST(SymbolTable, stays_shallow_when_words_arrive_sorted) {
    SymbolTable table;
    std::map<unsigned, TableItem *> roots;
    for (int i = 100'000; i < 200'000; ++i) {
        std::string const word = "x-" + std::to_string(i);
        TableItem * const item = table.LookUp(word.c_str(), true, true);
        roots.emplace(vellum::hash_word(word.c_str(), {}).bucket, item);
    }
    EXPECT_GT(roots.size(), 8U);
    for (auto const & [bucket, root] : roots) {
        EXPECT_LT(depth(root), 100) << "bucket " << bucket; // 2 log2(n) or so are to be expected
    }
}

TEST(TableItem, destroys_trees_of_any_depth) {
    TableItem root("root", false);
    TableItem * last = &root;
    for (int i = 0; i < 1'000'000; ++i) {
        auto * const child = new TableItem("x", i % 100 == 0);
        (i % 3 == 0 ? last->greater : last->lesser) = child;
        if (i % 2 == 0) (i % 3 == 0 ? last->lesser : last->greater) = new TableItem("leaf", false);
        last = child;
    }
}

TEST(SymbolTable, gives_all_threads_one_entry) {
    constexpr int word_count = 3000;
    SymbolTable table;
    auto const run = [&table](int first, std::vector<TableItem *> & found) {
        for (int i = 0; i < word_count; ++i) {
            int const number = (i + first) % word_count;
            std::string word = "word-" + std::to_string(number);
            if (first % 2 == 0) word[0] = 'W';
            TableItem * const item = table.LookUp(word.c_str(), true, true);
            EXPECT_EQ(table.LookUp(word.c_str(), false, false), item);
            EXPECT_EQ(item->Compare(word.c_str()), 0);
            item->OfferCharSet(&NLS::UTF_8);
            found[static_cast<std::size_t>(number)] = item;
        }
    };
    std::array<std::vector<TableItem *>, 4> found;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < found.size(); ++i) {
        found[i].resize(word_count);
        threads.emplace_back(run, static_cast<int>(i) * 7, std::ref(found[i]));
    }
    for (std::thread & thread : threads)
        thread.join();
    for (auto const & other : found)
        EXPECT_EQ(found[0], other);
}

TEST(SymToken, holds_one_pointer_for_one_word) {
    SymToken const text("TEXT");
    EXPECT_TRUE(text == SymToken("text"));
    EXPECT_EQ(static_cast<char const *>(text), RFC1521::text);
    EXPECT_STREQ(SymToken("gif"), "GIF");
    // Not loaded: the table has its own copy, and only the text is equal.
    SymToken const latin("iso-8859-1");
    EXPECT_NE(static_cast<char const *>(latin), RFC1521::ISO_8859_1);
    EXPECT_TRUE(latin == RFC1521::ISO_8859_1);
    EXPECT_TRUE(RFC1521::ISO_8859_1 == latin);
    EXPECT_TRUE(latin != "iso-8859-15" && latin != nullptr);

    SymToken token(0);
    EXPECT_TRUE(!token && token == nullptr && token == SymToken() && token != "text");
    EXPECT_EQ(token = "Plain", RFC1521::plain);
    SymToken copy;
    copy = token;
    EXPECT_TRUE(copy == token && copy != text);
    token = nullptr;
    EXPECT_TRUE(!token);
}

// strings --------------------------------------------------------------------------

std::string printed(MimeString const & string) {
    std::ostringstream out;
    string.print(out);
    return out.str();
}

TEST(MimeString, has_the_attributes_of_its_constructor) {
    vellum::test::ExactCopy const exact("abc");
    char const * const abc = exact.begin();
    struct {
        MimeString string;
        unsigned long length;
        char const * char_set;
        int code_page;
        char const * encoding;
    } const rows[] = {
        {MimeString(), 0, "US-ASCII", 0, "7bit"},
        {MimeString("abc"), 3, "US-ASCII", 0, "7bit"},
        {MimeString("abc", SymToken(0)), 3, "US-ASCII", 0, nullptr},
        {MimeString("abc", SymToken("UTF-8")), 3, "UTF-8", 0, nullptr},
        {MimeString(abc, 3, 0), 3, "US-ASCII", 0, nullptr},
        {MimeString(abc, 3, 1252), 3, nullptr, 1252, nullptr},
        {MimeString(abc, 3, "UTF-8"), 3, "UTF-8", 0, nullptr},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(row.string.get_Length(), row.length);
        EXPECT_STREQ(row.string.get_CharSet(), row.char_set);
        EXPECT_EQ(row.string.get_CodePage(), row.code_page);
        EXPECT_STREQ(row.string.get_Encoding(), row.encoding);
        EXPECT_EQ(printed(row.string), row.length == 0 ? "" : "abc");
    }
    EXPECT_EQ(printed(MimeString("abcdef", 3, 0)), "abc");
}

TEST(MimeString, shares_text_and_length_between_copies_but_no_attribute) {
    MimeString first("abcdef");
    MimeString second(first);
    MimeString third;
    third = second;
    EXPECT_EQ(second.get_String(), first.get_String());
    second.set_String("uvwxyz", 0);
    first.set_Length(2);
    EXPECT_EQ(printed(third), "uv");
    second.set_CharSet("UTF-8");
    second.set_Encoding(nullptr);
    second.set_CodePage(850);
    EXPECT_STREQ(first.get_CharSet(), "US-ASCII");
    EXPECT_STREQ(third.get_Encoding(), "7bit");
    EXPECT_EQ(third.get_CodePage(), 0);

    // The length is that of the text at the beginning.
    char text[] = "abcdef";
    MimeString const counted(text);
    MimeString const of_set(text, SymToken("UTF-8"));
    text[3] = '\0';
    EXPECT_EQ(counted.get_Length(), 6U);
    EXPECT_EQ(of_set.get_Length(), 6U);
}

// A leak or a double delete shows under the address sanitizer.
TEST(MimeString, frees_the_text_that_was_handed_over) {
    auto first = std::make_unique<MimeString>("abc");
    first->set_String(new char[4]{"one"}, 1);
    MimeString const last(*first);
    first->set_String(new char[4]{"two"}, 1);
    char const * const text = first->get_String();
    first->set_String(text, 1);
    first.reset();
    EXPECT_EQ(printed(last), "two");

    MimeString borrowed(new char[5]{"abcd"});
    borrowed.set_String(borrowed.get_String(), 1);
    borrowed.set_String("lent", 0);
    EXPECT_EQ(printed(borrowed), "lent");
}

TEST(MimeString, chains) {
    MimeString head("one ");
    MimeString * const second = new MimeString("two ");
    MimeString * const third = new MimeString("three ");
    EXPECT_EQ(&head.Concatenate(*second), &head);
    EXPECT_EQ(second->Concatenate(third), second);
    MimeString empty("");
    MimeString null;
    head.Concatenate(empty).Concatenate(null).Concatenate(head);
    head.Concatenate(static_cast<MimeString *>(nullptr));
    head.Concatenate(second);
    EXPECT_EQ(printed(head), "one two three ");
    EXPECT_EQ(head.get_Length(), 4U);

    {
        MimeString copy(head);
        MimeString assigned;
        assigned = copy;
        EXPECT_EQ(printed(assigned), "one two three ");
        MimeString & same = assigned;
        assigned = same;
        EXPECT_EQ(printed(assigned), "one two three ");
        MimeString * const behind = new MimeString(head);
        MimeString front("zero ");
        front.Concatenate(behind);
        front = *behind; // of its own chain
        EXPECT_EQ(printed(front), "one two three ");
    }
    EXPECT_EQ(printed(head), "one two three ");

    head.Concatenate(new MimeString("between "));
    EXPECT_EQ(printed(head), "one between two three ");
    delete third;
    MimeString other("other ");
    other.Concatenate(second); // moves from one chain to the other
    EXPECT_EQ(printed(head), "one between ");
    EXPECT_EQ(printed(other), "other two ");
}

TEST(MimeString, copies_and_destroys_chains_of_any_length) {
    constexpr std::size_t pieces = 500'000;
    MimeString head("x");
    MimeString * last = &head;
    for (std::size_t i = 1; i < pieces; ++i) {
        auto * const piece = new MimeString("x");
        last->Concatenate(piece);
        last = piece;
    }
    MimeString const copy(head);
    EXPECT_EQ(printed(copy).size(), pieces);
}

} // namespace
