// examples/mimetree.cpp - shows what a message is made of: as a tree, as JSON, or call by call
//
// TreeView is the client to begin with. A client derives from MimeINote and overrides what it wants
// to hear of; here that is done by way of PartNote, which gathers what all views need of a part.
#include "examples/support/byte_counter.hpp"
#include "examples/support/event_view.hpp"
#include "examples/support/input.hpp"
#include "examples/support/json_view.hpp"
#include "examples/support/output.hpp"
#include "examples/support/part_note.hpp"
#include "examples/support/told_defect.hpp"
#include "examples/support/utf8.hpp"

#include <mime/vellum.hpp>

#include <filesystem>
#include <iomanip>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using examples::one_line;

constexpr std::size_t longest_text = 200;
constexpr std::size_t longest_name = 4096; ///< Of a file.

/// The addresses of a message's field as text, as many of them as one line should hold, with the
/// names of their groups.
class AddressLine {
public:
    /// `address` is null where none could be read.
    void Add(char const * body, char const * phrase, char const * address) {
        if (address != nullptr) {
            if (++count_ <= most_shown) Append(phrase, address);
        } else if (body != nullptr && unread_.empty()) {
            unread_ = body;
        }
    }

    /// `name` is null behind the group's last member.
    void AddGroup(char const * name) {
        if (count_ > most_shown) return;
        if (name == nullptr) {
            text_ += ';';
        } else {
            Separate();
            (text_ += one_line(name, longest_text)) += ':';
        }
    }

    std::string Text() const {
        if (text_.empty()) return unread_;
        if (count_ <= most_shown) return text_;
        return text_ + " and " + std::to_string(count_ - most_shown) + " more";
    }

private:
    static constexpr int most_shown = 3;

    void Append(char const * phrase, char const * address) {
        Separate();
        if (phrase == nullptr) {
            text_ += address;
        } else {
            ((text_ += one_line(phrase, longest_text)) += " <") += address;
            text_ += '>';
        }
    }

    /// Behind the ":" of a group a blank is enough.
    void Separate() {
        if (!text_.empty()) text_ += text_.back() == ':' ? " " : ", ";
    }

    int count_ = 0;
    std::string text_;
    std::string unread_;
};

/// Prints each part as soon as all is known that is shown of it: a part with others in it in front
/// of those, a leaf behind its body. So nothing has to be kept, however large the message is.
class TreeView : public examples::PartNote {
public:
    TreeView(std::istream & in, std::ostream & out) : PartNote(in, Bodies::translated), out_(out) {}

    /// After Receive.
    void PrintDefects() const {
        for (examples::ToldDefect const & defect : defects_) {
            out_ << "      part " << defect.part_number << " at " << defect.offset
                 << (defect.is_decoded ? " of the decoded message: " : ": ")
                 << MimeDefectText(defect.what) << '\n';
        }
        if (defect_count_ > defects_.size()) {
            out_ << "      and " << defect_count_ - defects_.size() << " defects more\n";
        }
    }

protected:
    void BeginPart(MimeContext & context) override {
        PartNote::BeginPart(context);
        ++level_;
        envelope_ = {};
    }

    // The fields of a message come between BeginHeader and EndHeader.
    void Set_From(char const * field, char const * body, char const * phrase,
                  char const * address) override {
        if (field == RFC822::From) Add(envelope_.from, body, phrase, address);
    }
    void Set_To(char const * field, char const * body, char const * phrase,
                char const * address) override {
        if (field == RFC822::To) Add(envelope_.to, body, phrase, address);
        if (field == RFC822::cc) Add(envelope_.cc, body, phrase, address);
    }
    void Set_Subject(char const * text) override { envelope_.subject = text; }
    void Set_Date(char const * field, char const * body, tm const &) override {
        if (field == RFC822::Date) envelope_.date = body;
    }
    void Set_DateTime(char const * field, char const * body, MimeDateTime const * when) override {
        if (field != RFC822::Date) return;
        envelope_.date = when != nullptr ? DateText(*when) : body;
    }
    void SetGroup(char const * field, char const * name) override {
        if (field == RFC822::From) envelope_.from.AddGroup(name);
        if (field == RFC822::To) envelope_.to.AddGroup(name);
        if (field == RFC822::cc) envelope_.cc.AddGroup(name);
    }

    void EndHeader(MimeContext & context) override {
        bool const is_message = context.multipart_depth == 0;
        if (is_message) PrintEnvelope();
    }

    void BeginBody(MimeContext & context, std::ostream ** data, std::ostream ** raw) override {
        PartNote::BeginBody(context, data, raw);
        if (data == nullptr) PrintPart(context.part_number, {}); // its parts come next
    }
    std::ostream * BeginLeaf(MimeContext &) override {
        counter_.reset();
        return &counter_.stream();
    }
    void EndLeaf(MimeContext & context) override {
        PrintPart(context.part_number, counter_.count());
    }

    // A preamble comes in front of BeginBody, which prints the line of its multipart.
    void BeginPreamble(MimeContext &, std::ostream ** text) override {
        counter_.reset();
        *text = &counter_.stream();
    }
    void EndPreamble(MimeContext &) override { preamble_size_ = counter_.count(); }
    void BeginEpilogue(MimeContext & context, std::ostream ** text) override {
        BeginPreamble(context, text);
    }
    void EndEpilogue(MimeContext &) override { PrintText("epilogue", counter_.count()); }

    void Defect(MimeContext const & context, MimeDefect what, long long offset) override {
        if (++defect_count_ <= most_defects) {
            defects_.push_back({context.part_number, what, offset, context.decoded_depth > 0});
        }
    }

    void EndPart(MimeContext & context) override {
        bool const has_headers_only = context.exact.body_start < 0;
        if (has_headers_only) PrintPart(context.part_number, {});
        --level_;
    }

private:
    struct Envelope {
        AddressLine from;
        AddressLine to;
        AddressLine cc;
        std::string date;
        std::string subject;
    };

    /// In extended reading an element without an address is told by its own text.
    void Add(AddressLine & line, char const * body, char const * phrase,
             char const * address) const {
        bool const is_element = reading() == Reading_Extended && address == nullptr;
        line.Add(body, phrase, is_element ? body : address);
    }

    std::string Indent() const { return std::string(static_cast<std::size_t>(2 * level_), ' '); }

    void PrintEnvelope() {
        PrintField("From", envelope_.from.Text());
        PrintField("To", envelope_.to.Text());
        PrintField("Cc", envelope_.cc.Text());
        PrintField("Date", envelope_.date);
        PrintField("Subject", envelope_.subject);
    }

    void PrintField(std::string_view name, std::string const & text) {
        if (text.empty()) return;
        out_ << "      " << Indent() << std::left << std::setw(9) << name
             << one_line(text, longest_text) << '\n';
    }

    void PrintPart(int number, std::optional<long long> size) {
        out_ << std::right << std::setw(4) << number << "  " << Indent();
        if (size) {
            out_ << std::left << std::setw(36 - 2 * level_) << TypeText() << std::right
                 << std::setw(10) << *size << " bytes";
        } else {
            out_ << TypeText();
        }
        out_ << DetailText() << '\n';
        if (preamble_size_) PrintText("preamble", *std::exchange(preamble_size_, {}));
    }

    /// What a multipart has beside its parts.
    void PrintText(char const * name, long long size) {
        out_ << "        " << Indent() << name << ", " << size << " bytes\n";
    }

    /// In the zone of the text.
    static std::string DateText(MimeDateTime when) {
        TimeString text;
        when.WriteRFC822(text, 1);
        return text;
    }

    std::string TypeText() const {
        std::string text = one_line(Part().type, longest_text);
        if (Part().subtype != nullptr) text += '/' + one_line(Part().subtype, longest_text);
        return text;
    }

    std::string DetailText() const {
        std::string text;
        auto const add = [&text](std::string_view detail) {
            (text += "  ") += one_line(detail, longest_text);
        };
        if (Part().charset) add(*Part().charset);
        if (Part().transfer_encoding != nullptr) add(Part().transfer_encoding);
        if (Part().disposition != nullptr) add(Part().disposition);
        if (Part().file_name) add('"' + *Part().file_name + '"');
        return text;
    }

    std::ostream & out_;
    int level_ = -1;
    Envelope envelope_;
    examples::ByteCounter counter_;
    std::optional<long long> preamble_size_; ///< Of the multipart whose line comes next.

    static constexpr std::size_t most_defects = 1000;
    std::vector<examples::ToldDefect> defects_;
    std::size_t defect_count_ = 0;
};

// The command ----------------------------------------------------------------------

constexpr char const * usage =
    "usage: mimetree [--json | --events] [--basic] [--defects] [--headers-only] [--raw]\n"
    "                [--partial-dir DIR] [FILE...]\n"
    "\n"
    "Shows what each message is made of. Without a FILE, or for \"-\", it reads standard input.\n"
    "\n"
    "  --json          one line of JSON for each message\n"
    "  --events        one line for each call that the engine makes, and the text of the bodies\n"
    "  --basic         read mail by the letter, and not as other readers do\n"
    "  --defects       tell what was passed over, repaired, cut off or guessed, and where: the "
    "number\n"
    "                  of the part, and the offset in the message (--events always tells)\n"
    "  --headers-only  stop behind the header of the message\n"
    "  --raw           leave the bodies encoded (with the blank line in front of each)\n"
    "  --partial-dir DIR  store fragments of messages there, and show a message when its last one\n"
    "                  has come; without it each fragment is shown as the message that it is\n"
    "\n"
    "Text is in UTF-8, and sizes are those of the decoded text.\n";

enum class View { tree, json, events };

struct Options {
    View view = View::tree;
    MimeINote::Reading reading = MimeINote::Reading_Extended;
    bool defects = false;
    bool headers_only = false;
    bool raw = false;
    std::string partial_dir; ///< With a slash at its end; empty for none.
    std::vector<std::string> files;
};

/// Nothing for a command line that can't be understood.
std::optional<Options> parse(std::vector<std::string> const & arguments) {
    Options options;
    bool are_options_over = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string const & argument = arguments[i];
        if (are_options_over || argument.empty() || argument[0] != '-' || argument == "-") {
            options.files.push_back(argument);
        } else if (argument == "--") {
            are_options_over = true;
        } else if (argument == "--json") {
            options.view = View::json;
        } else if (argument == "--events") {
            options.view = View::events;
        } else if (argument == "--basic") {
            options.reading = MimeINote::Reading_Basic;
        } else if (argument == "--defects") {
            options.defects = true;
        } else if (argument == "--headers-only") {
            options.headers_only = true;
        } else if (argument == "--raw") {
            options.raw = true;
        } else if (argument == "--partial-dir" && i + 1 < arguments.size() &&
                   !arguments[i + 1].empty()) {
            options.partial_dir = arguments[++i] + '/';
        } else {
            return {};
        }
    }
    if (options.files.empty()) options.files.push_back("-");
    return options;
}

/// Reads the message into the view, and `print`s what only the end tells. What went wrong with a
/// fragment is returned; else null.
template <typename View, typename Print>
char const * show(View & view, Options const & options, Print print) {
    view.SetReading(options.reading);
    if (options.headers_only) view.SetHeadersOnly(1);
    if (options.raw) view.DeliverRaw();
    if (!options.partial_dir.empty()) view.SetPartialDir(options.partial_dir.c_str());
    auto const result = view.Receive();
    print(result);
    if (result == MimeINote::Receive_Not_Finished && !options.headers_only) {
        return view.top().has_begun ? "not all of the fragments can be read again"
                                    : "the fragment can't be stored";
    }
    bool const is_loose = view.top().is_fragment && !options.partial_dir.empty();
    return is_loose ? "the fragment can't be stored, and is shown as it is" : nullptr;
}

char const * show(std::istream & in, std::string const & file, Options const & options) {
    using Result = MimeINote::ReceiveResult;
    switch (options.view) {
    case View::json: {
        examples::JsonView view(in);
        if (options.defects) view.ShowDefects();
        return show(view, options, [&](Result result) { view.Print(std::cout, file, result); });
    }
    case View::events: {
        examples::EventView view(in, std::cout);
        return show(view, options, [&](Result result) { view.PrintResult(result); });
    }
    case View::tree: break;
    }
    TreeView view(in, std::cout);
    return show(view, options, [&](Result result) {
        if (options.defects) view.PrintDefects();
        if (result != MimeINote::Receive_Fragment_Stored) return;
        std::cout << "      one fragment of a message, stored until the others come\n";
    });
}

/// False, with a line on standard error, if the file can't be read or the fragment in it be stored.
bool show_file(std::string const & file, Options const & options) {
    bool const has_title = options.view != View::json && options.files.size() > 1;
    char const * failure = nullptr;
    bool const is_read = examples::read_input("mimetree", file, [&](std::istream & in) {
        if (has_title) std::cout << one_line(file, longest_name) << '\n';
        failure = show(in, file, options);
        if (has_title) std::cout << '\n';
    });
    if (failure != nullptr) std::cerr << "mimetree: " << file << ": " << failure << '\n';
    return is_read && failure == nullptr;
}

/// False, with a line on standard error, if there is none and it can't be made.
bool make_directory(std::string const & path) {
    std::error_code error;
    if (!path.empty()) std::filesystem::create_directories(path, error);
    if (error) std::cerr << "mimetree: " << path << ": " << error.message() << '\n';
    return !error;
}

} // namespace

int main(int argc, char ** argv) {
    std::ios::sync_with_stdio(false);
    NLS::PlatformCodePage = examples::utf8_code_page; // whatever the locale, the output is UTF-8
    std::vector<std::string> const arguments(argv + 1, argv + argc);
    if (arguments == std::vector<std::string>{"--help"}) {
        std::cout << usage;
        return 0;
    }
    std::optional<Options> const options = parse(arguments);
    if (!options) {
        std::cerr << usage;
        return 2;
    }
    if (!make_directory(options->partial_dir)) return 1;
    bool is_good = true;
    for (std::string const & file : options->files)
        is_good = show_file(file, *options) && is_good;
    return examples::finish_output("mimetree") && is_good ? 0 : 1;
}
