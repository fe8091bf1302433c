#include <algorithm>
#include <cmath>
#include <map>

#include "src/check/page/cells.h"
#include "src/check/page/figures.h"
#include "src/check/page/pictures.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// Squares are drawn in the size in which marks are, and then made smaller: a
// mark that can hardly be seen still parts two states better than none.
constexpr double side = 16;
constexpr double gap = 4;
constexpr double row_step = side + gap;
constexpr double number_room = 11;

struct square_size {
  double scale = 1;
  std::size_t columns = 0;  // at most
  bool numbered = false;    // beside the mark, how many findings

  double width() const { return numbered ? side + number_room : side; }
  double step() const { return width() + gap; }
};

// Many nodes get small squares: 10,000 still fit on a screen or two.
square_size size_for(std::size_t all_nodes) {
  if (all_nodes <= 600) return {1.1, 24, true};
  if (all_nodes <= 2500) return {.8, 64, false};
  return {.55, 96, false};
}

// A third as high as wide, and as even as racks are: whole eights.
std::size_t columns_for(std::size_t nodes, const square_size& size) {
  if (nodes <= 16) return std::max<std::size_t>(1, nodes);
  const double wanted =
      std::sqrt(static_cast<double>(nodes) * 3 * row_step / size.step());
  const auto eights =
      static_cast<std::size_t>(std::ceil(wanted / 8)) * std::size_t{8};
  return std::clamp<std::size_t>(eights, 16, size.columns);
}

cell_state worst_cell(const node_view& node) {
  cell_state worst = cell_state::ok;
  for (const cell_state cell : node.cells)
    if (badness(cell) > badness(worst) && cell != cell_state::not_applicable &&
        cell != cell_state::accepted)
      worst = cell;
  return worst;
}

// A verdict is told by its own mark, else by the worst cell.
cell_state square_state(const node_view& node) {
  switch (node.what) {
    case verdict::unhealthy:
      return worst_cell(node) == cell_state::no_data ? cell_state::no_data
                                                     : cell_state::crit;
    case verdict::suspect:
      return cell_state::warn;
    case verdict::unknown:
      return cell_state::no_data;
    case verdict::healthy:
      // What is for information stands on many nodes and would hide the rest.
      return cell_state::ok;
  }
  return cell_state::ok;
}

std::string square_words(const page_view& view, const node_view& node) {
  std::string out = clipped(node.name, 80) + ": " + name_of(node.what);
  std::vector<std::string> checks;
  for (const std::uint32_t at : node.findings)
    if (at < view.what.findings.size() && checks.size() < 8)
      checks.push_back(view.what.findings[at].check);
  return checks.empty() ? out : out + ", " + joined_words(checks);
}

struct square {
  double x = 0, y = 0;
};

// "3"; "9+" of more; "" where there is nothing but for information.
std::string number_words(const page_view& view, const node_view& node) {
  const auto count = std::count_if(
      node.findings.begin(), node.findings.end(), [&](std::uint32_t at) {
        return at < view.what.findings.size() &&
               view.what.findings[at].level != severity::informational;
      });
  if (count == 0) return "";
  return count > 9 ? "9+" : std::to_string(count);
}

void write_number(markup& out, const page_view& view, const node_view& node,
                  const square& at) {
  const std::string words = number_words(view, node);
  if (words.empty()) return;
  const bool is_dark = square_state(node) == cell_state::crit;
  out.leaf("text",
           {{"class", is_dark ? "n-crit" : "n"},
            {"x", at.x + side + (number_room - 2) / 2},
            {"y", at.y + 12},
            {"fill", is_dark ? "#ffffff" : "#14181d"}},
           words);
}

void write_trouble(markup& out, const page_view& view, const node_view& node,
                   const square& at, double width) {
  const auto mark = [&] {
    const element rect(out, "rect",
                       {{"class", "hit"},
                        {"x", at.x},
                        {"y", at.y},
                        {"width", width},
                        {"height", side},
                        {"fill-opacity", 0}});
    out.leaf("title", {}, square_words(view, node));
  };
  if (!view.has_section(node)) return mark();
  const element link(out, "a",
                     {{"href", '#' + anchor_of("n", node.name)},
                      {"aria-label", square_words(view, node)}});
  mark();
}

void write_grid(markup& out, const page_view& view,
                const std::vector<std::size_t>& nodes, const square_size& size,
                double top) {
  const std::size_t columns = columns_for(nodes.size(), size);
  cell_paths paths;
  std::vector<std::pair<const node_view*, square>> trouble;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const node_view& node = view.what.nodes[nodes[i]];
    const std::size_t row = i / columns;
    const square at{static_cast<double>(i % columns) * size.step(),
                    top + static_cast<double>(row) * row_step};
    const cell_state state = square_state(node);
    paths.add(state, at.x, at.y, size.width(), side, false);
    if (state == cell_state::ok) continue;
    paths.add_mark(state, at.x, at.y, side, side);
    trouble.emplace_back(&node, at);
  }
  paths.write(out);
  if (size.numbered && !trouble.empty()) {
    const element numbers(out, "g",
                          {{"font-size", 11},
                           {"font-weight", 700},
                           {"text-anchor", "middle"},
                           {"aria-hidden", "true"}});
    for (const auto& [node, at] : trouble)
      write_number(out, view, *node, at);
  }
  for (const auto& [node, at] : trouble)
    write_trouble(out, view, *node, at, size.width());
}

double grid_height(std::size_t nodes, std::size_t columns) {
  const std::size_t rows = (nodes + columns - 1) / columns;
  return static_cast<double>(rows) * row_step;
}

std::vector<std::string> names_of(const page_view& view,
                                  const std::vector<std::size_t>& nodes) {
  std::vector<std::string> out;
  out.reserve(nodes.size());
  for (const std::size_t place : nodes)
    out.push_back(view.what.nodes[place].name);
  return out;
}

// The names in the order of the squares, for the script.
std::string square_names(const page_view& view,
                         const std::vector<std::size_t>& nodes) {
  const std::vector<std::string> names = names_of(view, nodes);
  if (std::is_sorted(nodes.begin(), nodes.end())) return folded(names);
  std::string out;
  for (const std::string& name : names)
    out += (out.empty() ? "" : ",") + name;
  return out;
}

// Text of a block: its name, its size, and how many are not healthy.
std::string block_words(const page_view& view, std::string_view name,
                        const std::vector<std::size_t>& nodes) {
  const auto bad = static_cast<std::size_t>(
      std::count_if(nodes.begin(), nodes.end(), [&](std::size_t place) {
        return view.what.nodes[place].what != verdict::healthy;
      }));
  std::string out(name);
  out += ": " + count_text(nodes.size(), "node");
  return bad == 0 ? out : out + ", " + count_text(bad) + " not healthy";
}

}  // namespace

std::vector<std::pair<std::string, std::vector<std::size_t>>> blocks_of(
    const page_view& view) {
  const auto& nodes = view.what.nodes;
  const auto told = [&](auto member) {
    return std::any_of(nodes.begin(), nodes.end(), [&](const node_view& node) {
      return (node.*member) != (nodes.front().*member);
    });
  };
  auto member = &node_view::class_name;
  std::string kind = "class ";
  if (!nodes.empty() && told(&node_view::subcluster)) {
    member = &node_view::subcluster;
    kind = "";
  } else if (!nodes.empty() && told(&node_view::role)) {
    member = &node_view::role;
    kind = "role ";
  }
  std::vector<std::pair<std::string, std::vector<std::size_t>>> out;
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const std::string& name = nodes[i].*member;
    const auto [found, is_new] = places.emplace(name, out.size());
    if (is_new)
      out.emplace_back(name.empty() ? "all others" : kind + clipped(name, 60),
                       std::vector<std::size_t>());
    out[found->second].second.push_back(i);
  }
  if (out.size() == 1) out.front().first = "all nodes";
  for (auto& [name, places_of] : out)
    std::stable_sort(places_of.begin(), places_of.end(),
                     [&](std::size_t a, std::size_t b) {
                       return view.place_of(a) < view.place_of(b);
                     });
  return out;
}

void write_squares(markup& out, const page_view& view,
                   const std::vector<std::size_t>& nodes,
                   std::string_view label) {
  const square_size size = size_for(view.what.nodes.size());
  const std::size_t columns = columns_for(nodes.size(), size);
  const element holder(out, "div",
                       {{"class", "squares"},
                        {"data-n", square_names(view, nodes)},
                        {"data-step", size.step()},
                        {"data-row", row_step},
                        {"data-columns", columns}});
  const picture svg(out, static_cast<double>(columns) * size.step(),
                    grid_height(nodes.size(), columns), label,
                    block_words(view, label, nodes), size.scale);
  write_grid(out, view, nodes, size, 0);
}

void write_all_squares(markup& out, const page_view& view) {
  constexpr double label_room = 24;
  constexpr double block_gap = 10;
  const square_size size = size_for(view.what.nodes.size());
  const auto blocks = blocks_of(view);
  double height = 0;
  for (const auto& [name, nodes] : blocks)
    height += label_room + block_gap +
              grid_height(nodes.size(), columns_for(nodes.size(), size));
  const picture svg(out, static_cast<double>(size.columns) * size.step(),
                    height, "All nodes",
                    "A square for every node, coloured by its worst trouble.");
  double top = 0;
  for (const auto& [name, nodes] : blocks) {
    const std::size_t columns = columns_for(nodes.size(), size);
    write_label(out, 0, top + 16, block_words(view, name, nodes));
    write_grid(out, view, nodes, size, top + label_room);
    top += label_room + block_gap + grid_height(nodes.size(), columns);
  }
}

void write_node_map(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "nodes"}, {"aria-labelledby", "h-nodes"}});
  const auto blocks = blocks_of(view);
  section_head(out, "h-nodes", "All nodes at a glance",
               blocks.empty()
                   ? "There are no nodes to show."
                   : "One square is one node, in their order; a number "
                     "says how many findings it has. Is it one rack, "
                     "one switch, one corner?");
  const element group(out, "div", {{"class", "blocks"}});
  for (const auto& [name, nodes] : blocks) {
    const element figure(out, "figure", {{"class", "block"}});
    const std::string words = block_words(view, name, nodes);
    const std::size_t end = words.rfind(": ");
    {
      const element caption(out, "figcaption");
      out.leaf("b", {}, words.substr(0, end));
      out.leaf("span", {{"class", "muted"}}, " " + words.substr(end + 2));
    }
    const element box(out, "div", {{"class", "scroll"}});
    write_squares(out, view, nodes, name);
  }
}

}  // namespace zelk::check::html
