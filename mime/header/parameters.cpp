// mime/header/parameters.cpp - the parameters of Content-Type and Content-Disposition, one by one
// (RFC 2045 5.1), and those that RFC 2231 has cut or encoded, put together
#include "mime/header/parameters.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/word_hash.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/header/text_translation.hpp"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

namespace vellum {

namespace {

/// A hostile field has millions of pieces. These take 4 MB with what puts them in order.
constexpr std::size_t most_pieces = 100000;
constexpr std::uint32_t plain = 0;
constexpr std::uint32_t single = 1;
constexpr std::uint32_t first_number = 2;
constexpr std::uint32_t most_number = 1U << 28;

/// Without regard to case.
std::uint64_t hash_of(std::string_view name) {
    SipHash hash(process_hash_key());
    std::uint64_t block = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        block = block << 8 | ascii::byte(ascii::to_lower(name[i]));
        if (i % 8 == 7) hash.add(std::exchange(block, 0));
    }
    return hash.finish(block ^ std::uint64_t{name.size()} << 56);
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = ascii::to_lower(c);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

/// Appends the text with its percent escapes undone (RFC 2231 4). False if a "%" begins no escape;
/// it stays.
bool append_unescaped(std::string_view text, std::string & out) {
    bool is_right = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        int const high = text[i] == '%' && i + 2 < text.size() ? hex_value(text[i + 1]) : -1;
        int const low = high >= 0 ? hex_value(text[i + 2]) : -1;
        if (low >= 0) {
            out += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            if (text[i] == '%') is_right = false;
            out += text[i];
        }
    }
    return is_right;
}

/// Takes the set of "set'language'text" from the front of `text`. Null, and nothing is taken, if
/// there are no two apostrophes.
std::optional<std::string> take_set(std::string_view & text) {
    std::size_t const first = text.find('\'');
    std::size_t const second = first == text.npos ? first : text.find('\'', first + 1);
    if (second == text.npos) return std::nullopt;
    std::string set(text.substr(0, first));
    text.remove_prefix(second + 1);
    return set;
}

} // namespace

ParameterReader::ParameterReader(HeaderScanner & scanner, Position at)
    : scanner_(scanner), at_(at) {
    ScanBuffer const & field = scanner.text();
    has_pieces_ = scanner.run().rules->extended_parameters &&
                  field.find('*', at, field.size()) < field.size() &&
                  field.size() < std::numeric_limits<std::uint32_t>::max();
    if (has_pieces_) collect();
}

bool ParameterReader::next() {
    text_.reset();
    joined_.reset();
    if (next_piece_ < pieces_.size()) {
        take_group();
        return true;
    }
    pieces_ = std::vector<Piece>();
    next_piece_ = 0;
    while (read_next()) {
        if (!has_pieces_ || !is_piece(attribute_)) return true;
        scanner_.run().tell(Defect_BadParameter); // there are more than can be put in order
    }
    return false;
}

bool ParameterReader::is_piece(Span const & attribute) const {
    return scanner_.text().find('*', attribute.begin, attribute.end) < attribute.end;
}

bool ParameterReader::read_next() {
    if (!scanner_.run().rules->parameters_resume) {
        return scanner_.get_Parameter(at_, at_, attribute_, value_);
    }
    return scanner_.find_Parameter(at_, at_, attribute_, value_);
}

char const * ParameterReader::name() { return text().text(attribute_); }

char const * ParameterReader::value() { return joined_ ? joined_->c_str() : text().text(value_); }

Terminated const & ParameterReader::text() {
    if (!text_) {
        Span const value = joined_ ? Span() : value_;
        text_.emplace(scanner_.text(), std::initializer_list<Span>{attribute_, value});
    }
    return *text_;
}

char const * known_name(ParameterReader & parameter) {
    char const * const name = parameter.name();
    TableItem const * const item = SymbolTable::Main->LookUp(name, false, false);
    return item != nullptr && !item->owned ? item->text : name;
}

// Pieces ---------------------------------------------------------------------------

void ParameterReader::collect() {
    while (pieces_.size() < most_pieces && read_next()) {
        if (!add_piece(attribute_, value_)) scanner_.run().tell(Defect_BadParameter);
    }
    put_in_order();
}

// parameter name = attribute ["*" number] ["*"]
bool ParameterReader::add_piece(Span const & attribute, Span const & value) {
    std::string_view const whole = scanner_.text().view(attribute.begin, attribute.end);
    std::string_view rest = whole.substr(std::min(whole.find('*'), whole.size()));
    auto const narrow = [](std::size_t n) { return static_cast<std::uint32_t>(n); };
    std::uint32_t const name_size = narrow(whole.size() - rest.size());
    if (name_size == 0) return false;
    std::uint32_t number = rest == "*" ? single : plain;
    bool is_encoded = !rest.empty() && rest.back() == '*';
    if (rest.size() > 1 && number == plain) {
        rest.remove_prefix(1);
        if (is_encoded) rest.remove_suffix(1);
        number = 0;
        for (char const c : rest) {
            if (c < '0' || c > '9' || number > most_number / 10) return false;
            number = number * 10 + static_cast<std::uint32_t>(c - '0');
        }
        number += first_number;
    }
    pieces_.push_back({narrow(attribute.begin), narrow(value.begin), narrow(value.size()),
                       2 * number + (is_encoded ? 1 : 0), name_size, 0});
    return true;
}

/// Good until the next edit.
std::string_view ParameterReader::name_of(Piece const & piece) {
    return scanner_.text().view(piece.name, Position{piece.name} + piece.name_size);
}

/// Numbers the pieces: those of one name have one number, counted in the order in which the names
/// first come.
void ParameterReader::number_groups() {
    constexpr std::uint32_t nothing = std::numeric_limits<std::uint32_t>::max();
    scanner_.text().whole(); // so that names are views that stay
    std::vector<std::uint32_t> table(std::bit_ceil(2 * pieces_.size() + 1), nothing);
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < pieces_.size(); ++i) {
        std::string_view const name = name_of(pieces_[i]);
        std::size_t place = hash_of(name) & (table.size() - 1);
        while (table[place] != nothing && !ascii::equal(name_of(pieces_[table[place]]), name))
            place = (place + 1) & (table.size() - 1);
        bool const is_new = table[place] == nothing;
        if (is_new) table[place] = i;
        pieces_[i].group = is_new ? count++ : pieces_[table[place]].group;
    }
}

/// Puts the pieces of one name together, in the order of their numbers, and the names in the order
/// in which they first come.
void ParameterReader::put_in_order() {
    number_groups();
    std::sort(pieces_.begin(), pieces_.end(), [](Piece const & a, Piece const & b) {
        if (a.group != b.group) return a.group < b.group;
        return a.number() != b.number() ? a.number() < b.number() : a.name < b.name;
    });
}

/// Makes the next parameter of what stands at `next_piece_`: each plain piece if there is no other
/// form, else the other form.
void ParameterReader::take_group() {
    Piece const first = pieces_[next_piece_];
    attribute_ = Span::of(first.name, Position{first.name} + first.name_size);
    if (next_piece_ >= plain_end_) {
        std::size_t end = next_piece_ + 1;
        while (end < pieces_.size() && pieces_[end].group == first.group)
            ++end;
        std::size_t form = next_piece_; // where the pieces of RFC 2231 begin
        while (form < end && pieces_[form].number() == plain)
            ++form;
        if (form < end) {
            join(form, pieces_[form].number() == single ? form + 1 : end);
            next_piece_ = end;
            return;
        }
        plain_end_ = end;
    }
    value_ = Span::of(first.value, Position{first.value} + first.value_size);
    ++next_piece_;
}

void ParameterReader::join(std::size_t first, std::size_t end) {
    HeaderRun & run = scanner_.run();
    std::size_t size = 0;
    for (std::size_t i = first; i < end; ++i)
        size += pieces_[i].value_size;
    std::string & joined = joined_.emplace();
    joined.reserve(size);
    bool is_right = true;
    bool has_encoded = false;
    std::optional<std::string> set;
    std::uint32_t expected = pieces_[first].number() == single ? single : first_number;
    for (std::size_t i = first; i < end; ++i) {
        Piece const & piece = pieces_[i];
        if (piece.number() + 1 == expected) { // once more
            is_right = false;
            continue;
        }
        if (piece.number() != expected) is_right = false; // pieces are missing
        expected = piece.number() + 1;
        std::string_view text =
            scanner_.text().view(piece.value, Position{piece.value} + piece.value_size);
        if (piece.is_encoded()) {
            if (!has_encoded && i == first) {
                set = take_set(text);
                if (!set) is_right = false;
            }
            has_encoded = true;
            is_right = append_unescaped(text, joined) && is_right;
        } else {
            joined += text;
        }
    }
    if (!is_right) run.tell(Defect_BadParameter);
    bool const has_set = set && !set->empty();
    if (has_set && translate_text(run, set->c_str(), joined)) return;
    if (!has_encoded) {
        scanner_.decode_words(joined, 0);
    } else if (auto text = run.client_text(joined)) {
        joined = std::move(*text);
        if (!has_set) run.tell(Defect_CharSetGuessed);
    }
}

} // namespace vellum
