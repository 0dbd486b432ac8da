// conversion/code_table.cpp - makes the table of a set of single bytes and pairs from iconv
#include "conversion/code_table.hpp"

#include "conversion/iconv_handle.hpp"
#include "conversion/utf8.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace vellum::conversion {

namespace {

constexpr bool is_private_use(char32_t c) { return c >= 0xE000 && c <= 0xF8FF; }

std::string bytes_of(unsigned code) {
    std::string bytes;
    if (code > 0xFF) bytes += static_cast<char>(code >> 8);
    return bytes + static_cast<char>(code & 0xFF);
}

/// The characters of all pairs with one lead byte, by the second byte.
using Row = std::array<char32_t, 256>;

constexpr unsigned delete_character = 0x7F;

/// Reads the characters of an iconv set.
class CharacterReader {
public:
    explicit CharacterReader(IconvHandle iconv) : iconv_(std::move(iconv)) {}

    /// The character that the byte or the pair is; `CodeTable::no_character` if it isn't just one
    /// (or one with a mark).
    char32_t read(unsigned code) {
        std::string const bytes = bytes_of(code);
        std::string_view rest = bytes;
        bool const whole = convert(rest);
        return whole && characters_.size() == 1 ? characters_[0] : CodeTable::no_character;
    }

    Row read_row(unsigned lead, unsigned first_trail) {
        Row row;
        row.fill(CodeTable::no_character);
        std::string pairs;
        for (unsigned trail = first_trail; trail < 0xFF; ++trail) {
            if (trail != delete_character) pairs += bytes_of(lead << 8 | trail);
        }
        for (std::string_view rest = pairs; !rest.empty();) {
            std::string_view const asked = rest;
            bool const whole = convert(rest);
            std::string_view const done = asked.substr(0, asked.size() - rest.size());
            bool const one_by_one = done.size() != characters_.size() * 2;
            for (std::size_t i = 0; i + 1 < done.size(); i += 2) {
                auto const trail = static_cast<unsigned char>(done[i + 1]);
                row[trail] = one_by_one ? read(lead << 8 | trail) : characters_[i / 2];
            }
            if (!whole) rest.remove_prefix(done.size() % 2 == 0 ? 2 : 1);
        }
        return row;
    }

private:
    /// Puts what is read from the front of `bytes` into `characters_`. False if it stopped.
    bool convert(std::string_view & bytes) {
        out_.truncate(0);
        iconv_.reset();
        bool const whole = iconv_.convert(bytes, out_);
        iconv_.finish(out_);
        characters_.clear();
        unsigned char const * const end = last(out_.view());
        for (unsigned char const * p = first(out_.view()); p < end;) {
            Decoded const decoded = decode_utf8(p, end);
            add(decoded.character);
            p += decoded.length;
        }
        return whole;
    }

    void add(char32_t character) {
        bool const is_mark = character >= 0x300 && character < 0x370;
        if (is_mark && !characters_.empty() && characters_.back() < 0x100) {
            characters_.back() |= CodeTable::with_mark | character << 8;
        } else {
            characters_ += character;
        }
    }

    IconvHandle iconv_;
    Output out_;
    std::u32string characters_;
};

bool is_euc(Structure structure) {
    return structure == Structure::euc_jp || structure == Structure::euc_tw;
}

bool can_lead(Structure structure, unsigned byte) {
    if (byte <= 0x80 || byte >= 0xFF || structure == Structure::single_bytes) return false;
    bool const is_single_shift = byte == 0x8E || (byte == 0x8F && structure == Structure::euc_jp);
    if (is_euc(structure)) return byte >= 0xA1 || is_single_shift;
    return structure != Structure::shift_jis || byte <= 0x9F || (byte >= 0xE0 && byte <= 0xFC);
}

bool within(Limit limit, unsigned code) {
    switch (limit) {
    case Limit::none: break;
    case Limit::big5: // without the signs that vendors and users have added
        return code < 0x80 || (code >= 0xA140 && code <= 0xA3BF) ||
               (code >= 0xA440 && code <= 0xC67E) || (code >= 0xC940 && code <= 0xF9D5);
    case Limit::gbk: return code != 0x80;
    case Limit::jis_x_0208: return code < 0x80 || code >= 0xA1A1;
    }
    return true;
}

} // namespace

unsigned CodeTable::lowest_trail(Structure structure) { return is_euc(structure) ? 0xA1 : 0x31; }

class CodeTableBuilder {
public:
    explicit CodeTableBuilder(CharSet const & set) : set_(set) {}

    /// Null if iconv doesn't know the set.
    std::unique_ptr<CodeTable> build() {
        for (char const * const name : set_.readers) {
            if (name == nullptr) continue;
            auto iconv = IconvHandle::open("UTF-8", name);
            if (iconv) readers_.emplace_back(std::move(*iconv));
        }
        auto label_reader = IconvHandle::open("UTF-8", set_.label);
        label_writer_ = IconvHandle::open(set_.label, "UTF-8");
        if (readers_.empty() || !label_reader || !label_writer_) return nullptr;
        label_.emplace(std::move(*label_reader));
        if (set_.structure == Structure::euc_jp) {
            auto iconv = IconvHandle::open("UTF-8", "CP932");
            if (iconv) extension_.emplace(std::move(*iconv));
        }
        has_pairs_ = set_.structure != Structure::single_bytes;
        read_singles();
        if (has_pairs_) read_pairs();
        make_texts();
        // Last, so that a character which the readers give for one code isn't taken by another.
        for (auto const & [character, code] : own_characters_) {
            if (table_->code(character) == 0) table_->set_code(character, code);
        }
        return std::move(table_);
    }

private:
    void read_singles() {
        for (unsigned code = 0; code < 0x100; ++code) {
            auto & single = table_->singles_[code];
            if (code < 0x80) { // ASCII, also where a set has a currency sign in its place
                single = code;
                table_->set_code(code, code);
                continue;
            }
            single = CodeTable::no_character;
            for (CharacterReader & reader : readers_) {
                if (single == CodeTable::no_character) single = reader.read(code);
            }
            // Pairs and control characters of the upper half don't go together.
            bool const is_text = !has_pairs_ || single >= 0xA0;
            if (single != CodeTable::no_character && is_text) {
                offer(single, code, label_->read(code));
            } else if (can_lead(set_.structure, code)) {
                single = CodeTable::lead_byte;
            } else {
                single = CodeTable::no_character;
            }
        }
    }

    void make_texts() {
        for (unsigned code = 0; code < 0x100; ++code) {
            char32_t const single = table_->singles_[code];
            if (single > 0xFFFF) continue; // no set has a single byte beyond, nor is it a character
            CodeTable::Text & text = table_->texts_[code];
            unsigned char * const end = encode_utf8(single, text.bytes.data());
            text.length = static_cast<unsigned char>(end - text.bytes.data());
        }
    }

    void read_pairs() {
        table_->pairs_.assign(0x8000, CodeTable::no_character);
        for (unsigned lead = 0x81; lead < 0xFF; ++lead) {
            if (table_->singles_[lead] != CodeTable::lead_byte) continue;
            std::vector<Row> rows;
            for (CharacterReader & reader : readers_) {
                rows.push_back(reader.read_row(lead, CodeTable::lowest_trail(set_.structure)));
            }
            if (extension_) rows.push_back(extension_row(lead));
            Row const own = label_->read_row(lead, CodeTable::lowest_trail(set_.structure));
            for (unsigned trail = 0; trail < own.size(); ++trail) {
                char32_t const character = chosen(rows, trail);
                unsigned const code = lead << 8 | trail;
                table_->pairs_[code - 0x8000] = character;
                if (character < CodeTable::with_mark) offer(character, code, own[trail]);
            }
        }
    }

    /// The signs that vendors have added to JIS X 0208 in rows 89 to 92. iconv has them in the form
    /// of Shift_JIS alone, and places of private use in the form of EUC.
    Row extension_row(unsigned lead) {
        Row result;
        result.fill(CodeTable::no_character);
        unsigned const row = lead - 0xA0;
        if (lead < 0xA0 || row < 89 || row > 92) return result;
        unsigned const shift_jis_lead = 0xC1 + (row - 1) / 2;
        for (unsigned cell = 1; cell <= 94; ++cell) {
            unsigned const odd_trail = cell + 0x3F + (cell >= 64 ? 1 : 0);
            unsigned const trail = row % 2 != 0 ? odd_trail : cell + 0x9E;
            result[0xA0 + cell] = extension_->read(shift_jis_lead << 8 | trail);
        }
        return result;
    }

    /// The first reader that knows the code counts, and one that has a real character for it
    /// before one that has but a place of private use.
    static char32_t chosen(std::vector<Row> const & rows, unsigned trail) {
        char32_t result = CodeTable::no_character;
        for (Row const & row : rows) {
            char32_t const character = row[trail];
            if (character != CodeTable::no_character && !is_private_use(character)) {
                return character;
            }
            if (result == CodeTable::no_character) result = character;
        }
        return result;
    }

    /// Lets `character` be written as `code`, if the label, which has `own` for it, covers that.
    void offer(char32_t character, unsigned code, char32_t own) {
        if (own == CodeTable::no_character || !within(set_.limit, code)) return;
        bool const is_text = own == character || own >= 0xA0; // no control character
        unsigned const present = table_->code(character);
        if (is_text && (present == 0 || writes(character, code))) {
            table_->set_code(character, code);
        }
        bool const is_place = is_private_use(own) && !is_private_use(character);
        if (own != character && own < CodeTable::with_mark && own >= 0x80 && !is_place) {
            own_characters_.emplace_back(own, code);
        }
    }

    /// Whether that is the code which iconv writes, of several for one character.
    bool writes(char32_t character, unsigned code) {
        Output text;
        append_utf8(character, text);
        Output bytes;
        return label_writer_->convert_whole(text.view(), bytes) && bytes.view() == bytes_of(code);
    }

    CharSet const & set_;
    bool has_pairs_ = false;
    std::deque<CharacterReader> readers_;
    std::optional<CharacterReader> extension_; // of JIS X 0208
    std::optional<CharacterReader> label_;
    std::optional<IconvHandle> label_writer_;
    std::vector<std::pair<char32_t, unsigned>> own_characters_;
    std::unique_ptr<CodeTable> table_ = std::make_unique<CodeTable>();
};

void CodeTable::set_code(char32_t character, unsigned code) {
    std::size_t const page = character >> 8;
    if (page >= pages_.size()) return;
    if (pages_[page] == nullptr) pages_[page] = std::make_unique<Page>();
    (*pages_[page])[character & 0xFF] = static_cast<std::uint16_t>(code);
}

CodeTable const * CodeTable::of(CharSet const & set) {
    using Tables = std::map<int, std::unique_ptr<CodeTable>>;
    static std::mutex mutex;
    static Tables & tables = *new Tables; // outlives the translators of static objects
    std::lock_guard const lock(mutex);
    auto place = tables.find(set.number);
    if (place == tables.end()) {
        place = tables.emplace(set.number, CodeTableBuilder(set).build()).first;
    }
    return place->second.get();
}

} // namespace vellum::conversion
