// tests/support/fragments.hpp - a partial store in a directory of its own, messages cut into
// fragments, and a note that tells what came home
#pragma once

#include "mime/foundation/simple_stream.hpp"
#include "mime/note/incoming_note.hpp"
#include "tests/support/chunked.hpp"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <utility>

namespace vellum::test {

/// A directory that lives as long as this object, in memory where the system has such a place.
class StoreDirectory {
public:
    using Files = std::map<std::string, std::string>;

    explicit StoreDirectory(std::filesystem::path const & parent = usual_parent()) {
        std::string name = (parent / "vXXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory for the store");
        prefix_ = name + '/';
    }
    ~StoreDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(prefix_, ignored);
    }
    StoreDirectory(StoreDirectory const &) = delete;
    StoreDirectory & operator=(StoreDirectory const &) = delete;

    std::string const & prefix() const { return prefix_; }
    std::string path(std::string_view name) const { return prefix_ + std::string(name); }

    std::string read(std::string_view name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void write(std::string_view name, std::string_view text) const {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    /// The names of all that is there, in order, each with a blank behind it.
    std::string names() const {
        std::set<std::string> names;
        for (auto const & entry : std::filesystem::directory_iterator(prefix_))
            names.insert(entry.path().filename().string() + ' ');
        return std::accumulate(names.begin(), names.end(), std::string());
    }
    /// The plain files.
    Files files() const {
        Files result;
        for (auto const & entry : std::filesystem::directory_iterator(prefix_)) {
            std::string const name = entry.path().filename().string();
            if (entry.is_regular_file()) result[name] = read(name);
        }
        return result;
    }
    /// Makes the directory hold just these.
    void restore(Files const & wanted) const {
        for (auto const & entry : std::filesystem::directory_iterator(prefix_))
            std::filesystem::remove_all(entry.path());
        for (auto const & [name, text] : wanted)
            write(name, text);
    }

private:
    static std::filesystem::path usual_parent() {
        std::filesystem::path const memory = "/dev/shm";
        return is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    }

    std::string prefix_;
};

/// The Content-Type of a fragment. A number or total of 0 is not written.
inline std::string partial_type(std::string_view id, int number, int total) {
    std::string type = "Content-Type: message/partial; id=\"" + std::string(id) + '"';
    if (number != 0) type += "; number=" + std::to_string(number);
    if (total != 0) type += "; total=" + std::to_string(total);
    return type + "\r\n";
}

/// A message in `total` fragments, each with a text that tells whose it is.
struct Sample {
    std::string id;
    int total;

    std::string text(int number) const {
        return "fragment " + std::to_string(number) + " of " + id + "\r\n";
    }
    std::string body() const {
        std::string result;
        for (int number = 1; number <= total; ++number)
            result += text(number);
        return result;
    }
    std::string fragment(int number) const { return fragment(number, number, total); }
    /// A fragment that gives these as its number and total.
    std::string fragment(int number, int said_number, int said_total) const {
        std::string message = "From: a@b\r\nSubject: a fragment\r\n";
        message += partial_type(id, said_number, said_total) + "\r\n";
        if (number == 1) message += "Subject: " + id + "\r\nX-Dropped: y\r\n\r\n";
        return message + text(number);
    }
};

/// What a note got in one run.
struct Received {
    MimeINote::ReceiveResult result = MimeINote::Receive_Not_Finished;
    int messages = 0;         ///< Messages that were delivered to their end.
    bool is_fragment = false; ///< The last one is a fragment, delivered as it stands.
    std::string subject;
    std::string body;

    /// Whether the last message is this one, whole.
    bool holds(Sample const & sample) const {
        return !is_fragment && subject == sample.id && body == sample.body();
    }
    /// Whether just this message has come home.
    bool is(Sample const & sample) const {
        return result == MimeINote::Receive_Complete && messages == 1 && holds(sample);
    }
};

class FragmentNote : public MimeINote {
public:
    FragmentNote(iSimpleStream & input, std::string const & prefix) : MimeINote(input) {
        SetPartialDir(prefix.c_str());
    }

    std::function<void()> on_begin; ///< Called at the start of each message; may throw.
    /// Called at the end of each message, which a receiver that is killed may not live to tell.
    std::function<void(Received const &)> on_end;

    Received run() {
        received_.result = Receive();
        return received_;
    }

protected:
    void BeginPart(MimeContext & context) override {
        received_.is_fragment = std::string_view(context.item->type) == "message";
        if (on_begin) on_begin();
    }
    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
        body_.str("");
        *data = &body_;
    }
    void EndBody(MimeContext &) override { received_.body = body_.str(); }
    using MimeINote::Set_Subject;
    void Set_Subject(char const * text) override { received_.subject = text; }
    void EndPart(MimeContext &) override {
        ++received_.messages;
        if (on_end) on_end(received_);
    }

private:
    Received received_;
    std::ostringstream body_;
};

/// Receives a message into the store at `prefix`.
inline Received receive(std::string const & prefix, std::string_view message,
                        std::function<void(FragmentNote &)> const & set_up = {}) {
    ExactCopy const copy(message);
    iSimpleStream input(copy.begin(), copy.end());
    FragmentNote note(input, prefix);
    if (set_up) set_up(note);
    return note.run();
}

} // namespace vellum::test
