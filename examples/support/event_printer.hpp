// examples/support/event_printer.hpp - a note that makes a line of every call with its arguments
//
//     BeginPart 1 depth 0/0 atomic 1 text/plain in message/RFC822 part 0.. header 0..
//     Set_From "From" "a@b" null "a@b"
//     BeginBody 1 depth 0/0 atomic 1 text/plain in message/RFC822 part 0.. header 0..45 body 45..
//     lines 3..
//
// A field's call has the arguments of the operation in their order. Of a context's offsets only
// those that have been reached are written: `part 0..64` when both are, `part 0..` when the end is
// not; `?` stands where the narrow and the exact field of one place differ. Text that is no
// printable ASCII is written as \r, \n, \t or \xNN. What stands beside parts and fields is written
// only on demand:
//
//     RawField 2 117 "Content-Type: text/plain\r\n"
//     Defect 2 117 "more than one content type"
//
// with the part's number and the offset in front.
#pragma once

#include "examples/support/iso_date.hpp"
#include "mime/vellum.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace examples {

/// The text between quotes, every byte of it visible.
inline std::string quoted(std::string_view text) {
    constexpr char const * digits = "0123456789ABCDEF";
    std::string result = "\"";
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += {'\\', c};
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '\n') {
            result += "\\n";
        } else if (c == '\t') {
            result += "\\t";
        } else if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            result += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return result + '"';
}

inline std::string quoted(char const * text) {
    return text != nullptr ? quoted(std::string_view(text)) : "null";
}

/// What becomes of the lines and the bodies is for the class that derives from it.
class EventPrinter : public MimeINote {
public:
    /// `input` is an std::istream, iSimpleStream or TiStreamLite.
    template <typename Input>
    explicit EventPrinter(Input & input) : MimeINote(input) {}

    /// Text longer than this is written as its start, its length and a hash of it.
    std::size_t longest_text = 4000;
    bool prints_raw_fields = false;
    bool prints_defects = false;
    bool prints_preambles = false; ///< And epilogues.

protected:
    /// Without a '\n'.
    virtual void PutLine(std::string line) = 0;
    /// The streams of a body, behind the line of BeginBody. `data` is null where it is for
    /// BeginBody.
    virtual void OpenBody(std::ostream ** data, std::ostream ** raw) = 0;
    /// The latest body that is open has all of its text.
    virtual void CloseBody() = 0;
    /// The stream of a preamble or an epilogue, behind the line of its beginning.
    virtual void OpenText(std::ostream ** text) = 0;
    /// It has all of its text.
    virtual void CloseText() = 0;
    virtual std::string DateText(tm const & utc) const {
        char text[64];
        return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S weekday %w", &utc)};
    }

    void Put(std::initializer_list<std::string_view> words) {
        std::string line;
        for (std::string_view const word : words) {
            if (!line.empty() && !word.empty()) line += ' ';
            line += word;
        }
        PutLine(std::move(line));
    }

    void PutResult(ReceiveResult result) {
        char const * const results[] = {"Complete", "Fragment_Stored", "Not_Finished"};
        Put({"Receive", results[result]});
    }

    std::string LongText(std::string_view text) const {
        if (text.size() <= longest_text) return quoted(text);
        return Start(text) + ' ' + std::to_string(text.size()) + " bytes, hash " +
               std::to_string(std::hash<std::string_view>()(text));
    }

    void BeginPart(MimeContext & context) override { Put({"BeginPart", Place(context)}); }
    void EndPart(MimeContext & context) override { Put({"EndPart", Place(context)}); }
    void BeginHeader(MimeContext & context) override { Put({"BeginHeader", Place(context)}); }
    void EndHeader(MimeContext & context) override { Put({"EndHeader", Place(context)}); }
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override {
        Put({"BeginBody", Place(context), data == nullptr ? "no data" : ""});
        OpenBody(data, raw);
    }
    void EndBody(MimeContext & context) override {
        CloseBody();
        Put({"EndBody", Place(context)});
    }

    void SetFileName(char const * field, char const * name) override {
        Put({"SetFileName", quoted(field), quoted(name)});
    }
    void SetParameter(char const * field, char const * attribute, char const * value) override {
        Put({"SetParameter", quoted(field), quoted(attribute), quoted(value)});
    }
    void SetProperty(char const * name, MimeString const & value) override {
        Put({"SetProperty", quoted(name), Text(value)});
    }
    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override {
        Put({"Set_From", quoted(field), ListText(body), quoted(phrase), quoted(address)});
    }
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override {
        Put({"Set_To", quoted(field), ListText(body), quoted(phrase), quoted(address)});
    }
    void Set_Disposition_notification_to(char const * body, char const * phrase,
                                         char const * address) override {
        Put({"Set_Disposition_notification_to", ListText(body), quoted(phrase), quoted(address)});
    }
    void Set_Date(char const * field, char const * body, tm const & utc) override {
        Put({"Set_Date", quoted(field), quoted(body), DateText(utc)});
    }
    void Set_Message_Id(char const * field, char const * id) override {
        Put({"Set_Message_Id", quoted(field), quoted(id)});
    }
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override {
        Put({"Set_Content_Type", quoted(body), quoted(type), quoted(subtype)});
    }
    void Set_Content_Disposition(char const * body, char const * disposition,
                                 char const * filename) override {
        Put({"Set_Content_Disposition", quoted(body), quoted(disposition), quoted(filename)});
    }

    using MimeINote::Set_Comments;
    using MimeINote::Set_Subject;
    void Set_Subject(MimeString text) override { Put({"Set_Subject", Text(text)}); }
    void Set_Comments(MimeString text) override { Put({"Set_Comments", Text(text)}); }
    void Set_Return_Path(char const * text) override { Put({"Set_Return_Path", quoted(text)}); }
    void Set_Received(char const * text) override { Put({"Set_Received", quoted(text)}); }
    void Set_In_Reply_To(char const * text) override { Put({"Set_In_Reply_To", quoted(text)}); }
    void Set_References(char const * text) override { Put({"Set_References", quoted(text)}); }
    void Set_Keywords(char const * text) override { Put({"Set_Keywords", quoted(text)}); }
    void Set_Encrypted(char const * text) override { Put({"Set_Encrypted", quoted(text)}); }
    void Set_Importance(char const * word) override { Put({"Set_Importance", quoted(word)}); }
    void Set_Priority(char const * word) override { Put({"Set_Priority", quoted(word)}); }
    void Set_Sensitivity(char const * word) override { Put({"Set_Sensitivity", quoted(word)}); }
    void Set_MIME_Version(char const * text) override { Put({"Set_MIME_Version", quoted(text)}); }
    void Set_Content_Id(char const * id) override { Put({"Set_Content_Id", quoted(id)}); }
    void Set_Content_Description(char const * text) override {
        Put({"Set_Content_Description", quoted(text)});
    }
    void Set_Content_Transfer_Encoding(char const * encoding) override {
        Put({"Set_Content_Transfer_Encoding", quoted(encoding)});
    }
    void Set_URL(char const * url) override { Put({"Set_URL", quoted(url)}); }

    void SetGroup(char const * field, char const * name) override {
        Put({"SetGroup", quoted(field), quoted(name)});
    }
    void Set_DateTime(char const * field, char const * body, MimeDateTime const * when) override {
        Put({"Set_DateTime", quoted(field), quoted(body), when ? iso_date(*when) : "null"});
    }
    void RawField(MimeContext & context, char const * field, unsigned long size,
                  long long offset) override {
        if (!prints_raw_fields) return;
        Put({"RawField", Offset(context, offset), LongText({field, size})});
    }
    void Defect(MimeContext const & context, MimeDefect what, long long offset) override {
        if (!prints_defects) return;
        Put({"Defect", Offset(context, offset), quoted(MimeDefectText(what))});
    }
    void BeginPreamble(MimeContext & context, std::ostream ** text) override {
        BeginText("BeginPreamble", context, text);
    }
    void EndPreamble(MimeContext & context) override { EndText("EndPreamble", context); }
    void BeginEpilogue(MimeContext & context, std::ostream ** text) override {
        BeginText("BeginEpilogue", context, text);
    }
    void EndEpilogue(MimeContext & context) override { EndText("EndEpilogue", context); }

private:
    void BeginText(char const * call, MimeContext const & context, std::ostream ** text) {
        if (!prints_preambles) return;
        Put({call, Place(context)});
        OpenText(text);
    }
    void EndText(char const * call, MimeContext const & context) {
        if (!prints_preambles) return;
        CloseText();
        Put({call, Place(context)});
    }

    static std::string Offset(MimeContext const & context, long long offset) {
        return std::to_string(context.part_number) + ' ' + std::to_string(offset);
    }

    std::string Start(std::string_view text) const {
        return quoted(text.substr(0, std::min<std::size_t>(longest_text, 40))) + "...";
    }

    /// The body of a field of addresses, which comes anew with each of them: of a long one not even
    /// the length is looked for.
    std::string ListText(char const * body) const {
        if (body == nullptr) return "null";
        bool const is_long = std::memchr(body, '\0', longest_text + 1) == nullptr;
        return is_long ? Start({body, longest_text}) : quoted(body);
    }

    /// The text, and behind it what is not plain US-ASCII without an encoding.
    std::string Text(MimeString const & text) const {
        char const * const bytes = text.get_String();
        std::string result = bytes != nullptr ? LongText({bytes, text.get_Length()}) : "null";
        std::string const charset = quoted(text.get_CharSet());
        if (charset != "\"US-ASCII\"") result += " charset " + charset;
        if (text.get_CodePage() != 0) result += " code page " + std::to_string(text.get_CodePage());
        if (text.get_Encoding() != nullptr) result += std::string(" ") + text.get_Encoding();
        return result;
    }

    static std::string Level(MimeContextItem const * item) {
        auto const word = [](char const * text) { return text != nullptr ? text : "-"; };
        std::string result = std::string(word(item->type)) + '/' + word(item->subtype);
        if (!!item->disposition) result += std::string(";") + word(item->disposition);
        return result;
    }

    static std::string Range(char const * name, int begin, long long exact_begin, int end,
                             long long exact_end) {
        auto const place = [](int value, long long exact) {
            if (value != std::min<long long>(exact, INT_MAX)) return std::string("?");
            return exact == -1 ? std::string() : std::to_string(exact);
        };
        std::string const from = place(begin, exact_begin);
        std::string const to = place(end, exact_end);
        return from.empty() && to.empty() ? "" : std::string(" ") + name + ' ' + from + ".." + to;
    }

    static std::string Place(MimeContext const & context) {
        MimeContext::Exact const & exact = context.exact;
        std::ostringstream out;
        out << context.part_number << " depth " << context.message_depth << '/'
            << context.multipart_depth << " atomic " << context.atomic_count
            << (context.decoded_depth > 0 ? " decoded " + std::to_string(context.decoded_depth)
                                          : "")
            << ' ' << Level(context.item) << " in " << Level(context.parent_item)
            << Range("part", context.part_start, exact.part_start, context.part_end, exact.part_end)
            << Range("header", context.header_start, exact.header_start, context.header_end,
                     exact.header_end)
            << Range("body", context.body_start, exact.body_start, context.body_end, exact.body_end)
            << Range("lines", context.body_start_line, exact.body_start_line, context.body_end_line,
                     exact.body_end_line);
        return out.str();
    }
};

} // namespace examples
