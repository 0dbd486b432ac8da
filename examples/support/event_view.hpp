// examples/support/event_view.hpp - a message as the calls that it makes, one line each
#pragma once

#include "examples/support/event_printer.hpp"
#include "examples/support/part_note.hpp"

#include <istream>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>

namespace examples {

/// Writes text as quoted lines with a word in front: a line for each line of the text, or for each
/// 64 bytes of a longer one. So the output doesn't depend on the pieces that the text comes in.
class QuotedLines : public std::ostream {
public:
    QuotedLines(std::ostream & target, char const * word)
        : std::ostream(&buffer_), buffer_(target, word) {}

    /// Writes what is left.
    void Finish() { buffer_.Finish(); }

private:
    class Buffer : public std::streambuf {
    public:
        Buffer(std::ostream & out, char const * word) : out_(out), word_(word) {}
        void Finish();

    private:
        int_type overflow(int_type byte) override;
        std::streamsize xsputn(char const * data, std::streamsize size) override;
        void Put(char byte);

        std::ostream & out_;
        char const * const word_;
        std::string line_;
    };
    Buffer buffer_;
};

/// Prints each call as it comes. Text comes in UTF-8. It reads in the extended way unless
/// SetReading says otherwise.
class EventView : public EventPrinter {
public:
    EventView(std::istream & in, std::ostream & out) : EventPrinter(in), out_(out) {
        SetNLS(new NLS_qxStr_Factory, 1);
        SetPartialDir(no_directory);
        SetReading(Reading_Extended);
        prints_raw_fields = prints_defects = prints_preambles = true;
    }

    /// Bodies are delivered as they stand in the message, with the blank line in front of them.
    void DeliverRaw() { is_raw_ = true; }
    TopPart const & top() const { return top_; }
    /// After Receive.
    void PrintResult(ReceiveResult result) { PutResult(result); }

private:
    void BeginPart(MimeContext & context) override {
        top_.See(context);
        EventPrinter::BeginPart(context);
    }
    void PutLine(std::string line) override { out_ << (line += '\n'); }
    void OpenBody(std::ostream ** data, std::ostream ** raw) override {
        if (data != nullptr) *(is_raw_ ? raw : data) = is_raw_ ? &raw_ : &data_;
    }
    void CloseBody() override {
        data_.Finish();
        raw_.Finish();
    }
    void OpenText(std::ostream ** text) override { *text = &text_; }
    void CloseText() override { text_.Finish(); }

    std::ostream & out_;
    QuotedLines data_{out_, "data"};
    QuotedLines raw_{out_, "raw"};
    QuotedLines text_{out_, "text"};
    TopPart top_;
    bool is_raw_ = false;
};

} // namespace examples
