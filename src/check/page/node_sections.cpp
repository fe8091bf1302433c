#include <algorithm>
#include <map>
#include <unordered_map>

#include "src/check/page/cells.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// The others stand under the differences, and `--show node` has them all.
constexpr std::size_t most_odd_values = 12;
constexpr std::size_t most_error_lines = 40;

// A value that is not the peers'.
struct odd_value {
  const std::string* fact = nullptr;
  std::string value, peers;
};

using odd_values = std::unordered_map<std::string_view, std::vector<odd_value>>;

bool has_section(const page_view& view, const std::string& name) {
  const node_view* node = view.node(name);
  return node != nullptr && view.has_section(*node);
}

void collect_differences(const page_view& view, odd_values& out) {
  for (const difference& one : view.what.differences)
    for (std::size_t i = 1; i < one.groups.size(); ++i)
      for (const std::string& node : one.groups[i].second) {
        if (!has_section(view, node)) continue;
        auto& of = out[node];
        if (of.size() >= most_odd_values) continue;
        const bool absent = one.absent && *one.absent == i;
        of.push_back({&one.fact,
                      absent ? "not there" : clipped(one.groups[i].first, 200),
                      clipped(one.groups[0].first, 200)});
      }
}

odd_values collect(const page_view& view) {
  odd_values out;
  for (const distribution& one : view.what.distributions)
    for (const node_value& each : one.outliers) {
      if (!each.number || !has_section(view, each.node)) continue;
      auto& of = out[each.node];
      if (of.size() < most_odd_values)
        of.push_back({&one.fact, quantity_text(*each.number, one.unit),
                      quantity_text(one.median, one.unit)});
    }
  collect_differences(view, out);
  return out;
}

cell_state state_of_verdict(verdict what) {
  return look_of(what).like;
}

void write_summary(markup& out, const page_view& view, const node_view& node) {
  const element summary(out, "summary");
  badge(out, state_of_verdict(node.what), name_of(node.what));
  out.raw(" ").leaf("b", {{"class", "node"}}, clipped(node.name, 120));
  const element note(out, "span", {{"class", "muted"}});
  if (!node.class_name.empty())
    out.raw(" class ").text(clipped(node.class_name, 60));
  for (const std::string* word : {&node.role, &node.subcluster})
    if (!word->empty()) out.raw(" \u00b7 ").text(clipped(*word, 60));
  std::vector<std::string> checks;
  for (const std::uint32_t at : node.findings)
    if (at < view.what.findings.size() && checks.size() < 6)
      checks.push_back(view.what.findings[at].check);
  if (!checks.empty()) out.raw(" \u00b7 ").text(joined_words(checks));
}

// What the finding says of this one of its nodes.
std::string value_on(const finding& of, const std::string& node) {
  for (const node_value& one : of.values) {
    if (one.node != node || one.value.empty()) continue;
    const std::string_view unit = unit_behind(one.value, of.unit);
    return clipped(one.value, 120) +
           (unit.empty() ? "" : ' ' + clipped(unit, 20));
  }
  return "";
}

void write_findings(markup& out, const page_view& view, const node_view& node) {
  if (node.findings.empty()) return;
  const element list(out, "ul", {{"class", "plain"}});
  for (const std::uint32_t at : node.findings) {
    if (at >= view.what.findings.size()) continue;
    const finding& one = view.what.findings[at];
    const element item(out, "li");
    badge(out, state_of(one.level), name_of(one.level));
    out.raw(" ");
    write_finding_link(out, view, at);
    out.raw(" ").text(clipped(one.title, 160));
    const std::string value = value_on(one, node.name);
    if (!value.empty()) out.raw(": ").leaf("span", {{"class", "value"}}, value);
  }
}

// The columns of each state that says something, the worst state first.
void write_cells(markup& out, const page_view& view, const node_view& node) {
  std::map<int, std::pair<const char*, std::vector<std::string>>> lines;
  for (const std::size_t column : view.columns()) {
    if (column >= node.cells.size()) continue;
    const cell_state state = node.cells[column];
    if (state == cell_state::ok || state == cell_state::not_applicable)
      continue;
    auto& [word, columns] = lines[-badness(state)];
    word = look_of(state).word;
    columns.push_back(clipped(view.what.columns[column], 60));
  }
  if (lines.empty()) return;
  const element list(out, "dl", {{"class", "cells"}});
  for (const auto& [rank, line] : lines) {
    out.leaf("dt", {}, line.first);
    out.leaf("dd", {}, joined_words(line.second));
  }
}

void write_odd_values(markup& out, const std::vector<odd_value>& values) {
  const element box(out, "div", {{"class", "scroll"}});
  const element table(out, "table", {{"class", "values"}});
  write_table_head(out, "Values that are not the peers'",
                   {"fact", "here", "peers"});
  const element body(out, "tbody");
  for (const odd_value& one : values) {
    const element row(out, "tr");
    {
      const element cell(out, "th", {{"scope", "row"}});
      out.leaf("code", {}, clipped(*one.fact, 120));
    }
    out.leaf("td", {{"class", "value"}}, one.value);
    out.leaf("td", {{"class", "value muted"}}, one.peers);
  }
}

std::string last_lines(const std::string& text) {
  std::size_t at = text.size();
  if (at > 0 && text.back() == '\n') --at;
  std::size_t lines = 0;
  while (at > 0 && lines < most_error_lines) {
    at = text.rfind('\n', at - 1);
    if (at == std::string::npos) return text;
    ++lines;
  }
  return at == 0 ? text : text.substr(at + 1);
}

void write_error_output(markup& out, const page_view& view,
                        const node_view& node) {
  if (!view.options.error_output || !view.limits.error_output ||
      node.what == verdict::healthy)
    return;
  for (const std::size_t column : view.columns()) {
    if (column >= node.cells.size()) continue;
    if (badness(node.cells[column]) < badness(cell_state::no_data)) continue;
    const std::string& name = view.what.columns[column];
    const std::string text = view.options.error_output(node.name, name);
    if (text.empty()) continue;
    out.leaf("h4", {}, clipped(name, 80) + " wrote to its standard error");
    out.leaf("pre", {}, clipped(last_lines(text), 8 * view.limits.text_bytes));
  }
}

void write_node_section(markup& out, const page_view& view,
                        const node_view& node, const odd_values& odd) {
  const element details(
      out, "details",
      {{"class", "one-node"},
       {"id", anchor_of("n", node.name)},
       {"data-n", clipped(node.name, 200)},
       {"data-s", look_of(state_of_verdict(node.what)).key.text()}});
  write_summary(out, view, node);
  const element inside(out, "div", {{"class", "inside"}});
  write_findings(out, view, node);
  write_cells(out, view, node);
  const auto found = odd.find(node.name);
  if (found != odd.end()) write_odd_values(out, found->second);
  write_error_output(out, view, node);
  if (fits_a_command(node.name))
    write_command(
        out, "zelk-check --run " + std::to_string(view.what.run.number) +
                 datastore_words(view.options) + " --show node " + node.name);
}

// The worst first; healthy nodes that have a section last.
constexpr int rank(verdict what) {
  switch (what) {
    case verdict::unhealthy:
      return 0;
    case verdict::suspect:
      return 1;
    case verdict::unknown:
      return 2;
    case verdict::healthy:
      return 3;
  }
  return 3;
}

void write_rest(markup& out, const page_view& view, std::size_t shown) {
  std::vector<std::string> healthy, other;
  for (const node_view& node : view.what.nodes)
    if (!view.has_section(node))
      (node.what == verdict::healthy ? healthy : other).push_back(node.name);
  if (!other.empty()) {
    const element p(out, "p");
    out.raw("Not shown one by one: ");
    write_nodes(out, view, other);
  }
  if (healthy.empty()) return;
  const element p(out, "p");
  out.text(shown == 0 ? "All healthy: " : "Healthy: ");
  write_nodes(out, view, healthy);
}

}  // namespace

void write_node_sections(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "by-node"}, {"aria-labelledby", "h-by-node"}});
  std::vector<const node_view*> nodes;
  for (const node_view& node : view.what.nodes)
    if (view.has_section(node)) nodes.push_back(&node);
  std::stable_sort(nodes.begin(), nodes.end(),
                   [](const node_view* a, const node_view* b) {
                     return rank(a->what) < rank(b->what);
                   });
  section_head(out, "h-by-node", "Node by node",
               nodes.empty() ? "" : "Everything that is known of a node.");
  const odd_values odd = collect(view);
  {
    const element list(out, "div", {{"data-filter", "cards"}});
    for (const node_view* node : nodes)
      write_node_section(out, view, *node, odd);
  }
  write_rest(out, view, nodes.size());
}

}  // namespace zelk::check::html
