// conversion/codec.cpp - the codec of each scheme
#include "conversion/codec.hpp"

#include "conversion/iconv_reader.hpp"
#include "conversion/iconv_writer.hpp"
#include "conversion/iso_2022_cn.hpp"
#include "conversion/iso_2022_jp.hpp"
#include "conversion/seven_bit.hpp"
#include "conversion/table_codec.hpp"
#include "conversion/utf8.hpp"
#include "conversion/utf_7.hpp"
#include "conversion/wide_codec.hpp"

namespace vellum::conversion {

Codec::~Codec() = default;

namespace {

class Utf8Codec : public Codec {
public:
    std::size_t decode(std::string_view text, End end, Output & utf8) override {
        if (end == End::of_piece) text.remove_suffix(cut_character(text));
        copy_utf8(text, utf8);
        return text.size();
    }
    void encode(std::string_view utf8, End, Output & text) override { copy_utf8(utf8, text); }
};

} // namespace

std::unique_ptr<Codec> open_codec(CharSet const & set) {
    switch (set.scheme) {
    case Scheme::utf_8: return std::make_unique<Utf8Codec>();
    case Scheme::table: return TableCodec::open(set);
    case Scheme::hz:
    case Scheme::iso_2022_kr: return SevenBitCodec::open(set);
    case Scheme::iso_2022_jp:
        return paired(Iso2022JpReader::open(set), ShiftWriter::open(set, iso_2022_jp_shifts));
    case Scheme::iso_2022_jp_2:
        return paired(Iso2022JpReader::open(set), IconvWriter::open(set.label, iso_2022_controls));
    case Scheme::wide: return std::make_unique<WideCodec>(set);
    case Scheme::iso_2022_cn:
        return paired(Iso2022CnReader::open(set),
                      IconvWriter::open(set.label, iso_2022_controls, SingleShifts::written_wrong));
    case Scheme::system:
        return paired(IconvReader::open(set.label), IconvWriter::open(set.label, ""));
    case Scheme::utf_7:
        return paired(std::make_unique<Utf7Reader>(), IconvWriter::open(set.label, ""));
    }
    return nullptr;
}

} // namespace vellum::conversion
