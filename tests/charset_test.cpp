// tests/charset_test.cpp - the registry of character sets, translators and their factories
#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/charset_names.hpp"
#include "mime/nls/translator.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

TEST(CharSets, have_their_width_encoding_and_aliases) {
    using enum NLS_CharSet::CharWidth_t;
    struct {
        NLS_CharSet & set;
        NLS_CharSet::CharWidth_t width;
        char const * encoding;
        char const * names; // the set's own name first
    } const rows[] = {
        {NLS::US_ASCII, single_byte, RFC1521::ASCII_7bit, "US-ASCII"},
        {NLS::ISO_8859_1, single_byte, RFC1521::quoted_printable, "ISO-8859-1"},
        {NLS::ISO_8859_5, single_byte, RFC1521::quoted_printable, "ISO-8859-5"},
        {NLS::ISO_8859_9, single_byte, RFC1521::quoted_printable, "ISO-8859-9"},
        {NLS::Big5, multi_byte, RFC1521::base64,
         "Big5,csBig5,Big-5,CN-Big5,Chinese Standard Interchange Code - Set 1 & 2 (Big5),KZMCP950,"
         "950,x-Big5"},
        {NLS::KSC5601, multi_byte, RFC1521::base64,
         "KSC5601,KS_C_5601-1987,ISO-IR-149,KS_C_5601-1989,KSC_5601,Korean,Korean KS C 5601-1989,"
         "csKSC56011987,EUC-KR,csEUCKR,KZMCP949,949,x-EUCKR,x-EUC-KR,x-KSC"},
        {NLS::GB2312, multi_byte, RFC1521::base64,
         "GB2312,csGB2312,GB_2312-80,GB2312-80,Chinese,ISO-IR-58,csISO58GB231280,CN-GB,"
         "Chinese Standard GB (KZMCP936),EUC-CN,GB,GBK,HZ-GB-2312,KZM1381,KZMCP936,1381,936,"
         "x-EUC-CN,x-GB,x-GB2312,x-GBK"},
        {NLS::ISO_2022_JP, multi_byte, RFC1521::ASCII_7bit,
         "ISO-2022-JP,csISO2022JP,ISO-2022-JP-2,csISO2022JP2"},
        {NLS::ISO_2022_KR, multi_byte, RFC1521::ASCII_7bit, "ISO-2022-KR,csISO2022KR"},
        {NLS::ISO_2022_CN, multi_byte, RFC1521::ASCII_7bit, "ISO-2022-CN"},
        {NLS::Shift_JIS, multi_byte, RFC1521::base64, "Shift-JIS,MS_Kanji,csShiftJIS"},
        {NLS::EUC_JP, multi_byte, RFC1521::base64, "EUC-JP"},
        {NLS::EUC_TW, multi_byte, RFC1521::base64,
         "EUC-TW,EUC-T,ISO-2022-INT-1,x-CNS-11643,x-EUC-TW,Chinese Extended Unix Code"},
        {NLS::Unicode_1_1, double_byte, RFC1521::base64,
         "Unicode-1-1,csUnicode,csUnicode11,Unicode"},
        {NLS::Unicode_1_1_UTF_7, multi_byte, RFC1521::quoted_printable,
         "Unicode-1-1-UTF-7,UTF-7,csUnicode11UTF7"},
        {NLS::UTF_8, multi_byte, RFC1521::base64, "UTF-8"},
    };
    std::set<NLS_CharSet const *> records;
    for (auto const & row : rows) {
        std::vector<std::string> const names = vellum::test::split(row.names, ',');
        EXPECT_EQ(NLS::FindCharSet(names[0].c_str()), &row.set);
        for (std::string const & name : names) {
            NLS_CharSet * const record = NLS::FindCharSet(name.c_str());
            ASSERT_NE(record, nullptr) << name;
            EXPECT_EQ(record->name, name);
            EXPECT_FALSE(record->dynamic) << name;
            EXPECT_EQ(record->Preferred(), &row.set) << name;
            EXPECT_TRUE(*record == row.set) << name;
            EXPECT_EQ(record->width, row.width) << name;
            EXPECT_EQ(record->BestTransferEncoding(false), row.encoding) << name;
            EXPECT_EQ(record->BestTransferEncoding(true), row.encoding) << name;
            EXPECT_EQ(record->is_Binary(), row.encoding == RFC1521::base64) << name;
            EXPECT_TRUE(records.insert(record).second) << name;
        }
    }
    EXPECT_EQ(records.size() + 6, 79U); // and ISO-8859-2, -3, -4, -6, -7 and -8
}

TEST(CharSets, are_found_without_regard_to_case) {
    EXPECT_EQ(NLS::FindCharSet("iso-8859-1"), &NLS::ISO_8859_1);
    EXPECT_EQ(NLS::FindCharSet("CSBIG5"), &NLS::csBig5);
    EXPECT_EQ(NLS::FindCharSet("chinese standard gb (kzmcp936)"), &NLS::CSGB);
    EXPECT_EQ(NLS::FindCharSet(""), &NLS::ReservedSet);
    EXPECT_EQ(NLS::FindCharSet(nullptr), nullptr);
    EXPECT_TRUE(*NLS::FindCharSet("csBig5") != *NLS::FindCharSet("936"));
    EXPECT_EQ(NLS::Big5.name, MultiByte::Big5);
    EXPECT_EQ(NLS::US_ASCII.name, RFC1521::US_ASCII);
}

TEST(CharSets, unknown_names_get_a_record_once) {
    char name[] = "x-unknown";
    NLS_CharSet * const record = NLS::FindCharSet(name);
    name[2] = 'U';
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->name, "x-unknown");
    EXPECT_TRUE(record->dynamic);
    EXPECT_TRUE(record->is_MultiByte());
    EXPECT_TRUE(record->is_Binary());
    EXPECT_EQ(record->Preferred(), record);
    EXPECT_EQ(NLS::FindCharSet("X-UNKNOWN"), record);
    EXPECT_NE(NLS::FindCharSet("Shift_JIS"), &NLS::Shift_JIS);
    // A name that stands in the table without a record, as a plain look-up leaves it.
    NLS::CharSetTable.LookUp("x-only-a-name", true, true);
    ASSERT_NE(NLS::FindCharSet("x-only-a-name"), nullptr);
    EXPECT_STREQ(NLS::FindCharSet("x-only-a-name")->name, "x-only-a-name");
}

TEST(CharSets, are_made_once_for_all_threads) {
    constexpr std::size_t name_count = 500;
    std::array<std::vector<NLS_CharSet *>, 4> found;
    std::vector<std::thread> threads;
    for (auto & records : found) {
        threads.emplace_back([&records] {
            for (std::size_t i = 0; i < name_count; ++i) {
                std::string const name = "x-thread-" + std::to_string(i);
                records.push_back(NLS::FindCharSet(name.c_str()));
                EXPECT_EQ(records.back()->name, name);
            }
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    for (auto const & records : found) {
        EXPECT_EQ(records, found[0]);
    }
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
    struct {
        std::vector<int> code_pages;
        NLS_CharSet * body;
        NLS_CharSet * header;
    } const rows[] = {
        {{437, 819, 850, 860, 863, 865, 1252}, &NLS::ISO_8859_1, &NLS::ISO_8859_1},
        {{852, 1250, 1257}, &NLS::ISO_8859_2, &NLS::ISO_8859_2},
        {{1251}, &NLS::ISO_8859_5, &NLS::ISO_8859_5},
        {{1256}, &NLS::ISO_8859_6, &NLS::ISO_8859_6},
        {{1253}, &NLS::ISO_8859_7, &NLS::ISO_8859_7},
        {{1255}, &NLS::ISO_8859_8, &NLS::ISO_8859_8},
        {{857, 1254}, &NLS::ISO_8859_9, &NLS::ISO_8859_9},
        {{932, 942}, &NLS::ISO_2022_JP, &NLS::ISO_2022_JP},
        {{934, 944, 949}, &NLS::ISO_2022_KR, &NLS::KSC5601},
        {{936, 946, 1381}, &NLS::GB2312, &NLS::GB2312},
        {{938, 948, 950}, &NLS::Big5, &NLS::Big5},
        {{0, -1, 874, 1200, 65001}, &NLS::UTF_8, &NLS::UTF_8},
    };
    for (auto const & row : rows) {
        for (int const code_page : row.code_pages) {
            EXPECT_EQ(NLS::Equivalent_CharSet_for(code_page, false), row.body) << code_page;
            EXPECT_EQ(NLS::Equivalent_CharSet_for(code_page, true), row.header) << code_page;
        }
    }
}

// translators and factories --------------------------------------------------------

/// How many translators and factories there are.
int alive = 0;

class CountedTranslator : public vellum::test::TextTranslator {
public:
    explicit CountedTranslator(char const * set) : TextTranslator(set) { ++alive; }
    ~CountedTranslator() override { --alive; }
    NLS_Translator * ReInit(char const *, int) override { return is_reusable ? this : nullptr; }
    int Translate(std::string_view, std::string &) override { return 1; }

    bool is_reusable = true;
};

/// Makes translators for the names that begin with its own name.
class CountedFactory : public NLS_Translator_Factory {
public:
    explicit CountedFactory(char const * name, NLS_CharSet * header_set = nullptr)
        : header_set_(header_set) {
        className = name;
        ++alive;
    }
    ~CountedFactory() override { --alive; }

    NLS_Translator * New(char const * name, int code_page) override {
        calls += std::string(className) + "?" + name + "/" + std::to_string(code_page) + " ";
        return std::string_view(name).starts_with(className) ? new CountedTranslator(name)
                                                             : nullptr;
    }
    NLS_CharSet * SuggestCharSet(int code_page, bool in_header) override {
        return code_page == 1252 && in_header ? header_set_ : nullptr;
    }

    static std::string calls;

private:
    NLS_CharSet * header_set_;
};
std::string CountedFactory::calls;

class Translators : public testing::Test {
protected:
    Translators() {
        NLS::PlatformCodePage = 1252;
        CountedFactory::calls.clear();
    }
    ~Translators() override {
        delete cache;
        if (factories != nullptr) factories->Delete();
        NLS::PlatformCodePage = code_page_;
        EXPECT_EQ(alive, 0);
    }

    NLS_Translator * Create(NLS_CharSet & set) { return NLS::Create(&set, &cache, factories); }
    void Add(char const * name, NLS_CharSet * header_set = nullptr, int append = 1) {
        vellum::add_factory(factories, new CountedFactory(name, header_set), append);
    }
    std::string Factories() const {
        std::string names;
        for (auto const * factory = factories; factory != nullptr; factory = factory->next)
            names += factory->className;
        return names;
    }
    /// The list's sets, whose links must agree.
    std::string List() const {
        std::string names;
        NLS_Translator const * previous = nullptr;
        for (auto const * each = cache; each != nullptr; previous = each, each = each->next) {
            EXPECT_EQ(each->previous, previous);
            names += std::string(each->charSetName) + " ";
        }
        return names;
    }

    NLS_Translator * cache = nullptr;
    NLS_Translator_Factory * factories = nullptr;

private:
    unsigned long const code_page_ = NLS::PlatformCodePage;
};

TEST_F(Translators, are_made_once_and_kept_with_the_newest_in_front) {
    Add("ISO");
    Add("UTF");
    EXPECT_EQ(NLS::Create(nullptr, &cache, factories), nullptr);
    EXPECT_EQ(Create(NLS::Big5), nullptr);
    EXPECT_EQ(cache, nullptr);
    NLS_Translator * const utf = Create(NLS::UTF_8);
    NLS_Translator * const iso = Create(NLS::ISO_2022_JP);
    Create(NLS::ISO_2022_JP_2); // another name is another translator
    EXPECT_EQ(CountedFactory::calls, "ISO?Big5/1252 UTF?Big5/1252 ISO?UTF-8/1252 UTF?UTF-8/1252 "
                                     "ISO?ISO-2022-JP/1252 ISO?ISO-2022-JP-2/1252 ");
    CountedFactory::calls.clear();
    EXPECT_EQ(Create(NLS::UTF_8), utf);
    EXPECT_EQ(Create(NLS::ISO_2022_JP), iso);
    EXPECT_EQ(CountedFactory::calls, "");
    EXPECT_EQ(List(), "ISO-2022-JP-2 ISO-2022-JP UTF-8 ");
}

TEST_F(Translators, are_not_reused_for_another_code_page_nor_against_their_will) {
    Add("UTF");
    NLS_Translator * const first = Create(NLS::UTF_8);
    static_cast<CountedTranslator *>(first)->is_reusable = false;
    NLS_Translator * const second = Create(NLS::UTF_8);
    EXPECT_NE(second, first);
    EXPECT_EQ(cache, second);
    NLS::PlatformCodePage = 850;
    EXPECT_NE(Create(NLS::UTF_8), second);

    // Without a list it is the caller's.
    int const before = alive;
    {
        vellum::TranslatorInUse const lone(NLS::Create(&NLS::UTF_8, nullptr, factories));
        EXPECT_EQ(lone->cacheHead, nullptr);
        EXPECT_EQ(lone->codePage, 850U);
        EXPECT_EQ(alive, before + 1);
    }
    EXPECT_EQ(alive, before);
}

TEST_F(Translators, leave_their_list_when_deleted_and_take_what_is_behind_when_destroyed) {
    Add("ISO");
    Create(NLS::ISO_8859_1);
    NLS_Translator * const second = Create(NLS::ISO_8859_2);
    Create(NLS::ISO_8859_3)->Delete();
    EXPECT_EQ(List(), "ISO-8859-2 ISO-8859-1 ");
    Create(NLS::ISO_8859_4);
    second->Delete();
    EXPECT_EQ(List(), "ISO-8859-4 ISO-8859-1 ");
    NLS_Translator * const middle = Create(NLS::ISO_8859_5);
    Create(NLS::ISO_8859_6);
    delete middle;
    EXPECT_EQ(List(), "ISO-8859-6 ");
    EXPECT_EQ(alive, 2);
    delete cache;
    EXPECT_EQ(cache, nullptr);
}

TEST_F(Translators, and_factories_stand_in_chains_of_any_length) {
    for (int i = 0; i < 300'000; ++i) {
        auto * const translator = new CountedTranslator("x");
        translator->next = std::exchange(cache, translator);
        auto * const factory = new CountedFactory("x");
        factory->next = std::exchange(factories, factory);
    }
}

TEST_F(Translators, free_what_they_handed_out) {
    NLS_Translator::FreeMem_C(static_cast<unsigned char *>(std::malloc(10)));
    NLS_Translator::FreeMem_Cpp(static_cast<unsigned char *>(::operator new(10)));
    NLS_Translator::FreeMem_C(nullptr);
    NLS_Translator::FreeMem_Cpp(nullptr);
}

TEST_F(Translators, factories_are_put_in_front_or_behind_and_suggest_the_set) {
    EXPECT_EQ(NLS::BestFitCharSet(nullptr, false), &NLS::ISO_8859_1);
    Add("a");
    NLS_Translator_Factory * const a = factories;
    Add("b", &NLS::csBig5, 0);
    Add("c", &NLS::UTF_8);
    EXPECT_EQ(NLS::BestFitCharSet(factories, true), &NLS::Big5);
    EXPECT_EQ(NLS::BestFitCharSet(factories, false), &NLS::ISO_8859_1);
    vellum::add_factory(factories, nullptr, 0);
    vellum::add_factory(factories, nullptr, 1);
    EXPECT_EQ(Factories(), "bac");
    vellum::add_factory(factories, a, 0); // again
    EXPECT_EQ(Factories(), "abc");
    vellum::add_factory(factories, a, 1);
    EXPECT_EQ(Factories(), "bca");
}

} // namespace
