// bench/peer_gmime.cpp - the peer: GMime reads the same messages, every field and every body
#include "bench/workloads.hpp"

#include <gmime/gmime.h>

namespace {

void use_headers(GMimeObject * object) {
    GMimeHeaderList * const list = g_mime_object_get_header_list(object);
    for (int i = 0, count = g_mime_header_list_get_count(list); i < count; ++i) {
        benchmark::DoNotOptimize(
            g_mime_header_get_value(g_mime_header_list_get_header_at(list, i)));
    }
}

void use_part(GMimeObject *, GMimeObject * part, gpointer sink) {
    use_headers(part);
    if (!GMIME_IS_PART(part)) return;
    if (GMimeDataWrapper * const content = g_mime_part_get_content(GMIME_PART(part))) {
        g_mime_data_wrapper_write_to_stream(content, static_cast<GMimeStream *>(sink));
    }
}

void receive(std::string const & message) {
    static bool const initialised = (g_mime_init(), true);
    benchmark::DoNotOptimize(initialised);
    GMimeStream * const in = g_mime_stream_mem_new_with_buffer(message.data(), message.size());
    GMimeParser * const parser = g_mime_parser_new_with_stream(in);
    GMimeMessage * const parsed = g_mime_parser_construct_message(parser, nullptr);
    GMimeStream * const sink = g_mime_stream_null_new();
    use_headers(GMIME_OBJECT(parsed));
    g_mime_message_foreach(parsed, use_part, sink);
    g_object_unref(sink);
    g_object_unref(parsed);
    g_object_unref(parser);
    g_object_unref(in);
}

} // namespace

static bool const registered = bench::register_reading("gmime", receive);
