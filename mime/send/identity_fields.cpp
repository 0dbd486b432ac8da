// mime/send/identity_fields.cpp - the date, and the ids of messages, parts and fragments
#include "mime/MIMEUTIL.hpp"
#include "mime/foundation/ascii.hpp"
#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/platform/platform.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/field_writer.hpp"
#include "mime/send/output_splitter.hpp"
#include "mime/send/random_text.hpp"
#include "mime/send/scoped_value.hpp"
#include "mime/send/sender.hpp"
#include "mime/send/translation.hpp"
#include "mime/send/writing_rules.hpp"

#include <algorithm>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

using vellum::FieldWriter;

namespace {

/// The longest generated message id, its angle brackets included.
constexpr std::size_t longest_id = 99;

std::string seconds_now() { return std::to_string(vellum::platform::now() / 1000); }

/// Whether an address can be part of an id (RFC 5322 3.6.4).
bool fits_into_id(std::string_view address) {
    return !address.empty() && std::all_of(address.begin(), address.end(), [](char c) {
        return vellum::ascii::byte(c) > 0x20 && vellum::ascii::byte(c) < 0x7F && c != '<' &&
               c != '>';
    });
}

/// The time, the counter, and the address of the originator or, where there is none that will do,
/// `nobody`.
std::string make_plain_id(MimeSender & sender, char const * nobody) {
    std::string const unique = seconds_now() + '-' + std::to_string(sender.counter++) + '-';
    char const * const address = sender.originator_address.get();
    if (address == nullptr || !fits_into_id(address)) return unique + nobody;
    if (sender.field_guard && !vellum::is_address(address)) return unique + nobody;
    std::string const id = unique + address;
    constexpr std::size_t brackets = 2;
    return id.size() + brackets <= longest_id ? id : unique + nobody;
}

/// The domain of the ids: the one that was set, else that of the originator, else one that nobody
/// can have (RFC 6761 6.4).
std::string id_domain(MimeSender const & sender) {
    if (!sender.settings.id_domain.empty()) return sender.settings.id_domain;
    std::string_view const address =
        sender.originator_address != nullptr ? sender.originator_address.get() : "";
    std::size_t const at = address.rfind('@');
    std::string_view const domain = at != address.npos ? address.substr(at + 1) : "";
    return vellum::is_id_domain(domain) ? std::string(domain) : "id.invalid";
}

} // namespace

std::string MimeSender::MakeUnique() {
    std::string const text = vellum::random_text();
    return !text.empty() ? text : id_seed_ + std::to_string(counter++);
}

/// A new id, without its angle brackets.
std::string MimeSender::MakeId(char const * nobody) {
    if (!rules->random_ids) return make_plain_id(*this, nobody);
    return MakeUnique() + '@' + id_domain(*this);
}

/// The id that the client gave; nothing if it gave none, or none that can stand in a header.
std::optional<std::string> MimeSender::GivenId(int (MimeONote::*getter)(char const *&)) {
    char const * value = nullptr;
    bool const is_given = (note->*getter)(value) != 0 && value != nullptr;
    if (!is_given || (rules->random_ids && *value == '\0')) return {};
    if (rules->random_ids && field_guard && !vellum::is_id(value)) return {};
    return vellum::value_for_header(*this, value);
}

void MimeSender::Generate_Date() {
    std::tm when{};
    int offset = 0;
    TimeString text;
    bool const given = note->Get_Date(when, offset) != 0;
    MimeDateTime date = given ? MimeDateTime(when, offset) : MimeDateTime();
    date.WriteRFC822(text, 1);
    FieldWriter(*this, RFC822::Date).text(": ").text(text).end();
}

void MimeSender::Generate_Message_Id() {
    auto const given = GivenId(&MimeONote::Get_Message_Id);
    std::string const id = given ? *given : '<' + MakeId("007") + '>';
    if (first_message_id == nullptr) {
        // Messages that the client gave one id don't get into each other's fragments.
        std::string const common = rules->random_ids ? '<' + MakeId("") + '>' : id;
        first_message_id = vellum::copy_text(common.c_str());
    }
    FieldWriter(*this, RFC822::Message_Id).text(": ").raw(id.c_str()).end();
    if (!rules->only_fields_given) stream->write("X-MIME-Engine: v0.90\r\n");
}

void MimeSender::Generate_MIME_Version() {
    FieldWriter(*this, RFC1521::MIME_Version).text(": 1.0").end();
}

void MimeSender::Generate_Content_Id() {
    auto const given = GivenId(&MimeONote::Get_Content_Id);
    if (!given && rules->only_fields_given) return;
    std::string const id = given ? *given : MakeId("99");
    FieldWriter(*this, RFC1521::Content_Id).text(": <").raw(id.c_str()).text(">").end();
}

std::string MimeSender::MakeBoundary() {
    // "=_" stands in no line of quoted-printable or base64 (RFC 2045 6.7).
    if (rules->random_ids) return "=_" + MakeUnique();
    std::string boundary =
        "MIME MULTIPART BOUNDARY=." + seconds_now() + ":+'" + std::to_string(counter++);
    // So that 10 doesn't begin as 1 does, for readers that compare the begin of a line alone.
    if (field_guard) boundary += '.';
    return boundary;
}

void MimeSender::Generate_PartialMessageHeaderFragment(bool last) {
    // The note may be in the middle of PutXFields; its fields don't belong here.
    vellum::ScopedValue const accepting(accepting_fields, false);
    // No part's field is asked for now.
    vellum::ScopedValue<MimeContext *> const level(context, nullptr);
    // A body or a field may be in the middle of its translator, which serves one text at a time.
    vellum::SeparateCache const translators(translator_cache);
    Generate_Subject();
    Generate_Message_Id();
    Generate_MIME_Version();
    FieldWriter field(*this, RFC1521::Content_Type);
    field.text(": ").text(RFC1521::message).text("/").text(RFC1521::partial);
    ++fragment_count;
    field.text("; ").text(RFC1521::number).text("=").number(fragment_count);
    if (last) field.text("; ").text(RFC1521::total).text("=").number(fragment_count);
    field.text(";\r\n    ").text(RFC1521::id).text("=");
    field.delimited(first_message_id.get(), '"', '"', true).end();
    stream->write("\r\n");
}
