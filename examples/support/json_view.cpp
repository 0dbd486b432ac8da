// examples/support/json_view.cpp - a message as one line of JSON
#include "examples/support/json_view.hpp"

#include "examples/support/iso_date.hpp"
#include "examples/support/json.hpp"

#include <utility>

namespace examples {

// Records --------------------------------------------------------------------------

JsonView::Record & JsonView::RecordOf(MimeContext const & context) {
    return records_[static_cast<std::size_t>(context.part_number) - 1];
}

void JsonView::BeginPart(MimeContext & context) {
    PartNote::BeginPart(context);
    Record & record = records_.emplace_back();
    record.part_number = context.part_number;
    record.message_depth = context.message_depth;
    record.multipart_depth = context.multipart_depth;
    record.atomic_count = context.atomic_count;
    record.decoded_depth = context.decoded_depth;
}

void JsonView::EndHeader(MimeContext & context) { RecordOf(context).info = Part(); }

std::ostream * JsonView::BeginLeaf(MimeContext &) {
    counter_.reset();
    return &counter_.stream();
}

void JsonView::EndLeaf(MimeContext & context) { RecordOf(context).decoded_size = counter_.count(); }

void JsonView::EndPart(MimeContext & context) { RecordOf(context).place = context.exact; }

void JsonView::BeginPreamble(MimeContext &, std::ostream ** text) {
    counter_.reset();
    *text = &counter_.stream();
}

void JsonView::EndPreamble(MimeContext & context) {
    RecordOf(context).preamble_size = counter_.count();
}

void JsonView::BeginEpilogue(MimeContext & context, std::ostream ** text) {
    BeginPreamble(context, text);
}

void JsonView::EndEpilogue(MimeContext & context) {
    RecordOf(context).epilogue_size = counter_.count();
}

void JsonView::Defect(MimeContext const & context, MimeDefect what, long long offset) {
    if (shows_defects_)
        defects_.push_back({context.part_number, what, offset, context.decoded_depth > 0});
}

// Fields ---------------------------------------------------------------------------

void JsonView::AddField(char const * name, std::string value) {
    records_.back().fields.push_back({name != nullptr ? name : "", std::move(value)});
}

/// For the fields that SetProperty got as they arrived.
void JsonView::DecodeLastField() {
    std::string & value = records_.back().fields.back().value;
    value = decoded_field_text(value, reading());
}

/// Every field comes here once: on its own, by the default of its Set_ operation, or in front of
/// that operation, which then doesn't call the default.
void JsonView::SetProperty(char const * name, MimeString const & value) {
    AddField(name, std::string(value.get_String(), value.get_Length()));
}

void JsonView::Set_From(char const *, char const * body, char const *, char const *) {
    if (body == nullptr) DecodeLastField(); // the call behind the last mailbox
}

void JsonView::Set_To(char const *, char const * body, char const *, char const *) {
    if (body == nullptr) DecodeLastField();
}

void JsonView::Set_Content_Type(char const * body, char const * type, char const * subtype) {
    PartNote::Set_Content_Type(body, type, subtype);
    bool const has_field = *body != '\0';
    if (has_field) DecodeLastField();
}

void JsonView::Set_Content_Disposition(char const * body, char const * disposition,
                                       char const * filename) {
    PartNote::Set_Content_Disposition(body, disposition, filename);
    DecodeLastField();
}

/// The one field of addresses of which SetProperty gets nothing.
void JsonView::Set_Disposition_notification_to(char const * body, char const * phrase,
                                               char const * address) {
    if (body == nullptr) {
        AddField(MDN::Disposition_notification_to, std::exchange(notified_, {}));
    } else if (address != nullptr) {
        if (!notified_.empty()) notified_ += ", ";
        notified_ += phrase != nullptr ? std::string(phrase) + " <" + address + '>' : address;
    } else if (notified_.empty()) {
        notified_ = body;
    }
}

void JsonView::Set_DateTime(char const * field, char const * body, MimeDateTime const * when) {
    if (field == RFC822::Date && when != nullptr) records_.back().date = iso_date(*when);
    PartNote::Set_DateTime(field, body, when);
}

void JsonView::Set_Keywords(char const * text) {
    AddField(RFC822::Keywords, decoded_field_text(text, reading()));
}

// Output ---------------------------------------------------------------------------

class JsonView::Printer {
public:
    explicit Printer(JsonWriter & json) : json_(json) {}

    void Print(Record const & record) {
        json_.begin_object();
        Number("part_number", record.part_number);
        Number("message_depth", record.message_depth);
        Number("multipart_depth", record.multipart_depth);
        Number("atomic_count", record.atomic_count);
        Number("decoded_depth", record.decoded_depth);
        PrintInfo(record.info);
        PrintPlace(record.place);
        Text("date", record.date ? record.date->c_str() : nullptr);
        Position("decoded_size", record.decoded_size);
        Position("preamble_size", record.preamble_size);
        Position("epilogue_size", record.epilogue_size);
        PrintFields(record.fields);
        json_.end_object();
    }

    void Print(ToldDefect const & defect) {
        json_.begin_object();
        Number("part_number", defect.part_number);
        Number("offset", defect.offset);
        Text("text", MimeDefectText(defect.what));
        json_.end_object();
    }

private:
    void PrintInfo(PartInfo const & info) {
        Text("type", info.type);
        Text("subtype", info.subtype);
        Text("disposition", info.disposition);
        Text("file_name", info.file_name ? info.file_name->c_str() : nullptr);
        Text("charset", info.charset ? info.charset->c_str() : nullptr);
        Text("transfer_encoding", info.transfer_encoding);
    }

    void PrintPlace(MimeContext::Exact const & place) {
        Position("part_start", place.part_start);
        Position("header_end", place.header_end);
        Position("body_start", place.body_start);
        Position("body_end", place.body_end);
        Position("part_end", place.part_end);
        Position("body_start_line", place.body_start_line);
        Position("body_end_line", place.body_end_line);
    }

    void PrintFields(std::vector<Field> const & fields) {
        json_.key("fields");
        json_.begin_list();
        for (Field const & field : fields) {
            json_.begin_list();
            json_.value(field.name);
            json_.value(field.value);
            json_.end_list();
        }
        json_.end_list();
    }

    void Number(std::string_view key, long long number) {
        json_.key(key);
        json_.value(number);
    }

    void Position(std::string_view key, long long position) {
        json_.key(key);
        if (position < 0) {
            json_.null();
        } else {
            json_.value(position);
        }
    }

    void Text(std::string_view key, char const * text) {
        json_.key(key);
        if (text == nullptr) {
            json_.null();
        } else {
            json_.value(std::string_view(text));
        }
    }

    JsonWriter & json_;
};

void JsonView::Print(std::ostream & out, std::string_view file, ReceiveResult result) const {
    JsonWriter json(out);
    json.begin_object();
    json.key("file");
    json.value(file);
    json.key("result");
    json.value(std::string_view(name_of(result)));
    json.key("parts");
    json.begin_list();
    Printer printer(json);
    for (Record const & record : records_)
        printer.Print(record);
    json.end_list();
    if (shows_defects_) {
        json.key("defects");
        json.begin_list();
        for (ToldDefect const & defect : defects_)
            printer.Print(defect);
        json.end_list();
    }
    json.end_object();
    json.end_line();
}

} // namespace examples
