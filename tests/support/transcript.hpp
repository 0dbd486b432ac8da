// tests/support/transcript.hpp - a note that writes down every call with its arguments, a line each
//
//     BeginPart 1 depth 0/0 atomic 1 text/plain in message/RFC822 part 0.. header 0..
//     Set_From "From" "a@b" null "a@b"
//     data "text\r\n"
//
// Of a context's offsets only those that have been reached are written: `part 0..64` when both
// are, `part 0..` when the end is not. What a body's streams got is one line in front of EndBody.
// Text that is no printable ASCII is written as \r, \n, \t or \xNN.
#pragma once

#include "mime/foundation/simple_stream.hpp"
#include "mime/note/incoming_note.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vellum::test {

/// The text between quotes, every byte of it visible.
inline std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (char const c : text) {
        if (c == '"' || c == '\\') {
            result.append(1, '\\').append(1, c);
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '\n') {
            result += "\\n";
        } else if (c == '\t') {
            result += "\\t";
        } else if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            char code[5];
            std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned int>(c) & 0xFFU);
            result += code;
        }
    }
    return result + '"';
}

inline std::string quoted(char const * text) {
    return text != nullptr ? quoted(std::string_view(text)) : "null";
}

class Transcript : public MimeINote {
public:
    /// `input` is an std::istream, iSimpleStream or TiStreamLite.
    template <typename Input>
    explicit Transcript(Input & input) : MimeINote(input) {}

    bool takes_data = true;             ///< Offers a stream for the decoded data of each body.
    std::ostream * data_sink = nullptr; ///< The stream for all data, if it is to be another one.
    bool takes_raw = false;             ///< Offers a stream for the raw lines of each body.
    /// Text longer than this is written as its start, its length and a hash of it.
    std::size_t longest_text = 4000;
    /// Called behind each line with its number, from 1; may throw.
    std::function<void(std::size_t line)> after_line;

    /// Receives; the result becomes the last line. Gives all lines so far, each with a '\n'.
    std::string run() {
        static char const * const results[] = {"Complete", "Fragment_Stored", "Not_Finished"};
        write({"Receive", results[Receive()]});
        return text();
    }

    std::vector<std::string> const & lines() const { return lines_; }
    std::string text() const {
        std::string result;
        for (std::string const & line : lines_)
            result.append(line).append(1, '\n');
        return result;
    }

protected:
    void BeginPart(MimeContext & context) override { write({"BeginPart", place(context)}); }
    void EndPart(MimeContext & context) override { write({"EndPart", place(context)}); }
    void BeginHeader(MimeContext & context) override { write({"BeginHeader", place(context)}); }
    void EndHeader(MimeContext & context) override { write({"EndHeader", place(context)}); }
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override {
        write({"BeginBody", place(context), data == nullptr ? "no data" : ""});
        bodies_.push_back(std::make_unique<Body>());
        if (data != nullptr && takes_data) *data = data_sink ? data_sink : &bodies_.back()->data;
        if (takes_raw) *raw = &bodies_.back()->raw;
    }
    void EndBody(MimeContext & context) override {
        std::unique_ptr<Body> const body = std::move(bodies_.back());
        bodies_.pop_back();
        if (std::string const data = body->data.str(); !data.empty())
            write({"data", long_text(data)});
        if (std::string const raw = body->raw.str(); !raw.empty()) write({"raw", long_text(raw)});
        write({"EndBody", place(context)});
    }

    void SetFileName(char const * field, char const * name) override {
        write({"SetFileName", quoted(field), quoted(name)});
    }
    void SetParameter(char const * field, char const * attribute, char const * value) override {
        write({"SetParameter", quoted(field), quoted(attribute), quoted(value)});
    }
    void SetProperty(char const * name, MimeString const & value) override {
        write({"SetProperty", quoted(name), string(value)});
    }
    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override {
        write({"Set_From", quoted(field), quoted(body), quoted(phrase), quoted(address)});
    }
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override {
        write({"Set_To", quoted(field), quoted(body), quoted(phrase), quoted(address)});
    }
    void Set_Disposition_notification_to(char const * body, char const * phrase,
                                         char const * address) override {
        write({"Set_Disposition_notification_to", quoted(body), quoted(phrase), quoted(address)});
    }
    void Set_Date(char const * field, char const * body, tm const & utc) override {
        write({"Set_Date", quoted(field), quoted(body), date(utc)});
    }
    void Set_Message_Id(char const * field, char const * id) override {
        write({"Set_Message_Id", quoted(field), quoted(id)});
    }
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override {
        write({"Set_Content_Type", quoted(body), quoted(type), quoted(subtype)});
    }
    void Set_Content_Disposition(char const * body, char const * disposition,
                                 char const * filename) override {
        write({"Set_Content_Disposition", quoted(body), quoted(disposition), quoted(filename)});
    }

    using MimeINote::Set_Comments;
    using MimeINote::Set_Subject;
    void Set_Subject(MimeString text) override { write({"Set_Subject", string(text)}); }
    void Set_Comments(MimeString text) override { write({"Set_Comments", string(text)}); }
    void Set_Return_Path(char const * text) override { write({"Set_Return_Path", quoted(text)}); }
    void Set_Received(char const * text) override { write({"Set_Received", quoted(text)}); }
    void Set_In_Reply_To(char const * text) override { write({"Set_In_Reply_To", quoted(text)}); }
    void Set_References(char const * text) override { write({"Set_References", quoted(text)}); }
    void Set_Keywords(char const * text) override { write({"Set_Keywords", quoted(text)}); }
    void Set_Encrypted(char const * text) override { write({"Set_Encrypted", quoted(text)}); }
    void Set_Importance(char const * word) override { write({"Set_Importance", quoted(word)}); }
    void Set_Priority(char const * word) override { write({"Set_Priority", quoted(word)}); }
    void Set_Sensitivity(char const * word) override { write({"Set_Sensitivity", quoted(word)}); }
    void Set_MIME_Version(char const * text) override { write({"Set_MIME_Version", quoted(text)}); }
    void Set_Content_Id(char const * id) override { write({"Set_Content_Id", quoted(id)}); }
    void Set_Content_Description(char const * text) override {
        write({"Set_Content_Description", quoted(text)});
    }
    void Set_Content_Transfer_Encoding(char const * encoding) override {
        write({"Set_Content_Transfer_Encoding", quoted(encoding)});
    }
    void Set_URL(char const * url) override { write({"Set_URL", quoted(url)}); }

private:
    struct Body {
        std::ostringstream data;
        std::ostringstream raw;
    };

    void write(std::initializer_list<std::string> words) {
        std::string line;
        for (std::string const & word : words) {
            if (!line.empty() && !word.empty()) line += ' ';
            line += word;
        }
        lines_.push_back(std::move(line));
        if (after_line) after_line(lines_.size());
    }

    std::string long_text(std::string_view text) const {
        if (text.size() <= longest_text) return quoted(text);
        return quoted(text.substr(0, std::min<std::size_t>(longest_text, 40))) + "... " +
               std::to_string(text.size()) + " bytes, hash " +
               std::to_string(std::hash<std::string_view>()(text));
    }

    /// The text, and behind it what is not plain US-ASCII without an encoding.
    std::string string(MimeString const & text) const {
        char const * const bytes = text.get_String();
        std::string result = bytes != nullptr ? long_text({bytes, text.get_Length()}) : "null";
        std::string const charset = quoted(text.get_CharSet());
        if (charset != "\"US-ASCII\"") result += " charset " + charset;
        if (text.get_CodePage() != 0) result += " code page " + std::to_string(text.get_CodePage());
        if (text.get_Encoding() != nullptr) result += std::string(" ") + text.get_Encoding();
        return result;
    }

    /// The time in full, or `now`: what stands for a date that can't be read.
    static std::string date(tm const & utc) {
        tm copy = utc;
        if (std::abs(std::difftime(timegm(&copy), std::time(nullptr))) < 600) return "now";
        char text[64];
        return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S weekday %w", &utc)};
    }

    static std::string level(MimeContextItem const * item) {
        auto const word = [](char const * text) { return text != nullptr ? text : "-"; };
        std::string result = std::string(word(item->type)) + '/' + word(item->subtype);
        if (!!item->disposition) result += std::string(";") + word(item->disposition);
        return result;
    }

    static std::string range(char const * name, int begin, long long exact_begin, int end,
                             long long exact_end) {
        auto const place = [](int value, long long exact) {
            if (value != std::min<long long>(exact, INT_MAX)) return std::string("?");
            return exact == -1 ? std::string() : std::to_string(exact);
        };
        std::string const from = place(begin, exact_begin);
        std::string const to = place(end, exact_end);
        return from.empty() && to.empty() ? "" : std::string(" ") + name + ' ' + from + ".." + to;
    }

    static std::string place(MimeContext const & context) {
        MimeContext::Exact const & exact = context.exact;
        std::ostringstream out;
        out << context.part_number << " depth " << context.message_depth << '/'
            << context.multipart_depth << " atomic " << context.atomic_count << ' '
            << level(context.item) << " in " << level(context.parent_item)
            << range("part", context.part_start, exact.part_start, context.part_end, exact.part_end)
            << range("header", context.header_start, exact.header_start, context.header_end,
                     exact.header_end)
            << range("body", context.body_start, exact.body_start, context.body_end, exact.body_end)
            << range("lines", context.body_start_line, exact.body_start_line, context.body_end_line,
                     exact.body_end_line);
        return out.str();
    }

    std::vector<std::string> lines_;
    std::vector<std::unique_ptr<Body>> bodies_;
};

/// The transcript of a message, read from memory of exactly its size. `set_up` is called with the
/// note before it receives.
inline std::string transcript_of(std::string_view message,
                                 std::function<void(Transcript &)> const & set_up = {}) {
    auto const copy = std::make_unique<char[]>(message.size());
    std::copy(message.begin(), message.end(), copy.get());
    iSimpleStream input(copy.get(), copy.get() + message.size());
    Transcript note(input);
    if (set_up) set_up(note);
    return note.run();
}

} // namespace vellum::test
