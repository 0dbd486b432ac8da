// mime/send/own_field.cpp - what a client may add to a header itself
#include "mime/send/own_field.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/send/field_guard.hpp"

#include <algorithm>

namespace vellum {

namespace {

constexpr std::string_view fields_of_part[] = {
    "Content-Type",
    "Content-Transfer-Encoding",
    "Content-ID",
};

constexpr std::string_view fields_of_leaf[] = {
    "Content-Description",
    "Content-Disposition",
};

constexpr std::string_view fields_of_message[] = {
    "Date",
    "To",
    "cc",
    "bcc",
    "From",
    "Sender",
    "Reply-To",
    "X-To-BS",
    "X-To-Fax",
    "X-cc-BS",
    "X-cc-Fax",
    "X-bcc-BS",
    "X-bcc-Fax",
    "X-From-BS",
    "X-From-Fax",
    "X-Sender-BS",
    "X-Sender-Fax",
    "X-Reply-To-BS",
    "X-Reply-To-Fax",
    "In-Reply-To",
    "References",
    "Encrypted",
    "Importance",
    "Priority",
    "Sensitivity",
    "Disposition-Notification-To",
    "Subject",
    "Message-ID",
    "MIME-Version",
};

template <typename Names>
bool contains(Names const & names, std::string_view name) {
    return std::any_of(std::begin(names), std::end(names),
                       [name](std::string_view own) { return ascii::equal(own, name); });
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
    return contains(fields_of_part, name) ||
           (!header.is_container && contains(fields_of_leaf, name)) ||
           (header.is_message && contains(fields_of_message, name));
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
