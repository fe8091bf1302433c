// What a node's program prints, told from what the node prints around it.
//
// A login may greet, a shell may complain, before the program starts. The text
// that runs on the node therefore writes lines of its own,
//
//   MARK word [text]
//
// first "begin NODE" and last "end ..."; each with a line break before it that
// belongs to it, since what came before may have none. MARK holds a number that
// chance made, so that no program prints it by accident.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "src/collect/src/collect/bounded_text.h"

namespace zelk::collect {

class marked_stream {
 public:
  // `on_mark` is called for each marked line with what follows the mark.
  marked_stream(std::string mark,
                std::function<void(std::string_view)> on_mark);

  void append(std::string_view bytes);
  // Call it when no more bytes can come; a last line without its end counts.
  void finish();

  bool begun() const { return begun_; }
  // What came before "begin", and after it; marked lines are not part of it.
  std::string noise() const { return noise_.text(); }
  std::string text() const { return text_.text(); }

 private:
  void take_byte_run(std::string_view bytes);
  void end_line();
  bool may_be_mark() const;
  std::size_t unmarked(std::string_view bytes) const;
  void release();

  std::string mark_;
  std::function<void(std::string_view)> on_mark_;
  bounded_text noise_{std::size_t{8} << 10};
  bounded_text text_;
  std::string held_;         // the start of a line that may be a mark
  bool passing_ = false;     // the line is none: it goes straight through
  bool line_break_ = false;  // not passed on yet: it may belong to a mark
  bool begun_ = false;
};

}  // namespace zelk::collect
