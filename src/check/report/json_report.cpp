// The forms json and jsonl, by share/zelkara/schema/check-1.json.
//
// The document is written piece by piece, a line for each element of the long
// lists: a tree of ten thousand nodes would take a hundred times the memory of
// its text, and a line an element makes two documents easy to compare. All text
// is ASCII, what is not is escaped: it can be shown on any terminal and stand
// in any page.
//
// What is not known is left out; null and numbers that are none never occur. A
// value of more than 4,096 bytes is cut, and says so.

#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>

#include "src/check/report/coverage_lines.h"
#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"

namespace zelk::check {

namespace {

using json = nlohmann::ordered_json;

constexpr char schema_name[] = "zelkara.check/1";
constexpr std::size_t most_value = 4096;  // bytes

std::string text_of(const json& value) {
  return value.dump(-1, ' ', true, json::error_handler_t::replace);
}

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

void put_text(json& object, const char* key, const std::string& text) {
  if (!text.empty()) object[key] = text;
}

void put_number(json& object, const char* key,
                const std::optional<double>& value) {
  if (value && std::isfinite(*value)) object[key] = *value;
}

void put_time(json& object, const char* key, std::int64_t usec) {
  const std::optional<std::string> text = machine_time(usec);
  if (usec != 0 && text) object[key] = *text;
}

// What the node says, as it says it; a number where it is one.
void put_value(json& object, const char* key, const std::string& text) {
  if (text.size() <= most_value) {
    object[key] = text;
    return;
  }
  std::size_t end = most_value;
  while (end > 0 && is_continuation(text[end]))
    --end;
  object[key] = text.substr(0, end);
  object[std::string(key) + "_bytes"] = text.size();
}

void put_nodes(json& object, const std::vector<std::string>& nodes) {
  object["nodeset"] = command_set(nodes);
  object["nodes"] = nodes;
}

json json_of(const run_info& run) {
  json object = {{"id", run.number}};
  put_text(object, "uuid", run.uuid);
  put_text(object, "label", run.label);
  put_text(object, "state", run.state);
  put_text(object, "command_line", run.command_line);
  put_time(object, "start", run.started_usec);
  put_time(object, "end", run.ended_usec);
  object["nodes_expected"] = run.nodes_expected;
  object["nodes_answered"] = run.nodes;
  object["expected"] = run.results_expected;
  object["received"] = run.results;
  return object;
}

json json_of(const verdict_counts& counts) {
  return {{"healthy", counts.healthy},
          {"suspect", counts.suspect},
          {"unhealthy", counts.unhealthy},
          {"unknown", counts.unknown}};
}

// `unit` is that of the fact which the list is about.
json json_of(const node_value& value, const std::string& unit) {
  json object = {{"node", value.node}};
  put_text(object, "metric", value.fact);
  if (value.number && std::isfinite(*value.number))
    object["value"] = *value.number;
  else
    put_value(object, "value", value.value);
  if (value.number_before && std::isfinite(*value.number_before))
    object["before"] = *value.number_before;
  else if (!value.before.empty())
    put_value(object, "before", value.before);
  if (object["value"].is_number() || value.number_before)
    put_text(object, "unit", value.fact.empty() ? unit : value.unit);
  put_number(object, "z", value.z);
  put_number(object, "delta_pct", value.delta_percent);
  return object;
}

json json_of(const std::vector<node_value>& values, const std::string& unit) {
  json list = json::array();
  for (const node_value& value : values)
    list.push_back(json_of(value, unit));
  return list;
}

json json_of(const acceptance& known) {
  json object = {{"id", known.id}, {"reason", known.reason}};
  put_text(object, "who", known.who);
  put_time(object, "made", known.made_usec);
  put_time(object, "until", known.until_usec);
  return object;
}

void put_peers(json& object, const finding& found) {
  if (found.peers == 0 && found.reference.empty()) return;
  json peers = {{"n", found.peers}};
  put_number(peers, "median", found.median);
  put_number(peers, "mad", found.mad);
  put_text(peers, "reference", found.reference);
  put_number(peers, "reference_number", found.reference_number);
  if (found.reference_number) put_text(peers, "unit", found.unit);
  object["peers"] = peers;
}

void put_limit(json& object, const finding& found) {
  if (!found.limit) return;
  json limit = json::object();
  put_number(limit, "min", found.limit->least);
  put_number(limit, "max", found.limit->most);
  if (found.limit->inverted) limit["inverted"] = true;
  put_text(limit, "unit", found.unit);
  put_text(limit, "set_by", found.limit->set_by);
  object["limit"] = limit;
}

json json_of_group(const finding& found, std::size_t number) {
  json group = json::object();
  const auto& [value, nodes] = found.groups[number];
  put_value(group, "value", value);
  if (number < found.group_numbers.size() && found.group_numbers[number]) {
    put_number(group, "number", found.group_numbers[number]);
    put_text(group, "unit", found.unit);
  }
  put_nodes(group, nodes);
  return group;
}

json json_of(const finding& found) {
  json object = {{"id", found.check},
                 {"title", found.title},
                 {"severity", name_of(found.level)},
                 {"score", found.score},
                 {"state", name_of(found.state)}};
  put_nodes(object, found.nodes);
  put_text(object, "class", found.class_name);
  put_text(object, "provider", found.provider);
  put_text(object, "option", found.option);
  put_text(object, "metric", found.fact);
  put_text(object, "unit", found.unit);
  put_peers(object, found);
  put_limit(object, found);
  object["values"] = json_of(found.values, found.unit);
  object["message"] = found.message;
  object["causes"] = found.causes;
  object["advice"] = found.advice;
  object["fingerprint"] = found.fingerprint;
  if (found.since) {
    object["since"] = {{"run", found.since->number}};
    put_time(object["since"], "start", found.since->started_usec);
  }
  if (found.accepted) object["accepted"] = json_of(*found.accepted);
  if (!found.accepted_nodes.empty()) {
    json part = json::object();
    put_nodes(part, found.accepted_nodes);
    object["accepted_on"] = std::move(part);
  }
  if (found.blames_nobody) object["blames_nobody"] = true;
  for (std::size_t i = 0; i < found.groups.size(); ++i)
    object["groups"].push_back(json_of_group(found, i));
  return object;
}

json json_of(const coverage_group& group) {
  json object = json::object();
  put_nodes(object, group.nodes);
  put_text(object, "provider", group.provider);
  put_text(object, "option", group.option);
  put_text(object, "reason", group.reason);
  return object;
}

json json_of(const class_view& group) {
  json object = {{"name", group.name}, {"comparable", group.comparable}};
  put_text(object, "reason", group.why_not);
  json key = json::array();
  for (const auto& [fact, value] : group.key)
    key.push_back({{"metric", fact}, {"value", value}});
  object["key"] = key;
  put_nodes(object, group.nodes);
  return object;
}

json json_of(const node_view& node, const std::vector<std::string>& columns) {
  json object = {{"name", node.name}};
  put_text(object, "class", node.class_name);
  put_text(object, "role", node.role);
  put_text(object, "subcluster", node.subcluster);
  object["verdict"] = name_of(node.what);
  json cells = json::object();
  for (std::size_t i = 0; i < node.cells.size() && i < columns.size(); ++i)
    if (node.cells[i] != cell_state::ok)
      cells[columns[i]] = name_of(node.cells[i]);
  if (!cells.empty()) object["cells"] = cells;
  return object;
}

// Five numbers tell the shape; the values themselves would be most of the
// document.
json json_of(const distribution& of) {
  json object = {{"metric", of.fact}, {"provider", of.provider}};
  put_text(object, "option", of.option);
  put_text(object, "unit", of.unit);
  put_text(object, "class", of.class_name);
  object["better"] = facts::name_of(of.direction);
  object["n"] = of.values.size();
  put_number(object, "median", of.median);
  put_number(object, "mad", of.mad);
  if (!of.values.empty()) {
    const std::size_t last = of.values.size() - 1;
    put_number(object, "min", of.values.front());
    put_number(object, "q1", of.values[last / 4]);
    put_number(object, "q3", of.values[last - last / 4]);
    put_number(object, "max", of.values.back());
  }
  object["outliers"] = json_of(of.outliers, of.unit);
  return object;
}

json json_of(const difference& of) {
  json object = {{"metric", of.fact}, {"provider", of.provider}};
  put_text(object, "option", of.option);
  put_text(object, "unit", of.unit);
  put_text(object, "class", of.class_name);
  json groups = json::array();
  for (std::size_t i = 0; i < of.groups.size(); ++i) {
    json group = json::object();
    if (of.absent == i)
      group["absent"] = true;
    else
      put_value(group, "value", of.groups[i].first);
    put_nodes(group, of.groups[i].second);
    groups.push_back(std::move(group));
  }
  object["groups"] = std::move(groups);
  return object;
}

json json_of(const history_entry& entry) {
  json object = {{"run", json_of(entry.run)},
                 {"counts", json_of(entry.counts)}};
  json nodes = json::array();
  for (const auto& [name, what] : entry.nodes)
    nodes.push_back({{"name", name}, {"verdict", name_of(what)}});
  object["nodes"] = nodes;
  return object;
}

json json_of(const judged_with& with) {
  json object = json::object();
  put_number(object, "z", with.z);
  put_number(object, "min_effect_pct", with.min_effect);
  object["min_peers"] = with.min_peers;
  object["peers_by"] = with.peers_by;
  object["max_age_s"] = with.max_age_usec / 1'000'000;
  object["checks"] = with.checks;
  object["skipped"] = with.skipped;
  object["limits"] = with.limits;
  object["definition_files"] = with.definition_files;
  return object;
}

// Writes the members of one object, a line each.
class document {
 public:
  explicit document(std::ostream& out) : out_(out) { out_ << "{"; }
  void end() { out_ << "\n}\n"; }

  void member(const char* key, const json& value) {
    begin(key);
    out_ << text_of(value);
  }

  // A list, an element a line; `make` gives the element's json or, as nothing,
  // leaves it out.
  template <typename list, typename maker>
  void elements(const char* key, const list& of, maker make) {
    begin(key);
    out_ << "[";
    const char* before = "\n    ";
    for (const auto& each : of) {
      const std::optional<json> element = make(each);
      if (!element) continue;
      out_ << before << text_of(*element);
      before = ",\n    ";
    }
    out_ << "]";
  }

 private:
  void begin(const char* key) {
    out_ << (std::exchange(first_, false) ? "\n  " : ",\n  ") << '"' << key
         << "\": ";
  }

  std::ostream& out_;
  bool first_ = true;
};

// For lists whose elements have a json_of() of their own.
constexpr auto as_json = [](const auto& each) -> std::optional<json> {
  if constexpr (std::is_pointer_v<std::remove_cvref_t<decltype(each)>>)
    return json_of(*each);
  else
    return json_of(each);
};

struct coverage_key {
  const char* name;
  std::function<bool(const coverage_group&)> holds;
};

std::vector<coverage_key> coverage_keys() {
  const auto came = [](answer what) {
    return [what](const coverage_group& group) {
      return group.what == what && !group.stale;
    };
  };
  return {{"missing", came(answer::missing)},
          {"timeout", came(answer::timed_out)},
          {"failed", came(answer::failed)},
          {"incomplete", came(answer::incomplete)},
          {"stale", [](const coverage_group& group) { return group.stale; }},
          {"tool_missing", came(answer::tool_missing)},
          {"no_permission", came(answer::no_permission)},
          {"not_applicable", came(answer::not_applicable)},
          {"not_expected", came(answer::not_expected)}};
}

json coverage_of(const judgement& judged) {
  json object = json::object();
  for (const coverage_key& key : coverage_keys()) {
    json groups = json::array();
    for (const coverage_group& group : judged.coverage)
      if (key.holds(group)) groups.push_back(json_of(group));
    object[key.name] = std::move(groups);
  }
  return object;
}

json unread_of(const judgement& judged, const unread_fact& fact) {
  std::vector<std::string> names;
  for (const std::uint32_t index : fact.nodes)
    if (index < judged.nodes.size()) names.push_back(judged.nodes[index].name);
  json object = {{"provider", fact.provider},
                 {"metric", fact.name},
                 {"reason", fact.reason}};
  put_nodes(object, names);
  return object;
}

void write_head(const judgement& judged, const report_options& options,
                document& to) {
  json tool = {{"name", "zelk-check"}};
  put_text(tool, "version", options.version);
  to.member("schema", schema_name);
  to.member("tool", tool);
  if (const auto now = machine_time(judged.now_usec))
    to.member("generated", *now);
  to.member("run", json_of(judged.run));
  if (judged.baseline) to.member("baseline", json_of(*judged.baseline));
  to.member("verdict", name_of(judged.overall));
  to.member("status", exit_status(judged, options.threshold, options.only_new));
  to.member("counts", json_of(judged.counts));
  to.member("judged_with", json_of(judged.with));
  json filter = {
      {"min_severity",
       name_of(options.min_severity.value_or(severity::informational))},
      {"only_new", options.only_new}};
  to.member("filter", filter);
}

void write_details(const judgement& judged, document& to) {
  to.member("joined", judged.joined);
  to.member("left", judged.left);
  to.elements("distributions", judged.distributions, as_json);
  to.elements("differences", judged.differences, as_json);
  to.member("equal_metrics", judged.equal_facts);
  to.elements("history", judged.history, as_json);
  to.elements("providers", judged.providers, [](const auto& provider) {
    return std::optional<json>(
        {{"name", provider.first}, {"version", provider.second}});
  });
}

}  // namespace

void write_json(const judgement& judged, const report_options& options,
                std::ostream& out) {
  document to(out);
  write_head(judged, options, to);
  to.elements("findings", shown_findings(judged, options), as_json);
  to.elements("accepted", judged.accepted, as_json);
  to.elements("fixed", judged.fixed, as_json);
  to.member("coverage", coverage_of(judged));
  to.elements("unread", judged.unread, [&](const unread_fact& fact) {
    return std::optional<json>(unread_of(judged, fact));
  });
  to.elements("classes", judged.classes, as_json);
  to.member("columns", judged.columns);
  to.elements("nodes", judged.nodes, [&](const node_view& node) {
    return std::optional<json>(json_of(node, judged.columns));
  });
  write_details(judged, to);
  to.end();
}

void write_json_lines(const judgement& judged, const report_options& options,
                      std::ostream& out) {
  for (const finding* found : shown_findings(judged, options)) {
    json line = {{"schema", schema_name}, {"run", judged.run.number}};
    line.update(json_of(*found));
    out << text_of(line) << '\n';
  }
}

}  // namespace zelk::check
