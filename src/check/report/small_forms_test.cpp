// The forms nodes and md, and what holds for all forms.

#include <re2/re2.h>

#include <algorithm>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"
#include "src/common/text/utf8.h"

namespace zelk::check {
namespace {

// Whether a terminal would do anything but show `text`: control characters
// but line ends, tabs and those of CSV's line ends; marks that turn a line
// round.
bool moves_a_terminal(const std::string& text) {
  for (const char* mark : {"\u202e", "\u2028", "\u009b", "\u200b", "\ufeff"})
    if (holds(text, mark)) return true;
  return std::any_of(text.begin(), text.end(), [](char c) {
    return c == 0x7f ||
           (c >= 0 && c < ' ' && c != '\n' && c != '\t' && c != '\r');
  });
}

std::string all_but_reports(const judgement& judged, const run_data& run) {
  std::ostringstream out;
  write_drain_commands(judged, {}, out);
  write_nodes(judged, run, run.nodes, {}, out);
  write_differences(run, judged, {"p", {}}, {}, out);
  return out.str();
}

TEST(all_forms, let_no_control_character_through) {
  const judgement judged = hostile_judgement();
  for (const std::string& word : report_form_words()) {
    const std::string text = report_of(judged, *read_report_form(word));
    EXPECT_FALSE(moves_a_terminal(text)) << word;
    EXPECT_TRUE(text::is_text(text)) << word;
  }
  EXPECT_FALSE(moves_a_terminal(all_but_reports(judged, hostile_run())));
}

TEST(all_forms, let_none_through_on_a_narrow_coloured_terminal) {
  for (const auto by : {report_grouping::check, report_grouping::node,
                        report_grouping::node_class})
    for (const std::size_t width : {1U, 40U, 200U}) {
      report_options options;
      options.width = width;
      options.group_by = by;
      const std::string text =
          report_of(hostile_judgement(), report_form::text, options);
      EXPECT_FALSE(moves_a_terminal(text));
      EXPECT_TRUE(text::is_text(text));
    }
}

TEST(all_forms, are_the_same_bytes_every_time) {
  for (const std::string& word : report_form_words())
    EXPECT_EQ(report_of(hostile_judgement(), *read_report_form(word)),
              report_of(hostile_judgement(), *read_report_form(word)))
        << word;
}

TEST(all_forms, stand_a_judgement_of_nothing) {
  for (const std::string& word : report_form_words())
    report_of(judgement{}, *read_report_form(word));
  EXPECT_EQ(report_of(judgement{}, report_form::nodes), "");
}

TEST(nodes_report, is_the_nodes_where_something_is_wrong) {
  report_options options;
  EXPECT_EQ(report_of(example_judgement(), report_form::nodes),
            "node[013,020,037,055,071,088,101-104,112]\n");
  options.min_severity = severity::critical;
  EXPECT_EQ(report_of(example_judgement(), report_form::nodes, options),
            "node[013,037,071,088,112]\n");
  options.one_line = false;
  EXPECT_EQ(report_of(example_judgement(), report_form::nodes, options),
            "node013\nnode037\nnode071\nnode088\nnode112\n");
}

// It is made to be read by another program.
TEST(nodes_report, leaves_names_out_that_no_command_can_take) {
  judgement judged = example_judgement();
  judged.findings[0].nodes = {"node037", "a b", "-x"};
  report_options options;
  options.min_severity = severity::critical;
  EXPECT_EQ(report_of(judged, report_form::nodes, options),
            "node[013,037,071,088]\n");
  EXPECT_EQ(names_left_out(judged, options), 2);
}

TEST(markdown_report, is_a_table_and_what_to_try) {
  const std::string text = report_of(example_judgement(), report_form::md);
  EXPECT_TRUE(text.starts_with(
      "## unhealthy: 5 unhealthy, 6 suspect, 125 healthy of 136 nodes\n\n"
      "Run 412 \"nightly\", collected 2025-11-21T02:00:00Z, against run "
      "391.\n\n| severity | check | nodes | evidence | state |\n"
      "|---|---|---|---|---|\n"));
  EXPECT_TRUE(holds(text,
                    "| warning | bios-differs | `node[101-104]` (4) | "
                    "2.3; 27 of 31 class B peers have 2.5 | unchanged "
                    "since 2025-11-01 |\n"));
  EXPECT_TRUE(holds(text, "\n- bios-differs: zelk-check --diff bios\n"));
  EXPECT_TRUE(holds(text, "\nFixed: gpu-ecc on `gpu03` (1)\n"));
  EXPECT_TRUE(holds(text, "\nNot judged: 18 of 1233 results missing ("));
}

TEST(markdown_report, has_no_cell_that_hostile_text_made) {
  std::string text = report_of(hostile_judgement(), report_form::md);
  for (const std::string& line : lines_of(text))
    if (line.starts_with("|")) {
      EXPECT_EQ(std::count(line.begin(), line.end(), '|'), 6) << line;
    }
  re2::RE2::GlobalReplace(&text, "`[^`\n]*`", "code");
  for (const char* bad : {"<script", "<svg", "](http", "*bold*", "http://"})
    EXPECT_FALSE(holds(text, bad)) << bad;
}

}  // namespace
}  // namespace zelk::check
