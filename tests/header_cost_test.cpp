// tests/header_cost_test.cpp - what a hostile header field costs, without a clock
//
// The scanner counts the bytes that it moves. A field may have it move twice its own size, whatever
// is in it. Content-Type is read twice and so may take that twice.
#include "mime/foundation/simple_stream.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/small_stack.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vellum::test;

/// Asks for nothing, but looks at what it is told, as a sanitizer is to see it.
class Counter : public MimeINote {
public:
    using MimeINote::MimeINote;
    std::size_t addresses = 0;
    std::size_t body_bytes = 0; ///< Of all bodies of address fields.

protected:
    void Set_From(char const *, char const * body, char const *, char const * address) override {
        if (address != nullptr) ++addresses;
        if (body != nullptr) body_bytes += std::strlen(body);
    }
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override {
        Set_From(field, body, phrase, address);
    }
};

struct Cost {
    std::size_t moved;
    std::size_t addresses;
    std::size_t body_bytes;
};

/// The field stands in an enclosed message, since a fragment at the top would go to the store.
Cost cost_of(std::string_view name, std::string_view body,
             MimeINote::Reading reading = MimeINote::Reading_Basic) {
    std::string text = "Content-Type: message/rfc822\r\n\r\n";
    ExactCopy const message(text.append(name).append(": ").append(body).append("\r\n\r\n"));
    iSimpleStream input(message.begin(), message.end());
    Counter note(input);
    note.SetNLS(new TestFactory, 1);
    note.SetReading(reading);
    MimeReceiver run(&note, &input, nullptr, false, nullptr);
    run.Get_message();
    return {run.header_bytes_moved, note.addresses, note.body_bytes};
}

/// Each way of reading moves at most twice the body in each of `readings` looks at it. A raw byte
/// that extended reading translates costs up to three bytes more, and their place in the text.
void expect_cheap(std::string_view name, std::string const & body, std::size_t readings = 1) {
    bool const is_raw = std::any_of(body.begin(), body.end(),
                                    [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    for (auto const reading : {MimeINote::Reading_Basic, MimeINote::Reading_Extended}) {
        bool const is_translated = is_raw && reading == MimeINote::Reading_Extended;
        std::size_t const most = is_translated ? 6 : 2;
        EXPECT_LE(cost_of(name, body, reading).moved, most * readings * body.size())
            << name << ": " << body.substr(0, 60) << ", reading " << reading;
    }
}

/// The text over and over, up to a size.
std::string filled(std::string_view text, std::size_t size) {
    return repeated(text, (size + text.size() - 1) / text.size());
}

constexpr std::size_t megabyte = 1 << 20;

std::vector<std::string> cells_of(std::string_view title) {
    std::vector<std::string> cells;
    for (Cells const & row : rows_of("header_cost.case", title))
        cells.insert(cells.end(), row.begin(), row.end());
    return cells;
}

TEST(HeaderCost, of_one_unit_over_and_over) {
    for (std::string const & unit : cells_of("units")) {
        for (std::string const start : {"", "(c) ", "a/b (c)"}) {
            std::string const body = start + filled(unit, megabyte / 16) + " (d) e@f";
            for (std::string const & name : cells_of("names"))
                expect_cheap(name, body);
        }
    }
}

TEST(HeaderCost, of_a_megabyte) {
    for (Cells const & row : rows_of("header_cost.case", "a megabyte"))
        expect_cheap(row[0], row[1] + filled(row[2], megabyte) + row[3], row[4] == "2" ? 2 : 1);
}

/// Every level of quoting that is taken off must not show another one to be read.
TEST(HeaderCost, of_quotes_within_quotes) {
    std::string body = "x";
    for (int level = 0; level < 14; ++level)
        body = ",\"" + replaced(replaced(body, "\\", "\\\\"), "\"", "\\\"") + '"';
    body = '"' + body.substr(2, body.size() - 3) + filled("a ", body.size()) + '"';
    expect_cheap("To", body);
}

TEST(HeaderCost, of_many_addresses) {
    constexpr std::size_t count = 100000;
    for (Cells const & row : rows_of("header_cost.case", "many addresses")) {
        std::string const body = repeated(row[0], count);
        for (auto const reading : {MimeINote::Reading_Basic, MimeINote::Reading_Extended}) {
            Cost const cost = cost_of("To", body, reading);
            EXPECT_EQ(cost.addresses, count);
            EXPECT_LE(cost.moved, 2 * body.size());
            EXPECT_LE(cost.body_bytes, 9 * body.size());
            EXPECT_GE(cost.body_bytes, 7 * body.size());
        }
    }
}

/// The meter counts what an edit moves and writes, no more and no less.
TEST(HeaderCost, is_counted_to_the_byte) {
    for (Cells const & row : rows_of("header_cost.case", "bytes moved"))
        EXPECT_EQ(std::to_string(cost_of(row[0], row[1]).moved), row[2]) << row[0] << row[1];
}

/// Random pieces, repeated and strung together.
TEST(HeaderCost, of_random_fields) {
    std::vector<std::string> const pieces = cells_of("random pieces");
    std::mt19937 random(1);
    for (int i = 0; i < 4000; ++i) {
        std::string body;
        for (std::size_t segments = 1 + random() % 4; segments > 0; --segments) {
            std::string unit;
            for (std::size_t count = 1 + random() % 4; count > 0; --count) {
                unit += pieces[random() % pieces.size()];
            }
            body += random() % 2 == 0 ? unit : filled(unit, random() % 500);
        }
        for (char const * const name : {"From", "To", "X-To-ZR700Fax", "Content-Disposition"}) {
            expect_cheap(name, body);
            ASSERT_FALSE(HasFailure());
        }
    }
}

TEST(HeaderCost, of_deep_nesting_on_a_small_stack) {
    on_small_stack([] {
        for (std::string const & unit : cells_of("units of deep nesting")) {
            std::string const deep = filled(unit, megabyte / 4);
            for (std::string const & name : cells_of("names")) {
                expect_cheap(name, deep);
                expect_cheap(name, "A " + deep + filled(")", megabyte / 4) + " B <a@b>");
            }
        }
    });
}

} // namespace
