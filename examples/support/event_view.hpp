// examples/support/event_view.hpp - a message as the calls that it makes, one line each
#pragma once

#include "examples/support/part_note.hpp"

#include <initializer_list>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace examples {

/// Writes text as quoted, escaped lines: one for each line of the text, or for each 64 bytes of a
/// longer one. So the output doesn't depend on the pieces that the text comes in.
class QuotedLines : public std::streambuf {
public:
    explicit QuotedLines(std::ostream & out) : out_(out) {}

    /// Writes what is left.
    void Finish();

private:
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(char const * data, std::streamsize size) override;
    void Put(char byte);
    void PutLine();

    std::ostream & out_;
    std::string line_;
};

/// Prints each call as it comes, with its arguments. All that isn't printable ASCII is escaped.
class EventView : public PartNote {
public:
    EventView(std::istream & in, std::ostream & out)
        : PartNote(in, Bodies::translated), out_(out), lines_(out) {}

    /// After Receive.
    void PrintResult(ReceiveResult result);

protected:
    void BeginPart(MimeContext & context) override;
    void EndPart(MimeContext & context) override;
    void BeginHeader(MimeContext & context) override;
    void EndHeader(MimeContext & context) override;
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override;
    void EndBody(MimeContext & context) override;
    std::ostream * BeginLeaf(MimeContext &) override { return &body_; }
    void EndLeaf(MimeContext &) override { lines_.Finish(); }

    void SetFileName(char const * field, char const * name) override;
    void SetParameter(char const * field, char const * attribute, char const * value) override;
    void SetProperty(char const * name, MimeString const & value) override;
    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override;
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override;
    void Set_Date(char const * field, char const * body, tm const & utc) override;
    void Set_Message_Id(char const * field, char const * id) override;
    void Set_Return_Path(char const * text) override { Event("Set_Return_Path", {{"text", text}}); }
    void Set_Received(char const * text) override { Event("Set_Received", {{"text", text}}); }
    void Set_In_Reply_To(char const * text) override { Event("Set_In_Reply_To", {{"text", text}}); }
    void Set_References(char const * text) override { Event("Set_References", {{"text", text}}); }
    void Set_Keywords(char const * text) override { Event("Set_Keywords", {{"text", text}}); }
    void Set_Encrypted(char const * text) override { Event("Set_Encrypted", {{"text", text}}); }
    void Set_Subject(MimeString text) override;
    void Set_Comments(MimeString text) override;
    void Set_Importance(char const * word) override { Event("Set_Importance", {{"word", word}}); }
    void Set_Priority(char const * word) override { Event("Set_Priority", {{"word", word}}); }
    void Set_Sensitivity(char const * word) override { Event("Set_Sensitivity", {{"word", word}}); }
    void Set_MIME_Version(char const * text) override;
    void Set_Content_Id(char const * id) override { Event("Set_Content_Id", {{"id", id}}); }
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override;
    void Set_Content_Description(char const * text) override;
    void Set_Content_Transfer_Encoding(char const * encoding) override;
    void Set_Content_Disposition(char const * body, char const * disposition,
                                 char const * filename) override;
    void Set_URL(char const * url) override { Event("Set_URL", {{"url", url}}); }
    void Set_Disposition_notification_to(char const * body, char const * phrase,
                                         char const * address) override;

private:
    /// A pointer may be null.
    struct Argument {
        Argument(char const * its_name, char const * its_text);
        Argument(char const * its_name, std::string_view its_text);
        char const * name;
        std::string_view text;
        bool is_null;
    };

    void Event(char const * operation, std::initializer_list<Argument> arguments);
    void StructureEvent(char const * operation, MimeContext const & context);
    void AddKind(MimeContext const & context);
    void AddPlaces(MimeContext::Exact const & exact);
    void AddNumber(char const * name, long long number);
    void AddPlace(char const * name, long long place);
    void AddText(char const * name, char const * text);
    void EndLine();
    static Argument StartOf(char const * body);

    std::ostream & out_;
    std::string line_;
    QuotedLines lines_;
    std::ostream body_{&lines_};
};

} // namespace examples
