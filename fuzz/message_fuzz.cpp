// fuzz/message_fuzz.cpp - a whole message, cut as the input says: one transcript however it is cut
//
// The first two bytes are the sizes of the first piece and of the others, the third chooses
// settings; the rest is the message.
#include "fuzz/target.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <string>
#include <string_view>

namespace {

using namespace vellum::test;

template <class Input>
std::string transcript(Input && input, unsigned settings) {
    Transcript note(input);
    note.takes_data = (settings & 1) == 0;
    note.takes_raw = (settings & 2) != 0;
    if ((settings & 4) == 0) note.SetNLS(new TestFactory, 0);
    if ((settings & 8) != 0) note.SetNestingLimit(static_cast<int>(settings >> 5));
    note.SetHeadersOnly((settings & 16) != 0);
    note.SetPartialDir("/dev/null/"); // no fragment is stored, each is delivered
    return note.run();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size < 3) return 0;
    std::string_view const message = view_of(data + 3, size - 3);
    Chunking const chunking{std::size_t{data[0]} + 1, std::size_t{data[1]} + 1};
    unsigned const settings = data[2];

    ExactCopy const copy(message);
    std::string const whole = transcript(iSimpleStream(copy.begin(), copy.end()), settings);

    ChunkedBuf buffer(message, chunking);
    std::istream stream(&buffer);
    require(transcript(stream, settings) == whole);
    require(transcript(ChunkedSimpleStream(message, chunking), settings) == whole);
    require(transcript(ChunkedLiteStream(message, chunking), settings) == whole);
    return 0;
}
