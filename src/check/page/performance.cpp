#include <algorithm>
#include <map>
#include <set>

#include "src/check/page/figures.h"
#include "src/check/page/pictures.h"
#include "src/check/page/sections.h"
#include "src/check/page/strip_plot.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// One metric with its distributions, a class each, the worst first.
struct metric {
  std::string name;
  std::vector<const distribution*> classes;
  bool odd = false;  // some node is far from its peers
  // Metrics of the same provider in which the same nodes are far: a module that
  // fails is seen by the module, its channel and the sum of all.
  std::vector<const metric*> alike;
  bool is_alike = false;  // it is one of those

  std::size_t outliers() const {
    std::size_t count = 0;
    for (const distribution* one : classes)
      count += one->outliers.size();
    return count;
  }
};

// Who is far, and how it is measured.
std::string key_of_outliers(const metric& of) {
  const distribution& first = *of.classes.front();
  std::string out = first.provider + '\n' + first.option + '\n';
  for (const distribution* one : of.classes)
    for (const node_value& each : one->outliers)
      out += each.node + '\n';
  return out;
}

void fold_alike(std::vector<metric>& metrics) {
  std::map<std::string, metric*> first;
  for (metric& one : metrics) {
    if (!one.odd) continue;
    const auto [found, is_new] = first.emplace(key_of_outliers(one), &one);
    if (is_new) continue;
    one.is_alike = true;
    found->second->alike.push_back(&one);
  }
}

std::vector<metric> metrics_of(const judgement& what) {
  std::vector<metric> out;
  std::map<std::string, std::size_t> places;
  for (const distribution& one : what.distributions) {
    const std::string key = one.fact + '\n' + one.provider + '\n' + one.option;
    const auto [found, is_new] = places.emplace(key, out.size());
    if (is_new) out.push_back({one.fact, {}, false, {}, false});
    metric& of = out[found->second];
    of.classes.push_back(&one);
    of.odd = of.odd || !one.outliers.empty();
  }
  std::stable_partition(out.begin(), out.end(),
                        [](const metric& one) { return one.odd; });
  fold_alike(out);
  return out;
}

// Without trouble, some pictures still show what is normal here: the first of
// each provider that says which way is better.
constexpr std::size_t most_samples = 4;

std::vector<const metric*> pictured(const std::vector<metric>& metrics,
                                    std::size_t most) {
  std::vector<const metric*> out;
  std::set<std::string_view> providers;
  std::size_t samples = 0;
  for (const metric& one : metrics) {
    if (out.size() == most) break;
    const distribution& first = *one.classes.front();
    if (one.odd && !one.is_alike) {
      out.push_back(&one);
    } else if (!one.odd && samples < most_samples &&
               first.direction != facts::better::none &&
               providers.insert(first.provider).second) {
      out.push_back(&one);
      ++samples;
    }
  }
  return out;
}

const char* direction_text(facts::better direction) {
  switch (direction) {
    case facts::better::higher:
      return "higher is better";
    case facts::better::lower:
      return "lower is better";
    case facts::better::none:
      return "";
  }
  return "";
}

std::string unit_of(const metric& of) {
  double largest = 0;
  for (const distribution* one : of.classes)
    largest = std::max(largest, std::abs(one->median));
  return scale_for(largest, of.classes.front()->unit).unit;
}

void write_metric_head(markup& out, const metric& of) {
  const distribution& first = *of.classes.front();
  const element head(out, "h3");
  out.leaf("code", {}, clipped(of.name, 120));
  const element note(out, "span", {{"class", "muted"}});
  const std::string unit = unit_of(of);
  if (!unit.empty()) out.raw(" ").text(clipped(unit, 20));
  if (!first.option.empty())
    out.raw(" \u00b7 ").text(clipped(first.option, 60));
  const std::string_view direction = direction_text(first.direction);
  if (!direction.empty()) out.raw(" \u00b7 ").text(direction);
  if (first.members > 1)
    out.text(" \u00b7 of each node the worst of " + count_text(first.members));
}

std::string signed_percent(double value) {
  return (value > 0 ? "+" : "") + number_text(value, 3) + " %";
}

std::string caption_of(const distribution& one) {
  std::string out;
  if (!one.class_name.empty())
    out = "class " + clipped(one.class_name, 60) + " \u00b7 ";
  return out + count_text(one.values.size(), "node") + " \u00b7 median " +
         quantity_text(one.median, one.unit) + " \u00b7 MAD " +
         quantity_text(one.mad, one.unit);
}

// A single outlier needs no table.
void write_caption(markup& out, const page_view& view, const distribution& of,
                   bool names_outlier) {
  const element caption(out, "figcaption");
  out.text(caption_of(of));
  if (!names_outlier || of.outliers.empty()) return;
  const node_value& one = of.outliers.front();
  out.raw(" \u00b7 ");
  write_node(out, view, one.node);
  if (one.number) out.text(' ' + quantity_text(*one.number, of.unit));
  if (one.delta_percent)
    out.text(" (" + signed_percent(*one.delta_percent) + ')');
}

void write_outlier_row(markup& out, const page_view& view,
                       const distribution& of, const node_value& one) {
  const element row(out, "tr");
  {
    const element cell(out, "th", {{"scope", "row"}});
    write_node(out, view, one.node);
  }
  out.leaf("td", {}, clipped(of.class_name, 60));
  out.leaf("td", {{"class", "num"}},
           one.number ? quantity_text(*one.number, of.unit)
                      : clipped(one.value, 200));
  out.leaf("td", {{"class", "num"}},
           one.delta_percent ? signed_percent(*one.delta_percent) : "");
  out.leaf("td", {{"class", "num"}}, one.z ? number_text(*one.z, 3) : "");
  const std::optional<double> before = number_of(one.before);
  out.leaf("td", {{"class", "num muted"}},
           before ? quantity_text(*before, of.unit) : clipped(one.before, 200));
}

// Of all classes: the pictures stand together, and so do the numbers.
void write_outliers(markup& out, const page_view& view, const metric& of) {
  if (of.outliers() < 2) return;
  std::size_t left_out = 0;
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "values sortable"}});
    write_table_head(out, "Nodes far from their peers",
                     {"node", "class", "#value", "#from the median",
                      "#robust z", "#in the baseline"});
    const element body(out, "tbody");
    for (const distribution* one : of.classes) {
      const std::size_t shown =
          std::min(one->outliers.size(), view.limits.values);
      left_out += one->outliers.size() - shown;
      for (std::size_t i = 0; i < shown; ++i)
        write_outlier_row(out, view, *one, one->outliers[i]);
    }
  }
  write_more(out, left_out, "more nodes");
}

// Of the metric with its classes: they are compared on one scale.
// Not where one class lies so far from another that each would be a point.
std::optional<scale_range> common_range(const metric& of) {
  constexpr double most_apart = 6;
  double widest = 0;
  scale_range range = range_of(*of.classes.front());
  for (const distribution* one : of.classes) {
    const scale_range each = range_of(*one);
    widest = std::max(widest, each.high - each.low);
    range.include(each.low);
    range.include(each.high);
  }
  if (range.high - range.low > most_apart * widest) return std::nullopt;
  return range;
}

void write_alike(markup& out, const metric& of) {
  if (of.alike.empty()) return;
  constexpr std::size_t most = 6;
  const element p(out, "p", {{"class", "muted"}});
  out.raw("The same nodes are far in ");
  for (std::size_t i = 0; i < of.alike.size() && i < most; ++i) {
    if (i > 0) out.raw(", ");
    out.leaf("code", {}, clipped(of.alike[i]->name, 120));
  }
  if (of.alike.size() > most)
    out.text(" and " + count_text(of.alike.size() - most) + " more");
}

void write_metric(markup& out, const page_view& view, const metric& of) {
  const element article(out, "article", {{"class", "metric"}});
  write_metric_head(out, of);
  const std::optional<scale_range> range = common_range(of);
  for (const distribution* one : of.classes) {
    // Two dots are no picture of what is usual.
    if (one->outliers.empty() && one->values.size() < 3) continue;
    const element figure(out, "figure");
    write_caption(out, view, *one, of.outliers() == 1);
    strip_style style;
    style.width = 1000;
    style.min_effect = view.what.with.min_effect;
    style.z = view.what.with.z;
    style.names = !one->outliers.empty();
    if (one->outliers.empty()) style.dots_height = 30;
    {
      const element box(out, "div", {{"class", "scroll"}});
      write_strip(out, *one, range.value_or(range_of(*one)), style);
    }
  }
  write_outliers(out, view, of);
  write_alike(out, of);
}

void write_quiet_row(markup& out, const distribution& one) {
  const element row(out, "tr");
  {
    const element cell(out, "th", {{"scope", "row"}});
    out.leaf("code", {}, clipped(one.fact, 120));
  }
  out.leaf("td", {}, clipped(one.class_name, 60));
  const auto number = [&](std::string_view text, double order) {
    out.leaf("td", {{"class", "num"}, {"data-sort", order}}, text);
  };
  number(count_text(one.values.size()), static_cast<double>(one.values.size()));
  number(quantity_text(one.median, one.unit), one.median);
  number(quantity_text(one.mad, one.unit), one.mad);
  if (!one.values.empty()) {
    number(quantity_text(one.values.front(), one.unit), one.values.front());
    number(quantity_text(one.values.back(), one.unit), one.values.back());
  } else {
    number("", 0);
    number("", 0);
  }
  const element cell(out, "td");
  write_spark(out, one);
}

void write_quiet(markup& out, const page_view& view,
                 const std::vector<metric>& metrics,
                 const std::vector<const metric*>& shown_above) {
  std::vector<const distribution*> rows;
  std::size_t count = 0;
  for (const metric& one : metrics) {
    if (std::find(shown_above.begin(), shown_above.end(), &one) !=
        shown_above.end())
      continue;
    ++count;
    rows.insert(rows.end(), one.classes.begin(), one.classes.end());
  }
  if (rows.empty()) return;
  const std::size_t shown = std::min(rows.size(), view.limits.quiet_metrics);
  const element details(out, "details", {{"class", "more"}});
  out.leaf("summary", {}, "All other metrics: " + count_text(count, "metric"));
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "list sortable"}});
    write_table_head(out, "Metrics without a picture of their own",
                     {"metric", "class", "#nodes", "#median", "#MAD", "#least",
                      "#most", "spread"});
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i)
      write_quiet_row(out, *rows[i]);
  }
  write_more(out, rows.size() - shown + view.what.distributions_left_out,
             "more are left out here");
}

// Whether `fact` is one of a family: "cpu3.noise" of "cpu*.noise".
bool is_member(std::string_view family, std::string_view fact) {
  std::size_t at = 0;
  for (const char c : family) {
    if (c != '*') {
      if (at == fact.size() || fact[at] != c) return false;
      ++at;
      continue;
    }
    const std::size_t start = at;
    while (at < fact.size() && fact[at] >= '0' && fact[at] <= '9')
      ++at;
    if (at == start) return false;
  }
  return at == fact.size();
}

// The metric of that name, else the family that it is one of.
const metric* metric_named(const std::vector<metric>& metrics,
                           std::string_view fact) {
  for (const metric& one : metrics)
    if (one.name == fact) return &one;
  for (const metric& one : metrics)
    if (one.classes.front()->members > 1 && is_member(one.name, fact))
      return &one;
  return nullptr;
}

}  // namespace

bool write_metric_figure(markup& out, const page_view& view,
                         std::string_view fact) {
  const std::vector<metric> metrics = metrics_of(view.what);
  const metric* found = metric_named(metrics, fact);
  if (found == nullptr) return false;
  constexpr double width = 1000;
  constexpr double height = 120;
  const picture svg(
      out, width, height * static_cast<double>(found->classes.size()),
      clipped(found->name, 120), "A row is a class, a dot is a node.");
  const std::optional<scale_range> range = common_range(*found);
  strip_style style;
  style.width = width;
  style.min_effect = view.what.with.min_effect;
  style.z = view.what.with.z;
  double top = 0;
  for (const distribution* one : found->classes) {
    std::string place = "translate(0 ";
    append_coordinate(place, top);
    place += ')';
    const element group(out, "g", {{"transform", place}});
    write_label(out, 14, 14, caption_of(*one));
    const element lower(out, "g", {{"transform", "translate(0 20)"}});
    write_strip(out, *one, range.value_or(range_of(*one)), style);
    top += height;
  }
  return true;
}

void write_performance(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "performance"}, {"aria-labelledby", "h-perf"}});
  const std::vector<metric> metrics = metrics_of(view.what);
  const auto odd = static_cast<std::size_t>(
      std::count_if(metrics.begin(), metrics.end(),
                    [](const metric& one) { return one.odd; }));
  section_head(out, "h-perf", "Performance",
               metrics.empty() ? std::string("No numbers were compared.")
               : odd == 0
                   ? "No node is far from its peers in any of " +
                         count_text(metrics.size(), "metric") + "."
                   : "In " + count_text(odd) + " of " +
                         count_text(metrics.size(), "metric") +
                         " a node is far from its peers. A dot is a node, the "
                         "line is the median, a diamond is an outlier.");
  const std::vector<const metric*> pictures =
      pictured(metrics, view.limits.strip_plots);
  for (const metric* one : pictures)
    write_metric(out, view, *one);
  write_quiet(out, view, metrics, pictures);
}

}  // namespace zelk::check::html
