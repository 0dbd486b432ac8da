// tests/send_note_test.cpp - the run of an outgoing note: offsets, repeated runs, failures
#include "mime/MIMEUTIL.hpp"
#include "mime/nls/charset.hpp"
#include "mime/note/outgoing_note.hpp"
#include "tests/support/note_script.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace {

int zone_looks = 0;

} // namespace

/// Stands in front of the C library's own, and counts.
extern "C" void tzset() noexcept {
    ++zone_looks;
    reinterpret_cast<void (*)()>(dlsym(RTLD_NEXT, "tzset"))();
}

namespace {

using namespace vellum::test;

static_assert(!std::is_copy_constructible_v<MimeONote> && !std::is_copy_assignable_v<MimeONote>);

class SendTest : public testing::Test {
    FixedClock const clock_;
    CodePage const page_{1252};
};

TEST_F(SendTest, SettingsReturnWhatIsInForce) {
    DescribedNote note;
    EXPECT_EQ(note.SetNetworkSplitSize(0), 0U);
    EXPECT_EQ(note.SetNetworkSplitSize(1), 30720U);
    EXPECT_EQ(note.SetNetworkSplitSize(30721), 30721U);
    EXPECT_EQ(note.SetCharacterSet("iso-8859-2"), NLS::ISO_8859_2.name);
    EXPECT_EQ(note.SetCharacterSet(nullptr), nullptr);
    EXPECT_EQ(note.SetCharacterSet("x-set-that-nobody-knows"), NLS::ReservedSet.name);
    EXPECT_EQ(note.SetFieldGuard(7), 7);
}

TEST_F(SendTest, CookiesAreGivenUpOnce) {
    struct Cookie : MimeClientCookie {
        explicit Cookie(int & deletions) : count(deletions) {}
        void Delete() override {
            ++count;
            MimeClientCookie::Delete();
        }
        int & count;
    };
    int made = 0;
    int deleted = 0;
    DescribedNote note(multipart("mixed", {text_part(""), message_part(text_part(""))}));
    note.on_call = [&](std::string_view call, MimeContext * context) {
        if (call != "BeginPart") return;
        EXPECT_TRUE(made == 0 || context->parent_item->cookie != nullptr);
        context->item->cookie = new Cookie(deleted);
        ++made;
    };
    note.SendWhole();
    EXPECT_EQ(made, 5);
    EXPECT_EQ(deleted, made);
}

TEST_F(SendTest, ASendLooksAtTheZoneFileOnceASecond) {
    char const * const zone = std::getenv("TZ");
    std::string const before = zone != nullptr ? zone : "";
    unsetenv("TZ");
    DescribedNote note;
    note.is_dated = false;
    int const looks = zone_looks;
    for (int i = 0; i < 1000; ++i)
        note.SendWhole();
    EXPECT_LT(zone_looks - looks, 100);
    setenv("TZ", "XXX-3", 1); // a setting in the environment counts at once
    TimeString now;
    MimeDateTime().WriteRFC822(now, 1);
    EXPECT_TRUE(std::string_view(now).ends_with(" +0300")) << now;
    EXPECT_TRUE(note.SendWhole().starts_with("Date: " + std::string(now) + "\r\n"));
    zone != nullptr ? setenv("TZ", before.c_str(), 1) : unsetenv("TZ");
}

TEST_F(SendTest, ASecondSendIsCompleteInItself) {
    DescribedNote note(read_script("Sender: <first@x>\nSubject: first").message);
    std::string const first = note.SendWhole();
    EXPECT_NE(first.find("Message-Id: <" + fixed_time + "-0-first@x>"), std::string::npos);
    note.answers = {};
    std::string const second = note.SendWhole();
    EXPECT_EQ(second.find("first"), std::string::npos);
    EXPECT_NE(second.find("Message-Id: <" + fixed_time + "-2-007>"), std::string::npos);
    EXPECT_NE(second.find("Content-Id: <" + fixed_time + "-3-99>"), std::string::npos);
    EXPECT_EQ(note.calls, "BGGPPEBGGPPE");
}

/// But for a flush, which is good from everywhere.
TEST_F(SendTest, CallsFromTheWrongPlaceDoNothing) {
    for (std::size_t const block_size : {1, 7, 100, 4096}) {
        for (char const * encoding : {RFC1521::ASCII_8bit, RFC1521::quoted_printable}) {
            DescribedNote note(text_part(repeated("piece", 5)));
            note.block_size = block_size;
            note.piece_size = 5;
            note.SetTextEncoding(encoding);
            note.SetNetworkSplitSize(0);
            std::string const expected = note.SendWhole();
            note.Rewind();
            note.on_call = [&note](std::string_view call, MimeContext *) {
                EXPECT_EQ(note.Send(), 0);
                note.FlushOutputBuffers();
                bool const is_late =
                    call.ends_with("Output") || call.ends_with("Buffer") || call == "EndPart";
                EXPECT_TRUE(!is_late || note.SendField("X-Meddle", "1") == 0);
                if (call == "PutXFields") {
                    EXPECT_EQ(note.SendField("Subject", "no"), 0);
                    EXPECT_EQ(note.SendField("text", "no"), 0);
                    EXPECT_EQ(note.SendField(nullptr, "no"), 0);
                    EXPECT_EQ(note.SendField("X-No", nullptr), 0);
                }
            };
            std::string const sent = note.SendWhole();
            EXPECT_TRUE(note.AllReturned());
            auto const body = [](std::string const & text) { // the ids count on
                return text.substr(text.find("Content-Transfer-Encoding"));
            };
            EXPECT_EQ(body(sent), body(expected));
            EXPECT_EQ(sent.size(), expected.size());
        }
    }
    DescribedNote note;
    note.FlushOutputBuffers();
    EXPECT_EQ(note.SendField("X-Field", "1"), 0);
    EXPECT_EQ(note.calls, "");
}

TEST_F(SendTest, ABodyStreamWithAnErrorEndsTheBody) {
    DescribedNote note;
    std::istringstream body("text");
    note.stream = &body;
    note.SetTextEncoding(RFC1521::base64);
    body.setstate(std::ios_base::failbit);
    EXPECT_TRUE(note.SendWhole().ends_with("base64\r\n\r\n"));
    body.clear();
    EXPECT_TRUE(note.SendWhole().ends_with("base64\r\n\r\ndGV4dA==\r\n"));
    EXPECT_TRUE(body.eof());
    body.std::basic_ios<char>::rdbuf(nullptr);
    EXPECT_TRUE(note.SendWhole().ends_with("base64\r\n\r\n"));
    note.SetTextEncoding(RFC1521::ASCII_8bit);
    EXPECT_TRUE(note.SendWhole().ends_with("8bit\r\n\r\n"));
}

// failures -------------------------------------------------------------------------

struct Sending {
    struct Stop {};

    Sending(char const * encoding, unsigned int split_size, std::size_t block_size) {
        Part inner = text_part("Stra\xDF\r\n").With("Subject", "Stra\xDF");
        note.answers = multipart("mixed", {text_part(std::string(3000, 'x')), message_part(inner),
                                           part_of("message", "rfc822", std::string(3000, 'z')),
                                           binary_part(std::string(40000, 'y'), "\xE4.bin")});
        note.answers.addresses["To"] = {{"\xE4", "a@x"}, {"B", "b@x"}};
        note.answers.fields["X"] = {{"X-Field", "value \xE4"}};
        note.block_size = block_size;
        note.piece_size = 1500;
        note.SetNetworkSplitSize(split_size);
        note.SetTextEncoding(encoding);
        note.on_call = [this](std::string_view, MimeContext *) {
            ++calls_made;
            if (--calls_left < 0) throw Stop{};
        };
    }

    DescribedNote note;
    int calls_left = INT_MAX; ///< then it throws
    int calls_made = 0;
};

TEST_F(SendTest, AnExceptionOfAnyCallPassesThrough) {
    for (char const * encoding : {"8bit", "quoted-printable"}) {
        for (unsigned int const split_size : {0U, 30720U}) {
            Sending whole(encoding, split_size, 500);
            ASSERT_EQ(whole.note.Send(), 1);
            std::size_t const fragments = whole.note.messages.size();
            EXPECT_EQ(fragments, split_size == 0 ? 1U : 3U);
            for (int k = 0; k < whole.calls_made; ++k) {
                Sending run(encoding, split_size, 500);
                run.calls_left = k;
                EXPECT_THROW(run.note.Send(), Sending::Stop) << k;
                EXPECT_EQ(run.calls_made, k + 1) << "called after the exception";
                run.note.Rewind();
                run.calls_left = INT_MAX;
                EXPECT_EQ(run.note.Send(), 1);
                EXPECT_EQ(run.note.messages.size(), fragments);
            }
        }
    }
}

/// Whatever block is the last one, the run ends in order, and what went out is the begin of what
/// would have gone out.
TEST_F(SendTest, AClientThatStopsLendingEndsTheRun) {
    Sending one_message("", 0, 4096);
    std::string const unsplit = one_message.note.SendWhole();
    for (unsigned int const split_size : {0U, 30720U}) {
        for (std::size_t const block_size : {37, 500, 20000}) {
            Sending whole("", split_size, block_size);
            ASSERT_EQ(whole.note.Send(), 1);
            auto const & expected = whole.note.messages;
            long const step = std::max(1L, whole.note.lent / 60); // 37 bytes: thousands of blocks
            for (long k = 0; k < whole.note.lent; k += step) {
                Sending run("", split_size, block_size);
                run.note.blocks_to_lend = k;
                EXPECT_EQ(run.note.Send(), 0) << k << " of " << whole.note.lent;
                EXPECT_TRUE(k == 0 ? run.note.calls == "BG" : run.note.AllReturned());
                auto const & sent = run.note.messages;
                ASSERT_LE(sent.size(), expected.size());
                for (std::size_t i = 0; i < sent.size(); ++i) {
                    // The last one breaks off; it can end in the line that would have been moved,
                    // and the first one, not cut yet, is the begin of the whole message.
                    bool const is_last = i + 1 == sent.size();
                    EXPECT_TRUE(sent[i] == expected[i] ||
                                (is_last && expected[i].starts_with(sent[i])) ||
                                (is_last && sent[i].starts_with(expected[i])) ||
                                (sent.size() == 1 && unsplit.starts_with(sent[i])))
                        << "fragment " << i;
                }
            }
        }
    }
}

} // namespace
