// conversion/codec.cpp - the codec of each scheme
#include "conversion/codec.hpp"

#include "conversion/iconv_codec.hpp"
#include "conversion/iso_2022_jp.hpp"
#include "conversion/seven_bit.hpp"
#include "conversion/table_codec.hpp"
#include "conversion/utf8.hpp"
#include "conversion/wide_codec.hpp"

namespace vellum::conversion {

Codec::~Codec() = default;

namespace {

class Utf8Codec : public Codec {
public:
    void decode(std::string_view text, Output & utf8) override { copy_utf8(text, utf8); }
    void encode(std::string_view utf8, Output & text) override { copy_utf8(utf8, text); }
};

} // namespace

std::unique_ptr<Codec> open_codec(CharSet const & set) {
    switch (set.scheme) {
    case Scheme::utf_8: return std::make_unique<Utf8Codec>();
    case Scheme::table: return TableCodec::open(set);
    case Scheme::hz: return HzCodec::open();
    case Scheme::iso_2022_kr: return Iso2022KrCodec::open();
    case Scheme::iso_2022_jp:
    case Scheme::iso_2022_jp_2: return Iso2022JpCodec::open(set);
    case Scheme::wide: return std::make_unique<WideCodec>(set);
    case Scheme::iso_2022_cn:
        return IconvCodec::open(set.label, iso_2022_controls, SingleShifts::written_wrong);
    case Scheme::utf_7: return IconvCodec::open(set.label, "");
    }
    return nullptr;
}

} // namespace vellum::conversion
