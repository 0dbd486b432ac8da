// tests/support/outgoing_notes.hpp - a note whose answers are data, for the tests of writing
#pragma once

#include "mime/foundation/tokens.hpp"
#include "mime/nls/charset.hpp"
#include "mime/note/outgoing_note.hpp"
#include "mime/platform/platform.hpp"
#include "mime/platform/random.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <istream>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vellum::test {

/// Sets something for the time of a scope. `set` returns what was set before.
template <auto set>
class Scoped {
    using Value = decltype(set({}));

public:
    explicit Scoped(Value value) : before_(set(value)) {}
    ~Scoped() { set(before_); }
    Scoped(Scoped const &) = delete;
    Scoped & operator=(Scoped const &) = delete;

private:
    Value before_;
};

inline unsigned long set_code_page(unsigned long page) {
    return std::exchange(NLS::PlatformCodePage, page);
}
using CodePage = Scoped<set_code_page>;

/// 10 February 1998, 08:00:00 UT.
struct FixedClock : Scoped<platform::set_clock> {
    static constexpr std::int64_t seconds = 887097600;
    FixedClock() : Scoped([] { return seconds * 1000; }) {}
};

/// Random texts are "aaa...", "baa...", "caa..." and so on.
struct FixedRandom : Scoped<platform::set_random> {
    FixedRandom() : Scoped(Next) { draw_ = 0; }

private:
    static bool Next(std::span<std::byte> bytes) {
        std::fill(bytes.begin(), bytes.end(), std::byte{0});
        bytes[0] = static_cast<std::byte>(draw_++ << 3);
        return true;
    }

    static inline unsigned draw_ = 0;
};

inline std::string const fixed_time = std::to_string(FixedClock::seconds);

/// A part, and if it stands in the place of a message, its fields. What is unset isn't answered.
struct Part {
    using Text = std::optional<std::string>;
    struct Address {
        Text name;
        Text address;
        Text moved = {}; ///< the token that the entry is moved to
    };
    using Fields = std::vector<std::pair<std::string, std::string>>;

    Text type = {};
    Text subtype = {};
    /// By what is asked for: "Body", "Boundary", "FileName", "Subject" and so on. "Property" stands
    /// for each property that has no text of its own.
    std::map<std::string, Text, std::less<>> texts = {};
    /// By field; of Disposition-notification-to one entry counts.
    std::map<std::string, std::vector<Address>, std::less<>> addresses = {};
    /// "X" is sent from PutXFields, "last" from EndHeader, "trace" from PutTraceFields, and "raw"
    /// (whole fields without names) from PutHeader. "parameter" has those of Content-Type,
    /// "disposition" those of Content-Disposition.
    std::map<std::string, Fields, std::less<>> fields = {};
    std::vector<Part> parts = {}; ///< of a multipart; or one, the nested message
    int result = -1;              ///< of every getter of a text; below 0: whether there is a text

    Part & With(std::string const & key, std::string value) {
        texts[key] = std::move(value);
        return *this;
    }
    Text const & text(std::string_view key) const { return find(texts, key); }
    std::vector<Address> const & list(std::string_view key) const { return find(addresses, key); }
    Fields const & fields_of(std::string_view key) const { return find(fields, key); }

private:
    template <class Map>
    static typename Map::mapped_type const & find(Map const & map, std::string_view key) {
        static typename Map::mapped_type const none;
        auto const at = map.find(key);
        return at == map.end() ? none : at->second;
    }
};

inline Part part_of(std::string type, std::string subtype, Part::Text body = {},
                    std::vector<Part> parts = {}) {
    Part part;
    part.type = std::move(type);
    part.subtype = std::move(subtype);
    part.texts["Body"] = std::move(body);
    part.parts = std::move(parts);
    return part;
}

inline Part text_part(std::string body, std::string subtype = "plain") {
    return part_of("text", std::move(subtype), std::move(body));
}

inline Part binary_part(std::string body, std::string file_name = {}) {
    Part part = part_of("application", "octet-stream", std::move(body));
    return file_name.empty() ? part : part.With("FileName", std::move(file_name));
}

inline Part multipart(std::string subtype, std::vector<Part> parts) {
    return part_of("multipart", std::move(subtype), {}, std::move(parts));
}

inline Part message_part(Part message) {
    return part_of("message", "rfc822", {}, {std::move(message)});
}

/// Answers from a description, with a cursor that BeginPart and EndPart move. Lends blocks of
/// exactly their size from the heap, one for each question, and takes each back once. Checks what
/// every call has to find, and throws where it doesn't.
class DescribedNote : public MimeONote {
public:
    explicit DescribedNote(Part message = {}) : answers(std::move(message)) {}

    Part answers;
    bool is_dated = true;            ///< else the present time is written
    bool one_buffer = false;         ///< texts are given in a buffer that each getter frees
    std::istream * stream = nullptr; ///< for all bodies, in place of the description's
    std::size_t piece_size = 0;      ///< of a body, for each question; 0 for all at once
    std::size_t block_size = 4096;
    long blocks_to_lend = -1; ///< -1 for no limit; then it lends no more

    /// Called at the begin of each call of the engine with its name, and where it has one with its
    /// context. "Read" is a question for more of a body.
    std::function<void(std::string_view call, MimeContext * context)> on_call;

    std::vector<std::string> messages; ///< the physical messages
    long lent = 0;
    std::size_t most_held = 0; ///< bytes lent at one time
    std::string calls;         ///< B and E for BeginOutput and EndOutput, G and P for the blocks

    std::string SendWhole() {
        messages.clear();
        if (Send() != 1) return "Send failed";
        return messages.size() == 1 ? messages.front() : "more than one message";
    }
    /// Whether all is ended that was begun, and all blocks are back.
    bool AllReturned() const { return blocks_.empty() && !open_ && path_.empty(); }

    /// Ready for another Send after one that an exception left.
    void Rewind() {
        blocks_.clear();
        messages.clear();
        path_.clear();
        asked_ = nullptr;
        open_ = false;
    }

    using MimeONote::FlushOutputBuffers;

protected:
    int BeginPart(MimeContext & context) override {
        Call("BeginPart", &context);
        bool const is_first = path_.empty();
        if (!is_first && path_.back().next == path_.back().part->parts.size()) return 0;
        Part const & next = is_first ? answers : path_.back().part->parts[path_.back().next++];
        path_.push_back({&next, 0});
        return 1;
    }
    void EndPart(MimeContext & context) override {
        Call("EndPart", &context);
        Check(!path_.back().in_body, "EndPart within a body");
        path_.pop_back();
    }
    int BeginHeader(MimeContext & context) override {
        Call("BeginHeader", &context);
        return 0;
    }
    void EndHeader(MimeContext & context) override {
        Call("EndHeader", &context);
        SendAll("last");
    }
    int PutHeader(MimeContext & context) override {
        Call("PutHeader", &context);
        for (auto const & [none, field] : part().fields_of("raw")) {
            Forget();
            if (SendRawField(field.data(), field.size()) == 0) SendField("X-Refused", "");
        }
        return !part().fields_of("raw").empty();
    }
    void PutTraceFields() override { SendAll("trace"); }
    int GetPreamble(MimeContext & context, std::istream ** text) override {
        Call("GetPreamble", &context);
        return GiveBody("Preamble", text);
    }
    int GetEpilogue(MimeContext & context, std::istream ** text) override {
        Call("GetEpilogue", &context);
        return GiveBody("Epilogue", text);
    }
    int BeginBody(MimeContext & context, std::istream ** body) override {
        Call(body == nullptr ? "BeginBody(null)" : "BeginBody", &context);
        Check(!std::exchange(path_.back().in_body, true), "BeginBody within a body");
        if (body == nullptr) return 0;
        if (stream == nullptr) return GiveBody("Body", body);
        *body = stream;
        return 1;
    }
    void EndBody(MimeContext & context) override {
        Call("EndBody", &context);
        Check(std::exchange(path_.back().in_body, false), "EndBody without a body");
        path_.back().body.reset();
    }

    int Get_Content_Type(SymToken & type, SymToken & subtype) override {
        Call("Type");
        if (part().type) type = part().type->c_str();
        if (part().subtype) subtype = part().subtype->c_str();
        return 1;
    }
    int Get_Content_Disposition(SymToken & disposition, char const *& name) override {
        if (auto const & own = part().text("Disposition")) disposition = own->c_str();
        return Give("Disposition", part().text("Disposition-Name"), name);
    }
    int Get_Parameter(char const * field, int index, char const *& name,
                      char const *& value) override {
        bool const of_type = field == RFC1521::Content_Type;
        auto const & list = part().fields_of(of_type ? "parameter" : "disposition");
        if (static_cast<std::size_t>(index) == list.size()) return 0;
        auto const & [own_name, own_value] = list.at(static_cast<std::size_t>(index));
        name = own_name.c_str();
        value = own_value.c_str();
        return 1;
    }
    int Get_From(SymToken & field, char const *& name, char const *& address) override {
        return Next(field, name, address);
    }
    int Get_To(SymToken & field, char const *& name, char const *& address) override {
        return Next(field, name, address);
    }
    int Get_Disposition_notification_to(char const *& name, char const *& address) override {
        SymToken field(MDN::Disposition_notification_to);
        return Next(field, name, address);
    }
    int Get_Date(std::tm & when, int & offset) override {
        Call("Date");
        Check(offset == 0, "an offset before the call");
        when.tm_year = 98;
        when.tm_mon = 1;
        when.tm_mday = 10;
        when.tm_hour = 8;
        when.tm_wday = 2;
        return is_dated;
    }
    int GetProperty(char const * name, char const *& value) override {
        Part::Text const & own = part().text(name);
        return Give(name, own ? own : part().text("Property"), value);
    }
    int Get_Message_Id(char const *& value) override { return Give("Message-Id", value); }
    int GetFileName(char const *& value) override { return Give("FileName", value); }
    int GetBoundary(char const *& value) override { return Give("Boundary", value); }
    void PutXFields() override {
        Call("PutXFields");
        if (!std::exchange(path_.back().fields_sent, true)) SendAll("X");
    }

    void BeginOutput() override {
        Call("BeginOutput");
        Check(!std::exchange(open_, true), "BeginOutput within a message");
        calls += 'B';
        messages.emplace_back();
    }
    void EndOutput() override {
        Call("EndOutput");
        Check(std::exchange(open_, false), "EndOutput without a message");
        calls += 'E';
    }
    void GetOutputBuffer(Buffer & block) override {
        Call("GetOutputBuffer");
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
        Call("PutOutputBuffer");
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
    /// A body that tells when it is asked for more.
    struct Body : std::streambuf {
        Body(DescribedNote & asked, std::string bytes) : note(asked), text(std::move(bytes)) {}

        int_type underflow() override {
            note.Call("Read");
            char * const from = egptr() == nullptr ? text.data() : egptr();
            std::size_t const left = text.size() - static_cast<std::size_t>(from - text.data());
            std::size_t const most = note.piece_size == 0 ? left : note.piece_size;
            setg(from, from, from + std::min(left, most));
            return left == 0 ? traits_type::eof() : traits_type::to_int_type(*from);
        }

        DescribedNote & note;
        std::string text;
        std::istream stream{this};
    };

    struct Level {
        Part const * part;
        std::size_t next;
        bool fields_sent = false;
        bool in_body = false;
        std::unique_ptr<Body> body = nullptr;
    };

    static void Check(bool holds, char const * what) {
        if (!holds) throw std::logic_error(what);
    }
    void Call(char const * name, MimeContext * context = nullptr) {
        if (on_call) on_call(name, context);
    }

    /// The part in hand; the message when no part is (the last fragment asks for its id then).
    Part const & part() const { return path_.empty() ? answers : *path_.back().part; }

    void Forget() {
        for (auto & text : lent_)
            std::fill(text.begin(), text.end(), '#');
        lent_.clear();
    }
    char const * Lent(Part::Text const & text) {
        if (!text || !one_buffer) return text ? text->c_str() : nullptr;
        return lent_.emplace_back(text->c_str(), text->c_str() + text->size() + 1).data();
    }
    int Give(char const * name, Part::Text const & text, char const *& value) {
        Call(name);
        Check(value == nullptr, "a value before the call");
        Forget();
        value = Lent(text);
        return part().result < 0 ? text.has_value() : part().result;
    }
    int Give(char const * name, char const *& value) {
        return Give(name, part().text(name), value);
    }
    void SendAll(std::string_view key) {
        for (auto const & [name, value] : part().fields_of(key)) {
            Forget();
            SendField(Lent(name), Lent(value));
        }
    }
    int GiveBody(std::string_view key, std::istream ** body) {
        Part::Text const & text = part().text(key);
        if (!text) return 0;
        path_.back().body = std::make_unique<Body>(*this, *text);
        *body = &path_.back().body->stream;
        return 1;
    }
    int Next(SymToken & field, char const *& name, char const *& address) {
        Call(field);
        char const * const asked = field;
        if (std::exchange(asked_, asked) != asked) entry_ = 0;
        bool const is_first = entry_ == 0;
        Check(name == (is_first ? nullptr : name_) && address == (is_first ? nullptr : address_),
              "name and address aren't as they were left");
        auto const & list = part().list(asked);
        if (entry_ == list.size()) {
            asked_ = nullptr;
            return 0;
        }
        Forget();
        Part::Address const & entry = list[entry_++];
        if (entry.moved) field = entry.moved->c_str();
        name_ = name = Lent(entry.name);
        address_ = address = Lent(entry.address);
        return 1;
    }

    std::map<unsigned char *, std::unique_ptr<unsigned char[]>> blocks_;
    bool open_ = false;
    std::list<std::vector<char>> lent_;
    std::vector<Level> path_;
    char const * asked_ = nullptr; ///< the field of the series of addresses, and its place
    std::size_t entry_ = 0;
    char const * name_ = nullptr;
    char const * address_ = nullptr;
};

/// Checks that `messages` are the fragments of one message, with an id of their own, numbered,
/// and cut behind a line where they have a line end; and returns what they join to.
inline std::string joined(std::vector<std::string> const & messages) {
    // A fragment's own fields begin with its subject, and in the first fragment the message's do.
    std::string const common = messages[0].substr(0, messages[0].find("\r\nSubject: ") + 2);
    std::string result = common;
    std::string id;
    for (std::size_t i = 1; i <= messages.size(); ++i) {
        std::string const & message = messages[i - 1];
        bool const is_last = i == messages.size();
        std::string const number = std::to_string(i);
        std::string const type = "\r\nContent-Type: message/partial; number=" + number +
                                 (is_last ? "; total=" + number : "") + ";\r\n    id=";
        std::size_t const at = message.find(type);
        if (at == message.npos || !message.starts_with(common)) return "no fragment " + number;
        std::size_t const id_at = at + type.size();
        std::size_t const end = message.find("\r\n\r\n", id_at);
        std::string const own_id = message.substr(id_at, end - id_at);
        if (std::exchange(id, own_id) != own_id && i > 1) return "another id " + own_id;
        std::string const data = message.substr(end + 4);
        if (!is_last && data.find("\r\n") != data.npos && !data.ends_with("\r\n"))
            return "a cut in a line behind fragment " + number;
        result += data;
    }
    return result;
}

} // namespace vellum::test
