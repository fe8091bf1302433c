#include "src/common/text/text_table.h"

#include <algorithm>
#include <utility>

#include "src/common/text/visible_text.h"

namespace zelk::text {

namespace {

constexpr char gap[] = "  ";

}  // namespace

text_table::text_table(std::vector<column> columns)
    : columns_(std::move(columns)) {
  for (const column& each : columns_)
    widths_.push_back(columns_of_text(each.head));
}

void text_table::add(std::vector<std::string> cells) {
  if (!started_)
    for (std::size_t i = 0; i < cells.size(); ++i)
      widths_[i] = std::max(widths_[i], columns_of_text(cells[i]));
  rows_.push_back(std::move(cells));
}

void text_table::write(std::ostream& out) {
  if (!std::exchange(started_, true)) {
    std::vector<std::string> heads;
    for (const column& each : columns_)
      heads.push_back(each.head);
    write_row(out, heads);
  }
  for (const std::vector<std::string>& row : rows_)
    write_row(out, row);
  rows_.clear();
}

void text_table::write_row(std::ostream& out,
                           const std::vector<std::string>& cells) {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::size_t width = columns_of_text(cells[i]);
    const std::string padding(widths_[i] > width ? widths_[i] - width : 0, ' ');
    if (i > 0) line += gap;
    line += columns_[i].right ? padding + cells[i] : cells[i] + padding;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  out << line << '\n';
}

}  // namespace zelk::text
