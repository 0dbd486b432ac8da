// mime/send/header_folder.cpp - divides one header field into lines (RFC 5322 2.1.1, 2.2.3)
//
// Bounds: what is held is the word in hand and the blanks in front of it.
#include "mime/send/header_folder.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <algorithm>
#include <utility>

namespace vellum {

void HeaderFolder::AddOwn(std::string_view text) {
    for (char const c : text) {
        if (c == '\n') {
            PutWord();
            must_fold_ = true;
        } else if (ascii::is_blank(c)) {
            if (!word_.empty() || blanks_.empty()) AddBlank(c);
        } else if (c != '\r') {
            word_ += c;
        }
    }
}

void HeaderFolder::AddWords(std::string_view value) {
    for (char const c : value) {
        if (ascii::is_blank(c)) {
            AddBlank(c);
        } else {
            word_ += c;
        }
    }
}

void HeaderFolder::AddBlank(char blank) {
    PutWord();
    blanks_ += blank;
}

std::size_t HeaderFolder::room() const {
    std::size_t const used = (must_fold_ ? 0 : column_) + blanks_.size() + word_.size();
    return used < wanted_line ? wanted_line - used : 0;
}

void HeaderFolder::PutWord() {
    if (word_.empty()) return;
    std::size_t const size = blanks_.size() + word_.size();
    if (!blanks_.empty() && column_ != 0 && (must_fold_ || column_ + size > wanted_line)) {
        out_.write("\r\n");
        column_ = 0;
    }
    must_fold_ = false;
    std::string const text = std::exchange(blanks_, {}) + std::exchange(word_, {});
    std::string_view rest = text;
    // Whoever adds words sees to it that none is as long. If one is all the same, it is cut.
    for (; column_ + rest.size() > longest_line; column_ = 1) {
        std::size_t const fitting = longest_line - column_;
        Put(rest.substr(0, fitting));
        out_.write("\r\n ");
        rest.remove_prefix(fitting);
    }
    Put(rest);
    column_ += rest.size();
}

void HeaderFolder::Put(std::string_view text) {
    while (ascii_only_ && !text.empty()) {
        auto const foreign =
            std::find_if(text.begin(), text.end(), [](char c) { return ascii::byte(c) > 0x7F; });
        auto const size = static_cast<std::size_t>(foreign - text.begin());
        out_.write(text.substr(0, size));
        text.remove_prefix(size);
        if (text.empty()) return;
        out_.write("?");
        text.remove_prefix(1);
    }
    out_.write(text);
}

void HeaderFolder::End() {
    PutWord();
    out_.write("\r\n");
}

} // namespace vellum
