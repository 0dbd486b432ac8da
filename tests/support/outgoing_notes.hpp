// tests/support/outgoing_notes.hpp - notes for the tests of writing
#pragma once

#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/platform/platform.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vellum::test {

/// 10 February 1998, 08:00:00 UT, for the time of a scope.
class FixedClock {
public:
    static constexpr std::int64_t seconds = 887097600;

    FixedClock() : before_(platform::set_clock([] { return seconds * 1000; })) {}
    ~FixedClock() { platform::set_clock(before_); }
    FixedClock(FixedClock const &) = delete;
    FixedClock & operator=(FixedClock const &) = delete;

private:
    platform::Clock before_;
};

inline std::string const fixed_time = std::to_string(FixedClock::seconds);

/// A message as it stands in a test: each line end becomes CR LF, each "{T}" the fixed time.
inline std::string wire(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') result += '\r';
        bool const time = text.substr(i, 3) == "{T}";
        result += time ? fixed_time : std::string(1, text[i]);
        if (time) i += 2;
    }
    return result;
}

/// Lends blocks of exactly their size from the heap, one for each question, and takes each back
/// once. The physical messages are collected.
class OutputNote : public MimeONote {
public:
    std::size_t block_size = 4096;
    long blocks_to_lend = -1; ///< -1 for no limit; then it lends no more
    long lent = 0;
    std::size_t most_held = 0; ///< bytes lent at one time
    std::vector<std::string> messages;
    std::string calls; ///< B and E for BeginOutput and EndOutput, G and P for the blocks

    std::string SendWhole() {
        messages.clear();
        if (Send() != 1) return "Send failed";
        return messages.size() == 1 ? messages.front() : "more than one message";
    }
    bool AllReturned() const { return blocks_.empty() && !open_; }

    /// Ready for another Send after one that an exception left.
    virtual void Rewind() {
        blocks_.clear();
        messages.clear();
        open_ = false;
    }

    using MimeONote::FlushOutputBuffers;

protected:
    void BeginOutput() override {
        Check(!std::exchange(open_, true), "BeginOutput within a message");
        calls += 'B';
        messages.emplace_back();
    }
    void EndOutput() override {
        Check(std::exchange(open_, false), "EndOutput without a message");
        calls += 'E';
    }
    void GetOutputBuffer(Buffer & block) override {
        Check(block.address == nullptr && block.capacity == 0 && block.filled == 0 &&
                  block.cookie == nullptr,
              "the record isn't clear");
        calls += 'G';
        if (lent == blocks_to_lend) return;
        ++lent;
        auto memory = std::make_unique<unsigned char[]>(block_size);
        block.address = memory.get();
        block.capacity = block_size;
        block.cookie = this;
        blocks_.emplace(block.address, std::move(memory));
        most_held = std::max(most_held, blocks_.size() * block_size);
    }
    void PutOutputBuffer(Buffer & block) override {
        calls += 'P';
        auto const at = blocks_.find(block.address);
        Check(at != blocks_.end(), "this block isn't lent");
        Check(open_, "PutOutputBuffer outside of a message");
        Check(block.filled <= block.capacity && block.capacity == block_size, "block size");
        Check(block.cookie == this, "the cookie is lost");
        messages.back().append(reinterpret_cast<char *>(block.address), block.filled);
        blocks_.erase(at);
    }

private:
    static void Check(bool holds, char const * what) {
        if (!holds) throw std::logic_error(what);
    }

    std::map<unsigned char *, std::unique_ptr<unsigned char[]>> blocks_;
    bool open_ = false;
};

/// A part, and if it stands in the place of a message, its fields. What is unset isn't answered.
struct Part {
    using Text = std::optional<std::string>;
    struct Address {
        Text name;
        Text address;
    };

    Text type;
    Text subtype;
    Text body;
    Text file_name;
    Text boundary;
    Text content_id;
    Text description;
    Text disposition;
    std::vector<Part> parts; ///< of a multipart; or one, the nested message
    std::vector<Address> from;
    std::vector<Address> to;
    std::vector<Address> cc;
    std::optional<Address> notification; ///< Disposition-notification-to
    Text subject;
    Text message_id;
    Text property; ///< the answer to GetProperty, whatever it is asked for
    std::vector<std::pair<std::string, std::string>> fields;
    std::vector<std::pair<std::string, std::string>> last_fields; ///< sent from EndHeader

    Part & With(Text Part::*field, std::string value) {
        this->*field = std::move(value);
        return *this;
    }
};

inline Part part_of(std::string type, std::string subtype, Part::Text body = {}) {
    Part part;
    part.type = std::move(type);
    part.subtype = std::move(subtype);
    part.body = std::move(body);
    return part;
}

inline Part text_part(std::string body, std::string subtype = "plain") {
    return part_of("text", std::move(subtype), std::move(body));
}

inline Part binary_part(std::string body, std::string file_name = {}) {
    Part part = part_of("application", "octet-stream", std::move(body));
    if (!file_name.empty()) part.file_name = std::move(file_name);
    return part;
}

inline Part multipart(std::string subtype, std::vector<Part> parts) {
    Part part = part_of("multipart", std::move(subtype));
    part.parts = std::move(parts);
    return part;
}

inline Part message_part(Part message) {
    Part part = part_of("message", "rfc822");
    part.parts.push_back(std::move(message));
    return part;
}

/// Answers from a description, with a cursor that BeginPart and EndPart move.
class DescribedNote : public OutputNote {
public:
    explicit DescribedNote(Part message) : message_(std::move(message)) {}

    /// All texts are given in one buffer, which each getter overwrites and frees.
    bool one_buffer = false;

    void Rewind() override {
        OutputNote::Rewind();
        path_.clear();
        entry_ = 0;
    }

protected:
    int BeginPart(MimeContext &) override {
        if (path_.empty()) {
            path_.push_back({&message_, 0});
            return 1;
        }
        Level & around = path_.back();
        if (around.next == around.part->parts.size()) return 0;
        path_.push_back({&around.part->parts[around.next++], 0});
        return 1;
    }
    void EndPart(MimeContext &) override { path_.pop_back(); }
    void EndHeader(MimeContext &) override { SendAll(part().last_fields); }

    int BeginBody(MimeContext &, std::istream ** body) override {
        if (body == nullptr || !part().body) return 0;
        path_.back().body = std::make_unique<std::istringstream>(*part().body);
        *body = path_.back().body.get();
        return 1;
    }
    void EndBody(MimeContext &) override { path_.back().body.reset(); }

    int Get_Content_Type(SymToken & type, SymToken & subtype) override {
        if (part().type) type = part().type->c_str();
        if (part().subtype) subtype = part().subtype->c_str();
        return 1;
    }
    int Get_Content_Disposition(SymToken & disposition, char const *&) override {
        if (part().disposition) disposition = part().disposition->c_str();
        return 0;
    }
    int Get_From(SymToken & field, char const *& name, char const *& address) override {
        return field == RFC822::From && Next(part().from, name, address);
    }
    int Get_To(SymToken & field, char const *& name, char const *& address) override {
        if (field == RFC822::To) return Next(part().to, name, address);
        return field == RFC822::cc && Next(part().cc, name, address);
    }
    int Get_Disposition_notification_to(char const *& name, char const *& address) override {
        Forget();
        if (!part().notification) return 0;
        Lend(part().notification->name, name);
        Lend(part().notification->address, address);
        return 1;
    }
    int GetProperty(char const *, char const *& value) override {
        return Give(part().property, value);
    }
    int Get_Subject(char const *& value) override { return Give(part().subject, value); }
    int Get_Message_Id(char const *& value) override { return Give(part().message_id, value); }
    int Get_Content_Id(char const *& value) override { return Give(part().content_id, value); }
    int Get_Content_Description(char const *& value) override {
        return Give(part().description, value);
    }
    int GetFileName(char const *& value) override { return Give(part().file_name, value); }
    int GetBoundary(char const *& value) override { return Give(part().boundary, value); }
    void PutXFields() override {
        if (path_.back().fields_sent) return;
        path_.back().fields_sent = true;
        SendAll(part().fields);
    }

    /// The part in hand; the message when no part is (the last fragment asks for its id then).
    Part const & part() const { return path_.empty() ? message_ : *path_.back().part; }

private:
    struct Level {
        Part const * part;
        std::size_t next;
        bool fields_sent = false;
        std::unique_ptr<std::istringstream> body = nullptr;
    };

    void Forget() {
        for (auto & text : lent_)
            std::fill(text.begin(), text.end(), '#');
        lent_.clear();
    }
    void Lend(Part::Text const & text, char const *& value) {
        value = text ? Lent(*text) : nullptr;
    }
    char const * Lent(std::string const & text) {
        if (!one_buffer) return text.c_str();
        return lent_.emplace_back(text.c_str(), text.c_str() + text.size() + 1).data();
    }
    int Give(Part::Text const & text, char const *& value) {
        Forget();
        Lend(text, value);
        return text ? 1 : 0;
    }
    void SendAll(std::vector<std::pair<std::string, std::string>> const & fields) {
        for (auto const & [name, value] : fields) {
            Forget();
            SendField(Lent(name), Lent(value));
        }
    }
    int Next(std::vector<Part::Address> const & list, char const *& name, char const *& address) {
        if (entry_ == list.size()) {
            entry_ = 0;
            return 0;
        }
        Forget();
        Part::Address const & entry = list[entry_++];
        Lend(entry.name, name);
        Lend(entry.address, address);
        return 1;
    }

    Part const message_;
    std::list<std::vector<char>> lent_;
    std::vector<Level> path_;
    std::size_t entry_ = 0;
};

} // namespace vellum::test
