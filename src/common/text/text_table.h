// Rows of text with their columns under each other.
//
// The caller has made the cells fit for a terminal (visible_text.h).

#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zelk::text {

class text_table {
 public:
  struct column {
    std::string head;
    bool right = false;  // numbers stand at the right
  };

  explicit text_table(std::vector<column> columns);

  // Requires: as many cells as columns.
  void add(std::vector<std::string> cells);
  std::size_t size() const { return rows_.size(); }

  // Writes the head, unless it was written, and all rows, then forgets the
  // rows. Columns stay as wide as they were: what comes later may stick out.
  void write(std::ostream& out);

 private:
  void write_row(std::ostream& out, const std::vector<std::string>& cells);

  std::vector<column> columns_;
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
  bool started_ = false;
};

}  // namespace zelk::text
