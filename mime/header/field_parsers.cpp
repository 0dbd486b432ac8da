// mime/header/field_parsers.cpp - one parser for each header field that the engine understands
#include "mime/header/field_parsers.hpp"

#include "mime/MIMEUTIL.hpp"
#include "mime/codec/transfer_codec.hpp"
#include "mime/foundation/mime_string.hpp"
#include "mime/foundation/symbol_table.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/header/address_list.hpp"
#include "mime/header/grammar.hpp"
#include "mime/header/header_run.hpp"
#include "mime/header/parameters.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/note/incoming_note.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>

using vellum::AddressList;
using vellum::HeaderRun;
using vellum::HeaderScanner;
using vellum::known_name;
using vellum::ParameterReader;
using vellum::Position;
using vellum::run_of;
using vellum::ScanBuffer;
using vellum::Span;
using vellum::Terminated;
using vellum::token_atom;

namespace {

using Blanks = HeaderScanner::Blanks;

HeaderScanner scanner_for(HeaderRun & run, char const * body) {
    return HeaderScanner(const_cast<char *>(body), run);
}

/// An operation of the note that takes a field's text alone. Only the members of ParseHeaderField
/// may name the operations; to call an operation, its pointer will do.
using TextReport = void (MimeINote::*)(char const *);

/// Reports the elements of an address list. The body that goes with each begins at the field's
/// start; but a client may look at every body, and so all of them together stay below eight times
/// the field: from then on a body begins at its own element.
class ElementReports {
public:
    explicit ElementReports(HeaderScanner & scanner)
        : text_(scanner.text()), left_(most_bodies * text_.size()) {}

    /// Calls `report` for the element in [begin, next). Where nothing was found in it, the body is
    /// the whole field; in a field that has many of those, it only goes up to the element.
    template <typename Report>
    void operator()(Span const & phrase, Span const & address, Position begin, Position next,
                    bool is_last, Report report) {
        if (phrase || address) {
            Terminated const text(text_, {phrase, address});
            Position const end = std::min(phrase ? phrase.end : next, address ? address.end : next);
            report(text.field() + start_of_body(begin, end), text.text(phrase), text.text(address));
        } else if (is_last || text_.is_whole_cheap()) {
            char const * const whole = text_.whole();
            report(whole + start_of_body(begin, text_.size()), nullptr, nullptr);
        } else {
            Terminated const text(text_, {Span::of(0, next)});
            report(text.field() + start_of_body(begin, next), nullptr, nullptr);
        }
    }

    /// Calls `report` for what an AddressList has found.
    template <typename Report>
    void operator()(AddressList const & list, bool is_readable, Report report) {
        Span const place = list.place();
        if (!is_readable) {
            Terminated const text(text_, {place});
            report(text.text(place), nullptr, nullptr);
            return;
        }
        Span const phrase = list.phrase();
        Span const address = list.address();
        Terminated const text(text_, {phrase, address});
        char const * name = text.text(phrase);
        if (name == nullptr && !list.comment().empty()) name = list.comment().c_str();
        Position const start = start_of_body(place.begin, phrase ? phrase.end : address.end);
        report(text.field() + start, name, text.text(address));
    }

private:
    static constexpr std::size_t most_bodies = 8;

    Position start_of_body(Position begin, Position end) {
        if (end <= left_) {
            left_ -= end;
            return 0;
        }
        left_ = 0;
        return begin;
    }

    ScanBuffer & text_;
    std::size_t left_; ///< What may still be handed out.
};

/// Reports addresses and groups as far as they can be read. `is_list`: they go on behind a comma
/// that is in no group.
template <typename Report>
void report_addresses(HeaderScanner & scanner, bool strict, bool is_list, Report report) {
    ElementReports reports(scanner);
    Position at = 0;
    bool in_group = false;
    for (bool more = true; more;) {
        Span phrase;
        Span address;
        scanner.get_LWSP(at, at, Blanks::leave);
        Position const begin = at;
        scanner.get_Address(at, at, phrase, address, in_group, strict);
        more = (is_list || in_group) && scanner.get_Char(at, at, ',');
        reports(phrase, address, begin, at, !more, report);
    }
}

/// Reports a list whose elements stand each for itself. `report_group` gets the name of a group, or
/// null at its end.
template <typename Report, typename ReportGroup>
void report_list(HeaderScanner & scanner, bool strict, Report report, ReportGroup report_group) {
    using Found = AddressList::Found;
    ElementReports reports(scanner);
    AddressList list(scanner, strict);
    for (Found found = list.next(); found != Found::end; found = list.next()) {
        if (found == Found::end_of_group) {
            report_group(nullptr);
        } else if (found == Found::group) {
            Span const name = list.phrase();
            Terminated const text(scanner.text(), {name});
            report_group(name ? text.text(name) : "");
        } else {
            reports(list, found == Found::mailbox, report);
        }
    }
}

/// The field's text behind leading white space and comments, as it stands.
void report_text(MimeReceiver * receiver, char const * body, TextReport report) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    Position at = 0;
    scanner.get_LWSP(0, at, Blanks::leave);
    (run.note->*report)(scanner.text().whole() + at);
}

/// Calls `report` with the text, its encoded words decoded, and its size. (Not with a MimeString:
/// who passes one on by value has to share it.)
template <typename Report>
void report_decoded(MimeReceiver * receiver, char const * body, Report report) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    Position next = 0;
    Span text;
    scanner.get_Encoded_Text(next, text);
    report(*run.note, scanner.text().whole() + text.begin, text.size());
}

void report_first_atom(MimeReceiver * receiver, char const * body, TextReport report) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    Position next = 0;
    Span word;
    if (!scanner.get_Atom(0, next, word, token_atom)) return;
    (run.note->*report)(Terminated(scanner.text(), {word}).text(word));
}

/// Calls `report` with the text within angle brackets, or with all of the text if there are no
/// brackets.
template <typename Report>
void report_id(MimeReceiver * receiver, char const * body, Report report) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    Position next = 0;
    Span id;
    scanner.get_RText(0, next, id);
    if (id.empty()) id = Span::of(next, scanner.text().size());
    report(*run.note, Terminated(scanner.text(), {id}).text(id));
}

/// The word as the table has it, whatever it means there; null for a word that it doesn't have.
char const * encoding_of(HeaderScanner & scanner, Span const & word) {
    if (char const * const token = scanner.protocol_word(word)) return token;
    if (!word || !scanner.run().rules->encoding_names) return nullptr;
    Terminated const text(scanner.text(), {word});
    return vellum::encoding_of_alias(text.text(word));
}

bool is_encoding(char const * token) {
    for (char const * const encoding : {RFC1521::ASCII_7bit, RFC1521::ASCII_8bit, RFC1521::binary,
                                        RFC1521::base64, RFC1521::quoted_printable, X::uuencode}) {
        if (token == encoding) return true;
    }
    return false;
}

} // namespace

// Addresses ------------------------------------------------------------------------

void ParseHeaderField::from(MimeReceiver * receiver, char const * body, char const * name,
                            bool strict) {
    HeaderRun & run = run_of(*receiver);
    run.note->SetProperty(name, MimeString(body));
    HeaderScanner scanner = scanner_for(run, body);
    auto const set = [&](auto... texts) { run.note->Set_From(name, texts...); };
    auto const set_group = [&](char const * group) { run.note->SetGroup(name, group); };
    if (run.rules->address_lists_resume) {
        report_list(scanner, strict, set, set_group);
    } else {
        ElementReports report(scanner);
        Position at = 0;
        for (bool more = true; more;) {
            Span phrase;
            Span address;
            scanner.get_LWSP(at, at, Blanks::leave);
            Position const begin = at;
            scanner.get_Mailbox(at, at, phrase, address, strict);
            more = scanner.get_Char(at, at, ',');
            report(phrase, address, begin, at, !more, set);
        }
    }
    run.note->Set_From(name, nullptr, nullptr, nullptr);
}

void ParseHeaderField::to(MimeReceiver * receiver, char const * body, char const * name,
                          bool strict) {
    HeaderRun & run = run_of(*receiver);
    run.note->SetProperty(name, MimeString(body));
    HeaderScanner scanner = scanner_for(run, body);
    auto const set = [&](auto... texts) { run.note->Set_To(name, texts...); };
    auto const set_group = [&](char const * group) { run.note->SetGroup(name, group); };
    if (run.rules->address_lists_resume) {
        report_list(scanner, strict, set, set_group);
    } else {
        report_addresses(scanner, strict, true, set);
    }
    run.note->Set_To(name, nullptr, nullptr, nullptr);
}

void ParseHeaderField::From(MimeReceiver * receiver, char const * body, char const * name) {
    from(receiver, body, name, true);
}

void ParseHeaderField::To(MimeReceiver * receiver, char const * body, char const * name) {
    to(receiver, body, name, true);
}

void ParseHeaderField::From_ZR700(MimeReceiver * receiver, char const * body, char const * name) {
    from(receiver, body, name, false);
}

void ParseHeaderField::To_ZR700(MimeReceiver * receiver, char const * body, char const * name) {
    to(receiver, body, name, false);
}

void ParseHeaderField::Disposition_notification_to(MimeReceiver * receiver, char const * body,
                                                   char const * name) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    auto const set = [&](auto... texts) { run.note->Set_Disposition_notification_to(texts...); };
    auto const set_group = [&](char const * group) { run.note->SetGroup(name, group); };
    if (run.rules->address_lists_resume) {
        report_list(scanner, true, set, set_group);
    } else {
        report_addresses(scanner, true, false, set);
    }
    run.note->Set_Disposition_notification_to(nullptr, nullptr, nullptr);
}

// Dates and ids ----------------------------------------------------------------------

void ParseHeaderField::Date(MimeReceiver * receiver, char const * body, char const * name) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    Position at = 0;
    scanner.get_LWSP(0, at, Blanks::leave);
    char const * const text = scanner.text().whole();
    MimeDateTime date(std::tm{}, 0);
    if (run.rules->all_dates) {
        bool const is_date = MimeDateTime::Read(text + at, date);
        if (!is_date) run.tell(Defect_BadDate);
        run.note->Set_DateTime(name, text, is_date ? &date : nullptr);
        return;
    }
    if (!MimeDateTime::ReadRFC822(text + at, date)) {
        run.tell(Defect_BadDate);
        date.ParseRFC822(text + at); // the present, and a trace
    }
    date.ConvertUT();
    run.note->Set_Date(name, text, date.GetStructTM());
}

void ParseHeaderField::Message_Id(MimeReceiver * receiver, char const * body, char const * name) {
    report_id(receiver, body,
              [name](MimeINote & note, char const * id) { note.Set_Message_Id(name, id); });
}

void ParseHeaderField::Content_Id(MimeReceiver * receiver, char const * body, char const *) {
    report_id(receiver, body, [](MimeINote & note, char const * id) { note.Set_Content_Id(id); });
}

// Texts and words --------------------------------------------------------------------

void ParseHeaderField::Return_Path(MimeReceiver * receiver, char const * body, char const *) {
    report_text(receiver, body, &MimeINote::Set_Return_Path);
}

void ParseHeaderField::Received(MimeReceiver * receiver, char const * body, char const *) {
    report_text(receiver, body, &MimeINote::Set_Received);
}

void ParseHeaderField::In_Reply_To(MimeReceiver * receiver, char const * body, char const *) {
    report_text(receiver, body, &MimeINote::Set_In_Reply_To);
}

void ParseHeaderField::References(MimeReceiver * receiver, char const * body, char const *) {
    report_text(receiver, body, &MimeINote::Set_References);
}

void ParseHeaderField::Keywords(MimeReceiver * receiver, char const * body, char const *) {
    report_text(receiver, body, &MimeINote::Set_Keywords);
}

void ParseHeaderField::Encrypted(MimeReceiver * receiver, char const * body, char const *) {
    report_text(receiver, body, &MimeINote::Set_Encrypted);
}

void ParseHeaderField::MIME_Version(MimeReceiver * receiver, char const * body, char const *) {
    run_of(*receiver).saw_mime_version = true;
    report_text(receiver, body, &MimeINote::Set_MIME_Version);
}

void ParseHeaderField::Subject(MimeReceiver * receiver, char const * body, char const *) {
    report_decoded(receiver, body, [](MimeINote & note, char const * text, std::size_t size) {
        note.Set_Subject(MimeString(text, size, 0));
    });
}

void ParseHeaderField::Comments(MimeReceiver * receiver, char const * body, char const *) {
    report_decoded(receiver, body, [](MimeINote & note, char const * text, std::size_t size) {
        note.Set_Comments(MimeString(text, size, 0));
    });
}

void ParseHeaderField::Importance(MimeReceiver * receiver, char const * body, char const *) {
    report_first_atom(receiver, body, &MimeINote::Set_Importance);
}

void ParseHeaderField::Priority(MimeReceiver * receiver, char const * body, char const *) {
    report_first_atom(receiver, body, &MimeINote::Set_Priority);
}

void ParseHeaderField::Sensitivity(MimeReceiver * receiver, char const * body, char const *) {
    report_first_atom(receiver, body, &MimeINote::Set_Sensitivity);
}

/// Every field that the table has no parser for.
void ParseHeaderField::Other(MimeReceiver * receiver, char const * body, char const * name) {
    report_decoded(receiver, body, [name](MimeINote & note, char const * text, std::size_t size) {
        note.SetProperty(name, MimeString(text, size, 0));
    });
}

// Content fields -----------------------------------------------------------------------

void ParseHeaderField::Content_Description(MimeReceiver * receiver, char const * body,
                                           char const *) {
    HeaderRun & run = run_of(*receiver);
    run.description_file_name.reset();
    HeaderScanner scanner = scanner_for(run, body);
    Position at = 0;
    Span text;
    scanner.get_Encoded_Text(at, text);
    scanner.get_LWSP(text.begin, at, Blanks::leave);
    Span file_name;
    if (scanner.get_RText(at, at, file_name)) {
        run.description_file_name = Terminated(scanner.text(), {file_name}).text(file_name);
        run.note->SetFileName(RFC1521::Content_Description, run.description_file_name->c_str());
    }
    run.note->Set_Content_Description(scanner.text().whole());
}

void ParseHeaderField::Content_Transfer_Encoding(MimeReceiver * receiver, char const * body,
                                                 char const *) {
    HeaderRun & run = run_of(*receiver);
    HeaderScanner scanner = scanner_for(run, body);
    Position next = 0;
    Span word;
    scanner.get_Atom(0, next, word, token_atom);
    char const * const token = encoding_of(scanner, word);
    if (!is_encoding(token)) run.tell(Defect_UnknownEncoding);
    run.transfer_encoding = token != nullptr ? token : RFC1521::ASCII_7bit;
    run.note->Set_Content_Transfer_Encoding(run.transfer_encoding);
}

void ParseHeaderField::Content_Disposition(MimeReceiver * receiver, char const * body,
                                           char const * name) {
    HeaderRun & run = run_of(*receiver);
    run.note->SetProperty(name, MimeString(body));
    HeaderScanner scanner = scanner_for(run, body);
    Position at = 0;
    Span type;
    scanner.get_Atom(0, at, type, token_atom);
    run.disposition_file_name.reset();
    for (ParameterReader parameter(scanner, at); parameter.next();) {
        if (run.rules->all_parameters_told) {
            run.note->SetParameter(RFC1806::Content_Disposition, known_name(parameter),
                                   parameter.value());
        }
        if (run.disposition_file_name || !parameter.is(RFC1806::filename)) continue;
        run.disposition_file_name = parameter.value();
        if (!run.rules->all_parameters_told) break;
    }
    if (run.disposition_file_name) {
        run.note->SetFileName(RFC1806::Content_Disposition, run.disposition_file_name->c_str());
    }
    char const * token = scanner.protocol_word(type);
    if (token == nullptr) {
        token = run.disposition_file_name ? RFC1806::attachment : RFC1806::inLine;
    }
    run.disposition = token;
    std::optional<std::string> const & file = run.disposition_file_name;
    run.note->Set_Content_Disposition(scanner.text().whole(), token,
                                      file ? file->c_str() : nullptr);
}

// The table ------------------------------------------------------------------------------

void Install_Field_Parsers(SymbolTable * table) {
    struct Row {
        char const * token;
        ParseHeaderField::Parser * parser;
    };
    Row const rows[] = {
        {RFC1521::Content_Type, ParseHeaderField::Content_Type},
        {RFC1521::Content_Transfer_Encoding, ParseHeaderField::Content_Transfer_Encoding},
        {RFC1521::Content_Description, ParseHeaderField::Content_Description},
        {RFC1521::Content_Id, ParseHeaderField::Content_Id},
        {RFC1521::MIME_Version, ParseHeaderField::MIME_Version},
        {RFC822::Received, ParseHeaderField::Received},
        {RFC822::Date, ParseHeaderField::Date},
        {RFC822::Return_Path, ParseHeaderField::Return_Path},
        {RFC822::Sender, ParseHeaderField::From},
        {RFC822::Subject, ParseHeaderField::Subject},
        {RFC822::From, ParseHeaderField::From},
        {RFC822::Reply_To, ParseHeaderField::From},
        {RFC822::To, ParseHeaderField::To},
        {RFC822::cc, ParseHeaderField::To},
        {RFC822::bcc, ParseHeaderField::To},
        {RFC822::Message_Id, ParseHeaderField::Message_Id},
        {RFC822::In_Reply_To, ParseHeaderField::In_Reply_To},
        {RFC822::Resent_From, ParseHeaderField::From},
        {RFC822::Resent_Date, ParseHeaderField::Date},
        {RFC822::Resent_Message_Id, ParseHeaderField::Message_Id},
        {RFC822::Resent_Reply_To, ParseHeaderField::From},
        {RFC822::Resent_Sender, ParseHeaderField::From},
        {RFC822::Resent_To, ParseHeaderField::To},
        {RFC822::Resent_bcc, ParseHeaderField::To},
        {RFC822::Resent_cc, ParseHeaderField::To},
        {RFC822::References, ParseHeaderField::References},
        {RFC822::Keywords, ParseHeaderField::Keywords},
        {RFC822::Comments, ParseHeaderField::Comments},
        {RFC822::Encrypted, ParseHeaderField::Encrypted},
        {RFC1138::Importance, ParseHeaderField::Importance},
        {RFC1138::Priority, ParseHeaderField::Priority},
        {RFC1138::Sensitivity, ParseHeaderField::Sensitivity},
        {RFC1806::Content_Disposition, ParseHeaderField::Content_Disposition},
        {MDN::Disposition_notification_to, ParseHeaderField::Disposition_notification_to},
        {BureauSphere::X_From_Fax, ParseHeaderField::From_ZR700},
        {BureauSphere::X_From_BS, ParseHeaderField::From_ZR700},
        {BureauSphere::X_Sender_Fax, ParseHeaderField::From_ZR700},
        {BureauSphere::X_Sender_BS, ParseHeaderField::From_ZR700},
        {BureauSphere::X_Reply_To_Fax, ParseHeaderField::From_ZR700},
        {BureauSphere::X_Reply_To_BS, ParseHeaderField::From_ZR700},
        {BureauSphere::X_To_Fax, ParseHeaderField::To_ZR700},
        {BureauSphere::X_To_BS, ParseHeaderField::To_ZR700},
        {BureauSphere::X_bcc_Fax, ParseHeaderField::To_ZR700},
        {BureauSphere::X_bcc_BS, ParseHeaderField::To_ZR700},
        {BureauSphere::X_cc_Fax, ParseHeaderField::To_ZR700},
        {BureauSphere::X_cc_BS, ParseHeaderField::To_ZR700},
    };
    for (Row const & row : rows)
        table->LookUp(row.token, false, true)->SetFieldParser(row.parser);
    table->SetParsersInstalled();
}
