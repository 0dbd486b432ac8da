// tests/send_roundtrip_test.cpp - what is written, as others read it: Python, and our own reader
//
// Each message is brought into an outline: from its description, from what Python saw, and from the
// reader's calls. The three have to be equal.
#include "mime/note/incoming_note.hpp"
#include "tests/support/case_file.hpp"
#include "tests/support/files.hpp"
#include "tests/support/note_script.hpp"
#include "tests/support/translators.hpp"

#include <gtest/gtest.h>
#ifdef VELLUM_TEST_GMIME
#include <gmime/gmime.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace vellum::test;

// the outline ----------------------------------------------------------------------

std::string escape(std::string_view value) { return escaped(value, "% "); }

/// A line for each field, sorted by the kind of field.
class HeaderOutline {
public:
    void Add(std::string const & kind, std::string_view value) {
        lines_.emplace_back(kind, kind + " " + escape(value) + "\n");
    }
    void AddAddress(std::string const & kind, std::string_view name, std::string_view address) {
        lines_.emplace_back(kind, kind + " " + escape(name) + " " + escape(address) + "\n");
    }
    std::string Text() {
        std::stable_sort(lines_.begin(), lines_.end(),
                         [](auto const & a, auto const & b) { return a.first < b.first; });
        std::string text;
        for (auto const & [kind, line] : lines_)
            text += line;
        return text;
    }

private:
    std::vector<std::pair<std::string, std::string>> lines_;
};

std::string summary(std::string_view body) { return "body " + escape(body) + "\n"; }

std::string in_brackets(std::string const & name) {
    return "<" + replaced(replaced(name, "<", "\\<"), ">", "\\>") + ">";
}

/// The outline that the description of a message promises.
std::string outline_of(Part const & part, bool is_message, bool latin, bool extended) {
    auto const decoded = [latin](Part::Text const & text) {
        return latin ? latin_in_utf8(text.value_or("")) : text.value_or("");
    };
    HeaderOutline header;
    if (is_message) {
        if (auto const & subject = part.text("Subject")) header.Add("subject", decoded(subject));
        for (auto const & [kind, key] : {std::pair{"from", "From"}, {"to", "To"}, {"cc", "cc"}}) {
            for (Part::Address const & entry : part.list(key))
                header.AddAddress(kind, decoded(entry.name), entry.address.value_or(""));
        }
        for (auto const & [name, value] : part.fields_of("X"))
            header.Add(name, decoded(value));
    }
    std::string const type = part.type.value_or("text") + "/" + part.subtype.value_or("plain");
    header.Add("part", type);
    header.Add("id", in_brackets(part.text("Content-Id").value_or("")));
    Part::Text const & file = part.text("FileName");
    if (file) {
        header.Add("file", decoded(file));
        header.Add("disposition", part.text("Disposition").value_or("attachment"));
    }
    bool const is_named = file && type != "message/rfc822";
    Part::Text const & description = part.text("Content-Description");
    if (description || (is_named && !extended))
        header.Add("description", description ? decoded(description) : in_brackets(*file));
    std::string text = header.Text();
    for (Part const & child : part.parts)
        text += outline_of(child, type == "message/rfc822", latin, extended);
    if (part.parts.empty() && part.type != "multipart")
        text += summary(part.text("Body").value_or(""));
    return text + "end\n";
}

// what is written ------------------------------------------------------------------

struct Sample {
    std::string name;
    Part message;
    std::string encoding = {};
    std::string character_set = "UTF-8";
    MimeONote::Writing writing = MimeONote::Writing_Basic;
};

std::string random_bytes(std::size_t size) {
    std::minstd_rand engine(static_cast<unsigned int>(size + 1));
    std::string bytes(size, '\0');
    for (char & c : bytes)
        c = static_cast<char>(engine() >> 16);
    return bytes;
}

std::map<std::string, std::string> sections() {
    std::map<std::string, std::string> sections;
    for (Section const & section : sections_of("send_roundtrip.case"))
        sections[section.title] = section.text;
    return sections;
}

std::vector<std::string> texts_of_scripts() {
    std::vector<std::string> texts;
    for (std::string const & line : split(sections().at("texts"), '\n'))
        if (!line.empty()) texts.push_back(percent_decoded(line));
    return texts;
}

/// send_roundtrip.case holds scripts. A script with the setting `with` is a message for each line
/// of the section of that name, which stands in its place {}; `encoding` lists encodings to try.
void add_scripts(std::vector<Sample> & samples) {
    auto const all = sections();
    for (auto const & [title, text] : all) {
        if (text.find("Type: ") == text.npos) continue; // a list
        auto settings = read_script(text).settings;
        std::string const list = settings["with"].empty() ? "\n" : all.at(settings["with"]);
        for (std::string const & line : split(list.substr(0, list.size() - 1), '\n')) {
            for (std::string const & encoding : split(settings["encoding"], ' ')) {
                samples.push_back({std::to_string(samples.size()) + " " + title,
                                   read_script(replaced(text, "{}", line)).message, encoding});
                if (settings.count("charset") != 0)
                    samples.back().character_set = settings["charset"];
            }
        }
    }
}

void add_sizes(std::vector<Sample> & samples) {
    for (std::size_t const size : {0, 1, 2, 56, 57, 58, 2047, 2048, 2049, 100000}) {
        std::string const name = "size" + std::to_string(size);
        std::string const bytes = random_bytes(size);
        samples.push_back({name, multipart("mixed", {binary_part(bytes), text_part("")})});
        for (char const * encoding : {"base64", "quoted-printable"})
            samples.push_back({name + encoding, text_part(bytes), encoding});
    }
}

Sample deep() {
    Part message = text_part("letter\r\n");
    for (int i = 0; i < 40; ++i)
        message = multipart("mixed", {message, text_part("after")});
    return {"deep", message};
}

/// Gives every part an id, so that all that is written is known.
void number(Part & part, int & next) {
    part.texts["Content-Id"] = "part" + std::to_string(next++) + "@x";
    for (Part & child : part.parts)
        number(child, next);
}

/// `text` again and again, up to `size` bytes of whole characters. It ends with no blank.
std::string repeated(std::string_view text, std::size_t size) {
    std::string result;
    while (result.size() < size)
        result.append(text);
    while (result.size() > size || (!result.empty() && vellum::ascii::is_blank(result.back()))) {
        auto const is_tail = [&result] { return (result.back() & 0xC0) == 0x80; };
        while (is_tail())
            result.pop_back();
        result.pop_back();
    }
    return result;
}

/// Texts of each script in lengths around those at which lines and words end, in every kind of
/// field.
void add_lengths(std::vector<Sample> & samples) {
    std::vector<std::string> const texts = texts_of_scripts();
    std::vector<std::size_t> sizes = {0, 1, 200, 997, 998, 999, 5000};
    for (std::size_t size = 50; size <= 80; ++size)
        sizes.push_back(size);
    std::vector<std::string> seeds = {"word ", "unbroken", "two  blanks\tand a tab "};
    seeds.insert(seeds.end(), texts.begin() + 2, texts.end());
    for (std::size_t seed = 0; seed < seeds.size(); ++seed) {
        for (std::size_t const size : sizes) {
            std::string const text = repeated(seeds[seed] + " ", size);
            Part message = multipart("mixed", {binary_part("x", text), text_part("y")});
            message.parts[1].With("Content-Description", text);
            message.With("Subject", text);
            message.addresses["From"] = {{text, "from@x.example"}};
            message.addresses["To"] = {
                {text, "to@x.example"}, {{}, "plain@x.example"}, {text, "last@x"}};
            message.fields["X"] = {{"X-Test", text}};
            samples.push_back(
                {"length" + std::to_string(seed) + "-" + std::to_string(size), message});
            samples.back().writing = MimeONote::Writing_Extended;
        }
    }
    for (int const count : {2, 10, 100, 10000}) {
        Part message = text_part("x");
        for (int i = 0; i < count; ++i)
            message.addresses["To"].push_back({texts[static_cast<std::size_t>(i) % texts.size()],
                                               "a" + std::to_string(i) + "@x.example"});
        samples.push_back({"addresses" + std::to_string(count), message});
        samples.back().writing = MimeONote::Writing_Extended;
    }
}

std::vector<Sample> const & samples() {
    static std::vector<Sample> const all = [] {
        std::vector<Sample> result;
        add_scripts(result);
        add_sizes(result);
        result.push_back(deep());
        add_lengths(result);
        for (Sample & sample : result) {
            int next = 1;
            number(sample.message, next);
        }
        return result;
    }();
    return all;
}

std::string expected(Sample const & sample) {
    return outline_of(sample.message, true, sample.character_set != "UTF-8",
                      sample.writing == MimeONote::Writing_Extended);
}

std::vector<std::string> write(Sample const & sample, std::size_t block_size,
                               unsigned int split_size = 0) {
    DescribedNote note(sample.message);
    note.SetWriting(sample.writing);
    note.SetCharacterSet(sample.character_set.c_str());
    note.SetTextEncoding(sample.encoding.c_str());
    note.SetNetworkSplitSize(split_size);
    note.SetFieldGuard(1);
    note.block_size = block_size;
    EXPECT_EQ(note.Send(), 1);
    return note.messages;
}

// Python ---------------------------------------------------------------------------

void put(std::filesystem::path const & path, std::string const & text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// Makes a NAME.python of each NAME.eml.
bool run_python(TemporaryDirectory const & directory) {
    std::string const path = directory / "";
    return std::system(("python3 send_roundtrip.py '" + path + "'").c_str()) == 0;
}

std::string unchanged(std::string const & outline) { return outline; }

/// Of a display name Python 3.11 keeps the blank between two encoded words, and makes a tab, or two
/// blanks, within a word one blank; nowhere else.
std::string without_blanks_in_names(std::string const & outline) {
    std::string result;
    for (std::string const & line : split(outline, '\n')) {
        bool const is_name = line.starts_with("from ") || line.starts_with("to ");
        result += (is_name ? replaced(replaced(line, "%20", ""), "%09", "") : line) + "\n";
    }
    return result;
}

TEST(RoundTrip, PythonReadsWhatIsWritten) {
    TemporaryDirectory const directory;
    for (auto const & sample : samples())
        put(directory / (sample.name + ".eml"), write(sample, 4096).front());
    ASSERT_TRUE(run_python(directory)) << "python3 is needed, and the directory tests/";
    for (auto const & sample : samples()) {
        bool const is_extended = sample.writing == MimeONote::Writing_Extended;
        auto const compared = is_extended ? without_blanks_in_names : unchanged;
        EXPECT_EQ(compared(content_of(directory / (sample.name + ".python"))),
                  compared(expected(sample)))
            << sample.name;
    }
}

TEST(RoundTrip, PythonReadsFragments) {
    FixedClock const clock;
    TemporaryDirectory const directory;
    std::string const subject = "Gr\xC3\xBC\xC3\x9F, \"alle\" <x@y>";
    std::string const name = "\xE4\xB8\xAD\xE6\x96\x87 \xED\x95\x9C\xEA\xB8\x80";
    Part message = binary_part(random_bytes(100000), "f.bin").With("Subject", subject);
    message.addresses["To"] = {{name, "to@x.example"}};
    auto const fragments = write({"fragments", message}, 100, 30720);
    ASSERT_EQ(fragments.size(), 5U);
    for (std::size_t i = 0; i < fragments.size(); ++i)
        put(directory / (std::to_string(i + 1) + ".eml"), fragments[i]);
    ASSERT_TRUE(run_python(directory));
    for (std::size_t i = 1; i <= fragments.size(); ++i) {
        std::string const number = std::to_string(i);
        HeaderOutline header;
        header.Add("subject", subject);
        header.AddAddress("to", name, "to@x.example");
        EXPECT_EQ(content_of(directory / (number + ".python")),
                  "partial number=" + number + " total=" + (i == 5 ? "5" : "") + " id=<" +
                      fixed_time + "-0-007>\n" + header.Text());
    }
}

// the reader -----------------------------------------------------------------------

/// Text in the sets of the samples as UTF-8.
class InUtf8 : public TextTranslator {
public:
    using TextTranslator::TextTranslator;
    int Translate(std::string_view text, std::string & result) override {
        result = charSetName == std::string("ISO-8859-1") ? latin_in_utf8(text) : text;
        return 0;
    }
};

/// Brings what the reader calls into an outline.
class OutlineNote : public MimeINote {
public:
    OutlineNote(std::istream & in, MimeONote::Writing writing) : MimeINote(in) {
        SetNLS(new FactoryOf<InUtf8>, 0);
        if (writing == MimeONote::Writing_Extended) SetReading(Reading_Extended);
    }

    std::string outline;

protected:
    void BeginPart(MimeContext & context) override {
        char const * const subtype = context.item->subtype;
        std::string type = std::string(context.item->type) + "/" + subtype;
        std::transform(type.begin(), type.end(), type.begin(), vellum::ascii::to_lower);
        header_ = {};
        header_.Add("part", type);
    }
    void Set_Subject(MimeString text) override { header_.Add("subject", View(text)); }
    void Set_From(char const *, char const *, char const * name, char const * address) override {
        if (address != nullptr) header_.AddAddress("from", name ? name : "", address);
    }
    void Set_To(char const * field, char const *, char const * name,
                char const * address) override {
        if (address == nullptr) return;
        header_.AddAddress(field == RFC822::cc ? "cc" : "to", name ? name : "", address);
    }
    void SetProperty(char const * name, MimeString const & value) override {
        if (std::string_view(name).starts_with("X-Test")) header_.Add(name, View(value));
    }
    void Set_Content_Id(char const * id) override { header_.Add("id", in_brackets(id)); }
    void Set_Content_Description(char const * text) override { header_.Add("description", text); }
    void SetFileName(char const * field, char const * name) override {
        if (field == RFC1806::Content_Disposition) header_.Add("file", name);
    }
    void Set_Content_Disposition(char const *, char const * disposition, char const *) override {
        header_.Add("disposition", disposition);
    }
    void EndHeader(MimeContext &) override { outline += header_.Text(); }
    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
        bodies_.push_back(data ? std::make_unique<std::ostringstream>() : nullptr);
        if (data) *data = bodies_.back().get();
    }
    void EndBody(MimeContext &) override {
        if (bodies_.back()) outline += summary(bodies_.back()->str());
        bodies_.pop_back();
    }
    void EndPart(MimeContext &) override { outline += "end\n"; }

private:
    static std::string_view View(MimeString const & text) {
        return {text.get_String(), text.get_Length()};
    }

    HeaderOutline header_;
    std::vector<std::unique_ptr<std::ostringstream>> bodies_;
};

TEST(RoundTrip, TheReaderReadsWhatIsWritten) {
    for (auto const & sample : samples()) {
        for (std::size_t const block_size : {4096, 13}) {
            bool const is_long =
                sample.name.starts_with("size100000") || sample.name.starts_with("length");
            if (block_size == 13 && is_long) continue;
            std::istringstream in(write(sample, block_size).front());
            OutlineNote note(in, sample.writing);
            EXPECT_EQ(note.Receive(), MimeINote::Receive_Complete);
            EXPECT_EQ(note.outline, expected(sample)) << sample.name;
        }
    }
}

// GMime ----------------------------------------------------------------------------

#ifdef VELLUM_TEST_GMIME
template <class Object>
using GObjectPointer =
    std::unique_ptr<Object, decltype([](Object * object) { g_object_unref(object); })>;

std::string text_of(char const * text) { return text != nullptr ? text : ""; }

void add_addresses(HeaderOutline & header, std::string const & kind, InternetAddressList * list) {
    for (int i = 0; list != nullptr && i < internet_address_list_length(list); ++i) {
        InternetAddress * const entry = internet_address_list_get_address(list, i);
        header.AddAddress(kind, text_of(internet_address_get_name(entry)),
                          INTERNET_ADDRESS_IS_MAILBOX(entry)
                              ? internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(entry))
                              : "group");
    }
}

constexpr std::string_view gmime_kinds[] = {"subject ", "from ", "to ", "X-Test ", "file "};

std::string sorted_lines(std::string const & text) {
    auto lines = split(text, '\n');
    std::sort(lines.begin(), lines.end());
    std::string result;
    for (auto const & line : lines)
        result += line + "\n";
    return result;
}

/// The texts of a message and its first part.
std::string gmime_outline(std::string const & message) {
    GObjectPointer<GMimeStream> const stream(
        g_mime_stream_mem_new_with_buffer(message.data(), message.size()));
    GObjectPointer<GMimeParser> const parser(g_mime_parser_new_with_stream(stream.get()));
    GObjectPointer<GMimeMessage> const read(g_mime_parser_construct_message(parser.get(), nullptr));
    HeaderOutline header;
    header.Add("subject", text_of(g_mime_message_get_subject(read.get())));
    add_addresses(header, "from", g_mime_message_get_from(read.get()));
    add_addresses(header, "to", g_mime_message_get_to(read.get()));
    header.Add("X-Test", text_of(g_mime_object_get_header(GMIME_OBJECT(read.get()), "X-Test")));
    GMimeObject * const body = g_mime_message_get_mime_part(read.get());
    if (GMIME_IS_MULTIPART(body)) {
        GMimeObject * const first = g_mime_multipart_get_part(GMIME_MULTIPART(body), 0);
        char const * const name = g_mime_part_get_filename(GMIME_PART(first));
        if (name != nullptr) header.Add("file", name);
    }
    return header.Text();
}

TEST(RoundTrip, GMimeReadsHeadersOfEveryLength) {
    g_mime_init();
    for (auto const & sample : samples()) {
        if (!sample.name.starts_with("length")) continue;
        std::string wanted;
        for (std::string const & line : split(expected(sample), '\n')) {
            bool const is_seen =
                std::any_of(std::begin(gmime_kinds), std::end(gmime_kinds),
                            [&line](std::string_view kind) { return line.starts_with(kind); });
            if (is_seen) wanted += line + "\n";
        }
        EXPECT_EQ(sorted_lines(gmime_outline(write(sample, 4096).front())), sorted_lines(wanted))
            << sample.name;
    }
}
#endif

// lines ----------------------------------------------------------------------------

/// Whether `line` could have ended at a blank that stands behind a word.
bool could_be_folded(std::string_view line) {
    std::size_t const word = line.find_first_not_of(" \t");
    return line.size() > 78 && line.find_first_of(" \t", word) != line.npos;
}

TEST(RoundTrip, LinesOfHeadersAreShort) {
    for (auto const & sample : samples()) {
        if (sample.writing != MimeONote::Writing_Extended) continue;
        std::string const message = write(sample, 4096).front();
        std::string_view rest(message);
        while (!rest.empty()) {
            std::size_t const end = rest.find("\r\n");
            std::string_view const line = rest.substr(0, end);
            EXPECT_FALSE(could_be_folded(line)) << sample.name << ": " << line;
            EXPECT_LE(line.size(), 998U) << sample.name;
            EXPECT_TRUE(line.empty() || line.find_first_not_of(" \t") != line.npos) << sample.name;
            EXPECT_TRUE(
                std::all_of(line.begin(), line.end(), [](char c) { return (c & 0x80) == 0; }))
                << sample.name << ": " << line;
            rest.remove_prefix(end == rest.npos ? rest.size() : end + 2);
        }
    }
}

} // namespace
