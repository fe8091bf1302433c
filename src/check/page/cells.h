// Drawing of cells: one path for the fill and one for the marks of each state,
// however many cells there are.

#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "src/check/page/markup.h"
#include "src/check/page/palette.h"

namespace zelk::check::html {

class cell_paths {
 public:
  // A rectangle of that state; with its mark in the middle, when it has room
  // for one.
  void add(cell_state state, double x, double y, double width, double height,
           bool marked = true);
  // The mark alone, of a state that has no colour of its own.
  void add_mark(cell_state state, double x, double y, double width,
                double height);
  // Writes the paths and forgets the cells.
  void write(markup& out);

 private:
  struct paths {
    std::string fill, marks;
  };
  std::array<paths, cell_states> states_;
};

// The definitions that icon() points to, once a page.
void write_icons(markup& out);
// The mark of a state, as large as a letter. It says nothing to those who
// listen: the word stands beside it.
void icon(markup& out, cell_state state);
// The mark and the word: "critical".
void badge(markup& out, cell_state state);
void badge(markup& out, cell_state state, std::string_view word);

}  // namespace zelk::check::html
