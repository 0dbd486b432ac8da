// tests/field_parsers_test.cpp - what a client is told of each header field
#include "mime/foundation/tokens.hpp"
#include "mime/receive/incoming_note.hpp"
#include "mime/receive/receiver.hpp"
#include "tests/support/chunked.hpp"
#include "tests/support/transcript.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vellum::test;

struct Row {
    char const * header;   ///< Header lines, each ended by "\n".
    char const * expected; ///< What is called for them, each line ended by "\n".
};

/// Of a transcript the lines that concern fields, and of those not the type that stands in for a
/// missing Content-Type.
std::string field_lines(std::vector<std::string> const & lines) {
    std::string result;
    for (std::string const & line : lines) {
        bool const is_structure = line.find(" depth ") != line.npos || line.starts_with("Receive ");
        if (is_structure || line == "Set_Content_Type \"\" \"text\" \"plain\"") continue;
        result.append(line).append(1, '\n');
    }
    return result;
}

void expect_calls(Row const & row) {
    bool is_right = true;
    for_each_input(
        std::string(row.header) + "\n",
        [&](auto & input, std::string const & how) {
            if (!is_right) return; // one report a row
            Transcript note(input);
            note.SetHeadersOnly(1);
            note.SetNLS(new TestFactory, 1);
            note.run();
            is_right = "\n" + field_lines(note.lines()) == row.expected;
            EXPECT_TRUE(is_right) << how << '\n' << row.header << field_lines(note.lines());
        },
        20);
}

void expect_calls(std::vector<Row> const & rows) {
    for (Row const & row : rows)
        expect_calls(row);
}

TEST(Fields, of_mailboxes) {
    expect_calls({
        {"From: a@b, c@d\n", R"--(
SetProperty "From" "a@b, c@d" 7bit
Set_From "From" "a@b" null "a@b"
Set_From "From" "a@b, c@d" null "c@d"
Set_From "From" null null null
)--"},
        {"sender: (x) \"Doe, \\\"J.\\\"\" (y) <j . d (z) @ e>\n", R"--(
SetProperty "Sender" "(x) \"Doe, \\\"J.\\\"\" (y) <j . d (z) @ e>" 7bit
Set_From "Sender" " Doe, \"J.\"" "Doe, \"J.\"" "j.d@e"
Set_From "Sender" null null null
)--"},
        {"Reply-To: a@b, , <c@d>\n", R"--(
SetProperty "Reply-To" "a@b, , <c@d>" 7bit
Set_From "Reply-To" "a@b" null "a@b"
Set_From "Reply-To" "a@b, , <c@d>" null null
Set_From "Reply-To" "a@b, , <c@d" null "c@d"
Set_From "Reply-To" null null null
)--"},
        {"From:\n", R"--(
SetProperty "From" "" 7bit
Set_From "From" "" null null
Set_From "From" null null null
)--"},
        {"From: Some One, a@b\n", R"--(
SetProperty "From" "Some One, a@b" 7bit
Set_From "From" "Some One, a@b" null null
Set_From "From" null null null
)--"},
        {"From: a@b c, d@e\n", R"--(
SetProperty "From" "a@b c, d@e" 7bit
Set_From "From" "a@b" null "a@b"
Set_From "From" null null null
)--"},
        {"From: =?iso-8859-1?Q?J=F6rg,_?= X (=?x-wide?Q?i?=) Y <j@[10.0.0.1]>\n", R"--(
SetProperty "From" "=?iso-8859-1?Q?J=F6rg,_?= X (=?x-wide?Q?i?=) Y <j@[10.0.0.1]>" 7bit
Set_From "From" "J\xC3\xB6rg,  X (i..........) Y" "J\xC3\xB6rg,  X (i..........) Y" "j@[10.0.0.1]"
Set_From "From" null null null
)--"},
        {"From: =?x-other?Q?J?= <j@x>, \"=?x-other?Q?K?=\" <k@x>\n", R"--(
SetProperty "From" "=?x-other?Q?J?= <j@x>, \"=?x-other?Q?K?=\" <k@x>" 7bit
Set_From "From" "=?x-other?Q?J?=" "=?x-other?Q?J?=" "j@x"
Set_From "From" "=?x-other?Q?J?= <j@x>, =?x-other?Q?K?=" "=?x-other?Q?K?=" "k@x"
Set_From "From" null null null
)--"},
        // Nothing that stood in quotes is taken for the list's own commas.
        {"From: \", evil@x\" Some One\n", R"--(
SetProperty "From" "\", evil@x\" Some One" 7bit
Set_From "From" ", evil@x  Some One" null null
Set_From "From" null null null
)--"},
        {"Resent-From: a@b\nResent-Sender: c@d\nResent-Reply-To: e@f\n", R"--(
SetProperty "Resent-From" "a@b" 7bit
Set_From "Resent-From" "a@b" null "a@b"
Set_From "Resent-From" null null null
SetProperty "Resent-Sender" "c@d" 7bit
Set_From "Resent-Sender" "c@d" null "c@d"
Set_From "Resent-Sender" null null null
SetProperty "Resent-Reply-To" "e@f" 7bit
Set_From "Resent-Reply-To" "e@f" null "e@f"
Set_From "Resent-Reply-To" null null null
)--"},
        {"X-From-ZR700Fax: Office <555 1234>, <a<b>c>\n", R"--(
SetProperty "X-From-ZR700Fax" "Office <555 1234>, <a<b>c>" 7bit
Set_From "X-From-ZR700Fax" "Office" "Office" "555 1234"
Set_From "X-From-ZR700Fax" "Office <555 1234>, <a<b>c" null "a<b>c"
Set_From "X-From-ZR700Fax" null null null
)--"},
    });
}

TEST(Fields, of_addresses) {
    expect_calls({
        {"To: group: a@b, C <c@d>; , e@f\n", R"--(
SetProperty "To" "group: a@b, C <c@d>; , e@f" 7bit
Set_To "To" "group: a@b" null "a@b"
Set_To "To" "group: a@b, C" "C" "c@d"
Set_To "To" "group: a@b, C <c@d>; , e@f" null "e@f"
Set_To "To" null null null
)--"},
        {"CC: group:;\n", R"--(
SetProperty "cc" "group:;" 7bit
Set_To "cc" "group:;" null null
Set_To "cc" null null null
)--"},
        {"Bcc: \"Doe, J.: friends\": a@b, c@d\n", R"--(
SetProperty "bcc" "\"Doe, J.: friends\": a@b, c@d" 7bit
Set_To "bcc" "Doe, J.: friends : a@b" null "a@b"
Set_To "bcc" "Doe, J.: friends : a@b, c@d" null "c@d"
Set_To "bcc" null null null
)--"},
        {"To: g: , a@b ; h: c@d\n", R"--(
SetProperty "To" "g: , a@b ; h: c@d" 7bit
Set_To "To" "g: , a@b ; h: c@d" null null
Set_To "To" "g: , a@b" null "a@b"
Set_To "To" null null null
)--"},
        {"To: ,, a@b,\n", R"--(
SetProperty "To" ",, a@b," 7bit
Set_To "To" ",, a@b," null null
Set_To "To" ",, a@b," null null
Set_To "To" ",, a@b" null "a@b"
Set_To "To" ",, a@b," null null
Set_To "To" null null null
)--"},
        // A text that was edited is still whole where nothing was found in it.
        {"To: (c), a@b (d), , e@f\n", R"--(
SetProperty "To" "(c), a@b (d), , e@f" 7bit
Set_To "To" ", a@b (d), , e@f" null null
Set_To "To" ", a@b" null "a@b"
Set_To "To" ", a@b, , e@f" null null
Set_To "To" ", a@b, , e@f" null "e@f"
Set_To "To" null null null
)--"},
        {"To: <555 1234>\nX-To-ZR700Fax: <555 1234>\nX-cc-BureauSphere: g: <1>, <2>;\n", R"--(
SetProperty "To" "<555 1234>" 7bit
Set_To "To" "<555 1234>" null null
Set_To "To" null null null
SetProperty "X-To-ZR700Fax" "<555 1234>" 7bit
Set_To "X-To-ZR700Fax" "<555 1234" null "555 1234"
Set_To "X-To-ZR700Fax" null null null
SetProperty "X-Cc-BureauSphere" "g: <1>, <2>;" 7bit
Set_To "X-Cc-BureauSphere" "g: <1" null "1"
Set_To "X-Cc-BureauSphere" "g: <1>, <2" null "2"
Set_To "X-Cc-BureauSphere" null null null
)--"},
        {"Disposition-Notification-To: a@b, c@d\n", R"--(
Set_Disposition_notification_to "a@b" null "a@b"
Set_Disposition_notification_to null null null
)--"},
        {"Disposition-Notification-To: g: a@b, C <c@d>;, e@f\n", R"--(
Set_Disposition_notification_to "g: a@b" null "a@b"
Set_Disposition_notification_to "g: a@b, C" "C" "c@d"
Set_Disposition_notification_to null null null
)--"},
    });
}

TEST(Fields, of_dates_and_ids) {
    expect_calls({
        {"Date: (x) Tue, 1 Jul 2003 10:52:37 +0200 (MEST)\n", R"--(
Set_Date "Date" " Tue, 1 Jul 2003 10:52:37 +0200 (MEST)" 2003-07-01T08:52:37 weekday 2
)--"},
        {"Resent-Date: Fri, 31 Dec 1999 23:30:00 -0100\nDate: soon\n", R"--(
Set_Date "Resent-Date" "Fri, 31 Dec 1999 23:30:00 -0100" 2000-01-01T00:30:00 weekday 6
Set_Date "Date" "soon" now
)--"},
        {"Message-ID: (x) <a@b> (comment)\nResent-Message-Id: <a@b\nMessage-Id: abc (d)\n", R"--(
Set_Message_Id "Message-Id" "a@b"
Set_Message_Id "Resent-Message-Id" "a@b"
Set_Message_Id "Message-Id" "abc (d)"
)--"},
        {"Message-Id: <> x\nMessage-Id:\nContent-ID: <a<b>@c>\nContent-ID: (x) d\n", R"--(
Set_Message_Id "Message-Id" " x"
Set_Message_Id "Message-Id" ""
Set_Content_Id "a<b>@c"
Set_Content_Id "d"
)--"},
    });
}

TEST(Fields, of_text) {
    expect_calls({
        {"Return-Path: (x) <a@b> (y)\nReceived: from a by b; now\nIn-Reply-To: <a> (b)\n"
         "References: <a> <b>\nKeywords: a, \"b\"\nEncrypted: a\nMIME-Version: (p) 1.0 (by q)\n",
         R"--(
Set_Return_Path "<a@b> (y)"
Set_Received "from a by b; now"
Set_In_Reply_To "<a> (b)"
Set_References "<a> <b>"
Set_Keywords "a, \"b\""
Set_Encrypted "a"
Set_MIME_Version "1.0 (by q)"
)--"},
        {"Received:\nReceived: (only a comment\n", R"--(
Set_Received ""
Set_Received ""
)--"},
        {"Subject: Re: =?iso-8859-1?Q?=E9?= =?x-wide?Q?a?= (b) \"c\"\nComments: =?x-same?Q?\n"
         "SUBJECT: =?x-other?Q?a?=\nSubject:\n",
         R"--(
Set_Subject "Re: \xC3\xA9a.......... (b) \"c\""
Set_Comments "=?x-same?Q?"
Set_Subject "=?x-other?Q?a?="
Set_Subject ""
)--"},
        // Fields without a parser keep their own spelling.
        {"x-Thing: =?x-same?Q?a_b?=  c \nOriginal-Recipient: r\n: x\nno field\nX Y: z\n\xC9t\xE9: "
         "a\n",
         R"--(
SetProperty "x-Thing" "a b  c"
SetProperty "Original-Recipient" "r"
SetProperty null "x"
SetProperty "\xC9t\xE9" "a"
)--"},
        {"(a) Subject (b) : =?x-same?Q?x?=\n  =?x-same?Q?y?=\n", R"--(
Set_Subject "xy"
)--"},
        {"Importance: (x) high (y) z\nPriority: bogus/1\nSensitivity:\nImportance: =\n", R"--(
Set_Importance "high"
Set_Priority "bogus"
)--"},
        // A text without an end in the header is a text all the same.
        {"Subject: a\\", R"--(
Set_Subject "a\\"
)--"},
    });
}

TEST(Fields, of_content) {
    expect_calls({
        {"Content-Transfer-Encoding: (x) BASE64 (y)\nContent-Transfer-Encoding: rot13\n"
         "Content-Transfer-Encoding:\nContent-Transfer-Encoding: x-UUEncode\n",
         R"--(
Set_Content_Transfer_Encoding "base64"
Set_Content_Transfer_Encoding "7bit"
Set_Content_Transfer_Encoding "7bit"
Set_Content_Transfer_Encoding "x-uuencode"
)--"},
        {"Content-Description: <data.bin>\nContent-Description: a <b>\n"
         "Content-Description: =?x-same?Q?(c)<d>_e?=\nContent-Description: (x) <f\n",
         R"--(
SetFileName "Content-Description" "data.bin"
Set_Content_Description "<data.bin>"
Set_Content_Description "a <b>"
SetFileName "Content-Description" "d"
Set_Content_Description "<d> e"
SetFileName "Content-Description" "f"
Set_Content_Description " <f"
)--"},
        {"Content-Disposition: attachment; size=5\n", R"--(
SetProperty "Content-Disposition" "attachment; size=5" 7bit
Set_Content_Disposition "attachment; size=5" "attachment" null
)--"},
        {"Content-Disposition: weird; a=\"b;c\" ; FileName*=no; FileName=\"x\\\"y\"; filename=z\n",
         R"--(
SetProperty "Content-Disposition" "weird; a=\"b;c\" ; FileName*=no; FileName=\"x\\\"y\"; filename=z" 7bit
SetFileName "Content-Disposition" "x\"y"
Set_Content_Disposition "weird; a=b;c  ; FileName*=no; FileName=x\"y ; filename=z" "attachment" "x\"y"
)--"},
        {"Content-Disposition: weird\nContent-Disposition:\n", R"--(
SetProperty "Content-Disposition" "weird" 7bit
Set_Content_Disposition "weird" "inline" null
SetProperty "Content-Disposition" "" 7bit
Set_Content_Disposition "" "inline" null
)--"},
        {"Content-Disposition: INLINE; filename==?iso-8859-1?Q?=E9=2Etxt?=; x\n", R"--(
SetProperty "Content-Disposition" "INLINE; filename==?iso-8859-1?Q?=E9=2Etxt?=; x" 7bit
SetFileName "Content-Disposition" "\xC3\xA9.txt"
Set_Content_Disposition "INLINE; filename=\xC3\xA9.txt; x" "inline" "\xC3\xA9.txt"
)--"},
        {"Content-Disposition: attachment; filename=\"=?x-wide?Q?a?= =?x-wide?Q?b?=\"\n", R"--(
SetProperty "Content-Disposition" "attachment; filename=\"=?x-wide?Q?a?= =?x-wide?Q?b?=\"" 7bit
SetFileName "Content-Disposition" "a..........b.........."
Set_Content_Disposition "attachment; filename=a..........b.........." "attachment" "a..........b.........."
)--"},
    });
}

TEST(Fields, content_type) {
    expect_calls({
        {"Content-Type: TEXT / (x) PLAIN (y); CHARSET=\"iso-8859-1\"; charset=x; name=a.txt\n",
         R"--(
SetProperty "Content-Type" "TEXT / (x) PLAIN (y); CHARSET=\"iso-8859-1\"; charset=x; name=a.txt" 7bit
SetParameter "Content-Type" "charset" "iso-8859-1"
SetFileName "Content-Type" "a.txt"
Set_Content_Type "TEXT /  PLAIN ; CHARSET=iso-8859-1 ; charset=x; name=a.txt" "text" "plain"
)--"},
        {"Content-Type: text\nContent-Type: image\nContent-Type: image jpeg\n"
         "Content-Type: application\nContent-Type:\n",
         R"--(
SetProperty "Content-Type" "text" 7bit
Set_Content_Type "text" "text" "plain"
SetProperty "Content-Type" "image" 7bit
Set_Content_Type "image" "image" null
SetProperty "Content-Type" "image jpeg" 7bit
Set_Content_Type "image jpeg" "image" "JPEG"
SetProperty "Content-Type" "application" 7bit
Set_Content_Type "application" "application" "octet-stream"
SetProperty "Content-Type" "" 7bit
)--"},
        {"Content-Type: application/X-Field-Test; Name=\"a b.txt\"; x; name=c\n"
         "Content-Type: Application/x-FIELD-test; name=\n",
         R"--(
SetProperty "Content-Type" "application/X-Field-Test; Name=\"a b.txt\"; x; name=c" 7bit
SetFileName "Content-Type" "a b.txt"
Set_Content_Type "application/X-Field-Test; Name=a b.txt ; x; name=c" "application" "X-Field-Test"
SetProperty "Content-Type" "Application/x-FIELD-test; name=" 7bit
Set_Content_Type "Application/x-FIELD-test; name=" "application" "X-Field-Test"
)--"},
        {"Content-Type: text/html; charset; charset=utf-8\n", R"--(
SetProperty "Content-Type" "text/html; charset; charset=utf-8" 7bit
Set_Content_Type "text/html; charset; charset=utf-8" "text" "html"
)--"},
        {"Content-Type: multipart/mixed; a=b; boundary=a:b?c; boundary=d\n", R"--(
SetProperty "Content-Type" "multipart/mixed; a=b; boundary=a:b?c; boundary=d" 7bit
SetParameter "Content-Type" "boundary" "a:b?c"
Set_Content_Type "multipart/mixed; a=b; boundary=a:b?c; boundary=d" "multipart" "mixed"
)--"},
        // The field's quotes are still there when it is reported.
        {"Content-Type: message/external-body; access-type=ANON-FTP; Site=\"a b\"; directory=c/d;"
         " name=e\n",
         R"--(
Set_URL "ftp://a b/c/d/e"
SetProperty "Content-Type" "message/external-body; access-type=ANON-FTP; Site=\"a b\"; directory=c/d; name=e" 7bit
SetParameter "Content-Type" "access-type" "ANON-FTP"
SetParameter "Content-Type" "Site" "a b"
SetParameter "Content-Type" "directory" "c/d"
SetParameter "Content-Type" "name" "e"
SetFileName "Content-Type" "e"
Set_Content_Type "message/external-body; access-type=ANON-FTP; Site=a b ; directory=c/d; name=e" "message" "external-body"
)--"},
        {"Content-Type: message/external-body; access-type=anon-ftp; name=e; site=s\n", R"--(
Set_URL "ftp://s/e"
SetProperty "Content-Type" "message/external-body; access-type=anon-ftp; name=e; site=s" 7bit
SetParameter "Content-Type" "access-type" "anon-ftp"
SetParameter "Content-Type" "name" "e"
SetParameter "Content-Type" "site" "s"
SetFileName "Content-Type" "e"
Set_Content_Type "message/external-body; access-type=anon-ftp; name=e; site=s" "message" "external-body"
)--"},
        {"Content-Type: message/external-body; access-type=ftp; site=s; name=c\n", R"--(
SetProperty "Content-Type" "message/external-body; access-type=ftp; site=s; name=c" 7bit
SetParameter "Content-Type" "access-type" "ftp"
SetParameter "Content-Type" "site" "s"
SetParameter "Content-Type" "name" "c"
SetFileName "Content-Type" "c"
Set_Content_Type "message/external-body; access-type=ftp; site=s; name=c" "message" "external-body"
)--"},
    });
}

/// A fragment within a multipart is data; its parameters are reported each time they occur.
TEST(Fields, content_type_of_a_fragment_in_a_part) {
    std::string const text = "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
                             "Content-Type: MESSAGE/Partial; ID=\"x y\"; number=2; TOTAL=3; "
                             "other=4; number=9999999999\n\n"
                             "data\n--b--\n";
    std::string const expected = R"--(
SetProperty "Content-Type" "MESSAGE/Partial; ID=\"x y\"; number=2; TOTAL=3; other=4; number=9999999999" 7bit
SetParameter "Content-Type" "id" "x y"
SetParameter "Content-Type" "number" "2"
SetParameter "Content-Type" "total" "3"
SetParameter "Content-Type" "number" "9999999999"
Set_Content_Type "MESSAGE/Partial; ID=x y ; number=2; TOTAL=3; other=4; number=9999999999" "message" "partial"
)--";
    EXPECT_NE(transcript_of(text).find(expected), std::string::npos) << transcript_of(text);
}

/// What the fields leave in the run for the walk of the body.
TEST(Fields, leave_their_values_in_the_run) {
    struct {
        char const * header;
        char const * transfer_encoding;
        char const * disposition;
        NLS_CharSet * charset;
        int number;
        int total;
    } const rows[] = {
        {"Subject: x\n", nullptr, nullptr, nullptr, 0, 0},
        {"Content-Type: text/plain\nContent-Transfer-Encoding: QUOTED-PRINTABLE\n",
         RFC1521::quoted_printable, nullptr, &NLS::US_ASCII, 0, 0},
        {"Content-Type: text/x; charset=UTF-8\nContent-Disposition: attachment\n", nullptr,
         RFC1806::attachment, &NLS::UTF_8, 0, 0},
        {"Content-Type: image/jpeg; charset=UTF-8\nContent-Disposition: weird; filename=x\n",
         nullptr, RFC1806::attachment, nullptr, 0, 0},
        {"Content-Type: text/x; charset=UTF-8\nContent-Type: image/x\n", nullptr, nullptr, nullptr,
         0, 0},
        // The first reading takes the last number, the second keeps it.
        {"Content-Type: multipart/mixed; boundary=b\n\n--b\n"
         "Content-Type: message/partial; id=a; number=2; number=3; total=x; total=5; id=c\n",
         RFC1521::ASCII_7bit, nullptr, nullptr, 3, 5},
        {"Content-Type: multipart/mixed; boundary=b\n\n--b\n"
         "Content-Type: message/partial; number=99999999999; total=-99999999999\n",
         RFC1521::ASCII_7bit, nullptr, nullptr, INT_MAX, INT_MIN},
    };
    for (auto const & row : rows) {
        ExactCopy const copy(std::string(row.header) + "\n");
        iSimpleStream input(copy.begin(), copy.end());
        MimeINote note(input);
        MimeReceiver run(&note, &input, nullptr, false, nullptr);
        run.Get_message();
        EXPECT_EQ(run.transfer_encoding, row.transfer_encoding) << row.header;
        EXPECT_EQ(run.disposition, row.disposition) << row.header;
        EXPECT_EQ(run.body_charset, row.charset) << row.header;
        EXPECT_EQ(run.partial_number, row.number) << row.header;
        EXPECT_EQ(run.partial_total, row.total) << row.header;
    }
}

/// A file name is good until the next field of its kind.
TEST(Fields, file_names_outlive_their_call) {
    class Names : public MimeINote {
    public:
        using MimeINote::MimeINote;
        std::vector<char const *> names;
        std::string at_end;

    protected:
        void SetFileName(char const *, char const * name) override { names.push_back(name); }
        void EndPart(MimeContext &) override {
            for (char const * name : names)
                at_end.append(name).append(1, ' ');
        }
    };
    ExactCopy const copy("Content-Type: a/b; name=one\nContent-Disposition: c; filename=\"two\"\n"
                         "Content-Description: <three>\nSubject: x\n\n");
    iSimpleStream input(copy.begin(), copy.end());
    Names note(input);
    note.Receive();
    EXPECT_EQ(note.at_end, "one two three ");
}

} // namespace
