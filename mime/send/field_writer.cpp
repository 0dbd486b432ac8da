// mime/send/field_writer.cpp - writes one header field of the engine's text and the client's values
#include "mime/send/field_writer.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/nls/character_boundary.hpp"
#include "mime/nls/charset.hpp"
#include "mime/send/delimited.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/header_text.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/own_field.hpp"
#include "mime/send/rfc2047_stream.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/writing_rules.hpp"

#include <algorithm>
#include <utility>

namespace vellum {

FieldWriter::FieldWriter(MimeSender & sender, char const * name)
    : sender_(sender), out_(*sender.stream), folds_(sender.rules->lines_folded),
      folder_(out_, sender.rules->ascii_header && !sender.settings.utf8) {
    raw(name);
}

FieldWriter & FieldWriter::text(std::string_view text) {
    if (folds_) {
        folder_.AddOwn(text);
    } else {
        out_.write(text);
    }
    return *this;
}

FieldWriter & FieldWriter::number(long value) { return text(std::to_string(value)); }

FieldWriter & FieldWriter::raw(char const * value) {
    if (!folds_) {
        out_ << guard(value, Fold::stays);
    } else if (value != nullptr) {
        folder_.AddSolid(unfolded(value));
    }
    return *this;
}

FieldWriter & FieldWriter::words(char const * value) {
    if (!folds_) return raw(value);
    HeaderText(sender_, folder_).PutWords(unfolded(value));
    return *this;
}

FieldWriter & FieldWriter::encoded(char const * value, TextKind kind) {
    bool const is_empty = value == nullptr || *value == '\0';
    if (sender_.field_guard && is_empty && kind == TextKind::parameter) return text("\"\"");
    if (!sender_.rules->short_encoded_words) {
        oRFC2047Stream stream(&sender_, kind == TextKind::parameter, kind == TextKind::phrase);
        char const * text = guard(value, kind == TextKind::unstructured ? Fold::stays : Fold::goes);
        if (kind == TextKind::parameter && sender_.field_guard) text = guard_quotes(text);
        stream << text;
        stream.Finish();
    } else if (kind == TextKind::unstructured) {
        HeaderText(sender_, folder_).PutUnstructured(unfolded(value));
    } else if (!is_empty) {
        HeaderText(sender_, folder_).PutPhrase(guard(value, Fold::goes));
    }
    return *this;
}

FieldWriter & FieldWriter::parameter(std::string_view separator, char const * name,
                                     char const * value) {
    text(separator);
    if (!sender_.rules->extended_parameters) {
        return text(name).text("=").encoded(value, TextKind::parameter);
    }
    HeaderText(sender_, folder_).PutParameter(name, guard(value, Fold::goes));
    return *this;
}

FieldWriter & FieldWriter::parameters(std::vector<ClientParameter> const & list) {
    for (auto const & [name, value] : list) {
        if (is_token(value) && name.size() + value.size() < HeaderFolder::wanted_line - 2) {
            text("; ").text(name).text("=").text(value);
        } else {
            parameter("; ", name.c_str(), value.c_str());
        }
    }
    return *this;
}

FieldWriter & FieldWriter::delimited(char const * value, char open, char close, bool escape) {
    char const * const safe = guard(value, Fold::goes);
    if (!folds_) {
        WriteDelimited(&out_, safe, open, close, escape);
    } else {
        oSimpleStream result;
        WriteDelimited(&result, safe, open, close, escape);
        folder_.AddSolid({result.str(), result.oBufCnt()});
    }
    return *this;
}

void FieldWriter::end() {
    if (folds_) {
        folder_.End();
    } else {
        out_.write("\r\n");
    }
}

/// The value without the line ends of its folds, as the field is folded anew.
std::string FieldWriter::unfolded(char const * value) {
    return value != nullptr ? vellum::unfolded(guard(value, Fold::stays)) : std::string();
}

/// Some readers decode encoded words before they look for the closing quote. So no quote stays in a
/// text that will be encoded where a parameter could follow it, and no backslash where the closing
/// quote follows.
char const * FieldWriter::guard_quotes(char const * value) {
    std::string_view const text(value);
    auto const is_plain = [](char c) {
        return (ascii::byte(c) >= ' ' && ascii::byte(c) < 0x7F) || c == '\t';
    };
    bool const will_be_encoded =
        !std::all_of(text.begin(), text.end(), is_plain) || text.find("=?") != text.npos;
    bool const can_end = text.find(';') != text.npos || text.ends_with('\\');
    if (!will_be_encoded || !can_end) return value;
    std::string result(text);
    for (std::size_t i = 0, next; i < text.size(); i = next) {
        next = i + 1;
        while (next < text.size() &&
               incomplete_tail(NLS::PlatformCodePage, text.substr(i, next - i)) != 0)
            ++next;
        if (next == i + 1 && text[i] == '"') result[i] = '\'';
        if (next == i + 1 && text[i] == '\\') result[i] = '/';
    }
    guarded_ = std::move(result);
    return guarded_.c_str();
}

char const * FieldWriter::guard(char const * value, Fold fold) {
    if (!sender_.field_guard || value == nullptr || !needs_guard(value)) return value;
    guarded_ = fold == Fold::stays ? guarded(value) : guarded_line(value);
    return guarded_.c_str();
}

} // namespace vellum
