// mime/receive/boundary_stack.cpp - the open multiparts of a message: does this line end one?
#include "mime/receive/boundary_stack.hpp"

#include <utility>

namespace vellum {

namespace {

bool take(std::string_view & at, std::string_view expected) {
    if (at.substr(0, expected.size()) != expected) return false;
    at.remove_prefix(expected.size());
    return true;
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
    level->next = std::move(top_);
    top_ = std::move(level);
}

void BoundaryStack::pop() {
    if (!top_) return;
    std::unique_ptr<BoundaryItem> below = std::move(top_->next);
    top_ = std::move(below);
}

} // namespace vellum
