// examples/support/copied_part.hpp - a message to be passed on as it came, part by part
#pragma once

#include "examples/support/spool.hpp"

#include <mime/vellum.hpp>

#include <memory>
#include <string>
#include <vector>

namespace examples {

/// A message, or a part of one: where its bytes lie in the input.
struct CopiedPart {
    struct Range {
        long begin = 0;
        long end = 0;
    };

    SymToken type;
    SymToken subtype;
    std::vector<Range> fields;
    Range body; ///< All behind the header, transfer-encoded as it is.

    /// The parts of a multipart, or the message in a message/rfc822, are written one by one. Else
    /// the body is copied.
    bool has_parts = false;
    bool is_loose = false; ///< A multipart that isn't closed, or has no part.
    std::vector<std::unique_ptr<CopiedPart>> parts;
    std::string boundary;
    Range preamble; ///< In the spool of texts, as the next.
    Range epilogue;
    bool is_binary = false; ///< Line ends in the body are data.
};

struct CopiedMessage {
    std::shared_ptr<Spool> input; ///< All of it.
    std::shared_ptr<Spool> texts; ///< What stands around the parts of multiparts.
    std::unique_ptr<CopiedPart> root;
    /// Its lines end in LF, as in the files of some systems, which stands for CR LF.
    bool has_file_line_ends = false;
};

} // namespace examples
