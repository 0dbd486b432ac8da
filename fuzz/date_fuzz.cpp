// fuzz/date_fuzz.cpp - any text as a date: what was read, in both ways, is written and read back
// the same
#include "fuzz/target.hpp"
#include "mime/MIMEUTIL.hpp"
#include "mime/platform/platform.hpp"

#include <cstring>
#include <string>

namespace {

std::string written(MimeDateTime date, int keep_zone) {
    TimeString text;
    date.WriteRFC822(text, keep_zone);
    require(std::memchr(text, '\0', sizeof text) != nullptr);
    return text;
}

/// The years and zones whose written form is told apart from all others.
bool has_form_of_its_own(MimeDateTime const & date) {
    bool const known = date.tm_wday < 7 && date.tm_year >= 100 - 1900;
    bool const written_whole = date.zone > -100 * 60 && date.zone < 100 * 60;
    bool const read_whole = (date.zone <= -60 || date.zone >= 0) && date.zone != 13;
    return known && written_whole && read_whole;
}

/// What Read() takes is a date that has a moment, and both ways read it from its written form.
void check_reading(std::string const & text) {
    MimeDateTime date(std::tm{}, 0);
    if (!MimeDateTime::Read(text.c_str(), date)) return;
    require(date.tm_year >= 1 - 1900 && date.tm_year <= 9999 - 1900 && date.tm_wday < 7);
    require(date.zone > -24 * 60 && date.zone < 24 * 60);
    MimeDateTime again(std::tm{}, 0);
    if (date.tm_year < 1000 - 1900) return; // written without zeros in front
    std::string const form = written(date, 1);
    require(MimeDateTime::Read(form.c_str(), again) && written(again, 1) == form);
    if (!has_form_of_its_own(date)) return;
    require(again.SecondsSince1970() == date.SecondsSince1970());
    if (date.tm_sec < 60)
        require(MimeDateTime(form.c_str()).SecondsSince1970() == date.SecondsSince1970());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    vellum::platform::set_clock([] { return std::int64_t{1768478400000}; });
    std::string const text(view_of(data, size));
    MimeDateTime const date(text.c_str());
    require(date.tm_wday >= 0 && date.tm_wday <= 7);

    if (has_form_of_its_own(date)) {
        MimeDateTime const again(written(date, 1).c_str());
        require(written(again, 1) == written(date, 1));
        require(again.tm_yday == date.tm_yday && again.zone == date.zone);
    }

    check_reading(text);

    MimeDateTime universal = date;
    universal.ConvertUT();
    require(written(universal, 1) == written(date, 0));
    MimeDateTime local = universal;
    local.ConvertLocal();
    require(written(local, 0) == written(universal, 0) || local.tm_year > 9998 - 1900);
    return 0;
}
