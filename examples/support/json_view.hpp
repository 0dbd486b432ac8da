// examples/support/json_view.hpp - a message as one line of JSON
#pragma once

#include "examples/support/byte_counter.hpp"
#include "examples/support/part_note.hpp"
#include "examples/support/told_defect.hpp"

#include <deque>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace examples {

/// Keeps a record of each part, headers but no bodies, and prints them all at the end.
///
/// `fields` has each field of a header once and in its order. A value is the field's text, unfolded
/// and with its encoded words decoded; but a Message-Id comes without its angle brackets,
/// Importance and its like as their first word, and Content-Transfer-Encoding as the encoding that
/// counts, as the note reports these. `decoded_size` is in the character set of the message, and
/// null for a part that has others in it. Positions that were not reached are null. `date` is
/// that of the Date field with its zone; null without a date that can be read, and in basic
/// reading.
class JsonView : public PartNote {
public:
    explicit JsonView(std::istream & in) : PartNote(in, Bodies::translated) {}

    /// Prints the list `defects` too.
    void ShowDefects() { shows_defects_ = true; }
    /// After Receive.
    void Print(std::ostream & out, std::string_view file, ReceiveResult result) const;

protected:
    void BeginPart(MimeContext & context) override;
    void EndHeader(MimeContext & context) override;
    std::ostream * BeginLeaf(MimeContext & context) override;
    void EndLeaf(MimeContext & context) override;
    void EndPart(MimeContext & context) override;

    void SetProperty(char const * name, MimeString const & value) override;
    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override;
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override;
    void Set_Disposition_notification_to(char const * body, char const * phrase,
                                         char const * address) override;
    void Set_Keywords(char const * text) override;
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override;
    void Set_Content_Disposition(char const * body, char const * disposition,
                                 char const * filename) override;
    void Set_URL(char const *) override {} // no field of the header
    void Set_DateTime(char const * field, char const * body, MimeDateTime const * when) override;

    void BeginPreamble(MimeContext & context, std::ostream ** text) override;
    void EndPreamble(MimeContext & context) override;
    void BeginEpilogue(MimeContext & context, std::ostream ** text) override;
    void EndEpilogue(MimeContext & context) override;
    void Defect(MimeContext const & context, MimeDefect what, long long offset) override;

private:
    struct Field {
        std::string name;
        std::string value;
    };
    struct Record {
        int part_number = 0;
        int message_depth = 0;
        int multipart_depth = 0;
        int atomic_count = 0;
        int decoded_depth = 0;
        PartInfo info;
        MimeContext::Exact place{};
        std::optional<std::string> date;
        long long decoded_size = -1;
        long long preamble_size = -1;
        long long epilogue_size = -1;
        std::vector<Field> fields;
    };
    class Printer;

    Record & RecordOf(MimeContext const & context);
    void AddField(char const * name, std::string value);
    void DecodeLastField();

    std::deque<Record> records_;
    std::vector<ToldDefect> defects_;
    bool shows_defects_ = false;
    std::string notified_; ///< The addresses of Disposition-notification-to.
    ByteCounter counter_;
};

} // namespace examples
