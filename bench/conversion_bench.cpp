// bench/conversion_bench.cpp - character sets, on the road that a text body takes through the
// engine, against the system's iconv alone
//
// The bytes per second are those of the text in its own character set.
#include "bench/dropping.hpp"
#include "mime/vellum.hpp"

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>

namespace {

constexpr std::size_t text_size = std::size_t{16} << 20;
constexpr unsigned long utf8_code_page = 65001;

struct CloseIconv {
    void operator()(iconv_t descriptor) const { iconv_close(descriptor); }
};

/// Converts all of `text` in blocks of 64 KB, and gives it to `take`.
template <typename Take>
void convert(char const * from, char const * to, std::string & text, Take take) {
    std::unique_ptr<std::remove_pointer_t<iconv_t>, CloseIconv> const descriptor(
        iconv_open(to, from));
    auto const block = std::make_unique<std::array<char, 65536>>();
    char * in = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        char * out = block->data();
        std::size_t room = block->size();
        std::size_t const left_before = left;
        iconv(descriptor.get(), &in, &left, &out, &room);
        take(block->data(), static_cast<std::size_t>(out - block->data()));
        if (left == left_before) return;
    }
}

std::string text_in(char const * set, std::string const & line) {
    std::string utf8;
    while (utf8.size() < text_size)
        utf8 += line;
    std::string text;
    convert("UTF-8", set, utf8,
            [&](char const * data, std::size_t size) { text.append(data, size); });
    return text;
}

class BodyNote : public MimeINote {
public:
    BodyNote(iSimpleStream & in, std::ostream & sink) : MimeINote(in), sink_(sink) {
        SetNLS(new NLS_qxStr_Factory, 0);
    }

protected:
    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
        *data = &sink_;
    }

private:
    std::ostream & sink_;
};

void read_body(benchmark::State & state, char const * set, std::string const & line) {
    NLS::PlatformCodePage = utf8_code_page;
    std::string const text = text_in(set, line);
    std::string message = "Content-Type: text/plain; charset=" + std::string(set) +
                          "\nContent-Transfer-Encoding: binary\n\n" + text;
    bench::DroppingBuffer dropping;
    std::ostream sink(&dropping);
    for (auto _ : state) {
        iSimpleStream in(message.data(), message.data() + message.size());
        BodyNote(in, sink).Receive();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void read_iconv(benchmark::State & state, char const * set, std::string const & line) {
    std::string text = text_in(set, line);
    bench::DroppingBuffer dropping;
    for (auto _ : state) {
        convert(set, "UTF-8", text, [&](char const * data, std::size_t size) {
            dropping.sputn(data, static_cast<std::streamsize>(size));
        });
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

bool const registered = [] {
    struct {
        char const * set;
        char const * line;
    } const texts[] = {
        {"ISO-8859-1", "Grüße aus dem schönen Übersee, à bientôt et merci.\r\n"},
        {"windows-1252", "Grüße aus dem schönen Übersee, à bientôt et merci.\r\n"},
        {"KOI8-R", "Съешь же ещё этих мягких французских булок, да выпей чаю.\r\n"},
        {"ISO-2022-JP", "山田さん、お元気ですか。 See you soon.\r\n"},
        {"Shift_JIS", "山田さん、お元気ですか。 See you soon.\r\n"},
        {"EUC-KR", "안녕하세요, 오늘은 날씨가 좋습니다. See you.\r\n"},
        {"GB18030", "你好，今天天气很好。 See you soon.\r\n"},
        {"Big5", "你好，今天天氣很好。 See you soon.\r\n"},
    };
    for (auto const & [set, line] : texts) {
        std::string const name = "convert/" + std::string(set);
        auto const add = [set = set, line = line](std::string const & what, auto run) {
            benchmark::RegisterBenchmark(what.c_str(), [=](benchmark::State & state) {
                run(state, set, line);
            })->Unit(benchmark::kMillisecond);
        };
        add(name + "/vellum", read_body);
        add(name + "/iconv", read_iconv);
    }
    return true;
}();

} // namespace
