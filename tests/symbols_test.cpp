// tests/symbols_test.cpp - tokens, symbol tables and strings
#include "mime/foundation/mime_string.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/foundation/word_hash.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/message_words.hpp"
#include "tests/support/chunked.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

/// What a client may do before main and behind it. The tests may be linked with the library's
/// objects in any order, so this also runs in front of the library's own static initialisation.
struct StaticClient {
    SymToken const token{"TEXT"}, unknown{"X-Static-Client"};
    NLS_CharSet * const found_utf_8 = NLS::FindCharSet("utf-8");
    TableItem * const main_item = SymbolTable::Main->LookUp("subject", false, false);
    TableItem * const table_item = NLS::CharSetTable.LookUp("big5", false, false);

    ~StaticClient() {
        SymToken const again("x-static-client");
        if (again != unknown || std::strcmp(unknown, "X-Static-Client") != 0 ||
            NLS::FindCharSet("UTF-8") != &NLS::UTF_8) {
            std::fputs("the tables died before a client's static object\n", stderr);
            std::abort();
        }
    }
} const static_client;

TEST(Symbols, serve_a_clients_static_initialisation) {
    EXPECT_EQ(static_cast<char const *>(static_client.token), RFC1521::text);
    EXPECT_EQ(static_client.found_utf_8, &NLS::UTF_8);
    ASSERT_TRUE(static_client.main_item != nullptr && static_client.table_item != nullptr);
    EXPECT_EQ(static_client.main_item->text, RFC822::Subject);
    EXPECT_EQ(static_client.table_item->CharSet(), &NLS::Big5);
    EXPECT_EQ(RFC1521::rfc822, RFC1521::RFC822);
}

TEST(SymbolTable, finds_without_regard_to_case_and_keeps_the_first_spelling) {
    TableItem * const item = SymbolTable::Main->LookUp("Content-type", false, false);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->text, RFC1521::Content_Type);
    EXPECT_EQ(item->length, 12);
    EXPECT_EQ(SymbolTable::Main->LookUp(nullptr, true, true), nullptr);

    SymbolTable table;
    char temporary[] = "X-Unknown";
    EXPECT_EQ(table.LookUp(temporary, false, false), nullptr);
    TableItem * const made = table.LookUp(temporary, true, true);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->value, 0U);
    temporary[0] = 'Y';
    EXPECT_STREQ(made->text, "X-Unknown");
    EXPECT_EQ(table.LookUp("x-unKNOWN", true, true), made);
    EXPECT_EQ(table.LookUp(temporary, false, true)->text, temporary);

    // The last two have the same ends, middle and length.
    char const * const words_of_few_buckets[] = {"",  "[",    "{",    "a[",    "a{",   "@",
                                                 "`", "\xC4", "\xE4", "abcde", "adcbe"};
    for (bool const is_made : {true, false}) {
        for (char const * word : words_of_few_buckets)
            EXPECT_STREQ(table.LookUp(word, is_made, is_made)->text, word);
    }
}

TEST(SymbolTable, takes_few_and_short_words_of_messages) {
    SymbolTable table;
    std::string const longest(127, 'x');
    EXPECT_STREQ(table.LookUpOfMessage(longest.c_str())->text, longest.c_str());
    std::string const longer(128, 'x');
    EXPECT_EQ(table.LookUpOfMessage(longer.c_str()), nullptr);
    EXPECT_EQ(table.LookUpOfMessage(nullptr), nullptr);
    TableItem * const long_word = table.LookUp(longer.c_str(), true, true);
    EXPECT_EQ(table.LookUpOfMessage(longer.c_str()), long_word) << "a client has made it known";

    auto const word = [](int number) { return "word-" + std::to_string(number); };
    for (int i = 2; i <= 10'000; ++i) {
        ASSERT_NE(table.LookUpOfMessage(word(i).c_str()), nullptr) << i;
        ASSERT_NE(table.LookUpOfMessage(word(i).c_str()), nullptr) << "the second time is free";
    }
    EXPECT_EQ(table.LookUpOfMessage("one-too-many"), nullptr);
    EXPECT_NE(table.LookUpOfMessage("WORD-10000"), nullptr);
    EXPECT_NE(table.LookUp("one-of-a-client", true, true), nullptr);
}

TEST(MessageWords, keep_what_the_tables_do_not_take) {
    vellum::MessageWords words;
    std::string const long_word(200, 'w');
    EXPECT_EQ(words.intern(nullptr), nullptr);
    EXPECT_EQ(words.intern("TEXT"), RFC1521::text);
    EXPECT_EQ(words.intern("X-New"), words.intern("x-new"));
    EXPECT_EQ(words.intern("x-new"), static_cast<char const *>(SymToken("X-NEW")));
    char const * const own = words.intern(long_word.c_str());
    EXPECT_EQ(own, long_word);
    SymToken const of_client(long_word.c_str());
    EXPECT_EQ(words.intern(std::string(200, 'W').c_str()), own) << "also beside the client's";
    EXPECT_EQ(vellum::MessageWords().intern(long_word.c_str()),
              static_cast<char const *>(of_client));

    EXPECT_EQ(words.char_set(nullptr), nullptr);
    EXPECT_EQ(words.char_set("utf-8"), &NLS::UTF_8);
    EXPECT_EQ(words.char_set("x-New-Set"), NLS::FindCharSet("X-new-set"));
    NLS_CharSet * const set = words.char_set(long_word.c_str());
    EXPECT_EQ(set->name, long_word);
    EXPECT_TRUE(set->dynamic && set->is_MultiByte() && set->Preferred() == set);
    words.give_up(set);
    EXPECT_EQ(words.char_set(std::string(200, 'W').c_str()), set) << "one of the first 10,000";
}

TEST(MessageWords, end_the_sets_that_serve_nothing_beyond_the_first) {
    vellum::MessageWords words;
    std::string const stem(200, 's');
    for (int i = 1; i <= 10'000; ++i)
        words.char_set((stem + std::to_string(i)).c_str());
    for (std::string const end : {"body", "word", "none"}) {
        std::string const name = stem + end;
        if (end == "body") words.lasting_char_set(name.c_str());
        NLS_CharSet * const set = words.char_set(name.c_str());
        set->width = NLS_CharSet::single_byte; // tells this record from the next of the name
        if (end == "word") words.keep(set);
        words.give_up(set);
        EXPECT_EQ(words.char_set(name.c_str())->is_SingleByte(), end != "none") << end;
    }
    words.give_up(&NLS::UTF_8);
    words.give_up(nullptr);
}

TEST(TableItem, compares_folded_bytes_and_keeps_its_first_record) {
    // In the order of Compare; null is as "".
    char const * const sorted[] = {nullptr, "_", "ab", "ABC", "abd", "b", "z", "\xE4"};
    auto const sign = [](int number) { return (number > 0) - (number < 0); };
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < 8; ++j) {
            char const * const text = sorted[i] != nullptr ? sorted[i] : "";
            EXPECT_EQ(sign(TableItem(text, false).Compare(sorted[j])), sign(i - j)) << text << j;
        }
    }
    EXPECT_EQ(TableItem("abc", false).Compare("ABC"), 0);
    TableItem name("utf-8", false);
    EXPECT_EQ(name.OfferCharSet(&NLS::UTF_8), &NLS::UTF_8);
    EXPECT_EQ(name.OfferCharSet(&NLS::Big5), &NLS::UTF_8);
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

TEST(SymbolTable, has_one_entry_for_all_threads) {
    constexpr int word_count = 12'000; // more than messages may add
    SymbolTable table;
    auto const run = [&table](int first, std::vector<TableItem *> & found) {
        for (int i = 0; i < word_count; ++i) {
            int const number = (i + first) % word_count;
            std::string word = "word-" + std::to_string(number);
            if (first % 2 == 0) word[0] = 'W';
            bool const is_of_message = number % 6 != 0;
            TableItem * const item = is_of_message ? table.LookUpOfMessage(word.c_str())
                                                   : table.LookUp(word.c_str(), true, true);
            ASSERT_NE(item, nullptr);
            EXPECT_EQ(table.LookUp(word.c_str(), false, false), item);
            EXPECT_EQ(item->Compare(word.c_str()), 0);
            item->OfferCharSet(&NLS::UTF_8);
            found[static_cast<std::size_t>(number)] = item;
        }
    };
    std::array<std::vector<TableItem *>, 4> found;
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < found.size(); ++i) {
        found[i].resize(word_count);
        threads.emplace_back(run, static_cast<int>(i) * 7, std::ref(found[i]));
    }
    threads.clear();
    for (auto const & other : found)
        EXPECT_EQ(found[0], other);
    EXPECT_EQ(table.LookUpOfMessage("the 10,001st of messages"), nullptr);
}

TEST(SymToken, holds_one_pointer_for_one_word) {
    SymToken const text("TEXT");
    // The set is not loaded: the table has its own copy, and only the text is equal.
    SymToken const latin("iso-8859-1");
    EXPECT_NE(static_cast<char const *>(latin), RFC1521::ISO_8859_1);
    EXPECT_TRUE(latin == RFC1521::ISO_8859_1 && RFC1521::ISO_8859_1 == latin);
    EXPECT_TRUE(latin != "iso-8859-15" && latin != nullptr && text == SymToken("text"));
    SymToken token(nullptr);
    EXPECT_TRUE(!token && token == nullptr && token == SymToken() && token != "text");
    EXPECT_EQ(token = "Plain", RFC1521::plain);
    EXPECT_TRUE(token != text && !(token = nullptr));
}

// strings --------------------------------------------------------------------------

std::string printed(MimeString const & string) {
    std::ostringstream out;
    string.print(out);
    return out.str();
}

/// Length, text, set, code page and encoding.
std::string all_of(MimeString const & string) {
    auto const shown = [](char const * text) { return text != nullptr ? text : "null"; };
    std::ostringstream out;
    out << string.get_Length() << ' ' << printed(string) << ' ' << shown(string.get_CharSet())
        << ' ' << string.get_CodePage() << ' ' << shown(string.get_Encoding());
    return out.str();
}

TEST(MimeString, has_the_attributes_of_its_constructor) {
    vellum::test::ExactCopy const exact("abc");
    char const * const abc = exact.begin();
    EXPECT_EQ(all_of(MimeString()), "0  US-ASCII 0 7bit");
    EXPECT_EQ(all_of(MimeString("abc")), "3 abc US-ASCII 0 7bit");
    EXPECT_EQ(all_of(MimeString("abc", SymToken(nullptr))), "3 abc US-ASCII 0 null");
    EXPECT_EQ(all_of(MimeString("abc", SymToken("UTF-8"))), "3 abc UTF-8 0 null");
    EXPECT_EQ(all_of(MimeString(abc, 3, 0)), "3 abc US-ASCII 0 null");
    EXPECT_EQ(all_of(MimeString(abc, 2, 1252)), "2 ab null 1252 null");
    EXPECT_EQ(all_of(MimeString(abc, 3, "UTF-8")), "3 abc UTF-8 0 null");
}

TEST(MimeString, shares_text_and_length_between_copies_but_no_attribute) {
    MimeString first("abcdef");
    MimeString second(first);
    MimeString third;
    third = second;
    EXPECT_EQ(second.get_String(), first.get_String());
    second.set_String("uvwxyz", 0);
    first.set_Length(2);
    MimeString alone("abc");
    alone.set_String("xyz", 0);
    alone.set_Length(2);
    EXPECT_EQ(printed(MimeString(alone)), "xy") << "also what was set before there was a copy";
    second.set_CharSet("UTF-8");
    second.set_Encoding(nullptr);
    second.set_CodePage(850);
    EXPECT_EQ(all_of(first), "2 uv US-ASCII 0 7bit");
    EXPECT_EQ(all_of(third), "2 uv US-ASCII 0 7bit");

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
    head.Concatenate(empty).Concatenate(head);
    head.Concatenate(static_cast<MimeString *>(nullptr));
    head.Concatenate(second);
    EXPECT_EQ(head.get_Length(), 4U);
    {
        MimeString assigned;
        assigned = MimeString(head);
        MimeString & same = assigned;
        assigned = same;
        MimeString front("zero ");
        front.Concatenate(new MimeString(assigned));
        EXPECT_EQ(printed(front), "zero one two three ");
    }
    MimeString front("zero ");
    MimeString * const behind = new MimeString(head);
    front.Concatenate(behind);
    front = *behind; // of its own chain
    EXPECT_EQ(printed(front), "one two three ");

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
