// bench/messages.cpp - the messages that are measured, made in memory, the same in every run
#include "bench/messages.hpp"

#include "mime/codec/base64.hpp"
#include "mime/codec/quoted_printable.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <random>
#include <sstream>

namespace bench {

namespace {

std::mt19937 & generator() {
    static std::mt19937 instance(42);
    return instance;
}

int between(int low, int high) {
    return low + static_cast<int>(generator()() % static_cast<unsigned>(high - low + 1));
}

std::string word(bool accent) {
    std::string result;
    for (int i = between(2, 11); i > 0; --i)
        result += static_cast<char>('a' + between(0, 25));
    return accent ? "\xC3\xA9" + result : result;
}

template <class Encoder>
std::string encoded(std::string data) {
    std::ostringstream sink;
    char block[4096];
    oSimpleStream out(block, static_cast<int>(sizeof block), &sink);
    {
        Encoder encoder;
        iSimpleStream in(data.data(), data.data() + data.size());
        encoder.encode(&in, &out);
    }
    out.flush();
    return std::move(sink).str();
}

std::string header(std::string const & extra) {
    return "Received: from mx1.example.net (mx1.example.net [192.0.2.10])\r\n"
           "\tby mail.example.org (8.14) with ESMTP id 4xAbC123\r\n"
           "\tfor <someone@example.org>; Tue, 13 Jan 2026 08:15:22 +0100\r\n"
           "Received: by 10.0.0.7 with SMTP id q12; Tue, 13 Jan 2026 07:15:20 +0000\r\n"
           "Return-Path: <news@example.net>\r\n"
           "Date: Tue, 13 Jan 2026 08:15:20 +0100\r\n"
           "From: \"Example News, Daily\" <news@example.net>\r\n"
           "To: Some One <someone@example.org>, other@example.org\r\n"
           "Cc: \"Third Person\" <third@example.com>\r\n"
           "Subject: =?utf-8?Q?Caf=C3=A9_menu?= for the week of January 12\r\n"
           "Message-Id: <20260113071520.4xAbC123@example.net>\r\n"
           "MIME-Version: 1.0\r\n"
           "X-Mailer: Example Mailer 4.2\r\n"
           "List-Unsubscribe: <https://example.net/u/abc>\r\n" +
           extra;
}

std::string const boundary = "=_a_boundary_42";

std::string multipart(std::string const & subtype) {
    return header("Content-Type: multipart/" + subtype + "; boundary=\"" + boundary + "\"\r\n") +
           "\r\n";
}

std::string part(std::string const & fields, std::string const & body) {
    return "--" + boundary + "\r\n" + fields + "\r\n" + body + "\r\n";
}

std::string end() { return "--" + boundary + "--\r\n"; }

std::string const utf8_qp = "Content-Type: text/plain; charset=utf-8\r\n"
                            "Content-Transfer-Encoding: quoted-printable\r\n";

} // namespace

std::string text_of(std::size_t size, bool accents) {
    std::string result;
    while (result.size() < size) {
        for (int i = between(6, 9); i > 0; --i) {
            result += word(accents && i == 3 && between(0, 9) < 6);
            result += i > 1 ? " " : "\r\n";
        }
    }
    return result;
}

std::string bytes_of(std::size_t size) {
    std::string result;
    for (std::size_t i = 0; i < size; ++i)
        result += static_cast<char>(generator()() & 0xFF);
    return result;
}

std::string base64_attachment(std::size_t size) {
    return multipart("mixed") +
           part("Content-Type: application/octet-stream; name=a.bin\r\n"
                "Content-Transfer-Encoding: base64\r\n",
                encoded<Encoding64>(bytes_of(size))) +
           end();
}

std::string quoted_printable_text(std::size_t size) {
    return multipart("mixed") + part(utf8_qp, encoded<EncodingQP>(text_of(size, true))) + end();
}

std::string plain_text(std::size_t size) {
    return multipart("mixed") +
           part("Content-Type: text/plain; charset=us-ascii\r\n", text_of(size, false)) + end();
}

std::string many_parts(int count) {
    std::string result = multipart("mixed");
    for (int i = 0; i < count; ++i) {
        result += part("Content-Type: text/plain; charset=us-ascii; name=\"p" + std::to_string(i) +
                           ".txt\"\r\nContent-Transfer-Encoding: base64\r\n",
                       encoded<Encoding64>(bytes_of(1500)));
    }
    return result + end();
}

std::string many_fields(int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        std::string const number = std::to_string(i);
        result += "X-Trace-" + number + ": step " + number + " of the journey; node=n" +
                  std::to_string(i % 97) + ".example.net (relay " + number + ") done\r\n";
    }
    return result + header("") + "\r\nhi\r\n";
}

std::vector<std::string> small_messages(int count) {
    std::vector<std::string> result;
    for (int i = 0; i < count; ++i) {
        result.push_back(
            multipart("alternative") + part(utf8_qp, encoded<EncodingQP>(text_of(4000, true))) +
            part("Content-Type: text/html; charset=utf-8\r\n"
                 "Content-Transfer-Encoding: quoted-printable\r\n",
                 encoded<EncodingQP>("<html><body>" + text_of(6000, true) + "</body></html>\r\n")) +
            end());
    }
    return result;
}

} // namespace bench
