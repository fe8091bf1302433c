#include <algorithm>
#include <numeric>

#include "src/check/page/cells.h"
#include "src/check/page/sections.h"
#include "src/check/page/strip_plot.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// Of a value in a table of numbers, in bytes.
constexpr std::size_t most_value = 120;

// The judgement has the worst first; of the equally bad, what is new comes
// first here: it is what somebody has just broken.
std::vector<std::size_t> reading_order(const judgement& what) {
  std::vector<std::size_t> order(what.findings.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) {
                     const finding& one = what.findings[a];
                     const finding& other = what.findings[b];
                     if (one.level != other.level)
                       return one.level > other.level;
                     return one.state < other.state;
                   });
  return order;
}

void write_state(markup& out, const page_view& view, const finding& one) {
  if (!view.what.baseline) return;
  out.leaf(
      "span",
      {{"class", one.state == finding_state::fresh ? "state fresh" : "state"}},
      name_of(one.state));
}

void write_card_top(markup& out, const page_view& view, std::size_t at) {
  const finding& one = view.what.findings[at];
  const element top(out, "p", {{"class", "card-top"}});
  badge(out, state_of(one.level), name_of(one.level));
  out.raw(" ");
  write_state(out, view, one);
  out.raw(" ");
  write_finding_link(out, view, static_cast<std::uint32_t>(at));
}

std::string deviation_text(const node_value& one) {
  if (!one.delta_percent) return "";
  return (*one.delta_percent > 0 ? "+" : "") +
         number_text(*one.delta_percent, 3) + " %";
}

void write_value_of(markup& out, std::string_view value, const finding& of) {
  write_value(out, clipped(value, most_value));
  const std::string_view unit = unit_behind(value, of.unit);
  if (!unit.empty())
    out.raw(" ").leaf("span", {{"class", "muted"}}, clipped(unit, 20));
}

// Which columns have something to say.
struct value_columns {
  bool delta = false, before = false;
};

value_columns columns_of(const finding& of) {
  value_columns out;
  for (const node_value& one : of.values) {
    out.delta = out.delta || one.delta_percent;
    out.before = out.before || !one.before.empty();
  }
  return out;
}

void write_value_head(markup& out, const value_columns& columns) {
  if (columns.delta && columns.before)
    write_table_head(out, "Values",
                     {"node", "#value", "#from the median", "#before"});
  else if (columns.delta)
    write_table_head(out, "Values", {"node", "#value", "#from the median"});
  else if (columns.before)
    write_table_head(out, "Values", {"node", "#value", "#before"});
  else
    write_table_head(out, "Values", {"node", "#value"});
}

void write_value_row(markup& out, const page_view& view, const finding& of,
                     const node_value& one, const value_columns& columns) {
  const element row(out, "tr");
  {
    const element cell(out, "th", {{"scope", "row"}});
    write_node(out, view, one.node);
  }
  {
    const element cell(out, "td", {{"class", "num"}});
    write_value_of(out, one.value, of);
  }
  if (columns.delta) out.leaf("td", {{"class", "num"}}, deviation_text(one));
  if (!columns.before) return;
  const element cell(out, "td", {{"class", "num muted"}});
  if (!one.before.empty()) write_value_of(out, one.before, of);
}

// Values of the nodes, where each has one of its own to tell. Of a single node
// the evidence tells it.
void write_values(markup& out, const page_view& view, const finding& one) {
  if (one.values.size() < 2) return;
  const bool tells = std::any_of(one.values.begin(), one.values.end(),
                                 [](const node_value& each) {
                                   return each.number && !each.value.empty();
                                 });
  if (!tells) return;
  const std::size_t shown = std::min(one.values.size(), view.limits.values);
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "values"}});
    const value_columns columns = columns_of(one);
    write_value_head(out, columns);
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i)
      write_value_row(out, view, one, one.values[i], columns);
  }
  write_more(out, one.values.size() - shown, "more nodes");
}

void write_list(markup& out, literal heading,
                const std::vector<std::string>& lines, bool commands) {
  if (lines.empty()) return;
  const element box(out, "div");
  out.leaf("h4", {}, heading.text());
  const element list(out, "ul", {{"class", commands ? "commands" : "causes"}});
  for (const std::string& line : lines) {
    if (line.empty()) continue;
    const element item(out, "li");
    if (commands)
      write_command(out, line);
    else
      out.text(clipped(line, 2000));
  }
}

void write_reference(markup& out, const page_view& view, const finding& one) {
  const element p(out, "p", {{"class", "facts muted"}});
  if (!one.class_name.empty())
    out.raw("class ").text(clipped(one.class_name, 60)).raw(" \u00b7 ");
  if (!one.fact.empty()) {
    out.leaf("code", {}, clipped(one.fact, 120));
    out.raw(" \u00b7 ");
  }
  // What a fixed rule wants is no peer's, and most evidence names it already.
  if (one.peers > 0 && !one.reference.empty() &&
      one.message.find(one.reference) == std::string::npos) {
    out.raw("peers have ").text(clipped(one.reference, 200));
    out.text(" (" + count_text(one.peers) + ")").raw(" \u00b7 ");
  }
  if (one.values.size() == 1 && !one.values.front().before.empty() &&
      one.values.front().before != one.values.front().value) {
    out.raw("before ");
    write_value_of(out, one.values.front().before, one);
    out.raw(" \u00b7 ");
  }
  if (!one.accepted_nodes.empty()) {
    out.raw("accepted for ");
    write_nodes(out, view, one.accepted_nodes);
    out.raw(" \u00b7 ");
  }
  out.text("score " + std::to_string(one.score));
  if (!one.since) return;
  if (one.since->number == view.what.run.number) {
    out.raw(" \u00b7 first seen now");
    return;
  }
  out.raw(" \u00b7 since run ")
      .text(std::to_string(one.since->number))
      .raw(", ");
  write_time(out, one.since->started_usec);
}

void write_plot(markup& out, const page_view& view, const finding& one) {
  const distribution* values = view.distribution_of(one);
  if (values == nullptr || values->values.size() < 3) return;
  const element figure(out, "figure", {{"class", "plot"}});
  strip_style style;
  style.width = 620;
  style.dots_height = 44;
  style.min_effect = view.what.with.min_effect;
  style.z = view.what.with.z;
  {
    const element box(out, "div", {{"class", "scroll"}});
    write_strip(out, *values, range_of(*values), style);
  }
  const element caption(out, "figcaption");
  out.text(strip_sentence(*values)).raw(".");
}

// What is wrong, and what shows it.
void write_told(markup& out, const page_view& view, std::size_t at) {
  const finding& one = view.what.findings[at];
  write_card_top(out, view, at);
  out.leaf("h3", {}, clipped(one.title.empty() ? one.check : one.title, 300));
  {
    const element nodes(out, "p", {{"class", "nodes"}});
    write_nodes(out, view, one.nodes);
  }
  out.leaf("p", {{"class", "evidence"}},
           clipped(one.message, view.limits.text_bytes));
  write_reference(out, view, one);
  write_plot(out, view, one);
  write_values(out, view, one);
}

void write_card(markup& out, const page_view& view, std::size_t at) {
  const finding& one = view.what.findings[at];
  const element card(
      out, "article",
      {{"class",
        "card c-" + std::string(look_of(state_of(one.level)).key.text())},
       {"id", view.anchor(at)},
       {"data-s", look_of(state_of(one.level)).key.text()},
       {"data-n", folded(one.nodes)}});
  {
    const element told(out, "div", {{"class", "told"}});
    write_told(out, view, at);
  }
  if (one.causes.empty() && one.advice.empty()) return;
  const element advice(out, "div", {{"class", "advice"}});
  write_list(out, "Likely causes", one.causes, false);
  write_list(out, "Try next", one.advice, true);
}

void write_finding_row(markup& out, const page_view& view, std::size_t at,
                       bool has_card) {
  const finding& one = view.what.findings[at];
  const state_look& look = look_of(state_of(one.level));
  const element row(
      out, "tr", {{"data-s", look.key.text()}, {"data-n", folded(one.nodes)}});
  {
    const element cell(out, "td", {{"data-sort", 100 - one.score}});
    badge(out, look.state, name_of(one.level));
  }
  {
    const element cell(out, "th", {{"scope", "row"}});
    if (has_card)
      write_finding_link(out, view, static_cast<std::uint32_t>(at));
    else
      out.leaf("span", {{"class", "check"}, {"id", view.anchor(at)}},
               clipped(one.check, 80));
  }
  {
    const element cell(out, "td", {{"data-sort", one.nodes.size()}});
    write_nodes(out, view, one.nodes);
  }
  out.leaf("td", {{"class", "evidence"}},
           clipped(one.message, view.limits.text_bytes));
  const element cell(out, "td");
  write_state(out, view, one);
}

void write_all_findings(markup& out, const page_view& view,
                        const std::vector<std::size_t>& order) {
  out.leaf("h3", {{"id", "all-findings"}}, "All findings");
  const std::size_t shown = std::min(order.size(), view.limits.finding_rows);
  {
    const element box(out, "div",
                      {{"class", "scroll"},
                       {"role", "region"},
                       {"aria-labelledby", "all-findings"},
                       {"tabindex", 0}});
    const element table(
        out, "table",
        {{"class", "list sortable stack"}, {"data-filter", "rows"}});
    write_table_head(out, "All findings, the worst first",
                     {"severity", "check", "nodes", "evidence", "state"});
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i)
      write_finding_row(out, view, order[i], i < view.limits.first_things);
  }
  write_more(out, order.size() - shown, "more findings are left out here");
}

std::string lead_of(const page_view& view) {
  const std::size_t all = view.what.findings.size();
  const std::size_t accepted = view.what.accepted.size();
  const std::string besides = accepted == 0
                                  ? ""
                                  : " What is accepted is not among them: " +
                                        count_text(accepted, "finding") + ".";
  if (all == 0)
    return accepted == 0 ? "Nothing was found."
                         : "Nothing was found but what is accepted: " +
                               count_text(accepted, "finding") + ".";
  if (all <= view.limits.first_things)
    return count_text(all, "finding") + ", the worst and newest first." +
           besides;
  return "The " + count_text(view.limits.first_things) +
         " worst and newest of " + count_text(all, "finding") + "." + besides;
}

}  // namespace

void write_first_things(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "first"}, {"aria-labelledby", "h-first"}});
  section_head(out, "h-first", "Do this first", lead_of(view));
  const std::vector<std::size_t> order = reading_order(view.what);
  if (order.empty()) return;
  {
    const element cards(out, "div",
                        {{"class", "cards"}, {"data-filter", "cards"}});
    for (std::size_t i = 0; i < order.size() && i < view.limits.first_things;
         ++i)
      write_card(out, view, order[i]);
  }
  if (order.size() > view.limits.first_things)
    write_all_findings(out, view, order);
}

}  // namespace zelk::check::html
