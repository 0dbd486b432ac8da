// mime/send/rfc2047_stream.cpp - a header text as plain text, quoted string or encoded word
//
// Not here: a limit of 75 characters for an encoded word, and cutting a text into several; see
// encoded_words.hpp. One text is one word, so that no character of several bytes is ever cut.
#include "mime/send/rfc2047_stream.hpp"

#include "mime/codec/base64.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/nls/charset.hpp"
#include "mime/send/delimited.hpp"
#include "mime/send/encoder_in_use.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/q_encoding.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"

#include <algorithm>
#include <exception>

using vellum::ascii::byte;

namespace {

/// "=?" and "?=" around at least a character set, an encoding and nothing: "=?x?Q??=".
constexpr std::size_t least_encoded_word = 8;

bool is_encoded_word(std::string_view text) {
    return text.size() >= least_encoded_word && text.substr(0, 2) == "=?" &&
           text.substr(text.size() - 2) == "?=";
}

bool is_plain(char c) { return (byte(c) >= 0x20 && byte(c) < 0x7F) || c == '\t'; }

} // namespace

oRFC2047Stream::oRFC2047Stream(MimeSender * sender, bool quoted, bool phrase)
    : oSimpleStream(block_, block_size), sender_(sender), output_(sender->stream), quoted_(quoted),
      phrase_(phrase), exceptions_(std::uncaught_exceptions()) {}

oRFC2047Stream::~oRFC2047Stream() {
    if (finished_ || std::uncaught_exceptions() > exceptions_) return;
    try {
        Finish();
    } catch (...) { // out of a destructor it would end the process
    }
}

void oRFC2047Stream::Finish() {
    if (finished_ || output_ == nullptr) return;
    finished_ = true;
    bool const encoded =
        sender_->field_guard ? vellum::is_encoded_words(text()) : is_encoded_word(text());
    if (encoded || CanStandPlain()) {
        WritePlain(encoded);
    } else {
        WriteTranslated();
    }
}

/// Some readers decode what looks like an encoded word within quotes too. The field guard lets
/// nothing hide in there.
bool oRFC2047Stream::CanStandPlain() const {
    bool const in_quotes = quoted_ || phrase_;
    if (sender_->field_guard && in_quotes && text().find("=?") != std::string_view::npos) {
        return false;
    }
    return std::all_of(text().begin(), text().end(), is_plain);
}

std::string_view oRFC2047Stream::text() const { return {str(), pending()}; }

void oRFC2047Stream::WritePlain(bool already_encoded) {
    if (text().empty()) return;
    if (quoted_ || (phrase_ && !already_encoded)) {
        put('\0');
        vellum::WriteDelimited(output_, str(), '"', '"', true);
    } else {
        output_->write(text());
    }
}

void oRFC2047Stream::WriteTranslated() {
    vellum::HeaderTranslation const translation(*sender_);
    WriteEncodedWord(translation.set(), translation.Translate(text()));
}

void oRFC2047Stream::WriteEncodedWord(NLS_CharSet const & character_set, std::string_view text) {
    bool const binary = character_set.is_Binary();
    if (quoted_) *output_ << '"';
    *output_ << "=?" << character_set.name << (binary ? "?B?" : "?Q?");
    if (binary) {
        WriteB(text);
    } else {
        using vellum::TextKind;
        TextKind const in_word = quoted_ ? TextKind::parameter : TextKind::unstructured;
        vellum::write_q(text, phrase_ ? TextKind::phrase : in_word, *output_);
    }
    *output_ << "?=";
    if (quoted_) *output_ << '"';
}

void oRFC2047Stream::WriteB(std::string_view text) {
    constexpr bool break_lines = false;
    vellum::EncoderInUse const encoder(new Encoding64(break_lines));
    vellum::encode(*encoder, text, *output_);
    encoder->Flush();
}
