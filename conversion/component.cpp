// conversion/component.cpp - the entry points that the engine binds
//
// All text passes through UTF-8, which both pivots are. A result has the set's terminator behind
// it, so that what the engine takes off isn't the text's own. No exception leaves an entry point.
#include "conversion/blocks.hpp"
#include "conversion/char_set.hpp"
#include "conversion/codec.hpp"
#include "conversion/output.hpp"
#include "mime/export.hpp"
#include "mime/nls/conversion_interface.hpp"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace vellum::conversion {

namespace {

constexpr int success = 0;
constexpr int failure = 1;

/// A set, and the texts in it that come in pieces, at most one to be read and one to be written.
class Session {
public:
    Session(CharSet const & set, std::unique_ptr<Codec> codec)
        : set_(set), codec_(std::move(codec)) {}

    bool is_utf_8() const { return set_.scheme == Scheme::utf_8; }
    short terminator_size() const { return static_cast<short>(set_.unit); }

    /// Reads a text, or the next piece of one.
    void decode(std::string_view text, End end, Output & utf8) {
        is_reading_ = true; // whatever is thrown
        if (rest_.empty()) {
            rest_ = text.substr(codec_->decode(text, end, utf8));
        } else {
            rest_ += text;
            rest_.erase(0, codec_->decode(rest_, end, utf8));
        }
        is_reading_ = end == End::of_piece;
    }

    void encode(std::string_view utf8, End end, Output & text) {
        is_writing_ = true;
        codec_->encode(utf8, end, text);
        is_writing_ = end == End::of_piece;
    }

    /// Forgets a text whose end never came.
    void begin_reading() {
        Output dropped;
        if (is_reading_) decode("", End::of_text, dropped);
    }
    void begin_writing() {
        Output dropped;
        if (is_writing_) encode("", End::of_text, dropped);
    }

private:
    CharSet const & set_;
    std::unique_ptr<Codec> codec_;
    std::string rest_; // of the last piece that was read
    bool is_reading_ = false;
    bool is_writing_ = false;
};

int get_table_info(TableInfo * info) {
    // There is no such file: the sets are compiled in.
    constexpr std::string_view name = "Rwqfmp13.TLB";
    *info = {};
    std::copy(name.begin(), name.end(), info->file_name);
    return success;
}

int set_table_path(TablePath const *, int) { return success; }

int code_page_to_tag(int * tag, unsigned long const * code_page, int) {
    *tag = number_of_code_page(*code_page);
    return *tag >= 0 ? success : failure;
}

int convert_tag(qxtSTRCharSettag * tag, char * name, int mode, int) try {
    if (mode == name_to_tag) {
        *tag = static_cast<qxtSTRCharSettag>(number_of_name(name));
        return *tag != qxtSTR_none ? success : failure;
    }
    CharSet const * const set = mode == tag_to_name ? char_set_of(*tag) : nullptr;
    if (set == nullptr) return failure;
    std::memcpy(name, set->name, std::strlen(set->name) + 1);
    return success;
} catch (std::exception const &) {
    return failure;
}

int open_session(void ** session, void *, void *, qxtSTRCharSettag tag) try {
    *session = nullptr;
    CharSet const * const set = char_set_of(tag);
    if (set == nullptr) return failure;
    auto codec = open_codec(*set);
    if (!codec) return failure;
    *session = new Session(*set, std::move(codec));
    return success;
} catch (std::exception const &) {
    return failure;
}

int close_session(void * session) {
    delete static_cast<Session *>(session);
    return success;
}

int translate_by_name() { return failure; }

void translate(Session & from, Session & to, std::string_view text, Output & out) {
    from.begin_reading();
    to.begin_writing();
    if (from.is_utf_8()) {
        to.encode(text, End::of_text, out);
    } else if (to.is_utf_8()) {
        from.decode(text, End::of_text, out);
    } else {
        Output utf8;
        from.decode(text, End::of_text, utf8);
        to.encode(utf8.view(), End::of_text, out);
    }
    std::size_t const size = out.size();
    out.append(std::string_view("\0\0\0\0", static_cast<std::size_t>(to.terminator_size())));
    if (to.is_utf_8()) Blocks::of_process().set_valid_text(out.begin(), size);
}

int translate(void * target, void * source, unsigned char * out, unsigned long capacity,
              unsigned char const * in, unsigned long * in_length, Options const *,
              std::uintptr_t *, Result * result) try {
    if (target == nullptr || source == nullptr) return failure;
    auto & from = *static_cast<Session *>(source);
    auto & to = *static_cast<Session *>(target);
    std::string_view const text(reinterpret_cast<char const *>(in), *in_length);
    bool const same = from.is_utf_8() && to.is_utf_8();
    if (same && Blocks::of_process().share_valid_text(text)) {
        result->buffer = const_cast<unsigned char *>(in);
        result->produced = text.size() + static_cast<std::size_t>(to.terminator_size());
        return success;
    }
    Blocks::of_process().set_valid_text(out, 0); // what it was, if it serves again
    Output output(out, capacity);
    translate(from, to, text, output);
    result->produced = output.size();
    result->buffer = output.release();
    return success;
} catch (std::exception const &) {
    return failure;
}

int translate_piece(void * target, void * source, unsigned char * out, unsigned long capacity,
                    unsigned char const * in, unsigned long in_length, int last,
                    Result * result) try {
    if (target == nullptr || source == nullptr) return failure;
    auto & from = *static_cast<Session *>(source);
    auto & to = *static_cast<Session *>(target);
    std::string_view const text(reinterpret_cast<char const *>(in), in_length);
    End const end = last != 0 ? End::of_text : End::of_piece;
    Output output(out, capacity);
    if (to.is_utf_8()) {
        from.decode(text, end, output);
    } else {
        unsigned char room[4096];
        Output utf8(room, sizeof room);
        from.decode(text, end, utf8);
        to.encode(utf8.view(), end, output);
    }
    result->produced = output.size();
    result->buffer = output.release();
    return success;
} catch (std::exception const &) {
    return failure;
}

int allocate(unsigned long size, int, unsigned char ** block) {
    *block = Blocks::of_process().allocate(size);
    return *block != nullptr ? success : failure;
}

int release(unsigned char * block) {
    Blocks::of_process().release(block);
    return success;
}

int size_of_terminator(void * session, short * size) {
    *size = static_cast<Session *>(session)->terminator_size();
    return success;
}

template <typename Function>
platform::EntryPoint entry(Function * function) {
    return reinterpret_cast<platform::EntryPoint>(function);
}

using Translate = int(void *, void *, unsigned char *, unsigned long, unsigned char const *,
                      unsigned long *, Options const *, std::uintptr_t *, Result *);

} // namespace

} // namespace vellum::conversion

namespace vellum {

extern "C" VELLUM_EXPORT platform::OrdinalEntry const vellum_ordinals[] = {
    {1700, conversion::entry(conversion::get_table_info)},
    {1710, conversion::entry(conversion::set_table_path)},
    {1660, conversion::entry(conversion::code_page_to_tag)},
    {1807, conversion::entry(conversion::convert_tag)},
    {2, conversion::entry(conversion::open_session)},
    {3, conversion::entry(conversion::close_session)},
    {1110, conversion::entry(conversion::translate_by_name)},
    {1690, conversion::entry<conversion::Translate>(conversion::translate)},
    {1691, conversion::entry(conversion::translate_piece)},
    {1870, conversion::entry(conversion::allocate)},
    {1875, conversion::entry(conversion::release)},
    {1510, conversion::entry(conversion::size_of_terminator)},
    {0, nullptr},
};

} // namespace vellum
