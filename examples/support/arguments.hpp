// examples/support/arguments.hpp - a command line of names, with one option in front
#pragma once

#include "mime/note/incoming_note.hpp"

#include <string>
#include <vector>

namespace examples {

/// `--basic`, if it stands first, and the names behind it.
struct Arguments {
    Arguments(int count, char const * const * arguments) : names(arguments + 1, arguments + count) {
        if (names.empty() || names.front() != "--basic") return;
        names.erase(names.begin());
        reading = MimeINote::Reading_Basic;
    }

    MimeINote::Reading reading = MimeINote::Reading_Extended;
    std::vector<std::string> names;
};

} // namespace examples
