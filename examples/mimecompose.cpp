// examples/mimecompose.cpp - a message from the command line
#include "examples/support/crlf_stream.hpp"
#include "examples/support/media_type.hpp"
#include "examples/support/named_file.hpp"
#include "examples/support/outgoing_part.hpp"
#include "examples/support/output.hpp"
#include "examples/support/text_factory.hpp"
#include "examples/support/text_look.hpp"
#include "examples/support/tree_reader.hpp"
#include "examples/support/tree_writer.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using examples::OutgoingPart;
using PartPointer = std::unique_ptr<OutgoingPart>;

constexpr char const * usage =
    "usage: mimecompose --from A --to B [OPTION...]\n"
    "\n"
    "Writes a message on standard output. Addresses may have names: \"Frau M\xC3\xBCller <m@x>\".\n"
    "\n"
    "  --cc C            one more address; like --to as often as needed\n"
    "  --subject S       in UTF-8, as all that stands on the command line\n"
    "  --text FILE       the text; with --html the two are alternatives\n"
    "  --html FILE       the text as HTML\n"
    "  --attach FILE     a file, byte for byte, as often as needed\n"
    "  --message FILE    a message as it stands in the file; anew if it has 8-bit text\n"
    "  --forward FILE    a message, written anew\n"
    "  --charset NAME    the character set that the text goes out in; UTF-8 without it\n"
    "  --encoding NAME   7bit, 8bit, quoted-printable, base64 or binary for the text; what suits\n"
    "                    it without it\n"
    "  --split BYTES     fragments of about that size, 30720 at least\n"
    "  --out DIR         where the fragments go: DIR/001.eml and so on\n"
    "  --basic           write mail by the letter, and not as the mail of today\n";

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line -------------------------------------------------------------------

struct Options {
    std::vector<OutgoingPart::Address> addresses;
    std::string subject;
    std::string text;
    std::string html;
    std::vector<std::string> attachments;
    std::vector<std::string> messages;
    std::vector<std::string> forwarded;
    std::string charset = "UTF-8";
    char const * encoding = nullptr;
    unsigned int split_size = 0;
    std::string directory;
    MimeONote::Writing writing = MimeONote::Writing_Extended;
};

/// "Name <address>", or an address alone.
OutgoingPart::Address parse_address(char const * field, std::string const & text) {
    std::size_t const open = text.rfind('<');
    if (open == text.npos || text.back() != '>') return {field, "", text};
    std::string name = text.substr(0, open);
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    bool const is_quoted = name.size() >= 2 && name.front() == '"' && name.back() == '"';
    if (is_quoted) name = name.substr(1, name.size() - 2);
    return {field, name, text.substr(open + 1, text.size() - open - 2)};
}

char const * parse_encoding(std::string const & text) {
    for (char const * const token : {RFC1521::ASCII_7bit, RFC1521::ASCII_8bit,
                                     RFC1521::quoted_printable, RFC1521::base64, RFC1521::binary}) {
        if (text == token) return token;
    }
    throw UsageError("no such encoding: " + text);
}

unsigned int parse_size(std::string const & text) {
    char * end = nullptr;
    unsigned long const size = std::strtoul(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || size == 0 || size > 0x7FFFFFFF) {
        throw UsageError("no size in bytes: " + text);
    }
    return static_cast<unsigned int>(size);
}

/// The name that a set has in mail, for names that people and their systems have for it.
char const * name_in_mail(std::string const & typed) {
    struct Name {
        SymToken typed;
        char const * in_mail;
    };
    static Name const names[] = {
        {"utf8", "UTF-8"},          {"latin1", "ISO-8859-1"},   {"latin2", "ISO-8859-2"},
        {"latin9", "ISO-8859-15"},  {"ascii", "US-ASCII"},      {"cp1250", "windows-1250"},
        {"cp1251", "windows-1251"}, {"cp1252", "windows-1252"}, {"sjis", "Shift_JIS"},
        {"eucjp", "EUC-JP"},        {"euckr", "EUC-KR"},
    };
    SymToken const token(typed.c_str());
    for (Name const & name : names) {
        if (name.typed == token) return name.in_mail;
    }
    return NLS::FindCharSet(typed.c_str())->Preferred()->name;
}

/// UTF-8 needs no translator.
bool can_be_written(std::string const & charset) {
    if (SymToken(charset.c_str()) == NLS::UTF_8.name) return true;
    NLS_qxStr_Factory factory;
    NLS_Translator * const translator =
        factory.New(charset.c_str(), static_cast<int>(NLS::PlatformCodePage));
    delete translator;
    return translator != nullptr;
}

void take(Options & options, std::string const & name, std::string const & value) {
    if (name == "--from") {
        options.addresses.push_back(parse_address(RFC822::From, value));
    } else if (name == "--to") {
        options.addresses.push_back(parse_address(RFC822::To, value));
    } else if (name == "--cc") {
        options.addresses.push_back(parse_address(RFC822::cc, value));
    } else if (name == "--subject") {
        options.subject = value;
    } else if (name == "--text") {
        options.text = value;
    } else if (name == "--html") {
        options.html = value;
    } else if (name == "--attach") {
        options.attachments.push_back(value);
    } else if (name == "--message") {
        options.messages.push_back(value);
    } else if (name == "--forward") {
        options.forwarded.push_back(value);
    } else if (name == "--charset") {
        if (!can_be_written(value)) throw UsageError("can't write that character set: " + value);
        options.charset = name_in_mail(value);
    } else if (name == "--encoding") {
        options.encoding = parse_encoding(value);
    } else if (name == "--split") {
        options.split_size = parse_size(value);
    } else if (name == "--out") {
        options.directory = value;
    } else {
        throw UsageError("no such option: " + name);
    }
}

Options parse(std::vector<std::string> const & arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string const & name = arguments[i];
        if (name == "--basic") {
            options.writing = MimeONote::Writing_Basic;
        } else if (++i == arguments.size()) {
            throw UsageError(name + " needs a value");
        } else {
            take(options, name, arguments[i]);
        }
    }
    auto const has = [&](char const * field) {
        return std::any_of(options.addresses.begin(), options.addresses.end(),
                           [field](auto const & each) { return each.field == field; });
    };
    if (!has(RFC822::From) || !has(RFC822::To)) throw UsageError("--from and --to are needed");
    if ((options.split_size != 0) == options.directory.empty()) {
        throw UsageError("--split and --out go together");
    }
    return options;
}

// The parts --------------------------------------------------------------------------

std::unique_ptr<std::istream> open_file(std::string const & name) {
    return std::make_unique<examples::NamedFile>(name);
}

std::unique_ptr<std::istream> open_lines(std::string const & name) {
    return std::make_unique<examples::CrlfStream>(open_file(name));
}

PartPointer make_part(char const * type, char const * subtype) {
    auto part = std::make_unique<OutgoingPart>();
    part->type = type;
    part->subtype = subtype;
    return part;
}

examples::TextLook look_at(std::string const & file) {
    examples::LookingStream looking;
    std::array<char, 1 << 16> block;
    auto const in = open_file(file);
    while (auto const size = in->rdbuf()->sgetn(block.data(), block.size()))
        looking.write(block.data(), size);
    return looking.look();
}

/// Throws if the text isn't what its encoding says of it (RFC 2045 2.7 and 2.8): in its set it may
/// be something else than in the file, so it is written once to look at it.
void check_unencoded(OutgoingPart const & text, std::string const & file,
                     MimeONote::Writing writing) {
    bool const is_7bit = text.encoding == RFC1521::ASCII_7bit;
    if (!is_7bit && text.encoding != RFC1521::ASCII_8bit) return;
    examples::LookingStream looking;
    examples::TreeWriter(text, looking, writing).Write();
    if (looking.look().has_nul() || (is_7bit && looking.look().has_eight_bit())) {
        throw std::runtime_error(file + ": the text can't go out as " + text.encoding);
    }
}

PartPointer make_text(std::string const & file, char const * subtype, Options const & options) {
    PartPointer part = make_part(RFC1521::text, subtype);
    part->charset = options.charset;
    part->is_utf8 = true;
    part->encoding = options.encoding;
    part->open = [file] { return open_lines(file); };
    check_unencoded(*part, file, options.writing);
    return part;
}

/// The set of an attached text; null if it is no text of bytes. RFC 1428 has the name for a text of
/// which nobody said what it is in.
char const * charset_of(std::string const & file) {
    auto const look = look_at(file);
    if (look.has_nul()) return nullptr;
    if (!look.has_eight_bit()) return "US-ASCII";
    return look.is_utf8() ? "UTF-8" : "unknown-8bit";
}

/// A file goes out byte for byte, whatever its type.
PartPointer make_attachment(std::string const & file) {
    std::filesystem::path const path = file;
    examples::MediaType const found = examples::media_type_of(path, *open_file(file));
    PartPointer part = make_part(found.type, found.subtype);
    if (found.type == RFC1521::text) {
        char const * const charset = charset_of(file);
        if (charset == nullptr) part = make_part(RFC1521::application, RFC1521::octet_stream);
        if (charset != nullptr) part->charset = charset;
    }
    part->encoding = RFC1521::base64;
    part->file_name = path.filename().string();
    part->disposition = RFC1806::attachment;
    part->open = [file] { return open_file(file); };
    return part;
}

PartPointer make_forwarded(std::string const & file) {
    using examples::TreeReader;
    PartPointer part = make_part(RFC1521::message, RFC1521::rfc822);
    part->parts.push_back(TreeReader(*open_file(file), TreeReader::Place::within_another).Read());
    return part;
}

/// A message within another is declared as one of seven bits.
PartPointer make_message(std::string const & file) {
    auto const look = look_at(file);
    if (look.has_eight_bit() || look.has_nul()) return make_forwarded(file);
    PartPointer part = make_part(RFC1521::message, RFC1521::rfc822);
    part->open = [file] { return open_lines(file); };
    return part;
}

PartPointer enclose(std::vector<PartPointer> parts, char const * subtype) {
    PartPointer whole = make_part(RFC1521::multipart, subtype);
    whole->parts = std::move(parts);
    return whole;
}

PartPointer compose(Options const & options) {
    std::vector<PartPointer> texts;
    if (!options.text.empty()) texts.push_back(make_text(options.text, "plain", options));
    if (!options.html.empty()) texts.push_back(make_text(options.html, "html", options));
    std::vector<PartPointer> parts;
    if (texts.size() == 2) {
        parts.push_back(enclose(std::move(texts), RFC1521::alternative));
    } else if (!texts.empty()) {
        parts.push_back(std::move(texts.front()));
    }
    for (auto const & file : options.messages)
        parts.push_back(make_message(file));
    for (auto const & file : options.forwarded)
        parts.push_back(make_forwarded(file));
    for (auto const & file : options.attachments)
        parts.push_back(make_attachment(file));
    if (parts.empty()) parts.push_back(make_part(RFC1521::text, RFC1521::plain));
    bool const is_attached = parts.size() > 1 || !options.attachments.empty() ||
                             !options.messages.empty() || !options.forwarded.empty();
    PartPointer message =
        is_attached ? enclose(std::move(parts), RFC1521::mixed) : std::move(parts.front());
    message->addresses = options.addresses;
    if (!options.subject.empty()) message->fields.emplace_back("Subject", options.subject);
    return message;
}

bool write(OutgoingPart const & message, Options const & options) {
    if (options.split_size == 0) {
        return examples::TreeWriter(message, std::cout, options.writing).Write();
    }
    std::filesystem::create_directories(options.directory);
    return examples::TreeWriter(message, options.directory, options.split_size, options.writing)
        .Write();
}

} // namespace

int main(int count, char ** arguments) {
    examples::survive_closed_pipe();
    try {
        NLS::PlatformCodePage = examples::utf8_code_page;
        Options const options = parse({arguments + 1, arguments + count});
        // A file that can't be read is told before anything is written.
        std::vector<std::string> files = options.attachments;
        for (auto const & more : {options.messages, options.forwarded})
            files.insert(files.end(), more.begin(), more.end());
        for (auto const & file : {options.text, options.html}) {
            if (!file.empty()) files.push_back(file);
        }
        for (auto const & file : files)
            open_file(file);
        bool const is_written = write(*compose(options), options);
        if (!examples::finish_output("mimecompose")) return 1;
        if (!is_written) std::cerr << "mimecompose: not all of the message could be written\n";
        return is_written ? 0 : 1;
    } catch (UsageError const & error) {
        std::cerr << "mimecompose: " << error.what() << "\n\n" << usage;
        return 2;
    } catch (std::exception const & error) {
        std::cerr << "mimecompose: " << error.what() << '\n';
        return 1;
    }
}
