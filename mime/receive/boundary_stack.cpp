// mime/receive/boundary_stack.cpp - the open multiparts of a message: does this line end one?
#include "mime/receive/boundary_stack.hpp"

#include <algorithm>
#include <utility>

namespace vellum {

namespace {

bool take(std::string_view & at, std::string_view expected) {
    if (at.substr(0, expected.size()) != expected) return false;
    at.remove_prefix(expected.size());
    return true;
}

std::string_view without_blanks_at_end(std::string_view text) {
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

} // namespace

Boundary BoundaryItem::Match(std::string_view at, bool with_eol) const {
    if (text.empty()) return Boundary_Not;
    if (with_eol && !take(at, eol)) return Boundary_Not;
    if (!take(at, text)) return Boundary_Not;
    if (take(at, eol)) return Boundary_Part;
    if (take(at, "--") && take(at, eol)) return Boundary_Close;
    return Boundary_Not;
}

BoundaryStack::~BoundaryStack() {
    while (top_)
        pop();
}

void BoundaryStack::push() {
    auto level = std::make_unique<BoundaryItem>();
    level->eol = top_ ? top_->eol : std::string_view("\r\n");
    level->depth = depth() + 1;
    level->longest = longest();
    level->next = std::move(top_);
    top_ = std::move(level);
}

void BoundaryStack::set_text(std::string text) {
    if (!top_) return;
    hide_text();
    top_->text = std::move(text);
    top_->longest = std::max(top_->text.size(), top_->next ? top_->next->longest : 0);
    if (top_->text.empty()) return;
    auto const key = without_blanks_at_end(top_->text);
    top_->hidden = nullptr;
    if (auto const same = by_text_.find(key); same != by_text_.end()) {
        top_->hidden = same->second;
        by_text_.erase(same); // its key lies in the other level
    }
    by_text_.emplace(key, top_.get());
}

/// Takes the top level's delimiter out of the table.
void BoundaryStack::hide_text() {
    if (top_->text.empty()) return;
    by_text_.erase(without_blanks_at_end(top_->text));
    if (top_->hidden != nullptr) {
        by_text_.emplace(without_blanks_at_end(top_->hidden->text), top_->hidden);
    }
}

void BoundaryStack::pop() {
    if (!top_) return;
    hide_text();
    std::unique_ptr<BoundaryItem> below = std::move(top_->next);
    top_ = std::move(below);
}

FoundBoundary BoundaryStack::Find(std::string_view line) const {
    if (!has_delimiters() || line.substr(0, 2) != "--") return {};
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::string_view const text = without_blanks_at_end(line);
    if (text.size() > longest() + 2) return {};
    FoundBoundary found;
    auto const look_up = [&](std::string_view delimiter, Boundary kind) {
        auto const level = by_text_.find(without_blanks_at_end(delimiter));
        if (level == by_text_.end() || level->second->depth <= found.depth) return;
        // Blanks that are the boundary's own are no blanks behind it.
        bool const is_exact = delimiter == level->second->text;
        if (kind == Boundary_Close && !is_exact) return;
        found = {kind, level->second->depth,
                 kind == Boundary_Close ? text.size() != line.size() : !is_exact};
    };
    look_up(line, Boundary_Part);
    if (text.size() > 2 && text.substr(text.size() - 2) == "--") {
        look_up(text.substr(0, text.size() - 2), Boundary_Close);
    }
    return found;
}

} // namespace vellum
