// mime/receive/line_reader.cpp - cuts the input into lines and knows where a multipart ends
#include "mime/receive/line_reader.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/receive/boundary_stack.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_buffer.hpp"
#include "mime/receive/receiver.hpp"

#include <algorithm>
#include <limits>
#include <ostream>

using vellum::Boundary_Close;
using vellum::Boundary_Not;

namespace {

/// A header line of this size isn't kept beside its copy.
constexpr std::size_t long_line = std::size_t{1} << 20;

/// The most bytes that a delimiter line has behind the delimiter: "--" and a line end.
constexpr std::size_t longest_delimiter_tail = 4;

/// A smaller piece of a line is rather gathered with what follows.
constexpr std::size_t smallest_piece = vellum::line_buffer_size;

/// No limit to a piece.
constexpr std::size_t whole_line = std::numeric_limits<std::size_t>::max();

/// Counts in bytes, many at once, as far as a byte can count: a compiler turns the inner loop into
/// a few vector instructions, where it widens each byte for std::count.
std::size_t count_lf(std::string_view text) {
    constexpr std::size_t lanes = 64;
    constexpr std::size_t most_rows = 255;
    std::size_t count = 0;
    while (text.size() >= lanes) {
        unsigned char counts[lanes] = {};
        std::size_t const rows = std::min(text.size() / lanes, most_rows);
        char const * row = text.data();
        for (std::size_t i = 0; i < rows; ++i, row += lanes) {
            for (std::size_t lane = 0; lane < lanes; ++lane) {
                counts[lane] = static_cast<unsigned char>(counts[lane] + (row[lane] == '\n'));
            }
        }
        for (unsigned char const lane : counts)
            count += lane;
        text.remove_prefix(rows * lanes);
    }
    return count + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

MimeLine::MimeLine(char ** begin, char ** end, MimeReceiver * owner, unsigned int size)
    : owner_(owner),
      buffer_(std::make_unique<vellum::LineBuffer>(std::max(size, vellum::line_buffer_size))),
      line_begin_(begin), line_end_(end), levels_(std::make_unique<vellum::BoundaryStack>()) {
    *line_begin_ = *line_end_ = buffer_->data();
}

MimeLine::~MimeLine() { *line_begin_ = *line_end_ = nullptr; }

int MimeLine::Peek() {
    if (exhausted_) return -1;
    std::string_view const window = Window();
    return window.empty() ? -1 : vellum::ascii::byte(window.front());
}

long long MimeLine::Read_to_LF(long long offset) {
    auto const length = static_cast<long long>(buffer_->length());
    long long const start = offset < 0 ? length : std::min(offset, length);
    buffer_->truncate(static_cast<std::size_t>(start));
    gather(static_cast<std::size_t>(start), whole_line);
    return static_cast<long long>(buffer_->length()) - start;
}

/// Reads on until what stands in the buffer from `start` on ends in LF, or has `most` bytes and no
/// LF follows: a line end is never cut off from what it ends.
void MimeLine::gather(std::size_t start, std::size_t most) {
    while (!exhausted_) {
        std::string_view const text = buffer_->view().substr(start);
        if (!text.empty() && text.back() == '\n') return;
        std::string_view window = Window();
        if (window.empty()) return;
        if (text.size() >= most && window.front() != '\n') return;
        window = window.substr(0, text.size() < most ? most - text.size() : 1);
        window = window.substr(0, std::min(window.find('\n'), window.size() - 1) + 1);
        exhausted_ = !buffer_->append(window);
        if (!exhausted_) Take(window.size());
    }
}

/// The size from which on a line that has not ended can't be a delimiter.
std::size_t MimeLine::piece_size() const {
    vellum::BoundaryItem const * const top = levels_->top();
    std::size_t const delimiter = top != nullptr ? top->text.size() + longest_delimiter_tail : 0;
    return std::max(vellum::line_piece, delimiter);
}

// Header lines ---------------------------------------------------------------

/// The first byte of the next line, be it read ahead or still in the input; or -1.
int MimeLine::peek_line() {
    if (pending == 0) return Peek();
    return vellum::ascii::byte(saved_at_ == pending && is_saved_ ? saved
                                                                 : buffer_->data()[pending]);
}

/// Puts the next line at the buffer's end, or, if it was read ahead, alone into the buffer.
long long MimeLine::next_physical_line() {
    if (pending == 0) return Read_to_LF(-1);
    restore_saved();
    buffer_->drop_front(pending);
    pending = 0;
    boundary_next = Boundary_Not;
    gather(0, whole_line); // it may be the start of a long line
    return static_cast<long long>(buffer_->length());
}

long long MimeLine::ReadLine_Head(unsigned long long & lines, bool & atEnd, bool first) {
    int const c = peek_line();
    atEnd = c == -1;
    if (!first && (c == '\r' || c == '\n' || c == -1)) {
        if (lf_lines > crlf_lines && levels_->top() != nullptr) levels_->top()->eol = "\n";
        return 0;
    }
    if (pending == 0) {
        is_saved_ = false;
        buffer_->truncate(0);
    }
    long long total = 0;
    for (bool folded = true; folded;) {
        long long const taken = next_physical_line();
        if (taken == 0) break;
        total += taken;
        ++lines;
        std::string_view const text = buffer_->view();
        if (owner_ != nullptr && owner_->debug != nullptr) {
            owner_->debug->write(text.data() + text.size() - taken, taken);
        }
        if (text.back() == '\n') folded = unfold();
    }
    *line_begin_ = buffer_->data();
    *line_end_ = buffer_->data() + buffer_->length();
    return total;
}

/// The buffer ends in a line end, which goes if the next line begins with SP or HT. Returns whether
/// it does.
bool MimeLine::unfold() {
    std::string_view const text = buffer_->view();
    bool const is_crlf = text.size() >= 2 && text[text.size() - 2] == '\r';
    ++(is_crlf ? crlf_lines : lf_lines);
    int const c = Peek();
    bool const folded = c == ' ' || c == '\t';
    if (folded) buffer_->truncate(text.size() - (is_crlf ? 2 : 1));
    return folded;
}

void MimeLine::Forget_Head() {
    if (pending != 0 || buffer_->length() < long_line) return;
    buffer_->reset(long_line);
    *line_begin_ = *line_end_ = buffer_->data();
}

// Body lines -----------------------------------------------------------------

long long MimeLine::ReadLine_Body(unsigned long long & lines, bool & atEnd) {
    return read_body(lines, atEnd, whole_line);
}

long long MimeLine::ReadText_Body(unsigned long long & lines, bool & atEnd) {
    return read_body(lines, atEnd, piece_size());
}

/// `most`: the size from which on a line that has not ended is handed out as it stands.
long long MimeLine::read_body(unsigned long long & lines, bool & atEnd, std::size_t most) {
    boundary_previous = boundary_current;
    boundary_current = boundary_next;
    boundary_next = Boundary_Not;
    long long length = start_body_line(lines, most);
    vellum::BoundaryItem const * const top = levels_->top();
    if (boundary_previous == Boundary_Close && boundary_current == Boundary_Not && top != nullptr) {
        // The line end in front of this line has gone with the closing delimiter before it.
        boundary_current = top->Match(buffer_->view(), false);
    }
    if (length == 0) {
        at_end_flag = true;
    } else if (buffer_->view().back() == '\n') {
        ++lines;
        length = look_ahead(length, lines, most);
    }
    hand_out(static_cast<std::size_t>(length));
    atEnd = at_end_flag;
    return length;
}

/// Puts the line, read ahead or not, alone into the buffer.
long long MimeLine::start_body_line(unsigned long long & lines, std::size_t most) {
    if (pending == 0) {
        is_saved_ = false;
        buffer_->truncate(0);
    } else {
        restore_saved();
        buffer_->drop_front(pending); // so that a run of lines like "-x" never piles up
        pending = 0;
        if (boundary_current != Boundary_Not) ++lines;
    }
    gather(0, most);
    return static_cast<long long>(buffer_->length());
}

/// Reads the next line too if it may be a delimiter. If it is one, the current line gives its line
/// end up to it; an empty line becomes one with it. Returns the current line's length.
long long MimeLine::look_ahead(long long length, unsigned long long & lines, std::size_t most) {
    vellum::BoundaryItem const * const top = levels_->top();
    if (boundary_current != Boundary_Not || top == nullptr || Peek() != '-') return length;
    auto const line_length = static_cast<std::size_t>(length);
    pending = line_length;
    gather(pending, most);
    std::size_t const eol_length = top->eol.size();
    if (line_length >= eol_length) {
        boundary_next = top->Match(buffer_->view().substr(line_length - eol_length), true);
    }
    if (boundary_next == Boundary_Not) return length;
    if (line_length == eol_length) {
        boundary_current = boundary_next;
        boundary_next = Boundary_Not;
        pending = 0;
        ++lines;
        return static_cast<long long>(buffer_->length());
    }
    pending -= eol_length;
    --lines;
    return static_cast<long long>(pending);
}

void MimeLine::hand_out(std::size_t length) {
    char * const data = buffer_->data();
    *line_begin_ = data;
    *line_end_ = data + length;
    saved_at_ = length;
    saved = data[length];
    is_saved_ = true;
    data[length] = '\0';
}

void MimeLine::restore_saved() {
    if (is_saved_) buffer_->data()[saved_at_] = saved;
    is_saved_ = false;
}

// Blocks of body lines --------------------------------------------------------

std::string_view MimeLine::ReadLines_Body(unsigned long long & lines) {
    if (pending != 0 || boundary_current != Boundary_Not || at_end_flag || exhausted_) return {};
    std::string_view block = Window();
    block = block.substr(0, text_length(block.substr(0, vellum::text_block)));
    if (block.empty()) return {};
    lines += count_lf(block);
    Take(block.size());
    return block;
}

/// The length of the text at the start of the window that can go on. Lines of it keep their line
/// ends: each is followed, within the window, by a line that can't be a delimiter. Of a line that
/// doesn't end in the window, and is large enough to be worth a call, it is all but a CR at its
/// end.
std::size_t MimeLine::text_length(std::string_view window) const {
    if (window.empty()) return 0;
    vellum::BoundaryItem const * const top = levels_->top();
    std::string_view const text = top != nullptr ? top->text : std::string_view();
    std::size_t end = window.size() - 1; // the byte behind the last line has to be seen
    for (std::size_t dash = 0; !text.empty(); ++dash) {
        dash = window.find('-', dash);
        if (dash == window.npos) break;
        if (dash == 0 || window[dash - 1] != '\n') continue;
        std::string_view const line = window.substr(dash, text.size());
        if (line == text.substr(0, line.size())) {
            end = dash - 1; // the line before it may have to give up its line end
            break;
        }
    }
    std::size_t const last_lf = window.substr(0, end).rfind('\n');
    if (last_lf != window.npos) return last_lf + 1;
    bool const is_piece = window.size() >= smallest_piece && window.find('\n') == window.npos;
    return is_piece ? window.size() - (window.back() == '\r' ? 1 : 0) : 0;
}

// Boundaries -------------------------------------------------------------------

void MimeLine::Boundary_Push() { levels_->push(); }

void MimeLine::Boundary_Init(char const * boundary) {
    vellum::BoundaryItem * const top = levels_->top();
    if (top == nullptr) return;
    top->text.clear();
    if (boundary != nullptr) top->text.append("--").append(boundary);
}

void MimeLine::Boundary_Pop() { levels_->pop(); }

int MimeLine::Boundary_EOL_Length() const {
    return levels_->top() != nullptr ? static_cast<int>(levels_->top()->eol.size()) : 2;
}
