#include "src/collect/src/collect/marked_stream.h"

#include <algorithm>
#include <utility>

namespace zelk::collect {

namespace {

// Bytes. A mark's own text is short; longer lines are the program's.
constexpr std::size_t longest_marked_line = 8192;

}  // namespace

marked_stream::marked_stream(std::string mark,
                             std::function<void(std::string_view)> on_mark)
    : mark_(std::move(mark)), on_mark_(std::move(on_mark)) {}

bool marked_stream::may_be_mark() const {
  const std::size_t common = std::min(held_.size(), mark_.size());
  return held_.compare(0, common, mark_, 0, common) == 0 &&
         held_.size() <= longest_marked_line;
}

// Passes on what was held back: it is no mark.
void marked_stream::release() {
  bounded_text& to = begun_ ? text_ : noise_;
  if (line_break_) to.append("\n");
  line_break_ = false;
  to.append(held_);
  held_.clear();
}

void marked_stream::take_byte_run(std::string_view bytes) {
  if (bytes.empty()) return;
  held_ += bytes;
  if (!passing_ && may_be_mark()) return;
  passing_ = true;
  release();
}

void marked_stream::end_line() {
  const bool marked = !passing_ && held_.compare(0, mark_.size(), mark_) == 0;
  passing_ = false;
  if (!marked) {
    release();
    line_break_ = true;
    return;
  }
  line_break_ = false;
  const std::string line = std::exchange(held_, {}).substr(mark_.size());
  // A node's line discipline may have added a carriage return.
  const std::string_view text =
      line.ends_with('\r') ? std::string_view(line).substr(0, line.size() - 1)
                           : std::string_view(line);
  if (text.starts_with("begin")) begun_ = true;
  on_mark_(text);
}

// How many bytes in front belong to lines that are no marks for certain: up to
// a line break with the first byte of a mark, or nothing yet, behind it.
std::size_t marked_stream::unmarked(std::string_view bytes) const {
  if (!held_.empty() && !passing_) return 0;
  if (!passing_ && bytes.front() == mark_.front()) return 0;
  std::size_t at = bytes.find('\n');
  while (at != bytes.npos && at + 1 < bytes.size() &&
         bytes[at + 1] != mark_.front()) {
    at = bytes.find('\n', at + 1);
  }
  return std::min(at, bytes.size());
}

void marked_stream::append(std::string_view bytes) {
  while (!bytes.empty()) {
    // A flood of short lines is not worth a look at each of them.
    if (const std::size_t size = unmarked(bytes); size > 0) {
      release();
      (begun_ ? text_ : noise_).append(bytes.substr(0, size));
      passing_ = true;
      bytes.remove_prefix(size);
      continue;
    }
    const std::size_t end = bytes.find('\n');
    take_byte_run(bytes.substr(0, end));
    if (end == bytes.npos) return;
    end_line();
    bytes.remove_prefix(end + 1);
  }
}

void marked_stream::finish() {
  if (!held_.empty()) {
    end_line();
    line_break_ = false;
  }
  if (line_break_) release();
}

}  // namespace zelk::collect
