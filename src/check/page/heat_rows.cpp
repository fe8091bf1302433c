#include "src/check/page/heat_rows.h"

#include <algorithm>
#include <array>
#include <map>

#include "src/check/page/palette.h"

namespace zelk::check::html {

namespace {

bool is_calm(cell_state state) {
  return state == cell_state::ok || state == cell_state::not_applicable ||
         state == cell_state::accepted || state == cell_state::info;
}

// What two nodes must have in common to be one row.
std::string key_of(const heat_row& row, const page_view& view) {
  std::string key;
  for (const cell_state cell : row.cells)
    key += static_cast<char>('a' + static_cast<int>(cell));
  // Nodes in the same trouble are one row even where their classes differ.
  if (row.calm) key += '\n' + row.class_name;
  std::vector<std::string> checks;
  for (const std::uint32_t at : row.findings)
    checks.push_back(view.what.findings[at].check);
  std::sort(checks.begin(), checks.end());
  for (const std::string& check : checks)
    key += '\n' + check;
  return key;
}

heat_row row_of(const page_view& view, std::size_t place) {
  const node_view& node = view.what.nodes[place];
  heat_row row;
  row.nodes.push_back(place);
  for (const std::size_t column : view.columns())
    row.cells.push_back(column < node.cells.size()
                            ? node.cells[column]
                            : cell_state::not_applicable);
  for (const std::uint32_t at : node.findings)
    if (at < view.what.findings.size()) row.findings.push_back(at);
  row.calm = std::all_of(row.cells.begin(), row.cells.end(), is_calm);
  row.class_name = node.class_name;
  return row;
}

// How many cells of each badness, the worst first: more of the worst is worse.
std::array<int, cell_states> weight(const heat_row& row) {
  std::array<int, cell_states> counts{};
  for (const cell_state cell : row.cells)
    --counts.at(cell_states - 1 - static_cast<std::size_t>(badness(cell)));
  return counts;
}

bool comes_before(const heat_row& a, const heat_row& b) {
  if (a.calm != b.calm) return b.calm;
  if (a.calm) {
    if (a.class_name != b.class_name) return a.class_name < b.class_name;
    return a.nodes.size() > b.nodes.size();
  }
  // Cells that nobody has to look at do not make a row worse.
  auto wa = weight(a);
  auto wb = weight(b);
  wa.back() = wb.back() = 0;
  return wa < wb;
}

}  // namespace

std::vector<heat_row> heat_rows(const page_view& view) {
  std::vector<heat_row> rows;
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < view.what.nodes.size(); ++i) {
    heat_row row = row_of(view, i);
    const auto [found, is_new] = places.emplace(key_of(row, view), rows.size());
    if (is_new)
      rows.push_back(std::move(row));
    else
      rows[found->second].nodes.push_back(i);
  }
  std::stable_sort(rows.begin(), rows.end(), comes_before);
  return rows;
}

std::vector<cell_state> states_in(const std::vector<heat_row>& rows) {
  std::array<bool, cell_states> seen{};
  for (const heat_row& row : rows)
    for (const cell_state cell : row.cells)
      seen.at(static_cast<std::size_t>(cell)) = true;
  std::vector<cell_state> out;
  for (const state_look& look : all_states())
    if (seen.at(static_cast<std::size_t>(look.state)))
      out.push_back(look.state);
  std::stable_sort(out.begin(), out.end(), [](cell_state a, cell_state b) {
    return badness(a) > badness(b);
  });
  return out;
}

}  // namespace zelk::check::html
