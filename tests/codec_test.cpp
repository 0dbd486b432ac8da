// tests/codec_test.cpp - the transfer codecs: rows of input and output, in every cut
#include "mime/codec/base64.hpp"
#include "mime/codec/conversion.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/transfer_codec.hpp"
#include "mime/codec/uuencode.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/translator.hpp"
#include "tests/support/codec_runs.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace {

using namespace vellum::test;

/// The outcome has to be the same however the input is cut, between buffers and between calls, and
/// whatever room the output has.
template <typename Codec>
void expect_outcome(std::string_view input, Outcome const & expected, Codec const & codec) {
    SCOPED_TRACE(testing::PrintToString(input));
    for (std::size_t const block_size : {1U, 2U, 3U, 1000U})
        ASSERT_EQ(outcome_of(codec, input, block_size), expected) << "in blocks of " << block_size;
    for (Chunking const & chunking : chunkings(input.size())) {
        ChunkedSimpleStream in(input, chunking);
        ASSERT_EQ(outcome_of(codec, in), expected) << "refills in " << chunking.name();
        bool const may_stop =
            std::is_same_v<Codec, Decoding64> && input.ends_with('=') && expected.result == 0;
        EXPECT_EQ(in.good(), may_stop);
    }
    if (input.empty()) return;
    for_each_cut(input, [&](std::vector<ExactCopy> const & pieces, std::string const & how) {
        ASSERT_EQ(outcome_of(codec, pieces), expected) << "calls in " << how;
    });
}

/// The same for a text whose outcome isn't told.
template <typename Codec>
void expect_one_outcome(std::string_view input, Codec const & codec) {
    expect_outcome(input, outcome_of(codec, input), codec);
}

/// A decoder with these rules.
template <typename Codec>
Codec with(std::initializer_list<bool DecodingRules::*> names) {
    DecodingRules rules;
    for (bool DecodingRules::*const name : names)
        rules.*name = true;
    Codec codec;
    codec.SetRules(rules);
    return codec;
}

template <typename Codec>
std::string all_of(std::string_view input, Codec const & codec) {
    Outcome const outcome = outcome_of(codec, input);
    return outcome.output + outcome.tail;
}

struct Row {
    std::string input;
    std::string output;
    int result;
    std::string tail;
    std::string defects = {};
};

template <typename Codec>
void expect_rows(std::vector<Row> const & rows, Codec const & codec) {
    for (auto const & [input, output, result, tail, defects] : rows)
        expect_outcome(input, {output, result, tail, defects}, codec);
}

/// Calls `visit` with each text of up to `most` pieces.
template <typename Visit>
void for_each_text(std::vector<std::string> const & pieces, int most, Visit visit,
                   std::string const & text = {}) {
    visit(text);
    if (most == 0) return;
    for (std::string const & piece : pieces)
        for_each_text(pieces, most - 1, visit, text + piece);
}

/// Every short text of these pieces gives one output, whole, byte by byte and in two.
template <typename Codec>
void expect_same_in_any_cut(std::vector<std::string> const & pieces, int most,
                            Codec const & codec = Codec()) {
    for_each_text(pieces, most, [&](std::string const & text) {
        Outcome const expected = outcome_of(codec, text);
        for (Chunking const & chunking : chunkings(text.size())) {
            ChunkedSimpleStream chunked(text, chunking);
            ASSERT_EQ(outcome_of(codec, chunked, 1), expected)
                << testing::PrintToString(text) << " in " << chunking.name();
        }
    });
}

std::string random_text(std::mt19937 & random, unsigned long size, std::string_view alphabet) {
    std::string text;
    while (text.size() < size)
        text += alphabet[random() % alphabet.size()];
    return text;
}

void expect_short_lines(std::string_view encoded) {
    for (std::string const & line : split(encoded, '\n'))
        EXPECT_LE(line.size(), 76U + 1) << line;
}

// base64 ---------------------------------------------------------------------------

TEST(Base64, Encodes) {
    std::string const line = repeated("YWJj", 19) + "\r\n";
    expect_rows({{"", "", 0, ""},
                 {"abc", "YWJj", 0, "\r\n"},
                 {"ab", "", 1, "YWI=\r\n"},
                 {"a", "", 1, "YQ==\r\n"},
                 {std::string("\0\xFF\r\n", 4), "AP8N", 1, "Cg==\r\n"},
                 {repeated("abc", 19), line, 0, ""},
                 {repeated("abc", 19) + "a", line, 1, "YQ==\r\n"},
                 {repeated("abc", 40), line + line + "YWJjYWJj", 0, "\r\n"}},
                Encoding64());
    expect_rows({{repeated("abc", 38), repeated("YWJj", 38), 0, ""}, {"ab", "", 1, "YWI="}},
                Encoding64(false));
}

TEST(Base64, Decodes) {
    expect_rows({{"", "", 0, ""},
                 {"YW Jj\r\n", "abc", 0, ""},
                 {"Y\x80W\xFFJ\x7F-_j", "abc", 0, "", "character"},
                 {"YWJjYWJj\nYWJj\n", "abcabcabc", 0, ""},
                 {"> +/+/", "\xFB\xFF\xBF", 0, "", "character"},
                 {"YWI", "", 1, "ab", "group"},
                 {"YQ=", "", 1, "a", "group"},
                 {"Y", "", 1, "", "group"},
                 {"Y=", "", 0, "", "group"},
                 {"YWI=", "ab", 0, ""},
                 {"YQ==", "a", 0, ""},
                 {repeated(repeated("YWJj", 19) + "\r\n", 3), repeated("abc", 57), 0, ""}},
                Decoding64());
    expect_rows({{"YQ==YWJj\r\n YWI=  \nYQ==\n", "aaba", 0, "", "padding"},
                 {"YQ==\n=\nYW=I=\n\n!\n", "aa", 0, "", "character group padding"},
                 {"YQ==\n" + repeated("YWJj", 40), "a" + repeated("abc", 40), 0, "", "padding"},
                 {"YQ==\r\nYW", "a", 1, "a", "group padding"}},
                with<Decoding64>({&DecodingRules::padding_ends_line_only}));
}

TEST(Base64, PaddingEndsADecodeAndLeavesTheRest) {
    struct {
        std::string_view input;
        std::string_view output;
        std::string_view rest;
    } const rows[] = {
        {"QQ==QQ==", "A", "QQ=="}, {"QUI=QUI=", "AB", "QUI="}, {"QQ=AQQ==", "A", "QQ=="},
        {"=QUJD", "", "QUJD"},     {"Q=QUJD", "", "QUJD"},     {"QUJDQ\r\n=QUJD", "ABC", "QUJD"},
    };
    for (auto const & row : rows) {
        for (Chunking const & chunking : chunkings(row.input.size())) {
            SCOPED_TRACE(std::string(row.input) + " in " + chunking.name());
            ChunkedSimpleStream in(row.input, chunking);
            Outcome const outcome = outcome_of(Decoding64(), in, 1);
            EXPECT_EQ(outcome.output + outcome.tail, row.output);
            EXPECT_EQ(outcome.result, 0);
            oSimpleStream rest;
            rest << in;
            EXPECT_EQ(std::string_view(rest.str(), rest.oBufCnt()), row.rest);
        }
    }
}

TEST(Base64, KeepsAllBytesInAnyCut) {
    std::mt19937 random(1);
    std::string all_bytes;
    for (int i = 0; i < 256; ++i)
        all_bytes += static_cast<char>(i);
    for (std::size_t const size : {2U, 57U, 58U, 113U, 115U, 256U}) {
        std::string const data = random_text(random, size, all_bytes);
        std::string const encoded = all_of(data, Encoding64());
        expect_short_lines(encoded);
        EXPECT_EQ(all_of(encoded, Decoding64()), data);
        std::string_view const unpadded(encoded.data(), encoded.find_last_not_of("=\r\n") + 1);
        EXPECT_EQ(all_of(unpadded, Decoding64()), data);
        expect_one_outcome(data, Encoding64());
        expect_one_outcome(unpadded, Decoding64());
    }
    expect_same_in_any_cut<Decoding64>({"Q", "=", "\r\n", "-", "QUJD"}, 5);
    expect_same_in_any_cut({"Q", "=", "\r\n", "-", "QUJD"}, 5,
                           with<Decoding64>({&DecodingRules::padding_ends_line_only}));
}

// quoted-printable -----------------------------------------------------------------

TEST(QuotedPrintable, Encodes) {
    std::string const x74 = repeated("x", 74);
    std::string const x75 = repeated("x", 75);
    expect_rows(
        {
            {"", "", 0, ""},
            {"abc", "abc", 0, "=\r\n"},
            {"abc \r\n", "abc =\r\n\r\n", 0, ""},
            {"abc\t\r\n\t\r\n", "abc\t=\r\n\r\n\t=\r\n\r\n", 0, ""},
            {"abc ", "abc ", 0, "=\r\n"},
            {"a=b\xE9\x7F\tc\x01\r\n", "a=3Db=E9=7F\tc=01\r\n", 0, ""},
            {"a\rb\nc\r\n", "a=0Db=0Ac\r\n", 0, ""},
            {"a\r\r\n", "a=0D\r\n", 0, ""},
            {"a\r", "a", 1, "=0D=\r\n"},
            {".a.b\r\n..\r\n", "=2Ea.b\r\n=2E.\r\n", 0, ""},
            // "From " is protected behind a line end, also an escaped one, and nowhere else
            {"From here\r\nFrom here\r\n", "From here\r\n=46rom here\r\n", 0, ""},
            {"\nFrom \r\n", "=0A=46rom =\r\n\r\n", 0, ""},
            {"\r\nFromage\r\n from x\r\nfrom x\r\n", "\r\nFromage\r\n from x\r\nfrom x\r\n", 0, ""},
            {"\r\nFrxFroFFr\r\n", "\r\nFrxFroFFr\r\n", 0, ""},
            {"\r\nFro\xE9\r\nF.\r\nF\r\n", "\r\nFro=E9\r\nF.\r\nF\r\n", 0, ""},
            {"\r\nF", "\r\n", 1, "F=\r\n"},
            {"\r\nFrom", "\r\n", 1, "From=\r\n"},
            // the length of a line
            {x75 + "\r\n", x75 + "\r\n", 0, ""},
            {x75 + "x", x75 + "=\r\nx", 0, "=\r\n"},
            {x74 + "=", x74 + "=\r\n=3D", 0, "=\r\n"},
            {repeated("x", 72) + "=\r\n", repeated("x", 72) + "=3D\r\n", 0, ""},
            {x75 + ".\r\n", x75 + "=\r\n=2E\r\n", 0, ""},
            {x75 + "From ", x75 + "=\r\nFrom ", 0, "=\r\n"},
            {x74 + " \r\n", x74 + " =\r\n\r\n", 0, ""},
            {x74 + "\r", x74, 1, "=\r\n=0D=\r\n"},
            {repeated("\xE9", 26), repeated("=E9", 25) + "=\r\n=E9", 0, "=\r\n"},
        },
        EncodingQP());
    std::string const x200 = repeated("x", 200);
    expect_rows({{x200 + ".x.\r\n.x", x200 + "=2Ex=2E\r\n=2Ex", 0, ""},
                 {" \r\nFrom x", " =\r\n\r\n=46rom x", 0, ""},
                 {"\r\nFrom", "\r\n", 1, "From"}},
                EncodingQP(false));
}

TEST(QuotedPrintable, Decodes) {
    std::string const text = repeated("a text of some words, ", 9);
    expect_rows({{"", "", 0, ""},
                 {"=41=e9=E9", "A\xE9\xE9", 0, ""},
                 {"a=\r\nb=\nc", "abc", 0, ""},
                 {"a=\rb=\r=41", "abA", 0, "", "escape"},
                 {"a\nb\r\nc\n", "a\r\nb\r\nc\r\n", 0, ""},
                 {"a\rb\r\r\n", "ab\r\n", 0, ""},
                 {"=ZZ=Z4=4Z==4\n=4\rx", "\xFF\xF4\xFF\xF4\r\n\xFFx", 0, "", "escape"},
                 {"a=", "a", 1, ""},
                 {"a=\r", "a", 1, ""},
                 {"a=4", "a", 1, "", "escape"},
                 {"a\r", "a", 1, "\r"},
                 {text + "=3D\x01\x80\xFF" + text + "\n" + text,
                  text + "=\x01\x80\xFF" + text + "\r\n" + text, 0, ""}},
                DecodingQP());
    expect_rows({{"x=y==41=4=ZZ=\rx=4\r\n", "x=y=A=4=ZZ=x=4\r\n", 0, "", "escape"},
                 {"a= \n=\t=\r\nb", "a= \r\n=\tb", 0, "", "escape"},
                 {"a=", "a", 1, ""},
                 {"a=4", "a", 1, "=4", "escape"},
                 {text + "=G1" + text, text + "=G1" + text, 0, "", "escape"}},
                with<DecodingQP>({&DecodingRules::keep_invalid_escapes}));
    expect_rows(
        {{"a= \nb=\t  \r\nc=\r\nd", "abcd", 0, ""},
         {"a=  x= 4= ", "a\xFFx\xF4", 1, "", "escape"},
         {"a=  ", "a", 1, ""},
         {"=" + repeated(" ", 75) + "\nb", "b", 0, ""},
         {"=" + repeated(" ", 76) + "\n", "\xFF" + repeated(" ", 74) + "\r\n", 0, "", "escape"}},
        with<DecodingQP>({&DecodingRules::drop_blanks_behind_soft_break}));
    expect_rows({{"a=  x= =\n= \t\n", "a=  x= ", 0, "", "escape"}},
                with<DecodingQP>({&DecodingRules::keep_invalid_escapes,
                                  &DecodingRules::drop_blanks_behind_soft_break}));
}

TEST(QuotedPrintable, KeepsAllBytesInAnyCut) {
    std::vector<std::string> const pieces{"F", "From ", "\r", "\n", "\r\n", ".", " ", "\xE9"};
    for_each_text(pieces, 4, [](std::string const & text) {
        std::string const encoded = all_of(text, EncodingQP());
        ASSERT_EQ(all_of(encoded, DecodingQP()), text) << testing::PrintToString(encoded);
    });
    expect_same_in_any_cut<EncodingQP>(pieces, 4);
    expect_same_in_any_cut<DecodingQP>({"=", "4", "\r", "\n"}, 5);
    expect_same_in_any_cut({"=", "4", " ", "\r", "\n"}, 5,
                           with<DecodingQP>({&DecodingRules::keep_invalid_escapes,
                                             &DecodingRules::drop_blanks_behind_soft_break}));

    std::mt19937 random(2);
    for (int i = 0; i < 10; ++i) {
        std::string text;
        while (text.size() < 400) {
            text += random_text(random, random() % 30, "abcdefghijk lmno. Fr=\xC3\xA9\t");
            text += random() % 5 == 0 ? "\r\n" : random() % 9 == 0 ? "\r" : "";
        }
        std::string const encoded = all_of(text, EncodingQP());
        expect_short_lines(encoded);
        EXPECT_EQ(all_of(encoded, DecodingQP()), text);
        expect_one_outcome(text, EncodingQP());
        expect_one_outcome(encoded, DecodingQP());
    }
}

// uuencode -------------------------------------------------------------------------

TEST(Uuencode, Decodes) {
    std::string const begin = "begin 644 x\n";
    std::string const line_of_45 = "M" + repeated("86)C", 15);
    expect_rows({{begin + "#86)C\n`\nend\n", "abc", 0, ""},
                 {begin + "#86)C\n \nend", "abc", 1, ""},
                 {begin + "#86)C\n`\n", "abc", 1, ""},
                 {begin + "#86)C\n\nend \r\n\nend\n", "abc", 0, "", "outside"},
                 {begin + "#86)C\r\n\r\n#86)C\r\n", "abc", 0, "", "outside"},
                 {"text\nBEGIN 644 X\r\n#86)C\r\n", "abc", 1, "", "end outside"},
                 {"begin\n#86)C\nbeginning 644 x\nbegi\n", "", 1, "", "begin outside"},
                 {"", "", 1, "", "begin"},
                 {begin + "!86)C\n\"86)C\n", "aab", 1, "", "end"},
                 {begin + "#86)C", "", 1, "abc", "end"},
                 {begin + "#86)C\n`", "abc", 1, ""},
                 {begin + "#8\x80\x01\x7F"
                          "and more\n",
                  {"\x60\0\x1F", 3},
                  1,
                  "",
                  "end"},
                 {begin + "M" + repeated("86)C", 5) + "\n",
                  repeated("abc", 5) + std::string(30, '\0'), 1, "", "end"},
                 {begin + line_of_45 + repeated("junk ", 30) + "\n" + line_of_45 + "\n`\n",
                  repeated("abc", 30), 1, ""},
                 {begin + "_" + repeated("86)C", 21) + "\n\n", repeated("abc", 21), 1, ""},
                 {begin + "end\n", {"8@\0\0\0", 5}, 1, "", "end"}},
                DecodingUU());
    expect_rows({{begin + "#86)C\nend\n", "abc", 1, ""},
                 {begin + "#86)C\nend \r\nx\n", "abc", 0, "", "outside"},
                 {begin + "#86)C\nend" + repeated(" ", 100) + "x\n", "abc", 1, ""},
                 {begin + "#86)C\nend", "abc", 1, ""}},
                with<DecodingUU>({&DecodingRules::end_word_ends_data}));
}

// framework ------------------------------------------------------------------------

template <typename Concrete, typename Codec>
bool is(Codec * codec) {
    bool const matches = dynamic_cast<Concrete *>(codec) != nullptr;
    Codec::Delete(codec);
    return matches;
}

TEST(TransferCodec, IsMadeForATokenOnly) {
    using Decoding = MIME_TransferDecoding;
    using Encoding = MIME_TransferEncoding;
    EXPECT_TRUE(is<Decoding64>(Decoding::Create(SymToken("BASE64"))));
    EXPECT_TRUE(is<DecodingQP>(Decoding::Create(RFC1521::quoted_printable)));
    EXPECT_TRUE(is<DecodingUU>(Decoding::Create(X::uuencode)));
    EXPECT_TRUE(is<Encoding64>(Encoding::Create(RFC1521::base64, true)));
    EXPECT_TRUE(is<EncodingQP>(Encoding::Create(RFC1521::quoted_printable, true)));
    std::string const same_text = RFC1521::base64;
    for (char const * const name :
         std::initializer_list<char const *>{same_text.c_str(), RFC1521::ASCII_7bit, nullptr}) {
        EXPECT_EQ(Decoding::Create(name), nullptr);
        EXPECT_EQ(Encoding::Create(name, true), nullptr);
    }
    EXPECT_EQ(Encoding::Create(X::uuencode, true), nullptr);
    Decoding::Delete(nullptr);
    Encoding::Delete(nullptr);
}

/// A codec that has seen "a".
template <class Codec>
Codec * with_open_group(oSimpleStream & out, Codec * codec) {
    ExactCopy const a("a");
    iSimpleStream in(a.begin(), a.end());
    codec->encode(&in, &out);
    return codec;
}

TEST(TransferCodec, ItsEndIsTheFlush) {
    LendingOutput out(10);
    MIME_TransferEncoding_Engine never_assigned;
    EXPECT_TRUE(!never_assigned);
    {
        MIME_TransferEncoding_Engine never_used(new Encoding64);
        MIME_TransferEncoding_Engine engine(with_open_group(out, new Encoding64(false)));
        MIME_TransferEncoding_Engine closed;
        closed = with_open_group(out, new EncodingQP);
        EXPECT_EQ(out.text(), "a");
        closed.close();
        EXPECT_TRUE(!closed);
        EXPECT_EQ(out.text(), "a=\r\n");
    }
    EXPECT_EQ(out.text(), "a=\r\nYQ==");

    Encoding64 * const dropped = with_open_group(out, new Encoding64);
    dropped->output = nullptr;
    dropped->Delete();
    EXPECT_EQ(out.text(), "a=\r\nYQ==");
}

TEST(TransferCodec, ARuleDecidesWhatFinishDoesWithAnOpenEnd) {
    for (bool const delivers : {false, true}) {
        DecodingRules rules;
        rules.deliver_unfinished_end = delivers;
        MIME_TransferDecoding_Engine decoder(
            MIME_TransferDecoding::Create(SymToken("Base64"), rules));
        ExactCopy const text("YWJjYQ");
        iSimpleStream in(text.begin(), text.end());
        LendingOutput out(10);
        decoder->decode(&in, &out);
        EXPECT_FALSE(decoder->Defects().any());
        decoder->Finish();
        EXPECT_EQ(defects_of(*decoder), "group");
        decoder.close();
        EXPECT_EQ(out.text(), delivers ? "abca" : "abc");
    }
    EXPECT_EQ(vellum::encoding_of_alias("UUEncode"), X::uuencode);
    EXPECT_EQ(vellum::encoding_of_alias("base64"), nullptr);
}

TEST(TransferCodec, ACopyHoldsTheOpenGroup) {
    ExactCopy const begin("begin 644 x\n#86");
    ExactCopy const rest(")C");
    iSimpleStream in(begin.begin(), begin.end());
    iSimpleStream in_rest(rest.begin(), rest.end());
    LendingOutput out(10);
    DecodingUU decoder;
    decoder.decode(&in, &out);
    DecodingUU copy(decoder);
    decoder.output = nullptr;
    copy.decode(&in_rest, &out);
    copy.Flush();
    EXPECT_EQ(out.text(), "abc");
}

TEST(TransferCodec, AnOutputThatThrows) {
    class Throwing : public oSimpleStream {
    public:
        void Overflow(unsigned int) override {
            ++calls;
            throw std::runtime_error("output");
        }
        int calls = 0;
    } out;
    // A leak, or a use of what is deleted, is the sanitizers' to see.
    EXPECT_THROW(with_open_group(out, new Encoding64)->Delete(), std::runtime_error);
    EXPECT_EQ(out.calls, 1) << "the tail isn't tried twice";
    MIME_TransferEncoding_Engine engine(with_open_group(out, new Encoding64));
    EXPECT_THROW(engine.close(), std::runtime_error);
    delete with_open_group(out, new Encoding64);
    { MIME_TransferEncoding_Engine at_scope_end(with_open_group(out, new Encoding64)); }
    EXPECT_EQ(out.calls, 4);
}

// drivers --------------------------------------------------------------------------

/// Puts "<" and ">" around the text, and gives the result that it is told.
class Bracketing : public TextTranslator {
public:
    explicit Bracketing(int status) : TextTranslator(nullptr), status_(status) {}
    int Translate(std::string_view text, std::string & result) override {
        result.append("<").append(text).append(">");
        return status_;
    }

private:
    int status_;
};

TEST(Conversion, ChainsTheStepsThatAreThere) {
    struct {
        bool has_codec;
        int translation; // its result, or -1 for no translator
        std::string_view from_internet;
        int from_internet_result;
        std::string_view to_internet;
        int to_internet_result;
    } const rows[] = {
        {false, -1, "YWJjYQ", 0, "YWJjYQ", 0},
        {true, -1, "abca", 1, "WVdKallR\r\n", 0},
        {false, 5, "<YWJjYQ>", 5, "<YWJjYQ>", 5},
        {true, 0, "<abc>", 0, "PFlXSmpZUT4=\r\n", 1},
        {true, 11, "<abc>", 11, "PFlXSmpZUT4=\r\n", 1},
        {true, 5, "<abc>", 5, "", 5},
    };
    ExactCopy const text("YWJjYQ");
    for (auto const & row : rows) {
        SCOPED_TRACE(row.translation);
        Bracketing bracketing(row.translation);
        NLS_Translator * const translator = row.translation < 0 ? nullptr : &bracketing;
        LendingOutput out(100);
        {
            iSimpleStream in(text.begin(), text.end());
            Decoding64 codec;
            EXPECT_EQ(Internet_to_Local(row.has_codec ? &codec : nullptr, translator, &in, &out),
                      row.from_internet_result);
            EXPECT_FALSE(in.good());
        }
        EXPECT_EQ(out.text(), row.from_internet);
        {
            iSimpleStream in(text.begin(), text.end());
            Encoding64 codec;
            EXPECT_EQ(Local_to_Internet(row.has_codec ? &codec : nullptr, translator, &in, &out),
                      row.to_internet_result);
        }
        EXPECT_EQ(out.text().substr(row.from_internet.size()), row.to_internet);
    }
}

} // namespace
