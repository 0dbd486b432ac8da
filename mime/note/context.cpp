// mime/note/context.cpp - the place reached in a message, as both notes show it to a client
#include "mime/note/context.hpp"

#include "mime/note/position.hpp"

#include <limits>
#include <utility>

MimeClientCookie::~MimeClientCookie() = default;

void MimeClientCookie::Delete() { delete this; }

MimeContextItem::MimeContextItem(char const * type_text, char const * subtype_text,
                                 char const * disposition_text, MimeClientCookie * client_cookie)
    : type(SymToken::Interned{type_text}), subtype(SymToken::Interned{subtype_text}),
      disposition(SymToken::Interned{disposition_text}), cookie(client_cookie) {}

MimeContextItem::~MimeContextItem() {
    if (MimeClientCookie * const old = std::exchange(cookie, nullptr)) old->Delete();
}

MimeContext::MimeContext(int message_level, int multipart_level, int atomic, int number,
                         MimeContextItem * own, MimeContextItem * parent)
    : message_depth(message_level), multipart_depth(multipart_level), atomic_count(atomic),
      part_number(number), item(own), parent_item(parent), part_start(-1), part_end(-1),
      header_start(-1), header_end(-1), body_start(-1), body_end(-1), body_start_line(-1),
      body_end_line(-1), exact{-1, -1, -1, -1, -1, -1, -1, -1} {}

void vellum::mirror_positions(MimeContext & context) {
    auto const narrow = [](long long value) {
        constexpr int limit = std::numeric_limits<int>::max();
        return value < limit ? static_cast<int>(value) : limit;
    };
    MimeContext::Exact const & exact = context.exact;
    context.part_start = narrow(exact.part_start);
    context.part_end = narrow(exact.part_end);
    context.header_start = narrow(exact.header_start);
    context.header_end = narrow(exact.header_end);
    context.body_start = narrow(exact.body_start);
    context.body_end = narrow(exact.body_end);
    context.body_start_line = narrow(exact.body_start_line);
    context.body_end_line = narrow(exact.body_end_line);
}
