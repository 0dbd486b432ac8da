// mime/receive/text_lines.hpp - the text from the current line to the line that ends it
#pragma once

#include "mime/receive/line_reader.hpp"
#include "mime/receive/receiver.hpp"

/// Calls `take` with the text, line by line or many lines at once, as the input has them at hand.
/// The current line is then the one that ends the text: a delimiter, or none at the end of input.
template <typename Take>
void MimeReceiver::For_each_text(Take take) {
    while (!line_reader_->Boundary_is_a()) {
        take(line());
        for (std::string_view lines; !(lines = NewLines_Body()).empty();)
            take(lines);
        NewLine_Body();
    }
}
