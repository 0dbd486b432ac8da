// fuzz/header_field_fuzz.cpp - any text as the body of any field: one transcript for every way of
// feeding it, and a bound on what the scanner moves
#include "fuzz/target.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/texts.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <string>
#include <string_view>
#include <vector>

using namespace vellum::test;

namespace {

std::vector<std::string> const field_names =
    split("From,To,X-From-ZR700Fax,X-To-ZR700Fax,Subject,Date,Message-Id,"
          "Disposition-notification-to,Content-Type,Content-Disposition,Importance,"
          "Content-Description,Received,Content-Transfer-Encoding,X-Any,Content-Id",
          ',');

/// The field stands in an enclosed message, since a fragment at the top would go to the store.
char const * const front = "Content-Type: message/rfc822\r\n\r\n";

void require_one_transcript(std::string const & message, std::size_t cut) {
    auto const set_up = [](Transcript & note) { note.SetNLS(new TestFactory, 1); };
    std::string const expected = transcript_of(message, set_up);
    for_each_stream(message, {cut, cut}, [&](auto & input, std::string const &) {
        Transcript note(input);
        set_up(note);
        require(note.run() == expected);
    });
}

/// How many bytes the scanner may move. Content-Type is read twice, and may stand behind a line end
/// in the text; a decoded word can be longer than it was.
std::size_t move_limit(std::string_view text, bool is_content_type) {
    std::size_t const limit = 2 * text.size();
    if (text.find("=?") != text.npos) return 24 * limit;
    return is_content_type || text.find_first_of("\r\n") != text.npos ? 2 * limit : limit;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size < 2) return 0;
    std::string const & name = field_names[data[0] % field_names.size()];
    std::string const body(view_of(data + 1, size - 1));
    std::string const message = std::string(front) + name + ": " + body + "\r\n\r\n";
    require_one_transcript(message, 1 + data[1] % message.size());

    ExactCopy const copy(message);
    iSimpleStream input(copy.begin(), copy.end());
    MimeINote note(input);
    note.SetNLS(new TestFactory, 1);
    MimeReceiver run(&note, &input, nullptr, false, nullptr);
    run.Get_message();
    require(run.header_bytes_moved <= move_limit(body, name == "Content-Type"));
    return 0;
}
