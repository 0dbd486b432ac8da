// examples/support/tree_reader.hpp - the note that reads a message into a tree to be written again
#pragma once

#include "examples/support/outgoing_part.hpp"
#include "examples/support/part_note.hpp"
#include "examples/support/spool.hpp"

#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace examples {

/// Keeps the header fields, and each body, decoded, in a temporary file.
class TreeReader : public PartNote {
public:
    /// Where the message is to be written. Within another, all text has to be of seven bits.
    enum class Place { alone, within_another };

    explicit TreeReader(std::istream & in, Place place = Place::alone);

    /// The message; once. A fragment of a message can't be taken apart: it comes as one part, which
    /// says message/partial.
    std::unique_ptr<OutgoingPart> Read();

protected:
    void BeginPart(MimeContext & context) override;
    void EndHeader(MimeContext & context) override;
    std::ostream * BeginLeaf(MimeContext & context) override;
    void EndLeaf(MimeContext & context) override;
    void EndPart(MimeContext & context) override;

    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override;
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override;
    void Set_Disposition_notification_to(char const * body, char const * phrase,
                                         char const * address) override;
    void Set_Date(char const * field, char const * body, tm const & utc) override;
    void Set_DateTime(char const * field, char const * body, MimeDateTime const * when) override;
    void Set_Message_Id(char const * field, char const * id) override;
    void Set_Return_Path(char const * text) override;
    void SetProperty(char const * name, MimeString const & value) override;

private:
    void AddAddress(char const * field, char const * body, char const * phrase,
                    char const * address);
    void SettleText(OutgoingPart & part) const;

    Place const place_;
    std::shared_ptr<Spool> spool_;
    std::string field_text_;   ///< Of the address field that is being reported.
    bool has_address_ = false; ///< It has had one.
    std::unique_ptr<OutgoingPart> root_;
    std::vector<OutgoingPart *> open_; ///< From the message to the part that is being read.
    long body_start_ = 0;
};

} // namespace examples
