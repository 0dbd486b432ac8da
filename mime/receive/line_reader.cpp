// mime/receive/line_reader.cpp - cuts the input into lines and knows where a multipart ends
#include "mime/receive/line_reader.hpp"

#include "mime/foundation/ascii.hpp"
#include "mime/header/reading_rules.hpp"
#include "mime/receive/boundary_stack.hpp"
#include "mime/receive/field_list.hpp"
#include "mime/receive/limits.hpp"
#include "mime/receive/line_buffer.hpp"
#include "mime/receive/receiver.hpp"

#include <algorithm>
#include <limits>
#include <ostream>
#include <utility>

using vellum::Boundary_Close;
using vellum::Boundary_Not;
using vellum::FoundBoundary;

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
      line_begin_(begin), line_end_(end), levels_(std::make_unique<vellum::BoundaryStack>()),
      rules_(owner != nullptr ? owner->rules : &vellum::basic_reading) {
    *line_begin_ = *line_end_ = buffer_->data();
}

MimeLine::~MimeLine() { *line_begin_ = *line_end_ = nullptr; }

int MimeLine::Peek() {
    if (exhausted_) return -1;
    std::string_view const window = Window();
    return window.empty() ? -1 : vellum::ascii::byte(window.front());
}

/// The pushed back text, or what the source has at hand.
std::string_view MimeLine::window() {
    if (pushed_.empty()) return Window();
    if (pushed_at_ < pushed_.size()) return std::string_view(pushed_).substr(pushed_at_);
    pushed_ = std::string(); // not when it was taken: it was still to be looked at then
    pushed_at_ = 0;
    return Window();
}

void MimeLine::take(std::size_t count) {
    if (pushed_.empty()) {
        Take(count);
    } else {
        pushed_at_ += count;
    }
}

int MimeLine::peek() {
    if (pushed_at_ < pushed_.size()) return vellum::ascii::byte(pushed_[pushed_at_]);
    return Peek();
}

void MimeLine::Push_Back(std::string_view text) {
    std::string_view const taken = std::string_view(pushed_).substr(0, pushed_at_);
    if (taken.ends_with(text)) { // what goes back came from there: no copy of all that is left
        pushed_at_ -= text.size();
    } else {
        std::string all(text);
        all.append(pushed_, std::min(pushed_at_, pushed_.size()));
        pushed_ = std::move(all);
        pushed_at_ = 0;
    }
    boundary_next = {}; // where a delimiter stands behind the text it is found again
    is_put_back_ = true;
}

void MimeLine::Unread_Body(std::string before) {
    restore_saved();
    before += buffer_->view(); // the line, and what was read ahead
    buffer_->truncate(0);
    pending = 0;
    at_end_flag = false;
    boundary_current = {};
    Push_Back(before);
}

bool MimeLine::Pass_Lone_CR() {
    if (pending != 0 || peek() != '\r') return false;
    window();
    take(1);
    int const c = peek();
    is_put_back_ = true; // the line has lost what stood in front of it
    if (c != '\n' && c != -1) return true;
    Push_Back("\r");
    return false;
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
    std::string_view const text = buffer_->view().substr(start);
    if (!text.empty() && text.back() == '\n') return;
    for (bool has_ended = false; !has_ended && !exhausted_;) {
        std::string_view at_hand = window();
        if (at_hand.empty()) return;
        std::size_t const size = buffer_->length() - start;
        if (size >= most && at_hand.front() != '\n') return;
        at_hand = at_hand.substr(0, size < most ? most - size : 1);
        std::size_t const lf = at_hand.find('\n');
        has_ended = lf != at_hand.npos;
        if (has_ended) at_hand = at_hand.substr(0, lf + 1);
        exhausted_ = !buffer_->append(at_hand);
        if (!exhausted_) take(at_hand.size());
    }
}

/// The same for a body line, but of a line that is a delimiter so far, with blanks behind it, as
/// many of them as there may be.
void MimeLine::gather_body_line(std::size_t start, std::size_t most) {
    gather(start, most);
    if (!rules_->delimiter_blanks) return;
    while (most < vellum::most_padding) {
        std::string_view const line = buffer_->view().substr(start);
        if (line.size() < most || line.back() == '\n') return;
        if (levels_->Find(line).kind == Boundary_Not) return;
        most = std::min(4 * most, vellum::most_padding);
        gather(start, most);
    }
}

/// The size from which on a line that has not ended can't be a delimiter.
std::size_t MimeLine::piece_size() const {
    return std::max(vellum::line_piece, levels_->longest() + longest_delimiter_tail);
}

// Header lines ---------------------------------------------------------------

/// The first byte of the next line, be it read ahead or still in the input; or -1.
int MimeLine::peek_line() {
    if (pending == 0) return peek();
    return vellum::ascii::byte(saved_at_ == pending && is_saved_ ? saved
                                                                 : buffer_->data()[pending]);
}

/// Puts the next line at the buffer's end, or, if it was read ahead, alone into the buffer. What is
/// no field comes no further than to a size of `most` in all; a field sets that limit aside.
long long MimeLine::next_physical_line(std::size_t & most) {
    std::size_t const start = pending == 0 ? buffer_->length() : 0;
    if (pending != 0) {
        restore_saved();
        buffer_->drop_front(pending); // it may be the start of a long line
        pending = 0;
        boundary_next = {};
    }
    gather(start, most - start);
    std::string_view name;
    if (buffer_->length() >= most && vellum::FieldQueue::is_field(buffer_->view(), name)) {
        most = whole_line;
        gather(start, most);
    }
    return static_cast<long long>(buffer_->length() - start);
}

long long MimeLine::ReadLine_Head(unsigned long long & lines, bool & atEnd, bool first) {
    return read_head(lines, atEnd, first, false);
}

long long MimeLine::ReadField_Head(unsigned long long & lines, bool & atEnd, bool first) {
    return read_head(lines, atEnd, first, true);
}

long long MimeLine::read_head(unsigned long long & lines, bool & atEnd, bool first,
                              bool as_it_stands) {
    int const c = peek_line();
    atEnd = c == -1;
    is_put_back_ = false;
    if (!first && (c == '\r' || c == '\n' || c == -1)) {
        end_head();
        return 0;
    }
    std::size_t most =
        as_it_stands && rules_->stray_lines_begin_body ? vellum::most_stray_text + 1 : whole_line;
    if (pending == 0) {
        is_saved_ = false;
        buffer_->truncate(0);
        if (as_it_stands && c != '-') { // no delimiter
            if (long long const taken = take_field_at_hand(lines, most)) return taken;
        }
    }
    long long total = 0;
    for (bool folded = true; folded;) {
        long long const taken = next_physical_line(most);
        if (taken == 0) break;
        if (total == 0 && c == '-' && as_it_stands && starts_with_delimiter()) {
            end_head();
            return 0;
        }
        total += taken;
        ++lines;
        std::string_view const text = buffer_->view();
        if (!as_it_stands && owner_ != nullptr && owner_->debug != nullptr) {
            owner_->debug->write(text.data() + text.size() - taken, taken);
        }
        if (text.back() == '\n') folded = !ends_line(as_it_stands);
        if (text.size() >= most) break;
    }
    *line_begin_ = buffer_->data();
    *line_end_ = buffer_->data() + buffer_->length();
    return total;
}

/// Hands out the next field where it lies. 0 if not all of it is at hand, with the byte behind it,
/// which tells that it isn't folded there, or if it has `most` bytes.
long long MimeLine::take_field_at_hand(unsigned long long & lines, std::size_t most) {
    std::string_view const at_hand = window();
    std::size_t size = 0;
    unsigned long long lf_count = 0;
    unsigned long long crlf_count = 0;
    do {
        std::size_t const lf = at_hand.find('\n', size);
        if (lf == at_hand.npos || lf + 1 == at_hand.size()) return 0;
        ++(lf > 0 && at_hand[lf - 1] == '\r' ? crlf_count : lf_count);
        size = lf + 1;
        if (size >= most) return 0;
    } while (vellum::ascii::is_blank(at_hand[size]));
    take(size);
    lf_lines += lf_count;
    crlf_lines += crlf_count;
    lines += lf_count + crlf_count;
    *line_begin_ = const_cast<char *>(at_hand.data()); // nobody writes to a header's line
    *line_end_ = *line_begin_ + size;
    return static_cast<long long>(size);
}

/// The top level expects the line end that most lines have had.
void MimeLine::end_head() {
    if (lf_lines > crlf_lines && levels_->top() != nullptr) levels_->top()->eol = "\n";
}

/// Whether the line in the buffer is a delimiter that ends the header. It becomes the next body
/// line then.
bool MimeLine::starts_with_delimiter() {
    if (!rules_->delimiter_ends_header) return false;
    bool const is_expected = expected_ && find_in(*expected_, buffer_->view()).kind != Boundary_Not;
    FoundBoundary const found = is_expected ? FoundBoundary() : find(0, {});
    if (!is_expected && found.kind == Boundary_Not) return false;
    Push_Back(buffer_->view());
    buffer_->truncate(0);
    boundary_next = found;
    delimiter_lines_ = 1;
    is_put_back_ = is_expected;
    return true;
}

/// The buffer ends in a line end, which ends the field unless the next line begins with SP or HT.
/// It is taken off then, but where the field is wanted as it stands.
bool MimeLine::ends_line(bool as_it_stands) {
    std::string_view const text = buffer_->view();
    bool const is_crlf = text.size() >= 2 && text[text.size() - 2] == '\r';
    ++(is_crlf ? crlf_lines : lf_lines);
    int const c = peek();
    if (c != ' ' && c != '\t') return true;
    if (!as_it_stands) buffer_->truncate(text.size() - (is_crlf ? 2 : 1));
    return false;
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
    boundary_next = {};
    bool const is_known = boundary_current.kind != Boundary_Not;
    if (!is_known) delimiter_lines_ = 2;
    long long length = start_body_line(lines, is_known ? whole_line : most);
    bool const begins_body = std::exchange(is_put_back_, false);
    if ((boundary_previous.kind == Boundary_Close || begins_body) && !is_known) {
        // The line end in front of this line has gone with the closing delimiter before it, or
        // there is none.
        boundary_current = find(0, {});
        if (begins_body) delimiter_lines_ = boundary_current.kind != Boundary_Not ? 1 : 2;
    }
    if (length == 0) {
        at_end_flag = true;
    } else if (buffer_->view().back() == '\n') {
        ++lines;
        length = look_ahead(length, lines, most);
    } else if (boundary_current.kind != Boundary_Not) {
        ++lines; // a delimiter at the end of the input
    }
    hand_out(static_cast<std::size_t>(length));
    atEnd = at_end_flag;
    return length;
}

/// What the line at that place of the buffer is; a delimiter of a part that is one too many is
/// text.
FoundBoundary MimeLine::find(std::size_t at, std::string_view eol_in_front) {
    FoundBoundary const found = match(at, eol_in_front);
    if (found.kind != vellum::Boundary_Part || owner_ == nullptr || !owner_->has_all_parts())
        return found;
    if (owner_->limit_passed_at < 0) {
        owner_->limit_passed_at = owner_->position + static_cast<long long>(at);
    }
    return {};
}

/// What the line at that place of the buffer is, behind the line end that stands in front of it.
/// That is empty where no line end has to be there.
FoundBoundary MimeLine::match(std::size_t at, std::string_view eol_in_front) {
    vellum::BoundaryItem const * const top = levels_->top();
    if (top == nullptr) return {};
    std::string_view const line = buffer_->view().substr(at);
    bool const has_eol = !line.empty() && line.back() == '\n';
    if (!rules_->outer_delimiters) {
        if (!eol_in_front.empty() && eol_in_front != top->eol) return {};
        return {top->Match(line, false), top->depth};
    }
    FoundBoundary found = find_in(*levels_, line);
    std::string_view const eol_behind = line.ends_with("\r\n") ? "\r\n" : "\n";
    found.has_other_eol =
        (!eol_in_front.empty() && eol_in_front != top->eol) || (has_eol && eol_behind != top->eol);
    return found;
}

/// What the line in the buffer is to any of the levels, as far as the rules allow it.
FoundBoundary MimeLine::find_in(vellum::BoundaryStack const & levels, std::string_view line) {
    bool const has_eol = !line.empty() && line.back() == '\n';
    if (!has_eol && (!rules_->delimiter_at_end || peek() != -1)) return {};
    FoundBoundary const found = levels.Find(line);
    return found.has_blanks && !rules_->delimiter_blanks ? FoundBoundary() : found;
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
        if (boundary_current.kind != Boundary_Not) ++lines;
    }
    gather_body_line(0, most);
    return static_cast<long long>(buffer_->length());
}

/// Reads the next line too if it may be a delimiter. If it is one, the current line gives its line
/// end up to it; an empty line becomes one with it. Returns the current line's length.
long long MimeLine::look_ahead(long long length, unsigned long long & lines, std::size_t most) {
    vellum::BoundaryItem const * const top = levels_->top();
    if (boundary_current.kind != Boundary_Not || top == nullptr || peek() != '-') return length;
    auto const line_length = static_cast<std::size_t>(length);
    pending = line_length;
    gather_body_line(pending, most);
    std::string_view const line = buffer_->view().substr(0, line_length);
    bool const is_crlf = line.size() >= 2 && line[line.size() - 2] == '\r';
    std::string_view const eol =
        rules_->any_line_end ? std::string_view("\r\n").substr(is_crlf ? 0 : 1) : top->eol;
    if (!line.ends_with(eol)) return length;
    boundary_next = find(line_length, eol);
    if (boundary_next.kind == Boundary_Not) return length;
    if (line_length == eol.size()) {
        boundary_current = boundary_next;
        boundary_next = {};
        pending = 0;
        ++lines;
        return static_cast<long long>(buffer_->length());
    }
    pending -= eol.size();
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
    if (pending != 0 || boundary_current.kind != Boundary_Not || at_end_flag || exhausted_)
        return {};
    std::string_view block = window();
    block = block.substr(0, text_length(block.substr(0, vellum::text_block)));
    if (block.empty()) return {};
    lines += count_lf(block);
    take(block.size());
    return block;
}

/// The length of the text at the start of the window that can go on. Lines of it keep their line
/// ends: each is followed, within the window, by a line that can't be a delimiter. Of a line that
/// doesn't end in the window, and is large enough to be worth a call, it is all but a CR at its
/// end.
std::size_t MimeLine::text_length(std::string_view text) const {
    if (text.empty()) return 0;
    std::size_t end = text.size() - 1; // the byte behind the last line has to be seen
    for (std::size_t dash = 0; levels_->has_delimiters(); ++dash) {
        dash = text.find('-', dash);
        if (dash == text.npos) break;
        if (dash == 0 || text[dash - 1] != '\n') continue;
        if (may_be_delimiter(text.substr(dash))) {
            end = dash - 1; // the line before it may have to give up its line end
            break;
        }
    }
    std::size_t const last_lf = text.substr(0, end).rfind('\n');
    if (last_lf != text.npos) return last_lf + 1;
    bool const is_piece = text.size() >= smallest_piece && text.find('\n') == text.npos;
    return is_piece ? text.size() - (text.back() == '\r' ? 1 : 0) : 0;
}

/// Whether the text begins with a line that is a delimiter, or may become a delimiter when its rest
/// is there.
bool MimeLine::may_be_delimiter(std::string_view text) const {
    if (!rules_->outer_delimiters) {
        std::string_view const delimiter = levels_->top()->text;
        return text.substr(0, delimiter.size()) == delimiter.substr(0, text.size()) &&
               !delimiter.empty();
    }
    if (text.size() > 1 && text[1] != '-') return false;
    std::size_t const lf = text.find('\n');
    return lf == text.npos || levels_->Find(text.substr(0, lf)).kind != Boundary_Not;
}

// Boundaries -------------------------------------------------------------------

void MimeLine::Boundary_Push() { levels_->push(); }

void MimeLine::Boundary_Init(char const * boundary) {
    levels_->set_text(boundary != nullptr ? std::string("--").append(boundary) : std::string());
}

/// Whether the innermost level has a delimiter.
bool MimeLine::Boundary_is_outer() const {
    return !at_end_flag && boundary_current.kind != Boundary_Not &&
           boundary_current.depth < levels_->depth();
}

bool MimeLine::Boundary_has_text() const {
    return levels_->top() != nullptr && !levels_->top()->text.empty();
}

void MimeLine::Boundary_Pop() { levels_->pop(); }

void MimeLine::Boundary_Expect(char const * boundary) {
    expected_.reset();
    if (boundary == nullptr) return;
    expected_ = std::make_unique<vellum::BoundaryStack>();
    expected_->push();
    expected_->set_text(std::string("--").append(boundary));
}

int MimeLine::Boundary_EOL_Length() const {
    return levels_->top() != nullptr ? static_cast<int>(levels_->top()->eol.size()) : 2;
}
