// tests/support/note_script.hpp - outgoing notes written down as text, and what they send
//
// A script has a line "KEY: VALUE" for each answer and each setting. "- " in front of a line begins
// a part of the multipart (or the message in the message/rfc822) around it, and two blanks more
// stand in front of each line within. "%0D" is a byte, in values and in what is shown.
//
//     Type: multipart/mixed
//     To: The Annex <annex@x>        a name, an address, or both
//     To>X-To: <annex@x>             moved to another field
//     X-Own: sent from PutXFields
//     last X-Own: sent from EndHeader
//     trace Received: sent from PutTraceFields
//     parameter report-type: of Content-Type
//     disposition size: of Content-Disposition
//     raw: X-Own: a whole field, sent from PutHeader
//     - Type: text/plain
//       Body: Hello%0D%0A
#pragma once

#include "tests/support/case_rows.hpp"
#include "tests/support/outgoing_notes.hpp"
#include "tests/support/texts.hpp"

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vellum::test {

/// "%0D" is a byte.
inline std::string percent_decoded(std::string_view text) {
    return unescaped(replaced(replaced(std::string(text), "\\", "\\\\"), "%", "\\x"));
}

inline std::string escaped(std::string_view text, std::string_view also = "%") {
    std::string result;
    for (char const c : text) {
        char code[4];
        bool const is_plain = c >= ' ' && c <= '~' && also.find(c) == also.npos;
        std::snprintf(code, sizeof code, is_plain ? "%c" : "%%%02X", static_cast<unsigned char>(c));
        result += code;
    }
    return result;
}

/// A message as it stands in a case: a line for each line, "%" at the end of what lacks a line end,
/// "{T}" for the fixed time.
inline std::string shown(std::string const & message) {
    std::string result;
    for (std::size_t at = 0, end; at < message.size(); at = end + 2) {
        end = std::min(message.find("\r\n", at), message.size());
        std::string line = escaped(message.substr(at, end - at));
        if (line.ends_with(' ')) line.replace(line.size() - 1, 1, "%20");
        result += replaced(line, fixed_time, "{T}") + (end == message.size() ? "%\n" : "\n");
    }
    return result;
}

/// `size` bytes of lines.
inline std::string lines(std::size_t size, std::size_t line_length,
                         std::string_view line_end = "\r\n") {
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i)
        text += std::string(line_length, static_cast<char>('a' + i % 26)).append(line_end);
    text.resize(size);
    return text;
}

struct NoteScript {
    Part message;
    std::map<std::string, std::string> settings; ///< the lines whose key is none of a part's
};

inline Part::Address address_of(std::string const & text) {
    std::size_t const at = text.starts_with('<') ? 0 : text.rfind('<');
    if (at == text.npos) return {percent_decoded(text), {}};
    Part::Address entry{{}, percent_decoded(text.substr(at + 1, text.size() - at - 2))};
    if (at > 0) {
        entry.name = percent_decoded(text.substr(0, at));
        entry.name->pop_back();
    }
    return entry;
}

/// Whether `part` has such a key. Settings begin with a small letter. A "%2F" doesn't part a type
/// from its subtype, nor a "%3C" a name from its address.
inline bool set(Part & part, std::string const & key, std::string const & text) {
    std::string const value = percent_decoded(text);
    static std::set<std::string> const fields = {"last", "trace", "raw", "parameter",
                                                 "disposition"};
    static std::set<std::string> const addresses = {
        "Sender", "From", "Reply-To", "To", "cc", "bcc", "Disposition-notification-to"};
    std::string const word = key.substr(0, key.find_first_of(" >"));
    std::string const rest = key.substr(std::min(word.size() + 1, key.size()));
    if (key.empty() || key[0] == 'X') {
        part.fields["X"].emplace_back(key, value);
    } else if (fields.contains(word)) {
        part.fields[word].emplace_back(rest, value);
    } else if (addresses.contains(word)) {
        part.addresses[word].push_back(address_of(text));
        if (!rest.empty()) part.addresses[word].back().moved = rest;
    } else if (key == "Type") {
        std::size_t const slash = text.find('/');
        if (slash != 0) part.type = percent_decoded(text.substr(0, slash));
        if (slash != text.npos) part.subtype = percent_decoded(text.substr(slash + 1));
    } else if (key == "Lines") {
        part.texts["Body"] = lines(std::stoul(value), 70);
    } else if (key == "Result") {
        part.result = std::stoi(value);
    } else if (key[0] >= 'A' && key[0] <= 'Z') {
        part.texts[key] = value;
    } else {
        return false;
    }
    return true;
}

inline NoteScript read_script(std::string_view text) {
    NoteScript script;
    std::vector<Part *> path{&script.message};
    for (std::string const & line : split(text, '\n')) {
        if (line.empty() || line[0] == '#') continue;
        std::size_t const begin = line.find_first_not_of(" -");
        path.resize(line.find('-') < begin ? begin / 2 : begin / 2 + 1);
        if (path.size() == begin / 2) {
            path.back()->parts.emplace_back();
            path.push_back(&path.back()->parts.back());
        }
        std::size_t const colon = line.find(':', begin);
        std::string const key = percent_decoded(line.substr(begin, colon - begin));
        std::string const value = line.substr(std::min(colon + 2, line.size()));
        if (!set(*path.back(), key, value)) script.settings[key] = percent_decoded(value);
    }
    return script;
}

} // namespace vellum::test
