// examples/support/json.cpp - writes JSON, piece by piece
#include "examples/support/json.hpp"

#include "examples/support/utf8.hpp"

#include <algorithm>

namespace examples {

namespace {

constexpr std::size_t block_size = std::size_t{1} << 16;

bool is_plain(char c) {
    auto const byte = static_cast<unsigned char>(c);
    return 0x20 <= byte && byte < 0x80 && c != '"' && c != '\\';
}

std::size_t length_of_plain_start(std::string_view text) {
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is_plain) -
                                    text.begin());
}

void append_escaped(std::string & out, char32_t code) {
    constexpr char const * digits = "0123456789abcdef";
    switch (code) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: (out += "\\u00") += {digits[code >> 4], digits[code & 15]};
    }
}

} // namespace

void JsonWriter::key(std::string_view name) {
    separate();
    ((pending_ += '"') += name) += "\":";
    needs_comma_ = false;
}

void JsonWriter::value(std::string_view text) {
    separate();
    pending_ += '"';
    while (!text.empty()) {
        std::size_t const plain = length_of_plain_start(text);
        pending_ += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) break;
        Character const character = first_character(text);
        if (character.code < 0x80) {
            append_escaped(pending_, character.code);
        } else {
            append_character(pending_, character, text);
        }
        text.remove_prefix(character.length);
    }
    pending_ += '"';
    if (pending_.size() > block_size) flush();
}

void JsonWriter::value(long long number) {
    separate();
    pending_ += std::to_string(number);
}

void JsonWriter::null() {
    separate();
    pending_ += "null";
}

void JsonWriter::end_line() {
    pending_ += '\n';
    needs_comma_ = false;
    flush();
}

void JsonWriter::begin(char bracket) {
    separate();
    pending_ += bracket;
    needs_comma_ = false;
}

void JsonWriter::end(char bracket) {
    pending_ += bracket;
    needs_comma_ = true;
}

void JsonWriter::separate() {
    if (needs_comma_) pending_ += ',';
    needs_comma_ = true;
}

void JsonWriter::flush() {
    out_.write(pending_.data(), static_cast<std::streamsize>(pending_.size()));
    pending_.clear();
}

} // namespace examples
