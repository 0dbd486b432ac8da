// tests/send_fields_test.cpp - the bytes of single header fields, and the field guard
#include "mime/nls/charset.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/send/field_guard.hpp"
#include "tests/support/outgoing_notes.hpp"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;

/// The field of that name in a message's first header, with its line end and continuation lines;
/// "" if there is none.
std::string field_of(std::string const & message, std::string const & name) {
    std::string const header = "\r\n" + message.substr(0, message.find("\r\n\r\n") + 2);
    std::size_t const at = header.find("\r\n" + name + ":");
    if (at == std::string::npos) return {};
    std::size_t end = header.find("\r\n", at + 2);
    while (end + 2 < header.size() && (header[end + 2] == ' ' || header[end + 2] == '\t')) {
        end = header.find("\r\n", end + 2);
    }
    return header.substr(at + 2, end - at);
}

class FieldsTest : public testing::Test {
protected:
    FieldsTest() { NLS::PlatformCodePage = 1252; }
    ~FieldsTest() override { NLS::PlatformCodePage = code_page_; }

    FixedClock const clock_;
    unsigned long const code_page_ = NLS::PlatformCodePage;
};

// addresses ------------------------------------------------------------------------

struct Entry {
    char const *asked, *moved, *name, *address;
};

/// Gives the entries of a table to whoever asks for their token, and moves them to another.
class AddressNote : public OutputNote {
public:
    explicit AddressNote(std::vector<Entry> entries) : entries_(std::move(entries)) {}

protected:
    int Get_From(SymToken & field, char const *& name, char const *& address) override {
        return Next(field, name, address);
    }
    int Get_To(SymToken & field, char const *& name, char const *& address) override {
        return Next(field, name, address);
    }
    int Get_Disposition_notification_to(char const *& name, char const *& address) override {
        SymToken field(MDN::Disposition_notification_to);
        return Next(field, name, address);
    }

private:
    int Next(SymToken & field, char const *& name, char const *& address) {
        char const * const asked = field;
        std::size_t & at = next_[asked];
        // Null before the first call of a series, and then as it was left.
        EXPECT_EQ(name, at == 0 ? nullptr : entries_[at - 1].name);
        EXPECT_EQ(address, at == 0 ? nullptr : entries_[at - 1].address);
        while (at < entries_.size() && entries_[at].asked != asked)
            ++at;
        if (at == entries_.size()) return 0;
        Entry const & entry = entries_[at++];
        field = entry.moved;
        name = entry.name;
        address = entry.address;
        return 1;
    }

    std::vector<Entry> entries_;
    std::map<char const *, std::size_t> next_; // by token: where its series goes on
};

TEST_F(FieldsTest, Addresses) {
    AddressNote note({
        {RFC822::To, RFC822::To, "Front Desk", "desk"},
        {RFC822::To, RFC822::To, nullptr, "annex"},
        {RFC822::To, BureauSphere::X_To_BS, nullptr, "bureau"},
        {RFC822::To, BureauSphere::X_To_Fax, "Fax", "555"},
        {RFC822::To, RFC822::cc, nullptr, "dropped"},
        {RFC822::To, "X-Unheard-Of", nullptr, "dropped"},
        {RFC822::To, RFC822::To,
         "Gr\xFC\xDF"
         "e, alle",
         "a>b\\c\rd"},
        {RFC822::To, RFC822::To, "Nameless", nullptr},
        {RFC822::To, RFC822::To, "", ""},
        {RFC822::To, RFC822::To, "=?x?Q?done?=", "e"},
        {RFC822::cc, RFC822::cc, nullptr, "copy"},
        {RFC822::bcc, RFC822::bcc, nullptr, "blind"},
        {RFC822::bcc, BureauSphere::X_bcc_BS, nullptr, "blind"},
        {RFC822::From, RFC822::From, "A \"B\" \\C", "from"},
        {RFC822::From, BureauSphere::X_From_BS, nullptr, "from"},
        {RFC822::Reply_To, BureauSphere::X_Reply_To_Fax, nullptr, "reply"},
        {MDN::Disposition_notification_to, nullptr, "Me", "me"},
    });
    std::string const sent = note.SendWhole();
    struct {
        char const *name, *expected;
    } const rows[] = {
        {"To", "To: \"Front Desk\" <desk>,\r\n"
               "    annex,\r\n"
               "    =?ISO-8859-1?Q?Gr=FC=DFe=2C_alle?= <a\\>b\\c\\\rd>,\r\n"
               "    \"Nameless\",\r\n"
               "   ,\r\n"
               "    =?x?Q?done?= <e>\r\n"},
        {"X-To-BureauSphere", "X-To-BureauSphere: <bureau>\r\n"},
        {"X-To-ZR700Fax", "X-To-ZR700Fax: \"Fax\" <555>\r\n"},
        {"cc", "cc: copy\r\n"},
        {"bcc", "bcc: blind\r\n"},
        {"X-Bcc-BureauSphere", "X-Bcc-BureauSphere: <blind>\r\n"},
        {"From", "From: \"A \\\"B\\\" \\\\C\" <from>\r\n"},
        {"X-From-BureauSphere", "X-From-BureauSphere: <from>\r\n"},
        {"X-Reply-To-ZR700Fax", "X-Reply-To-ZR700Fax: <reply>\r\n"},
        {"Reply-To", ""},
        {"Sender", ""},
        {"Disposition-notification-to", "Disposition-notification-to: \"Me\" <me>\r\n"},
        {"X-Unheard-Of", ""},
    };
    for (auto const & row : rows)
        EXPECT_EQ(field_of(sent, row.name), row.expected);
}

TEST_F(FieldsTest, AddressFieldsStandInTheirOrder) {
    std::vector<Entry> entries;
    char const * const groups[][3] = {
        {RFC822::To, BureauSphere::X_To_BS, BureauSphere::X_To_Fax},
        {RFC822::cc, BureauSphere::X_cc_BS, BureauSphere::X_cc_Fax},
        {RFC822::bcc, BureauSphere::X_bcc_BS, BureauSphere::X_bcc_Fax},
        {RFC822::From, BureauSphere::X_From_BS, BureauSphere::X_From_Fax},
        {RFC822::Reply_To, BureauSphere::X_Reply_To_BS, BureauSphere::X_Reply_To_Fax},
    };
    for (auto const & group : groups) {
        for (char const * token : group)
            entries.push_back({group[0], token, nullptr, "a"});
    }
    std::string const sent = AddressNote(entries).SendWhole();
    std::string order;
    for (std::size_t at = sent.find("\r\n") + 2, end; sent[at] != 'M'; at = end + 2) {
        end = sent.find("\r\n", at);
        order += sent.substr(at, sent.find(':', at) - at) + ' ';
    }
    EXPECT_EQ(order, "To cc bcc X-To-BureauSphere X-Cc-BureauSphere X-Bcc-BureauSphere "
                     "X-To-ZR700Fax X-Cc-ZR700Fax X-Bcc-ZR700Fax "
                     "From Reply-To X-Reply-To-BureauSphere X-From-BureauSphere "
                     "X-Reply-To-ZR700Fax X-From-ZR700Fax ");
}

// ids ------------------------------------------------------------------------------

TEST_F(FieldsTest, IdsAreWellFormedWhateverTheOriginator) {
    std::size_t const fixed_part = std::string("<" + fixed_time + "-0->").size();
    std::string const longest(99 - fixed_part, 'x');
    struct {
        std::string sender, from, in_id;
    } const rows[] = {
        {"sender@x", "from@x", "sender@x"},
        {"", "from@x", "from@x"},
        {longest, "from@x", longest},
        {longest + "x", "from@x", ""},
        {"two words", "from@x", ""},
        {"tab\tbed", "", ""},
        {"line\r\nend", "", ""},
        {"<a@x>", "", ""},
        {"a>", "", ""},
        {"m\xFCller@x", "", ""},
    };
    for (auto const & row : rows) {
        std::vector<Entry> entries;
        if (!row.sender.empty()) {
            entries.push_back({RFC822::Sender, RFC822::Sender, nullptr, row.sender.c_str()});
        }
        entries.push_back({RFC822::From, "X-Dropped", "No Address", nullptr});
        if (!row.from.empty()) {
            entries.push_back({RFC822::From, RFC822::From, nullptr, row.from.c_str()});
        }
        std::string const sent = AddressNote(entries).SendWhole();
        auto const expected = [&](int counter, char const * nobody) {
            return "<" + fixed_time + "-" + std::to_string(counter) + "-" +
                   (row.in_id.empty() ? nobody : row.in_id) + ">\r\n";
        };
        EXPECT_EQ(field_of(sent, "Message-Id"), "Message-Id: " + expected(0, "007"));
        EXPECT_EQ(field_of(sent, "Content-Id"), "Content-Id: " + expected(1, "99"));
    }
}

// plain fields ---------------------------------------------------------------------

/// Answers each question for a property with one text.
class PropertyNote : public OutputNote {
public:
    PropertyNote(char const * value, int result) : value_(value), result_(result) {}

protected:
    int GetProperty(char const *, char const *& value) override {
        EXPECT_EQ(value, nullptr);
        value = value_;
        return result_;
    }
    int Get_Message_Id(char const *& value) override {
        value = value_;
        return result_;
    }

private:
    char const * value_;
    int result_;
};

TEST_F(FieldsTest, AValueMakesAPlainField) {
    char const * const plain[] = {"In-Reply-To", "Keywords", "References", "Encrypted",
                                  "Importance",  "Priority", "Sensitivity"};
    struct {
        char const * value;
        int result;
        std::string raw, encoded;
    } const rows[] = {
        {"a \xE4", 0, "a \xE4", "=?ISO-8859-1?Q?a_=E4?="},
        {"a \xE4", 1, "a \xE4", "=?ISO-8859-1?Q?a_=E4?="},
        {"", 0, "", ""},
    };
    for (auto const & row : rows) {
        std::string const sent = PropertyNote(row.value, row.result).SendWhole();
        for (std::string const name : plain) {
            EXPECT_EQ(field_of(sent, name), name + ": " + row.raw + "\r\n");
        }
        EXPECT_EQ(field_of(sent, "Return-Path"), "Return-Path: <" + row.raw + ">\r\n");
        EXPECT_EQ(field_of(sent, "Received"), "Received: " + row.encoded + "\r\n");
        EXPECT_EQ(field_of(sent, "Comments"), "Comments: " + row.encoded + "\r\n");
        EXPECT_EQ(field_of(sent, "Content-Description"),
                  "Content-Description: " + row.encoded + "\r\n");
        // Here the result counts.
        EXPECT_EQ(field_of(sent, "Subject"),
                  row.result == 0 ? "" : "Subject: " + row.encoded + "\r\n");
        EXPECT_EQ(field_of(sent, "Message-Id").find(fixed_time) == std::string::npos,
                  row.result != 0);
        EXPECT_EQ(field_of(sent, "Content-Id").find(fixed_time) == std::string::npos,
                  row.result != 0);
    }
    std::string const sent = PropertyNote(nullptr, 1).SendWhole();
    for (std::string const name : plain)
        EXPECT_EQ(field_of(sent, name), "");
    EXPECT_EQ(field_of(sent, "Return-Path") + field_of(sent, "Subject"), "");
    EXPECT_NE(field_of(sent, "Message-Id").find(fixed_time), std::string::npos);
    EXPECT_NE(field_of(sent, "Content-Id").find(fixed_time), std::string::npos);
}

TEST_F(FieldsTest, NamesAndDispositions) {
    class DispositionNote : public DescribedNote {
    public:
        explicit DispositionNote(Part part, char const * name)
            : DescribedNote(std::move(part)), name_(name) {}
        std::string in_item;

    protected:
        int Get_Content_Disposition(SymToken & disposition, char const *& name) override {
            DescribedNote::Get_Content_Disposition(disposition, name);
            name = name_;
            return 0;
        }
        void EndHeader(MimeContext & context) override {
            if (char const * const disposition = context.item->disposition) in_item = disposition;
        }

    private:
        char const * name_;
    };
    struct {
        char const *file, *description, *disposition, *own_name;
        char const *type_name, *expected_description, *expected_disposition, *in_item;
    } const rows[] = {
        {nullptr, nullptr, nullptr, nullptr, "", "", "", ""},
        {"f.x", nullptr, nullptr, nullptr, ";\r\n name=\"f.x\"", "<f.x>",
         "attachment; filename=\"f.x\"", "attachment"},
        {"f.x", "text \xE4", "inline", "own", ";\r\n name=\"f.x\"",
         "=?ISO-8859-1?Q?text_=E4?=", "inline; filename=\"own\"", "inline"},
        {nullptr, nullptr, "inline", nullptr, "", "", "inline", "inline"},
        {nullptr, nullptr, nullptr, "\xE4", "", "", "attachment; filename=\"=?ISO-8859-1?Q?=E4?=\"",
         "attachment"},
        {"a>\"\\", nullptr, nullptr, nullptr, ";\r\n name=\"a>\\\"\\\\\"", "<a\\>\"\\>",
         "attachment; filename=\"a>\\\"\\\\\"", "attachment"},
        {"", nullptr, nullptr, nullptr, ";\r\n name=", "", "attachment; filename=", "attachment"},
    };
    for (auto const & row : rows) {
        Part part = binary_part("");
        if (row.file != nullptr) part.file_name = row.file;
        if (row.description != nullptr) part.description = row.description;
        if (row.disposition != nullptr) part.disposition = row.disposition;
        DispositionNote note(part, row.own_name);
        std::string const sent = note.SendWhole();
        auto const field = [](std::string const & name, std::string const & value) {
            return value.empty() ? value : name + ": " + value + "\r\n";
        };
        EXPECT_EQ(field_of(sent, "Content-Type"),
                  field("Content-Type", "application/octet-stream" + std::string(row.type_name)));
        EXPECT_EQ(field_of(sent, "Content-Description"),
                  field("Content-Description", row.expected_description));
        EXPECT_EQ(field_of(sent, "Content-Disposition"),
                  field("Content-Disposition", row.expected_disposition));
        EXPECT_EQ(note.in_item, row.in_item);
    }
}

// the guard ------------------------------------------------------------------------

TEST(FieldGuard, OnlyFoldsStay) {
    struct {
        std::string_view value, guarded, line;
    } const rows[] = {
        {"plain", "plain", "plain"},
        {"a\r\nb", "a  b", "a  b"},
        {"a\r\n b", "a\r\n b", "a   b"},
        {"a\r\n\t b", "a\r\n\t b", "a  \t b"},
        {"a\r\n \r\n b", "a   \r\n b", "a      b"},       // a line of blanks alone
        {" \r\n\ta\r\n b", "   \ta\r\n b", "   \ta   b"}, // nothing in front of the first
        {"a\r\n ", "a   ", "a   "},
        {"a\r\n", "a  ", "a  "},
        {"a\n b", "a  b", "a  b"},
        {"a\r b\r\r\n c", "a  b \r\n c", "a  b    c"},
        {std::string_view("a\0b\r\n \0", 7), "a b    ", "a b    "},
        {"", "", ""},
    };
    for (auto const & row : rows) {
        EXPECT_EQ(vellum::guarded(row.value), row.guarded);
        EXPECT_EQ(vellum::guarded_line(row.value), row.line);
        EXPECT_EQ(vellum::needs_guard(row.value), row.value != row.line);
    }
}

/// Gives an attacker's text wherever a value is asked for.
class HostileNote : public OutputNote {
public:
    explicit HostileNote(std::string value) : value_(std::move(value)) {}

protected:
    int BeginPart(MimeContext &) override { return parts_++ < 3; }
    int Give(char const *& value) {
        value = value_.c_str();
        return 1;
    }
    int Get_From(SymToken &, char const *& name, char const *& address) override {
        bool const first = name == nullptr;
        Give(name);
        Give(address);
        return first;
    }
    int Get_To(SymToken & field, char const *& name, char const *& address) override {
        bool const first = address == nullptr;
        if (field == RFC822::To) Give(name);
        Give(address);
        return first;
    }
    int Get_Disposition_notification_to(char const *& name, char const *& address) override {
        return Give(name) + Give(address);
    }
    int GetProperty(char const *, char const *& value) override { return Give(value); }
    int Get_Message_Id(char const *& value) override { return Give(value); }
    int GetFileName(char const *& value) override { return Give(value); }
    int GetBoundary(char const *& value) override { return Give(value); }
    int Get_Content_Type(SymToken & type, SymToken & subtype) override {
        type = parts_ == 1 ? RFC1521::multipart : parts_ == 2 ? RFC1521::text : value_.c_str();
        subtype = value_.c_str();
        return 1;
    }
    int Get_Content_Disposition(SymToken & disposition, char const *& name) override {
        disposition = value_.c_str();
        return Give(name);
    }
    void PutXFields() override {
        SendField("X-Fine", value_.c_str());
        field_sent |= SendField(("X-" + value_).c_str(), "value");
        field_sent |= SendField("X-A: b\r\nX-B", "value");
        field_sent |= SendField("X-A:", "value");
        field_sent |= SendField("X A", "value");
        field_sent |= SendField("", "value");
    }

public:
    int field_sent = 0;

private:
    std::string const value_;
    int parts_ = 0;
};

TEST_F(FieldsTest, NothingEndsAGuardedField) {
    for (std::string const line_end : {"\r\n", "\n", "\r", "\r\n \r\n", "\r\n\r\n"}) {
        for (std::string const around : {"", "=?x?Q?"}) {
            for (unsigned int const split_size : {0U, 30720U}) {
                std::string value = around + "one" + line_end + "Injected: yes";
                if (!around.empty()) value += "?=";
                HostileNote note(value);
                note.SetFieldGuard(1);
                note.SetNetworkSplitSize(split_size);
                note.SetTextEncoding(value.c_str());
                std::string const sent = note.SendWhole();
                EXPECT_EQ(note.field_sent, 0);
                EXPECT_NE(sent.find("Injected: yes"), std::string::npos);
                for (std::size_t at = 0; (at = sent.find_first_of("\r\n", at)) != sent.npos; ++at) {
                    EXPECT_NE(sent.compare(at + 1, 9, "Injected:"), 0)
                        << sent.substr(at > 40 ? at - 40 : 0, 60);
                }
            }
        }
    }
}

TEST_F(FieldsTest, WithoutTheGuardValuesPassUnchecked) {
    PropertyNote note("one\r\nX-Two: 2", 1);
    EXPECT_NE(note.SendWhole().find("\r\nX-Two: 2\r\n"), std::string::npos);
    EXPECT_EQ(note.SetFieldGuard(7), 7);
    std::string const sent = note.SendWhole();
    EXPECT_EQ(field_of(sent, "X-Two"), "");
    EXPECT_EQ(field_of(sent, "Subject"), "Subject: one  X-Two: 2\r\n");
    PropertyNote folded("one\r\n two", 1);
    folded.SetFieldGuard(1);
    EXPECT_EQ(field_of(folded.SendWhole(), "References"), "References: one\r\n two\r\n");
}

} // namespace
