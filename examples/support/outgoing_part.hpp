// examples/support/outgoing_part.hpp - what is to be written: a message as a tree of parts
#pragma once

#include <mime/vellum.hpp>

#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace examples {

/// A message, or a part of one. What is left empty isn't written.
struct OutgoingPart {
    struct Address {
        char const * field; ///< The token of its field.
        std::string name;   ///< In UTF-8.
        std::string address;
    };

    // What it is
    SymToken type;
    SymToken subtype;
    SymToken disposition;
    std::string charset;             ///< Of a text body; its bytes are in this set already,
    bool is_utf8 = false;            ///< unless they are in UTF-8, and to be translated.
    char const * encoding = nullptr; ///< Of a text body: a token; null for what suits it.
    std::optional<std::string> file_name;

    // What it holds: parts of a multipart, or the one message of a message/rfc822, or a body
    std::vector<std::unique_ptr<OutgoingPart>> parts;
    std::function<std::unique_ptr<std::istream>()> open; ///< Gives the body.

    // The header of a message
    std::vector<Address> addresses;
    std::vector<std::pair<std::string, std::string>> fields; ///< Names and values, in UTF-8.
    std::string message_id;                                  ///< Without angle brackets.
    std::optional<MimeDateTime> date;

    bool is_multipart() const { return type == RFC1521::multipart; }
};

} // namespace examples
