// tests/conversion_bridge_test.cpp - what the bridge asks of a conversion component, and in what
// order: against a component that writes down each call, lacks entry points and fails on demand
#include "mime/MIMEQXST.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/trace.hpp"
#include "mime/nls/character_boundary.hpp"
#include "mime/nls/conversion_binding.hpp"
#include "mime/platform/library.hpp"
#include "tests/support/chunked.hpp"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;

using vellum::test::ExactCopy;
using Calls = std::vector<std::string>;
namespace conversion = vellum::conversion;
namespace platform = vellum::platform;

// ---- The component ----

/// Its translation of "text" from set 40 to set 256 is "text 40>256", so that a result tells its
/// way. All else that it does is what its fields say.
struct Component {
    int loads = 0;
    bool is_found = true;
    std::set<unsigned> missing;

    std::map<std::string, int> tags{
        {"US-ASCII", 31}, {"ISO-8859-1", 100}, {"Big5", 200}, {"KSC5601", 210}, {"UTF-8", 220}};
    std::map<unsigned long, int> pages{{1252, 32}, {65001, 40}};
    std::set<int> no_session;
    short terminator = 1;

    int failing_translation = 0; // the number of the call that fails, from 1
    std::string partial;         // what that one gives
    bool has_memory = true;
    bool brings_buffers = false;
    std::string result; // instead of the text that tells the way

    Calls calls;
    int open_sessions = 0;
    int blocks = 0;
    int translations = 0;
};

Component * component = nullptr;

struct Session {
    int tag;
};

void note_call(std::string call) { component->calls.push_back(std::move(call)); }

unsigned char * new_block(std::size_t size) {
    ++component->blocks;
    return static_cast<unsigned char *>(std::malloc(size));
}

int get_info(conversion::TableInfo * info) {
    std::strcpy(info->file_name, "table.tlb");
    return 0;
}

int set_path(conversion::TablePath const * path, int count) {
    note_call("path " + std::string(path->path) + " " + std::to_string(count));
    return 1; // isn't looked at
}

int page_to_tag(int * tag, unsigned long const * page, int one) {
    EXPECT_EQ(one, 1);
    auto const found = component->pages.find(*page);
    *tag = found != component->pages.end() ? found->second : 77;
    return found != component->pages.end() ? 0 : 5;
}

int convert_tag(qxtSTRCharSettag * tag, char * name, int mode, int zero) {
    EXPECT_EQ(zero, 0);
    if (mode == 4) {
        std::snprintf(name, 48, "x-tag-%d", *tag);
        return 0;
    }
    EXPECT_EQ(mode, 3);
    note_call("name " + std::string(name));
    auto const found = component->tags.find(name);
    *tag = static_cast<qxtSTRCharSettag>(found != component->tags.end() ? found->second : 77);
    return found != component->tags.end() ? 0 : 5;
}

int open_session(void ** session, void * country, void * language, qxtSTRCharSettag tag) {
    EXPECT_EQ(country, NLS_qxStr_Factory::CountrySetting);
    EXPECT_EQ(language, NLS_qxStr_Factory::LanguageSetting);
    note_call("open " + std::to_string(tag));
    *session = component; // no session if this fails
    if (component->no_session.count(tag) != 0) return 5;
    ++component->open_sessions;
    *session = new Session{tag};
    return 0;
}

int close_session(void * session) {
    --component->open_sessions;
    delete static_cast<Session *>(session);
    return 5; // isn't looked at
}

int translate_by_name() {
    ADD_FAILURE() << "never called";
    return 0;
}

int translate(void * target, void * source, unsigned char * out, unsigned long capacity,
              unsigned char const * in, unsigned long * in_length,
              conversion::Options const * options, std::uintptr_t * word,
              conversion::Result * result) {
    int const from = static_cast<Session *>(source)->tag;
    int const to = static_cast<Session *>(target)->tag;
    std::string const way = std::to_string(from) + ">" + std::to_string(to);
    std::string text(reinterpret_cast<char const *>(in), *in_length);
    note_call(way + " '" + text + "' in " + std::to_string(capacity) + " with " +
              std::to_string(options->flags));
    EXPECT_EQ(options->reserved[0] + options->reserved[1] + options->reserved[2] + *word, 0U);
    EXPECT_TRUE(result->buffer == nullptr && result->produced == 0);
    bool const fails = ++component->translations == component->failing_translation;
    text += " " + way;
    if (!component->result.empty()) text = component->result;
    if (fails) text = component->partial;
    if (component->brings_buffers || out == nullptr) {
        out = result->buffer = new_block(text.size() + 1);
    } else {
        EXPECT_LE(text.size(), capacity);
    }
    std::copy(text.begin(), text.end(), out);
    result->produced = text.size();
    return fails ? 5 : 0;
}

int allocate(unsigned long size, int zero, unsigned char ** block) {
    EXPECT_EQ(zero, 0);
    if (!component->has_memory) return 5;
    *block = new_block(size);
    return 0;
}

int release(unsigned char * block) {
    --component->blocks;
    std::free(block);
    return 0;
}

int size_of_terminator(void *, short * size) {
    *size = component->terminator;
    return 0;
}

template <typename Function>
platform::EntryPoint entry(Function * function) {
    return reinterpret_cast<platform::EntryPoint>(function);
}

platform::OrdinalEntry const * load(char const * file_name) {
    static std::vector<platform::OrdinalEntry> table;
    EXPECT_STREQ(file_name, "Rwqfmp13.DLL");
    ++component->loads;
    if (!component->is_found) return nullptr;
    table.clear();
    platform::OrdinalEntry const entries[] = {
        {1700, entry(get_info)},           {1710, entry(set_path)},
        {1660, entry(page_to_tag)},        {1807, entry(convert_tag)},
        {2, entry(open_session)},          {3, entry(close_session)},
        {1110, entry(translate_by_name)},  {1690, entry(translate)},
        {1870, entry(allocate)},           {1875, entry(release)},
        {1510, entry(size_of_terminator)},
    };
    for (platform::OrdinalEntry const & row : entries) {
        if (component->missing.count(row.ordinal) == 0) table.push_back(row);
    }
    table.push_back({0, nullptr});
    return table.data();
}

// ---- Fixture ----

class TraceLines : public TMimeTraceLog {
public:
    void Write(unsigned long level, unsigned long, char const *, char const * format,
               char * arguments) override {
        char text[200];
        std::va_list list;
        va_copy(list, *reinterpret_cast<std::va_list *>(arguments));
        std::vsnprintf(text, sizeof text, format, list);
        va_end(list);
        lines.push_back(std::to_string(level) + " " + text);
    }

    Calls lines;
};

class Bridge : public testing::Test {
protected:
    void SetUp() override {
        component = &component_;
        platform::set_loader(load);
        vellum::unbind_conversion();
        NLS::PlatformCodePage = 65001;
    }
    void TearDown() override {
        EXPECT_EQ(component_.open_sessions, 0);
        EXPECT_EQ(component_.blocks, 0);
        vellum::unbind_conversion();
        platform::set_loader(nullptr);
        NLS::PlatformCodePage = page_before_;
    }

    /// What a factory gives for the name. The calls of that aren't kept.
    std::unique_ptr<NLS_qxStr> make(char const * name) {
        NLS_qxStr_Factory factory;
        auto * const made = factory.New(NLS::FindCharSet(name)->name, 65001);
        component_.calls.clear();
        return std::unique_ptr<NLS_qxStr>(dynamic_cast<NLS_qxStr *>(made));
    }

    Component component_;

private:
    unsigned long const page_before_ = NLS::PlatformCodePage;
};

/// A text in a buffer form, with a buffer to offer or none.
struct Conversion {
    explicit Conversion(std::string_view text) : in(text) {}
    ~Conversion() {
        if (release != nullptr) release(out);
    }

    int outbound(NLS_Translator & translator) {
        return translator.CodePage_to_CharSet(bytes(), in.size(), out, length, &release);
    }
    int inbound(NLS_Translator & translator) {
        return translator.CharSet_to_CodePage(bytes(), in.size(), out, length, &release);
    }
    std::string result() const { return {reinterpret_cast<char const *>(out), length}; }
    unsigned char * bytes() const { return reinterpret_cast<unsigned char *>(in.begin()); }

    ExactCopy in;
    unsigned char * out = nullptr;
    unsigned long length = 0;
    void (*release)(unsigned char *) = nullptr;
};

// ---- Binding ----

TEST_F(Bridge, binds_the_component_once) {
    NLS_qxStr_Factory const first("directory", "table", "library");
    EXPECT_EQ(component_.loads, 1);
    EXPECT_EQ(component_.calls, Calls{"path .\\table.tlb 1"});
    EXPECT_EQ(first.localTag, 40);
    NLS::PlatformCodePage = 9999;
    NLS_qxStr_Factory second(nullptr, nullptr, nullptr);
    EXPECT_EQ(component_.loads, 1);
    EXPECT_EQ(second.localTag, -1);
    EXPECT_EQ(second.New(NLS::Big5.name, 9999), nullptr);
    EXPECT_STREQ(static_cast<char const *>(NLS_qxStr_Factory::LanguageSetting), "");
    EXPECT_EQ(*static_cast<int const *>(NLS_qxStr_Factory::CountrySetting), 0);
}

/// What a factory traces that can't bind the component, without the error's number.
Calls traced() {
    TraceLines trace;
    NLS_qxStr_Factory factory;
    EXPECT_EQ(factory.localTag, -1);
    EXPECT_EQ(factory.New(NLS::Big5.name, 65001), nullptr);
    for (std::string & line : trace.lines) {
        std::size_t const code = line.find(", rc=x");
        EXPECT_EQ(line.size(), code + 14);
        line.resize(code);
    }
    return trace.lines;
}

TEST_F(Bridge, uses_no_entry_point_if_one_is_missing) {
    struct {
        unsigned ordinal;
        char const * name;
    } const rows[] = {
        {1700, "qxSTRGetTLBInfo"},  {1710, "qxSTRSetTLBPath"},  {1660, "qxSTRCsidConv"},
        {1807, "qxSTRCsidConvExt"}, {2, "qxSTROpenStrSession"}, {3, "qxSTRCloseStrSession"},
        {1110, "qxSTRCpyXlateX"},   {1690, "qxSTRCpyXlateExt"}, {1870, "qxSTRMemAllocate"},
        {1875, "qxSTRMemFree"},     {1510, "qxSTRSizeofNull"},
    };
    Calls all;
    for (auto const & row : rows) {
        all.push_back("8 DLL Rwqfmp13.DLL does not have an entry point " +
                      std::to_string(row.ordinal) + "(" + row.name + ")");
        component_.missing = {row.ordinal};
        EXPECT_EQ(traced(), Calls{all.back()});
    }
    for (auto const & row : rows) {
        component_.missing.insert(row.ordinal);
    }
    EXPECT_EQ(traced(), all);
    component_.is_found = false;
    EXPECT_EQ(traced(), Calls{"8 Unable to load library Rwqfmp13.DLL"});
    EXPECT_EQ(component_.calls, Calls{});

    component_.is_found = true;
    component_.missing.clear();
    EXPECT_EQ(NLS_qxStr_Factory().localTag, 40); // each factory tries again
}

TEST(BridgeLibrary, that_no_file_has_is_not_loaded) {
    EXPECT_FALSE(platform::Library::load("no-such-component.DLL"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(platform::Library::load(""));
}

// ---- Translators ----

TEST_F(Bridge, opens_the_sets_of_a_translator) {
    struct {
        unsigned long page;
        char const * name;
        Calls calls;
    } const rows[] = {
        {1252, "iso-8859-1", {"open 32", "open 160", "name ISO-8859-1", "open 100"}},
        {1252, "Big5", {"open 32", "open 256", "name Big5", "open 200"}},
        {65001, "ISO-8859-1", {"open 40", "open 256", "name ISO-8859-1", "open 100"}},
        {1252, "US-ASCII", {"open 32", "open 160", "open 31"}},
        {1252, "Korean", {"open 32", "open 256", "name Korean", "name KSC5601", "open 210"}},
        {1252, "x-bridge-unknown", {"open 32", "open 256", "name x-bridge-unknown"}},
        {1252, "UTF-7", {"open 32", "open 256", "name UTF-7", "name Unicode-1-1-UTF-7"}},
    };
    for (auto const & row : rows) {
        NLS::PlatformCodePage = row.page;
        NLS_qxStr_Factory factory;
        component_.calls.clear();
        NLS_CharSet const * const set = NLS::FindCharSet(row.name);
        std::unique_ptr<NLS_Translator> const made(
            factory.New(set->name, static_cast<int>(row.page)));
        EXPECT_EQ(component_.calls, row.calls) << row.name;
        bool const is_known = row.calls.back().compare(0, 5, "open ") == 0;
        EXPECT_EQ(made != nullptr, is_known) << row.name;
        EXPECT_EQ(component_.open_sessions, is_known ? 3 : 0) << row.name;
        if (!made) continue;
        auto & bridge = dynamic_cast<NLS_qxStr &>(*made);
        EXPECT_STREQ(bridge.className, "NLS_qxStr");
        EXPECT_TRUE(bridge.is_CacheHit(set->name, static_cast<int>(row.page)));
        EXPECT_STREQ(*bridge.localSet, row.page == 1252 ? "x-tag-32" : "x-tag-40");
    }
    for (int const tag : {32, 256, 200}) {
        component_.no_session = {tag};
        EXPECT_EQ(NLS_qxStr_Factory().New(NLS::Big5.name, 1252), nullptr) << tag;
        EXPECT_EQ(component_.open_sessions, 0) << tag;
    }
    EXPECT_EQ(NLS_qxStr_Factory().New(nullptr, 1252), nullptr);
}

TEST_F(Bridge, tells_how_text_may_be_split) {
    struct {
        NLS_CharSet * set;
        int restriction;
    } const rows[] = {
        {nullptr, 0},           {&NLS::US_ASCII, 0},      {&NLS::Unicode_1_1, 1},
        {&NLS::ISO_2022_CN, 2}, {&NLS::ISO_2022_JP_2, 2}, {&NLS::csISO2022KR, 2},
        {&NLS::UTF_7, 2},       {&NLS::Big5, 4},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(NLS_qxStr().Query_Buffering_Restrictions(row.set), row.restriction);
    }
}

TEST_F(Bridge, keeps_a_translator_in_its_list) {
    auto * const factory = new NLS_qxStr_Factory;
    NLS_Translator * cache = nullptr;
    NLS_Translator * const first = NLS::Create(&NLS::Big5, &cache, factory);
    ASSERT_NE(first, nullptr);
    first->Delete();
    EXPECT_EQ(NLS::Create(&NLS::Big5, &cache, factory), first);
    EXPECT_EQ(component_.open_sessions, 3);
    delete cache;
    factory->Delete();
}

TEST_F(Bridge, lets_us_ascii_pass_to_the_pages_that_contain_it) {
    std::set<int> plain;
    for (int tag = 1; tag < 300; ++tag) {
        component_.pages[65001] = tag;
        auto const translator = make("US-ASCII");
        ASSERT_TRUE(translator) << tag;
        if (translator->plainInbound) plain.insert(tag);
    }
    EXPECT_EQ(plain, (std::set<int>{8, 9, 18, 24, 26, 27, 32, 33, 34, 35, 36, 37, 38, 39, 40}));

    component_.pages[65001] = 40;
    auto const translator = make("US-ASCII");
    Conversion in("\xE9");
    EXPECT_EQ(in.inbound(*translator), 0);
    EXPECT_EQ(in.result(), "\xE9");
    iSimpleStream stream(const_cast<char *>("\xE9"), 1);
    oSimpleStream out;
    EXPECT_EQ(translator->CharSet_to_CodePage(&stream, &out), 0);
    EXPECT_EQ(std::string_view(out.str(), out.oBufCnt()), "\xE9");
    EXPECT_EQ(component_.calls, Calls{});
    Conversion back("e");
    EXPECT_EQ(back.outbound(*translator), 0);
    EXPECT_EQ(back.result(), "e 40>256 256>31");
}

// ---- Text in buffers ----

TEST_F(Bridge, translates_by_way_of_the_pivot) {
    struct {
        int local;
        int remote;
        Calls outbound; // of the text "text"
        Calls inbound;
    } const rows[] = {
        {40,
         200,
         {"40>256 'text' in 72 with 17505", "256>200 'text 40>256' in 184 with 17505"},
         {"200>256 'text' in 72 with 17505", "256>40 'text 200>256' in 200 with 17505"}},
        {40, 256, {"40>256 'text' in 72 with 17505"}, {"256>40 'text' in 72 with 17505"}},
        {256, 200, {"256>200 'text' in 72 with 17505"}, {"200>256 'text' in 72 with 17505"}},
        {200, 200, {}, {}},
        {256, 256, {}, {}},
    };
    for (auto const & row : rows) {
        component_.pages[65001] = row.local;
        component_.tags["Big5"] = row.remote;
        auto const translator = make("Big5");
        for (bool const is_outbound : {true, false}) {
            Conversion text("text");
            EXPECT_EQ(is_outbound ? text.outbound(*translator) : text.inbound(*translator), 0);
            Calls const & expected = is_outbound ? row.outbound : row.inbound;
            EXPECT_EQ(component_.calls, expected);
            EXPECT_EQ(text.result().substr(0, 4), "text");
            EXPECT_EQ(text.release,
                      expected.empty() ? &NLS_Translator::FreeMem_Cpp : &NLS_qxStr::FreeMem_qxSTR);
            component_.calls.clear();
        }
    }
    NLS_qxStr without_sets;
    EXPECT_FALSE(without_sets.is_OK());
    Conversion text("abc");
    EXPECT_EQ(text.inbound(without_sets), 0);
    EXPECT_EQ(text.result(), "abc");
}

TEST_F(Bridge, uses_a_buffer_that_is_offered_and_large_enough) {
    std::array<unsigned char, 300> buffer;
    struct {
        int local;
        unsigned long offered;
        bool is_used;
        char const * last_call; // "" for none
        char const * result;
    } const rows[] = {
        // 16 times 11 bytes and 8
        {40, 184, true, "256>200 'text 40>256' in 184 with 16481", "text 40>256 256>200"},
        {40, 183, false, "256>200 'text 40>256' in 184 with 17505", "text 40>256 256>200"},
        {40, 0, false, "256>200 'text 40>256' in 184 with 17505", "text 40>256 256>200"},
        // Copies need room for the text alone.
        {200, 4, true, "", "text"},
        {200, 3, false, "", "text"},
    };
    for (auto const & row : rows) {
        component_.pages[65001] = row.local;
        auto const translator = make("Big5");
        Conversion text("text");
        text.out = buffer.data();
        text.length = row.offered;
        EXPECT_EQ(text.outbound(*translator), 0);
        EXPECT_EQ(text.out == buffer.data(), row.is_used) << row.offered;
        EXPECT_EQ(text.release == nullptr, row.is_used) << row.offered;
        EXPECT_EQ(component_.calls.empty() ? "" : component_.calls.back(), row.last_call);
        EXPECT_EQ(text.result(), row.result);
    }
}

TEST_F(Bridge, takes_the_buffer_that_the_component_brings) {
    component_.has_memory = false; // nor has the engine a buffer then
    auto const translator = make("Big5");
    Conversion text("text");
    EXPECT_EQ(text.inbound(*translator), 0);
    EXPECT_EQ(text.result(), "text 200>256 256>40");
    EXPECT_EQ(component_.calls[0], "200>256 'text' in 0 with 17505");
    EXPECT_EQ(text.release, &NLS_qxStr::FreeMem_qxSTR);

    // One of the component's goes along into the next call, whatever its size.
    component_.brings_buffers = true;
    EXPECT_EQ(text.inbound(*translator), 0);
    EXPECT_EQ(component_.calls[3], "256>40 'text 200>256' in 19 with 17505");

    unsigned char * out = nullptr;
    unsigned long length = 0;
    EXPECT_EQ(translator->CharSet_to_CodePage(text.bytes(), 4, out, length, nullptr), 15);
}

TEST_F(Bridge, leaves_the_terminator_out) {
    struct {
        short size;
        std::string result;
        std::string expected;
    } const rows[] = {
        {1, "ab\0"s, "ab"},        {1, "ab\0\0"s, "ab\0"s}, {2, "ab\0\0"s, "ab"},
        {2, "ab\0"s, "ab\0"s},     {2, "\0"s, "\0"s},       {2, "\0\0"s, ""},
        {4, "\0\0\0"s, "\0\0\0"s}, {0, "a\0"s, "a\0"s},
    };
    for (auto const & row : rows) {
        component_.terminator = row.size;
        component_.result = row.result;
        auto const translator = make("UTF-8");
        Conversion text("text");
        EXPECT_EQ(text.outbound(*translator), 0);
        EXPECT_EQ(text.result(), row.expected) << row.size;
    }
}

TEST_F(Bridge, gives_15_for_a_failure) {
    struct {
        int failing;
        char const * partial;
        char const * result;
    } const rows[] = {{1, "", ""}, {1, "partial", ""}, {2, "", ""}, {2, "partial", "partial"}};
    for (auto const & row : rows) {
        component_.failing_translation = row.failing;
        component_.partial = row.partial;
        component_.translations = 0;
        auto const translator = make("Big5");
        Conversion text("text");
        EXPECT_EQ(text.inbound(*translator), 15);
        EXPECT_EQ(text.result(), row.result);
    }
}

// ---- Text in streams ----

TEST_F(Bridge, translates_each_buffer_of_a_stream) {
    struct {
        std::string_view text; // in buffers of two bytes
        int failing;
        char const * partial;
        int result;
        char const * out;
    } const rows[] = {
        {"abcde", 0, "", 0, "ab 200>256 256>40cd 200>256 256>40e 200>256 256>40"},
        {"abcd", 3, "", 15, "ab 200>256 256>40cd"}, // passes as it is
        {"abcde", 3, "", 0, "ab 200>256 256>40cde 200>256 256>40"},
        {"ab", 2, "+", 15, "+"},
        {"", 0, "", 0, ""},
    };
    auto const translator = make("Big5");
    for (auto const & row : rows) {
        component_.failing_translation = row.failing;
        component_.partial = row.partial;
        component_.translations = 0;
        vellum::test::ChunkedSimpleStream in(row.text, {2, 2});
        oSimpleStream out;
        EXPECT_EQ(translator->CharSet_to_CodePage(&in, &out), row.result);
        EXPECT_FALSE(in.good());
        EXPECT_EQ(std::string_view(out.str(), out.oBufCnt()), row.out);
    }
}

TEST(CharacterBoundary, is_found_in_text_of_several_bytes_a_character) {
    struct {
        unsigned long page;
        std::string_view text;
        std::size_t tail;
    } const rows[] = {
        {65001, "", 0},
        {65001, "a\xC3", 1},
        {65001, "\xC3\xA9", 0},
        {65001, "a\xE2\x82", 2},
        {65001, "\xF0\x9F\x98", 3},
        {65001, "\xF0\x9F\x98\x80", 0},
        {65001, "\x80\x80\x80\x80", 0},
        {65001, "\xFF", 0},
        {936, "\xB0\x41\xB0", 1},
        {936, "\xB0\xA1\xFF\xB0", 1},
        {932, "\xB1\xB1\x82", 1},
        {932, "\x82\xA0", 0},
        {1252, "\xE9", 0},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(vellum::incomplete_tail(row.page, row.text), row.tail) << row.text;
    }
}

} // namespace
