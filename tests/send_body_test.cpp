// tests/send_body_test.cpp - the way of a body through translator and encoder
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/outgoing_note.hpp"
#include "tests/support/outgoing_notes.hpp"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using namespace vellum::test;

constexpr std::size_t block = 2048;

unsigned char upper(unsigned char c) {
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 'a' + 'A') : c;
}

/// Makes letters upper-case, and fails at a "!", which it swallows. What it does at "#" and where
/// it leaves its results is set in `How`.
class UpperCase : public NLS_Translator {
public:
    struct How {
        Buffering_Restrictions restrictions = no_restriction;
        bool own_memory = false; ///< instead of the block that is offered
        bool gathers = false;    ///< the stream form reads all before it writes
        bool idle = false;       ///< the stream form does nothing at all
        bool pieces = false;     ///< takes pieces; holds the last byte of each back for the next
        std::string log;         ///< the calls
        int living = 0;
    };

    UpperCase(char const * set, How & how) : how_(how) {
        charSetName = set;
        ++how_.living;
    }
    ~UpperCase() override { --how_.living; }

    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return how_.restrictions;
    }

    int CodePage_to_CharSet(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & out_size, void (**release)(unsigned char *)) override {
        how_.log += "b" + std::to_string(size) + " ";
        EXPECT_EQ(out_size, out != nullptr ? block : 0); // a header text comes with no offer
        EXPECT_EQ(*release, nullptr);
        if (size > 0 && in[0] == '#') return 15; // before it touches its result
        if (how_.own_memory || size > out_size) {
            out = static_cast<unsigned char *>(::operator new(size + 1));
            *release = FreeMem_Cpp;
        }
        unsigned char * const bad = std::find(in, in + size, '!');
        std::transform(in, bad, out, upper);
        out_size = static_cast<unsigned long>(bad - in);
        return bad == in + size ? 0 : 15;
    }

    int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) override {
        how_.log += "s ";
        if (how_.idle) return 15;
        std::string gathered;
        bool failed = false;
        for (int c; !failed && (c = in->get()) >= 0;) {
            failed = c == '!';
            if (failed) break;
            char const translated = static_cast<char>(upper(static_cast<unsigned char>(c)));
            if (how_.gathers) {
                gathered += translated;
            } else {
                *out << translated;
            }
        }
        if (!failed) out->write(gathered);
        return failed ? 15 : 0;
    }
    bool Takes_Pieces(NLS_CharSet * set) override {
        EXPECT_NE(set, nullptr);
        return how_.pieces;
    }
    int CodePage_to_CharSet_Piece(iSimpleStream * in, bool last, oSimpleStream * out) override {
        EXPECT_TRUE(in->good());
        std::string text = held_;
        for (int c; (c = in->get()) >= 0;)
            text += static_cast<char>(c);
        how_.log += (last ? "last" : "p") + std::to_string(text.size() - held_.size()) + " ";
        held_ = last || text.empty() ? "" : text.substr(text.size() - 1);
        text.resize(text.size() - held_.size());
        std::size_t const bad = text.find('!');
        for (char const c : text.substr(0, bad))
            *out << static_cast<char>(upper(static_cast<unsigned char>(c)));
        return bad == text.npos ? 0 : 15;
    }
    int CharSet_to_CodePage(unsigned char *, unsigned long, unsigned char *&, unsigned long &,
                            void (**)(unsigned char *)) override {
        return 1;
    }
    int CharSet_to_CodePage(iSimpleStream *, oSimpleStream *) override { return 1; }

private:
    How & how_;
    std::string held_;
};

class UpperCaseFactory : public NLS_Translator_Factory {
public:
    explicit UpperCaseFactory(UpperCase::How & how) : how_(how) {}
    NLS_Translator * New(char const * set, int) override {
        how_.log += std::string("New(") + set + ") ";
        return new UpperCase(set, how_);
    }

private:
    UpperCase::How & how_;
};

class BodyTest : public testing::Test {
protected:
    BodyTest() { NLS::PlatformCodePage = 1252; }
    ~BodyTest() override { NLS::PlatformCodePage = code_page_; }

    /// The body as it goes out, the same in blocks of every size.
    std::string Send(Part const & part, char const * encoding, UpperCase::How * how = nullptr) {
        std::string result;
        for (std::size_t const block_size : {4096, 1, 999}) {
            DescribedNote note(part);
            note.block_size = block_size;
            note.SetTextEncoding(encoding);
            if (how != nullptr) {
                how->log.clear();
                note.SetNLS(new UpperCaseFactory(*how), 1);
            }
            std::string sent = note.SendWhole();
            EXPECT_TRUE(note.AllReturned());
            header = sent.substr(0, sent.find("\r\n\r\n"));
            sent.erase(0, header.size() + 4);
            EXPECT_TRUE(block_size == 4096 || sent == result);
            result = sent;
        }
        EXPECT_TRUE(how == nullptr || how->living == 0);
        return result;
    }

    std::string header;

private:
    unsigned long const code_page_ = NLS::PlatformCodePage;
};

TEST_F(BodyTest, TextEncodings) {
    std::string const text = "a\xE4=\r\nb\rc\n";
    struct {
        char const *encoding, *label;
        std::string body;
    } const rows[] = {
        {nullptr, "binary", text},
        {"7bit", "7bit", text},
        {"8bit", "8bit", text},
        {"x-unheard-of", "x-unheard-of", text},
        {"base64", "base64", "YeQ9DQpiDWMK\r\n"},
        {"BASE64", "base64", "YeQ9DQpiDWMK\r\n"},
        {"quoted-printable", "quoted-printable", "a=E4=3D\r\nb=0Dc=0A=\r\n"},
        {"", "quoted-printable", "a=E4=3D\r\nb=0Dc=0A=\r\n"},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(Send(text_part(text), row.encoding), row.body);
        EXPECT_TRUE(header.ends_with("\r\nContent-Transfer-Encoding: " + std::string(row.label)))
            << header;
        // What isn't text doesn't ask.
        EXPECT_EQ(Send(binary_part(text), row.encoding), "YeQ9DQpiDWMK\r\n");
        EXPECT_EQ(header.find("charset"), std::string::npos);
    }
}

TEST_F(BodyTest, WithoutABodyNoTranslatorIsMade) {
    UpperCase::How how;
    Part part = text_part("");
    part.body.reset();
    EXPECT_EQ(Send(part, "base64", &how), "");
    EXPECT_EQ(how.log, "");
    EXPECT_EQ(Send(binary_part("a"), "", &how), "YQ==\r\n");
    EXPECT_EQ(how.log, "");
}

TEST_F(BodyTest, TheRoadDependsOnTranslatorAndEncoder) {
    std::string const body(2 * block + 1, 'x');
    struct {
        NLS_Translator::Buffering_Restrictions restrictions;
        char const *plain_road, *encoded_road;
    } const rows[] = {
        {NLS_Translator::no_restriction, "s ", "b2048 b2048 b1 "},
        {NLS_Translator::double_byte, "s ", "b2048 b2048 b1 "},
        {NLS_Translator::shift_states, "b4097 ", "b4097 "},
        {NLS_Translator::multi_byte_pieces, "b4097 ", "b4097 "},
    };
    for (auto const & row : rows) {
        for (bool const own_memory : {false, true}) {
            UpperCase::How how;
            how.restrictions = row.restrictions;
            how.own_memory = own_memory;
            EXPECT_TRUE(Send(text_part(body), "8bit", &how) == std::string(body.size(), 'X'));
            EXPECT_EQ(how.log, std::string("New(ISO-8859-1) ") + row.plain_road);
            std::string const in_base64 = Send(text_part(body), "base64", &how);
            EXPECT_EQ(how.log, std::string("New(ISO-8859-1) ") + row.encoded_road);
            EXPECT_TRUE(in_base64 == Send(binary_part(std::string(body.size(), 'X')), ""));
        }
    }
    UpperCase::How how;
    EXPECT_EQ(Send(text_part(std::string(block, 'x')), "base64", &how).size() / 1000, 2U);
    EXPECT_EQ(how.log, "New(ISO-8859-1) b2048 "); // no empty block behind a full one
}

/// A translator that takes pieces gets no text whole, whatever set it serves.
TEST_F(BodyTest, ATranslatorThatTakesPieces) {
    std::string const a(block, 'a');
    std::string const A(block, 'A');
    struct {
        std::string body, log, result;
    } const rows[] = {
        {"", "last0 ", ""},
        {"a", "p1 last0 ", "A"},
        {a + a + "b", "p2048 p2048 p1 last0 ", A + A + "B"},
        {"ab!cd" + a, "p2048 p5 last0 ", "AB" + std::string(6, 'A')}, // what came before it failed
        {a + "!" + a, "p2048 p2048 p1 last0 ", A.substr(1) + "A" + "AA"},
        {"!" + a, "p2048 p1 last0 ", "!" + a.substr(1) + "AA"}, // it gave nothing
    };
    for (auto const & row : rows) {
        for (auto const restrictions :
             {NLS_Translator::no_restriction, NLS_Translator::shift_states}) {
            UpperCase::How how;
            how.pieces = true;
            how.restrictions = restrictions;
            EXPECT_EQ(Send(text_part(row.body), "8bit", &how), row.result);
            EXPECT_EQ(how.log, "New(ISO-8859-1) " + row.log);
            EXPECT_EQ(Send(text_part(row.body), "base64", &how), Send(binary_part(row.result), ""));
        }
    }
}

TEST_F(BodyTest, ATranslatorThatFailsInTheMiddle) {
    std::string const a(block, 'a');
    std::string const A(block, 'A');
    struct {
        std::string body, in_blocks, as_stream, whole;
    } const rows[] = {
        // What it gave is written, and the rest goes on through it.
        {"ab!cd", "AB", "ABCD", "AB"},
        {a + "b!" + a, A + "B" + std::string(2, 'A'), A + "B" + A, A + "B"},
        // It gave nothing: what it took goes out untranslated.
        {"!ab", "!ab", "!AB", "!ab"},
        {a + "!ab", A + "!ab", A + "!AB", A},
        {"#a" + a, "#a" + std::string(block - 2, 'a') + "AA", "#A" + A, "#a" + a},
        {"", "", "", ""},
    };
    for (auto const & row : rows) {
        UpperCase::How how;
        EXPECT_EQ(Send(text_part(row.body), "8bit", &how), row.as_stream);
        std::string const encoded = Send(text_part(row.body), "base64", &how);
        EXPECT_EQ(encoded, Send(binary_part(row.in_blocks), "")) << row.body.size();
        how.restrictions = NLS_Translator::multi_byte_pieces;
        EXPECT_EQ(Send(text_part(row.body), "8bit", &how), row.whole);
    }
}

TEST_F(BodyTest, ATranslatorThatHoldsTextBack) {
    std::string const long_text(3 * block + 5, 'a');
    UpperCase::How how;
    how.gathers = true;
    EXPECT_EQ(Send(text_part(long_text), "8bit", &how), std::string(long_text.size(), 'A'));
    // It took three blocks before it failed, and gave nothing for them.
    EXPECT_EQ(Send(text_part(long_text + "!b"), "8bit", &how), long_text + "!B");
    how.idle = true;
    EXPECT_EQ(Send(text_part(long_text), "8bit", &how), long_text);
}

TEST_F(BodyTest, OneTranslatorServesAllParts) {
    class Kept : public UpperCase {
    public:
        using UpperCase::UpperCase;
        void Delete() override {}
    };
    class KeptFactory : public NLS_Translator_Factory {
    public:
        explicit KeptFactory(UpperCase::How & how) : how_(how) {}
        NLS_Translator * New(char const * set, int) override {
            how_.log += "New ";
            return new Kept(set, how_);
        }

    private:
        UpperCase::How & how_;
    };
    UpperCase::How how;
    {
        DescribedNote note(multipart("mixed", {text_part("a"), text_part("b"), text_part("c")}));
        note.SetNLS(new KeptFactory(how), 0);
        note.SetTextEncoding("8bit");
        EXPECT_NE(note.SendWhole().find("\r\nC\r\n"), std::string::npos);
        EXPECT_EQ(how.log, "New s s s ");
        EXPECT_EQ(how.living, 1);
    }
    EXPECT_EQ(how.living, 0);
}

/// The subject of a fragment is translated while the body is in the middle of its translator.
TEST_F(BodyTest, AFragmentIsCutInTheMiddleOfATranslation) {
    Part const part = text_part(std::string(100000, 'x')).With(&Part::subject, "\xE4");
    for (char const * encoding : {"8bit", "base64"}) {
        UpperCase::How how;
        DescribedNote note(part);
        note.SetNLS(new UpperCaseFactory(how), 0);
        note.SetTextEncoding(encoding);
        note.SetNetworkSplitSize(30720);
        EXPECT_EQ(note.Send(), 1);
        EXPECT_GT(note.messages.size(), 2U);
        EXPECT_EQ(how.living, 0);
    }
}

TEST_F(BodyTest, ABodyStreamWithAnErrorEndsTheBody) {
    class ErrorNote : public OutputNote {
    public:
        std::istringstream body{"text"};

    protected:
        int BeginBody(MimeContext &, std::istream ** stream) override {
            *stream = &body;
            return 1;
        }
    };
    ErrorNote note;
    note.SetTextEncoding(RFC1521::base64);
    note.body.setstate(std::ios_base::failbit);
    EXPECT_TRUE(note.SendWhole().ends_with("base64\r\n\r\n"));
    note.body.clear();
    EXPECT_TRUE(note.SendWhole().ends_with("base64\r\n\r\ndGV4dA==\r\n"));
    EXPECT_TRUE(note.body.eof());
    note.body.std::basic_ios<char>::rdbuf(nullptr);
    EXPECT_TRUE(note.SendWhole().ends_with("base64\r\n\r\n"));
    note.SetTextEncoding(RFC1521::ASCII_8bit);
    EXPECT_TRUE(note.SendWhole().ends_with("8bit\r\n\r\n"));
}

} // namespace
