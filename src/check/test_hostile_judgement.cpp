#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "src/check/test_judgement.h"

namespace zelk::check {

namespace {

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;

// What each form would take for its own syntax.
const std::vector<std::string>& hostile_texts() {
  static const std::vector<std::string> all = {
      "\x1b[2J\x1b]0;pwned\x07",                  // a terminal's
      "</script><svg onload=alert(1)>&amp;'\"",   // a page's
      "]]></system-out><testcase name=\"x\"/>",   // XML
      "a,b;\"c\"\r\nd\te",                        // CSV
      "=HYPERLINK(\"http://x\")",                 // a spreadsheet's
      "| evil=1;0;0 'quoted'",                    // performance data
      "$(touch /tmp/pwned) `id` ; rm -rf *",      // a shell's
      "\"} 1\nzelkara_fake{x=\"\\",               // a metric's
      "*bold* [link](http://x) | cell | `code`",  // Markdown
      "evil\u202etxt.exe\u2028next\u009b31m",     // direction, line, control
      "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbf \xf4\x8f\xbf\xbf",  // U+FFFD,
                                                                // U+FFFF
      std::string("zero\0byte \x01\x7f\b", 13),
      "",
      " blanks at both ends ",
  };
  return all;
}

std::string text_number(std::size_t index) {
  return hostile_texts()[index % hostile_texts().size()];
}

std::vector<std::string> hostile_nodes() {
  std::vector<std::string> nodes = {"node1",     "node2", "-oProxyCommand=id",
                                    "node[1-9]", "@all",  "a!b"};
  for (const std::string& text : hostile_texts())
    if (!text.empty()) nodes.push_back(text);
  return nodes;
}

acceptance hostile_acceptance() {
  acceptance known;
  known.id = 1;
  known.check = "mem-size";
  known.reason = text_number(1) + text_number(0);
  known.who = text_number(2);
  known.made_usec = -1;
  known.until_usec = std::numeric_limits<std::int64_t>::max();
  return known;
}

std::string hostile_value(std::size_t index) {
  return index == 3 ? std::string(mebibyte, 'x') : text_number(index);
}

finding hostile_finding(std::size_t index) {
  finding result;
  result.check = index == 0 ? "mem-size" : text_number(index);
  result.title = text_number(index + 1);
  result.score = static_cast<int>(index * 9 % 101);
  result.level = severity_of(result.score);
  result.state = static_cast<finding_state>(index % 3);
  result.class_name = text_number(index + 2);
  result.nodes = {hostile_nodes()[index % hostile_nodes().size()], "node2"};
  result.provider = text_number(index + 3);
  result.option = text_number(index + 4);
  result.fact = text_number(index + 5);
  result.unit = text_number(index + 6);
  result.reference = text_number(index + 7);
  result.message = text_number(index + 8);
  result.causes = {text_number(index + 9)};
  result.advice = {text_number(index + 10), text_number(index)};
  result.fingerprint = text_number(index + 1);
  result.median = std::numeric_limits<double>::quiet_NaN();
  result.mad = std::numeric_limits<double>::infinity();
  const double number =
      index % 2 == 0 ? -std::numeric_limits<double>::infinity() : 1e300;
  for (const std::string& node : result.nodes)
    result.values.push_back({node, hostile_value(index), text_number(index + 1),
                             number, std::nan(""), 1e-300});
  return result;
}

node_view hostile_view(const std::string& name, std::size_t index) {
  node_view view;
  view.name = name;
  view.class_name = text_number(index);
  view.role = text_number(index + 1);
  view.subcluster = text_number(index + 2);
  view.what = static_cast<verdict>(index % 4);
  for (std::size_t column = 0; column < 11; ++column)
    view.cells.push_back(static_cast<cell_state>((index + column) % 10));
  return view;
}

coverage_group hostile_group(std::size_t index) {
  coverage_group group;
  group.what = static_cast<answer>(index % 9);
  group.stale = index % 2 == 0;
  group.provider = text_number(index);
  group.reason = text_number(index + 1);
  group.nodes = hostile_nodes();
  return group;
}

void add_details(judgement& judged) {
  const std::vector<std::string> nodes = hostile_nodes();
  judged.unread = {{text_number(0), text_number(1), text_number(2), {0, 1}}};
  judged.joined = {text_number(1)};
  judged.left = {text_number(2), text_number(3)};
  distribution values;
  values.fact = values.unit = text_number(1);
  values.values = {-std::numeric_limits<double>::infinity(), 1e300,
                   std::nan("")};
  values.median = std::nan("");
  values.outliers = judged.findings.front().values;
  judged.distributions = {values};
  judged.differences = {
      {text_number(0),
       text_number(1),
       "",
       "",
       text_number(2),
       {{hostile_value(3), {nodes[0]}}, {text_number(1), {nodes[1], nodes[2]}}},
       {}}};
  judged.providers = {{text_number(1), -1}};
  judged.with.peers_by = text_number(4);
  judged.with.z = std::numeric_limits<double>::infinity();
  judged.with.limits = {text_number(5)};
  judged.with.definition_files = {text_number(1)};
  judged.history = {
      {judged.run, judged.counts, {{nodes[6], verdict::suspect}}}};
}

}  // namespace

judgement hostile_judgement() {
  judgement judged;
  judged.run.number = std::numeric_limits<std::int64_t>::max();
  judged.run.label = text_number(1) + text_number(0);
  judged.run.command_line = text_number(6);
  judged.run.uuid = text_number(3);
  judged.run.state = text_number(4);
  judged.run.started_usec = std::numeric_limits<std::int64_t>::max();
  judged.run.ended_usec = std::numeric_limits<std::int64_t>::min();
  judged.baseline = judged.run;
  judged.overall = verdict::unhealthy;
  judged.counts = {1, 2, 3, 4};
  for (std::size_t i = 0; i < 11; ++i)
    judged.columns.push_back(i == 0 ? "reach" : text_number(i));
  for (std::size_t i = 0; i < hostile_texts().size(); ++i)
    judged.findings.push_back(hostile_finding(i));
  std::stable_sort(
      judged.findings.begin(), judged.findings.end(),
      [](const finding& a, const finding& b) { return a.score > b.score; });
  judged.accepted = {hostile_finding(1)};
  judged.accepted.front().accepted = hostile_acceptance();
  judged.fixed = {hostile_finding(2)};
  const std::vector<std::string> nodes = hostile_nodes();
  for (std::size_t i = 0; i < nodes.size(); ++i)
    judged.nodes.push_back(hostile_view(nodes[i], i));
  judged.nodes.front().findings = {0, 1, 2};
  judged.classes = {{text_number(1),
                     {{text_number(2), text_number(3)}},
                     nodes,
                     false,
                     text_number(0)}};
  for (std::size_t i = 0; i < 9; ++i)
    judged.coverage.push_back(hostile_group(i));
  add_details(judged);
  return judged;
}

run_data hostile_run() {
  run_data run;
  run.run = hostile_judgement().run;
  run.nodes = hostile_nodes();
  run.notes.resize(run.nodes.size());
  provider_info provider;
  provider.name = "p";
  provider.description = text_number(0);
  provider.answers.resize(run.nodes.size());
  for (std::size_t i = 0; i < run.nodes.size(); ++i)
    provider.answers[i] = {static_cast<answer>(i % 9), -1, text_number(i),
                           std::numeric_limits<std::int64_t>::max(),
                           std::nan("")};
  run.providers = {provider};
  for (std::size_t i = 0; i < hostile_texts().size(); ++i)
    run.values.index_of_text(hostile_value(i));
  run.values.index_of_text(std::string(mebibyte, '\n'));
  fact_column fact{text_number(1) + "fact", "p", text_number(2), {}, {}};
  for (std::size_t i = 0; i < run.nodes.size(); ++i)
    fact.values.push_back(static_cast<std::uint32_t>(i % run.values.size()));
  run.facts = {fact};
  run.unread = {{"p", text_number(1), text_number(2), {0}}};
  return run;
}

judgement large_judgement(std::size_t nodes) {
  judgement judged = example_judgement();
  judged.columns = {"reach"};
  for (int i = 0; i < 46; ++i)
    judged.columns.push_back(fmt::format("provider_{:02}", i));
  judged.nodes.clear();
  judged.classes = {{"A", {}, {}, true, ""}};
  judged.findings.clear();
  for (std::size_t i = 0; i < nodes; ++i) {
    node_view view;
    view.name = fmt::format("node{:05}", i + 1);
    view.class_name = "A";
    view.what = i % 100 == 0 ? verdict::unhealthy : verdict::healthy;
    view.cells.assign(judged.columns.size(), cell_state::ok);
    judged.classes.front().nodes.push_back(view.name);
    if (i % 100 == 0) {
      finding low = hostile_finding(0);
      low.nodes = {view.name};
      low.values = {{view.name, "168.9", "203.1", 168.9, -21.2, -17.0}};
      low.check = low.fact = fmt::format("check-{}", i / 100);
      view.findings = {static_cast<std::uint32_t>(judged.findings.size())};
      judged.findings.push_back(std::move(low));
    }
    judged.nodes.push_back(std::move(view));
  }
  return judged;
}

}  // namespace zelk::check
