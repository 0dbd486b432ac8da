// tests/output_splitter_test.cpp - blocks of every size, and messages cut into fragments
#include "mime/send/output_splitter.hpp"

#include "mime/nls/charset.hpp"
#include "tests/support/outgoing_notes.hpp"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vellum::test;

constexpr std::size_t block_sizes[] = {1, 7, 100, 4096, 65536};

std::string lines(std::size_t size, std::size_t line_length, std::string_view line_end = "\r\n") {
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i) {
        text += std::string(line_length, static_cast<char>('a' + i % 26)).append(line_end);
    }
    text.resize(size);
    return text;
}

/// A message of one text part whose ids don't depend on how it is cut.
Part long_message(std::string body) {
    Part message = text_part(std::move(body)).With(&Part::content_id, "c");
    message.subject = "Report";
    message.to = {{{}, "annex"}};
    message.from = {{"Front Desk", "desk"}};
    message.fields = {{"X-Field", "repeated"}};
    return message;
}

class CuttingNote : public DescribedNote {
public:
    CuttingNote(Part message, unsigned int split_size, std::size_t blocks)
        : DescribedNote(std::move(message)) {
        SetNetworkSplitSize(split_size);
        SetTextEncoding(RFC1521::ASCII_8bit);
        block_size = blocks;
    }

protected:
    int Get_Date(std::tm & when, int &) override {
        when.tm_year = 98;
        return 1;
    }
};

/// The parts of a fragment, and whether it is one.
struct Fragment {
    std::string common;
    int number = 0;
    int total = 0;
    std::string id;
    std::string data;
};

std::string between(std::string const & text, std::string_view first, std::string_view last) {
    std::size_t const at = text.find(first);
    if (at == std::string::npos) return {};
    std::size_t const from = at + first.size();
    return text.substr(from, text.find(last, from) - from);
}

Fragment read_fragment(std::string const & message) {
    Fragment fragment;
    std::size_t const header_size = message.find("\r\n\r\n") + 4;
    std::string const header = message.substr(0, header_size);
    fragment.common = header.substr(0, header.find("Subject: "));
    std::string const type = between(header, "Content-Type: message/partial; ", "\r\n\r\n");
    fragment.number = std::atoi(between(type, "number=", ";").c_str());
    fragment.total = std::atoi(between(type, "total=", ";").c_str());
    fragment.id = between(type, ";\r\n    id=\"", "\"");
    fragment.data = message.substr(header_size);
    return fragment;
}

/// Checks the fragments of one message and gives what they join to.
std::string join(std::vector<std::string> const & messages) {
    std::string joined;
    std::string id;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        Fragment const fragment = read_fragment(messages[i]);
        bool const last = i + 1 == messages.size();
        if (i == 0) {
            joined = fragment.common;
            id = fragment.id;
        }
        EXPECT_EQ(fragment.number, static_cast<int>(i + 1));
        EXPECT_EQ(fragment.total, last ? fragment.number : 0);
        EXPECT_EQ(fragment.id, id);
        EXPECT_TRUE(joined.starts_with(fragment.common));
        if (!last && fragment.data.find("\r\n") != std::string::npos) {
            EXPECT_TRUE(fragment.data.ends_with("\r\n")) << "fragment " << i + 1;
        }
        joined += fragment.data;
    }
    return joined;
}

class SplitTest : public testing::Test {
protected:
    FixedClock const clock_;
};

TEST_F(SplitTest, FragmentsJoinToTheUnsplitMessage) {
    std::string const bodies[] = {
        "",
        lines(29000, 70),
        lines(100000, 70),
        lines(100000, 0),        // nothing but line ends
        lines(100001, 5000),     // lines longer than most blocks
        lines(100000, 100000),   // none at all
        lines(100000, 70, "\n"), // none that counts
        lines(100000, 3, "\r"),
        lines(40000, 10) + lines(60000, 60000, "") + lines(40000, 1000),
    };
    for (std::string const & body : bodies) {
        CuttingNote whole(long_message(body), 0, 4096);
        std::string const unsplit = whole.SendWhole();
        for (unsigned int const split_size : {30720U, 50001U, 256000U}) {
            for (std::size_t const block_size : block_sizes) {
                CuttingNote note(long_message(body), split_size, block_size);
                ASSERT_EQ(note.Send(), 1);
                EXPECT_TRUE(note.AllReturned());
                bool const fits = unsplit.size() < split_size - 500;
                EXPECT_EQ(note.messages.size() == 1, fits);
                std::string const & first = note.messages.front();
                EXPECT_TRUE((fits ? first : join(note.messages)) == unsplit)
                    << split_size << " in blocks of " << block_size;
                for (auto const & message : note.messages) {
                    EXPECT_LE(message.size(), split_size + 500);
                }
                EXPECT_LE(note.most_held, split_size + 4000 + 4 * block_size);
            }
        }
    }
}

/// Every place of the last line end around the end of a block and of the fragment.
TEST_F(SplitTest, ALineEndAnywhereAtTheCut) {
    for (std::size_t const block_size : {2, 3, 64}) {
        for (std::size_t tail = 0; tail < 2 * block_size + 3; ++tail) {
            std::string const body = std::string(30000 - tail, 'x') + "\r\n" + lines(1000, 300);
            CuttingNote whole(long_message(body), 0, 4096);
            CuttingNote note(long_message(body), 30720, block_size);
            ASSERT_EQ(note.Send(), 1);
            ASSERT_EQ(note.messages.size(), 2U);
            EXPECT_TRUE(join(note.messages) == whole.SendWhole());
        }
    }
}

/// A cut asks for the fragment's id, within whatever text is being written then: a client that
/// keeps its texts in one buffer has freed it by now.
TEST_F(SplitTest, ATextIsGoodUntilTheNextCallOnly) {
    auto const value = [](char const * word) { return std::string(word) + std::string(60, '-'); };
    Part inner = text_part("inner\r\n");
    inner.subject = value("Subject");
    inner.message_id = "<" + value("inner") + "@x>";
    inner.property = value("property\xE4");
    inner.to = {{value("To"), value("to") + "@x"}, {{}, value("second") + "@x"}};
    inner.from = {{value("From"), value("from") + "@x"}};
    inner.notification = {value("Notify"), value("notify") + "@x"};
    inner.content_id = value("content");
    inner.description = value("description");
    inner.file_name = value("file");
    inner.fields = {{value("X-First"), value("field")}};
    inner.last_fields = {{value("X-Last"), value("last\xE4")}};
    auto const message_around = [&inner](std::size_t padding) {
        Part message = multipart("mixed", {text_part(lines(padding, 70)), message_part(inner)});
        message.parts[0].content_id = message.parts[1].content_id = message.content_id = "c";
        message.parts[1].file_name = std::string(60, 'n');
        message.subject = "Outer";
        return message.With(&Part::boundary, std::string(60, 'b')).With(&Part::message_id, "<o@x>");
    };
    int cuts = 0;
    for (std::size_t padding = 27500; padding < 30300; ++padding) {
        CuttingNote whole(message_around(padding), 0, 4096);
        CuttingNote note(message_around(padding), 30720, 4096);
        note.one_buffer = true;
        ASSERT_EQ(note.Send(), 1);
        bool const is_cut = note.messages.size() > 1;
        std::string const sent = is_cut ? join(note.messages) : note.messages.front();
        ASSERT_TRUE(sent == whole.SendWhole()) << padding;
        cuts += is_cut ? 1 : 0;
    }
    EXPECT_GT(cuts, 1500);
}

TEST_F(SplitTest, FragmentsAreFullAndNotMore) {
    for (std::size_t const block_size : {500, 4096, 1000000}) {
        CuttingNote note(long_message(lines(1000000, 70)), 0, block_size);
        note.SetNetworkSplitSize(256000);
        ASSERT_EQ(note.Send(), 1);
        ASSERT_EQ(note.messages.size(), 4U);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_GT(note.messages[i].size(), 256000U - 500U);
            EXPECT_LE(note.messages[i].size(), 256000U + (i == 0 ? 200U : 0U));
        }
    }
}

TEST_F(SplitTest, TheHeadOfAFragment) {
    CuttingNote note(long_message(lines(70000, 70)), 30720, 4096);
    ASSERT_EQ(note.Send(), 1);
    ASSERT_EQ(note.messages.size(), 3U);
    std::string const head = R"(Date: Sun, 00 Jan 1998 00:00:00 +0000
To: annex
From: "Front Desk" <desk>
X-Field: repeated
Subject: Report
Message-Id: <{T}-%-desk>
X-MIME-Engine: v0.90
MIME-Version: 1.0
Content-Type: message/partial; number=%;
    id="<{T}-0-desk>"

)";
    char const * const numbers[] = {"1", "2", "3; total=3"};
    for (std::size_t i = 0; i < 3; ++i) {
        std::string expected = head;
        expected.replace(expected.find('%'), 1, std::to_string(i + 1));
        expected.replace(expected.find('%'), 1, numbers[i]);
        EXPECT_EQ(note.messages[i].substr(0, wire(expected).size()), wire(expected));
    }
    EXPECT_TRUE(read_fragment(note.messages[0])
                    .data.starts_with(wire("Subject: Report\nMessage-Id: <{T}-0-desk>\nX-MIME")));
}

TEST_F(SplitTest, TheCallsOfASplitMessage) {
    CuttingNote note(long_message(lines(45000, 98)), 30720, 20000);
    ASSERT_EQ(note.Send(), 1);
    EXPECT_EQ(note.messages.size(), 2U);
    // At the cut: copy of the common header, fragment header, a block for the moved line, and the
    // two blocks of the fragment. At the end: the common header itself, the last fragment header,
    // what was held, and the current block.
    EXPECT_EQ(note.calls, "BGGG"
                          "GPGPG"
                          "PPEB"
                          ""
                          "PGPPE");
}

TEST_F(SplitTest, FlushingHoldsTheBlock) {
    class FlushingNote : public CuttingNote {
    public:
        using CuttingNote::CuttingNote;

    protected:
        void EndHeader(MimeContext &) override {
            FlushOutputBuffers();
            calls_at_flush = calls;
        }

    public:
        std::string calls_at_flush;
    };
    FlushingNote held(long_message("text\r\n"), 30720, 4096);
    FlushingNote unsplit(long_message("text\r\n"), 0, 4096);
    EXPECT_EQ(held.SendWhole(), unsplit.SendWhole());
    EXPECT_EQ(held.calls_at_flush, "BGGG");
    EXPECT_EQ(held.calls, "BGGGPPPE");
    EXPECT_EQ(unsplit.calls_at_flush, "BGPG");
}

TEST_F(SplitTest, ACommonHeaderLargerThanAFragment) {
    Part message = long_message(lines(60000, 70));
    message.to.resize(4000, {{}, "recipient@example.org"});
    CuttingNote whole(message, 0, 4096);
    std::string const unsplit = whole.SendWhole();
    for (std::size_t const block_size : {7, 4096, 65536}) {
        CuttingNote note(message, 30720, block_size);
        ASSERT_EQ(note.Send(), 1);
        EXPECT_LE(note.messages.size(), 40U);
        EXPECT_TRUE(join(note.messages) == unsplit);
    }
}

TEST_F(SplitTest, TheSplitSizeIsReadAtEveryCheck) {
    class ChangingNote : public CuttingNote {
    public:
        using CuttingNote::CuttingNote;
        unsigned int later = 0;

    protected:
        void EndHeader(MimeContext &) override { SetNetworkSplitSize(later); }
    };
    struct {
        unsigned int first, later;
        std::size_t messages;
    } const rows[] = {{30720, 0, 1}, {30720, 60000, 2}, {256000, 30720, 4}, {0, 30720, 1}};
    for (auto const & row : rows) {
        ChangingNote note(long_message(lines(100000, 70)), row.first, 4096);
        note.later = row.later;
        EXPECT_EQ(note.Send(), 1);
        EXPECT_EQ(note.messages.size(), row.messages) << row.first << " then " << row.later;
    }
}

TEST_F(SplitTest, FieldsCantBeSentWhileAFragmentIsCut) {
    class LateNote : public CuttingNote {
    public:
        using CuttingNote::CuttingNote;

    protected:
        int Get_Message_Id(char const *&) override {
            EXPECT_EQ(SendField("X-Late", "1"), 0);
            FlushOutputBuffers();
            return 0;
        }
        void PutXFields() override {
            for (int i = 0; i < 1000; ++i) {
                EXPECT_EQ(SendField("X-Many", std::string(60, 'm').c_str()), 1);
            }
        }
    };
    Part message = multipart("mixed", {long_message("text")});
    message.boundary = "b";
    message.content_id = "c";
    message.subject = "Outer";
    LateNote whole(message, 0, 4096);
    LateNote note(message, 30720, 50);
    EXPECT_EQ(note.Send(), 1);
    EXPECT_GT(note.messages.size(), 2U);
    EXPECT_TRUE(join(note.messages) == whole.SendWhole());
}

// the stream alone -----------------------------------------------------------------

TEST_F(SplitTest, TheDestructorEndsTheOutput) {
    for (std::size_t const block_size : block_sizes) {
        OutputNote note;
        note.block_size = block_size;
        {
            oBufferStream stream(&note);
            EXPECT_TRUE(stream.good());
            stream << "some text, " << 1998;
            EXPECT_EQ(stream.pcount(), 15);
        }
        ASSERT_EQ(note.messages.size(), 1U);
        EXPECT_EQ(note.messages[0], "some text, 1998");
        EXPECT_TRUE(note.AllReturned());
    }
}

} // namespace
