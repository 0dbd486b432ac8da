// examples/support/output.hpp - standard output, whose failures are told
#pragma once

#include <csignal>
#include <iostream>
#include <string>

namespace examples {

/// Makes a closed pipe a failure of the stream, like a full disk, in place of the process's end.
inline void survive_closed_pipe() {
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

/// Flushes standard output. False, with a line on standard error, if not all of it was written.
inline bool finish_output(std::string const & program) {
    if (std::cout.flush()) return true;
    std::cerr << program << ": standard output can't be written\n";
    return false;
}

} // namespace examples
