// examples/support/copy_reader.hpp - the note that reads a message to be passed on as it came
#pragma once

#include "examples/support/copied_part.hpp"
#include "examples/support/part_note.hpp"
#include "examples/support/passing_input.hpp"

#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace examples {

/// An input that is kept while it is read.
class KeptInput {
protected:
    explicit KeptInput(std::istream & in);

    std::shared_ptr<Spool> const kept_;
    PassingInput passing_;
    std::istream reading_from_{&passing_};
};

/// Remembers where the parts lie and how they hang together. A multipart that isn't closed, or is
/// signed or encrypted, and a message that is encoded, count as one body: written part by part,
/// they would become others.
class CopyReader : private KeptInput, public PartNote {
public:
    explicit CopyReader(std::istream & in)
        : KeptInput(in), PartNote(reading_from_, Bodies::as_sent) {
        SetNestingLimit(deepest_nesting);
    }

    /// The message; once.
    CopiedMessage Read();

protected:
    void BeginPart(MimeContext & context) override;
    void RawField(MimeContext & context, char const * field, unsigned long size,
                  long long offset) override;
    void SetParameter(char const * field, char const * attribute, char const * value) override;
    void Set_Content_Type(char const * body, char const * type, char const * subtype) override;
    void EndHeader(MimeContext & context) override;
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override;
    std::ostream * BeginLeaf(MimeContext &) override { return nullptr; }
    void EndLeaf(MimeContext &) override {}
    void EndPart(MimeContext & context) override;

    void BeginPreamble(MimeContext & context, std::ostream ** text) override;
    void EndPreamble(MimeContext & context) override;
    void BeginEpilogue(MimeContext & context, std::ostream ** text) override;
    void EndEpilogue(MimeContext & context) override;

    void Defect(MimeContext const & context, MimeDefect what, long long offset) override;

private:
    /// The walks of reading and writing take some stack for each level; this many fit into a
    /// megabyte.
    static constexpr int deepest_nesting = 500;

    void SettleLineEnds();

    CopiedMessage message_;
    std::vector<CopiedPart *> open_; ///< From the message to the part that is being read.
    std::string next_boundary_;      ///< Of the Content-Type that is being reported.
    std::string boundary_;           ///< Of the last one.
    bool runs_into_body_ = false;    ///< No blank line stands behind the message's header.
};

} // namespace examples
