#include <nlohmann/json.hpp>
#include <set>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

using json = nlohmann::json;

const std::set<std::string> levels = {"none", "note", "warning", "error"};
const std::set<std::string> states = {"new", "unchanged", "updated", "absent"};

// What the standard asks of every result: a known rule, a text, a level, and
// each location with a logical one.
void expect_result(const json& result, const std::set<std::string>& rules) {
  EXPECT_TRUE(rules.contains(result.at("ruleId")));
  EXPECT_TRUE(levels.contains(result.at("level")));
  EXPECT_TRUE(result.at("message").at("text").is_string());
  if (result.contains("baselineState")) {
    EXPECT_TRUE(states.contains(result["baselineState"]));
  }
  for (const json& location : result.at("locations"))
    EXPECT_TRUE(location.at("logicalLocations").at(0).at("name").is_string());
  for (const auto& [name, value] : result.at("partialFingerprints").items())
    EXPECT_TRUE(value.is_string()) << name;
}

json checked(const judgement& judged, const report_options& options = {}) {
  json document = json::parse(report_of(judged, report_form::sarif, options));
  EXPECT_EQ(document.at("version"), "2.1.0");
  EXPECT_EQ(document.at("runs").size(), 1);
  const json& run = document["runs"][0];
  std::set<std::string> rules;
  for (const json& rule : run.at("tool").at("driver").at("rules"))
    EXPECT_TRUE(rules.insert(rule.at("id")).second) << rule;
  EXPECT_TRUE(run.at("invocations")[0].at("executionSuccessful").is_boolean());
  for (const json& result : run.at("results"))
    expect_result(result, rules);
  return run;
}

TEST(sarif_report, has_a_rule_a_check_and_a_result_a_finding) {
  const json run = checked(example_judgement());
  EXPECT_EQ(run["tool"]["driver"]["rules"].size(), 9);
  EXPECT_EQ(run["results"].size(), 9);
  const json& low = run["results"][2];
  EXPECT_EQ(low["ruleId"], "stream-low");
  EXPECT_EQ(low["level"], "error");
  EXPECT_EQ(low["baselineState"], "new");
  EXPECT_EQ(low["locations"][1]["logicalLocations"][0]["name"], "node088");
  EXPECT_TRUE(holds(low["message"]["text"], "node[013,088] (2): 168.9"));
}

TEST(sarif_report, tells_what_is_known_and_what_is_gone) {
  const json run = checked(example_judgement());
  const json& accepted = run["results"][7];
  EXPECT_EQ(accepted["suppressions"][0]["status"], "accepted");
  EXPECT_EQ(accepted["suppressions"][0]["justification"],
            "test bed of the visualisation group");
  EXPECT_EQ(run["results"][8]["baselineState"], "absent");
}

TEST(sarif_report, has_no_states_without_a_baseline) {
  judgement judged = example_judgement();
  judged.baseline.reset();
  const json run = checked(judged);
  for (const json& result : run["results"])
    EXPECT_FALSE(result.contains("baselineState"));
}

TEST(sarif_report, stands_hostile_text) {
  const judgement judged = hostile_judgement();
  const json run = checked(judged);
  EXPECT_EQ(run["results"].size(), judged.findings.size() + 2);
}

TEST(sarif_report, says_when_there_was_nothing_to_judge) {
  const json run = checked(judgement{});
  EXPECT_EQ(run["invocations"][0]["executionSuccessful"], false);
  EXPECT_EQ(run["results"].size(), 0);
}

}  // namespace
}  // namespace zelk::check
