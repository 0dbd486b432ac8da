// mime/send/output_splitter.cpp - the message writer's output: blocks of the client, and fragments
//
// Sizes:   a fragment is cut when its data, the fields of its own and the common header reach the
//          split size; of the first fragment the common header isn't counted. Blocks end early, so
//          that the cut comes at that size and not at the end of a block.
// Bounds:  a fragment has room for `least_data` whatever the header takes, so that each brings the
//          message forward, and for an eighth of a large common header, so that repeating it costs
//          no more than a multiple of the message. A byte is searched for a line end once per
//          fragment that holds it, and moved into the next one at most once.
#include "mime/send/output_splitter.hpp"

#include "mime/note/outgoing_note.hpp"
#include "mime/send/scoped_value.hpp"

#include <algorithm>
#include <exception>
#include <streambuf>
#include <string_view>
#include <utility>

using vellum::ScopedValue;

namespace {

/// Kept free for the fields that a fragment has of its own.
constexpr long long fragment_header_room = 300;
/// The longest line that mail transport takes (RFC 5321 4.5.3.1.6).
constexpr long long least_data = 1000;
/// A common header is never more than this many times the data behind it.
constexpr long long most_repeated = 8;

std::string_view bytes_of(Buffer const & block) {
    return {reinterpret_cast<char const *>(block.address), block.filled};
}

} // namespace

// held blocks ----------------------------------------------------------------------

void oBufferStream::HeldBlocks::Add(Buffer const & block) {
    blocks.push_back(block);
    size += static_cast<long long>(block.filled);
}

void oBufferStream::HeldBlocks::Add(std::vector<Buffer>::const_iterator first,
                                    std::vector<Buffer>::const_iterator last) {
    std::for_each(first, last, [this](Buffer const & block) { Add(block); });
}

void oBufferStream::HeldBlocks::Empty() {
    for (Buffer & block : blocks)
        block.filled = 0;
    size = 0;
}

/// The place behind the last CR LF, which may lie in two blocks.
bool oBufferStream::FindLineEnd(HeldBlocks const & held, Place & behind) {
    bool lf_behind = false; // the next block that isn't empty begins with LF
    Place behind_lf{};
    for (std::size_t i = held.blocks.size(); i-- > 0;) {
        std::string_view const bytes = bytes_of(held.blocks[i]);
        if (bytes.empty()) continue;
        if (lf_behind && bytes.back() == '\r') {
            behind = behind_lf;
            return true;
        }
        if (std::size_t const at = bytes.rfind("\r\n"); at != std::string_view::npos) {
            behind = {i, at + 2};
            return true;
        }
        lf_behind = bytes.front() == '\n';
        behind_lf = {i, 1};
    }
    return false;
}

// calls of the note ----------------------------------------------------------------

oBufferStream::oBufferStream(MimeONote * note)
    : note_(note),
      split_state_(note->network_split_size_ != 0 ? SplitState::armed : SplitState::never),
      exceptions_(std::uncaught_exceptions()) {
    CallNote(&MimeONote::BeginOutput);
    GetBuffer();
    if (ended_) open_ = false;
}

oBufferStream::~oBufferStream() {
    if (!open_ || std::uncaught_exceptions() > exceptions_) return;
    try {
        Finish();
    } catch (...) { // out of a destructor it would end the process
    }
}

void oBufferStream::CallNote(void (MimeONote::*operation)()) {
    ScopedValue const call(busy_, true);
    (note_->*operation)();
}

void oBufferStream::GetBuffer() {
    current_ = {};
    base_ = put_ = end_ = nullptr;
    if (ended_) return;
    Buffer block;
    {
        ScopedValue const call(busy_, true);
        note_->GetOutputBuffer(block);
    }
    if (block.address == nullptr || block.capacity == 0) {
        ended_ = true;
        return;
    }
    current_ = block;
    base_ = put_ = block.address;
    end_ = base_ + block.capacity;
}

void oBufferStream::PutBuffer() {
    if (current_.address == nullptr) return;
    Buffer block = std::exchange(current_, {});
    block.filled = pending();
    base_ = put_ = end_ = nullptr;
    ScopedValue const call(busy_, true);
    note_->PutOutputBuffer(block);
}

void oBufferStream::HandOver(HeldBlocks & held) {
    HeldBlocks going = std::exchange(held, {});
    ScopedValue const call(busy_, true);
    for (Buffer & block : going.blocks)
        note_->PutOutputBuffer(block);
}

// the stream -----------------------------------------------------------------------

void oBufferStream::Overflow(unsigned int) {
    if (busy_ || ended_) return;
    if (split_state_ == SplitState::never || writing_ == Writing::fragment_header) {
        if (writing_ == Writing::message) flushed_ += static_cast<long long>(pending());
        PutBuffer();
        GetBuffer();
        return;
    }
    // Again while there is no room yet: a line that was moved can fill the new block, and a
    // fragment that begins with a long one can be full at once.
    do {
        HoldBlock();
        if (writing_ == Writing::message && MustCut()) {
            Cut();
        } else {
            GetBuffer();
        }
        Trim();
    } while (room() == 0 && !ended_);
}

void oBufferStream::HoldBlock() {
    if (current_.address == nullptr) return;
    flushed_ += static_cast<long long>(pending());
    current_.filled = pending();
    base_ = put_ = end_ = nullptr;
    held_.Add(std::exchange(current_, {}));
}

void oBufferStream::FlushBlock() {
    if (busy_ || writing_ != Writing::message) return;
    if (kept_) {
        flush_waits_ = true;
    } else {
        Overflow(0);
    }
}

void oBufferStream::FlushIfAsked() {
    if (std::exchange(flush_waits_, false)) Overflow(0);
}

void oBufferStream::CopyFrom(std::streambuf & source) {
    while (source.sgetc() != std::streambuf::traits_type::eof()) {
        if (room() == 0) Overflow(1);
        if (room() == 0) return;
        {
            KeepBlock const keep(*this);
            std::streamsize const read =
                source.sgetn(reinterpret_cast<char *>(put_), static_cast<std::streamsize>(room()));
            if (read <= 0) return;
            put_ += read;
        }
        FlushIfAsked();
    }
}

// where fragments end --------------------------------------------------------------

/// How many bytes of data a fragment takes.
long long oBufferStream::Budget() const {
    long long reserve = fragment_header_room;
    if (split_state_ == SplitState::cut) reserve += common_header_.size;
    long long const least = std::max(least_data, common_header_.size / most_repeated);
    return std::max(note_->network_split_size_ - reserve, least);
}

bool oBufferStream::MustCut() const {
    return fragment_header_ && note_->network_split_size_ != 0 && held_.size >= Budget();
}

/// Lets the current block end where the fragment will be full.
void oBufferStream::Trim() {
    bool const can_be_cut = split_state_ != SplitState::never && writing_ == Writing::message;
    if (!can_be_cut || !fragment_header_ || note_->network_split_size_ == 0) return;
    long long const room_left = std::max(Budget() - held_.size, 0LL);
    if (end_ - base_ > room_left) end_ = std::max(base_ + room_left, put_);
}

void oBufferStream::KeepWhole() {
    if (split_state_ == SplitState::never) return;
    split_state_ = SplitState::never;
    HandOver(held_);
}

void oBufferStream::SaveCommonHeader() {
    if (split_state_ == SplitState::never) return;
    Overflow(0);
    common_header_ = std::exchange(held_, {});
}

void oBufferStream::HeaderDone(std::function<void(bool)> fragment_header) {
    fragment_header_ = std::move(fragment_header);
    Trim();
}

// fragments ------------------------------------------------------------------------

void oBufferStream::Cut() {
    split_state_ = SplitState::cut;
    HeldBlocks fragment = std::exchange(held_, {});
    PutCommonHeader();
    PutFragmentHeader(false);
    if (ended_) { // without its header the fragment can't go out
        held_ = std::move(fragment);
        return;
    }
    MoveLine(fragment);
    HandOver(fragment);
    if (ended_) return;
    CallNote(&MimeONote::EndOutput);
    CallNote(&MimeONote::BeginOutput);
}

void oBufferStream::PutCommonHeader() {
    ScopedValue const mode(writing_, Writing::fragment_header);
    for (Buffer const & block : common_header_.blocks) {
        GetBuffer();
        if (ended_) return;
        write(bytes_of(block));
        PutBuffer();
    }
}

void oBufferStream::PutFragmentHeader(bool last) {
    ScopedValue const mode(writing_, Writing::fragment_header);
    GetBuffer();
    if (ended_) return;
    fragment_header_(last);
    PutBuffer();
}

/// Moves what stands behind the last line end of `fragment` into the next one: the rest of that
/// block by copy, whole blocks as they are.
void oBufferStream::MoveLine(HeldBlocks & fragment) {
    ScopedValue const mode(writing_, Writing::moved_line);
    Place end{};
    if (!FindLineEnd(fragment, end)) return GetBuffer();
    Buffer & broken = fragment.blocks[end.block];
    std::string_view const line = bytes_of(broken).substr(end.offset);
    auto const behind = fragment.blocks.begin() + static_cast<std::ptrdiff_t>(end.block) + 1;
    bool const whole_blocks = behind != fragment.blocks.end();
    if (!line.empty() || !whole_blocks) GetBuffer();
    write(line);
    if (ended_) return;
    broken.filled = end.offset;
    if (!whole_blocks) return;
    HoldBlock();
    held_.Add(behind, fragment.blocks.end());
    fragment.blocks.erase(behind, fragment.blocks.end());
    GetBuffer();
}

// the end --------------------------------------------------------------------------

bool oBufferStream::Finish() {
    if (!std::exchange(open_, false)) return false;
    HoldBlock();
    bool const split = split_state_ == SplitState::cut;
    // Behind the common header alone, the data would be read as fields.
    if (split && ended_) common_header_.Empty();
    HandOver(common_header_);
    if (split) {
        PutFragmentHeader(true);
        if (ended_) held_.Empty();
    }
    HandOver(held_);
    CallNote(&MimeONote::EndOutput);
    return !std::exchange(ended_, true);
}
