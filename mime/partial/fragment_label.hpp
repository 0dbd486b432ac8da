// mime/partial/fragment_label.hpp - the first line of a fragment file, which says what the file is
//
//     0x80 SP first-number SP number SP total SP id CR LF
//
// The id stands as it is, except that a CR, LF or NUL of it is written \r, \n or \0 and a backslash
// twice, so that the line is one line. A backslash before any other byte stands for itself.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vellum {

/// What a fragment says of itself.
struct FragmentLabel {
    int first_number = 0;
    int number = 0; ///< 0 if the fragment has no number above 0.
    int total = 0;  ///< 0 if it has no total.
    std::string id;

    /// The total that this fragment gives to its message: its own, if it can be right.
    int usable_total() const { return number >= 1 && number <= total ? total : 0; }

    bool operator==(FragmentLabel const &) const = default;
};

/// The numbers of a message/partial field as the store takes them: what is below 0 counts as
/// absent, and the only fragment of a message is number 1, whether it says so or not.
FragmentLabel make_label(std::string_view id, int number, int total);

/// An id longer than this is not kept: it would have to be copied with each change of the index.
inline constexpr std::size_t longest_id = 4096;

inline bool is_storable_id(std::string_view id) { return !id.empty() && id.size() <= longest_id; }

/// The label's line, with its line end.
std::string format_label(FragmentLabel const & label);

/// Reads a label from its line, line end included. False, and `label` unspecified, if the line is
/// no label.
bool parse_label(std::string_view line, FragmentLabel & label);

enum class LabelFound {
    yes,
    no_file,
    no_label,  ///< Not a plain file, or one that doesn't begin with a label.
    unreadable ///< The system refused; what the file is can't be said.
};

/// Reads the label of the file at `path`.
LabelFound read_label(std::string const & path, FragmentLabel & label);

} // namespace vellum
