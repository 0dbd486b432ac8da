// tests/charset_test.cpp - the registry of character sets, translators and their factories
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/charset_names.hpp"
#include "mime/nls/translator.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <thread>

namespace {

using namespace vellum::test;

TEST(CharSets, have_their_width_encoding_and_aliases) {
    std::set<NLS_CharSet const *> records;
    for (Cells const & row : rows_of("charset.case", "sets")) {
        std::vector<std::string> const names = split(row[2], ',');
        NLS_CharSet const * const own = NLS::FindCharSet(names[0].c_str());
        for (std::string const & each : names) {
            std::string const name = each.substr(each.find_first_not_of(' '));
            NLS_CharSet * const record = NLS::FindCharSet(name.c_str());
            ASSERT_NE(record, nullptr) << name;
            EXPECT_EQ(record->name, name);
            EXPECT_FALSE(record->dynamic) << name;
            EXPECT_EQ(record->Preferred(), own) << name;
            EXPECT_TRUE(*record == *own) << name;
            EXPECT_EQ(record->is_SingleByte(), row[0] == "single") << name;
            EXPECT_EQ(record->is_DoubleByte(), row[0] == "double") << name;
            SymToken const encoding(row[1].c_str());
            EXPECT_EQ(record->BestTransferEncoding(false), encoding) << name;
            EXPECT_EQ(record->BestTransferEncoding(true), encoding) << name;
            EXPECT_EQ(record->is_Binary(), row[1] == "base64") << name;
            EXPECT_TRUE(records.insert(record).second) << name;
        }
    }
    EXPECT_EQ(records.size(), 79U);
}

TEST(CharSets, are_found_without_regard_to_case_and_made_for_unknown_names) {
    EXPECT_EQ(NLS::FindCharSet("chinese standard gb (kzmcp936)"), &NLS::CSGB);
    EXPECT_EQ(NLS::FindCharSet(""), &NLS::ReservedSet);
    EXPECT_EQ(NLS::FindCharSet(nullptr), nullptr);
    EXPECT_TRUE(*NLS::FindCharSet("csBig5") != *NLS::FindCharSet("936"));
    EXPECT_EQ(NLS::Big5.name, MultiByte::Big5);

    // A name may stand in the table without a record, as a plain look-up leaves it.
    NLS::CharSetTable.LookUp("x-only-a-name", true, true);
    for (std::string const own : {"x-unknown", "x-only-a-name"}) {
        std::string name = own;
        NLS_CharSet * const record = NLS::FindCharSet(name.c_str());
        ASSERT_NE(record, nullptr);
        EXPECT_TRUE(record->dynamic && record->is_MultiByte() && record->is_Binary());
        EXPECT_EQ(record->Preferred(), record);
        name[2] ^= 'a' ^ 'A';
        EXPECT_EQ(NLS::FindCharSet(name.c_str()), record);
        EXPECT_EQ(record->name, own);
    }
}

TEST(CharSets, are_made_once_for_all_threads) {
    std::array<std::vector<NLS_CharSet *>, 4> found;
    std::vector<std::jthread> threads;
    for (auto & records : found) {
        threads.emplace_back([&records] {
            for (int i = 0; i < 500; ++i) {
                std::string const name = "x-thread-" + std::to_string(i);
                records.push_back(NLS::FindCharSet(name.c_str()));
                EXPECT_EQ(records.back()->name, name);
            }
        });
    }
    threads.clear();
    for (auto const & records : found)
        EXPECT_EQ(records, found[0]);
}

TEST(CharSets, of_a_client_join_the_registry_unless_the_name_is_taken) {
    static NLS_CharSet own("x-client", RFC1521::quoted_printable, NLS_CharSet::single_byte);
    static NLS_CharSet alias("x-client-alias", &own, false);
    static NLS_CharSet of_alias("x-client-alias-2", &alias, true);
    static NLS_CharSet late("utf-8", NLS_CharSet::double_byte);
    EXPECT_EQ(NLS::FindCharSet("X-Client"), &own);
    EXPECT_EQ(NLS::FindCharSet("x-client-alias-2"), &of_alias);
    EXPECT_EQ(of_alias.Preferred(), &own);
    EXPECT_TRUE(of_alias.is_SingleByte() && of_alias.dynamic);
    EXPECT_EQ(NLS::FindCharSet("utf-8"), &NLS::UTF_8);
    EXPECT_EQ(late.Preferred(), &late);

    NLS_CharSet nameless;
    EXPECT_TRUE(!nameless);
    EXPECT_TRUE(nameless.is_MultiByte() && nameless.is_Binary());
    nameless = NLS::Korean;
    EXPECT_TRUE(nameless == NLS::KSC5601);
}

TEST(CharSets, fit_a_code_page) {
    for (Cells const & row : rows_of("charset.case", "sets that fit")) {
        for (std::string const & page : split(row[2], ' ')) {
            for (bool const in_header : {false, true})
                EXPECT_EQ(NLS::Equivalent_CharSet_for(std::stoi(page), in_header)->name,
                          row[in_header ? 1 : 0])
                    << page;
        }
    }
}

// translators and factories --------------------------------------------------------

/// How many translators and factories there are.
int alive = 0;

struct CountedTranslator : TextTranslator {
    CountedTranslator(char const * set, int its_number) : TextTranslator(set), number(its_number) {
        ++alive;
    }
    ~CountedTranslator() override { --alive; }
    NLS_Translator * ReInit(char const *, int) override { return is_reusable ? this : nullptr; }
    int Translate(std::string_view, std::string &) override { return 1; }

    int number;
    bool is_reusable = true;
};

/// Makes translators for the names that begin with its own name.
struct CountedFactory : NLS_Translator_Factory {
    explicit CountedFactory(char const * name, NLS_CharSet * set = nullptr) : header_set(set) {
        className = name;
        ++alive;
    }
    ~CountedFactory() override { --alive; }

    NLS_Translator * New(char const * name, int code_page) override {
        calls += std::string(className) + "?" + name + "/" + std::to_string(code_page) + " ";
        bool const is_known = std::string_view(name).starts_with(className);
        return is_known ? new CountedTranslator(name, ++made) : nullptr;
    }
    NLS_CharSet * SuggestCharSet(int code_page, bool in_header) override {
        return code_page == 1252 && in_header ? header_set : nullptr;
    }

    NLS_CharSet * header_set;
    inline static std::string calls;
    inline static int made = 0;
};

class Translators : public testing::Test {
protected:
    Translators() { NLS::PlatformCodePage = 1252; }
    ~Translators() override {
        delete cache;
        if (factories != nullptr) factories->Delete();
        NLS::PlatformCodePage = code_page_;
        EXPECT_EQ(alive, 0);
    }

    void add(char const * name, NLS_CharSet * header_set = nullptr, int append = 1) {
        vellum::add_factory(factories, new CountedFactory(name, header_set), append);
    }
    /// The factories that are asked for a translator, and its number.
    std::string made(std::string const & set) {
        CountedFactory::calls.clear();
        auto * const translator = NLS::Create(NLS::FindCharSet(set.c_str()), &cache, factories);
        if (translator == nullptr) return CountedFactory::calls + "none";
        return CountedFactory::calls + std::to_string(counted(translator)->number);
    }
    static CountedTranslator * counted(NLS_Translator * translator) {
        return static_cast<CountedTranslator *>(translator);
    }
    CountedTranslator * numbered(std::string const & number) const {
        auto * each = counted(cache);
        while (std::to_string(each->number) != number)
            each = counted(each->next);
        return each;
    }
    /// The numbers in the list, whose links must agree.
    std::string list() const {
        std::string numbers;
        NLS_Translator const * previous = nullptr;
        for (auto * each = cache; each != nullptr; previous = each, each = each->next) {
            EXPECT_EQ(each->previous, previous);
            numbers += std::to_string(counted(each)->number);
        }
        return numbers;
    }

    NLS_Translator * cache = nullptr;
    NLS_Translator_Factory * factories = nullptr;

private:
    unsigned long const code_page_ = NLS::PlatformCodePage;
};

TEST_F(Translators, are_made_once_and_kept_while_they_can_be_used_again) {
    add("ISO");
    add("UTF");
    for (Cells const & row : rows_of("charset.case", "translators")) {
        SCOPED_TRACE(row[0]);
        std::string const verb = row[0].substr(0, row[0].find(' '));
        std::string const name = row[0].substr(verb.size() + 1);
        if (verb == "make") {
            EXPECT_EQ(made(name), row[2]);
        }
        if (verb == "page") NLS::PlatformCodePage = std::stoul(name);
        if (verb == "spoil") numbered(name)->is_reusable = false;
        if (verb == "delete") numbered(name)->Delete();
        if (verb == "destroy") delete numbered(name);
        ASSERT_EQ(list(), row[1]);
        EXPECT_EQ(static_cast<std::size_t>(alive), row[1].size() + 2);
    }
    EXPECT_EQ(NLS::Create(nullptr, &cache, factories), nullptr);
    // Without a list it is the caller's; the fixture counts what is left.
    vellum::TranslatorInUse const lone(NLS::Create(&NLS::UTF_8, nullptr, factories));
    EXPECT_EQ(lone->cacheHead, nullptr);
    EXPECT_EQ(lone->codePage, 850U);
    delete cache;
    EXPECT_EQ(cache, nullptr);
}

TEST_F(Translators, and_factories_stand_in_chains_of_any_length) {
    for (int i = 0; i < 300'000; ++i) {
        auto * const translator = new CountedTranslator("x", i);
        translator->next = std::exchange(cache, translator);
        auto * const factory = new CountedFactory("x");
        factory->next = std::exchange(factories, factory);
    }
}

TEST_F(Translators, factories_are_put_in_front_or_behind_and_suggest_the_set) {
    EXPECT_EQ(NLS::BestFitCharSet(nullptr, false), &NLS::ISO_8859_1);
    add("a");
    NLS_Translator_Factory * const a = factories;
    add("b", &NLS::csBig5, 0);
    add("c", &NLS::UTF_8);
    EXPECT_EQ(NLS::BestFitCharSet(factories, true), &NLS::Big5);
    EXPECT_EQ(NLS::BestFitCharSet(factories, false), &NLS::ISO_8859_1);
    vellum::add_factory(factories, nullptr, 0);
    vellum::add_factory(factories, nullptr, 1);
    EXPECT_EQ(made("Big5"), "b?Big5/1252 a?Big5/1252 c?Big5/1252 none");
    vellum::add_factory(factories, a, 0); // again
    EXPECT_EQ(made("Big5"), "a?Big5/1252 b?Big5/1252 c?Big5/1252 none");
    vellum::add_factory(factories, a, 1);
    EXPECT_EQ(made("Big5"), "b?Big5/1252 c?Big5/1252 a?Big5/1252 none");
}

} // namespace
