#include <algorithm>
#include <cmath>

#include "src/check/page/cells.h"
#include "src/check/page/pictures.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// A value then and now.
struct move {
  const finding* of = nullptr;
  const node_value* value = nullptr;
  double before = 0, now = 0;
  double share() const {
    return before == 0 ? 0 : std::fabs(now - before) / std::fabs(before);
  }
};

constexpr std::size_t most_moves = 12;
constexpr std::size_t most_named = 200;  // findings of one state

// The metrics of findings that moved most, one a fact and node.
std::vector<move> moves_of(const judgement& what) {
  std::vector<move> out;
  for (const finding& one : what.findings)
    for (const node_value& value : one.values) {
      const std::optional<double> before = number_of(value.before);
      if (!before || !value.number || *before == *value.number) continue;
      if (*before == 0 || !std::isfinite(*value.number)) continue;
      out.push_back({&one, &value, *before, *value.number});
    }
  std::stable_sort(out.begin(), out.end(), [](const move& a, const move& b) {
    return a.share() > b.share();
  });
  if (out.size() > most_moves) out.resize(most_moves);
  return out;
}

constexpr double row_height = 26;
constexpr double scale_left = 340;
constexpr double scale_right = 740;
constexpr double scale_middle = (scale_left + scale_right) / 2;
constexpr double picture_width = 960;
// Per cent. What moved further ends at the edge, or a clock that was right to
// a thousandth would leave no room for all else.
constexpr double widest_change = 100;
constexpr double least_scale = 5;

double change_of(const move& one) {
  return std::clamp((one.now - one.before) / std::fabs(one.before) * 100,
                    -widest_change, widest_change);
}

void write_circle(markup& out, std::string_view kind, double x, double y,
                  std::string_view fill) {
  out.empty("circle", {{"class", kind},
                       {"cx", x},
                       {"cy", y},
                       {"r", 5},
                       {"fill", fill},
                       {"stroke", "#5f7f96"},
                       {"stroke-width", 2}});
}

void write_dumbbell(markup& out, const move& one, double y, double largest) {
  const double x =
      scale_middle + change_of(one) / largest * (scale_right - scale_left) / 2;
  const double mid = y + row_height / 2;
  write_label(out, 0, mid + 4, clipped(one.value->node, 20));
  write_label(out, 110, mid + 4, clipped(one.of->fact, 30), anchor::start,
              "soft");
  out.empty("line", {{"class", "bell"},
                     {"x1", scale_middle},
                     {"y1", mid},
                     {"x2", x},
                     {"y2", mid},
                     {"stroke", "#5f7f96"},
                     {"stroke-width", 3}});
  write_circle(out, "then", scale_middle, mid, "#ffffff");
  write_circle(out, "now", x, mid, "#1b1f24");
  write_label(out, picture_width, mid + 4,
              quantity_text(one.before, one.of->unit) + " \u2192 " +
                  quantity_text(one.now, one.of->unit),
              anchor::end);
}

void write_moves_picture(markup& out, const std::vector<move>& moves) {
  double largest = least_scale;
  for (const move& one : moves)
    largest = std::max(largest, std::fabs(change_of(one)));
  const double foot = row_height * static_cast<double>(moves.size());
  const picture svg(
      out, picture_width, foot + 22, "What moved most",
      "Values of findings, in the baseline and now, by change in per cent.");
  write_line(out, scale_middle, 0, scale_middle, foot, "strong");
  for (const double side : {-1.0, 1.0})
    write_label(out, scale_middle + side * (scale_right - scale_left) / 2,
                foot + 16,
                (side > 0 ? "+" : "-") + number_text(largest, 3) + " %",
                anchor::middle, "soft", 11);
  for (std::size_t i = 0; i < moves.size(); ++i)
    write_dumbbell(out, moves[i], row_height * static_cast<double>(i), largest);
}

void write_moves(markup& out, const judgement& what) {
  const std::vector<move> moves = moves_of(what);
  if (moves.empty()) return;
  out.leaf("h3", {}, "What moved most");
  const element figure(out, "figure");
  {
    const element box(out, "div", {{"class", "scroll"}});
    write_moves_picture(out, moves);
  }
  out.leaf("figcaption", {},
           "Open circle: in the baseline. Full circle: now. What moved by more "
           "than 100 % ends at the edge.");
}

void write_line_of(markup& out, const page_view& view, const finding& one) {
  const element row(out, "tr");
  {
    const element cell(out, "td");
    badge(out, cell_state::accepted, "fixed");
  }
  {
    const element cell(out, "th", {{"scope", "row"}});
    out.leaf("span", {{"class", "check"}}, clipped(one.check, 80));
  }
  {
    const element cell(out, "td");
    write_nodes(out, view, one.nodes);
  }
  out.leaf("td", {{"class", "evidence"}},
           clipped(one.message, view.limits.text_bytes));
}

// "3 nodes", or the one.
std::string who(const finding& one) {
  return one.nodes.size() == 1 ? clipped(one.nodes.front(), 60)
                               : count_text(one.nodes.size(), "node");
}

// The evidence stands with the findings; here only which they are.
void write_group(markup& out, const page_view& view, std::string_view heading,
                 finding_state state) {
  const std::vector<finding>& all = view.what.findings;
  const auto count = static_cast<std::size_t>(
      std::count_if(all.begin(), all.end(),
                    [&](const finding& one) { return one.state == state; }));
  if (count == 0 && state != finding_state::fresh) return;
  out.leaf("h3", {}, std::string(heading) + ": " + count_text(count));
  if (count == 0) return;
  std::size_t shown = 0;
  const element list(out, "ul", {{"class", "brief"}});
  for (std::uint32_t i = 0; i < all.size(); ++i) {
    if (all[i].state != state) continue;
    if (++shown > most_named) break;
    const element item(out, "li", {{"data-n", folded(all[i].nodes)}});
    icon(out, state_of(all[i].level));
    out.raw(" ");
    write_finding_link(out, view, i);
    out.raw(" ").leaf("span", {{"class", "muted"}}, who(all[i]));
  }
  if (count > most_named) {
    const element item(out, "li");
    out.text("and " + count_text(count - most_named) + " more");
  }
}

// They are told nowhere else.
void write_fixed(markup& out, const page_view& view) {
  const std::vector<finding>& all = view.what.fixed;
  if (all.empty()) return;
  out.leaf("h3", {}, "Fixed: " + count_text(all.size()));
  const std::size_t shown = std::min(all.size(), view.limits.finding_rows);
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "list"}});
    write_table_head(out, "Fixed", {"severity", "check", "nodes", "evidence"});
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i)
      write_line_of(out, view, all[i]);
  }
  write_more(out, all.size() - shown, "more are left out here");
}

void write_membership(markup& out, const page_view& view,
                      std::string_view words,
                      const std::vector<std::string>& nodes) {
  if (nodes.empty()) return;
  const element p(out, "p");
  out.text(words).raw(" ");
  write_nodes(out, view, nodes);
}

}  // namespace

void write_since_baseline(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "since"}, {"aria-labelledby", "h-since"}});
  if (!view.what.baseline) {
    section_head(out, "h-since", "Since the baseline",
                 "There is no baseline to compare with. Once a run is as it "
                 "should be, mark it:");
    write_command(out, "zelk-db baseline set " +
                           std::to_string(view.what.run.number) +
                           datastore_words(view.options));
    return;
  }
  section_head(
      out, "h-since", "Since the baseline",
      "Compared with run " + std::to_string(view.what.baseline->number) + ".");
  write_group(out, view, "New", finding_state::fresh);
  write_group(out, view, "Changed", finding_state::changed);
  write_fixed(out, view);
  write_group(out, view, "Unchanged", finding_state::unchanged);
  write_membership(out, view, "Joined:", view.what.joined);
  write_membership(out, view, "Left:", view.what.left);
  write_moves(out, view.what);
}

}  // namespace zelk::check::html
