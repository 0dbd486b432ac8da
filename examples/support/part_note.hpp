// examples/support/part_note.hpp - the note that the example programs build upon
#pragma once

#include "examples/support/text_factory.hpp"

#include <mime/vellum.hpp>

#include <istream>
#include <optional>
#include <ostream>
#include <string>

namespace examples {

/// What the header of a part says about it. The words are interned and stay for good; null where
/// the header has none.
struct PartInfo {
    char const * type = nullptr;
    char const * subtype = nullptr;
    char const * disposition = nullptr;
    char const * transfer_encoding = nullptr;
    std::optional<std::string> charset;
    std::optional<std::string> file_name; ///< As the message has it, path and all.

    /// Whether the body's bytes are not those of its content.
    bool is_encoded() const;
    /// Whether it is a multipart of which no byte may change, as it is signed or encrypted
    /// (RFC 1847).
    bool is_sealed() const;
};

/// Set as the directory for fragments, it is no place for a store.
constexpr char const * no_directory = "/dev/null/";

/// What was delivered first: the message, or the one that its fragments were joined to.
struct TopPart {
    void See(MimeContext const & context) {
        if (context.part_number != 1) return;
        has_begun = true;
        is_fragment =
            context.item->type == RFC1521::message && context.item->subtype == RFC1521::partial;
    }
    bool has_begun = false;
    bool is_fragment = false;
};

/// Gathers what the header of the latest part says, and tells leaves from parts that enclose
/// others. A class that overrides one of its operations calls it first. It reads in the extended
/// way unless SetReading says otherwise.
///
/// Text comes in UTF-8: header fields, and bodies too unless they are wanted as they were sent. A
/// fragment of a message is delivered like any other part, unless a directory for fragments is set.
class PartNote : public MimeINote {
public:
    enum class Bodies { translated, as_sent };

    PartNote(std::istream & in, Bodies bodies);

    /// In place of the note's own operation, which it calls.
    int SetReading(Reading reading) { return MimeINote::SetReading(reading_ = reading); }
    /// Bodies are delivered as they stand in the message, with the blank line in front of them.
    void DeliverRaw() { is_raw_ = true; }
    TopPart const & top() const { return top_; }

protected:
    /// A body begins that has no parts in it. Gives the stream that takes it, or null.
    virtual std::ostream * BeginLeaf(MimeContext & context) = 0;
    /// The body has ended, and the stream has got everything.
    virtual void EndLeaf(MimeContext & context) = 0;

    /// The part that began last; complete from EndHeader on. Between BeginLeaf and EndLeaf that is
    /// the leaf.
    PartInfo const & Part() const { return part_; }
    Reading reading() const { return reading_; }

    void BeginPart(MimeContext & context) override;
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override;
    void EndBody(MimeContext & context) override;
    void SetFileName(char const * field, char const * name) override;
    void SetParameter(char const * field, char const * attribute, char const * value) override;
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override;
    void Set_Content_Transfer_Encoding(char const * encoding) override;
    void Set_Content_Disposition(char const * body, char const * disposition,
                                 char const * filename) override;

private:
    Bodies const bodies_;
    Reading reading_ = Reading_Basic;
    TextFactory * const factory_; // owned by the note
    TopPart top_;
    PartInfo part_;
    std::optional<std::string> charset_; // of the Content-Type that is being reported
    bool has_disposition_name_ = false;
    bool is_raw_ = false;
    bool is_in_leaf_ = false;
};

/// The operation's result in a word: "complete", "fragment_stored", "not_finished".
char const * name_of(MimeINote::ReceiveResult result);

} // namespace examples
