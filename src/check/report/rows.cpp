#include "src/check/report/rows.h"

#include <fmt/format.h>

#include <algorithm>

namespace zelk::check {

namespace {

// A column does not grow beyond these: one long name would push all messages
// out of sight.
constexpr std::size_t most_name = 30;
constexpr std::size_t least_nodes = 16, most_nodes = 26;
constexpr std::size_t most_message = 72;

// A message gets no narrower; on a terminal that is, lines stick out.
constexpr std::size_t least_message = 30;

constexpr std::size_t mark_columns = 3;  // " X "
constexpr char gap[] = "  ";
constexpr std::size_t gap_columns = 2;

void grow(std::size_t& width, std::string_view text, std::size_t most) {
  width = std::max(width, std::min(display_width(text), most));
}

std::string count_text(std::size_t count) {
  return count == 0 ? "" : fmt::format("({})", count);
}

void write_line(std::string line, std::ostream& out) {
  line.erase(line.find_last_not_of(' ') + 1);
  out << line << '\n';
}

}  // namespace

void row_layout::measure(const std::vector<report_row>& rows) {
  for (const report_row& row : rows) {
    grow(name_, row.name, most_name);
    grow(count_, count_text(row.count), most_name);
    if (!row.nodes.empty()) nodes_ = std::max(nodes_, least_nodes);
    grow(nodes_, row.nodes, most_nodes);
    grow(message_, row.message, most_message);
    grow(state_, row.state, most_message);
  }
}

std::size_t row_layout::nodes_at() const {
  return mark_columns + name_ + gap_columns + count_ + gap_columns;
}

std::size_t row_layout::message_at() const {
  return nodes_ == 0 ? nodes_at() : nodes_at() + nodes_ + gap_columns;
}

std::size_t row_layout::message_width() const {
  if (width_ == 0) return 0;
  const std::size_t taken =
      message_at() + (state_ == 0 ? 0 : state_ + gap_columns);
  return width_ > taken + least_message ? width_ - taken : least_message;
}

void row_layout::write(const std::vector<report_row>& rows,
                       std::ostream& out) const {
  for (const report_row& row : rows)
    write_row(row, out);
}

void row_layout::write_row(const report_row& row, std::ostream& out) const {
  const std::string head =
      fmt::format(" {} {}{}{}{}", how_.painted(row.colour, padded(row.mark, 1)),
                  how_.painted(row.colour, padded(row.name, name_)), gap,
                  padded(count_text(row.count), count_), gap);
  if (display_width(row.nodes) <= nodes_) {
    write_message(
        row, nodes_ == 0 ? head : head + padded(row.nodes, nodes_) + gap, out);
  } else {
    // The node set has lines of its own, the message begins below it.
    const std::size_t room =
        width_ == 0 ? 0 : std::max(width_, nodes_at() + least_message);
    std::string line = head;
    for (const std::string& part :
         wrapped(row.nodes, room == 0 ? 0 : room - nodes_at())) {
      write_line(line + part, out);
      line = std::string(nodes_at(), ' ');
    }
    if (!row.message.empty() || !row.state.empty())
      write_message(row, std::string(message_at(), ' '), out);
  }
  const std::string indent(nodes_at(), ' ');
  for (const std::string& text : row.more)
    for (const std::string& part : wrapped(
             text, width_ == 0 ? 0
                               : std::max(width_, nodes_at() + least_message) -
                                     nodes_at()))
      write_line(indent + part, out);
}

void row_layout::write_message(const report_row& row, std::string line,
                               std::ostream& out) const {
  const std::size_t room = message_width();
  const std::size_t column = room == 0 ? message_ : std::min(room, message_);
  bool first = true;
  for (const std::string& part : wrapped(row.message, room)) {
    line +=
        first && !row.state.empty()
            ? padded(part, column) + gap + how_.painted(ink::faint, row.state)
            : part;
    write_line(line, out);
    line = std::string(message_at(), ' ');
    first = false;
  }
}

}  // namespace zelk::check
