// tests/conversion_bridge_test.cpp - what the bridge asks of a conversion component, and in what
// order: against a component that writes down each call, lacks entry points and fails on demand
//
// The rows of conversion.case tell what is asked and what comes of it.
#include "mime/MIMEQXST.hpp"
#include "mime/nls/character_boundary.hpp"
#include "mime/nls/conversion_binding.hpp"
#include "mime/platform/library.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/conversions.hpp"
#include "tests/support/trace_messages.hpp"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

namespace {

using namespace vellum::test;
namespace conversion = vellum::conversion;
namespace platform = vellum::platform;

// ---- The component ----

constexpr int failure = 5;

/// Its translation of "text" from set 40 to set 256 is "text 40>256", so that a result tells its
/// way. All else that it does is what its fields and settings say.
struct Component {
    int loads = 0;
    bool is_found = true;
    std::set<unsigned> missing;

    std::map<std::string, int> tags{
        {"US-ASCII", 31}, {"ISO-8859-1", 100}, {"Big5", 200}, {"KSC5601", 210}, {"UTF-8", 220}};
    std::map<unsigned long, int> pages{{1252, 32}, {65001, 40}};
    int no_session = 0;

    /// "terminator", its size; "fails", the number of the translation that fails, from 1, and
    /// "partial", what comes of that one; "memory", if it is "0" there is none; "brings", buffers
    /// of its own; "result", instead of the text that tells the way.
    std::map<std::string, std::string> settings;
    bool has(char const * name) const { return settings.count(name) != 0; }
    int number(char const * name) { return has(name) ? std::stoi(settings[name]) : 0; }

    std::string calls;
    int open_sessions = 0;
    int blocks = 0;
    int translations = 0;
};

Component * component = nullptr;

int note_call(std::string const & call, int result = 0) {
    component->calls += (component->calls.empty() ? "" : "; ") + call;
    return result;
}

unsigned char * new_block(std::size_t size) {
    ++component->blocks;
    return static_cast<unsigned char *>(std::malloc(size));
}

int get_info(conversion::TableInfo * info) {
    std::strcpy(info->file_name, "table.tlb");
    return 0;
}

int set_path(conversion::TablePath const * path, int count) {
    return note_call("path " + std::string(path->path) + " " + std::to_string(count), failure);
}

template <class Key, class Tag>
int look_up(std::map<Key, int> const & numbers, Key const & key, Tag & tag, int value, int wanted) {
    EXPECT_EQ(value, wanted);
    auto const found = numbers.find(key);
    tag = static_cast<Tag>(found != numbers.end() ? found->second : 77);
    return found != numbers.end() ? 0 : failure;
}

int page_to_tag(int * tag, unsigned long const * page, int one) {
    return look_up(component->pages, *page, *tag, one, 1);
}

int convert_tag(qxtSTRCharSettag * tag, char * name, int mode, int zero) {
    EXPECT_EQ(zero, 0);
    if (mode == 4) return std::snprintf(name, 48, "x-tag-%d", *tag) < 0;
    note_call("name " + std::string(name));
    return look_up(component->tags, std::string(name), *tag, mode, 3);
}

int open_session(void ** session, void * country, void * language, qxtSTRCharSettag tag) {
    EXPECT_EQ(country, NLS_qxStr_Factory::CountrySetting);
    EXPECT_EQ(language, NLS_qxStr_Factory::LanguageSetting);
    note_call("open " + std::to_string(tag));
    *session = component; // no session if this fails
    if (component->no_session == tag) return failure;
    ++component->open_sessions;
    *session = new int{tag};
    return 0;
}

int close_session(void * session) {
    --component->open_sessions;
    delete static_cast<int *>(session);
    return failure; // isn't looked at
}

int translate_by_name() {
    ADD_FAILURE() << "never called";
    return 0;
}

int translate(void * target, void * source, unsigned char * out, unsigned long capacity,
              unsigned char const * in, unsigned long * in_length,
              conversion::Options const * options, std::uintptr_t * word,
              conversion::Result * result) {
    std::ostringstream way, call;
    way << *static_cast<int *>(source) << ">" << *static_cast<int *>(target);
    std::string text(reinterpret_cast<char const *>(in), *in_length);
    call << way.str() << " '" << text << "' in " << capacity << " with " << options->flags;
    note_call(call.str());
    EXPECT_EQ(options->reserved[0] + options->reserved[1] + options->reserved[2] + *word, 0U);
    EXPECT_TRUE(result->buffer == nullptr && result->produced == 0);
    bool const fails = ++component->translations == component->number("fails");
    text += " " + way.str();
    if (component->has("result")) text = component->settings["result"];
    if (fails) text = component->settings["partial"];
    if (component->has("brings") || out == nullptr) {
        out = result->buffer = new_block(text.size() + 1);
    } else {
        EXPECT_LE(text.size(), capacity);
    }
    std::copy(text.begin(), text.end(), out);
    result->produced = text.size();
    return fails ? failure : 0;
}

int allocate(unsigned long size, int zero, unsigned char ** block) {
    EXPECT_EQ(zero, 0);
    if (component->has("memory")) return failure;
    *block = new_block(size);
    return 0;
}

int release(unsigned char * block) {
    --component->blocks;
    std::free(block);
    return 0;
}

int size_of_terminator(void *, short * size) {
    *size = static_cast<short>(component->has("terminator") ? component->number("terminator") : 1);
    return 0;
}

template <typename Function>
platform::EntryPoint point_of(Function * function) {
    return reinterpret_cast<platform::EntryPoint>(function);
}

struct Entry : platform::OrdinalEntry {
    char const * name;
};
Entry const entries[] = {
    {{1700, point_of(get_info)}, "qxSTRGetTLBInfo"},
    {{1710, point_of(set_path)}, "qxSTRSetTLBPath"},
    {{1660, point_of(page_to_tag)}, "qxSTRCsidConv"},
    {{1807, point_of(convert_tag)}, "qxSTRCsidConvExt"},
    {{2, point_of(open_session)}, "qxSTROpenStrSession"},
    {{3, point_of(close_session)}, "qxSTRCloseStrSession"},
    {{1110, point_of(translate_by_name)}, "qxSTRCpyXlateX"},
    {{1690, point_of(translate)}, "qxSTRCpyXlateExt"},
    {{1870, point_of(allocate)}, "qxSTRMemAllocate"},
    {{1875, point_of(release)}, "qxSTRMemFree"},
    {{1510, point_of(size_of_terminator)}, "qxSTRSizeofNull"},
};

platform::OrdinalEntry const * load(char const * file_name) {
    static std::vector<platform::OrdinalEntry> table;
    EXPECT_STREQ(file_name, "Rwqfmp13.DLL");
    ++component->loads;
    table.clear();
    for (Entry const & entry : entries) {
        if (component->missing.count(entry.ordinal) == 0) table.push_back(entry);
    }
    table.push_back({0, nullptr});
    return component->is_found ? table.data() : nullptr;
}

class Bridge : public testing::Test {
protected:
    Bridge() {
        component = &component_;
        platform::set_loader(load);
        vellum::unbind_conversion();
        NLS::PlatformCodePage = 65001;
    }
    ~Bridge() override {
        EXPECT_EQ(component_.open_sessions, 0);
        EXPECT_EQ(component_.blocks, 0);
        vellum::unbind_conversion();
        platform::set_loader(nullptr);
        NLS::PlatformCodePage = page_before_;
    }

    /// What a factory makes for the name. The calls of the factory itself aren't kept.
    std::unique_ptr<NLS_qxStr> make(std::string const & name, unsigned long page = 65001) {
        NLS_CharSet const * const set = NLS::FindCharSet(name.c_str());
        NLS::PlatformCodePage = page;
        NLS_qxStr_Factory factory;
        component_.calls.clear();
        auto * const made = factory.New(set->name, static_cast<int>(page));
        EXPECT_TRUE(made == nullptr || made->is_CacheHit(set->name, static_cast<int>(page)));
        return std::unique_ptr<NLS_qxStr>(dynamic_cast<NLS_qxStr *>(made));
    }

    Component component_;

private:
    unsigned long const page_before_ = NLS::PlatformCodePage;
};

// ---- Binding ----

TEST_F(Bridge, binds_the_component_once) {
    NLS_qxStr_Factory const first("directory", "table", "library");
    EXPECT_EQ(component_.loads, 1);
    EXPECT_EQ(component_.calls, "path .\\table.tlb 1");
    EXPECT_EQ(first.localTag, 40);
    NLS::PlatformCodePage = 9999;
    NLS_qxStr_Factory second(nullptr, nullptr, nullptr);
    EXPECT_EQ(component_.loads, 1);
    EXPECT_EQ(second.localTag, -1);
    EXPECT_EQ(second.New(NLS::Big5.name, 9999), nullptr);
    EXPECT_STREQ(static_cast<char const *>(NLS_qxStr_Factory::LanguageSetting), "");
    EXPECT_EQ(*static_cast<int const *>(NLS_qxStr_Factory::CountrySetting), 0);
}

TEST_F(Bridge, uses_no_entry_point_if_one_is_missing) {
    auto const expect_traced = [](std::string const & expected) {
        LastMessage trace;
        NLS_qxStr_Factory factory;
        EXPECT_EQ(factory.localTag, -1);
        EXPECT_EQ(factory.New(NLS::Big5.name, 65001), nullptr);
        std::string lines;
        for (std::string const & line : trace.all)
            lines += std::regex_replace(line, std::regex("rc=x.{8}$"), "rc=x\n");
        EXPECT_EQ(lines, expected);
    };
    std::string all;
    for (Entry const & entry : entries) {
        std::string const line = "8 DLL Rwqfmp13.DLL does not have an entry point " +
                                 std::to_string(entry.ordinal) + "(" + entry.name + "), rc=x\n";
        component_.missing = {entry.ordinal};
        expect_traced(line);
        all += line;
    }
    for (Entry const & entry : entries)
        component_.missing.insert(entry.ordinal);
    expect_traced(all);
    component_.is_found = false;
    expect_traced("8 Unable to load library Rwqfmp13.DLL, rc=x\n");
    EXPECT_EQ(component_.calls, "");

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
    for (Cells const & row : rows_of("conversion.case", "opened by a translator")) {
        SCOPED_TRACE(testing::PrintToString(row));
        component_.no_session = row[4].empty() ? 0 : std::stoi(row[4]);
        auto const made = make(row[1], std::stoul(row[0]));
        EXPECT_EQ(component_.calls, row[2]);
        EXPECT_EQ(made ? static_cast<char const *>(*made->localSet) : "", row[3]);
        EXPECT_EQ(component_.open_sessions, made ? 3 : 0);
    }
    EXPECT_EQ(NLS_qxStr_Factory().New(nullptr, 1252), nullptr);
}

TEST_F(Bridge, tells_how_text_may_be_split) {
    for (Cells const & row : rows_of("conversion.case", "splits")) {
        NLS_CharSet * const set = NLS::FindCharSet(row[0].c_str());
        EXPECT_EQ(std::to_string(NLS_qxStr().Query_Buffering_Restrictions(set)), row[1]) << row[0];
    }
    EXPECT_EQ(NLS_qxStr().Query_Buffering_Restrictions(nullptr), 0);
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
    component_.calls.clear();
    EXPECT_EQ(translated(*translator, inbound, "\xE9"), "\xE9");
    EXPECT_EQ(streamed(*translator, inbound_stream, "\xE9", 2), "\xE9");
    EXPECT_EQ(component_.calls, "");
    EXPECT_EQ(translated(*translator, outbound, "e"), "e 40>256 256>31");
}

TEST_F(Bridge, translates_by_way_of_the_pivot) {
    std::vector<unsigned char> buffer(300);
    for (Cells const & row : rows_of("conversion.case", "bridge")) {
        SCOPED_TRACE(testing::PrintToString(row));
        std::vector<std::string> const sets = split(row[0], ' '), names = split(row[3], ' ');
        component_.pages[65001] = std::stoi(sets[0]);
        component_.tags["Big5"] = std::stoi(sets[1]);
        component_.settings.clear();
        for (std::size_t i = 1; i < names.size(); i += 2)
            component_.settings[names[i - 1]] = names[i];
        component_.translations = 0;
        auto const translator = make("Big5");
        if (row[1] == "stream") {
            EXPECT_EQ(streamed(*translator, inbound_stream, row[2], 2, std::stoi(row[4])), row[5]);
            continue;
        }
        Conversion text(row[2]);
        if (component_.has("offered")) {
            text.out = buffer.data();
            text.length = static_cast<unsigned long>(component_.number("offered"));
        }
        int result = 0;
        for (int runs = std::max(1, component_.number("runs")); runs > 0; --runs) {
            component_.calls.clear();
            result = text.run(*translator, row[1] == "in" ? inbound : outbound);
        }
        std::string const owner = text.release == &NLS_Translator::FreeMem_Cpp ? " engine"
                                  : text.release == &NLS_qxStr::FreeMem_qxSTR  ? " component"
                                  : text.out == buffer.data()                  ? " client"
                                                                               : "";
        EXPECT_EQ(std::to_string(result) + owner, row[4]);
        EXPECT_EQ(text.result(), row[5]);
        EXPECT_EQ(component_.calls, row[6]);
    }
    NLS_qxStr without_sets;
    EXPECT_FALSE(without_sets.is_OK());
    EXPECT_EQ(translated(without_sets, inbound, "abc"), "abc");

    component_.settings["memory"] = "0";
    unsigned char text[] = "text";
    unsigned char * out = nullptr;
    unsigned long length = 0;
    EXPECT_EQ(make("Big5")->CharSet_to_CodePage(text, 4, out, length, nullptr), 15);
}

TEST(CharacterBoundary, is_found_in_text_of_several_bytes_a_character) {
    for (Cells const & row : rows_of("conversion.case", "incomplete tails")) {
        std::size_t const tail = vellum::incomplete_tail(std::stoul(row[0]), row[1]);
        EXPECT_EQ(std::to_string(tail), row[2]) << row[1];
    }
}

} // namespace
