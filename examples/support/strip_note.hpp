// examples/support/strip_note.hpp - the note that takes parts out of a message on its way
#pragma once

#include "examples/support/part_note.hpp"
#include "examples/support/passing_input.hpp"
#include "examples/support/strip_rules.hpp"

#include <istream>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace examples {

/// Passes what it reads on to the output of its input, byte for byte, but for the parts that the
/// rules take out: a short text stands in the place of such a part's body, and the fields that told
/// of the body tell of the text. Until it is known whether a part goes, its header and its body
/// wait in the input; everything else goes on as it is read.
class StripNote : public PartNote {
public:
    /// `in` reads from `input`. All three outlive the note.
    StripNote(std::istream & in, PassingInput & input, StripRules const & rules);

    /// The whole message.
    void Run();

protected:
    void BeginPart(MimeContext & context) override;
    void RawField(MimeContext & context, char const * field, unsigned long size,
                  long long offset) override;
    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override;
    std::ostream * BeginLeaf(MimeContext & context) override;
    void EndLeaf(MimeContext &) override {}
    void EndBody(MimeContext & context) override;

    void BeginPreamble(MimeContext & context, std::ostream ** text) override;
    void EndPreamble(MimeContext & context) override;
    void BeginEpilogue(MimeContext & context, std::ostream ** text) override;
    void EndEpilogue(MimeContext & context) override;

    void Defect(MimeContext const & context, MimeDefect what, long long offset) override;

private:
    /// Where the header of the part that began last has what a text in its place needs.
    struct Header {
        struct Field {
            long long begin;
            long long end;
        };
        char const * line_end = "\r\n";
        std::vector<Field> body_fields = {}; ///< Those that tell of the body.
        long long first_field = -1;
        bool has_blank_line = true;
    };

    /// A part that may go.
    struct Candidate {
        int part_number;
        long long most_bytes;
        long long body_start;
        Header header;
        PartInfo part;
        bool is_going = false;
        std::string description = {}; ///< In its place.
    };

    /// Counts what the engine hands out of the candidate's body.
    class Watch : public std::streambuf {
    public:
        explicit Watch(StripNote & note) : note_(note) {}
        void Reset() {
            count_ = 0;
            is_behind_line_ = false;
        }

    protected:
        std::streamsize xsputn(char const * text, std::streamsize size) override;
        int_type overflow(int_type byte) override;

    private:
        StripNote & note_;
        long long count_ = 0;
        bool is_behind_line_ = false; ///< The first one.
    };

    bool IsOutside(MimeContext const & context) const;
    bool Consider(MimeContext const & context);
    void SeeBody(long long end);
    void WriteHeader();
    void WriteText(long long size, bool is_last);

    PassingInput & input_;
    StripRules const & rules_;
    Header header_;
    std::optional<Candidate> candidate_;
    int sealed_by_ = 0; ///< The number of the multipart around us that mustn't change, or 0.
    Watch watch_{*this};
    std::ostream watch_stream_{&watch_};
};

} // namespace examples
