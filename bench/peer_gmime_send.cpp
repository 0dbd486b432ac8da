// bench/peer_gmime_send.cpp - the peer: GMime writes the same messages
#include "bench/writing.hpp"

#include <gmime/gmime.h>

namespace {

GMimePart * make_part(bench::Letter const & letter, std::string const & body) {
    GMimePart * const part = letter.is_text
                                 ? g_mime_part_new_with_type("text", "plain")
                                 : g_mime_part_new_with_type("application", "octet-stream");
    GMimeStream * const stream = g_mime_stream_mem_new_with_buffer(body.data(), body.size());
    GMimeDataWrapper * const content =
        g_mime_data_wrapper_new_with_stream(stream, GMIME_CONTENT_ENCODING_DEFAULT);
    g_mime_part_set_content(part, content);
    g_mime_part_set_content_encoding(part, letter.is_text ? GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE
                                                          : GMIME_CONTENT_ENCODING_BASE64);
    g_object_unref(content);
    g_object_unref(stream);
    return part;
}

void write(bench::Letter const & letter) {
    static bool const initialised = (g_mime_init(), true);
    benchmark::DoNotOptimize(initialised);
    GMimeMessage * const message = g_mime_message_new(TRUE);
    GMimeMultipart * const multipart = g_mime_multipart_new_with_subtype("mixed");
    for (auto const & body : letter.bodies) {
        GMimePart * const part = make_part(letter, body);
        g_mime_multipart_add(multipart, GMIME_OBJECT(part));
        g_object_unref(part);
    }
    g_mime_message_set_mime_part(message, GMIME_OBJECT(multipart));
    GMimeStream * const sink = g_mime_stream_null_new();
    g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, sink);
    g_object_unref(sink);
    g_object_unref(multipart);
    g_object_unref(message);
}

} // namespace

static bool const registered = bench::register_writing("gmime", write, false);
