// tests/partial_store_roundtrip_test.cpp - what the engine splits, the store joins
#include "tests/support/fragments.hpp"
#include "tests/support/outgoing_notes.hpp"
#include "tests/support/transcript.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using namespace vellum::test;

namespace {

/// Lines that are all different, with what a cut could be taken in by.
std::string lines(std::size_t size, std::size_t line_length, std::string_view line_end = "\r\n") {
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i) {
        std::string const word = i % 10 == 0 ? "--b " : i % 10 == 5 ? "From: " : "";
        text.append(word).append(std::to_string(i)).append(line_length, 'x').append(line_end);
    }
    text.resize(size);
    return text;
}

std::vector<Part> messages_of(std::string const & body) {
    Part const enclosed = text_part("text\r\n").With("Content-Id", "e").With("Message-Id", "i");
    std::vector<Part> messages{
        text_part(body), binary_part(body),
        multipart("mixed", {text_part(body).With("Content-Id", "t"),
                            binary_part(body, "file.bin").With("Content-Id", "f"),
                            message_part(enclosed).With("Content-Id", "n")})
            .With("Boundary", "b")};
    for (Part & message : messages) {
        message.With("Content-Id", "c").With("Message-Id", "m").With("Subject", "s");
        message.addresses["From"] = {{"Front Desk", "desk@a"}};
        message.addresses["To"] = {{{}, "annex@a"}, {{}, "attic@a"}};
        message.fields["X"] = {{"X-Field", "value"}, {"X-Other", "value"}};
    }
    return messages;
}

struct CuttingNote : DescribedNote {
    CuttingNote(Part const & message, unsigned int split_size, std::size_t blocks)
        : DescribedNote(message) {
        SetNetworkSplitSize(split_size);
        block_size = blocks;
    }
};

/// The calls of a run without the offsets, as header lines come home unfolded, and those of the top
/// header in order of the alphabet, as the fields that describe the enclosed message come last.
std::string calls_of(std::string const & message, std::string const & prefix) {
    std::vector<std::string> calls;
    transcript_of(message, [&](Transcript & note) {
        note.SetPartialDir(prefix.c_str());
        note.after_line = [&](std::size_t) {
            std::string const & line = note.lines().back();
            bool const has_place = line.starts_with("Begin") || line.starts_with("End");
            calls.push_back(has_place ? line.substr(0, line.find(" part ")) : line);
        };
    });
    auto const line_of = [&](std::string_view name) {
        return std::find_if(calls.begin(), calls.end(),
                            [name](std::string const & line) { return line.starts_with(name); });
    };
    std::sort(line_of("BeginHeader"), line_of("EndHeader"));
    std::string all;
    for (std::string const & line : calls)
        all += line + '\n';
    return all;
}

TEST(PartialRoundTrip, WhatTheEngineSplitsTheStoreJoins) {
    FixedClock const clock;
    StoreDirectory const store;
    std::mt19937 random(1);
    std::string const stored = "Receive Fragment_Stored\n";
    for (std::string const & body :
         {std::string(), lines(100000, 70), lines(70001, 5000), lines(60000, 60000, ""),
          lines(60000, 0), lines(60000, 70, "\n"), "\r\n" + lines(60000, 3, "\r")}) {
        for (Part const & message : messages_of(body)) {
            auto const unsplit =
                calls_of(CuttingNote(message, 0, 4096).SendWhole(), store.prefix());
            for (unsigned int const split_size : {30720U, 50001U}) {
                for (std::size_t const block_size : {1U, 100U, 4096U, 65536U}) {
                    CuttingNote note(message, split_size, block_size);
                    ASSERT_EQ(note.Send(), 1);
                    std::shuffle(note.messages.begin(), note.messages.end(), random);
                    std::string const last = note.messages.back();
                    note.messages.pop_back();
                    for (std::string const & fragment : note.messages)
                        ASSERT_EQ(calls_of(fragment, store.prefix()), stored);
                    ASSERT_EQ(calls_of(last, store.prefix()), unsplit)
                        << split_size << " in blocks of " << block_size;
                }
            }
        }
    }
    EXPECT_EQ(store.names(), "");
}

} // namespace
