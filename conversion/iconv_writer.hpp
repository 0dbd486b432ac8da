// conversion/iconv_writer.hpp - writes sets with shift states as iconv does
#pragma once

#include "conversion/codec.hpp"
#include "conversion/iconv_handle.hpp"
#include "conversion/nearest_form.hpp"

namespace vellum::conversion {

/// Whether iconv knows where it is behind a character that a single shift has called.
enum class SingleShifts { written_well, written_wrong };

class IconvWriter {
public:
    /// Null if the C library doesn't know the set of that name. `forbidden` are the control
    /// characters that would be taken for what they do in a text of the set; "?" is written for
    /// them, and for those of the upper half. None for a set without shifts.
    static std::unique_ptr<IconvWriter>
    open(char const * iconv_name, std::string_view forbidden,
         SingleShifts single_shifts = SingleShifts::written_well);

    /// As Codec::encode.
    void encode(std::string_view utf8, End end, Output & text);

private:
    IconvWriter(IconvHandle writer, IconvHandle probe, std::string_view forbidden,
                SingleShifts single_shifts)
        : forbidden_(forbidden), single_shifts_(single_shifts), writer_(std::move(writer)),
          probe_(std::move(probe)), forms_([this](char32_t character) { return has(character); }) {}

    bool has_shifts() const { return !forbidden_.empty(); }
    bool is_forbidden(char32_t character) const;
    std::size_t forbidden_at(std::string_view utf8) const;
    bool has(char32_t character);
    std::size_t put(std::string_view utf8, Output & text);
    std::size_t put_one_by_one(std::string_view utf8, Output & text);
    void put_nearest(char32_t character, Output & text);

    std::string_view piece_of(std::string_view utf8, std::size_t size) const;

    std::string_view forbidden_;
    SingleShifts single_shifts_;
    IconvHandle writer_;
    IconvHandle probe_; // a writer that tries characters, while the other's state stays
    NearestForms forms_;
};

} // namespace vellum::conversion
