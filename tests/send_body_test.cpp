// tests/send_body_test.cpp - the way of a body through translator and encoder
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/note/outgoing_note.hpp"
#include "tests/support/case_file.hpp"
#include "tests/support/note_script.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>

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
        bool kept = false;       ///< stays in the list of the run
        bool pieces = false;     ///< takes pieces; holds the last byte of each back for the next
        std::string log;         ///< the calls
        int living = 0;
    };

    UpperCase(char const * set, How & how) : how_(how) {
        charSetName = set;
        ++how_.living;
    }
    ~UpperCase() override { --how_.living; }

    void Delete() override {
        if (!how_.kept) NLS_Translator::Delete();
    }
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
        for (int c; (c = in->get()) >= 0;) {
            if (c == '!') return 15;
            gathered += static_cast<char>(upper(static_cast<unsigned char>(c)));
            if (!how_.gathers) out->write(std::exchange(gathered, ""));
        }
        out->write(gathered);
        return 0;
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

/// The body of a note as it goes out, the same in blocks of every size.
std::string sent(Part const & part, std::string const & encoding, UpperCase::How * how = nullptr) {
    std::string result;
    for (std::size_t const block_size : {4096, 1, 999}) {
        DescribedNote note(part);
        note.block_size = block_size;
        note.SetTextEncoding(encoding.c_str());
        if (how != nullptr) {
            how->log.clear();
            note.SetNLS(new UpperCaseFactory(*how), 1);
        }
        std::string message = note.SendWhole();
        EXPECT_TRUE(note.AllReturned());
        message.erase(0, message.find("\r\n\r\n") + 4);
        EXPECT_TRUE(block_size == 4096 || message == result);
        result = message;
    }
    EXPECT_TRUE(how == nullptr || how->living == 0);
    return result;
}

/// "a*3 b" is "aaab", and "-" is empty.
std::string text_of(std::string const & notation) {
    std::string text;
    for (std::string const & word : split(notation, ' ')) {
        std::size_t const star = word.find('*');
        std::size_t const times = star == word.npos ? 1 : std::stoul(word.substr(star + 1));
        if (word != "-") text += repeated(word.substr(0, star), times);
    }
    return text;
}

/// The translator that the title of a section asks for.
UpperCase::How how_of(std::string const & title) {
    UpperCase::How how;
    auto const is = [&title](char const * word) { return title.find(word) != title.npos; };
    how.restrictions = is("double byte")    ? NLS_Translator::double_byte
                       : is("shift states") ? NLS_Translator::shift_states
                       : is("multi-byte")   ? NLS_Translator::multi_byte_pieces
                                            : NLS_Translator::no_restriction;
    how.gathers = is("gathers");
    how.idle = is("idle");
    how.pieces = is("takes pieces");
    return how;
}

class BodyTest : public testing::Test {
protected:
    BodyTest() { NLS::PlatformCodePage = 1252; }
    ~BodyTest() override { NLS::PlatformCodePage = code_page_; }

private:
    unsigned long const code_page_ = NLS::PlatformCodePage;
};

/// translated.case holds rows ENCODING: BODY -> CALLS -> RESULT, in a section for each translator.
TEST_F(BodyTest, TheRoadDependsOnTranslatorAndEncoder) {
    for (auto const & [title, text] : sections_of("translated.case")) {
        for (std::string const & row : split(text, '\n')) {
            auto const arrow = row.find(" -> ");
            if (row.empty() || row[0] == '#') continue;
            auto const second = row.find(" -> ", arrow + 1);
            std::string const encoding = row.substr(0, row.find(':'));
            Part const body =
                text_part(text_of(row.substr(encoding.size() + 2, arrow - encoding.size() - 2)));
            Part const result = binary_part(text_of(row.substr(second + 4)));
            for (bool const own_memory : {false, true}) {
                UpperCase::How how = how_of(title);
                how.own_memory = own_memory;
                std::string const bytes = sent(body, encoding, &how);
                std::string const calls = row.substr(arrow + 4, second - arrow - 4);
                EXPECT_EQ(how.log, "New(ISO-8859-1) " + (calls == "-" ? "" : calls + " "))
                    << title << ": " << row;
                EXPECT_TRUE(bytes == (encoding == "8bit" ? *result.body : sent(result, "")))
                    << title << ": " << row;
            }
        }
    }
}

TEST_F(BodyTest, WithoutATextNoTranslatorIsMade) {
    UpperCase::How how;
    EXPECT_EQ(sent({}, "base64", &how), "");
    EXPECT_EQ(sent(binary_part("a"), "", &how), "YQ==\r\n");
    EXPECT_EQ(how.log, "");
}

TEST_F(BodyTest, OneTranslatorServesAllParts) {
    UpperCase::How how;
    how.kept = true;
    {
        DescribedNote note(multipart("mixed", {text_part("a"), text_part("b"), text_part("c")}));
        note.SetNLS(new UpperCaseFactory(how), 0);
        note.SetTextEncoding("8bit");
        EXPECT_NE(note.SendWhole().find("\r\nC\r\n"), std::string::npos);
        EXPECT_EQ(how.log, "New(ISO-8859-1) s s s ");
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
        note.SetNetworkSplitSize(0);
        std::string const expected = note.SendWhole();
        note.Rewind();
        note.SetNetworkSplitSize(30720);
        EXPECT_EQ(note.Send(), 1);
        EXPECT_GT(note.messages.size(), 2U);
        std::string const joint = joined(note.messages);
        EXPECT_TRUE(joint.substr(joint.find("Content-Transfer")) ==
                    expected.substr(expected.find("Content-Transfer")));
        EXPECT_EQ(how.living, 0);
    }
}

} // namespace
