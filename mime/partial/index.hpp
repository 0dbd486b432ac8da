// mime/partial/index.hpp - the messages of a partial store, in memory and as the text of its file
//
//     first number                    each line ends in one LF, numbers are decimal
//     sequence number
//     count of messages
//       length of the id              for each message, the newest first
//       id, bytes as they are
//       message number
//       total, 0 when unknown
//       count of fragments
//         length of the file name     for each fragment
//         file name with directory
//         fragment number
//
// Which file holds a fragment follows from the two numbers, so it isn't kept in memory, and a file
// name in the text counts only if it is that one.
#pragma once

#include "mime/partial/file_names.hpp"

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace vellum {

/// A message of which fragments are in the store.
struct MsgList {
    std::string id;         ///< Compared byte for byte.
    int number = 0;         ///< The first half of the files' names. It stays with the message.
    int total = 0;          ///< 0 until a fragment has given one.
    std::vector<int> parts; ///< The fragments' numbers, each one once, in no order.

    bool has_part(int part) const;
    /// Whether the fragments 1 to `total` are all there. Others don't count.
    bool is_complete() const;
};

struct PartialIndex {
    int first_number = 0;
    int sequence_number = 0; ///< The last message number that was given out.
    std::list<MsgList> messages;

    /// The message of that id; null if there is none.
    MsgList * find(std::string_view id);

    /// Whether a fragment other than fragment `part` of `message` has the file of that key.
    bool is_taken(FragmentKey key, MsgList const * message, int part) const;
};

/// A larger file is not read, so that no file can exhaust the memory.
inline constexpr std::size_t largest_index = std::size_t{256} << 20;

/// The index as text. `prefix` is what the path of each file of the store begins with.
std::string format_index(PartialIndex const & index, std::string_view prefix);

/// Reads an index. False, and `index` unspecified, for a text that is none, or not of this store.
bool parse_index(std::string_view text, std::string_view prefix, PartialIndex & index);

} // namespace vellum
