#include "src/check/report/screen_report.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/check/report/display.h"
#include "src/check/report/folded_findings.h"
#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

report_options screen_of(std::size_t height, std::size_t width = 80) {
  report_options options;
  options.height = height;
  options.width = width;
  options.limit_rows = 20;
  return options;
}

std::string text_of(const judgement& judged, const report_options& options) {
  return report_of(judged, report_form::text, options);
}

// A trouble of its own for each of `count` checks, the worst first.
judgement with_checks(std::size_t count) {
  judgement judged = example_judgement();
  const finding pattern = judged.findings[1];
  for (std::size_t i = 0; i < count; ++i) {
    finding each = pattern;
    each.check = "check-number-" + std::to_string(i);
    each.level = i < count / 2 ? severity::critical : severity::warning;
    judged.findings.push_back(each);
  }
  return judged;
}

constexpr char example_screen[] =
    R"(Run 412 "nightly", collected 2025-11-21 02:00..02:05 (3 h ago), 136 nodes in 3
  classes
Baseline: run 391 (2025-11-01)

UNHEALTHY   5 unhealthy   6 suspect   125 healthy   of 136 nodes
 X no-answer    node[037,112] (2)  no answer over ssh, 2 tries               new
 X mem-size     node071            224 (-12.5 %), peers have 256 GiB         new
 X stream-low   node[013,088] (2)  168.9 and 171.2 GB/s; 92 peers 203.4..    new
 ! bios-differs node[101-104] (4)  2.3, peers have 2.5
)";

TEST(screen_report, begins_with_the_verdict_and_the_worst) {
  const std::string text = text_of(example_judgement(), screen_of(40));
  EXPECT_TRUE(text.starts_with(example_screen)) << text;
}

TEST(screen_report, keeps_to_the_lines_and_columns_of_the_terminal) {
  for (const std::size_t count : {0U, 10U, 100U, 1000U})
    for (const std::size_t height : {24U, 40U, 60U}) {
      SCOPED_TRACE(testing::Message() << count << " in " << height);
      const std::vector<std::string> lines =
          lines_of(text_of(with_checks(count), screen_of(height)));
      EXPECT_LT(lines.size(), height);
      const auto next = std::find(lines.begin(), lines.end(), "Next:");
      ASSERT_NE(next, lines.end());
      for (auto line = lines.begin(); line != next; ++line)
        EXPECT_LE(display_width(*line), 80U) << *line;
    }
}

TEST(screen_report, names_what_does_not_fit) {
  const std::string text = text_of(with_checks(60), screen_of(30));
  EXPECT_TRUE(holds(text, " more critical: ")) << text;
  EXPECT_TRUE(holds(text, " more warning: "));
  EXPECT_TRUE(holds(text, "zelk-check | less -S"));
}

TEST(screen_report, folds_a_check_into_one_line) {
  judgement judged = example_judgement();
  finding more = judged.findings[1];  // mem-size of node071
  more.fact = "mem.other";
  more.class_name = "B";
  more.nodes = {"node099"};
  judged.findings.push_back(more);
  const std::string text = text_of(judged, screen_of(40));
  const std::vector<std::string> lines = lines_of(text);
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.starts_with(" X mem-size ");
                          }),
            1)
      << text;
  EXPECT_TRUE(holds(text, "node[071,099] (2)")) << text;
  EXPECT_TRUE(holds(text, "2 findings: ")) << text;
}

TEST(screen_report, shows_no_control_character) {
  const std::string text = text_of(hostile_judgement(), screen_of(40));
  for (const char c : text)
    EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
  EXPECT_LE(lines_of(text).size(), 60U);
}

TEST(screen_report, is_not_healthy_while_nodes_are_unknown) {
  judgement judged = example_judgement();
  judged.findings.clear();
  judged.overall = verdict::healthy;
  judged.counts = {135, 0, 0, 1};
  EXPECT_TRUE(
      holds(text_of(judged, screen_of(40)), "\nINCOMPLETE   1 unknown"));
  judged.counts = {136, 0, 0, 0};
  EXPECT_TRUE(holds(text_of(judged, screen_of(40)), "\nHEALTHY   136 healthy"));
  judged.run.state = "running";
  const std::string text = text_of(judged, screen_of(40));
  EXPECT_TRUE(holds(text, "\nINCOMPLETE   136 healthy"));
  EXPECT_TRUE(holds(text, "The run goes on: 1215 of 1233 results have come"));
}

TEST(screen_report, says_that_only_some_checks_were_looked_at) {
  judgement judged = example_judgement();
  judged.with.checks = {"mem-size"};
  judged.with.skipped = {"net-*"};
  for (const std::size_t height : {0U, 40U}) {
    const std::string text = text_of(judged, screen_of(height));
    EXPECT_TRUE(holds(text, "\nOnly these checks were looked at: mem-size\n"));
    EXPECT_TRUE(holds(text, "\nLeft out: net-*\n"));
  }
}

// What a run has, however it ended, it does not ask for again.
TEST(screen_report, asks_again_into_the_run_only_for_what_never_came) {
  judgement judged = example_judgement();
  EXPECT_TRUE(holds(text_of(judged, screen_of(40, 120)),
                    "  zelk-collect --into 412 -w 'node[037,112]'"));
  judged.findings.erase(judged.findings.begin());  // now a timeout
  const std::string text = text_of(judged, screen_of(40, 120));
  EXPECT_TRUE(holds(text, "  zelk-collect stream -w node055")) << text;
}

TEST(brief_words, say_the_value_and_what_it_should_be) {
  finding found;
  found.fact = "cpu.count";
  found.message = "cpu.count: grew (also cpu.online)";
  EXPECT_EQ(brief_words(found), "grew");
  found.reference = "96";
  found.peers = 31;
  found.values = {{"a", "95", "", {}, {}, {}}};
  EXPECT_EQ(brief_words(found), "95, peers have 96");
  found.values.front().delta_percent = -6.38;
  EXPECT_EQ(brief_words(found), "95 (-6.38 %), peers have 96");
  found.peers = 0;
  found.reference = "limit 10:";
  EXPECT_EQ(brief_words(found), "95, limit 10:");
}

}  // namespace
}  // namespace zelk::check
