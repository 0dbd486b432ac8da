// tests/output_splitter_test.cpp - blocks of every size, and messages cut into fragments
#include "mime/send/output_splitter.hpp"

#include "mime/foundation/tokens.hpp"
#include "tests/support/files.hpp"
#include "tests/support/note_script.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vellum::test;

constexpr std::size_t block_sizes[] = {1, 7, 100, 4096, 65536};

/// A message of one text part whose ids don't depend on how it is cut.
Part long_message(std::string body) {
    Part message = read_script("Content-Id: c\nSubject: Report\nTo: <annex>\n"
                               "From: Front Desk <desk>\nX-Field: repeated")
                       .message;
    return message.With("Body", std::move(body));
}

std::unique_ptr<DescribedNote> cutting(Part const & message, unsigned int split_size,
                                       std::size_t blocks = 4096) {
    auto note = std::make_unique<DescribedNote>(message);
    note->SetNetworkSplitSize(split_size);
    note->SetTextEncoding(RFC1521::ASCII_8bit);
    note->block_size = blocks;
    return note;
}

std::string unsplit(Part const & message) { return cutting(message, 0)->SendWhole(); }

class SplitTest : public testing::Test {
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
        lines(40000, 10) + lines(60000, 60000, "") + lines(40000, 1000),
    };
    for (std::string const & body : bodies) {
        std::string const expected = unsplit(long_message(body));
        bool const has_short_lines = &body < bodies + 4; // so fragments are full
        for (unsigned int const split_size : {30720U, 50001U, 256000U}) {
            for (std::size_t const block_size : block_sizes) {
                auto const note = cutting(long_message(body), split_size, block_size);
                ASSERT_EQ(note->Send(), 1);
                EXPECT_TRUE(note->AllReturned());
                auto const & sent = note->messages;
                bool const fits = expected.size() < split_size - 500;
                EXPECT_EQ(sent.size() == 1, fits);
                EXPECT_TRUE((fits ? sent[0] : joined(sent)) == expected)
                    << split_size << " in blocks of " << block_size;
                for (auto const & message : sent) {
                    EXPECT_LE(message.size(), split_size + 500);
                    bool const is_full = message.size() > split_size - 500;
                    EXPECT_TRUE(is_full || !has_short_lines || &message == &sent.back());
                }
                EXPECT_LE(note->most_held, split_size + 4000 + 4 * block_size);
            }
        }
    }
}

/// Every place of the last line end around the end of a block and of the fragment.
TEST_F(SplitTest, ALineEndAnywhereAtTheCut) {
    for (std::size_t const block_size : {2, 3, 64}) {
        for (std::size_t tail = 0; tail < 2 * block_size + 3; ++tail) {
            Part const message =
                long_message(std::string(30000 - tail, 'x') + "\r\n" + lines(1000, 300));
            auto const note = cutting(message, 30720, block_size);
            ASSERT_EQ(note->Send(), 1);
            ASSERT_EQ(note->messages.size(), 2U);
            EXPECT_TRUE(joined(note->messages) == unsplit(message));
        }
    }
}

/// A cut asks for the fragment's id, within whatever text is being written then: a client that
/// keeps its texts in one buffer has freed it by now.
TEST_F(SplitTest, ATextIsGoodUntilTheNextCallOnly) {
    std::string const script = content_of("split_texts.script");
    Part message = read_script(replaced(script, "{}", std::string(60, '-'))).message;
    int cuts = 0;
    for (std::size_t padding = 27500; padding < 30300; ++padding) {
        message.parts[0].texts["Body"] = lines(padding, 70);
        auto const note = cutting(message, 30720);
        note->one_buffer = true;
        ASSERT_EQ(note->Send(), 1);
        auto const & sent = note->messages;
        ASSERT_TRUE((sent.size() == 1 ? sent[0] : joined(sent)) == unsplit(message)) << padding;
        cuts += sent.size() > 1 ? 1 : 0;
    }
    EXPECT_GT(cuts, 1500);
}

TEST_F(SplitTest, ACommonHeaderLargerThanAFragment) {
    Part message = long_message(lines(60000, 70));
    message.addresses["To"].resize(4000, {{}, "recipient@example.org"});
    for (std::size_t const block_size : {7, 4096, 65536}) {
        auto const note = cutting(message, 30720, block_size);
        ASSERT_EQ(note->Send(), 1);
        EXPECT_LE(note->messages.size(), 40U);
        EXPECT_TRUE(joined(note->messages) == unsplit(message));
    }
}

TEST_F(SplitTest, FieldsCantBeSentWhileAFragmentIsCut) {
    Part inner = long_message("text");
    inner.fields["X"].resize(1000, {"X-Many", std::string(60, 'm')});
    Part message = multipart("mixed", {inner}).With("Boundary", "b");
    message.With("Content-Id", "c").With("Subject", "Outer");
    auto const note = cutting(message, 30720, 50);
    note->on_call = [&note](std::string_view call, MimeContext *) {
        if (call != "Message-Id") return;
        EXPECT_EQ(note->SendField("X-Late", "1"), 0);
        note->FlushOutputBuffers();
    };
    EXPECT_EQ(note->Send(), 1);
    EXPECT_GT(note->messages.size(), 2U);
    EXPECT_TRUE(joined(note->messages) == unsplit(message));
}

TEST_F(SplitTest, TheDestructorEndsTheOutput) {
    for (std::size_t const block_size : block_sizes) {
        DescribedNote note;
        note.block_size = block_size;
        {
            oBufferStream stream(&note);
            EXPECT_TRUE(stream.good());
            stream << "some text, " << 1998;
            EXPECT_EQ(stream.pcount(), 15);
        }
        EXPECT_EQ(note.messages, std::vector<std::string>{"some text, 1998"});
        EXPECT_TRUE(note.AllReturned());
    }
}

} // namespace
