#include <algorithm>
#include <cmath>
#include <map>

#include "src/check/page/cells.h"
#include "src/check/page/figures.h"
#include "src/check/page/pictures.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"
#include "src/common/node/natural_order.h"
#include "src/common/text/time_text.h"

namespace zelk::check::html {

namespace {

// Fewer runs have no history yet; of more, the newest are shown.
constexpr std::size_t least_runs = 3;
constexpr std::size_t most_runs = 60;

constexpr double bar_height = 120;
constexpr double step = 34;
constexpr double bar_width = 22;
constexpr double left = 50;
constexpr double grid_names = 150;

std::vector<const history_entry*> runs_of(const judgement& what) {
  std::vector<const history_entry*> out;
  const std::size_t all = what.history.size();
  for (std::size_t i = all > most_runs ? all - most_runs : 0; i < all; ++i)
    out.push_back(&what.history[i]);
  return out;
}

std::size_t in_trouble(const verdict_counts& counts) {
  return counts.suspect + counts.unhealthy + counts.unknown;
}

// Bars of nothing say nothing.
bool was_never_ill(const std::vector<const history_entry*>& runs) {
  return std::all_of(runs.begin(), runs.end(), [](const history_entry* one) {
    return in_trouble(one->counts) == 0;
  });
}

std::string run_words(const history_entry& one) {
  return "run " + std::to_string(one.run.number) + ", " +
         text::local_time(one.run.started_usec) + ": " +
         count_text(one.counts.unhealthy) + " unhealthy, " +
         count_text(one.counts.suspect) + " suspect, " +
         count_text(one.counts.unknown) + " unknown, " +
         count_text(one.counts.healthy) + " healthy";
}

// Trouble stands on the ground, where bars are compared.
void write_bar(markup& out, const history_entry& one, double x, double most) {
  const std::pair<verdict, std::size_t> parts[] = {
      {verdict::unhealthy, one.counts.unhealthy},
      {verdict::suspect, one.counts.suspect},
      {verdict::unknown, one.counts.unknown}};
  const element group(out, "g");
  out.leaf("title", {}, run_words(one));
  double y = bar_height + 8;
  for (const auto& [what, count] : parts) {
    if (count == 0) continue;
    const double height =
        std::max(2.0, bar_height * static_cast<double>(count) / most);
    y -= height;
    const verdict_look& look = look_of(what);
    out.empty("rect", {{"class", "v-" + std::string(look.key.text())},
                       {"x", x},
                       {"y", std::max(0.0, y)},
                       {"width", bar_width},
                       {"height", std::max(1.0, height - 1)},
                       {"fill", look.shape.text()}});
  }
}

// Bars are of nodes in trouble. With the healthy ones on top, 80 of 4,000 would
// be a line at the foot of every bar, and no run would look unlike another.
double most_in_trouble(const std::vector<const history_entry*>& runs) {
  std::size_t most = 1;
  for (const history_entry* one : runs)
    most = std::max(most, in_trouble(one->counts));
  return static_cast<double>(most);
}

void write_run_names(markup& out, const std::vector<const history_entry*>& runs,
                     double start, double y) {
  // A number takes the room of two bars when there are many digits.
  const std::size_t every = runs.size() > 30 ? 3 : 1;
  for (std::size_t i = 0; i < runs.size(); ++i)
    if ((runs.size() - 1 - i) % every == 0)
      write_label(out, start + static_cast<double>(i) * step + bar_width / 2, y,
                  std::to_string(runs[i]->run.number), anchor::middle, "soft",
                  11);
}

// Nodes that were not healthy in any of the runs, in natural order.
std::vector<std::string> nodes_ever_bad(
    const std::vector<const history_entry*>& runs) {
  std::vector<std::string> out;
  for (const history_entry* one : runs)
    for (const auto& [node, what] : one->nodes)
      out.push_back(node);
  node::sort_naturally(out);
  return out;
}

cell_state cell_of(verdict what) {
  switch (what) {
    case verdict::unhealthy:
      return cell_state::crit;
    case verdict::suspect:
      return cell_state::warn;
    case verdict::unknown:
      return cell_state::no_data;
    case verdict::healthy:
      return cell_state::ok;
  }
  return cell_state::ok;
}

void write_status(markup& out, const page_view& view,
                  const std::vector<const history_entry*>& runs) {
  std::vector<std::string> names = nodes_ever_bad(runs);
  if (names.empty()) return;
  const std::size_t all = names.size();
  names.resize(std::min(all, view.limits.status_rows));
  std::map<std::string_view, std::size_t> places;
  for (std::size_t i = 0; i < names.size(); ++i)
    places.emplace(names[i], i);
  out.leaf("h3", {}, "Nodes that were ever in trouble");
  constexpr double row = 22;
  {
    const element box(out, "div", {{"class", "scroll"}});
    const picture svg(
        out, grid_names + static_cast<double>(runs.size()) * step,
        static_cast<double>(names.size()) * row + 24,
        "Nodes that were ever in trouble",
        "A row is a node, a column is a run; the mark is the verdict.");
    cell_paths paths;
    for (std::size_t i = 0; i < runs.size(); ++i) {
      std::vector<verdict> column(names.size(), verdict::healthy);
      for (const auto& [node, what] : runs[i]->nodes) {
        const auto found = places.find(node);
        if (found != places.end()) column[found->second] = what;
      }
      for (std::size_t j = 0; j < names.size(); ++j)
        paths.add(cell_of(column[j]),
                  grid_names + static_cast<double>(i) * step,
                  static_cast<double>(j) * row, step - 2, row - 2);
    }
    paths.write(out);
    for (std::size_t j = 0; j < names.size(); ++j)
      write_label(out, 0, static_cast<double>(j) * row + 15,
                  clipped(names[j], 22));
    write_run_names(out, runs, grid_names + 5,
                    static_cast<double>(names.size()) * row + 16);
  }
  write_more(out, all - names.size(), "more nodes");
}

}  // namespace

void write_trend(markup& out, const page_view& view) {
  const std::vector<const history_entry*> runs = runs_of(view.what);
  const double most = most_in_trouble(runs);
  const picture svg(out, left + static_cast<double>(runs.size()) * step,
                    bar_height + 32, "Verdicts by run",
                    runs.empty() ? "" : run_words(*runs.back()));
  write_line(out, left - 6, bar_height + 8.5,
             left + static_cast<double>(runs.size()) * step, bar_height + 8.5,
             "strong");
  write_label(out, left - 12, 18, count_text(static_cast<std::size_t>(most)),
              anchor::end, "soft", 11);
  write_label(out, left - 12, bar_height + 8, "0", anchor::end, "soft", 11);
  for (std::size_t i = 0; i < runs.size(); ++i)
    write_bar(out, *runs[i], left + static_cast<double>(i) * step, most);
  write_run_names(out, runs, left, bar_height + 25);
}

void write_history(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "history"}, {"aria-labelledby", "h-history"}});
  const std::size_t runs = view.what.history.size();
  if (runs < least_runs) {
    section_head(out, "h-history", "History",
                 "History shows from three judged runs on; so far there " +
                     std::string(runs == 1 ? "is one." : "are ") +
                     (runs == 1 ? "" : count_text(runs) + "."));
    return;
  }
  if (was_never_ill(runs_of(view.what))) {
    section_head(out, "h-history", "History",
                 "In the last " +
                     count_text(std::min(runs, most_runs), "judged run") +
                     " every node was healthy.");
    return;
  }
  section_head(out, "h-history", "History",
               "Nodes that were not healthy in the last " +
                   count_text(std::min(runs, most_runs), "run") +
                   ", the newest at the right.");
  {
    const element figure(out, "figure");
    {
      const element box(out, "div", {{"class", "scroll"}});
      write_trend(out, view);
    }
    const element caption(out, "figcaption", {{"class", "legend"}});
    for (const verdict_look& look : all_verdicts()) {
      if (look.what == verdict::healthy) continue;
      const element span(out, "span", {{"class", "swatch"}});
      {
        const element svg(out, "svg",
                          {{"xmlns", "http://www.w3.org/2000/svg"},
                           {"width", 12},
                           {"height", 12},
                           {"aria-hidden", "true"}});
        out.empty("rect", {{"class", "v-" + std::string(look.key.text())},
                           {"width", 12},
                           {"height", 12},
                           {"rx", 2},
                           {"fill", look.shape.text()}});
      }
      out.text(name_of(look.what));
    }
  }
  write_status(out, view, runs_of(view.what));
}

}  // namespace zelk::check::html
