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
//
// Cost:       a store may hold 100,000 messages, of which a fragment changes a single one. So the
//             messages stay the text that was read, and are looked at there. A row knows where a
//             message's lines are; a message that changes gets new lines; and the text of the index
//             is put together from what lies side by side.
#pragma once

#include "mime/partial/file_names.hpp"

#include <cstddef>
#include <deque>
#include <list>
#include <memory>
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

/// A message as far as it is known without a look at its fragments.
struct IndexRow {
    std::string_view text; ///< Its lines in the index.
    std::string_view id;
    int number;
    int total;
    int count; ///< Of its fragments.

    bool may_be_complete() const { return total >= 1 && count >= total; }
};

/// Bytes in one place, which they keep. Not set to anything when they are made.
struct TextBlock {
    explicit TextBlock(std::size_t capacity)
        : bytes(std::make_unique_for_overwrite<char[]>(capacity)), size(capacity) {}
    explicit TextBlock(std::string_view text) : TextBlock(text.size()) {
        text.copy(bytes.get(), text.size());
    }

    std::string_view view() const { return {bytes.get(), size}; }

    std::unique_ptr<char[]> bytes;
    std::size_t size;
};

class PartialIndex {
public:
    static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);

    int first_number = 0;
    int sequence_number = 0; ///< The last message number that was given out.

    /// `prefix` is what the path of each file of the store begins with.
    explicit PartialIndex(std::string prefix = {}) : prefix_(std::move(prefix)) {}

    /// Takes the text of an index in the place of all that was there. False, and nothing is there,
    /// for a text that is no index.
    bool assign(TextBlock text);
    /// Whether the text that was assigned names the files that follow from its numbers, each once.
    bool names_its_files() const;

    /// The newest first. Valid until the next change.
    std::deque<IndexRow> const & rows() const { return rows_; }

    /// The place in rows() of the message of that id; `nowhere` if there is no such message.
    std::size_t find(std::string_view id) const;
    MsgList message(std::size_t place) const;

    void add(MsgList const & message);
    void replace(std::size_t place, MsgList const & message);
    /// Removes what is at the places, which are in ascending order.
    void remove(std::vector<std::size_t> const & places);
    void clear();

    /// Whether a fragment other than fragment `part` of message number `message` has the file of
    /// that key.
    bool is_taken(FragmentKey key, int message, int part) const;

    /// Calls `take` with the index as text, piece by piece.
    template <typename Take>
    void for_each_piece(Take const & take) const {
        take(head_text());
        std::string_view run; // lines that lie side by side
        for (IndexRow const & row : rows_) {
            if (run.data() + run.size() != row.text.data()) {
                take(run);
                run = {row.text.data(), 0};
            }
            run = {run.data(), run.size() + row.text.size()};
        }
        take(run);
    }
    /// The index as text.
    std::string text() const;

private:
    IndexRow row_of(MsgList const & message);
    std::string head_text() const;

    std::string prefix_;
    std::list<TextBlock> texts_; ///< Where the rows' lines are.
    std::deque<IndexRow> rows_;
};

/// A larger file is not read, so that no file can exhaust the memory.
inline constexpr std::size_t largest_index = std::size_t{256} << 20;

} // namespace vellum
