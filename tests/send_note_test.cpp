// tests/send_note_test.cpp - the run of an outgoing note: bytes, order of calls, failures
#include "mime/MIMEUTIL.hpp"
#include "mime/nls/charset.hpp"
#include "mime/note/outgoing_note.hpp"
#include "tests/support/outgoing_notes.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <streambuf>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
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
protected:
    SendTest() { NLS::PlatformCodePage = 1252; }
    ~SendTest() override { NLS::PlatformCodePage = code_page_; }

    FixedClock const clock_;
    unsigned long const code_page_ = NLS::PlatformCodePage;
};

/// Universal Time, so that the machine's zone doesn't matter.
class DatedNote : public DescribedNote {
public:
    using DescribedNote::DescribedNote;

protected:
    int Get_Date(std::tm & when, int & offset) override {
        EXPECT_EQ(offset, 0);
        when.tm_year = 98;
        when.tm_mon = 1;
        when.tm_mday = 10;
        when.tm_hour = 8;
        when.tm_wday = 2;
        return 1;
    }
};

// settings -------------------------------------------------------------------------

TEST_F(SendTest, SplitSizeHasAFloor) {
    OutputNote note;
    using Row = std::pair<unsigned int, unsigned int>;
    for (auto const & [asked, result] : {Row(0, 0), Row(1, 30720), Row(30721, 30721)})
        EXPECT_EQ(note.SetNetworkSplitSize(asked), result);
}

TEST_F(SendTest, CharacterSetIsLookedUp) {
    OutputNote note;
    EXPECT_EQ(note.SetCharacterSet("iso-8859-2"), NLS::ISO_8859_2.name);
    EXPECT_EQ(note.SetCharacterSet(nullptr), nullptr);
    EXPECT_NE(note.SendWhole().find("charset=ISO-8859-2\r\n"), std::string::npos);
    EXPECT_EQ(note.SetCharacterSet("x-set-that-nobody-knows"), NLS::ReservedSet.name);
    EXPECT_NE(note.SendWhole().find("charset=ISO-8859-1\r\n"), std::string::npos);
}

// whole messages -------------------------------------------------------------------

TEST_F(SendTest, ANoteThatAnswersNothing) {
    OutputNote note;
    TimeString now;
    MimeDateTime().WriteRFC822(now, 1);
    EXPECT_EQ(note.SendWhole(), "Date: " + std::string(now) + wire(R"(
Message-Id: <{T}-0-007>
X-MIME-Engine: v0.90
MIME-Version: 1.0
Content-Type: text/plain; charset=ISO-8859-1
Content-Id: <{T}-1-99>
Content-Transfer-Encoding: quoted-printable

)"));
    EXPECT_TRUE(note.AllReturned());
}

TEST_F(SendTest, AMultipartOfTextAndFile) {
    Part message = multipart("mixed", {text_part("Hello"), binary_part("Hello", "data.bin")});
    message.to = {{{}, "annex"}};
    message.from = {{"Front Desk", "desk"}};
    message.subject = "Report";
    DatedNote note(message);
    EXPECT_EQ(note.SendWhole(), wire(R"(Date: Tue, 10 Feb 1998 08:00:00 +0000
To: annex
From: "Front Desk" <desk>
Subject: Report
Message-Id: <{T}-0-desk>
X-MIME-Engine: v0.90
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="MIME MULTIPART BOUNDARY=.{T}:+'1"
Content-Id: <{T}-2-desk>


--MIME MULTIPART BOUNDARY=.{T}:+'1
Content-Type: text/plain; charset=ISO-8859-1
Content-Id: <{T}-3-desk>
Content-Transfer-Encoding: quoted-printable

Hello=

--MIME MULTIPART BOUNDARY=.{T}:+'1
Content-Type: application/octet-stream;
 name="data.bin"
Content-Id: <{T}-4-desk>
Content-Transfer-Encoding: base64
Content-Description: <data.bin>
Content-Disposition: attachment; filename="data.bin"

SGVsbG8=

--MIME MULTIPART BOUNDARY=.{T}:+'1--
)"));
    EXPECT_TRUE(note.AllReturned());
}

TEST_F(SendTest, NestedMultipartsAndMessages) {
    Part inner = text_part("inner").With(&Part::message_id, "<in@x>");
    inner.fields = {{"X-Inner", "1"}};
    Part digest = multipart("digest", {message_part(inner).With(&Part::content_id, "c3")});
    digest.parts[0].type.reset(); // what it is by default there
    digest.parts[0].subtype.reset();
    digest.With(&Part::content_id, "c2").With(&Part::boundary, "d");
    Part message = multipart("mixed", {digest}).With(&Part::boundary, "a \"b\"");
    message.With(&Part::content_id, "c1").With(&Part::message_id, "<out@x>");
    DatedNote note(message.With(&Part::subject, "Outer"));
    note.SetTextEncoding(RFC1521::ASCII_7bit);
    EXPECT_EQ(note.SendWhole(), wire(R"(Date: Tue, 10 Feb 1998 08:00:00 +0000
Subject: Outer
Message-Id: <out@x>
X-MIME-Engine: v0.90
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="a \"b\""
Content-Id: <c1>


--a "b"
Content-Type: multipart/digest; boundary="d"
Content-Id: <c2>


--d
Content-Id: <c3>
Content-Type: message/RFC822; charset=US-ASCII
Content-Transfer-Encoding: 7bit

Date: Tue, 10 Feb 1998 08:00:00 +0000
X-Inner: 1
Subject: Outer
Message-Id: <in@x>
X-MIME-Engine: v0.90
MIME-Version: 1.0
Content-Type: text/plain; charset=ISO-8859-1
Content-Id: <{T}-0-99>
Content-Transfer-Encoding: 7bit

inner
--d--

--a "b"--
)"));
}

TEST_F(SendTest, AMultipartWithoutParts) {
    DatedNote note(multipart("mixed", {}).With(&Part::boundary, "b"));
    std::string const sent = note.SendWhole();
    EXPECT_EQ(sent.substr(sent.find("\r\n\r\n") + 4), "\r\n--b--\r\n");
}

TEST_F(SendTest, MissingTypesAndSubtypes) {
    struct {
        char const *type, *subtype, *expected;
    } const rows[] = {
        {nullptr, nullptr, "text/plain; charset=ISO-8859-1"},
        {nullptr, "html", "text/plain; charset=ISO-8859-1"},
        {"text", nullptr, "text/plain; charset=ISO-8859-1"},
        {"TEXT", "HTML", "text/html; charset=ISO-8859-1"},
        {"multipart", nullptr, "multipart/mixed; boundary=\"b\""},
        {"message", nullptr, "message/RFC822; charset=US-ASCII"},
        {"message", "partial", "message/partial"},
        {"application", nullptr, "application/octet-stream"},
        {"image", nullptr, "image/x-unknown"},
    };
    for (auto const & row : rows) {
        Part part;
        part.boundary = "b";
        part.body = "";
        if (row.type != nullptr) part.type = row.type;
        if (row.subtype != nullptr) part.subtype = row.subtype;
        DatedNote note(multipart("mixed", {part}).With(&Part::boundary, "a"));
        std::string const sent = note.SendWhole();
        EXPECT_NE(sent.find("\r\nContent-Type: " + std::string(row.expected), sent.find("--a")),
                  std::string::npos)
            << row.expected;
    }
}

// calls ----------------------------------------------------------------------------

/// Writes down every call that asks for something or tells of a place, and throws at one of them.
class SpyNote : public DatedNote {
public:
    using DatedNote::DatedNote;
    struct Stop {};
    std::string log;
    int calls_left = INT_MAX; ///< then it throws
    int calls_made = 0;
    int open_parts = 0;
    int open_bodies = 0;

protected:
    int Call(std::string const & text) {
        log += text;
        ++calls_made;
        if (--calls_left < 0) throw Stop{};
        return 0;
    }
    int Call(char const * name, MimeContext const & context) {
        char const * const type = context.item->type;
        return Call("\n" + std::string(name) + " " + std::to_string(context.message_depth) + "." +
                    std::to_string(context.multipart_depth) + "." +
                    std::to_string(context.atomic_count) + "." +
                    std::to_string(context.part_number) + (type == nullptr ? "" : " ") +
                    (type == nullptr ? "" : type));
    }

    int BeginPart(MimeContext & context) override {
        Call("BeginPart", context);
        int const more = DatedNote::BeginPart(context);
        open_parts += more;
        return more;
    }
    void EndPart(MimeContext & context) override {
        Call("EndPart", context);
        --open_parts;
        DatedNote::EndPart(context);
    }
    int BeginHeader(MimeContext & context) override { return Call("BeginHeader", context); }
    void EndHeader(MimeContext & context) override { Call("EndHeader", context); }
    int BeginBody(MimeContext & context, std::istream ** body) override {
        Call(body == nullptr ? "BeginBody(null)" : "BeginBody", context);
        ++open_bodies;
        return DatedNote::BeginBody(context, body);
    }
    void EndBody(MimeContext & context) override {
        Call("EndBody", context);
        --open_bodies;
        DatedNote::EndBody(context);
    }
    int Get_Subject(char const *& value) override {
        return Call(" Subject") + DatedNote::Get_Subject(value);
    }
    int Get_Date(std::tm & when, int & offset) override {
        return Call(" Date") + DatedNote::Get_Date(when, offset);
    }
    int Get_To(SymToken & field, char const *& name, char const *& address) override {
        return Call(" " + std::string(field)) + DatedNote::Get_To(field, name, address);
    }
    int Get_From(SymToken & field, char const *& name, char const *& address) override {
        return Call(" " + std::string(field)) + DatedNote::Get_From(field, name, address);
    }
    int Get_Disposition_notification_to(char const *&, char const *&) override {
        return Call(" Notify");
    }
    int GetProperty(char const * name, char const *&) override {
        return Call(" " + std::string(name));
    }
    void PutXFields() override {
        Call(" PutXFields");
        DatedNote::PutXFields();
    }
    int Get_Message_Id(char const *& value) override {
        return Call(" Message-Id") + DatedNote::Get_Message_Id(value);
    }
    int Get_Content_Id(char const *& value) override {
        return Call(" Content-Id") + DatedNote::Get_Content_Id(value);
    }
    int Get_Content_Description(char const *& value) override {
        return Call(" Description") + DatedNote::Get_Content_Description(value);
    }
    int Get_Content_Type(SymToken & type, SymToken & subtype) override {
        return Call(" Type") + DatedNote::Get_Content_Type(type, subtype);
    }
    int Get_Content_Disposition(SymToken & disposition, char const *& name) override {
        return Call(" Disposition") + DatedNote::Get_Content_Disposition(disposition, name);
    }
    int GetFileName(char const *& value) override {
        return Call(" FileName") + DatedNote::GetFileName(value);
    }
    int GetBoundary(char const *& value) override {
        return Call(" Boundary") + DatedNote::GetBoundary(value);
    }
    void BeginOutput() override {
        Call("");
        DatedNote::BeginOutput();
    }
    void GetOutputBuffer(Buffer & block) override {
        Call("");
        DatedNote::GetOutputBuffer(block);
    }
    void PutOutputBuffer(Buffer & block) override {
        Call("");
        DatedNote::PutOutputBuffer(block);
    }
    void EndOutput() override {
        Call("");
        DatedNote::EndOutput();
    }
};

TEST_F(SendTest, CallsComeInTheirOrder) {
    SpyNote note(multipart(
        "mixed", {text_part("one"), message_part(text_part("two")), binary_part("three")}));
    note.SendWhole();
    EXPECT_EQ(note.log, R"(
BeginPart 0.0.0.1
BeginHeader 0.0.0.1 Subject Date To cc bcc Sender From Reply-To Return-Path In-Reply-To Received)"
                        R"( Comments Keywords References Encrypted Importance Priority Sensitivity)"
                        R"( Notify PutXFields Message-Id Type Boundary Content-Id
EndHeader 0.0.0.1 multipart
BeginBody(null) 0.0.0.1 multipart
BeginPart 0.1.0.2
BeginHeader 0.1.0.2 Type FileName Content-Id Description Disposition PutXFields
EndHeader 0.1.0.2 text
BeginBody 0.1.1.2 text
EndBody 0.1.1.2 text
EndPart 0.1.1.2 text
BeginPart 0.1.1.3
BeginHeader 0.1.1.3 Type FileName Content-Id
EndHeader 0.1.1.3 message
BeginBody 0.1.1.3 message
BeginPart 1.0.1.4 message
BeginHeader 1.0.1.4 message Subject Date To cc bcc Sender From Reply-To Return-Path In-Reply-To)"
                        R"( Received Comments Keywords References Encrypted Importance Priority)"
                        R"( Sensitivity Notify PutXFields Message-Id Type FileName Content-Id)"
                        R"( Description Disposition PutXFields
EndHeader 1.0.1.4 text
BeginBody 1.0.2.4 text
EndBody 1.0.2.4 text
EndPart 1.0.2.4 text
EndBody 0.1.1.3 message
EndPart 0.1.1.3 message
BeginPart 0.1.1.4
BeginHeader 0.1.1.4 Type FileName Content-Id Description Disposition PutXFields
EndHeader 0.1.1.4 application
BeginBody 0.1.2.4 application
EndBody 0.1.2.4 application
EndPart 0.1.2.4 application
BeginPart 0.1.2.5
EndBody 0.0.0.1 multipart
EndPart 0.0.0.1 multipart)");
}

/// Keeps the offsets of each part, and adds a field at the end of each header.
class PlaceNote : public DatedNote {
public:
    using DatedNote::DatedNote;
    std::vector<MimeContext::Exact> places;

protected:
    void EndHeader(MimeContext & context) override {
        EXPECT_EQ(context.part_end, -1);
        EXPECT_EQ(context.body_start, -1);
        EXPECT_EQ(SendField("X-Last", "one"), 1);
    }
    void EndPart(MimeContext & context) override {
        DatedNote::EndPart(context);
        EXPECT_EQ(context.header_end, context.exact.header_end);
        EXPECT_EQ(context.part_end, context.body_end);
        EXPECT_EQ(SendField("X-Last", "late"), 0);
        places.push_back(context.exact);
    }
};

TEST_F(SendTest, OffsetsAreThoseOfTheOutput) {
    for (std::size_t const block_size : {1, 7, 4096}) {
        PlaceNote note(multipart("mixed", {text_part("one"), message_part(text_part("two"))}));
        note.block_size = block_size;
        std::string const sent = note.SendWhole();
        ASSERT_EQ(note.places.size(), 4U);
        for (auto const & place : note.places) {
            auto const slice = [&](long long from, long long to) {
                return sent.substr(static_cast<std::size_t>(from),
                                   static_cast<std::size_t>(to - from));
            };
            EXPECT_EQ(place.part_start, place.header_start);
            std::string const header = slice(place.header_start, place.header_end);
            EXPECT_TRUE(header.starts_with("Date: ") || header.starts_with("Content-"));
            EXPECT_TRUE(header.ends_with("\r\nX-Last: one\r\n\r\n")) << header;
            EXPECT_EQ(place.body_start, place.header_end);
        }
        auto const & [text, nested, envelope, whole] =
            std::tie(note.places[0], note.places[1], note.places[2], note.places[3]);
        EXPECT_EQ(sent.substr(static_cast<std::size_t>(text.body_start),
                              static_cast<std::size_t>(text.body_end - text.body_start)),
                  "one=\r\n");
        EXPECT_EQ(nested.part_start, envelope.body_start);
        EXPECT_EQ(nested.part_end, envelope.part_end);
        EXPECT_EQ(whole.part_start, 0);
        EXPECT_EQ(whole.part_end, static_cast<long long>(sent.size()));
    }
}

/// Counts how often it is given up.
class CountedCookie : public MimeClientCookie {
public:
    explicit CountedCookie(int & deletions) : deletions_(deletions) {}
    void Delete() override {
        ++deletions_;
        MimeClientCookie::Delete();
    }

private:
    int & deletions_;
};

TEST_F(SendTest, CookiesAreGivenUpOnce) {
    class CookieNote : public DescribedNote {
    public:
        using DescribedNote::DescribedNote;
        int made = 0;
        int deleted = 0;

    protected:
        int BeginPart(MimeContext & context) override {
            EXPECT_TRUE(made == 0 || context.parent_item->cookie != nullptr);
            context.item->cookie = new CountedCookie(deleted);
            ++made;
            return DescribedNote::BeginPart(context);
        }
    };
    CookieNote note(multipart("mixed", {text_part(""), message_part(text_part(""))}));
    note.SendWhole();
    EXPECT_EQ(note.made, 5);
    EXPECT_EQ(note.deleted, note.made);
}

TEST_F(SendTest, ASendLooksAtTheZoneFileOnceASecond) {
    char const * const zone = std::getenv("TZ");
    std::string const before = zone != nullptr ? zone : "";
    unsetenv("TZ");
    OutputNote note;
    int const looks = zone_looks;
    for (int i = 0; i < 1000; ++i)
        note.SendWhole();
    EXPECT_LT(zone_looks - looks, 100);
    setenv("TZ", "XXX-3", 1); // a setting in the environment counts at once
    EXPECT_NE(note.SendWhole().find(" +0300\r\n"), std::string::npos);
    zone != nullptr ? setenv("TZ", before.c_str(), 1) : unsetenv("TZ");
}

// the same note again --------------------------------------------------------------

TEST_F(SendTest, ASecondSendIsCompleteInItself) {
    class TwoMessages : public OutputNote {
    public:
        int sent = 0;

    protected:
        int Get_From(SymToken & field, char const *&, char const *& address) override {
            address = "first@x";
            return sent == 0 && field == RFC822::Sender;
        }
        int Get_Subject(char const *& value) override {
            value = "first";
            return sent == 0;
        }
        int Get_Date(std::tm &, int &) override { return 1; }
    };
    TwoMessages note;
    note.SetNetworkSplitSize(0);
    std::string const first = note.SendWhole();
    note.sent = 1;
    std::string const second = note.SendWhole();
    EXPECT_NE(first.find("Message-Id: <" + fixed_time + "-0-first@x>"), std::string::npos);
    EXPECT_EQ(second.find("first"), std::string::npos);
    EXPECT_NE(second.find("Message-Id: <" + fixed_time + "-2-007>"), std::string::npos);
    EXPECT_NE(second.find("Content-Id: <" + fixed_time + "-3-99>"), std::string::npos);
    EXPECT_EQ(note.calls, "BGPEBGPE");
}

TEST_F(SendTest, CallsFromTheWrongPlaceDoNothing) {
    class MeddlingNote : public DatedNote {
    public:
        using DatedNote::DatedNote;

    protected:
        void Meddle() {
            EXPECT_EQ(Send(), 0);
            EXPECT_EQ(SendField("X-Meddle", "1"), 0);
            FlushOutputBuffers();
        }
        void BeginOutput() override {
            Meddle();
            DatedNote::BeginOutput();
        }
        void GetOutputBuffer(Buffer & block) override {
            Meddle();
            DatedNote::GetOutputBuffer(block);
        }
        void PutOutputBuffer(Buffer & block) override {
            Meddle();
            DatedNote::PutOutputBuffer(block);
        }
        void EndOutput() override {
            Meddle();
            DatedNote::EndOutput();
        }
        void PutXFields() override {
            EXPECT_EQ(SendField("Subject", "no"), 0);
            EXPECT_EQ(SendField("text", "no"), 0);
            EXPECT_EQ(SendField(nullptr, "no"), 0);
            EXPECT_EQ(SendField("X-No", nullptr), 0);
            SymToken const met_in_a_message("x-yes");
            EXPECT_EQ(SendField("X-Yes", std::string(100, 'y').c_str()), 1);
        }
    };
    for (std::size_t const block_size : {1, 10, 100}) {
        MeddlingNote note(text_part("text"));
        note.block_size = block_size;
        std::string const sent = note.SendWhole();
        EXPECT_EQ(sent.find("Meddle"), std::string::npos);
        EXPECT_EQ(sent.find("no\r\n"), std::string::npos);
        EXPECT_NE(sent.find("\r\nX-Yes: " + std::string(100, 'y') + "\r\n"), std::string::npos);
    }
    OutputNote note;
    note.FlushOutputBuffers();
    EXPECT_EQ(note.SendField("X-Field", "1"), 0);
    EXPECT_EQ(note.calls, "");
}

/// A stream buffer that flushes the note before each piece.
class FlushingBody : public std::streambuf {
public:
    explicit FlushingBody(OutputNote & note) : note_(note) {}

protected:
    int_type underflow() override {
        note_.FlushOutputBuffers();
        if (pieces_ == 0) return traits_type::eof();
        --pieces_;
        setg(piece_, piece_, piece_ + 5);
        return traits_type::to_int_type(*gptr());
    }

private:
    OutputNote & note_;
    int pieces_ = 5;
    char piece_[6] = "piece";
};

TEST_F(SendTest, ABodyStreamMayFlushTheOutput) {
    class FlushingNote : public OutputNote {
    public:
        FlushingBody buffer{*this};
        std::istream stream{&buffer};

    protected:
        int BeginBody(MimeContext &, std::istream ** body) override {
            *body = &stream;
            return 1;
        }
    };
    for (char const * encoding : {RFC1521::ASCII_8bit, RFC1521::quoted_printable}) {
        for (std::size_t const block_size : {1, 7, 4096}) {
            FlushingNote note;
            note.block_size = block_size;
            note.SetTextEncoding(encoding);
            std::string sent = note.SendWhole();
            sent.erase(0, sent.find("\r\n\r\n") + 4);
            if (sent.ends_with("=\r\n")) sent.resize(sent.size() - 3);
            EXPECT_EQ(sent, "piecepiecepiecepiecepiece");
            EXPECT_TRUE(note.AllReturned());
        }
    }
}

// failures -------------------------------------------------------------------------

Part message_with_everything() {
    Part inner = text_part("Stra\xDF"
                           "e\r\n")
                     .With(&Part::subject, "Stra\xDF"
                                           "e");
    Part message = multipart("mixed", {text_part(std::string(3000, 'x')), message_part(inner),
                                       binary_part(std::string(40000, 'y'), "\xE4.bin")});
    message.to = {{"\xE4", "a@x"}, {"B", "b@x"}};
    message.fields = {{"X-Field", "value \xE4"}};
    return message;
}

struct Sending {
    Sending(unsigned int split_size, std::size_t block_size) {
        note.block_size = block_size;
        note.SetNetworkSplitSize(split_size);
    }
    SpyNote note{message_with_everything()};
};

TEST_F(SendTest, AnExceptionOfAnyCallPassesThrough) {
    for (unsigned int const split_size : {0U, 30720U}) {
        Sending whole(split_size, 500);
        ASSERT_EQ(whole.note.Send(), 1);
        std::size_t const fragments = whole.note.messages.size();
        EXPECT_EQ(fragments, split_size == 0 ? 1U : 2U);
        for (int k = 0; k < whole.note.calls_made; ++k) {
            Sending run(split_size, 500);
            run.note.calls_left = k;
            EXPECT_THROW(run.note.Send(), SpyNote::Stop) << k;
            EXPECT_EQ(run.note.calls_made, k + 1) << "called after the exception";
            run.note.Rewind();
            run.note.calls_left = INT_MAX;
            EXPECT_EQ(run.note.Send(), 1);
            EXPECT_EQ(run.note.messages.size(), fragments);
        }
    }
}

TEST_F(SendTest, AnExceptionOfABodyPassesThrough) {
    class BrokenBody : public std::streambuf {
    public:
        int pieces = 0;

    protected:
        int_type underflow() override {
            if (pieces-- == 0) throw SpyNote::Stop{};
            setg(piece_, piece_, piece_ + sizeof piece_);
            return traits_type::to_int_type(*gptr());
        }

    private:
        char piece_[1500] = {};
    };
    class BrokenNote : public OutputNote {
    public:
        BrokenNote(char const * type, char const * subtype, int pieces)
            : type_(type), subtype_(subtype) {
            buffer_.pieces = pieces;
        }

    protected:
        int Get_Content_Type(SymToken & type, SymToken & subtype) override {
            type = type_;
            subtype = subtype_;
            return 1;
        }
        int BeginBody(MimeContext &, std::istream ** body) override {
            *body = &stream_;
            return 1;
        }

    private:
        char const * type_;
        char const * subtype_;
        BrokenBody buffer_;
        std::istream stream_{&buffer_};
    };
    struct {
        char const *type, *subtype, *encoding;
    } const rows[] = {{"text", "plain", "8bit"},
                      {"text", "plain", "quoted-printable"},
                      {"image", "png", ""},
                      {"message", "rfc822", ""}};
    for (auto const & row : rows) {
        for (int const pieces : {0, 1, 5}) {
            BrokenNote note(row.type, row.subtype, pieces);
            note.block_size = 1000;
            note.SetTextEncoding(row.encoding);
            EXPECT_THROW(note.Send(), SpyNote::Stop) << row.type << row.encoding;
        }
    }
}

/// Whatever block is the last one, the run ends in order, and what went out is the begin of what
/// would have gone out.
TEST_F(SendTest, AClientThatStopsLendingEndsTheRun) {
    Sending one_message(0, 4096);
    std::string const unsplit = one_message.note.SendWhole();
    for (unsigned int const split_size : {0U, 30720U}) {
        for (std::size_t const block_size : {37, 500, 20000}) {
            Sending whole(split_size, block_size);
            ASSERT_EQ(whole.note.Send(), 1);
            long const step =
                std::max(1L, whole.note.lent / 60); // with 37 bytes it lends thousands
            for (long k = 0; k < whole.note.lent; k += step) {
                Sending run(split_size, block_size);
                run.note.blocks_to_lend = k;
                EXPECT_EQ(run.note.Send(), 0) << k << " of " << whole.note.lent;
                EXPECT_EQ(run.note.open_parts, 0);
                EXPECT_EQ(run.note.open_bodies, 0);
                if (k == 0) {
                    EXPECT_EQ(run.note.calls, "BG");
                    continue;
                }
                EXPECT_TRUE(run.note.AllReturned());
                auto const & sent = run.note.messages;
                ASSERT_LE(sent.size(), whole.note.messages.size());
                for (std::size_t i = 0; i < sent.size(); ++i) {
                    bool const last = i + 1 == sent.size();
                    auto const & expected = whole.note.messages[i];
                    // The last one breaks off; it can end in the line that would have been moved,
                    // and the first one, not cut yet, is the begin of the whole message.
                    EXPECT_TRUE(sent[i] == expected || (last && expected.starts_with(sent[i])) ||
                                (last && sent[i].starts_with(expected)) ||
                                (sent.size() == 1 && unsplit.starts_with(sent[i])))
                        << "fragment " << i;
                }
            }
        }
    }
}

} // namespace
