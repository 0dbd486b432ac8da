// mime/send/translation.cpp - text of the local code page put into a character set
#include "mime/send/translation.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/foundation/text_stream.hpp"
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/send/field_guard.hpp"
#include "mime/send/sender.hpp"

#include <utility>

namespace vellum {

NLS_CharSet * set_in_use(MimeSender const & sender, bool in_header) {
    auto const harmful = [&sender](NLS_CharSet const & set) {
        return sender.field_guard && (set.name == nullptr || !is_token(set.name));
    };
    NLS_CharSet * const chosen = sender.character_set;
    bool const named = chosen->name != nullptr && chosen->name[0] != '\0';
    if (named && !harmful(*chosen)) return chosen;
    NLS_CharSet * const best = NLS::BestFitCharSet(sender.factories, in_header);
    return harmful(*best) ? &NLS::US_ASCII : best;
}

Translation::Translation(NLS_Translator & translator, std::string_view source,
                         unsigned char * block, unsigned long block_size)
    : offered_(block), out_(block) {
    auto * const in = reinterpret_cast<unsigned char *>(const_cast<char *>(source.data()));
    unsigned long size = block_size;
    int const failure = translator.CodePage_to_CharSet(in, source.size(), out_, size, &release_);
    // A translator that fails at once may leave the offer as it was: that is no result.
    bool const untouched = out_ == offered_ && size == block_size;
    bool const nothing = out_ == nullptr || size == 0;
    if (failure != 0 && (untouched || nothing)) {
        result_ = source;
    } else if (!nothing) {
        result_ = {reinterpret_cast<char const *>(out_), size};
    }
}

Translation::~Translation() {
    if (release_ != nullptr && out_ != nullptr && out_ != offered_) release_(out_);
}

std::string_view translated_piece(NLS_Translator & translator, std::string_view piece, bool last,
                                  oSimpleStream & room) {
    TextStream in(piece);
    int const failure = translator.CodePage_to_CharSet_Piece(&in, last, &room);
    if (room.oBufCnt() == 0) return failure != 0 ? piece : std::string_view();
    return {room.str(), room.oBufCnt()};
}

SeparateCache::SeparateCache(NLS_Translator *& cache)
    : cache_(cache), before_(std::exchange(cache, nullptr)) {}

SeparateCache::~SeparateCache() {
    delete cache_;
    cache_ = before_;
}

} // namespace vellum
