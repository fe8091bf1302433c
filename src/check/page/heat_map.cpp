// The heat map is a table: the browser folds long lists of nodes, repeats the
// head on paper and tells a listener which row it reads. Only the cells of a
// row are a picture. The picture's table of words would repeat all of it, so
// every row says in words what its cells show, and calm cells are not worth
// any.

#include <algorithm>
#include <cmath>

#include "src/check/page/cells.h"
#include "src/check/page/figures.h"
#include "src/check/page/heat_rows.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// Cells are as wide as the columns allow, so that 10 columns do not get lost
// and 46 fit on a laptop.
constexpr double map_width = 690;
constexpr double least_cell = 14;
constexpr double widest_cell = 30;
constexpr double cell_height = 22;
constexpr double cell_gap = 2;
constexpr double subsystem_gap = 4;

// More columns than this are printed smaller, to fit on paper.
constexpr std::size_t most_on_paper = 50;

// Names of columns slant, by 40 degrees where there is room. Narrow columns
// bring the lines of text closer together, so those stand at 55.
constexpr double letter_width = .64;  // of its height
constexpr double narrow_cell = 22;
constexpr std::size_t longest_name = 26;

struct slant {
  double sine = 0, cosine = 0;
  double size = 0;  // of the letters
};

slant slant_of(double cell) {
  if (cell < narrow_cell) return {.819, .574, 11};
  return {.643, .766, 12};
}

struct grid {
  double cell = 0;
  std::vector<double> x;  // left edges by column
  double width = 0;
};

grid grid_of(const page_view& view) {
  grid out;
  const std::size_t columns = view.columns().size();
  if (columns == 0) return out;
  out.cell = std::clamp(map_width / static_cast<double>(columns), least_cell,
                        widest_cell);
  double x = 0;
  for (std::size_t i = 0; i < columns; ++i) {
    if (i > 0 && view.subsystems()[i] != view.subsystems()[i - 1])
      x += subsystem_gap;
    out.x.push_back(x);
    x += out.cell;
  }
  out.width = x;
  return out;
}

const std::string& column_name(const page_view& view, std::size_t place) {
  return view.what.columns[view.columns()[place]];
}

// A name along a line from its column's foot to the upper right. Not a turned
// text: Chromium leaves out what is transformed where a head is printed again.
void write_column_name(markup& out, std::size_t place, const std::string& name,
                       const slant& text, double x, double y, double length) {
  const std::string id = "c-" + std::to_string(place);
  std::string d = "M";
  append_coordinate(d, x);
  d += ' ';
  append_coordinate(d, y);
  d += 'l';
  append_coordinate(d, length * text.cosine);
  d += ' ';
  append_coordinate(d, -length * text.sine);
  out.empty("path", {{"id", id}, {"fill", "none"}, {"d", d}});
  const element label(out, "text", {{"class", "ink"}});
  out.leaf("textPath", {{"href", '#' + id}}, name);
}

// The last names reach beyond the cells, into the next column.
void write_head_picture(markup& out, const page_view& view, const grid& cells) {
  const slant text = slant_of(cells.cell);
  std::size_t longest = 4;
  for (const std::string& name : view.what.columns)
    longest = std::max(longest, std::min(name.size(), longest_name));
  const double length = static_cast<double>(longest) * letter_width * text.size;
  const double height = std::ceil(length * text.sine) + 14;
  const double width = cells.width + std::ceil(length * text.cosine);
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"class", "cols"},
                     {"width", width},
                     {"height", height},
                     {"font-size", text.size},
                     {"font-family", "system-ui, sans-serif"},
                     {"role", "img"},
                     {"aria-label", "Names of the checks"}});
  for (std::size_t i = 0; i < cells.x.size(); ++i)
    write_column_name(out, i, clipped(column_name(view, i), longest_name), text,
                      cells.x[i] + cells.cell / 2 + 2, height - 6, length);
}

// "mem_total: critical (mem-size)", of a run of cells alike.
std::string cell_words(const page_view& view, const heat_row& row,
                       std::size_t first, std::size_t last) {
  std::string out;
  for (std::size_t i = first; i <= last && i < first + 6; ++i)
    out += (i > first ? ", " : "") + clipped(column_name(view, i), 60);
  if (last >= first + 6) out += ", \u2026";
  out += ": ";
  out += look_of(row.cells[first]).word;
  if (first != last) return out;
  std::vector<std::string> checks;
  for (const std::uint32_t at : row.findings) {
    const finding& one = view.what.findings[at];
    const bool is_here = one.provider == column_name(view, first) ||
                         (first == 0 && one.provider.empty());
    if (is_here &&
        std::find(checks.begin(), checks.end(), one.check) == checks.end())
      checks.push_back(one.check);
  }
  return checks.empty() ? out : out + " (" + joined_words(checks) + ')';
}

// What a pointer finds over cells that are not ok.
void write_hits(markup& out, const page_view& view, const heat_row& row,
                const grid& cells) {
  for (std::size_t first = 0; first < row.cells.size(); ++first) {
    const cell_state state = row.cells[first];
    if (state == cell_state::ok || state == cell_state::not_applicable)
      continue;
    std::size_t last = first;
    const bool judged = badness(state) > badness(cell_state::error);
    while (!judged && last + 1 < row.cells.size() &&
           row.cells[last + 1] == state)
      ++last;
    const element hit(
        out, "rect",
        {{"class", "hit"},
         {"x", cells.x[first]},
         {"width", cells.x[last] + cells.cell - cell_gap - cells.x[first]},
         {"height", cell_height},
         {"fill-opacity", 0}});
    out.leaf("title", {}, cell_words(view, row, first, last));
    first = last;
  }
}

std::string row_words(const page_view& view, const heat_row& row) {
  if (row.calm) return "nothing to see";
  std::vector<std::string> words;
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    const cell_state state = row.cells[i];
    if (state == cell_state::ok || state == cell_state::not_applicable)
      continue;
    std::size_t last = i;
    while (last + 1 < row.cells.size() && row.cells[last + 1] == state)
      ++last;
    words.push_back(cell_words(view, row, i, last));
    i = last;
    if (words.size() == 8) break;
  }
  return joined_words(words);
}

// A dashed line, a dash a cell: most cells are calm, and a shape for each would
// be most of the page.
void write_calm_cells(markup& out, const heat_row& row, const grid& cells) {
  std::string d;
  const auto continues = [&](std::size_t place) {
    return place < row.cells.size() && row.cells[place] == cell_state::ok &&
           cells.x[place] - cells.x[place - 1] < cells.cell + subsystem_gap / 2;
  };
  for (std::size_t first = 0; first < row.cells.size();) {
    std::size_t end = first + 1;
    if (row.cells[first] == cell_state::ok) {
      while (continues(end))
        ++end;
      d += 'M';
      append_coordinate(d, cells.x[first]);
      d += ' ';
      append_coordinate(d, cell_height / 2);
      d += 'h';
      append_coordinate(
          d, cells.x[end - 1] - cells.x[first] + cells.cell - cell_gap);
    }
    first = end;
  }
  if (d.empty()) return;
  std::string dashes;
  append_coordinate(dashes, cells.cell - cell_gap);
  dashes += ' ';
  append_coordinate(dashes, cell_gap);
  out.empty("path", {{"class", "calm-cells"},
                     {"stroke", look_of(cell_state::ok).fill.text()},
                     {"stroke-width", cell_height},
                     {"stroke-dasharray", dashes},
                     {"d", d}});
}

void write_cells(markup& out, const page_view& view, const heat_row& row,
                 const grid& cells) {
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"class", "strip"},
                     {"width", cells.width},
                     {"height", cell_height},
                     {"role", "img"},
                     {"aria-label", row_words(view, row)}});
  write_calm_cells(out, row, cells);
  cell_paths paths;
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    const double width = cells.cell - cell_gap;
    if (row.cells[i] == cell_state::not_applicable)
      paths.add_mark(row.cells[i], cells.x[i], 0, width, cell_height);
    else if (row.cells[i] != cell_state::ok)
      paths.add(row.cells[i], cells.x[i], 0, width, cell_height);
  }
  paths.write(out);
  write_hits(out, view, row, cells);
}

std::vector<std::string> names_of(const page_view& view, const heat_row& row) {
  std::vector<std::string> out;
  for (const std::size_t place : row.nodes)
    out.push_back(view.what.nodes[place].name);
  return out;
}

std::string states_of(const heat_row& row) {
  std::string out;
  for (const cell_state state : states_in({row})) {
    if (!out.empty()) out += ' ';
    out += look_of(state).key.text();
  }
  return out;
}

// One finding of each check. What is for information only is told where there
// is nothing worse: a change on all nodes would stand in every row.
std::vector<std::uint32_t> told_findings(const page_view& view,
                                         const heat_row& row) {
  std::vector<std::uint32_t> out;
  const auto& findings = view.what.findings;
  for (const std::uint32_t at : row.findings) {
    if (!row.calm && findings[at].level == severity::informational) continue;
    const bool told =
        std::any_of(out.begin(), out.end(), [&](std::uint32_t other) {
          return findings[other].check == findings[at].check;
        });
    if (!told) out.push_back(at);
  }
  return out;
}

void write_row_note(markup& out, const page_view& view, const heat_row& row) {
  constexpr std::size_t most = 6;
  const std::vector<std::uint32_t> told = told_findings(view, row);
  if (row.calm)
    out.leaf("span", {{"class", "muted"}},
             row.class_name.empty() ? std::string("no class")
                                    : "class " + clipped(row.class_name, 60));
  else if (told.empty())
    out.leaf("span", {{"class", "muted"}}, "no finding");
  for (std::size_t i = 0; i < told.size() && i < most; ++i) {
    if (row.calm || i > 0) out.text(row.calm ? " \u00b7 " : ", ");
    write_finding_link(out, view, told[i]);
  }
  if (told.size() > most) out.raw(" \u2026");
}

void write_row(markup& out, const page_view& view, const heat_row& row,
               const grid& cells) {
  const std::vector<std::string> names = names_of(view, row);
  const element tr(out, "tr",
                   {{"data-s", states_of(row)},
                    {"data-n", folded(names)},
                    {"class", row.calm ? "calm" : "trouble"}});
  {
    const element head(out, "th", {{"scope", "row"}});
    write_nodes(out, view, names);
  }
  {
    const element cell(out, "td");
    write_cells(out, view, row, cells);
  }
  const element note(out, "td", {{"class", "note"}});
  write_row_note(out, view, row);
}

void write_legend(markup& out, const std::vector<cell_state>& states) {
  const element list(out, "ul", {{"class", "legend"}, {"id", "states"}});
  for (const cell_state state : states) {
    const element item(out, "li", {{"data-state", look_of(state).key.text()}});
    badge(out, state, state == cell_state::ok ? "ok" : look_of(state).word);
  }
}

void write_table(markup& out, const page_view& view,
                 const std::vector<heat_row>& rows) {
  const grid cells = grid_of(view);
  const element box(out, "div",
                    {{"class", "scroll"},
                     {"role", "region"},
                     {"aria-label", "Heat map"},
                     {"tabindex", 0}});
  const element table(
      out, "table",
      {{"class", view.columns().size() > most_on_paper ? "heat many" : "heat"},
       {"data-filter", "rows"}});
  out.leaf("caption", {{"class", "sr"}},
           "Nodes by row, checks by column, the worst first");
  {
    const element head(out, "thead");
    const element tr(out, "tr");
    out.leaf("th", {{"scope", "col"}}, "Nodes");
    // No <th>: without a style its content would stand in the middle, and no
    // name over its column.
    const element td(out, "td", {{"colspan", 2}});
    write_head_picture(out, view, cells);
  }
  const element body(out, "tbody");
  const std::size_t shown = std::min(rows.size(), view.limits.heat_rows);
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (i < shown || rows[i].calm) write_row(out, view, rows[i], cells);
}

std::string lead_of(const page_view& view, const std::vector<heat_row>& rows) {
  std::size_t calm = 0;
  for (const heat_row& row : rows)
    if (row.calm) calm += row.nodes.size();
  if (view.what.nodes.empty()) return "There are no nodes to show.";
  std::string out = count_text(view.what.nodes.size(), "node") + " in " +
                    count_text(rows.size(), "row") +
                    ": nodes with the same answers share one. ";
  if (calm == view.what.nodes.size()) return out + "None has any trouble.";
  return out + count_text(calm) + (calm == 1 ? " has" : " have") +
         " no trouble; they stand last, by class.";
}

}  // namespace

void write_heat_map(markup& out, const page_view& view) {
  const std::vector<heat_row> rows = heat_rows(view);
  const element section(out, "section",
                        {{"id", "map"}, {"aria-labelledby", "h-map"}});
  section_head(out, "h-map", "Nodes and checks", lead_of(view, rows));
  if (rows.empty()) return;
  write_legend(out, states_in(rows));
  write_table(out, view, rows);
  const std::size_t trouble = static_cast<std::size_t>(std::count_if(
      rows.begin(), rows.end(), [](const heat_row& row) { return !row.calm; }));
  if (trouble > view.limits.heat_rows)
    write_more(out, trouble - view.limits.heat_rows,
               "rows are left out here; the full map below has all nodes");
  if (!view.limits.full_map || rows.size() == view.what.nodes.size()) return;
  const element details(out, "details", {{"class", "more"}});
  out.leaf("summary", {}, "A line for every node");
  const element box(out, "div",
                    {{"class", "scroll tall"},
                     {"role", "region"},
                     {"aria-label", "All nodes and checks"},
                     {"tabindex", 0}});
  write_full_map(out, view);
}

}  // namespace zelk::check::html
