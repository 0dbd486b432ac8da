// mime/send/own_field.cpp - what a client may add to a header itself
#include "mime/send/own_field.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/send/field_guard.hpp"

#include <algorithm>
#include <initializer_list>
#include <iterator>

namespace vellum {

namespace {

bool is_one_of(std::string_view name, std::initializer_list<char const *> fields) {
    return std::any_of(fields.begin(), fields.end(),
                       [name](char const * field) { return ascii::equal(field, name); });
}

bool is_field_of_message(std::string_view name) {
    return is_one_of(name, {RFC822::Date,
                            RFC822::To,
                            RFC822::cc,
                            RFC822::bcc,
                            RFC822::From,
                            RFC822::Sender,
                            RFC822::Reply_To,
                            BureauSphere::X_To_BS,
                            BureauSphere::X_To_Fax,
                            BureauSphere::X_cc_BS,
                            BureauSphere::X_cc_Fax,
                            BureauSphere::X_bcc_BS,
                            BureauSphere::X_bcc_Fax,
                            BureauSphere::X_From_BS,
                            BureauSphere::X_From_Fax,
                            BureauSphere::X_Sender_BS,
                            BureauSphere::X_Sender_Fax,
                            BureauSphere::X_Reply_To_BS,
                            BureauSphere::X_Reply_To_Fax,
                            RFC822::In_Reply_To,
                            RFC822::References,
                            RFC822::Encrypted,
                            RFC1138::Importance,
                            RFC1138::Priority,
                            RFC1138::Sensitivity,
                            MDN::Disposition_notification_to,
                            RFC822::Subject,
                            RFC822::Message_Id,
                            RFC1521::MIME_Version});
}

bool is_field_of_part(std::string_view name) {
    return is_one_of(
        name, {RFC1521::Content_Type, RFC1521::Content_Transfer_Encoding, RFC1521::Content_Id});
}

bool is_field_of_leaf(std::string_view name) {
    return is_one_of(name, {RFC1521::Content_Description, RFC1806::Content_Disposition});
}

/// Takes a line off `bytes`, without its line end: CR LF, CR or LF.
std::string_view take_line(std::string_view & bytes) {
    std::size_t const end = std::min(bytes.find_first_of("\r\n"), bytes.size());
    std::string_view const line = bytes.substr(0, end);
    bool const is_crlf = bytes.substr(end, 2) == "\r\n";
    bytes.remove_prefix(std::min(end + (is_crlf ? 2 : 1), bytes.size()));
    return line;
}

bool is_first_line(std::string_view line) {
    std::size_t const colon = line.find(':');
    return colon != line.npos && is_field_name(line.substr(0, colon));
}

bool is_further_line(std::string_view line) {
    return !line.empty() && ascii::is_blank(line.front()) &&
           !std::all_of(line.begin(), line.end(), ascii::is_blank);
}

} // namespace

bool is_field_of_engine(std::string_view name, HeaderKind header) {
    return is_field_of_part(name) || (!header.is_container && is_field_of_leaf(name)) ||
           (header.is_message && is_field_of_message(name));
}

bool is_structured(std::string_view name) {
    constexpr std::string_view begins[] = {"Resent-", "List-", "Received"};
    return std::any_of(std::begin(begins), std::end(begins), [name](std::string_view begin) {
        return ascii::equal(name.substr(0, begin.size()), begin);
    });
}

std::string unfolded(std::string_view value) {
    std::string text;
    while (!value.empty()) {
        std::size_t const line_end = std::min(value.find('\n'), value.size());
        std::string_view line = value.substr(0, line_end);
        value.remove_prefix(std::min(line_end + 1, value.size()));
        bool const is_fold = !value.empty() && ascii::is_blank(value.front());
        if (is_fold && line.ends_with('\r')) line.remove_suffix(1);
        text += line;
        if (!is_fold && !value.empty()) text += '\n';
    }
    return text;
}

bool read_field(std::string_view bytes, std::string & field) {
    field.clear();
    if (bytes.find('\0') != bytes.npos) return false;
    while (!bytes.empty()) {
        std::string_view const line = take_line(bytes);
        if (line.size() > longest_line) return false;
        if (!(field.empty() ? is_first_line(line) : is_further_line(line))) return false;
        field.append(line).append("\r\n");
    }
    return !field.empty();
}

} // namespace vellum
