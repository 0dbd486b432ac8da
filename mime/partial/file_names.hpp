// mime/partial/file_names.hpp - the names of the files of a partial store
//
//     MailPart.Ndx            the index
//     Msg0001A.003            fragment 3 of message 26: hexadecimal, 20 and 12 bits
//     MailPart.XXXXXXXX.tmp   a file that is being written, and gets its name when it is whole
//
// A name says only the low bits of the numbers; the index and the fragment's first line have them
// in full.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vellum {

inline constexpr char index_file_name[] = "MailPart.Ndx";

/// What a fragment file's name holds: the numbers, cut to their low bits. Two fragments with equal
/// keys would be one file.
struct FragmentKey {
    int message;
    int fragment;

    bool operator==(FragmentKey const &) const = default;
};

inline constexpr int message_key_bits = 20;
inline constexpr int fragment_key_bits = 12;

FragmentKey fragment_key(int message, int fragment);

std::string fragment_file_name(FragmentKey key);

/// The key that fragment_file_name makes this name from; empty for any other name.
std::optional<FragmentKey> parse_fragment_file_name(std::string_view name);

/// A name for a file that is being written. `attempt` tells apart those that one thread makes at
/// one moment.
std::string scratch_file_name(unsigned int attempt);
bool is_scratch_file_name(std::string_view name);

} // namespace vellum
