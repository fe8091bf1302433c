#include <algorithm>
#include <cmath>

#include "src/check/page/cells.h"
#include "src/check/page/figures.h"
#include "src/check/page/heat_rows.h"
#include "src/check/page/pictures.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

constexpr double full_width = 1000;
constexpr double name_width = 130;
// Of all rows together; with very many nodes a row is still 2 pixels high.
constexpr double tallest_map = 8000;
constexpr double highest_row = 12;
constexpr double least_row = 2;
constexpr double label_room = 14;  // of a line of names

double row_height(std::size_t nodes) {
  return std::clamp(
      std::floor(tallest_map /
                 static_cast<double>(std::max<std::size_t>(1, nodes))),
      least_row, highest_row);
}

// One rectangle for cells of like state side by side.
void add_runs(cell_paths& paths, const page_view& view, const node_view& node,
              double y, double cell, double height) {
  const auto& columns = view.columns();
  const auto at = [&](std::size_t place) {
    return columns[place] < node.cells.size() ? node.cells[columns[place]]
                                              : cell_state::not_applicable;
  };
  for (std::size_t first = 0; first < columns.size(); ++first) {
    const cell_state state = at(first);
    std::size_t last = first;
    while (last + 1 < columns.size() && at(last + 1) == state)
      ++last;
    if (state != cell_state::ok)
      paths.add(state, static_cast<double>(first) * cell, y,
                static_cast<double>(last + 1 - first) * cell, height, false);
    first = last;
  }
}

void write_names(markup& out, const page_view& view, double height) {
  const auto step = static_cast<std::size_t>(std::ceil(label_room / height));
  for (std::size_t i = 0; i < view.what.nodes.size(); i += step)
    write_label(out, 0, 12 + static_cast<double>(i) * height,
                clipped(view.what.nodes[i].name, 18), anchor::start, "soft",
                11);
}

// What makes a row of the folded picture: cells and names.
void write_folded_row(markup& out, const page_view& view, const heat_row& row,
                      double y, double cell, double height) {
  std::vector<std::string> names;
  for (const std::size_t place : row.nodes)
    names.push_back(view.what.nodes[place].name);
  write_label(
      out, 0, y + 15,
      clipped(folded(names), 30) + " (" + count_text(names.size()) + ')');
  cell_paths paths;
  for (std::size_t i = 0; i < row.cells.size(); ++i)
    paths.add(row.cells[i], 260 + static_cast<double>(i) * cell, y, cell - 2,
              height - 2);
  paths.write(out);
}

}  // namespace

void write_full_map(markup& out, const page_view& view) {
  const std::size_t nodes = view.what.nodes.size();
  const double height = row_height(nodes);
  const double cell =
      (full_width - name_width) /
      static_cast<double>(std::max<std::size_t>(1, view.columns().size()));
  const double total = static_cast<double>(nodes) * height;
  const picture svg(out, full_width, total + 8, "All nodes and checks",
                    "A line for every node; what is not ok is coloured.");
  write_names(out, view, height);
  const element group(out, "g", {{"transform", "translate(130 4)"}});
  const state_look& ok = look_of(cell_state::ok);
  out.empty("rect", {{"class", "s-ok"},
                     {"width", full_width - name_width},
                     {"height", total},
                     {"fill", ok.fill.text()}});
  cell_paths paths;
  for (std::size_t i = 0; i < nodes; ++i)
    add_runs(paths, view, view.what.nodes[i], static_cast<double>(i) * height,
             cell, height);
  paths.write(out);
}

void write_folded_map(markup& out, const page_view& view) {
  constexpr double height = 24;
  constexpr double head = 120;
  const std::vector<heat_row> rows = heat_rows(view);
  const double cell = std::clamp(
      740 /
          static_cast<double>(std::max<std::size_t>(1, view.columns().size())),
      16.0, 30.0);
  const double width = 360 + cell * static_cast<double>(view.columns().size());
  const picture svg(
      out, width, head + height * static_cast<double>(rows.size()),
      "Nodes and checks", "Nodes with the same answers share a row.");
  for (std::size_t i = 0; i < view.columns().size(); ++i) {
    std::string turn = "translate(";
    append_coordinate(turn, 260 + cell * (static_cast<double>(i) + .5));
    turn += ' ';
    append_coordinate(turn, head - 8);
    turn += ") rotate(-40)";
    const element turned(out, "g", {{"transform", turn}});
    write_label(out, 0, 0, clipped(view.what.columns[view.columns()[i]], 26));
  }
  for (std::size_t i = 0; i < rows.size(); ++i)
    write_folded_row(out, view, rows[i], head + height * static_cast<double>(i),
                     cell, height);
}

}  // namespace zelk::check::html
