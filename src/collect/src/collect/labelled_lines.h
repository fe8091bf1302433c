// The output of a program that runs many tasks and labels each line with the
// task's number, as `srun --label` and `mpirun --tag-output` do.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zelk::collect {

struct labelled_line {
  std::size_t rank;
  std::string_view text;  // points into the line that was read
};

using label_reader = std::optional<labelled_line> (*)(std::string_view line);

// "03: text"
std::optional<labelled_line> read_srun_label(std::string_view line);
// "[1,3]<stdout>:text", also with a longer name of the job before the comma
std::optional<labelled_line> read_mpirun_label(std::string_view line);

// Cuts a stream into lines. A line longer than 64 KiB is cut into several,
// which are taken for text of the same task.
class labelled_lines {
 public:
  // `on_line` gets what labelled lines hold, with a line break where there was
  // one; `on_other` the lines without a label, with theirs.
  labelled_lines(label_reader read,
                 std::function<void(std::size_t, std::string_view)> on_line,
                 std::function<void(std::string_view)> on_other);

  void append(std::string_view bytes);
  void finish();

 private:
  void take(std::string_view part);

  label_reader read_;
  std::function<void(std::size_t, std::string_view)> on_line_;
  std::function<void(std::string_view)> on_other_;
  std::string held_;
  bool inside_ = false;  // of a line whose beginning has been passed on
  std::optional<std::size_t> rank_;  // of that line
};

}  // namespace zelk::collect
