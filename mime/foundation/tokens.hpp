// mime/foundation/tokens.hpp - the words of the mail protocol, one home and one address for each
//
// A token class is a namespace of constants. A member is named by its text with each "-" written
// as "_"; where that is not so, the text stands behind it. The pointers and their texts exist
// before any code of the process runs and live as long as the library is loaded.
//
// The words that SymbolTable::Init loads are interned by these very pointers, so a SymToken of such
// a word compares with the member by pointer. All others (days and months, parameter names, access
// types, character sets) are plain strings to compare as text.
#pragma once

#include "mime/export.hpp"

/// Header field names, day names and month names of RFC 822.
class VELLUM_EXPORT RFC822 {
public:
    static char const * const Comments;
    static char const * const Date;
    static char const * const Encrypted;
    static char const * const From;
    static char const * const In_Reply_To;
    static char const * const Keywords;
    static char const * const Message_Id;
    static char const * const Received;
    static char const * const References;
    static char const * const Reply_To;
    static char const * const Resent_Date;
    static char const * const Resent_From;
    static char const * const Resent_Message_Id;
    static char const * const Resent_Reply_To;
    static char const * const Resent_Sender;
    static char const * const Resent_To;
    static char const * const Resent_bcc;
    static char const * const Resent_cc;
    static char const * const Return_Path;
    static char const * const Sender;
    static char const * const Subject;
    static char const * const To;
    static char const * const cc;
    static char const * const bcc;
    static char const * const Sun;
    static char const * const Mon;
    static char const * const Tue;
    static char const * const Wed;
    static char const * const Thu;
    static char const * const Fri;
    static char const * const Sat;
    static char const * const Jan;
    static char const * const Feb;
    static char const * const Mar;
    static char const * const Apr;
    static char const * const May;
    static char const * const Jun;
    static char const * const Jul;
    static char const * const Aug;
    static char const * const Sep;
    static char const * const Oct;
    static char const * const Nov;
    static char const * const Dec;
    static char const * const XXX; // "???"
};

/// MIME field names, media types and subtypes, transfer encodings, parameter names, access types
/// and the standard character sets of RFC 1521.
class VELLUM_EXPORT RFC1521 {
public:
    static char const * const Content_Description;
    static char const * const Content_Id;
    static char const * const Content_Transfer_Encoding;
    static char const * const Content_Type;
    static char const * const GIF;
    static char const * const ISO_8859_1;
    static char const * const ISO_8859_2;
    static char const * const ISO_8859_3;
    static char const * const ISO_8859_4;
    static char const * const ISO_8859_5;
    static char const * const ISO_8859_6;
    static char const * const ISO_8859_7;
    static char const * const ISO_8859_8;
    static char const * const ISO_8859_9;
    static char const * const JPEG;
    static char const * const MIME_Version;
    static char const * const MPEG;
    static char const * const PostScript;
    static char const * const RFC822;
    static char const * const US_ASCII;
    static char const * const access_type;
    static char const * const afs;
    static char const * const alternative;
    static char const * const anon_ftp;
    static char const * const application;
    static char const * const audio;
    static char const * const base64;
    static char const * const basic;
    static char const * const binary;
    static char const * const boundary;
    static char const * const charset;
    static char const * const digest;
    static char const * const directory;
    static char const * const expiration;
    static char const * const external_body;
    static char const * const ftp;
    static char const * const id;
    static char const * const image;
    static char const * const local_file;
    static char const * const mail_server;
    static char const * const message;
    static char const * const mixed;
    static char const * const mode;
    static char const * const multipart;
    static char const * const name;
    static char const * const number;
    static char const * const octet_stream;
    static char const * const parallel;
    static char const * const partial;
    static char const * const permission;
    static char const * const plain;
    static char const * const quoted_printable;
    static char const * const richtext;
    static char const * const server;
    static char const * const site;
    static char const * const size;
    static char const * const text;
    static char const * const tftp;
    static char const * const total;
    static char const * const video;
    static char const * const ASCII_7bit; // "7bit"
    static char const * const ASCII_8bit; // "8bit"

    /// The same text at the same address as RFC822, under a second name.
    static char const * const rfc822;
};

/// The fields Importance, Priority and Sensitivity of RFC 1138, with their values.
class VELLUM_EXPORT RFC1138 {
public:
    static char const * const Importance;
    static char const * const low;
    static char const * const medium;
    static char const * const high;
    static char const * const Priority;
    static char const * const normal;
    static char const * const non_urgent;
    static char const * const urgent;
    static char const * const Sensitivity;
    static char const * const Personal;
    static char const * const Private;
    static char const * const Company_Confidential;
};

/// Content-Disposition of RFC 1806, with its values and its file name parameter.
class VELLUM_EXPORT RFC1806 {
public:
    static char const * const Content_Disposition;
    static char const * const attachment;
    static char const * const filename;
    static char const * const inLine; // "inline"
};

/// Fields, subtypes and disposition values of message disposition notifications (RFC 2298).
class VELLUM_EXPORT MDN {
public:
    static char const * const Disposition_notification_to;
    static char const * const Original_Message_Id;
    static char const * const Original_Recipient;
    static char const * const Final_Recipient;
    static char const * const List_Recipient;
    static char const * const Reporting_UA;
    static char const * const MDN_Gateway;
    static char const * const delivery_status;
    static char const * const disposition_notification;
    static char const * const Disposition;
    static char const * const displayed;
    static char const * const processed;
    static char const * const autoprocessed;
    static char const * const deleted;
    static char const * const autodeleted;
    static char const * const obsoleted;
    static char const * const expired;
    static char const * const terminated;
    static char const * const denied;
    static char const * const autodenied;
};

/// Private "X-" address fields.
class VELLUM_EXPORT BureauSphere {
public:
    static char const * const X_From_Fax;     // "X-From-ZR700Fax"
    static char const * const X_From_BS;      // "X-From-BureauSphere"
    static char const * const X_Sender_Fax;   // "X-Sender-ZR700Fax"
    static char const * const X_Sender_BS;    // "X-Sender-BureauSphere"
    static char const * const X_Reply_To_Fax; // "X-Reply-To-ZR700Fax"
    static char const * const X_Reply_To_BS;  // "X-Reply-To-BureauSphere"
    static char const * const X_To_Fax;       // "X-To-ZR700Fax"
    static char const * const X_To_BS;        // "X-To-BureauSphere"
    static char const * const X_bcc_Fax;      // "X-Bcc-ZR700Fax"
    static char const * const X_bcc_BS;       // "X-Bcc-BureauSphere"
    static char const * const X_cc_Fax;       // "X-Cc-ZR700Fax"
    static char const * const X_cc_BS;        // "X-Cc-BureauSphere"
};

/// The private transfer encoding.
class VELLUM_EXPORT X {
public:
    static char const * const uuencode; // "x-uuencode"
};
