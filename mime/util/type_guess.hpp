// mime/util/type_guess.hpp - the media type of a file, and the file name extension of a media type
#pragma once

#include "mime/export.hpp"

#include <iosfwd>

/// Guesses for clients; the engine itself guesses nothing. The texts that come out are constants of
/// the library, some of them its tokens.
class VELLUM_EXPORT MimeUtil {
public:
    /// The type of a file by its name's extension, else by its first 1024 bytes.
    ///
    /// \param fileName may be null. What counts is what follows the last dot.
    /// \param data     null, or a stream at the start of the file. It is read only if the name
    ///                 doesn't tell, and is then where it was and in a good state. A stream whose
    ///                 position can't be told isn't read.
    /// \param type, subtype  the guess. Both stay as they are if the data is text of no known kind:
    ///                       so preset them with what is wanted then.
    /// \return 0, or 1 for "application" and "octet-stream" for want of anything better.
    static int GuessMimeType(char const * fileName, std::istream * data, char const *& type,
                             char const *& subtype);

    /// The extension, without a dot, of files of a media type, whatever its case. `shortForm` other
    /// than 0 asks for an extension of at most three letters. A null type or subtype counts as
    /// unknown.
    ///
    /// \return 0, or 1 for "bin" for want of anything better. An unknown subtype of "text" or
    ///         "message" has "txt", which counts as known.
    static int GuessFileExt(char const * type, char const * subtype, char const *& ext,
                            int shortForm);
};
