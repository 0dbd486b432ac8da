// mime/receive/receiver.hpp - the state of one run of MimeINote::Receive
//
// It lives on the stack for one message. It owns the line reader, reads a header in two passes
// (first all its lines, so that the type is known at BeginPart; then field by field), and walks the
// body, calling itself for what a multipart or message/rfc822 encloses.
#pragma once

#include "mime/export.hpp"
#include "mime/header/header_run.hpp"
#include "mime/note/incoming_note.hpp"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct DecodingDefects;
class MimeLine;
class TiStreamLite;
class iSimpleStream;
class ioSimpleStream;
class oSimpleStream;

namespace vellum {
class FieldQueue;
class ScratchFile;
class TextWatch;
struct CompleteSet;
struct FieldList;
struct NewFragment;
} // namespace vellum

struct VELLUM_EXPORT MimeReceiver : vellum::HeaderRun {
    /// The note and the stream are not owned and outlive the run. `dir` is copied; null counts as
    /// empty. `debug` may be null.
    MimeReceiver(MimeINote * note, TiStreamLite * in, char const * dir, bool headersOnly,
                 std::ostream * debug);
    MimeReceiver(MimeINote * note, std::istream * in, char const * dir, bool headersOnly,
                 std::ostream * debug);
    MimeReceiver(MimeINote * note, iSimpleStream * in, char const * dir, bool headersOnly,
                 std::ostream * debug);
    ~MimeReceiver() override;

    /// Reads one message, from the first header line to the end of the input, and flushes the debug
    /// stream. Once only.
    MimeINote::ReceiveResult Get_message();

    std::ostream * debug;        ///< Gets the raw lines. A body's raw stream takes its place.
    char * line_begin = nullptr; ///< The current line, as the line reader sets it.
    char * line_end = nullptr;
    long long previous_position = 0; ///< Before the current line was read.
    long long position = 0;          ///< Count of input bytes read.
    unsigned long long line_count = 0;
    bool at_end = false; ///< The last line read met the end of the input.
    bool headers_only;
    int part_count = 0;   ///< Parts begun.
    int atomic_count = 0; ///< Those of them that are neither multipart nor message.
    std::string partial_directory;
    /// Where the first delimiter of a part beyond the limit was taken for text, or -1.
    long long limit_passed_at = -1;

    /// Whether the limit of parts has been reached: what follows is data of the last part.
    bool has_all_parts() const;

private:
    class BodyDecoder;
    class RawStream;
    class OutermostLevel;

    MimeReceiver(MimeINote * client, char const * dir, bool only_headers,
                 std::ostream * debug_stream);

    // Lines
    bool NewLine_Head(bool first);
    bool NewField_Head(bool first);
    bool count_head(long long taken);
    bool NewLine_Body();
    bool NewText_Body();
    bool count_body(long long taken);
    std::string_view NewLines_Body();
    std::string_view line() const;
    void copy_raw(std::string_view text);
    template <typename Take>
    void For_each_text(Take take);

    // Headers
    struct StrayLines;

    bool read_header(bool first, bool begins_message, vellum::FieldQueue & fields);
    void pass_byte_order_mark(vellum::FieldQueue & fields);
    void add_field(vellum::FieldQueue & fields, std::string_view name, bool & is_fragment);
    void look_at_kind(vellum::FieldQueue & fields, std::string_view name, bool & is_fragment);
    void add_stray(StrayLines & stray, unsigned long long lines_before);
    void end_header(StrayLines & stray);
    void put_back(StrayLines & stray);
    void begin_header(vellum::FieldQueue & fields, MimeContext & context, long long start);
    void dispatch_all(vellum::FieldQueue & fields, MimeContext & context, bool has_type,
                      bool owns_level);
    void dispatch(vellum::FieldQueue & fields, MimeContext & context);
    void settle_opening(MimeContext & context);
    void tell(MimeContext & context, MimeDefect what, long long offset);
    void tell_early(vellum::FieldQueue & fields, MimeContext & context);
    void tell_delimiter(MimeContext & context);
    long long end_of_header() const;
    bool pass_lone_cr();
    bool Query_Content_Type(std::string & body);
    void Expect_delimiter(std::string & body);
    void Query_Content_Disposition(std::string & body);
    void count_part();
    void settle_depth();
    void call(void (MimeINote::*operation)(MimeContext &), MimeContext & context);
    bool is_container() const;
    bool is_encoded() const;
    bool is_multipart() const;
    void report_url();

    // Fragments
    std::optional<MimeINote::ReceiveResult> Get_fragment(vellum::FieldQueue & fields,
                                                         MimeContextItem & parent);
    bool May_join() const;
    void Copy_fragment(vellum::FieldQueue & fields, vellum::NewFragment & fragment);
    void Copy_enclosed_header(vellum::ScratchFile & file, bool has_fields);
    void Copy_header_before_text(vellum::ScratchFile & file, bool has_fields);
    MimeINote::ReceiveResult Receive_joined(vellum::CompleteSet const & set,
                                            MimeContextItem & parent);

    // The walk. Each returns true if there is more to read at this level.
    bool Get_message_part(int message_depth, int multipart_depth, MimeContextItem & parent,
                          char const * encoding);
    bool Get_message_body(MimeContext & context);
    class SideText;
    void read_side_text(SideText & side);
    bool Get_message_body__MultiPart(MimeContext & context);
    bool Get_message_body__Message(MimeContext & context);
    struct Place;
    class DecodedLines;
    bool is_encoded_in_name_only(MimeContext & context);
    void walk_encoded(MimeContext & context);
    void tell_decoding(MimeContext const & context, DecodingDefects const & met);
    bool Get_message_body__Data(MimeContext & context);
    void begin_body(MimeContext & context, long long start, std::ostream ** data, RawStream & raw);
    void end_body(MimeContext & context, long long end, RawStream & raw);

    // Data
    void deliver(MimeContext const & context, std::ostream & data);
    void deliver_lines(std::ostream & data, oSimpleStream & out, ioSimpleStream & stage,
                       BodyDecoder & decoder, vellum::TextWatch & watch,
                       NLS_Translator * translator);
    template <typename Full>
    void decode_all(ioSimpleStream & stage, BodyDecoder & decoder, vellum::TextWatch & watch,
                    Full full);
    void deliver_pieces(oSimpleStream & out, ioSimpleStream & stage, BodyDecoder & decoder,
                        vellum::TextWatch & watch, NLS_Translator & translator);
    void deliver_stored(oSimpleStream & out, ioSimpleStream & stage, BodyDecoder & decoder,
                        vellum::TextWatch & watch, NLS_Translator & translator, int restriction);
    void drop_end_marker(oSimpleStream & out) const;
    void tell_of_body(MimeContext const & context, MimeDefect what);

    void Boundary_Init(char const * boundary) override;

    bool has_partial_directory_;
    int nesting_limit_;
    int part_limit_;
    unsigned long header_limit_;
    int nesting_ = 0; ///< Multiparts and message/rfc822 that have been opened.

    int decoded_depth_ = 0; ///< How many encoded messages lie around what is read.

    // Of the part whose header was read last.
    bool is_too_deep_ = false;    ///< It is delivered as data.
    bool owns_level_ = false;     ///< The innermost boundary level is its own.
    bool is_opened_ = false;      ///< It is walked.
    bool runs_into_body_ = false; ///< No blank line stands between its header and its body.
    std::string kind_body_;       ///< A field's body for these two; kept for its memory.
    std::string field_memory_;    ///< Of the last header's fields, for the next one's.
    std::size_t header_size_ = 0; ///< Of its fields.
    long long type_offset_ = -1;  ///< Where its first Content-Type is.
    struct EarlyDefect {
        MimeDefect what;
        long long offset;
    };
    std::vector<EarlyDefect> early_defects_; ///< Waiting for BeginHeader. A few at most.

    MimeReceiver const * joined_by_ = nullptr; ///< The run whose fragments this one reads, if any.
    std::unique_ptr<MimeLine> line_reader_;
};
