// bench/receive_bench.cpp - reading messages: every field reported, every body decoded and dropped
//
// The peer reads the same messages from memory in peer_gmime.cpp; compare the pairs of one run.
#include "bench/dropping.hpp"
#include "bench/messages.hpp"
#include "bench/workloads.hpp"

#include "mime/foundation/simple_stream.hpp"
#include "mime/note/incoming_note.hpp"

#include <benchmark/benchmark.h>

#include <ostream>

namespace {

class Reader : public MimeINote {
public:
    explicit Reader(iSimpleStream & in) : MimeINote(in) {}

protected:
    void BeginBody(MimeContext &, std::ostream ** data, std::ostream **) override {
        if (data != nullptr) *data = &sink_;
    }
    void SetProperty(char const *, MimeString const & value) override {
        benchmark::DoNotOptimize(value.get_Length());
    }

private:
    bench::DroppingBuffer dropping_;
    std::ostream sink_{&dropping_};
};

void receive(std::string const & message) {
    char * const text = const_cast<char *>(message.data());
    iSimpleStream in(text, text + message.size());
    Reader(in).Receive();
}

} // namespace

static bool const registered = bench::register_reading("vellum", receive);
