// mime/send/address_fields.cpp - the fields of senders and recipients
//
// The client tells the entries one by one and may move each to a sibling field, so all fields of a
// group are collected before the first of them is written.
#include "mime/send/address_fields.hpp"

#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/field_writer.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"
#include "mime/send/writing_rules.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace vellum {

namespace {

std::string text_or_empty(char const * text) { return text != nullptr ? text : ""; }

/// The three fields that the entries of one question can go to.
class FieldGroup {
public:
    FieldGroup(char const * plain, char const * bureau, char const * fax)
        : fields_{AddressField(plain), AddressField(bureau, true), AddressField(fax, true)} {}

    void Offer(char const * field, char const * name, char const * address) {
        for (AddressField & candidate : fields_) {
            if (candidate.Append(field, name, address)) return;
        }
    }

    AddressField & plain() { return fields_[0]; }
    AddressField & bureau() { return fields_[1]; }
    AddressField & fax() { return fields_[2]; }

private:
    std::array<AddressField, 3> fields_;
};

/// Whether a reader would take the entry for something else than one mailbox. A name alone is no
/// mailbox either, and some readers give up the field there.
bool reads_otherwise(AddressEntry const & entry) { return !is_address(entry.address); }

/// Brings the addresses into the form that they have in a header, and leaves out the entries of
/// those that have none.
void settle_addresses(MimeSender & sender, std::vector<AddressEntry> & entries) {
    auto const is_unwritable = [&sender](AddressEntry & entry) {
        auto form = value_for_header(sender, entry.address);
        if (form) entry.address = std::move(*form);
        return !form;
    };
    entries.erase(std::remove_if(entries.begin(), entries.end(), is_unwritable), entries.end());
}

} // namespace

bool AddressField::Append(char const * field, char const * name, char const * address) {
    if (field != field_) return false;
    entries_.push_back({text_or_empty(name), text_or_empty(address)});
    return true;
}

void AddressField::WriteField(MimeSender & sender) {
    std::vector<AddressEntry> entries = std::exchange(entries_, {});
    bool const is_nobody = entries.size() == 1 && entries.front().name.empty() &&
                           is_empty_group(entries.front().address);
    if (sender.field_guard && !is_nobody) {
        entries.erase(std::remove_if(entries.begin(), entries.end(), reads_otherwise),
                      entries.end());
    }
    settle_addresses(sender, entries);
    if (entries.empty()) return;
    FieldWriter field(sender, field_);
    field.text(":");
    bool first = true;
    for (AddressEntry const & entry : entries) {
        if (!std::exchange(first, false)) field.text(",\r\n   ");
        bool const named = !entry.name.empty();
        if (named) field.text(" ").encoded(entry.name.c_str(), TextKind::phrase);
        if (entry.address.empty()) continue;
        field.text(" ");
        bool const bare = !named && !always_bracket_;
        if (!bare || (sender.field_guard && !is_nobody && !has_domain(entry.address))) {
            field.delimited(entry.address.c_str(), '<', '>', false);
        } else {
            field.raw(entry.address.c_str());
        }
    }
    field.end();
}

} // namespace vellum

using vellum::AddressField;
using vellum::FieldGroup;

void MimeSender::Generate_From() {
    FieldGroup from(RFC822::From, BureauSphere::X_From_BS, BureauSphere::X_From_Fax);
    FieldGroup sender(RFC822::Sender, BureauSphere::X_Sender_BS, BureauSphere::X_Sender_Fax);
    FieldGroup reply_to(RFC822::Reply_To, BureauSphere::X_Reply_To_BS,
                        BureauSphere::X_Reply_To_Fax);

    auto const ask = [this](char const * token, FieldGroup & group, char const *& name,
                            char const *& address) {
        SymToken field(token);
        if (note->Get_From(field, name, address) == 0) return false;
        group.Offer(field, name, address);
        if (originator_address == nullptr) originator_address = vellum::copy_text(address);
        return true;
    };
    auto const ask_series = [&ask](char const * token, FieldGroup & group) {
        char const * name = nullptr;
        char const * address = nullptr;
        while (ask(token, group, name, address)) {
        }
    };
    char const * name = nullptr;
    char const * address = nullptr;
    ask(RFC822::Sender, sender, name, address);
    ask_series(RFC822::From, from);
    ask_series(RFC822::Reply_To, reply_to);

    for (AddressField * field :
         {&from.plain(), &sender.plain(), &reply_to.plain(), &reply_to.bureau(), &sender.bureau(),
          &from.bureau(), &reply_to.fax(), &sender.fax(), &from.fax()}) {
        field->WriteField(*this);
    }
}

void MimeSender::Generate_To() {
    FieldGroup to(RFC822::To, BureauSphere::X_To_BS, BureauSphere::X_To_Fax);
    FieldGroup cc(RFC822::cc, BureauSphere::X_cc_BS, BureauSphere::X_cc_Fax);
    FieldGroup bcc(RFC822::bcc, BureauSphere::X_bcc_BS, BureauSphere::X_bcc_Fax);

    auto const ask_series = [this](char const * token, FieldGroup & group) {
        char const * name = nullptr;
        char const * address = nullptr;
        for (SymToken field(token); note->Get_To(field, name, address) != 0; field = token) {
            group.Offer(field, name, address);
        }
    };
    ask_series(RFC822::To, to);
    ask_series(RFC822::cc, cc);
    ask_series(RFC822::bcc, bcc);
    if (rules->bcc_withheld && !settings.bcc) bcc = FieldGroup(RFC822::bcc, nullptr, nullptr);

    for (AddressField * field : {&to.plain(), &cc.plain(), &bcc.plain(), &to.bureau(), &cc.bureau(),
                                 &bcc.bureau(), &to.fax(), &cc.fax(), &bcc.fax()}) {
        field->WriteField(*this);
    }
}

void MimeSender::Generate_Disposition_notification_to() {
    char const * name = nullptr;
    char const * address = nullptr;
    if (note->Get_Disposition_notification_to(name, address) == 0) return;
    AddressField field(MDN::Disposition_notification_to);
    field.Append(MDN::Disposition_notification_to, name, address);
    field.WriteField(*this);
}
