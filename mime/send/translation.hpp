// mime/send/translation.hpp - text of the local code page put into a character set
#pragma once

#include "mime/nls/translator.hpp"

#include <optional>
#include <string>
#include <string_view>

class oSimpleStream;
struct MimeSender;

namespace vellum {

/// Returns the set to write in: the chosen set of `sender`, or if that has no name the set that
/// fits the platform's code page best, for a header or for a body. With the field guard on, a set
/// whose name is no token isn't used.
NLS_CharSet * set_in_use(MimeSender const & sender, bool in_header);

/// One text put through a translator. The result lives as long as this object, the source and the
/// block.
class Translation {
public:
    /// `block` is offered for the result; without one the translator brings its own.
    Translation(NLS_Translator & translator, std::string_view source,
                unsigned char * block = nullptr, unsigned long block_size = 0);
    ~Translation();
    Translation(Translation const &) = delete;
    Translation & operator=(Translation const &) = delete;

    /// What the translator gave, also if it failed in the middle; the source itself if it failed
    /// with nothing to show.
    std::string_view result() const { return result_; }

private:
    unsigned char * const offered_;
    unsigned char * out_;
    void (*release_)(unsigned char *) = nullptr;
    std::string_view result_;
};

/// Returns the next piece of a text for a translator that takes pieces, translated, and lying in
/// `room`, which is empty; `last`: the text ends with it. A piece that fails with nothing to show
/// is returned as it is.
std::string_view translated_piece(NLS_Translator & translator, std::string_view piece, bool last,
                                  oSimpleStream & room);

/// The way of one header text, or of the pieces of one, into the set that `sender` writes in.
class HeaderTranslation {
public:
    explicit HeaderTranslation(MimeSender & sender);

    NLS_CharSet const & set() const { return set_; }
    /// `text` in the set, as a text of its own: in a set of shift states it begins and ends in
    /// ASCII. The text as it is if no factory serves the set.
    std::string Translate(std::string_view text) const;
    /// The length of the longest start of `text` that ends with a whole character and has at most
    /// `size` bytes; that of the first character if it has more.
    std::size_t WholeCharacters(std::string_view text, std::size_t size) const;

private:
    NLS_CharSet & set_;
    TranslatorInUse translator_; // null: the texts are in the set already
    unsigned long code_page_;    // of the texts
};

/// `text` in UTF-8; nothing if it can't be translated, or if it isn't text.
std::optional<std::string> in_utf_8(MimeSender & sender, std::string_view text);

/// What a value that can't be encoded, an address or an id, is in a header of `sender`: the value,
/// or with SetUtf8 its UTF-8. Nothing for a value that mustn't leave: it isn't ASCII, or is longer
/// than a line.
std::optional<std::string> value_for_header(MimeSender & sender, std::string_view value);

/// An empty cache of translators in the place of a sender's, for the time of a scope. What arises
/// in it is deleted then.
class SeparateCache {
public:
    explicit SeparateCache(NLS_Translator *& cache);
    ~SeparateCache();
    SeparateCache(SeparateCache const &) = delete;
    SeparateCache & operator=(SeparateCache const &) = delete;

private:
    NLS_Translator *& cache_;
    NLS_Translator * const before_;
};

} // namespace vellum
