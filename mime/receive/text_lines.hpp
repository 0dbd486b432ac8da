// mime/receive/text_lines.hpp - the text from the current line to the line that ends it
#pragma once

#include "mime/receive/limits.hpp"
#include "mime/receive/line_reader.hpp"
#include "mime/receive/receiver.hpp"

namespace vellum {

/// A header ends at any line that begins with CR. One that goes on with something else is no blank
/// line, but the first of the body. (A line as long as a piece may not have come whole.)
inline bool is_blank_line(std::string_view line) {
    return line.size() < line_piece && line.find_first_not_of("\r\n") == line.npos;
}

} // namespace vellum

/// Calls `take` with the text, as the input has it at hand: a line, many lines at once, or a piece
/// of a long line. No CR LF is cut.
/// The current line is then the one that ends the text: a delimiter, or none at the end of input.
template <typename Take>
void MimeReceiver::For_each_text(Take take) {
    while (!line_reader_->Boundary_is_a()) {
        take(line());
        for (std::string_view lines; !(lines = NewLines_Body()).empty();)
            take(lines);
        NewText_Body();
    }
}
