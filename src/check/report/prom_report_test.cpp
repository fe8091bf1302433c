#include <re2/re2.h>

#include <set>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

// What the text file collector refuses a file for: a sample without its head
// lines, heads twice, a metric in two places, a series twice, a time stamp, a
// label value that is not escaped, a missing line end.
class format_check {
 public:
  explicit format_check(const std::string& text) {
    if (!text.empty() && text.back() != '\n') problem_ = "no line end";
    for (const std::string& line : lines_of(text))
      add(line);
  }

  const std::string& problem() const { return problem_; }
  const std::set<std::string>& metrics() const { return metrics_; }
  const std::set<std::string>& series() const { return series_; }

 private:
  void add(const std::string& line) {
    static const re2::RE2 help("# HELP ([a-z_]+) \\S.*");
    static const re2::RE2 type("# TYPE ([a-z_]+) gauge");
    static const re2::RE2 sample(
        R"re(([a-zA-Z_:][a-zA-Z0-9_:]*)(\{[a-z_]+="(?:[^"\\\n]|\\["\\n])*"(?:,[a-z_]+="(?:[^"\\\n]|\\["\\n])*")*\})? (-?[0-9.]+(?:e[+-]?[0-9]+)?))re");
    std::string name, labels, value;
    if (re2::RE2::FullMatch(line, help, &name)) {
      if (!metrics_.insert(name).second) problem_ = "two heads: " + line;
      head_ = name;
      typed_ = false;
    } else if (re2::RE2::FullMatch(line, type, &name)) {
      if (name != head_ || typed_) problem_ = "TYPE without HELP: " + line;
      typed_ = true;
    } else if (re2::RE2::FullMatch(line, sample, &name, &labels, &value)) {
      if (name != head_ || !typed_) problem_ = "not under its head: " + line;
      if (!series_.insert(name + labels).second) problem_ = "twice: " + line;
    } else {
      problem_ = "not a line of the format: " + line;
    }
  }

  std::string problem_, head_;
  bool typed_ = false;
  std::set<std::string> metrics_, series_;
};

std::string prom_of(const judgement& judged) {
  return report_of(judged, report_form::prom);
}

TEST(prom_report, keeps_to_the_rules_of_the_collector) {
  for (const judgement& judged : {example_judgement(), hostile_judgement(),
                                  large_judgement(300), judgement{}})
    EXPECT_EQ(format_check(prom_of(judged)).problem(), "");
}

TEST(prom_report, would_be_refused_for_what_the_rules_forbid) {
  const std::string head = "# HELP m x\n# TYPE m gauge\n";
  EXPECT_EQ(format_check(head + "m{a=\"b\"} 1\n").problem(), "");
  for (const std::string& bad :
       {head + "m 1", std::string("m 1\n"), head + "m 1\nm 2\n",
        head + "m 1 1763690712\n", head + "m{a=\"b\"c\"} 1\n", head + head,
        head + "m NaN\n", head + "m{a=\"\\x\"} 1\n"})
    EXPECT_NE(format_check(bad).problem(), "") << bad;
}

TEST(prom_report, has_a_verdict_for_every_node) {
  const format_check found(prom_of(example_judgement()));
  std::size_t nodes = 0;
  for (const std::string& each : found.series())
    nodes += each.starts_with("zelkara_node_verdict{") ? 1 : 0;
  EXPECT_EQ(nodes, 136);
  const std::string text = prom_of(example_judgement());
  EXPECT_TRUE(
      holds(text, "\nzelkara_node_verdict{node=\"node071\",class=\"A\"} 2\n"));
  EXPECT_TRUE(
      holds(text, "\nzelkara_node_verdict{node=\"node101\",class=\"B\"} 1\n"));
  EXPECT_TRUE(holds(text, "\nzelkara_results_missing 18\n"));
  EXPECT_TRUE(holds(text, "\nzelkara_run_end_timestamp_seconds 1763690712\n"));
}

TEST(prom_report, measures_in_base_units) {
  const std::string text = prom_of(example_judgement());
  EXPECT_TRUE(holds(text,
                    "\nzelkara_metric{metric=\"mem.total\",option=\"\",unit="
                    "\"bytes\",node=\"node071\"} 240518168576\n"));
  EXPECT_TRUE(
      holds(text,
            "\nzelkara_metric{metric=\"stream.triad\",option=\"full\","
            "unit=\"bytes_per_second\",node=\"node013\"} 168900000000\n"));
}

TEST(prom_report, says_a_finding_of_a_node_once) {
  judgement judged = example_judgement();
  judged.findings.push_back(judged.findings[1]);
  EXPECT_EQ(format_check(prom_of(judged)).problem(), "");
}

}  // namespace
}  // namespace zelk::check
