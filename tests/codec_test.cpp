// tests/codec_test.cpp - the transfer codecs: the rows of codec.case, in every cut
#include "mime/codec/base64.hpp"
#include "mime/codec/conversion.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/codec/transfer_codec.hpp"
#include "mime/codec/uuencode.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/nls/translator.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/codec_runs.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <stdexcept>
#include <type_traits>

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
        if (input.empty()) continue;
        ASSERT_EQ(outcome_of(codec, input, chunking), expected) << "calls in " << chunking.name();
    }
}

/// Calls `use` with the codec of that name, and of rules behind it.
template <class Use>
void with_codec(std::string const & title, Use && use) {
    std::map<std::string, bool DecodingRules::*> const members{
        {"keep_invalid_escapes", &DecodingRules::keep_invalid_escapes},
        {"drop_blanks_behind_soft_break", &DecodingRules::drop_blanks_behind_soft_break},
        {"padding_ends_line_only", &DecodingRules::padding_ends_line_only},
        {"end_word_ends_data", &DecodingRules::end_word_ends_data},
        {"skip_empty_lines", &DecodingRules::skip_empty_lines}};
    std::vector<std::string> const words = split(title, ' ');
    bool const is_short = words.back() == "short";
    if (words[0] == "Encoding64") return use(Encoding64(!is_short));
    if (words[0] == "EncodingQP") return use(EncodingQP(!is_short));
    auto const decode = [&](auto codec) {
        DecodingRules rules;
        for (std::size_t i = 1; i < words.size(); ++i)
            rules.*members.at(words[i]) = true;
        codec.SetRules(rules);
        use(codec);
    };
    if (words[0] == "Decoding64") decode(Decoding64());
    if (words[0] == "DecodingQP") decode(DecodingQP());
    if (words[0] == "DecodingUU") decode(DecodingUU());
}

template <typename Codec>
std::string all_of(std::string_view input, Codec const & codec) {
    Outcome const outcome = outcome_of(codec, input);
    return outcome.output + outcome.tail;
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

TEST(TransferCodec, CodesItsRows) {
    std::set<std::string> codecs;
    for (Section const & section : sections_of("codec.case")) {
        SCOPED_TRACE(section.title);
        with_codec(section.title, [&](auto const & codec) {
            codecs.insert(section.title.substr(0, 10));
            for (Cells const & row : rows_of(section.text))
                expect_outcome(row[0], {row[1], std::stoi(row[2]), row[3], row[4]}, codec);
        });
    }
    EXPECT_EQ(codecs.size(), 5U);
}

TEST(TransferCodec, GivesOneOutputInAnyCut) {
    std::pair<char const *, std::vector<std::string>> const rows[] = {
        {"Decoding64", {"Q", "=", "\r\n", "-", "QUJD"}},
        {"Decoding64 padding_ends_line_only", {"Q", "=", "\r\n", "-", "QUJD"}},
        {"EncodingQP", {"F", "From ", "\r", "\n", "\r\n", ".", " ", "\xE9"}},
        {"DecodingQP", {"=", "4", "\r", "\n"}},
        {"DecodingQP keep_invalid_escapes drop_blanks_behind_soft_break",
         {"=", "4", " ", "\r", "\n"}},
    };
    for (auto const & row : rows) {
        auto const & pieces = row.second;
        with_codec(row.first, [&](auto const & codec) {
            for_each_text(pieces, pieces.size() > 5 ? 4 : 5, [&](std::string const & text) {
                Outcome const expected = outcome_of(codec, text);
                if (std::is_same_v<decltype(codec), EncodingQP const &>) {
                    ASSERT_EQ(all_of(all_of(text, codec), DecodingQP()), text);
                }
                for (Chunking const & chunking : chunkings(text.size())) {
                    ChunkedSimpleStream chunked(text, chunking);
                    ASSERT_EQ(outcome_of(codec, chunked, 1), expected)
                        << testing::PrintToString(text) << " in " << chunking.name();
                }
            });
        });
    }
}

TEST(Base64, PaddingEndsADecodeAndLeavesTheRest) {
    for (Cells const & row : rows_of("codec.case", "what padding leaves")) {
        for (Chunking const & chunking : chunkings(row[0].size())) {
            SCOPED_TRACE(row[0] + " in " + chunking.name());
            ChunkedSimpleStream in(row[0], chunking);
            Outcome const outcome = outcome_of(Decoding64(), in, 1);
            EXPECT_EQ(outcome.output + outcome.tail, row[1]);
            EXPECT_EQ(outcome.result, 0);
            oSimpleStream rest;
            rest << in;
            EXPECT_EQ(std::string_view(rest.str(), rest.oBufCnt()), row[2]);
        }
    }
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

template <class Codec>
void code(std::string_view text, Codec & codec, oSimpleStream & out) {
    ExactCopy const copy(text);
    iSimpleStream in(copy.begin(), copy.end());
    run(codec, in, out);
}

/// A codec that has seen "a".
template <class Codec>
Codec * with_open_group(oSimpleStream & out, Codec * codec) {
    code("a", *codec, out);
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
        LendingOutput out(10);
        code("YWJjYQ", *decoder, out);
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
    LendingOutput out(10);
    DecodingUU decoder;
    code("begin 644 x\n#86", decoder, out);
    DecodingUU copy(decoder);
    decoder.output = nullptr;
    code(")C", copy, out);
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
    ExactCopy const text("YWJjYQ");
    for (Cells const & row : rows_of("codec.case", "drivers")) {
        SCOPED_TRACE(testing::PrintToString(row));
        bool const has_codec = row[0] == "codec", translates = row[1] != "none";
        Bracketing bracketing(translates ? std::stoi(row[1]) : 0);
        NLS_Translator * const translator = translates ? &bracketing : nullptr;
        LendingOutput read(100), written(100);
        iSimpleStream in(text.begin(), text.end()), again(text.begin(), text.end());
        int result = 0;
        {
            Decoding64 codec;
            result = Internet_to_Local(has_codec ? &codec : nullptr, translator, &in, &read);
            EXPECT_FALSE(in.good());
        }
        EXPECT_EQ(std::to_string(result) + " " + read.text(), row[2]);
        {
            Encoding64 codec;
            result = Local_to_Internet(has_codec ? &codec : nullptr, translator, &again, &written);
        }
        EXPECT_EQ(std::to_string(result) + " " + written.text(), row[3]);
    }
}

} // namespace
