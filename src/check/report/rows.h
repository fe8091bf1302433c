// Rows of a report on a terminal: what, on how many nodes, on which, and why.
//
//    X stream-low  (2)  node[013,088]   168.9 and 171.2 GB/s; ...       new
//                       try: numactl -H
//
// Rows of one report stand under each other, those of other lists included, so
// the widths are taken from all rows before the first is written. Nothing of a
// node set or a message is cut: what does not fit goes into more lines.

#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "src/check/report/display.h"

namespace zelk::check {

// All texts are visible already.
struct report_row {
  ink colour = ink::plain;
  std::string mark;       // one column
  std::string name;       // of a check
  std::size_t count = 0;  // of the nodes
  std::string nodes;      // folded
  std::string message;
  std::string state;              // "new"; may be empty
  std::vector<std::string> more;  // lines below
};

class row_layout {
 public:
  // A width of 0 is a terminal without end.
  row_layout(look how, std::size_t width) : how_(how), width_(width) {}

  void measure(const std::vector<report_row>& rows);
  void write(const std::vector<report_row>& rows, std::ostream& out) const;

 private:
  void write_row(const report_row& row, std::ostream& out) const;
  void write_message(const report_row& row, std::string line,
                     std::ostream& out) const;
  std::size_t nodes_at() const;    // column of the node set
  std::size_t message_at() const;  // column of the message
  std::size_t message_width() const;

  look how_;
  std::size_t width_;
  std::size_t name_ = 15, count_ = 3, nodes_ = 0, message_ = 0, state_ = 0;
};

}  // namespace zelk::check
