// examples/support/tree_writer.hpp - the note that writes a tree of parts
#pragma once

#include "examples/support/new_file.hpp"
#include "examples/support/outgoing_part.hpp"
#include "examples/support/text_factory.hpp"

#include <mime/vellum.hpp>

#include <filesystem>
#include <list>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace examples {

/// Answers from a tree, with a cursor that BeginPart and EndPart move. The field guard is on: what
/// comes from a command line or from another message can't add fields of its own.
class TreeWriter : public MimeONote {
public:
    /// Writes to `out`, in one piece. Both outlive the writer.
    TreeWriter(OutgoingPart const & root, std::ostream & out, Writing writing);
    /// Writes fragments of about that many bytes to DIR/001.eml and so on, none of which may exist.
    TreeWriter(OutgoingPart const & root, std::string directory, unsigned int split_size,
               Writing writing);

    /// False if what was written isn't all there. Then, and if anything is thrown, no fragment
    /// stays.
    bool Write();

protected:
    int BeginPart(MimeContext & context) override;
    int BeginHeader(MimeContext & context) override;
    void EndHeader(MimeContext & context) override;
    void EndPart(MimeContext & context) override;
    int BeginBody(MimeContext & context, std::istream ** body) override;
    void EndBody(MimeContext & context) override;

    int Get_From(SymToken & field, char const *& name, char const *& address) override;
    int Get_To(SymToken & field, char const *& name, char const *& address) override;
    int Get_Disposition_notification_to(char const *& name, char const *& address) override;
    int Get_Subject(char const *& value) override;
    int Get_Message_Id(char const *& value) override;
    int Get_Date(std::tm & when, int & offset) override;
    int Get_Content_Type(SymToken & type, SymToken & subtype) override;
    int Get_Content_Disposition(SymToken & disposition, char const *& filename) override;
    int GetFileName(char const *& value) override;
    int GetBoundary(char const *& value) override;
    int GetProperty(char const * name, char const *& value) override;

    void BeginOutput() override;
    void EndOutput() override;
    void GetOutputBuffer(Buffer & block) override;
    void PutOutputBuffer(Buffer & block) override;

private:
    void Start(Writing writing);
    void RemoveFragments();

    struct Level {
        OutgoingPart const * part;
        std::size_t next_part = 0;
    };
    using Block = std::vector<unsigned char>;

    OutgoingPart const & Part() const { return *levels_.back().part; }
    int NextAddress(SymToken & field, char const *& name, char const *& address);

    OutgoingPart const & root_;
    TextFactory * const factory_ = new TextFactory; ///< Owned by the note.
    std::vector<Level> levels_;
    std::size_t next_address_ = 0; ///< Of the series that is being asked for.
    std::unique_ptr<std::istream> body_;
    std::string message_id_;
    std::string boundary_;
    bool is_basic_ = false;

    std::string directory_;
    int file_number_ = 0;
    std::optional<NewFile> file_; ///< That of the fragment.
    std::vector<std::filesystem::path> fragments_;
    std::ostream * out_ = nullptr;
    bool is_good_ = true;
    std::list<Block> lent_; ///< A message that is split holds many blocks at a time.
    std::list<Block> free_;
};

} // namespace examples
