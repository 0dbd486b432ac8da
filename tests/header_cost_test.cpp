// tests/header_cost_test.cpp - what a hostile header field costs, without a clock
//
// The scanner counts the bytes that it moves. A field may have it move twice its own size, whatever
// is in it. Content-Type is read twice and so may take that twice.
#include "mime/foundation/simple_stream.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <functional>
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

protected:
    void Set_From(char const *, char const *, char const *, char const * address) override {
        if (address != nullptr) ++addresses;
    }
    void Set_To(char const *, char const *, char const *, char const * address) override {
        if (address != nullptr) ++addresses;
    }
};

struct Cost {
    std::size_t moved;
    std::size_t addresses;
};

/// The field stands in an enclosed message, since a fragment at the top would go to the store.
Cost cost_of(std::string_view name, std::string_view body) {
    std::string text = "Content-Type: message/rfc822\r\n\r\n";
    ExactCopy const message(text.append(name).append(": ").append(body).append("\r\n\r\n"));
    iSimpleStream input(message.begin(), message.end());
    Counter note(input);
    note.SetNLS(new TestFactory, 1);
    MimeReceiver run(&note, &input, nullptr, false, nullptr);
    run.Get_message();
    return {run.header_bytes_moved, note.addresses};
}

std::string repeated(std::string_view unit, std::size_t size) {
    std::string text;
    while (text.size() < size)
        text += unit;
    return text;
}

constexpr std::size_t megabyte = 1 << 20;

TEST(HeaderCost, of_one_unit_over_and_over) {
    char const * const units[] = {
        "(",
        "((",
        ")",
        "(c)",
        "(c) ",
        "a(c)",
        "a (c) ",
        "(\\a)",
        "\\",
        " ",
        "\t x", // comments
        ".",
        ". ",
        "a.",
        "a .",
        "a ",
        ",",
        ", ",
        "( ),",
        ";",
        ":",
        "g:",
        "g:;,",
        "g: a@b;,",
        "<",
        ">",
        "@",
        "[",
        "<>",
        "<a@b>, ",
        "a@b, ",
        "a . b @ c . d,",
        "(x) A <a@b> (y),",
        "\xE9",
        "\"",
        "\"a\" ",
        "\"a\\b\" ",
        "\"a\\b\" . ",
        "\"A, B\" <a@b>,",
        "\"A\\\"\" (c) <a . b@c>,",
        "=?",
        "=?=",
        "=?(",
        "=?(\\",
        "=?a?Q?",
        "=?x-same?Q?a?=",
        "=?x-same?Q?a?= ",
        "=?x-same?Q?a_b?= <a@b>,",
        "\"=?x-same?Q?a_b?= =?x-same?Q?c?=\" <a@b>,",
        "(=?x-same?Q?a?=)",
        "A (=?x-same?Q?a?=) B <a@b>,",
        "; a=b",
        ";a=\"b\"",
        ";a=\"b\\c\" ",
        "; a (c) = (d) b",
        ";a==?x-same?Q?b?=",
        ";a",
        ";=",
    };
    for (char const * const name :
         {"From", "To", "X-To-ZR700Fax", "Disposition-notification-to", "Content-Type",
          "Content-Disposition", "Content-Description", "Content-Transfer-Encoding", "Subject",
          "Date", "Message-Id", "Received", "Importance", "X-Any"}) {
        for (char const * const unit : units) {
            for (std::string const start : {"", "(c) ", "a/b (c)"}) {
                std::string const body = start + repeated(unit, megabyte / 16) + " (d) e@f";
                EXPECT_LE(cost_of(name, body).moved, 2 * body.size())
                    << name << ": " << start << unit << unit << "...";
            }
        }
    }
}

TEST(HeaderCost, of_a_megabyte) {
    struct {
        char const * name;
        std::string body;
        std::size_t readings;
    } const rows[] = {
        {"From", repeated("(", megabyte / 2) + repeated(")", megabyte / 2) + " a@b", 1},
        {"From", repeated("A (b) ", megabyte) + "<a@b>", 1},
        {"From", repeated("\"a\\b\" ", megabyte) + "<a@b>", 1},
        {"From", '"' + repeated("a\\b", megabyte) + "\" <a@b>", 1},
        {"From", repeated("\"=?x-same?Q?a?= b\" ", megabyte) + "<a@b>", 1},
        {"From", repeated("\"a\" . ", megabyte) + "x y <a@b>", 1}, // an address up to its end
        {"From", repeated("\"a\" . ", megabyte) + "x", 1},
        {"To", repeated("\"a\" . ", megabyte) + "x : a@b;", 1}, // and a group
        {"To", "a" + repeated(" (b) ", megabyte) + "@b", 1},
        {"From", repeated("a@b (c) ,", megabyte), 1},
        {"To", repeated("(c), ", megabyte), 1},
        {"To", "g:" + repeated("(c), ", megabyte), 1},
        {"Subject", repeated("=?x-same?Q?a?= ", megabyte), 1},
        {"Subject", "=?x-same?B?" + repeated("YWJj", megabyte) + "?=", 1},
        {"Content-Description", "(c) " + repeated("=?x-same?Q?a?= ", megabyte), 1},
        {"Content-Disposition", "a" + repeated(";b=\"c\\d\" ", megabyte), 1},
        {"Content-Type", "message/partial" + repeated("; id=\"c\\d\" ", megabyte), 2},
        {"Content-Type", "message/external-body" + repeated("; b=\"c\\d\" ", megabyte), 2},
    };
    for (auto const & row : rows) {
        EXPECT_LE(cost_of(row.name, row.body).moved, 2 * row.readings * row.body.size())
            << row.name << ": " << row.body.substr(0, 40);
    }
}

/// Every level of quoting that is taken off must not show another one to be read.
TEST(HeaderCost, of_quotes_within_quotes) {
    std::string body = "x";
    for (int level = 0; level < 14; ++level) {
        std::string escaped;
        for (char const c : body) {
            if (c == '"' || c == '\\') escaped += '\\';
            escaped += c;
        }
        body = ",\"" + escaped + '"';
    }
    body = '"' + body.substr(2, body.size() - 3) + repeated("a ", body.size()) + '"';
    EXPECT_LE(cost_of("To", body).moved, 2 * body.size());
}

TEST(HeaderCost, of_many_addresses) {
    std::string plain;
    std::string named;
    std::string commented;
    constexpr std::size_t count = 100000;
    for (std::size_t i = 0; i < count; ++i) {
        std::string const number = std::to_string(i);
        plain.append("u").append(number).append("@example.org, ");
        named.append("\"User, N. \\\"").append(number).append("\\\"\" <u").append(number);
        named.append("@example.org>, ");
        commented.append("u").append(number).append(" @ example.org (User ").append(number);
        commented.append("), ");
    }
    for (std::string const & body : {plain, named, commented}) {
        Cost const cost = cost_of("To", body);
        EXPECT_EQ(cost.addresses, count);
        EXPECT_LE(cost.moved, 2 * body.size());
    }
}

/// Random pieces, repeated and strung together.
TEST(HeaderCost, of_random_fields) {
    char const * const pieces[] = {
        "a",
        " ",
        ".",
        "@",
        ",",
        ";",
        ":",
        "<",
        ">",
        "\"",
        "\\",
        "(",
        ")",
        "[",
        "]",
        "=",
        "?",
        "=?x-same?Q?",
        "?=",
        "\"a\"",
        "(c)",
        "\\\"",
        "aaaaaaaaaaaaaaaaaaaaaaaa",
        " . ",
        "<a@b>",
        "=?x-same?Q?a?=",
        "\"aaaaaaaaaaaa\\a\"",
        "; a=",
        "g:",
    };
    std::mt19937 random(1);
    for (int i = 0; i < 4000; ++i) {
        std::string body;
        for (std::size_t segments = 1 + random() % 4; segments > 0; --segments) {
            std::string unit;
            for (std::size_t count = 1 + random() % 4; count > 0; --count) {
                unit += pieces[random() % std::size(pieces)];
            }
            body += random() % 2 == 0 ? unit : repeated(unit, random() % 500);
        }
        for (char const * const name : {"From", "To", "X-To-ZR700Fax", "Content-Disposition"}) {
            ASSERT_LE(cost_of(name, body).moved, 2 * body.size()) << name << ": " << body;
        }
    }
}

/// Runs `work` on a thread with a small stack.
void on_small_stack(std::size_t stack_size, std::function<void()> work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_size), 0);
    pthread_t thread;
    auto const start = [](void * argument) -> void * {
        (*static_cast<std::function<void()> *>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(HeaderCost, of_deep_nesting_on_a_small_stack) {
    // The sanitizers make frames of several times the size.
    constexpr std::size_t stack_size = 128 * 1024;
    on_small_stack(stack_size, [] {
        for (char const * const name : {"From", "To", "X-To-ZR700Fax", "Content-Type", "Date",
                                        "Subject", "Message-Id", "Content-Description"}) {
            for (std::string const unit :
                 {"(", "<", "[", "\"", "A (", "g:", "=?(", "\\(", "A(=?"}) {
                std::string const deep = repeated(unit, megabyte / 4);
                cost_of(name, deep);
                cost_of(name, "A " + deep + repeated(")", megabyte / 4) + " B <a@b>");
            }
        }
    });
}

} // namespace
