// mime/send/output_splitter.hpp - the message writer's output: blocks of the client, and fragments
//
// Without a split size each full block goes to the client at once. With one, the blocks of the
// fragment in progress are held, and when they reach the size a message/partial fragment goes out
// (RFC 2046 5.2.2), while the rest of the message isn't even known:
//
//     BeginOutput
//       common header     the fields in front of Subject, a copy for each fragment
//       fragment header   Subject, Message-Id, ..., Content-Type: message/partial; number=1; id=...
//       data              the held blocks, up to the last line end in them
//     EndOutput
//
// Nothing is changed afterwards, so only the last fragment tells the total. Joined in order, the
// data of all fragments behind one common header are the message.
#pragma once

#include "mime/export.hpp"
#include "mime/foundation/simple_stream.hpp"

#include <functional>
#include <iosfwd>
#include <vector>

class MimeONote;

/// Writes into the blocks that a note lends, and gives each back once. It never allocates a buffer
/// and has no sink.
///
/// Blocks may have any size from 1 byte on. A fragment ends behind its last line end if it has one
/// at all, and else where the block ends. While the header of the top message is written, blocks
/// are used to their end and nothing is cut. When the note lends no block the output has ended: it
/// isn't good any more, what is written is dropped, and the note is asked for no further block.
///
/// An exception of the note's passes through. While it is on its way the destructor makes no call;
/// the blocks that were held are the client's.
class VELLUM_EXPORT oBufferStream : public oSimpleStream {
public:
    /// Calls BeginOutput and takes the first block; without one the stream isn't good. Whether the
    /// message may be split is settled now, by the split size of `note`, which outlives the stream.
    explicit oBufferStream(MimeONote * note);

    /// As Finish, unless that was done or an exception is on its way. What the note throws can't
    /// leave a destructor: it stays inside. A caller that wants to see it calls Finish.
    ~oBufferStream() override;

    /// Hands the current block on, to the client or to the held ones, and takes a new one; cuts a
    /// fragment if it is time. `request` doesn't matter.
    void Overflow(unsigned int request) override;

    /// Takes a block from the note as the current one.
    void GetBuffer();
    /// Gives the current block to the note with what is in it, and leaves the stream without one.
    void PutBuffer();

    /// The message isn't split, whatever its size. Called while its header is written.
    void KeepWhole();

    /// Takes all that is held as the header to repeat in each fragment. Nothing for a message that
    /// isn't split.
    void SaveCommonHeader();

    /// The header of the top message is complete: from now on fragments are cut, and each gets its
    /// header from `fragment_header`, which writes into this stream all fields behind the common
    /// header, and the blank line. It is called within the write that fills the fragment, and by
    /// Finish; its argument tells whether the fragment is the last one. A stream that is never told
    /// cuts nothing.
    void HeaderDone(std::function<void(bool last)> fragment_header);

    /// Copies `source` to its end, read straight into the current block.
    void CopyFrom(std::streambuf & source);

    /// Has what stands in the current block handed on. Nothing while an output operation is called
    /// or a fragment cut.
    void FlushBlock();

    /// The end of the message: delivers what is held and calls EndOutput. True if no byte was
    /// dropped. It is done once; from then on the output has ended.
    bool Finish();

    /// Whether one of the note's output operations is being called: nothing can be written then.
    bool Busy() const { return busy_; }

    /// While one lives the current block stays: a FlushBlock waits for FlushIfAsked.
    class KeepBlock {
    public:
        explicit KeepBlock(oBufferStream & stream) : kept_(stream.kept_) { kept_ = true; }
        ~KeepBlock() { kept_ = false; }
        KeepBlock(KeepBlock const &) = delete;
        KeepBlock & operator=(KeepBlock const &) = delete;

    private:
        bool & kept_;
    };
    void FlushIfAsked();

private:
    /// Filled blocks in their order.
    struct HeldBlocks {
        std::vector<Buffer> blocks;
        long long size = 0; // bytes in them

        void Add(Buffer const & block);
        void Add(std::vector<Buffer>::const_iterator first,
                 std::vector<Buffer>::const_iterator last);
        void Empty(); // the blocks stay, their bytes don't count any more
    };
    /// A place between two bytes of held blocks.
    struct Place {
        std::size_t block;
        std::size_t offset;
    };
    enum class SplitState { never, armed, cut };
    enum class Writing { message, fragment_header, moved_line };

    static bool FindLineEnd(HeldBlocks const & held, Place & behind);

    long long Budget() const;
    bool MustCut() const;
    void Trim();
    void HoldBlock();
    void Cut();
    void PutCommonHeader();
    void PutFragmentHeader(bool last);
    void MoveLine(HeldBlocks & fragment);
    void HandOver(HeldBlocks & held);
    void CallNote(void (MimeONote::*operation)());

    MimeONote * note_;
    Buffer current_;
    HeldBlocks held_; // of the fragment in progress, but for the current block
    HeldBlocks common_header_;
    SplitState split_state_;
    Writing writing_ = Writing::message;
    std::function<void(bool)> fragment_header_; // empty while the top header is open
    bool open_ = true;                          // there is something to finish
    bool ended_ = false; // the note lent no block, or the message is finished
    bool busy_ = false;
    bool kept_ = false;
    bool flush_waits_ = false;
    int exceptions_; // on their way at construction
};
