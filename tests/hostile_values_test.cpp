// tests/hostile_values_test.cpp - with the field guard on no value changes what readers see around
// it
//
// Each hostile value is the answer to every getter of one message. Three readers (Python, our own,
// and GMime where it is installed) bring what they see into an outline, which has to be that of the
// same message with a harmless value, but for the values themselves and for what may be left out.
#include "tests/support/case_file.hpp"
#include "tests/support/note_script.hpp"
#include "tests/support/transcript.hpp"

#include <gtest/gtest.h>
#ifdef VELLUM_TEST_GMIME
#include <gmime/gmime.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;

// the values -----------------------------------------------------------------------

std::string const harmless = "plain";

/// Every sign that means something to a reader, and none, in every surrounding.
std::vector<std::string> hostile_values() {
    auto const sections = sections_of("hostile_values.case");
    std::vector<std::string> values = split(sections[2].text, '\n');
    for (std::string const & sign : split(sections[0].text, '\n')) {
        for (std::string const & surrounding : split(sections[1].text, '\n'))
            if (!surrounding.empty())
                values.push_back(
                    replaced(percent_decoded(surrounding), "{}", percent_decoded(sign)));
    }
    return values;
}

/// A message that gives `value` wherever it can.
Part message_of(std::string const & value) {
    static std::string const script = sections_of("hostile_values.case").back().text;
    Part message = read_script(replaced(script, "{}", escaped(value, "%/<"))).message;
    message.parts[1].type = value; // in a script an empty type is none
    return message;
}

std::string write(std::string const & value, MimeONote::Writing writing) {
    DescribedNote note(message_of(value));
    note.SetWriting(writing);
    note.SetFieldGuard(1);
    note.SetNetworkSplitSize(0);
    note.SetTextEncoding(value.c_str());
    return note.SendWhole();
}

// outlines -------------------------------------------------------------------------
//
// A line each: a key and words. "fields" and "params" may lack words of the harmless message;
// addresses of the test are told from those that came of a value; types may have changed where they
// were a value; all else is equal.

bool is_subsequence(std::vector<std::string> const & part, std::vector<std::string> const & whole) {
    auto at = whole.begin();
    for (auto const & word : part) {
        at = std::find(at, whole.end(), word);
        if (at++ == whole.end()) return false;
    }
    return true;
}

/// Takes off the addresses that the test didn't give, and returns their number.
std::ptrdiff_t take_strangers(std::vector<std::string> & addresses) {
    auto const first = std::remove_if(addresses.begin(), addresses.end(), [](auto const & word) {
        return !word.ends_with("@x.example") && word != "address";
    });
    std::ptrdiff_t const strangers = addresses.end() - first;
    addresses.erase(first, addresses.end());
    return strangers;
}

bool is_harmless_line(std::string const & line, std::string const & expected) {
    auto words = split(line, ' ');
    auto expected_words = split(expected, ' ');
    if (words[0] != expected_words[0]) return false;
    if (words[0] == "fields" || words[0] == "params") return is_subsequence(words, expected_words);
    if (words[0] == "address") {
        std::ptrdiff_t const strangers = take_strangers(words);
        return strangers <= take_strangers(expected_words) && words == expected_words;
    }
    if (words[0] == "part") {
        std::string const type = expected_words[1];
        return type == harmless || words[1] == type;
    }
    return line == expected;
}

std::string difference(std::string const & outline, std::string const & expected) {
    auto const lines = split(outline, '\n');
    auto const expected_lines = split(expected, '\n');
    for (std::size_t i = 0; i < std::min(lines.size(), expected_lines.size()); ++i) {
        if (!is_harmless_line(lines[i], expected_lines[i]))
            return lines[i] + "\ninstead of\n" + expected_lines[i];
    }
    return lines.size() == expected_lines.size() ? "" : "another number of lines\n" + outline;
}

void check(std::vector<std::string> const & values, std::vector<std::string> const & outlines,
           MimeONote::Writing writing) {
    ASSERT_EQ(values.size(), outlines.size());
    ASSERT_NE(outlines[0].find("body four"), std::string::npos) << outlines[0];
    ASSERT_NE(outlines[0].find("first@x.example"), std::string::npos) << outlines[0];
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(difference(outlines[i], outlines[0]), "")
            << testing::PrintToString(values[i]) << "\n"
            << write(values[i], writing);
        if (testing::Test::HasFailure()) return;
    }
}

class HostileValues : public testing::TestWithParam<MimeONote::Writing> {
protected:
    HostileValues() { values.insert(values.begin(), harmless); }

    std::vector<std::string> values = hostile_values();

private:
    CodePage const page_{1252};
};

// the readers ----------------------------------------------------------------------

TEST_P(HostileValues, Python) {
    TemporaryDirectory const directory;
    auto const name = [](std::size_t i, char const * end) { return std::to_string(i) + end; };
    for (std::size_t i = 0; i < values.size(); ++i)
        std::ofstream(directory / name(i, ".eml"), std::ios::binary)
            << write(values[i], GetParam());
    std::string const path = directory / "";
    ASSERT_EQ(std::system(("python3 hostile_values.py '" + path + "'").c_str()), 0);
    std::vector<std::string> outlines;
    for (std::size_t i = 0; i < values.size(); ++i)
        outlines.push_back(content_of(directory / name(i, ".outline")));
    check(values, outlines, GetParam());
}

std::string as_word(std::string text) {
    std::replace(text.begin(), text.end(), ' ', '_');
    return text;
}

std::string outline_of(std::string const & message) {
    std::string outline;
    std::map<std::string, std::string> addresses;
    transcript_of(message, [&](Transcript & note) {
        note.after_line = [&](std::size_t) {
            std::string const & line = note.lines().back();
            auto const words = split(line, ' ');
            if (words[0] == "BeginPart") outline += "part " + split(words[6], '/')[0] + "\n";
            if (words[0] == "EndPart") outline += "end " + words[1] + "\n";
            if (words[0] == "data") outline += "body " + line.substr(6) + "\n";
            if (words[0] == "Receive" || line.starts_with("SetProperty \"X-Last\""))
                outline += line + "\n";
            bool const is_address = words[0] == "Set_From" || words[0] == "Set_To";
            std::size_t const at = line.rfind(" \"") + 2;
            if (is_address && line.ends_with('"'))
                addresses[words[1]] += " " + as_word(line.substr(at, line.size() - at - 1));
            if (words[0] != "EndHeader") return;
            for (auto const & [field, list] : std::exchange(addresses, {}))
                outline += "address" + list + "\n";
        };
    });
    return outline;
}

TEST_P(HostileValues, OurOwnReader) {
    std::vector<std::string> outlines;
    for (auto const & value : values)
        outlines.push_back(outline_of(write(value, GetParam())));
    ASSERT_TRUE(outlines[0].ends_with("\nReceive Complete\n"));
    check(values, outlines, GetParam());
}

#ifdef VELLUM_TEST_GMIME
template <class Object>
using GObjectPointer =
    std::unique_ptr<Object, decltype([](Object * object) { g_object_unref(object); })>;

std::string parameters_of(GMimeParamList * list) {
    std::string words = "params";
    for (int i = 0; i < g_mime_param_list_length(list); ++i) {
        GMimeParam * const parameter = g_mime_param_list_get_parameter_at(list, i);
        words += std::string(" ") + g_mime_param_get_name(parameter);
    }
    return words + "\n";
}

std::string addresses_of(InternetAddressList * list) {
    std::string words = "address";
    for (int i = 0; list != nullptr && i < internet_address_list_length(list); ++i) {
        InternetAddress * const entry = internet_address_list_get_address(list, i);
        bool const is_mailbox = INTERNET_ADDRESS_IS_MAILBOX(entry);
        auto * const mailbox = is_mailbox ? INTERNET_ADDRESS_MAILBOX(entry) : nullptr;
        words += " " + (is_mailbox ? as_word(internet_address_mailbox_get_addr(mailbox)) : "group");
    }
    return words + "\n";
}

std::string outline_of(GMimeObject * part) {
    std::string text = "fields";
    GMimeHeaderList * const fields = g_mime_object_get_header_list(part);
    for (int i = 0; i < g_mime_header_list_get_count(fields); ++i)
        text +=
            std::string(" ") + g_mime_header_get_name(g_mime_header_list_get_header_at(fields, i));
    text += "\n";
    GMimeContentType * const type = g_mime_object_get_content_type(part);
    text += std::string("part ") + g_mime_content_type_get_media_type(type) + "\n" +
            parameters_of(g_mime_content_type_get_parameters(type));
    if (GMimeContentDisposition * const field = g_mime_object_get_content_disposition(part))
        text += parameters_of(g_mime_content_disposition_get_parameters(field));
    char const * const last = g_mime_object_get_header(part, "X-Last");
    text += std::string("last ") + (last != nullptr ? last : "") + "\n";
    if (GMIME_IS_MULTIPART(part)) {
        for (int i = 0; i < g_mime_multipart_get_count(GMIME_MULTIPART(part)); ++i)
            text += outline_of(g_mime_multipart_get_part(GMIME_MULTIPART(part), i));
    } else if (GMIME_IS_MESSAGE_PART(part)) {
        GMimeMessage * const message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part));
        if (message != nullptr)
            text += addresses_of(g_mime_message_get_to(message)) +
                    outline_of(g_mime_message_get_mime_part(message));
    } else if (GMIME_IS_PART(part)) {
        GObjectPointer<GMimeStream> const memory(g_mime_stream_mem_new());
        g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(GMIME_PART(part)),
                                            memory.get());
        GByteArray * const bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(memory.get()));
        text += "body " + std::string(reinterpret_cast<char *>(bytes->data), bytes->len) + "\n";
    }
    return text;
}

TEST_P(HostileValues, GMime) {
    g_mime_init();
    std::vector<std::string> outlines;
    for (auto const & value : values) {
        std::string const sent = write(value, GetParam());
        GObjectPointer<GMimeStream> const stream(
            g_mime_stream_mem_new_with_buffer(sent.data(), sent.size()));
        GObjectPointer<GMimeParser> const parser(g_mime_parser_new_with_stream(stream.get()));
        GObjectPointer<GMimeMessage> const message(
            g_mime_parser_construct_message(parser.get(), nullptr));
        ASSERT_NE(message, nullptr);
        std::string text;
        for (auto const kind : {GMIME_ADDRESS_TYPE_FROM, GMIME_ADDRESS_TYPE_TO})
            text += addresses_of(g_mime_message_get_addresses(message.get(), kind));
        outlines.push_back(text + outline_of(g_mime_message_get_mime_part(message.get())));
    }
    check(values, outlines, GetParam());
}
#else
TEST_P(HostileValues, GMime) { GTEST_SKIP() << "the build found no gmime-3.0"; }
#endif

INSTANTIATE_TEST_SUITE_P(, HostileValues,
                         testing::Values(MimeONote::Writing_Basic, MimeONote::Writing_Extended),
                         [](auto const & writing) {
                             return writing.param == MimeONote::Writing_Basic ? "basic"
                                                                              : "extended";
                         });

} // namespace
