// examples/support/tree_writer.cpp - the note that writes a tree of parts
#include "examples/support/tree_writer.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace examples {

namespace {

/// A fragment can be larger than asked for by as much, where none may begin.
constexpr std::size_t block_size = std::size_t{1} << 12;
constexpr char const * header_charset = "UTF-8";

/// Whether an entry of `field` is one of the series that the engine asks for.
bool belongs_to(char const * field, char const * asked_for) {
    static std::array<std::array<char const *, 3>, 6> const families{
        {{RFC822::From, BureauSphere::X_From_BS, BureauSphere::X_From_Fax},
         {RFC822::Sender, BureauSphere::X_Sender_BS, BureauSphere::X_Sender_Fax},
         {RFC822::Reply_To, BureauSphere::X_Reply_To_BS, BureauSphere::X_Reply_To_Fax},
         {RFC822::To, BureauSphere::X_To_BS, BureauSphere::X_To_Fax},
         {RFC822::cc, BureauSphere::X_cc_BS, BureauSphere::X_cc_Fax},
         {RFC822::bcc, BureauSphere::X_bcc_BS, BureauSphere::X_bcc_Fax}}};
    return std::any_of(families.begin(), families.end(), [&](auto const & family) {
        return family[0] == asked_for &&
               std::find(family.begin(), family.end(), field) != family.end();
    });
}

/// Nobody who sends us a body can know it, and "=_" never stands in one that is encoded.
std::string random_boundary() {
    constexpr char digits[] = "0123456789abcdef";
    std::random_device random;
    std::string boundary = "=_";
    for (int i = 0; i < 32; ++i)
        boundary += digits[random() % 16];
    return boundary;
}

} // namespace

TreeWriter::TreeWriter(OutgoingPart const & root, std::ostream & out, Writing writing)
    : root_(root), out_(&out) {
    Start(writing);
    SetNetworkSplitSize(0);
}

TreeWriter::TreeWriter(OutgoingPart const & root, std::string directory, unsigned int split_size,
                       Writing writing)
    : root_(root), directory_(std::move(directory)) {
    Start(writing);
    SetNetworkSplitSize(split_size);
}

void TreeWriter::Start(Writing writing) {
    is_basic_ = SetWriting(writing) == Writing_Basic;
    SetBcc(1);
    SetNLS(factory_, 1);
    SetFieldGuard(1);
    SetCharacterSet(header_charset);
}

bool TreeWriter::Write() {
    try {
        if (Send() == 1 && is_good_) return true;
    } catch (...) {
        RemoveFragments();
        throw;
    }
    RemoveFragments();
    return false;
}

/// Those that were made here: a file that was there before has stopped the run.
void TreeWriter::RemoveFragments() {
    file_.reset();
    std::error_code ignored;
    for (auto const & path : fragments_)
        std::filesystem::remove(path, ignored);
    fragments_.clear();
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

int TreeWriter::BeginHeader(MimeContext &) {
    next_address_ = 0;
    return 0;
}

/// Every header has this place; the engine takes what it has no getter for, and refuses the rest.
void TreeWriter::EndHeader(MimeContext &) {
    for (auto const & [name, value] : Part().fields)
        SendField(name.c_str(), value.c_str());
}

void TreeWriter::EndPart(MimeContext &) { levels_.pop_back(); }

int TreeWriter::BeginBody(MimeContext &, std::istream ** body) {
    if (body == nullptr || !Part().open) return 0;
    body_ = Part().open();
    factory_->is_off = !Part().is_utf8;
    *body = body_.get();
    return 0;
}

void TreeWriter::EndBody(MimeContext &) {
    body_.reset();
    factory_->is_off = false;
}

// The header -------------------------------------------------------------------------

int TreeWriter::NextAddress(SymToken & field, char const *& name, char const *& address) {
    auto const & all = Part().addresses;
    while (next_address_ < all.size()) {
        OutgoingPart::Address const & each = all[next_address_++];
        if (!belongs_to(each.field, field)) continue;
        field = each.field;
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
    auto const & all = Part().addresses;
    auto const found = std::find_if(all.begin(), all.end(), [](auto const & each) {
        return each.field == MDN::Disposition_notification_to;
    });
    if (found == all.end()) return 0;
    name = found->name.empty() ? nullptr : found->name.c_str();
    address = found->address.c_str();
    return 1;
}

int TreeWriter::Get_Subject(char const *& value) {
    GetProperty(RFC822::Subject, value);
    return 1; // without one, a nested message would get that of the message around it
}

/// The fragments of a message have ids that the engine makes.
int TreeWriter::Get_Message_Id(char const *& value) {
    bool const is_fragment = Context() == nullptr;
    if (is_fragment || Part().message_id.empty()) return 0;
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
        // A set that nobody has registered wouldn't be selected.
        char const * const charset = Part().charset.c_str();
        SetCharacterSet(*charset != '\0' ? NLS::FindCharSet(charset)->name : header_charset);
        char const * const otherwise = is_basic_ ? RFC1521::quoted_printable : "";
        SetTextEncoding(Part().encoding != nullptr ? Part().encoding : otherwise);
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

int TreeWriter::GetBoundary(char const *& value) {
    if (!is_basic_) return 0; // the engine's own are random
    boundary_ = random_boundary();
    value = boundary_.c_str();
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

// The output -------------------------------------------------------------------------

void TreeWriter::BeginOutput() {
    if (directory_.empty()) return;
    char name[16];
    std::snprintf(name, sizeof name, "%03d.eml", ++file_number_);
    std::filesystem::path const path = std::filesystem::path(directory_) / name;
    file_.emplace(path);
    if (!file_->is_open()) throw std::runtime_error(path.string() + ": can't be made");
    fragments_.push_back(path);
    out_ = &file_->stream();
}

void TreeWriter::EndOutput() {
    if (directory_.empty()) {
        out_->flush();
        is_good_ = is_good_ && out_->good();
    } else {
        is_good_ = file_->close() && is_good_;
    }
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
    out_->write(reinterpret_cast<char const *>(block.address),
                static_cast<std::streamsize>(block.filled));
    auto const lent = std::find_if(lent_.begin(), lent_.end(),
                                   [&](Block const & each) { return &each == block.cookie; });
    free_.splice(free_.begin(), lent_, lent);
}

} // namespace examples
