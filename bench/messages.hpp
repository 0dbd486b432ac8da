// bench/messages.hpp - the messages that are measured, made in memory, the same in every run
#pragma once

#include <string>
#include <vector>

namespace bench {

/// A multipart with one attachment of `size` bytes in base64.
std::string base64_attachment(std::size_t size);
/// A multipart with one part of `size` bytes of UTF-8 text in quoted-printable.
std::string quoted_printable_text(std::size_t size);
/// A multipart with one part of `size` bytes of US-ASCII text.
std::string plain_text(std::size_t size);
/// A multipart of `count` small parts in base64.
std::string many_parts(int count);
/// A message with `count` header fields.
std::string many_fields(int count);
/// `count` typical messages of some 12 KB: multipart/alternative, quoted-printable UTF-8.
std::vector<std::string> small_messages(int count);

/// Lines of words, with CR LF; some of them with an accent if `accents` is set.
std::string text_of(std::size_t size, bool accents);
/// `size` bytes of any value.
std::string bytes_of(std::size_t size);

} // namespace bench
