// tests/send_fields_test.cpp - the messages that notes write, and the field guard
#include "mime/MIMEQXST.hpp"
#include "mime/nls/charset.hpp"
#include "mime/send/field_guard.hpp"
#include "tests/support/case_rows.hpp"
#include "tests/support/note_script.hpp"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>

namespace {

using namespace vellum::test;

/// Every call of the run but those for blocks, a line for each step of the walk.
std::string call_line(std::string_view call, MimeContext const * context) {
    if (call.ends_with("Output") || call.ends_with("Buffer") || call == "Read") return {};
    if (context == nullptr) return " " + std::string(call);
    std::string line = "\n" + std::string(call);
    for (int const number : {context->message_depth, context->multipart_depth,
                             context->atomic_count, context->part_number})
        line += (line.ends_with(call) ? " " : ".") + std::to_string(number);
    for (char const * const word : {context->item->type, context->item->disposition})
        line += word != nullptr ? " " + std::string(word) : "";
    return line;
}

/// Adds the places of a part that has ended, by their offsets in the message.
void add_marks(std::multimap<std::size_t, std::string> & marks, std::string_view call,
               MimeContext const & context) {
    MimeContext::Exact const & exact = context.exact;
    EXPECT_TRUE(call != "EndHeader" || (exact.body_start == -1 && exact.part_end == -1));
    if (call != "EndPart") return;
    std::pair<char const *, std::pair<long long, long long>> const places[] = {
        {"part", {exact.part_start, context.part_start}},
        {"header", {exact.header_start, context.header_start}},
        {"/header", {exact.header_end, context.header_end}},
        {"body", {exact.body_start, context.body_start}},
        {"/body", {exact.body_end, context.body_end}},
        {"/part", {exact.part_end, context.part_end}}};
    for (auto const & [name, place] : places) {
        EXPECT_EQ(place.first, place.second);
        marks.emplace(static_cast<std::size_t>(place.first), "{" + std::string(name) + "}");
    }
}

std::string with_marks(std::string text, std::multimap<std::size_t, std::string> const & marks) {
    for (auto mark = marks.rbegin(); mark != marks.rend(); ++mark)
        text.insert(mark->first, mark->second);
    return text;
}

/// What a section shows: the messages, their headers alone, the calls, those for blocks, or the
/// message with marks at the places of its parts.
std::string outcome_of(NoteScript const & script, std::size_t block_size, bool one_buffer) {
    auto const setting = [&script](char const * name, std::string const & otherwise = "") {
        auto const at = script.settings.find(name);
        return at == script.settings.end() ? otherwise : at->second;
    };
    FixedRandom const random;
    CodePage const page(std::stoul(setting("codepage", "1252")));
    DescribedNote note(script.message);
    note.block_size = std::stoul(setting("block", std::to_string(block_size)));
    note.one_buffer = one_buffer;
    bool const is_extended = setting("writing") == "extended";
    note.SetWriting(is_extended ? MimeONote::Writing_Extended : MimeONote::Writing_Basic);
    note.SetBcc(setting("blind") == "on");
    note.SetUtf8(setting("utf8") == "on");
    note.SetIdDomain(setting("domain").c_str());
    std::map<std::string, MimeONote::ParameterForm> const forms = {
        {"rfc2231", MimeONote::Parameter_Rfc2231},
        {"words", MimeONote::Parameter_Words},
        {"both", MimeONote::Parameter_Both}};
    note.SetParameterForm(forms.at(setting("form", "rfc2231")));
    note.SetNetworkSplitSize(static_cast<unsigned int>(std::stoul(setting("split", "0"))));
    std::string const encoding = setting("encoding");
    note.SetTextEncoding(encoding == "null" ? nullptr : encoding.c_str());
    note.SetCharacterSet(setting("charset").c_str());
    if (setting("translator") == "component") note.SetNLS(new NLS_qxStr_Factory, 1);
    note.SetFieldGuard(setting("guard", is_extended ? "on" : "off") == "on");
    std::string log;
    std::multimap<std::size_t, std::string> marks;
    note.on_call = [&](std::string_view call, MimeContext * context) {
        log += call_line(call, context);
        if (call == "EndHeader" && script.settings.contains("split later"))
            note.SetNetworkSplitSize(static_cast<unsigned int>(std::stoul(setting("split later"))));
        if (call == "EndHeader" && setting("flush") == "on") {
            note.FlushOutputBuffers();
            note.calls += ' ';
        }
        if (context != nullptr) add_marks(marks, call, *context);
    };
    if (note.Send() != 1 || !note.AllReturned()) return "Send failed";
    if (setting("show") == "calls") return log.substr(1) + "\n";
    if (setting("show") == "blocks") return note.calls + "\n";
    if (setting("show") == "places") return shown(with_marks(note.messages[0], marks));
    std::string result;
    for (std::string const & message : note.messages) {
        bool const whole = setting("show") != "headers";
        std::size_t const end = whole ? message.size() : message.find("\r\n\r\n") + 2;
        result += (result.empty() ? "" : "~~~\n") + shown(message.substr(0, end));
    }
    return result;
}

/// send.case holds, in a section each, a script, a blank line, and what comes of it.
TEST(Send, writes_its_cases) {
    FixedClock const clock;
    for (auto const & [title, text] : sections_of("send.case")) {
        std::size_t const outcome = text.find("\n\n") + 2;
        NoteScript const script = read_script(text.substr(0, outcome));
        bool const is_cut = script.settings.contains("split");
        for (std::size_t const block_size : {4096, 7, 1}) {
            for (bool const one_buffer : {false, true}) {
                if (is_cut && block_size != 4096) continue; // how many blocks a cut needs shows
                EXPECT_EQ(outcome_of(script, block_size, one_buffer) + "\n", text.substr(outcome))
                    << title << ", blocks of " << block_size;
            }
        }
    }
}

/// field_guard.case holds rows VALUE | GUARDED | LINE.
TEST(FieldGuard, leaves_only_folds) {
    for (Cells const & row : rows_of(content_of("field_guard.case"))) {
        EXPECT_EQ(vellum::guarded(row[0]), row[1]);
        EXPECT_EQ(vellum::guarded_line(row[0]), row[2]);
        EXPECT_EQ(vellum::needs_guard(row[0]), row[0] != row[2]);
    }
}

} // namespace
