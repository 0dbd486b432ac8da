// tests/send_roundtrip_test.cpp - what is written, as others read it: Python, and our own reader
//
// Each message is brought into an outline: from its description, from what Python saw, and from the
// reader's calls. The three have to be equal.
#include "mime/nls/charset.hpp"
#include "mime/nls/translator.hpp"
#include "mime/receive/incoming_note.hpp"
#include "tests/support/outgoing_notes.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vellum::test;

// the outline ----------------------------------------------------------------------

std::string escape(std::string_view value) {
    std::string result;
    for (char c : value) {
        char text[4];
        auto const byte = static_cast<unsigned char>(c);
        bool const plain = byte > 0x20 && byte < 0x7F && c != '%';
        std::snprintf(text, sizeof text, plain ? "%c" : "%%%02X", byte);
        result += text;
    }
    return result;
}

std::string summary(std::string_view body) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (char c : body) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
    char text[40];
    std::snprintf(text, sizeof text, "body %zu %08x\n", body.size(), ~crc);
    return text;
}

std::string in_utf8(std::string_view text, bool latin) {
    if (!latin) return std::string(text);
    std::string result;
    for (char c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            result += c;
        } else {
            result += static_cast<char>(0xC0 | byte >> 6);
            result += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return result;
}

std::string line(std::string const & what, std::string_view value) {
    return what + " " + escape(value) + "\n";
}

std::string address_line(std::string const & field, std::string_view name,
                         std::string_view address) {
    return field + " " + escape(name) + " " + escape(address) + "\n";
}

/// The outline that the description of a message promises.
class Expectation {
public:
    explicit Expectation(bool latin) : latin_(latin) {}

    std::string Of(Part const & part, bool is_message) const {
        std::string text;
        if (is_message) text += Fields(part);
        std::string const type = part.type.value_or("text") + "/" + part.subtype.value_or("plain");
        text += "part " + type + "\n" + line("id", "<" + part.content_id.value_or("") + ">");
        bool const envelope = type == "message/rfc822";
        if (part.file_name) {
            text += line("file", Decoded(*part.file_name));
            text += "disposition " + part.disposition.value_or("attachment") + "\n";
        }
        if (part.description) {
            text += line("description", Decoded(*part.description));
        } else if (part.file_name && !envelope) {
            text += line("description", InBrackets(*part.file_name));
        }
        for (Part const & child : part.parts)
            text += Of(child, envelope);
        if (part.parts.empty() && part.type != "multipart") text += summary(part.body.value_or(""));
        return text + "end\n";
    }

private:
    std::string Decoded(std::string const & text) const { return in_utf8(text, latin_); }

    static std::string InBrackets(std::string const & name) {
        std::string text = "<";
        for (char c : name) {
            if (c == '<' || c == '>') text += '\\';
            text += c;
        }
        return text + ">";
    }

    std::string Fields(Part const & part) const {
        std::string text;
        if (part.subject) text += line("subject", Decoded(*part.subject));
        struct {
            char const * name;
            std::vector<Part::Address> const & list;
        } const lists[] = {{"from", part.from}, {"to", part.to}, {"cc", part.cc}};
        for (auto const & list : lists) {
            for (auto const & entry : list.list) {
                text += address_line(list.name, Decoded(entry.name.value_or("")),
                                     entry.address.value_or(""));
            }
        }
        for (auto const & [name, value] : part.fields) {
            text += line("field " + name, Decoded(value));
        }
        return text;
    }

    bool latin_;
};

// what is written ------------------------------------------------------------------

/// Texts of all kinds, in the platform's code page (UTF-8).
std::vector<std::string> const texts = {
    "plain words",
    "tab\tand  two blanks",
    R"(quotes " and \ backslash)",
    "!#$%&'()*+,-./0123456789:;<>@ABCXYZ[]^`abcxyz{|}~",
    "=?no word",
    "Gr\xC3\xBC\xC3\x9F"
    "e aus K\xC3\xB6ln, \"alle\" (wirklich) <x@y>",
    "\xCE\x95\xCE\xBB\xCE\xBB\xCE\xB7\xCE\xBD\xCE\xB9\xCE\xBA\xCE\xAC",
    "\xD0\xA0\xD1\x83\xD1\x81\xD1\x81\xD0\xBA\xD0\xB8\xD0\xB9 _=?",
    "\xE4\xB8\xAD\xE6\x96\x87 \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xED\x95\x9C\xEA\xB8\x80",
    "\xD8\xB9\xD8\xB1\xD8\xA8\xD9\x8A \xD7\xA2\xD7\x91\xD7\xA8\xD7\x99\xD7\xAA",
    "\xF0\x9F\x98\x80 \xF0\x9D\x94\x98 e\xCC\x81",
    "\xE0\xB8\xA0\xE0\xB8\xB2\xE0\xB8\xA9\xE0\xB8\xB2\xE0\xB9\x84\xE0\xB8\x97\xE0\xB8\xA2",
};

struct Sample {
    std::string name;
    Part message;
    char const * character_set = "UTF-8";
    char const * encoding = "";
};

/// Gives every part an id, so that all that is written is known.
void number(Part & part, int & next) {
    part.content_id = "part" + std::to_string(next++) + "@x";
    for (Part & child : part.parts)
        number(child, next);
}

Sample sample(std::string name, Part message, char const * encoding = "") {
    int next = 1;
    number(message, next);
    return {std::move(name), std::move(message), "UTF-8", encoding};
}

std::string random_bytes(std::size_t size) {
    std::minstd_rand engine(static_cast<unsigned int>(size + 1));
    std::string bytes(size, '\0');
    for (char & c : bytes)
        c = static_cast<char>(engine() >> 16);
    return bytes;
}

void add_texts(std::vector<Sample> & samples) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
        Part message = multipart("mixed", {binary_part("x", texts[i]), text_part("y")});
        message.parts[1].description = texts[i];
        message.subject = texts[i];
        message.from = {{texts[i], "from@x.example"}};
        message.to = {{"Plain", "to@x.example"}, {texts[i], "second@x.example"}, {{}, "third@x"}};
        message.cc = {{texts[i] + ", " + texts[i], "cc@x.example"}};
        message.fields = {{"X-Test-One", texts[i]}, {"X-Test-Two", "two"}};
        samples.push_back(sample("text" + std::to_string(i), message));
    }
    Part latin = binary_part("x", "f\xFCr.txt").With(&Part::description, "\xA7 1_2 = \xDF?");
    latin.subject = "\xC4\xD6\xDC \"=_?\" \xB5";
    latin.from = {{"M\xFCller, Fran\xE7ois", "m@x.example"}};
    samples.push_back(sample("latin", latin));
    samples.back().character_set = "ISO-8859-1";
}

void add_bodies(std::vector<Sample> & samples) {
    char const * const encodings[] = {"base64", "quoted-printable"};
    for (std::size_t const size : {0, 1, 2, 56, 57, 58, 2047, 2048, 2049, 3000000}) {
        std::string const name = "size" + std::to_string(size);
        Part const message = multipart("mixed", {binary_part(random_bytes(size)), text_part("")});
        samples.push_back(sample(name + "binary", message));
        for (char const * encoding : encodings) {
            samples.push_back(sample(name + encoding, text_part(random_bytes(size)), encoding));
        }
    }
    std::string const bodies[] = {
        "From the start\r\nFrom here\r\n.\r\n..\r\n",
        "blanks behind  \r\ntabs\t\r\n \r\n\r\n\t",
        "lone\rCR and\nLF\r\r\n\n",
        "no last line end",
        "--b\r\n--b--\r\n-- \r\n",
        std::string(75, 'a') + "\r\n" + std::string(76, 'b') + "\r\n" + std::string(2000, 'c'),
        "=3D=\r\n=\r\n",
        "\r\n\r\n",
    };
    for (auto const & body : bodies) {
        for (char const * encoding : encodings) {
            samples.push_back(sample("body" + std::to_string(samples.size()),
                                     multipart("mixed", {text_part(body), text_part(body, "html")}),
                                     encoding));
        }
    }
    for (char const * encoding : {"7bit", "8bit", "binary"}) {
        std::string const lines = "Gr\xC3\xBC\xC3\x9F"
                                  "e\r\n\r\nzwei \r\n";
        samples.push_back(sample(std::string("as_is_") + encoding,
                                 multipart("alternative", {text_part(lines), text_part(lines)}),
                                 encoding));
    }
}

void add_structures(std::vector<Sample> & samples) {
    Part letter = text_part("letter\r\n").With(&Part::subject, "Letter");
    letter.from = {{"A", "a@x.example"}};
    Part with_file = multipart("mixed", {text_part("see file"), binary_part("file", "f.bin")});
    with_file.subject = "With a file";
    Part const digest =
        multipart("digest", {message_part(letter), message_part(with_file), message_part(letter)});
    Part const both = multipart(
        "mixed",
        {multipart("alternative", {text_part("plain"), text_part("<p>", "html")}),
         multipart("related", {text_part("<img>", "html"), binary_part("\x89PNG", "i.png")}),
         digest, multipart("mixed", {multipart("mixed", {text_part("deep")})})});
    samples.push_back(sample("letter", letter));
    samples.push_back(sample("digest", digest));
    samples.push_back(sample("everything", Part(both).With(&Part::subject, "Everything")));
    samples.push_back(sample("forward", message_part(message_part(message_part(letter)))));
    Part deep = letter;
    for (int i = 0; i < 40; ++i)
        deep = multipart("mixed", {deep, text_part("after")});
    samples.push_back(sample("deep", deep));
}

std::vector<Sample> const & samples() {
    static std::vector<Sample> const all = [] {
        std::vector<Sample> result;
        add_texts(result);
        add_bodies(result);
        add_structures(result);
        return result;
    }();
    return all;
}

std::string expected(Sample const & sample) {
    bool const latin = sample.character_set != std::string("UTF-8");
    return Expectation(latin).Of(sample.message, true);
}

std::vector<std::string> write(Sample const & sample, std::size_t block_size,
                               unsigned int split_size = 0) {
    DescribedNote note(sample.message);
    note.SetCharacterSet(sample.character_set);
    note.SetTextEncoding(sample.encoding);
    note.SetNetworkSplitSize(split_size);
    note.SetFieldGuard(1);
    note.block_size = block_size;
    EXPECT_EQ(note.Send(), 1);
    return note.messages;
}

// Python ---------------------------------------------------------------------------

class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = testing::TempDir() + "vellum-roundtrip-XXXXXX";
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
    TemporaryDirectory(TemporaryDirectory const &) = delete;
    TemporaryDirectory & operator=(TemporaryDirectory const &) = delete;

    void Write(std::string const & name, std::string const & text) const {
        std::ofstream(path_ / name, std::ios::binary) << text;
    }
    std::string Read(std::string const & name) const {
        std::ifstream file(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    int RunPython() const {
        return std::system(("python3 send_roundtrip.py '" + path_.string() + "'").c_str());
    }

private:
    std::filesystem::path path_;
};

TEST(RoundTrip, PythonReadsWhatIsWritten) {
    TemporaryDirectory const directory;
    for (auto const & sample : samples()) {
        directory.Write(sample.name + ".eml", write(sample, 4096).front());
    }
    ASSERT_EQ(directory.RunPython(), 0) << "python3 is needed, and the directory tests/";
    for (auto const & sample : samples()) {
        EXPECT_EQ(directory.Read(sample.name + ".python"), expected(sample)) << sample.name;
    }
}

TEST(RoundTrip, PythonReadsFragments) {
    FixedClock const clock;
    TemporaryDirectory const directory;
    Part message = binary_part(random_bytes(100000), "f.bin");
    message.subject = texts[5];
    message.to = {{texts[8], "to@x.example"}};
    auto const fragments = write(sample("fragments", message), 100, 30720);
    ASSERT_EQ(fragments.size(), 5U);
    for (std::size_t i = 0; i < fragments.size(); ++i) {
        directory.Write(std::to_string(i + 1) + ".eml", fragments[i]);
    }
    ASSERT_EQ(directory.RunPython(), 0);
    for (std::size_t i = 0; i < fragments.size(); ++i) {
        std::string const number = std::to_string(i + 1);
        EXPECT_EQ(directory.Read(number + ".python"),
                  line("subject", texts[5]) + address_line("to", texts[8], "to@x.example") +
                      "partial number=" + number + " total=" + (i == 4 ? "5" : "") + " id=<" +
                      fixed_time + "-0-007>\n");
    }
}

// the reader -----------------------------------------------------------------------

/// For the sets of the samples: text is in the set already.
class Identity : public NLS_Translator {
public:
    explicit Identity(char const * set) { charSetName = set; }
    Buffering_Restrictions Query_Buffering_Restrictions(NLS_CharSet *) override {
        return no_restriction;
    }
    int CodePage_to_CharSet(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & out_size, void (**release)(unsigned char *)) override {
        return CharSet_to_CodePage(in, size, out, out_size, release);
    }
    int CodePage_to_CharSet(iSimpleStream * in, oSimpleStream * out) override {
        return CharSet_to_CodePage(in, out);
    }
    int CharSet_to_CodePage(unsigned char * in, unsigned long size, unsigned char *& out,
                            unsigned long & out_size, void (**release)(unsigned char *)) override {
        if (out != nullptr && *release != nullptr) (*release)(out);
        out = static_cast<unsigned char *>(::operator new(size + 1));
        std::copy_n(in, size, out);
        out_size = size;
        *release = FreeMem_Cpp;
        return 0;
    }
    int CharSet_to_CodePage(iSimpleStream * in, oSimpleStream * out) override {
        *out << *in;
        return 0;
    }
};

class IdentityFactory : public NLS_Translator_Factory {
public:
    NLS_Translator * New(char const * set, int) override { return new Identity(set); }
};

/// Brings what the reader calls into an outline.
class OutlineNote : public MimeINote {
public:
    OutlineNote(std::istream & in, bool latin) : MimeINote(in), latin_(latin) {
        SetNLS(new IdentityFactory, 0);
    }

    std::string outline;

protected:
    void BeginPart(MimeContext & context) override {
        headers_.push_back({});
        char const * const type = context.item->type;
        char const * const subtype = context.item->subtype;
        headers_.back().type = std::string(type) + "/" + subtype;
        for (char & c : headers_.back().type) {
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        }
    }
    void Set_Subject(MimeString text) override {
        Here().subject = line("subject", InUtf8({text.get_String(), text.get_Length()}));
    }
    void Set_From(char const *, char const *, char const * name, char const * address) override {
        if (address != nullptr) Here().from += Address("from", name, address);
    }
    void Set_To(char const * field, char const *, char const * name,
                char const * address) override {
        if (address == nullptr) return;
        if (field == RFC822::cc) {
            Here().cc += Address("cc", name, address);
        } else {
            Here().to += Address("to", name, address);
        }
    }
    void SetProperty(char const * name, MimeString const & value) override {
        if (std::string_view(name).starts_with("X-Test")) {
            Here().fields += line("field " + std::string(name),
                                  InUtf8({value.get_String(), value.get_Length()}));
        }
    }
    void Set_Content_Id(char const * id) override {
        Here().id = line("id", "<" + std::string(id) + ">");
    }
    void Set_Content_Description(char const * text) override {
        Here().description = line("description", InUtf8(text));
    }
    void SetFileName(char const * field, char const * name) override {
        if (field == RFC1806::Content_Disposition) Here().file = line("file", InUtf8(name));
    }
    void Set_Content_Disposition(char const *, char const * disposition, char const *) override {
        Here().disposition = "disposition " + std::string(disposition) + "\n";
    }
    void EndHeader(MimeContext &) override {
        Header const & header = Here();
        outline += header.subject + header.from + header.to + header.cc + header.fields + "part " +
                   header.type + "\n" + header.id + header.file + header.disposition +
                   header.description;
    }
    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
        if (data == nullptr) return;
        Here().body = std::make_unique<std::ostringstream>();
        *data = Here().body.get();
    }
    void EndBody(MimeContext &) override {
        if (Here().body) outline += summary(Here().body->str());
    }
    void EndPart(MimeContext &) override {
        outline += "end\n";
        headers_.pop_back();
    }

private:
    struct Header {
        std::string type, subject, from, to, cc, fields, id, file, disposition, description;
        std::unique_ptr<std::ostringstream> body;
    };

    Header & Here() { return headers_.back(); }
    std::string InUtf8(std::string_view text) const { return in_utf8(text, latin_); }
    std::string Address(std::string const & field, char const * name, char const * address) const {
        return address_line(field, InUtf8(name != nullptr ? name : ""), address);
    }

    bool latin_;
    std::vector<Header> headers_;
};

TEST(RoundTrip, TheReaderReadsWhatIsWritten) {
    unsigned long const code_page = NLS::PlatformCodePage;
    for (auto const & sample : samples()) {
        for (std::size_t const block_size : {4096, 13}) {
            if (block_size == 13 && sample.name.starts_with("size3000000")) continue;
            bool const latin = sample.character_set != std::string("UTF-8");
            NLS::PlatformCodePage = latin ? 1252 : 65001;
            std::istringstream in(write(sample, block_size).front());
            OutlineNote note(in, latin);
            EXPECT_EQ(note.Receive(), MimeINote::Receive_Complete);
            EXPECT_EQ(note.outline, expected(sample)) << sample.name;
        }
    }
    NLS::PlatformCodePage = code_page;
}

} // namespace
