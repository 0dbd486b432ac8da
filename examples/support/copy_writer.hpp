// examples/support/copy_writer.hpp - the note that writes a message as it came
#pragma once

#include "examples/support/copied_part.hpp"
#include "examples/support/streamed_note.hpp"

#include <mime/vellum.hpp>

#include <cstddef>
#include <istream>
#include <memory>
#include <ostream>
#include <vector>

namespace examples {

/// Writes the fields and the bodies of a message byte for byte, around them the delimiters, and CR
/// LF where its file has LF. A field that no mail may hold is mended: see mended_field.
class CopyWriter : public StreamedNote {
public:
    /// Both outlive the writer.
    CopyWriter(CopiedMessage const & message, std::ostream & out);

    /// How many fields are missing, or cut.
    int lost_fields() const { return lost_fields_; }

protected:
    int BeginPart(MimeContext & context) override;
    void EndPart(MimeContext & context) override;
    int PutHeader(MimeContext & context) override;
    int Get_Content_Type(SymToken & type, SymToken & subtype) override;
    int GetBoundary(char const *& value) override;
    int GetPreamble(MimeContext & context, std::istream ** text) override;
    int GetEpilogue(MimeContext & context, std::istream ** text) override;
    int BeginBody(MimeContext & context, std::istream ** body) override;

private:
    struct Level {
        CopiedPart const * part;
        std::size_t next_part = 0;
    };

    CopiedPart const & Part() const { return *levels_.back().part; }
    void PutField(std::string const & field);
    void Lend(std::shared_ptr<Spool> const & spool, CopiedPart::Range range, bool is_data,
              std::istream ** stream);

    CopiedMessage const & message_;
    std::vector<Level> levels_;
    std::unique_ptr<std::istream> stream_; ///< That the engine copies.
    int lost_fields_ = 0;
};

} // namespace examples
