// mime/foundation/tokens.cpp - the texts of the protocol words
//
// constinit: a client's own static initialisation, in whatever order it runs, finds every token
// set.
#include "mime/foundation/tokens.hpp"

namespace {

/// Named, as two members have to share one address.
constexpr char rfc822_text[] = "RFC822";

} // namespace

constinit char const * const RFC822::Comments = "Comments";
constinit char const * const RFC822::Date = "Date";
constinit char const * const RFC822::Encrypted = "Encrypted";
constinit char const * const RFC822::From = "From";
constinit char const * const RFC822::In_Reply_To = "In-Reply-To";
constinit char const * const RFC822::Keywords = "Keywords";
constinit char const * const RFC822::Message_Id = "Message-Id";
constinit char const * const RFC822::Received = "Received";
constinit char const * const RFC822::References = "References";
constinit char const * const RFC822::Reply_To = "Reply-To";
constinit char const * const RFC822::Resent_Date = "Resent-Date";
constinit char const * const RFC822::Resent_From = "Resent-From";
constinit char const * const RFC822::Resent_Message_Id = "Resent-Message-Id";
constinit char const * const RFC822::Resent_Reply_To = "Resent-Reply-To";
constinit char const * const RFC822::Resent_Sender = "Resent-Sender";
constinit char const * const RFC822::Resent_To = "Resent-To";
constinit char const * const RFC822::Resent_bcc = "Resent-bcc";
constinit char const * const RFC822::Resent_cc = "Resent-cc";
constinit char const * const RFC822::Return_Path = "Return-Path";
constinit char const * const RFC822::Sender = "Sender";
constinit char const * const RFC822::Subject = "Subject";
constinit char const * const RFC822::To = "To";
constinit char const * const RFC822::cc = "cc";
constinit char const * const RFC822::bcc = "bcc";
constinit char const * const RFC822::Sun = "Sun";
constinit char const * const RFC822::Mon = "Mon";
constinit char const * const RFC822::Tue = "Tue";
constinit char const * const RFC822::Wed = "Wed";
constinit char const * const RFC822::Thu = "Thu";
constinit char const * const RFC822::Fri = "Fri";
constinit char const * const RFC822::Sat = "Sat";
constinit char const * const RFC822::Jan = "Jan";
constinit char const * const RFC822::Feb = "Feb";
constinit char const * const RFC822::Mar = "Mar";
constinit char const * const RFC822::Apr = "Apr";
constinit char const * const RFC822::May = "May";
constinit char const * const RFC822::Jun = "Jun";
constinit char const * const RFC822::Jul = "Jul";
constinit char const * const RFC822::Aug = "Aug";
constinit char const * const RFC822::Sep = "Sep";
constinit char const * const RFC822::Oct = "Oct";
constinit char const * const RFC822::Nov = "Nov";
constinit char const * const RFC822::Dec = "Dec";
constinit char const * const RFC822::XXX = "???";

constinit char const * const RFC1521::Content_Description = "Content-Description";
constinit char const * const RFC1521::Content_Id = "Content-Id";
constinit char const * const RFC1521::Content_Transfer_Encoding = "Content-Transfer-Encoding";
constinit char const * const RFC1521::Content_Type = "Content-Type";
constinit char const * const RFC1521::GIF = "GIF";
constinit char const * const RFC1521::ISO_8859_1 = "ISO-8859-1";
constinit char const * const RFC1521::ISO_8859_2 = "ISO-8859-2";
constinit char const * const RFC1521::ISO_8859_3 = "ISO-8859-3";
constinit char const * const RFC1521::ISO_8859_4 = "ISO-8859-4";
constinit char const * const RFC1521::ISO_8859_5 = "ISO-8859-5";
constinit char const * const RFC1521::ISO_8859_6 = "ISO-8859-6";
constinit char const * const RFC1521::ISO_8859_7 = "ISO-8859-7";
constinit char const * const RFC1521::ISO_8859_8 = "ISO-8859-8";
constinit char const * const RFC1521::ISO_8859_9 = "ISO-8859-9";
constinit char const * const RFC1521::JPEG = "JPEG";
constinit char const * const RFC1521::MIME_Version = "MIME-Version";
constinit char const * const RFC1521::MPEG = "MPEG";
constinit char const * const RFC1521::PostScript = "PostScript";
constinit char const * const RFC1521::RFC822 = rfc822_text;
constinit char const * const RFC1521::US_ASCII = "US-ASCII";
constinit char const * const RFC1521::access_type = "access-type";
constinit char const * const RFC1521::afs = "afs";
constinit char const * const RFC1521::alternative = "alternative";
constinit char const * const RFC1521::anon_ftp = "anon-ftp";
constinit char const * const RFC1521::application = "application";
constinit char const * const RFC1521::audio = "audio";
constinit char const * const RFC1521::base64 = "base64";
constinit char const * const RFC1521::basic = "basic";
constinit char const * const RFC1521::binary = "binary";
constinit char const * const RFC1521::boundary = "boundary";
constinit char const * const RFC1521::charset = "charset";
constinit char const * const RFC1521::digest = "digest";
constinit char const * const RFC1521::directory = "directory";
constinit char const * const RFC1521::expiration = "expiration";
constinit char const * const RFC1521::external_body = "external-body";
constinit char const * const RFC1521::ftp = "ftp";
constinit char const * const RFC1521::id = "id";
constinit char const * const RFC1521::image = "image";
constinit char const * const RFC1521::local_file = "local-file";
constinit char const * const RFC1521::mail_server = "mail-server";
constinit char const * const RFC1521::message = "message";
constinit char const * const RFC1521::mixed = "mixed";
constinit char const * const RFC1521::mode = "mode";
constinit char const * const RFC1521::multipart = "multipart";
constinit char const * const RFC1521::name = "name";
constinit char const * const RFC1521::number = "number";
constinit char const * const RFC1521::octet_stream = "octet-stream";
constinit char const * const RFC1521::parallel = "parallel";
constinit char const * const RFC1521::partial = "partial";
constinit char const * const RFC1521::permission = "permission";
constinit char const * const RFC1521::plain = "plain";
constinit char const * const RFC1521::quoted_printable = "quoted-printable";
constinit char const * const RFC1521::richtext = "richtext";
constinit char const * const RFC1521::server = "server";
constinit char const * const RFC1521::site = "site";
constinit char const * const RFC1521::size = "size";
constinit char const * const RFC1521::text = "text";
constinit char const * const RFC1521::tftp = "tftp";
constinit char const * const RFC1521::total = "total";
constinit char const * const RFC1521::video = "video";
constinit char const * const RFC1521::ASCII_7bit = "7bit";
constinit char const * const RFC1521::ASCII_8bit = "8bit";
constinit char const * const RFC1521::rfc822 = rfc822_text;

constinit char const * const RFC1138::Importance = "Importance";
constinit char const * const RFC1138::low = "low";
constinit char const * const RFC1138::medium = "medium";
constinit char const * const RFC1138::high = "high";
constinit char const * const RFC1138::Priority = "Priority";
constinit char const * const RFC1138::normal = "normal";
constinit char const * const RFC1138::non_urgent = "non-urgent";
constinit char const * const RFC1138::urgent = "urgent";
constinit char const * const RFC1138::Sensitivity = "Sensitivity";
constinit char const * const RFC1138::Personal = "Personal";
constinit char const * const RFC1138::Private = "Private";
constinit char const * const RFC1138::Company_Confidential = "Company-Confidential";

constinit char const * const RFC1806::Content_Disposition = "Content-Disposition";
constinit char const * const RFC1806::attachment = "attachment";
constinit char const * const RFC1806::filename = "filename";
constinit char const * const RFC1806::inLine = "inline";

constinit char const * const MDN::Disposition_notification_to = "Disposition-notification-to";
constinit char const * const MDN::Original_Message_Id = "Original-Message-Id";
constinit char const * const MDN::Original_Recipient = "Original-Recipient";
constinit char const * const MDN::Final_Recipient = "Final-Recipient";
constinit char const * const MDN::List_Recipient = "List-Recipient";
constinit char const * const MDN::Reporting_UA = "Reporting-UA";
constinit char const * const MDN::MDN_Gateway = "MDN-Gateway";
constinit char const * const MDN::delivery_status = "delivery-status";
constinit char const * const MDN::disposition_notification = "disposition-notification";
constinit char const * const MDN::Disposition = "Disposition";
constinit char const * const MDN::displayed = "displayed";
constinit char const * const MDN::processed = "processed";
constinit char const * const MDN::autoprocessed = "autoprocessed";
constinit char const * const MDN::deleted = "deleted";
constinit char const * const MDN::autodeleted = "autodeleted";
constinit char const * const MDN::obsoleted = "obsoleted";
constinit char const * const MDN::expired = "expired";
constinit char const * const MDN::terminated = "terminated";
constinit char const * const MDN::denied = "denied";
constinit char const * const MDN::autodenied = "autodenied";

constinit char const * const BureauSphere::X_From_Fax = "X-From-ZR700Fax";
constinit char const * const BureauSphere::X_From_BS = "X-From-BureauSphere";
constinit char const * const BureauSphere::X_Sender_Fax = "X-Sender-ZR700Fax";
constinit char const * const BureauSphere::X_Sender_BS = "X-Sender-BureauSphere";
constinit char const * const BureauSphere::X_Reply_To_Fax = "X-Reply-To-ZR700Fax";
constinit char const * const BureauSphere::X_Reply_To_BS = "X-Reply-To-BureauSphere";
constinit char const * const BureauSphere::X_To_Fax = "X-To-ZR700Fax";
constinit char const * const BureauSphere::X_To_BS = "X-To-BureauSphere";
constinit char const * const BureauSphere::X_bcc_Fax = "X-Bcc-ZR700Fax";
constinit char const * const BureauSphere::X_bcc_BS = "X-Bcc-BureauSphere";
constinit char const * const BureauSphere::X_cc_Fax = "X-Cc-ZR700Fax";
constinit char const * const BureauSphere::X_cc_BS = "X-Cc-BureauSphere";

constinit char const * const X::uuencode = "x-uuencode";
