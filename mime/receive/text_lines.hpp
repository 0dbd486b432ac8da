// mime/receive/text_lines.hpp - the text from the current line to the line that ends it
#pragma once

#include "mime/receive/line_reader.hpp"
#include "mime/receive/receiver.hpp"

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
