// mime/receive/encoded_message.cpp - a message in base64, quoted-printable or uuencode, decoded on
// the way and walked like any other
//
// RFC 2045 6.4 forbids it; mail has it all the same. For the time of the walk the run reads its
// lines, and counts its positions, in the decoded text: a line reader whose source pulls the lines
// of the body around it through the decoder. That happens for each level anew.
//
// Bounds:     no more is held than a block of text, decoded. The levels within each other are few:
//             a byte of the innermost one is decoded once for each level.
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/text_stream.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/receiver.hpp"
#include "mime/receive/text_lines.hpp"

#include <array>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

/// Whether the text has a "=" that begins neither an escape nor a soft break.
bool has_bad_escape(std::string_view text) {
    auto const is_hex = [&](std::size_t i) {
        char const c = i < text.size() ? vellum::ascii::to_lower(text[i]) : ' ';
        return vellum::ascii::is_digit(c) || (c >= 'a' && c <= 'f');
    };
    for (std::size_t at = 0; (at = text.find('=', at)) != text.npos;) {
        ++at;
        if (is_hex(at) && is_hex(at + 1)) continue;
        std::size_t const end = text.find_first_not_of(" \t\r", at);
        if (end != text.npos && text[end] != '\n') return true;
    }
    return false;
}

} // namespace

/// Where a run reads and what it has read there.
struct MimeReceiver::Place {
    std::unique_ptr<MimeLine> reader;
    char * line_begin = nullptr;
    char * line_end = nullptr;
    long long previous_position = 0;
    long long position = 0;
    unsigned long long line_count = 0;
    bool at_end = false;
    long long limit_passed_at = -1;
    std::ostream * debug = nullptr;

    void swap(MimeReceiver & run) {
        std::swap(reader, run.line_reader_);
        std::swap(line_begin, run.line_begin);
        std::swap(line_end, run.line_end);
        std::swap(previous_position, run.previous_position);
        std::swap(position, run.position);
        std::swap(line_count, run.line_count);
        std::swap(at_end, run.at_end);
        std::swap(limit_passed_at, run.limit_passed_at);
        std::swap(debug, run.debug);
    }
};

/// Lines of the decoded text. The body around it is read in the run's other place.
class MimeReceiver::DecodedLines : public MimeLine {
public:
    DecodedLines(MimeReceiver & run, Place & outside, char ** begin, char ** end)
        : MimeLine(begin, end, &run, vellum::line_buffer_size), run_(run), outside_(outside),
          stage_(block_.data(), static_cast<int>(block_.size()), 0),
          decoder_(MIME_TransferDecoding::Create(run.transfer_encoding, run.rules->decoding)) {
        stage_.rewind(); // nothing is in it yet
    }

    DecodingDefects const & defects() const { return decoder_->Defects(); }

    std::string_view Window() override {
        while (stage_.iBufCnt() == 0 && !is_over_)
            pull();
        return {reinterpret_cast<char const *>(stage_.iGetPtr(0)), stage_.iBufCnt()};
    }
    void Take(std::size_t count) override { stage_.iGetPtr(static_cast<long>(count)); }

private:
    /// Decodes a further piece of the body around it.
    void pull() {
        struct Outside {
            MimeReceiver & run;
            Place & place;
            Outside(MimeReceiver & r, Place & p) : run(r), place(p) { place.swap(run); }
            ~Outside() { place.swap(run); }
        } const outside{run_, outside_};
        stage_.reInit();
        std::string_view const block = has_line_ ? std::string_view() : run_.NewLines_Body();
        if (!block.empty()) {
            decode(block);
        } else {
            if (!has_line_) run_.NewText_Body();
            is_over_ = run_.line_reader_->Boundary_is_a();
            if (is_over_) {
                decoder_->Finish();
            } else {
                decode(run_.line());
            }
            has_line_ = false;
        }
        stage_.rewind();
    }

    void decode(std::string_view text) {
        run_.copy_raw(text);
        vellum::TextStream source(text);
        decoder_->decode(&source, &stage_);
    }

    MimeReceiver & run_;
    Place & outside_;
    std::array<char, vellum::delivery_block> block_;
    ioSimpleStream stage_; // outlives the decoder
    MIME_TransferDecoding_Engine decoder_;
    bool has_line_ = true; ///< The current line of the body hasn't been decoded.
    bool is_over_ = false;
};

/// Takes the first line of a message that its header says is encoded. True if that isn't so, as
/// where a mailer wrote the field and forgot the rest: then nothing is taken. A line of base64 or
/// uuencode is no field. Quoted-printable begins with a field in any case, but its header has no
/// "=" that isn't an escape, and that of a message with a multipart or an encoded word has.
bool MimeReceiver::is_encoded_in_name_only(MimeContext & context) {
    auto const before = std::tuple(previous_position, position, line_count, at_end);
    NewText_Body();
    std::string_view name;
    if (line_reader_->Boundary_is_a() || !vellum::FieldQueue::is_field(line(), name) ||
        name.empty()) {
        return false;
    }
    bool const is_quoted_printable = transfer_encoding == RFC1521::quoted_printable;
    std::string head;
    while (is_quoted_printable && !line_reader_->Boundary_is_a() &&
           !vellum::is_blank_line(line()) && head.size() < vellum::text_block) {
        head += line();
        NewText_Body();
    }
    bool const is_plain = !is_quoted_printable || has_bad_escape(head);
    line_reader_->Unread_Body(std::move(head));
    std::tie(previous_position, position, line_count, at_end) = before;
    if (!is_plain) {
        NewText_Body();
        return false;
    }
    DecodingDefects met;
    met.bad_character = transfer_encoding == RFC1521::base64;
    met.bad_escape = is_quoted_printable;
    met.no_begin = transfer_encoding == X::uuencode;
    tell_decoding(context, met);
    return true;
}

/// Walks the message whose encoded text begins with the current line, and reads on to the end of
/// the body.
void MimeReceiver::walk_encoded(MimeContext & context) {
    struct Scope {
        MimeReceiver & run;
        Place outside;
        explicit Scope(MimeReceiver & r) : run(r) {
            outside.swap(run);
            ++run.decoded_depth_;
        }
        ~Scope() {
            run.line_reader_.reset();
            outside.swap(run);
            --run.decoded_depth_;
        }
    };
    DecodingDefects defects;
    {
        Scope scope(*this);
        line_reader_ = std::make_unique<DecodedLines>(*this, scope.outside, &line_begin, &line_end);
        line_reader_->Boundary_Push();
        auto & lines = static_cast<DecodedLines &>(*line_reader_);
        Get_message_part(context.message_depth + 1, 0, *context.item, nullptr);
        for (std::size_t size; (size = lines.Window().size()) > 0;)
            lines.Take(size);
        defects = lines.defects();
    }
    tell_decoding(context, defects);
}

/// Of any body, once it has been decoded.
void MimeReceiver::tell_decoding(MimeContext const & context, DecodingDefects const & met) {
    if (met.bad_character || met.data_behind_padding) tell_of_body(context, Defect_BadBase64);
    if (met.unfinished_group) tell_of_body(context, Defect_UnfinishedBase64);
    if (met.bad_escape) tell_of_body(context, Defect_BadQuotedPrintable);
    if (met.no_begin || met.no_end || met.text_outside) tell_of_body(context, Defect_BadUuencode);
}
