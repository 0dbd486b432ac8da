// fuzz/message_fuzz.cpp - a whole message, cut as the input says: in each way of reading one
// transcript however it is cut, and another message reads the same behind it as in front of it
//
// The first two bytes are the sizes of the first piece and of the others, the third chooses
// settings; the rest is the message.
#include "fuzz/checked_note.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/translators.hpp"

#include <string>
#include <string_view>

using namespace vellum::test;

namespace {

template <class Input>
std::string transcript(Input & input, std::string_view message, unsigned settings,
                       MimeINote::Reading reading) {
    CheckedNote note(input, message);
    note.SetReading(reading);
    note.takes_data = (settings & 1) == 0;
    note.takes_raw = (settings & 2) != 0;
    if ((settings & 4) == 0) note.SetNLS(new TestFactory, 0);
    if ((settings & 8) != 0) note.SetNestingLimit(static_cast<int>(settings >> 5));
    note.SetHeadersOnly((settings & 16) != 0);
    note.SetPartialDir("/dev/null/"); // no fragment is stored, each is delivered
    std::string lines = note.run();
    note.RequireEnd();
    return lines;
}

/// Of words that the engine has a meaning for in one place, in the places where it has none.
std::string of_another_message() {
    return transcript_of("Content-Type: inline/mixed; charset=base64\nImportance: text\n"
                         "Content-Disposition: save\nContent-Transfer-Encoding: none\n\nx");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size < 3) return 0;
    static std::string const other = of_another_message();
    std::string_view const message = view_of(data + 3, size - 3);
    Chunking const chunking{std::size_t{data[0]} + 1, std::size_t{data[1]} + 1};
    unsigned const settings = data[2];

    for (auto const reading : {MimeINote::Reading_Basic, MimeINote::Reading_Extended}) {
        ExactCopy const copy(message);
        iSimpleStream memory(copy.begin(), copy.end());
        std::string const whole = transcript(memory, message, settings, reading);
        require(of_another_message() == other);

        for_each_stream(message, chunking, [&](auto & input, std::string const &) {
            require(transcript(input, message, settings, reading) == whole);
        });
    }
    return 0;
}
