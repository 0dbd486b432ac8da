// mime/util/type_guess.cpp - the media type of a file, and the file name extension of a media type
#include "mime/util/type_guess.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/foundation/tokens.hpp"
#include "mime/util/type_tokens.hpp"

#include <algorithm>
#include <array>
#include <istream>
#include <string_view>

namespace ascii = vellum::ascii;

namespace {

struct Row {
    char const * const & extension;
    char const * const & short_form;
    char const * const & type;
    char const * const & subtype;
};

/// The first row that fits counts, for a name as for a type.
constexpr std::array<Row, 94> rows{{
    {FileExt::txt, FileExt::txt, RFC1521::text, RFC1521::plain},
    {FileExt::txt, FileExt::txt, RFC1521::text, RFC1521::richtext},
    {FileExt::txt, FileExt::txt, RFC1521::text, IANASubType::enriched},
    {FileExt::txt, FileExt::txt, RFC1521::message, RFC1521::RFC822},
    {FileExt::txt, FileExt::txt, RFC1521::message, RFC1521::digest},
    {FileExt::bat, FileExt::bat, RFC1521::text, RFC1521::plain},
    {FileExt::cmd, FileExt::cmd, RFC1521::text, RFC1521::plain},
    {FileExt::text, FileExt::txt, RFC1521::text, RFC1521::plain},
    {FileExt::bin, FileExt::bin, RFC1521::application, RFC1521::octet_stream},
    {FileExt::doc, FileExt::doc, RFC1521::application, RFC1521::octet_stream},
    {FileExt::pac, FileExt::pac, RFC1521::application, RFC1521::octet_stream},
    {FileExt::fls, FileExt::fls, RFC1521::application, RFC1521::octet_stream},
    {FileExt::exe, FileExt::exe, RFC1521::application, RFC1521::octet_stream},
    {FileExt::dll, FileExt::dll, RFC1521::application, RFC1521::octet_stream},
    {FileExt::sam, FileExt::sam, RFC1521::application, RFC1521::octet_stream},
    {FileExt::pre, FileExt::pre, RFC1521::application, RFC1521::octet_stream},
    {FileExt::prs, FileExt::prs, RFC1521::application, RFC1521::octet_stream},
    {FileExt::wk3, FileExt::wk3, RFC1521::application, RFC1521::octet_stream},
    {FileExt::wk2, FileExt::wk2, RFC1521::application, RFC1521::octet_stream},
    {FileExt::wks, FileExt::wks, RFC1521::application, RFC1521::octet_stream},
    {FileExt::zip, FileExt::zip, RFC1521::application, RFC1521::octet_stream},
    {FileExt::arj, FileExt::arj, RFC1521::application, RFC1521::octet_stream},
    {FileExt::tar, FileExt::tar, RFC1521::application, RFC1521::octet_stream},
    {FileExt::ps, FileExt::ps, RFC1521::application, RFC1521::PostScript},
    {FileExt::eps, FileExt::eps, RFC1521::application, RFC1521::PostScript},
    {FileExt::lis, FileExt::lis, RFC1521::application, RFC1521::octet_stream},
    {FileExt::lwp, FileExt::lwp, RFC1521::application, RFC1521::octet_stream},
    {FileExt::lss, FileExt::lss, RFC1521::application, RFC1521::octet_stream},
    {FileExt::lch, FileExt::lch, RFC1521::application, RFC1521::octet_stream},
    {FileExt::ldf, FileExt::ldf, RFC1521::application, RFC1521::octet_stream},
    {FileExt::lrp, FileExt::lrp, RFC1521::application, RFC1521::octet_stream},
    {FileExt::ai, FileExt::ai, RFC1521::application, RFC1521::PostScript},
    {FileExt::gif, FileExt::gif, RFC1521::image, RFC1521::GIF},
    {FileExt::jpg, FileExt::jpg, RFC1521::image, RFC1521::JPEG},
    {FileExt::jpeg, FileExt::jpg, RFC1521::image, RFC1521::JPEG},
    {FileExt::jpe, FileExt::jpe, RFC1521::image, RFC1521::JPEG},
    {FileExt::snd, FileExt::snd, RFC1521::audio, RFC1521::basic},
    {FileExt::mpg, FileExt::mpg, RFC1521::video, RFC1521::MPEG},
    {FileExt::mpe, FileExt::mpe, RFC1521::video, RFC1521::MPEG},
    {FileExt::hqx, FileExt::hqx, RFC1521::application, IANASubType::mac_binhex40},
    {FileExt::rtf, FileExt::rtf, RFC1521::application, IANASubType::rtf},
    {FileExt::html, FileExt::htm, RFC1521::text, IANASubType::html},
    {FileExt::htm, FileExt::htm, RFC1521::text, IANASubType::html},
    {FileExt::qt, FileExt::qt, RFC1521::video, IANASubType::quicktime},
    {FileExt::tiff, FileExt::tif, RFC1521::image, IANASubType::tiff},
    {FileExt::tif, FileExt::tif, RFC1521::image, IANASubType::tiff},
    {FileExt::bmp, FileExt::bmp, RFC1521::image, X_SubType::x_MS_bmp},
    {FileExt::met, FileExt::met, RFC1521::image, X_SubType::x_met},
    {FileExt::ico, FileExt::ico, RFC1521::image, X_SubType::x_ico},
    {FileExt::mid, FileExt::mid, RFC1521::audio, X_SubType::x_midi},
    {FileExt::midi, FileExt::mid, RFC1521::audio, X_SubType::x_midi},
    {FileExt::wav, FileExt::wav, RFC1521::audio, X_SubType::x_wav},
    {FileExt::au, FileExt::au, RFC1521::audio, X_SubType::x_au},
    {FileExt::avi, FileExt::avi, RFC1521::video, X_SubType::x_msvideo},
    {FileExt::avs, FileExt::avs, RFC1521::video, X_SubType::x_avs},
    {FileExt::flc, FileExt::flc, RFC1521::video, X_SubType::x_flc},
    {FileExt::fli, FileExt::fli, RFC1521::video, X_SubType::x_fli},
    {FileExt::mov, FileExt::mov, RFC1521::video, X_SubType::x_mov},
    {FileExt::vbs, FileExt::vbs, RFC1521::video, X_SubType::x_vbs},
    {FileExt::cpp, FileExt::cpp, RFC1521::application, X_SubType::x_cpp},
    {FileExt::hpp, FileExt::hpp, RFC1521::application, X_SubType::x_cpp},
    {FileExt::inl, FileExt::inl, RFC1521::application, X_SubType::x_cpp},
    {FileExt::c, FileExt::c, RFC1521::application, X_SubType::x_cpp},
    {FileExt::h, FileExt::h, RFC1521::application, X_SubType::x_cpp},
    {FileExt::rc, FileExt::rc, RFC1521::application, X_SubType::x_cpp},
    {FileExt::gz, FileExt::gz, RFC1521::application, X_SubType::x_gzip},
    {FileExt::Z, FileExt::Z, RFC1521::application, X_SubType::x_compress},
    {FileExt::js, FileExt::js, RFC1521::application, X_SubType::x_javascript},
    {FileExt::ls, FileExt::ls, RFC1521::application, X_SubType::x_javascript},
    {FileExt::mocha, FileExt::js, RFC1521::application, X_SubType::x_javascript},
    {FileExt::tcl, FileExt::tcl, RFC1521::application, X_SubType::x_tcl},
    {FileExt::sh, FileExt::sh, RFC1521::application, X_SubType::x_sh},
    {FileExt::csh, FileExt::csh, RFC1521::application, X_SubType::x_csh},
    {FileExt::cpio, FileExt::cpi, RFC1521::application, X_SubType::x_cpio},
    {FileExt::gtar, FileExt::gta, RFC1521::application, X_SubType::x_gtar},
    {FileExt::shar, FileExt::sha, RFC1521::application, X_SubType::x_shar},
    {FileExt::sit, FileExt::sit, RFC1521::application, X_SubType::x_stuffit},
    {FileExt::texi, FileExt::txi, RFC1521::application, X_SubType::x_texinfo},
    {FileExt::texinfo, FileExt::txi, RFC1521::application, X_SubType::x_texinfo},
    {FileExt::dvi, FileExt::dvi, RFC1521::application, X_SubType::x_dvi},
    {FileExt::latex, FileExt::lat, RFC1521::application, X_SubType::x_latex},
    {FileExt::tex, FileExt::tex, RFC1521::application, X_SubType::x_tex},
    {FileExt::aif, FileExt::aif, RFC1521::audio, X_SubType::x_aiff},
    {FileExt::aiff, FileExt::aif, RFC1521::audio, X_SubType::x_aiff},
    {FileExt::aifc, FileExt::aif, RFC1521::audio, X_SubType::x_aiff},
    {FileExt::rgb, FileExt::rgb, RFC1521::image, X_SubType::x_rgb},
    {FileExt::ppm, FileExt::ppm, RFC1521::image, X_SubType::x_portable_pixmap},
    {FileExt::pgm, FileExt::pgm, RFC1521::image, X_SubType::x_portable_graymap},
    {FileExt::pbm, FileExt::pbm, RFC1521::image, X_SubType::x_portable_bitmap},
    {FileExt::pnm, FileExt::pnm, RFC1521::image, X_SubType::x_portable_anymap},
    {FileExt::xwd, FileExt::xwd, RFC1521::image, X_SubType::x_xwindowdump},
    {FileExt::xpm, FileExt::xpm, RFC1521::image, X_SubType::x_xpixmap},
    {FileExt::xbm, FileExt::xbm, RFC1521::image, X_SubType::x_xbitmap},
    {FileExt::ras, FileExt::ras, RFC1521::image, X_SubType::x_cmu_raster},
}};

/// The bytes of a file's start that are looked at.
using Sample = std::array<char, 1024>;

struct Magic {
    std::string_view start;
    char const * const & type;
    char const * const & subtype;
    bool any_case = false;
    std::string_view behind_size = ""; // what stands at `behind_size_offset`, behind a size field
};

constexpr std::size_t behind_size_offset = 6;

constexpr std::array<Magic, 6> magic_numbers{{
    {"%!PS", RFC1521::application, RFC1521::PostScript},
    {"\xCA\xFE\xBA\xBE", RFC1521::application, RFC1521::octet_stream},
    {"GIF8", RFC1521::image, RFC1521::GIF},
    {"{\\rtf", RFC1521::application, IANASubType::rtf},
    {"<HTML", RFC1521::text, IANASubType::html, true},
    {"\xFF\xD8\xFF\xE0", RFC1521::image, RFC1521::JPEG, false, "JFIF"},
}};

bool fits(Magic const & magic, std::string_view sample) {
    std::string_view const start = sample.substr(0, magic.start.size());
    bool const starts = magic.any_case ? ascii::equal(start, magic.start) : start == magic.start;
    if (!starts || magic.behind_size.empty()) return starts;
    return sample.size() > behind_size_offset &&
           sample.substr(behind_size_offset, magic.behind_size.size()) == magic.behind_size;
}

bool is_text(std::string_view sample) {
    return std::all_of(sample.begin(), sample.end(), [](char c) {
        return (ascii::byte(c) >= 0x20 && ascii::byte(c) <= 0x7F) || c == '\t' || c == '\n' ||
               c == '\r';
    });
}

/// Keeps a stream's exceptions off while it is read to an end that its owner need not know of.
class Quietly {
public:
    explicit Quietly(std::istream & stream) : stream_(stream), mask_(stream.exceptions()) {
        stream_.exceptions(std::ios_base::goodbit);
    }
    ~Quietly() {
        stream_.clear();
        stream_.exceptions(mask_); // throws nothing, as the state is good
    }
    Quietly(Quietly const &) = delete;
    Quietly & operator=(Quietly const &) = delete;

private:
    std::istream & stream_;
    std::ios_base::iostate mask_;
};

/// The first bytes of a stream, which then is where it was.
std::string_view peek(std::istream & data, Sample & sample) {
    Quietly const quietly(data);
    std::istream::pos_type const position = data.tellg();
    if (position == std::istream::pos_type(-1)) return {};
    data.read(sample.data(), static_cast<std::streamsize>(sample.size()));
    auto const size = static_cast<std::size_t>(data.gcount());
    data.clear(); // a short read is no reason to refuse the way back
    data.seekg(position);
    return {sample.data(), size};
}

std::string_view extension_of(char const * file_name) {
    std::string_view const name = file_name != nullptr ? file_name : "";
    std::size_t const dot = name.rfind('.');
    return dot == name.npos ? "" : name.substr(dot + 1);
}

} // namespace

int MimeUtil::GuessMimeType(char const * fileName, std::istream * data, char const *& type,
                            char const *& subtype) {
    std::string_view const extension = extension_of(fileName);
    for (Row const & row : rows) {
        if (extension.empty() || !ascii::equal(extension, row.extension)) continue;
        type = row.type;
        subtype = row.subtype;
        return 0;
    }
    Sample bytes;
    std::string_view const sample = data != nullptr ? peek(*data, bytes) : "";
    for (Magic const & magic : magic_numbers) {
        if (!fits(magic, sample)) continue;
        type = magic.type;
        subtype = magic.subtype;
        return 0;
    }
    if (!sample.empty() && is_text(sample)) return 0;
    type = RFC1521::application;
    subtype = RFC1521::octet_stream;
    return 1;
}

int MimeUtil::GuessFileExt(char const * type, char const * subtype, char const *& ext,
                           int shortForm) {
    std::string_view const major = type != nullptr ? type : "";
    std::string_view const minor = subtype != nullptr ? subtype : "";
    for (Row const & row : rows) {
        if (!ascii::equal(major, row.type) || !ascii::equal(minor, row.subtype)) continue;
        ext = shortForm != 0 ? row.short_form : row.extension;
        return 0;
    }
    bool const is_readable =
        ascii::equal(major, RFC1521::text) || ascii::equal(major, RFC1521::message);
    ext = is_readable ? FileExt::txt : FileExt::bin;
    return is_readable ? 0 : 1;
}
