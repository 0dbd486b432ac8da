// tests/send_body_test.cpp - the way of a body through translator and encoder
#include "mime/nls/charset.hpp"
#include "mime/note/outgoing_note.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/note_script.hpp"
#include "tests/support/translators.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace vellum::test;

constexpr std::size_t block = 2048;

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// Makes letters upper-case, and fails at a "!", which it swallows. In one block it also fails at a
/// "#" in front, before it touches its result.
class UpperCase : public TextTranslator {
public:
    struct How {
        /// "gathers": the stream form reads all before it writes. "idle": the stream form does
        /// nothing. "kept": stays in the list of the run. "takes pieces": holds the last byte of
        /// each piece back for the next. "double byte", "shift states", "multi-byte": restrictions.
        std::string manner = {};
        bool own_memory = false; ///< instead of the block that is offered
        std::string log = {};    ///< the calls
        int living = 0;

        bool is(char const * word) const { return manner.find(word) != manner.npos; }
    };

    UpperCase(char const * set, How & how) : TextTranslator(set), how_(how) { ++how_.living; }
    ~UpperCase() override { --how_.living; }

    void Delete() override {
        if (!how_.is("kept")) NLS_Translator::Delete();
    }
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return how_.is("double byte")    ? double_byte
               : how_.is("shift states") ? shift_states
               : how_.is("multi-byte")   ? multi_byte_pieces
                                         : no_restriction;
    }
    bool Takes_Pieces(NLS_CharSet * set) override {
        EXPECT_NE(set, nullptr);
        return how_.is("takes pieces");
    }
    int Translate(std::string_view text, std::string & result) override {
        std::string_view const good = text.substr(0, text.find('!'));
        std::transform(good.begin(), good.end(), std::back_inserter(result), upper);
        return good.size() == text.size() ? 0 : 15;
    }

    int CodePage_to_CharSet(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & out_size, void (**release)(unsigned char *)) override {
        how_.log += "b" + std::to_string(size) + " ";
        EXPECT_EQ(out_size, out != nullptr ? block : 0); // a header text comes with no offer
        EXPECT_EQ(*release, nullptr);
        if (size > 0 && in[0] == '#') return 15;
        if (how_.own_memory || size > out_size)
            return TextTranslator::CodePage_to_CharSet(in, size, out, out_size, release);
        std::string result;
        int const status = Translate({reinterpret_cast<char const *>(in), size}, result);
        std::copy(result.begin(), result.end(), out);
        out_size = result.size();
        return status;
    }
    int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) override {
        how_.log += "s ";
        if (how_.is("idle")) return 15;
        std::string result;
        int status = 0;
        for (int c; status == 0 && (c = in->get()) >= 0;) {
            status = Translate(std::string(1, static_cast<char>(c)), result);
            if (!how_.is("gathers")) out->write(std::exchange(result, ""));
        }
        if (status == 0) out->write(result);
        return status;
    }
    int CodePage_to_CharSet_Piece(iSimpleStream * in, bool last, oSimpleStream * out) override {
        EXPECT_TRUE(in->good());
        std::string text = held_;
        for (int c; (c = in->get()) >= 0;)
            text += static_cast<char>(c);
        how_.log += (last ? "last" : "p") + std::to_string(text.size() - held_.size()) + " ";
        held_ = last || text.empty() ? "" : text.substr(text.size() - 1);
        std::string result;
        int const status = Translate(text.substr(0, text.size() - held_.size()), result);
        out->write(result);
        return status;
    }

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

class BodyTest : public testing::Test {
    CodePage const page_{1252};
};

/// translated.case holds rows ENCODING | BODY | CALLS | RESULT, in a section for each translator.
TEST_F(BodyTest, TheRoadDependsOnTranslatorAndEncoder) {
    for (auto const & [manner, text] : sections_of("translated.case")) {
        for (Cells const & row : rows_of(text)) {
            for (bool const own_memory : {false, true}) {
                UpperCase::How how{manner, own_memory};
                std::string const bytes = sent(text_part(row[1]), row[0], &how);
                std::string const calls = row[2].empty() ? "" : row[2] + " ";
                EXPECT_EQ(how.log, "New(ISO-8859-1) " + calls) << manner << ": " << row[1];
                EXPECT_TRUE(bytes == (row[0] == "8bit" ? row[3] : sent(binary_part(row[3]), "")))
                    << manner << ": " << row[1];
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
    UpperCase::How how{"kept"};
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
    Part const part = text_part(std::string(100000, 'x')).With("Subject", "\xE4");
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
