// The form sarif, 2.1.0: a rule a check, a result a finding.
//
// There is no file and no line to point at: a location is a node, by its name.

#include <nlohmann/json.hpp>
#include <set>

#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"

namespace zelk::check {

namespace {

using json = nlohmann::ordered_json;

constexpr char schema_place[] = "https://json.schemastore.org/sarif-2.1.0.json";

std::string text_of(const json& value) {
  return value.dump(-1, ' ', true, json::error_handler_t::replace);
}

const char* level_of(severity level) {
  switch (level) {
    case severity::critical:
      return "error";
    case severity::warning:
      return "warning";
    case severity::informational:
      return "note";
  }
  return "none";
}

const char* baseline_state(finding_state state) {
  switch (state) {
    case finding_state::fresh:
      return "new";
    case finding_state::unchanged:
      return "unchanged";
    case finding_state::changed:
      return "updated";
    case finding_state::fixed:
      return "absent";
  }
  return "new";
}

json rule_of(const finding& found) {
  json rule = json::object();
  rule["id"] = found.check;
  rule["shortDescription"]["text"] = found.title;
  rule["defaultConfiguration"]["level"] = level_of(found.level);
  std::string help;
  for (const std::string& advice : found.advice)
    help += (help.empty() ? "" : "\n") + advice;
  if (!help.empty()) rule["help"]["text"] = help;
  rule["properties"]["score"] = found.score;
  return rule;
}

json location_of(const std::string& node) {
  json logical = json::object();
  logical["name"] = node;
  logical["kind"] = "resource";
  json location = json::object();
  location["logicalLocations"] = json::array({logical});
  return location;
}

json suppression_of(const acceptance& known) {
  json suppression = json::object();
  suppression["kind"] = "external";
  suppression["status"] = "accepted";
  suppression["justification"] = known.reason;
  return suppression;
}

json result_of(const finding& found, bool with_baseline) {
  json result = json::object();
  result["ruleId"] = found.check;
  result["level"] = level_of(found.level);
  result["message"]["text"] =
      folded_and_counted(found.nodes) + ": " + found.message;
  json locations = json::array();
  for (const std::string& node : found.nodes)
    locations.push_back(location_of(node));
  result["locations"] = std::move(locations);
  result["partialFingerprints"]["zelkaraFinding/v1"] = found.fingerprint;
  if (with_baseline) result["baselineState"] = baseline_state(found.state);
  if (found.accepted)
    result["suppressions"] = json::array({suppression_of(*found.accepted)});
  result["properties"]["severity"] = name_of(found.level);
  if (!found.class_name.empty())
    result["properties"]["class"] = found.class_name;
  return result;
}

std::vector<const finding*> all_findings(const judgement& judged,
                                         const report_options& options) {
  std::vector<const finding*> all = shown_findings(judged, options);
  for (const finding& found : judged.accepted)
    all.push_back(&found);
  for (const finding& found : judged.fixed)
    if (judged.baseline) all.push_back(&found);
  return all;
}

// Writes a list, an element a line.
class list_writer {
 public:
  explicit list_writer(std::ostream& out) : out_(out) {}
  void add(const json& element) {
    out_ << before_ << text_of(element);
    before_ = ",\n";
  }

 private:
  std::ostream& out_;
  const char* before_ = "\n";
};

void write_tool(const std::vector<const finding*>& findings,
                const report_options& options, std::ostream& out) {
  out << R"({"driver": {"name": "zelk-check", )";
  if (!options.version.empty())
    out << R"("version": )" << text_of(options.version) << ", ";
  out << R"("rules": [)";
  list_writer rules(out);
  std::set<std::string> known;
  for (const finding* found : findings)
    if (known.insert(found->check).second) rules.add(rule_of(*found));
  out << "]}}";
}

// The same run judged again is the same automation.
json automation_of(const judgement& judged) {
  json details = json::object();
  details["id"] = "zelkara/" + std::to_string(judged.run.number);
  return details;
}

json invocation_of(const judgement& judged) {
  json invocation = json::object();
  invocation["executionSuccessful"] = anything_judged(judged);
  if (const auto start = machine_time(judged.run.started_usec))
    invocation["startTimeUtc"] = *start;
  if (const auto end = machine_time(judged.run.ended_usec);
      end && judged.run.ended_usec != 0)
    invocation["endTimeUtc"] = *end;
  return invocation;
}

}  // namespace

void write_sarif(const judgement& judged, const report_options& options,
                 std::ostream& out) {
  const std::vector<const finding*> findings = all_findings(judged, options);
  out << R"({"$schema": ")" << schema_place << "\",\n"
      << R"("version": "2.1.0",)"
      << "\n\"runs\": [{\"tool\": ";
  write_tool(findings, options, out);
  out << ",\n\"automationDetails\": " << text_of(automation_of(judged))
      << ",\n\"invocations\": [" << text_of(invocation_of(judged))
      << "],\n\"results\": [";
  list_writer results(out);
  for (const finding* found : findings)
    results.add(result_of(*found, judged.baseline.has_value()));
  out << "]}]}\n";
}

}  // namespace zelk::check
