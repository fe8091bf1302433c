// The form prom: metrics for the text file collector of node_exporter.
//
// The collector drops a whole file for one series that stands twice, for a
// metric whose lines do not stand together, or for a time stamp. So every
// metric is gathered in a set of its own and written under its two head lines.

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <initializer_list>
#include <set>
#include <utility>

#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/common/facts/units.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_label = 200;  // characters

using label = std::pair<const char*, std::string>;

std::string label_value(const std::string& text) {
  std::string escaped;
  for (const char c : excerpt_of(text, most_label)) {
    if (c == '\\' || c == '"') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string labels_text(std::initializer_list<label> labels) {
  std::string text;
  for (const auto& [name, value] : labels)
    text += fmt::format("{}{}=\"{}\"", text.empty() ? "{" : ",", name,
                        label_value(value));
  return text.empty() ? "" : text + "}";
}

class metric {
 public:
  metric(const char* name, const char* help, std::ostream& out)
      : name_(name), help_(help), out_(out) {}

  // The first value of a series is kept; one that is no number is none.
  void add(std::initializer_list<label> labels, double value) {
    const std::string text = labels_text(labels);
    if (!std::isfinite(value) || !known_.insert(text).second) return;
    if (known_.size() == 1)
      out_ << fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", name_, help_);
    out_ << fmt::format("{}{} {}\n", name_, text, value);
  }

 private:
  const char* name_;
  const char* help_;
  std::ostream& out_;
  std::set<std::string> known_;
};

double number_of(verdict what) {
  switch (what) {
    case verdict::healthy:
      return 0;
    case verdict::suspect:
      return 1;
    case verdict::unhealthy:
      return 2;
    case verdict::unknown:
      break;
  }
  return 3;
}

struct base_unit {
  std::string name;
  double factor = 1;
};

// What metrics are measured in: bytes, seconds, ratios, without prefixes.
base_unit base_of(const std::string& unit) {
  constexpr std::array<std::pair<const char*, const char*>, 6> names = {
      {{"B", "bytes"},
       {"s", "seconds"},
       {"B/s", "bytes_per_second"},
       {"Hz", "hertz"},
       {"W", "watts"},
       {"V", "volts"}}};
  if (unit == "%") return {"ratio", 0.01};
  if (unit == "\u00b0C") return {"celsius", 1};
  const std::optional<facts::unit> known = facts::unit_of(unit);
  if (!known) return {unit, 1};
  for (const auto& [dimension, name] : names)
    if (known->dimension == dimension) return {name, known->factor};
  return {known->dimension, known->factor};
}

void write_nodes_and_findings(const judgement& judged,
                              const std::vector<const finding*>& shown,
                              std::ostream& out) {
  metric verdicts("zelkara_node_verdict",
                  "0 healthy, 1 suspect, 2 unhealthy, 3 unknown", out);
  for (const node_view& node : judged.nodes)
    verdicts.add({{"node", node.name}, {"class", node.class_name}},
                 number_of(node.what));
  metric findings("zelkara_finding", "1 for each finding of a node", out);
  for (const finding* found : shown)
    for (const std::string& node : found->nodes)
      findings.add({{"check", found->check},
                    {"severity", name_of(found->level)},
                    {"node", node}},
                   1);
}

void add_values(metric& to, const std::string& name, const std::string& option,
                const std::string& unit,
                const std::vector<node_value>& values) {
  const base_unit base = base_of(unit);
  for (const node_value& value : values)
    if (value.number)
      to.add({{"metric", name},
              {"option", option},
              {"unit", base.name},
              {"node", value.node}},
             *value.number * base.factor);
}

void write_values(const judgement& judged,
                  const std::vector<const finding*>& shown, std::ostream& out) {
  metric values("zelkara_metric", "what was measured where there is a finding",
                out);
  for (const finding* found : shown)
    add_values(values, found->fact, found->option, found->unit, found->values);
  for (const distribution& of : judged.distributions)
    add_values(values, of.fact, of.option, of.unit, of.outliers);
  metric medians("zelkara_metric_median", "median of a class of nodes", out);
  for (const distribution& of : judged.distributions) {
    const base_unit base = base_of(of.unit);
    medians.add({{"metric", of.fact},
                 {"option", of.option},
                 {"unit", base.name},
                 {"class", of.class_name}},
                of.median * base.factor);
  }
}

void write_run(const judgement& judged, std::ostream& out) {
  const run_info& run = judged.run;
  if (run.ended_usec > 0)
    metric("zelkara_run_end_timestamp_seconds", "when the run ended", out)
        .add({}, std::floor(static_cast<double>(run.ended_usec) / 1e6));
  const std::size_t missing = run.results_expected > run.results
                                  ? run.results_expected - run.results
                                  : 0;
  metric("zelkara_results_expected", "results that the run expected", out)
      .add({}, static_cast<double>(run.results_expected));
  metric("zelkara_results_missing", "results that did not come", out)
      .add({}, static_cast<double>(missing));
  metric counts("zelkara_nodes", "nodes by verdict", out);
  for (const auto& [what, count] :
       {std::pair(verdict::healthy, judged.counts.healthy),
        std::pair(verdict::suspect, judged.counts.suspect),
        std::pair(verdict::unhealthy, judged.counts.unhealthy),
        std::pair(verdict::unknown, judged.counts.unknown)})
    counts.add({{"verdict", name_of(what)}}, static_cast<double>(count));
}

}  // namespace

void write_prom(const judgement& judged, const report_options& options,
                std::ostream& out) {
  const std::vector<const finding*> shown = shown_findings(judged, options);
  write_run(judged, out);
  write_nodes_and_findings(judged, shown, out);
  write_values(judged, shown, out);
}

}  // namespace zelk::check
