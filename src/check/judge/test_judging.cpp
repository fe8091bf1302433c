#include "src/check/judge/test_judging.h"

#include <sstream>
#include <stdexcept>

namespace zelk::check {

namespace {

void put(std::ostream& out, const finding& of) {
  out << of.check << '|' << of.title << '|' << of.score << '|'
      << name_of(of.level) << '|' << name_of(of.state) << '|' << of.class_name
      << '|' << nodes_of(of) << '|' << of.provider << '|' << of.option << '|'
      << of.fact << '|' << of.reference << '|' << of.peers << '|' << of.message
      << '|' << of.fingerprint << '|' << (of.since ? of.since->number : -1)
      << '|' << (of.accepted ? of.accepted->id : -1) << '\n';
  for (const node_value& each : of.values)
    out << "  " << each.node << '=' << each.value << '<' << each.before << '|'
        << each.z.value_or(0) << '|' << each.delta_percent.value_or(0) << '\n';
  for (const std::string& each : of.advice)
    out << "  try " << each << '\n';
}

void put_facts(std::ostream& out, const judgement& of) {
  for (const distribution& each : of.distributions)
    out << "distribution " << each.fact << each.class_name << each.median << '|'
        << each.mad << '|' << each.values.size() << '|' << each.outliers.size()
        << '\n';
  for (const difference& each : of.differences) {
    out << "difference " << each.fact << each.class_name;
    for (const auto& [value, nodes] : each.groups)
      out << '|' << value << nodes.size() << nodes.front();
    out << '\n';
  }
  for (const coverage_group& each : of.coverage)
    out << "coverage " << name_of(each.what) << each.stale << each.provider
        << each.reason << each.nodes.size() << each.nodes.front() << '\n';
  out << of.equal_facts << '\n';
}

}  // namespace

check_definition check_of(const std::string& id, const std::string& fact,
                          rule kind, int score) {
  check_definition result;
  result.id = id;
  result.title = "title of " + id;
  result.score = score;
  result.facts = {fact};
  result.what.kind = kind;
  result.causes = {"a cause"};
  result.advice = {"look at NODES"};
  return result;
}

judge_options default_options() {
  judge_options result;
  result.now_usec = run_builder::default_usec;
  return result;
}

judgement judged_by(const run_data& now,
                    const std::vector<check_definition>& checks,
                    const run_data* baseline, const judge_options& options,
                    const std::vector<acceptance>& accepted,
                    const std::vector<earlier_run>& earlier) {
  check_set set;
  for (const check_definition& each : checks)
    set.put(each);
  return judge(now, baseline, earlier, set, accepted, options);
}

judgement judged(const run_data& now) {
  return judged_by(now, {});
}

judgement judged(const run_data& now, const run_data& baseline) {
  return judged_by(now, {}, &baseline);
}

std::vector<std::string> ids_of(const judgement& of) {
  std::vector<std::string> result;
  for (const finding& each : of.findings)
    result.push_back(each.check);
  return result;
}

std::string nodes_of(const finding& of) {
  std::string result;
  for (const std::string& each : of.nodes)
    result += (result.empty() ? "" : " ") + each;
  return result;
}

const finding& finding_of(const judgement& of, const std::string& check) {
  for (const finding& each : of.findings)
    if (each.check == check) return each;
  throw std::out_of_range("no finding " + check);
}

bool has_finding(const judgement& of, const std::string& check) {
  for (const finding& each : of.findings)
    if (each.check == check) return true;
  return false;
}

std::string verdict_of(const judgement& of, const std::string& node) {
  for (const node_view& each : of.nodes)
    if (each.name == node) return name_of(each.what);
  return "no such node";
}

std::string everything_in(const judgement& of) {
  std::ostringstream out;
  out << name_of(of.overall) << '\n';
  for (const auto* list : {&of.findings, &of.accepted, &of.fixed})
    for (const finding& each : *list)
      put(out, each);
  for (const node_view& each : of.nodes) {
    out << each.name << each.class_name << name_of(each.what);
    for (const cell_state cell : each.cells)
      out << ' ' << name_of(cell);
    out << '\n';
  }
  for (const class_view& each : of.classes)
    out << each.name << each.nodes.size() << each.why_not << '\n';
  put_facts(out, of);
  for (const std::string& each : of.troubles)
    out << each << '\n';
  return out.str();
}

}  // namespace zelk::check
