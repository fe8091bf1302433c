// The form junit: a test suite a class of nodes, and in it, for each node,
//
//   a test case a finding     failure, or passed when it is below the threshold
//   a test case a cell        of a provider that has no finding there: passed,
//                             skipped (n/a, accepted) or error (timed out, no
//                             data, too old, could not be judged)
//
// A gap is an error and never a failure: a provider that was stopped tells
// nothing of the node's health.

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/check/report/xml_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_message = 1000;  // characters

struct totals {
  std::size_t tests = 0, failures = 0, errors = 0, skipped = 0;

  void add(const totals& more) {
    tests += more.tests;
    failures += more.failures;
    errors += more.errors;
    skipped += more.skipped;
  }
  std::string attributes() const {
    return fmt::format(R"(tests="{}" failures="{}" errors="{}" skipped="{}")",
                       tests, failures, errors, skipped);
  }
};

std::string quoted(const std::string& text) {
  return '"' + xml_text(excerpt_of(text, most_message)) + '"';
}

bool fails(severity level, fail_on threshold) {
  if (threshold == fail_on::never) return false;
  return level == severity::critical ||
         (level == severity::warning && threshold == fail_on::warning);
}

bool is_error(cell_state cell) {
  return cell == cell_state::error || cell == cell_state::timeout ||
         cell == cell_state::no_data || cell == cell_state::stale;
}

// The shown and the accepted findings of each node.
using findings_of_nodes =
    std::unordered_map<std::string, std::vector<const finding*>>;

findings_of_nodes by_node(const judgement& judged,
                          const report_options& options) {
  findings_of_nodes result;
  for (const finding* found : shown_findings(judged, options)) {
    // Groups of equal right are no failure of any of their nodes.
    if (found->blames_nobody) continue;
    for (const std::string& node : found->nodes)
      result[node].push_back(found);
  }
  for (const finding& found : judged.accepted)
    for (const std::string& node : found.nodes)
      result[node].push_back(&found);
  return result;
}

// Writes the cases of one suite and counts them.
class suite_writer {
 public:
  suite_writer(const judgement& judged, const report_options& options,
               const findings_of_nodes& findings)
      : judged_(judged), options_(options), findings_(findings) {}

  void add_node(const node_view& node) {
    const auto found = findings_.find(node.name);
    static const std::vector<const finding*> none;
    const auto& findings = found == findings_.end() ? none : found->second;
    for (const finding* each : findings)
      add_finding(node, *each);
    for (std::size_t i = 0; i < node.cells.size() && i < judged_.columns.size();
         ++i)
      add_cell(node, judged_.columns[i], node.cells[i], findings);
  }

  const totals& count() const { return count_; }
  const std::string& text() const { return text_; }

 private:
  void begin(const std::string& node, const std::string& name) {
    ++count_.tests;
    text_ += fmt::format("    <testcase classname={} name={}", quoted(node),
                         quoted(name));
  }

  void pass() { text_ += "/>\n"; }

  void end(const char* element, const std::string& type,
           const std::string& message, const std::string& body) {
    text_ += fmt::format("><{} ", element);
    if (!type.empty()) text_ += fmt::format("type={} ", quoted(type));
    text_ += fmt::format("message={}", quoted(message));
    text_ += body.empty() ? "/></testcase>\n"
                          : fmt::format(">{}</{}></testcase>\n", body, element);
  }

  void add_finding(const node_view& node, const finding& found) {
    begin(node.name, found.check);
    if (found.accepted) {
      ++count_.skipped;
      return end("skipped", "", "accepted: " + found.accepted->reason, "");
    }
    if (is_gap(found)) {
      ++count_.errors;
      return end("error", found.check, found.message, "");
    }
    if (!fails(found.level, options_.threshold)) return pass();
    ++count_.failures;
    end("failure", name_of(found.level), found.message, body_of(found));
  }

  static std::string body_of(const finding& found) {
    std::string body = xml_text(excerpt_of(found.title, most_message));
    for (const std::string& advice : found.advice)
      body += "\ntry: " + xml_text(excerpt_of(advice, most_message));
    return body;
  }

  // A cell of which a finding tells already is left out.
  void add_cell(const node_view& node, const std::string& column,
                cell_state cell, const std::vector<const finding*>& findings) {
    const bool told = std::any_of(
        findings.begin(), findings.end(), [&column](const finding* found) {
          return (found->provider.empty() ? "reach" : found->provider) ==
                 column;
        });
    if (told && cell != cell_state::ok) return;
    begin(node.name, column);
    if (is_error(cell)) {
      ++count_.errors;
      return end("error", name_of(cell), name_of(cell), "");
    }
    if (cell != cell_state::not_applicable && cell != cell_state::accepted)
      return pass();
    ++count_.skipped;
    end("skipped", "", name_of(cell), "");
  }

  const judgement& judged_;
  const report_options& options_;
  const findings_of_nodes& findings_;
  totals count_;
  std::string text_;
};

struct suite {
  std::string name;
  std::vector<const node_view*> nodes;
};

std::vector<suite> suites_of(const judgement& judged) {
  std::vector<suite> suites;
  std::unordered_map<std::string, std::size_t> places;
  for (const class_view& group : judged.classes) {
    places.emplace(group.name, suites.size());
    suites.push_back({group.name, {}});
  }
  for (const node_view& node : judged.nodes) {
    const auto [place, is_new] = places.emplace(node.class_name, suites.size());
    if (is_new) suites.push_back({node.class_name, {}});
    suites[place->second].nodes.push_back(&node);
  }
  std::erase_if(suites, [](const suite& each) { return each.nodes.empty(); });
  return suites;
}

std::string seconds_of(const run_info& run) {
  const bool known = run.ended_usec > run.started_usec && run.ended_usec > 0 &&
                     run.started_usec > 0;
  return known
             ? fmt::format(
                   "{:.3f}",
                   static_cast<double>(run.ended_usec - run.started_usec) / 1e6)
             : "0";
}

// "2025-11-21T01:00:00": the form's schema has no place for a zone; it is UTC.
std::string suite_time(const run_info& run) {
  const std::optional<std::string> time = machine_time(run.started_usec);
  if (!time) return "";
  return fmt::format(" timestamp=\"{}\"", time->substr(0, time->size() - 1));
}

}  // namespace

void write_junit(const judgement& judged, const report_options& options,
                 std::ostream& out) {
  const findings_of_nodes findings = by_node(judged, options);
  totals all;
  std::string body;
  for (const suite& each : suites_of(judged)) {
    suite_writer writer(judged, options, findings);
    for (const node_view* node : each.nodes)
      writer.add_node(*node);
    all.add(writer.count());
    body += fmt::format(
        "  <testsuite name={} {} time=\"{}\"{}>\n",
        quoted(each.name.empty() ? "no class" : "class " + each.name),
        writer.count().attributes(), seconds_of(judged.run),
        suite_time(judged.run));
    body += writer.text() + "  </testsuite>\n";
  }
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << fmt::format("<testsuites name=\"zelk-check\" {}>\n", all.attributes())
      << body << "</testsuites>\n";
}

}  // namespace zelk::check
