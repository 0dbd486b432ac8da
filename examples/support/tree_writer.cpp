// examples/support/tree_writer.cpp - the note that writes a tree of parts
#include "examples/support/tree_writer.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace examples {

namespace {

constexpr std::size_t block_size = std::size_t{1} << 16;
constexpr char const * header_charset = "UTF-8";

} // namespace

TreeWriter::TreeWriter(OutgoingPart const & root, std::ostream & out) : root_(root), out_(out) {
    SetFieldGuard(1);
    SetNetworkSplitSize(0);
    SetCharacterSet(header_charset);
}

TreeWriter::TreeWriter(OutgoingPart const & root, std::string directory, unsigned int split_size)
    : root_(root), directory_(std::move(directory)), out_(file_) {
    SetFieldGuard(1);
    SetNetworkSplitSize(split_size);
    SetCharacterSet(header_charset);
}

// The walk ---------------------------------------------------------------------------

int TreeWriter::BeginPart(MimeContext &) {
    if (levels_.empty()) {
        levels_.push_back({&root_});
        return 1;
    }
    Level & above = levels_.back();
    if (above.next_part == above.part->parts.size()) return 0;
    OutgoingPart const * const part = above.part->parts[above.next_part++].get();
    levels_.push_back({part});
    return 1;
}

void TreeWriter::EndPart(MimeContext &) { levels_.pop_back(); }

int TreeWriter::BeginBody(MimeContext &, std::istream ** body) {
    if (body == nullptr || !Part().open) return 0;
    body_ = Part().open();
    *body = body_.get();
    return 0;
}

void TreeWriter::EndBody(MimeContext &) { body_.reset(); }

// The header -------------------------------------------------------------------------

int TreeWriter::NextAddress(char const * field, char const *& name, char const *& address) {
    auto const & all = Part().addresses;
    while (next_address_ < all.size()) {
        OutgoingPart::Address const & each = all[next_address_++];
        if (each.field != field) continue;
        name = each.name.empty() ? nullptr : each.name.c_str();
        address = each.address.c_str();
        return 1;
    }
    next_address_ = 0;
    return 0;
}

int TreeWriter::Get_From(SymToken & field, char const *& name, char const *& address) {
    bool const is_series =
        field != RFC822::Sender; // there is one sender, who isn't asked for again
    int const result = NextAddress(field, name, address);
    if (!is_series) next_address_ = 0;
    return result;
}

int TreeWriter::Get_To(SymToken & field, char const *& name, char const *& address) {
    return NextAddress(field, name, address);
}

int TreeWriter::Get_Disposition_notification_to(char const *& name, char const *& address) {
    int const result = NextAddress(MDN::Disposition_notification_to, name, address);
    next_address_ = 0;
    return result;
}

/// Fragments of a message ask for ids of their own, at any moment: those the engine makes.
int TreeWriter::Get_Message_Id(char const *& value) {
    if (levels_.empty() || Part().message_id.empty()) return 0;
    if (std::exchange(levels_.back().has_given_id, true)) return 0;
    message_id_ = "<" + Part().message_id + ">";
    value = message_id_.c_str();
    return 1;
}

int TreeWriter::Get_Date(std::tm & when, int & offset) {
    if (!Part().date) return 0;
    when = Part().date->GetStructTM();
    offset = Part().date->zone;
    return 1;
}

int TreeWriter::Get_Content_Type(SymToken & type, SymToken & subtype) {
    type = Part().type;
    subtype = Part().subtype;
    if (type == RFC1521::text) {
        // Settled now for this body; names in the header go on in UTF-8, see GetFileName.
        SetCharacterSet(Part().charset.empty() ? header_charset : Part().charset.c_str());
        SetTextEncoding(Part().encoding != nullptr ? Part().encoding : RFC1521::quoted_printable);
    }
    return 1;
}

int TreeWriter::Get_Content_Disposition(SymToken & disposition, char const *&) {
    disposition = Part().disposition;
    return 1;
}

int TreeWriter::GetFileName(char const *& value) {
    SetCharacterSet(header_charset);
    if (Part().file_name) value = Part().file_name->c_str();
    return 1;
}

int TreeWriter::GetProperty(char const * name, char const *& value) {
    auto const & fields = Part().fields;
    SymToken const token(name);
    auto const found = std::find_if(fields.begin(), fields.end(), [&](auto const & field) {
        return token == field.first.c_str();
    });
    if (found == fields.end()) return 0;
    value = found->second.c_str();
    return 1;
}

/// The engine takes what it has no getter for, and refuses the rest.
void TreeWriter::PutXFields() {
    if (std::exchange(levels_.back().has_put_fields, true)) return;
    for (auto const & [name, value] : Part().fields)
        SendField(name.c_str(), value.c_str());
}

// The output -------------------------------------------------------------------------

void TreeWriter::BeginOutput() {
    if (directory_.empty()) return;
    char name[16];
    std::snprintf(name, sizeof name, "%03d.eml", ++file_number_);
    file_.open(directory_ + "/" + name, std::ios::binary | std::ios::trunc);
}

void TreeWriter::EndOutput() {
    if (directory_.empty()) {
        out_.flush();
    } else {
        file_.close();
    }
    is_good_ = is_good_ && out_.good();
}

void TreeWriter::GetOutputBuffer(Buffer & block) {
    if (free_.empty()) free_.emplace_back(block_size);
    lent_.splice(lent_.end(), free_, free_.begin());
    Block & memory = lent_.back();
    block.address = memory.data();
    block.capacity = memory.size();
    block.cookie = &memory;
}

void TreeWriter::PutOutputBuffer(Buffer & block) {
    out_.write(reinterpret_cast<char const *>(block.address),
               static_cast<std::streamsize>(block.filled));
    auto const lent = std::find_if(lent_.begin(), lent_.end(),
                                   [&](Block const & each) { return &each == block.cookie; });
    free_.splice(free_.begin(), lent_, lent);
}

} // namespace examples
