// examples/support/streamed_note.hpp - the note that writes a message to a stream, in one piece
#pragma once

#include <mime/vellum.hpp>

#include <array>
#include <cstddef>
#include <ostream>

namespace examples {

/// Writes as the mail of today is written, with text in UTF-8. A note whose message may be cut
/// needs more blocks of memory than this one lends.
class StreamedNote : public MimeONote {
public:
    /// The stream outlives the note.
    explicit StreamedNote(std::ostream & out) : out_(out) {
        SetWriting(Writing_Extended);
        SetNLS(new NLS_qxStr_Factory, 1);
        SetCharacterSet("UTF-8");
    }

    /// False if what was written isn't all there.
    bool Write() { return Send() == 1 && out_.good(); }

protected:
    void BeginOutput() override {}
    void EndOutput() override { out_.flush(); }
    void GetOutputBuffer(Buffer & block) override {
        block.address = block_.data();
        block.capacity = block_.size();
    }
    void PutOutputBuffer(Buffer & block) override {
        out_.write(reinterpret_cast<char const *>(block.address),
                   static_cast<std::streamsize>(block.filled));
    }

private:
    std::ostream & out_;
    std::array<unsigned char, std::size_t{1} << 16> block_;
};

} // namespace examples
