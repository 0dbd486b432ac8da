// bench/send_bench.cpp - writing messages: the bodies come from memory, the blocks are dropped
#include "bench/writing.hpp"

#include "mime/foundation/tokens.hpp"
#include "mime/note/outgoing_note.hpp"

#include <istream>
#include <optional>
#include <streambuf>
#include <vector>

namespace {

class MemoryBuffer : public std::streambuf {
public:
    explicit MemoryBuffer(std::string const & text) {
        char * const first = const_cast<char *>(text.data());
        setg(first, first, first + text.size());
    }
};

class Writer : public MimeONote {
public:
    explicit Writer(bench::Letter const & letter) : letter_(letter) {
        SetNetworkSplitSize(letter.split_size);
        SetCharacterSet("UTF-8");
        SetTextEncoding(RFC1521::quoted_printable);
    }

protected:
    int BeginPart(MimeContext & context) override {
        if (context.part_number == 1 && !is_open_) return is_open_ = true;
        return next_ < letter_.bodies.size() ? 1 : 0;
    }
    int Get_Content_Type(SymToken & type, SymToken & subtype) override {
        if (!is_in_multipart_) {
            is_in_multipart_ = true;
            type = RFC1521::multipart;
            subtype = RFC1521::mixed;
        } else {
            type = letter_.is_text ? RFC1521::text : RFC1521::application;
            subtype = letter_.is_text ? RFC1521::plain : RFC1521::octet_stream;
        }
        return 1;
    }
    int BeginBody(MimeContext &, std::istream ** body) override {
        if (body == nullptr) return 0;
        buffer_.emplace(letter_.bodies[next_++]);
        body_.rdbuf(&*buffer_);
        *body = &body_;
        return 0;
    }
    void BeginOutput() override {}
    void EndOutput() override {}
    void GetOutputBuffer(Buffer & block) override {
        if (free_.empty()) free_.emplace_back(std::size_t{1} << 16);
        lent_.push_back(std::move(free_.back()));
        free_.pop_back();
        block.address = lent_.back().data();
        block.capacity = lent_.back().size();
    }
    void PutOutputBuffer(Buffer & block) override {
        benchmark::DoNotOptimize(block.filled);
        for (auto & each : lent_) {
            if (each.data() != block.address) continue;
            free_.push_back(std::move(each));
            each = std::move(lent_.back());
            lent_.pop_back();
            break;
        }
    }

private:
    bench::Letter const & letter_;
    std::size_t next_ = 0;
    bool is_open_ = false;
    bool is_in_multipart_ = false;
    std::optional<MemoryBuffer> buffer_;
    std::istream body_{nullptr};
    std::vector<std::vector<unsigned char>> lent_;
    std::vector<std::vector<unsigned char>> free_;
};

void write(bench::Letter const & letter) { Writer(letter).Send(); }

} // namespace

static bool const registered = bench::register_writing("vellum", write, true);
