// examples/mimeextract.cpp - writes the decoded body of each leaf of a message to a file of its own
//
// A file is named by its part's number, then "-" and a safe form of the name that the message gives
// it; or by the number and the extension of its type, if it gives none. Text is written in UTF-8.
// Nothing that a message says places a file elsewhere or overwrites one.
#include "examples/support/arguments.hpp"
#include "examples/support/input.hpp"
#include "examples/support/media_type.hpp"
#include "examples/support/new_file.hpp"
#include "examples/support/output.hpp"
#include "examples/support/part_note.hpp"
#include "examples/support/safe_file_name.hpp"

#include <mime/vellum.hpp>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>

namespace {

namespace fs = std::filesystem;

class Extractor : public examples::PartNote {
public:
    Extractor(std::istream & in, fs::path directory)
        : PartNote(in, Bodies::translated), directory_(std::move(directory)) {}

    /// No file failed.
    bool is_good() const { return is_good_; }

protected:
    std::ostream * BeginLeaf(MimeContext & context) override {
        path_ = directory_ / FileName(context.part_number);
        file_.emplace(path_);
        if (file_->is_open()) return &file_->stream();
        Complain(std::strerror(errno));
        file_.reset();
        return nullptr;
    }

    void EndLeaf(MimeContext &) override {
        if (!file_) return;
        if (file_->close()) {
            std::cout << path_.string() << '\n';
        } else {
            Complain("not all of it could be written");
        }
        file_.reset();
    }

private:
    std::string FileName(int part_number) const {
        std::string const number = std::to_string(part_number);
        std::string const name = examples::safe_file_name(Part().file_name.value_or(""));
        return name.empty() ? number + '.' + examples::extension_for(Part().type, Part().subtype)
                            : number + '-' + name;
    }

    void Complain(char const * reason) {
        std::cerr << "mimeextract: " << path_.string() << ": " << reason << '\n';
        is_good_ = false;
    }

    fs::path directory_;
    fs::path path_; // of the leaf that is being read
    std::optional<examples::NewFile> file_;
    bool is_good_ = true;
};

/// False, with a line on standard error for each failure, if not everything could be written.
bool extract(std::istream & in, fs::path const & directory, MimeINote::Reading reading) {
    std::error_code error;
    fs::create_directories(directory, error);
    if (error) {
        std::cerr << "mimeextract: " << directory.string() << ": " << error.message() << '\n';
        return false;
    }
    Extractor note(in, directory);
    note.SetReading(reading);
    note.Receive();
    return note.is_good();
}

constexpr char const * usage =
    "usage: mimeextract [--basic] FILE DIR\n"
    "\n"
    "Writes the decoded body of each part of the message in FILE to a new file in DIR, which is\n"
    "made if there is none, text in UTF-8. For \"-\" it reads standard input.\n"
    "\n"
    "  --basic  read mail by the letter, and not as other readers do\n";

} // namespace

int main(int argc, char ** argv) {
    examples::survive_closed_pipe();
    std::ios::sync_with_stdio(false);
    NLS::PlatformCodePage = examples::utf8_code_page; // file names are UTF-8, whatever the locale
    examples::Arguments const arguments(argc, argv);
    if (arguments.names.size() != 2) {
        std::cerr << usage;
        return 2;
    }
    std::string const & file = arguments.names[0];
    std::string const & directory = arguments.names[1];
    bool is_written = false;
    bool const is_read = examples::read_input("mimeextract", file, [&](std::istream & in) {
        is_written = extract(in, directory, arguments.reading);
    });
    return examples::finish_output("mimeextract") && is_read && is_written ? 0 : 1;
}
