// mime/send/field_guard.cpp - keeps a value of the client's inside its place in a header
#include "mime/send/field_guard.hpp"

#include "mime/codec/base64.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"
#include "mime/header/grammar.hpp"

#include <algorithm>
#include <iterator>

namespace vellum {

namespace {

constexpr std::string_view breaking("\r\n\0", 3);

bool breaks(char c) { return breaking.find(c) != std::string_view::npos; }

/// The length of the fold that `rest` begins with, its blanks included; 0 if it is no fold.
std::size_t fold_length(std::string_view rest) {
    if (rest.substr(0, 2) != "\r\n") return 0;
    std::size_t const text = rest.find_first_not_of(" \t", 2);
    if (text == 2 || text == std::string_view::npos || breaks(rest[text])) return 0;
    return text;
}

} // namespace

bool needs_guard(std::string_view value) {
    return value.find_first_of(breaking) != std::string_view::npos;
}

std::string guarded(std::string_view value) {
    std::string result(value);
    bool text_before = false; // else the line in front of a fold can be one of blanks alone
    for (std::size_t i = 0; i < value.size();) {
        std::size_t const fold = text_before ? fold_length(value.substr(i)) : 0;
        if (fold > 0) {
            i += fold;
            continue;
        }
        if (breaks(value[i])) {
            result[i] = ' ';
        } else if (!ascii::is_blank(value[i])) {
            text_before = true;
        }
        ++i;
    }
    return result;
}

std::string guarded_line(std::string_view value) {
    std::string result(value);
    std::replace_if(result.begin(), result.end(), breaks, ' ');
    return result;
}

namespace {

bool is_printable(char c) { return ascii::byte(c) > 0x20 && ascii::byte(c) < 0x7F; }

bool is_letter_or_digit(char c) {
    char const lower = ascii::to_lower(c);
    return ascii::is_digit(c) || (lower >= 'a' && lower <= 'z');
}

bool is_one_of(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

constexpr std::string_view encoded_word_begin = "=?";

bool holds(std::string_view value, std::string_view part) {
    return value.find(part) != std::string_view::npos;
}

} // namespace

bool is_field_name(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(),
                                        [](char c) { return is_printable(c) && c != ':'; });
}

bool is_token(std::string_view value) {
    return !value.empty() && std::all_of(value.begin(), value.end(), [](char c) {
        return is_printable(c) && !is_one_of(c, tspecials);
    });
}

bool is_boundary(std::string_view value) {
    constexpr std::size_t longest = 70;
    constexpr std::string_view engine_begin = "MIME MULTIPART BOUNDARY=.";
    if (value.empty() || value.size() > longest || value.back() == ' ') return false;
    if (holds(value, encoded_word_begin) || value.substr(0, engine_begin.size()) == engine_begin) {
        return false;
    }
    return std::all_of(value.begin(), value.end(), [](char c) {
        return is_letter_or_digit(c) || is_one_of(c, "'()+_,-./:=? ");
    });
}

// addresses ------------------------------------------------------------------------

namespace {

/// An atom's byte (RFC 5322 3.2.3), or a byte of a letter beyond ASCII (RFC 6532).
bool is_atom_byte(char c) {
    constexpr std::string_view signs = "!#$%&'*+-/=?^_`{|}~";
    return is_letter_or_digit(c) || is_one_of(c, signs) || ascii::byte(c) >= 0x80;
}

/// The length of the quoted string that `rest` begins with; 0 if it isn't closed or holds what
/// readers differ about.
std::size_t quoted_length(std::string_view rest) {
    for (std::size_t i = 1; i < rest.size(); ++i) {
        if (rest[i] == '"') return i + 1;
        if (rest[i] == '\\' && i + 1 < rest.size()) ++i;
        bool const stands = is_printable(rest[i]) || rest[i] == ' ' || ascii::byte(rest[i]) >= 0x80;
        if (!stands || is_one_of(rest[i], "<>")) return 0;
    }
    return 0;
}

/// Atoms, none of them empty, with dots between.
bool is_dot_atom(std::string_view value) {
    bool after_dot = true;
    for (char const c : value) {
        if (c == '.' ? after_dot : !is_atom_byte(c)) return false;
        after_dot = c == '.';
    }
    return !after_dot;
}

bool is_local_part(std::string_view value) {
    if (value.substr(0, 1) != "\"") return is_dot_atom(value);
    return quoted_length(value) == value.size();
}

/// A literal in brackets, or a dot-atom.
bool is_domain(std::string_view value) {
    if (value.size() > 2 && value.front() == '[' && value.back() == ']') {
        std::string_view const literal = value.substr(1, value.size() - 2);
        return std::all_of(literal.begin(), literal.end(),
                           [](char c) { return is_letter_or_digit(c) || is_one_of(c, ".:-"); });
    }
    return is_dot_atom(value);
}

/// Where the domain's "@" stands; npos if there is no domain.
std::size_t domain_sign(std::string_view address) {
    std::size_t const at = address.rfind('@');
    std::size_t const quote = address.rfind('"');
    bool const in_quotes =
        at != std::string_view::npos && quote != std::string_view::npos && quote > at;
    return in_quotes ? std::string_view::npos : at;
}

} // namespace

bool is_address(std::string_view value) {
    if (holds(value, encoded_word_begin)) return false;
    std::size_t const at = domain_sign(value);
    if (!is_local_part(value.substr(0, at))) return false;
    return at == std::string_view::npos || is_domain(value.substr(at + 1));
}

bool is_id_domain(std::string_view value) {
    constexpr std::size_t longest = 253;
    return value.size() <= longest && is_domain(value) &&
           std::all_of(value.begin(), value.end(), is_printable);
}

bool has_domain(std::string_view address) { return domain_sign(address) != std::string_view::npos; }

bool is_id(std::string_view value) {
    if (value.starts_with('<') && value.ends_with('>')) value = value.substr(1, value.size() - 2);
    return !value.empty() && !has_encoded_word(value) &&
           std::none_of(value.begin(), value.end(), [](char c) {
               return ascii::byte(c) <= ' ' || c == 0x7F || c == '<' || c == '>';
           });
}

bool has_encoded_word(std::string_view text) {
    std::size_t const begin = text.find("=?");
    return begin != text.npos && text.find("?=", begin + 2) != text.npos;
}

bool is_empty_group(std::string_view value) {
    if (value.size() < 3 || value.substr(value.size() - 2) != ":;") return false;
    std::string_view const name = value.substr(0, value.size() - 2);
    return name.front() != ' ' && !holds(name, encoded_word_begin) &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return is_atom_byte(c) || c == ' '; });
}

// encoded words --------------------------------------------------------------------

namespace {

/// The begins of the names of sets in which a line end is the byte of ASCII and nothing else. In
/// others, UTF-7 for one, harmless letters can be a line end.
constexpr std::string_view plain_sets[] = {
    "us-ascii",  "iso-8859-", "iso-2022-", "windows-", "cp125",     "utf-8",
    "koi8-",     "koi-8",     "gb",        "hz-gb",    "big5",      "euc-",
    "shift_jis", "ks_c",      "tis-620",   "viscii",   "macintosh",
};

bool is_plain_set(std::string_view name) {
    if (!is_token(name)) return false;
    return std::any_of(std::begin(plain_sets), std::end(plain_sets),
                       [name](std::string_view begin) {
                           return ascii::equal(name.substr(0, begin.size()), begin);
                       });
}

int hex_value(char c) {
    if (ascii::is_digit(c)) return c - '0';
    char const lower = ascii::to_lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// More than RFC 2047 5 has for a display name: what atoms are made of, and the dot, which many
/// programs leave as it is.
bool stands_in_q(char c) {
    return ascii::byte(c) < 0x80 && (is_atom_byte(c) || c == '.') && c != '=' && c != '?';
}

/// The bytes of a text in Q; empty if it isn't such a text.
std::string decoded_q(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        std::size_t taken = 1;
        if (text[0] == '=') {
            if (text.size() < 3 || hex_value(text[1]) < 0 || hex_value(text[2]) < 0) return {};
            decoded += static_cast<char>(hex_value(text[1]) * 16 + hex_value(text[2]));
            taken = 3;
        } else if (stands_in_q(text[0])) {
            decoded += text[0];
        } else {
            return {};
        }
        text.remove_prefix(taken);
    }
    return decoded;
}

/// The bytes of a text in B; empty if it isn't whole groups, of which the last alone is padded.
std::string decoded_b(std::string_view text) {
    std::string_view const data = text.substr(0, text.find_last_not_of('=') + 1);
    bool const right = std::all_of(data.begin(), data.end(), [](char c) {
        return is_letter_or_digit(c) || is_one_of(c, "+/");
    });
    if (!right || text.size() % 4 != 0 || text.size() - data.size() > 2) return {};
    Decoding64 decoder;
    char * const first = const_cast<char *>(text.data()); // an input without a source is only read
    iSimpleStream in(first, first + text.size());
    oSimpleStream out;
    decoder.decode(&in, &out);
    return {out.str(), out.oBufCnt()};
}

/// Takes the encoded word that `rest` begins with off it.
bool take_encoded_word(std::string_view & rest) {
    if (rest.substr(0, 2) != encoded_word_begin) return false;
    std::size_t const set_end = rest.find('?', 2);
    if (set_end == std::string_view::npos || set_end + 2 >= rest.size()) return false;
    char const encoding = ascii::to_lower(rest[set_end + 1]);
    std::size_t const text_begin = set_end + 3;
    std::size_t const text_end = rest.find("?=", text_begin);
    if (rest[set_end + 2] != '?' || text_end == std::string_view::npos) return false;
    if (!is_plain_set(rest.substr(2, set_end - 2))) return false;
    std::string_view const text = rest.substr(text_begin, text_end - text_begin);
    std::string const decoded = encoding == 'q'   ? decoded_q(text)
                                : encoding == 'b' ? decoded_b(text)
                                                  : std::string();
    rest.remove_prefix(text_end + 2);
    return !decoded.empty() && !needs_guard(decoded);
}

} // namespace

bool is_encoded_words(std::string_view value) {
    while (take_encoded_word(value)) {
        if (value.empty()) return true;
        std::size_t const next = value.find_first_not_of(" \t\r\n");
        if (next == 0 || next == std::string_view::npos) return false;
        value.remove_prefix(next);
    }
    return false;
}

} // namespace vellum
