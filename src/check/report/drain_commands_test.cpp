#include <re2/re2.h>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

std::string drain_of(const judgement& judged,
                     const report_options& options = {}) {
  std::ostringstream out;
  write_drain_commands(judged, options, out);
  return out.str();
}

judgement only(finding found) {
  judgement judged = example_judgement();
  judged.findings = {std::move(found)};
  return judged;
}

TEST(write_drain_commands, takes_nodes_with_critical_findings) {
  EXPECT_EQ(
      drain_of(example_judgement()),
      "# printed only; review, then pipe to sh\n"
      "scontrol update nodename=node071 state=drain reason=\"zelk:mem-size "
      "-32G\"\n"
      "scontrol update nodename=\"node[013,088]\" state=drain "
      "reason=\"zelk:stream-low -17%\"\n"
      "# node[037,112]: no answer; slurm reports such nodes as down* itself\n");
}

TEST(write_drain_commands, takes_warnings_when_told_to) {
  report_options options;
  options.min_severity = severity::warning;
  const std::string text = drain_of(example_judgement(), options);
  EXPECT_TRUE(holds(text,
                    "nodename=\"node[101-104]\" state=drain "
                    "reason=\"zelk:bios-differs\"\n"));
  EXPECT_TRUE(holds(text, "# node055: timeout; could not be judged"));
}

// A new kernel on all nodes is no reason to stop the cluster.
TEST(write_drain_commands, never_takes_what_is_informational) {
  report_options options;
  options.min_severity = severity::informational;
  EXPECT_FALSE(holds(drain_of(example_judgement(), options), "kernel"));
}

TEST(write_drain_commands, leaves_a_class_its_majority) {
  finding found = example_judgement().findings[1];
  for (int i = 1; i <= 48; ++i)
    found.nodes.push_back(i < 10 ? "node00" + std::to_string(i)
                                 : "node0" + std::to_string(i));
  const std::string text = drain_of(only(found));
  EXPECT_TRUE(holds(text, ": mem-size; half of its class or more, left out\n"));
  EXPECT_TRUE(holds(text, "# nothing to drain\n"));
  EXPECT_FALSE(holds(text, "scontrol"));
}

TEST(write_drain_commands, names_a_node_once_with_its_worst_reason) {
  judgement judged = example_judgement();
  judged.findings[2].nodes.push_back("node071");
  const std::string text = drain_of(judged);
  EXPECT_TRUE(holds(text, "nodename=node071 state"));
  EXPECT_TRUE(holds(text, "nodename=\"node[013,088]\" state"));
}

TEST(write_drain_commands, say_how_much_memory_is_missing) {
  judgement judged = example_judgement();
  finding found = judged.findings[1];  // mem-size
  found.unit = "KiB";
  found.median = 263857012;
  found.values.front().number = 247079796;
  EXPECT_TRUE(holds(drain_of(only(found)), "reason=\"zelk:mem-size -16G\"\n"));
}

TEST(write_drain_commands, keeps_reasons_short) {
  finding found = example_judgement().findings[1];
  found.check = "a-very-long-name-of-a-check";
  EXPECT_TRUE(
      holds(drain_of(only(found)), "reason=\"zelk:a-very-long-nam\"\n"));
  found.drain_word = "mem";
  EXPECT_TRUE(holds(drain_of(only(found)), "reason=\"zelk:mem -32G\"\n"));
  found.check = "sixteen-letters";
  found.drain_word.clear();
  EXPECT_TRUE(
      holds(drain_of(only(found)), "reason=\"zelk:sixteen-letters\"\n"));
}

TEST(write_drain_commands, says_when_there_is_nothing_to_do) {
  EXPECT_EQ(drain_of(judgement{}),
            "# printed only; review, then pipe to sh\n# nothing to drain\n");
}

// Whatever a node is called: what a shell makes of the text is calls of
// scontrol with a plain node set, and nothing else.
TEST(write_drain_commands, is_safe_to_give_to_a_shell) {
  judgement judged = hostile_judgement();
  for (finding& found : judged.findings) {
    found.level = severity::critical;
    found.nodes.insert(found.nodes.end(), {"n1;id", "n2\nid", "$(id)", "n3"});
  }
  judged.classes[0].nodes.resize(1000);
  for (finding& found : judged.findings)
    found.class_name = judged.classes[0].name;
  const ended_program ended = run_with_input(
      "PATH=; scontrol() { printf \"%s,\" \"$@\"; echo; }; "
      "while IFS= read -r line; do eval \"$line\"; done",
      drain_of(judged));
  EXPECT_EQ(ended.status, 0);
  static const re2::RE2 call(
      R"(update,nodename=[a-z0-9,\[\]-]+,state=drain,reason=zelk:[ -~]{1,15},)");
  ASSERT_FALSE(lines_of(ended.output).empty());
  for (const std::string& line : lines_of(ended.output))
    EXPECT_TRUE(re2::RE2::FullMatch(line, call)) << line;
  EXPECT_TRUE(
      holds(drain_of(judged), "# left out, not a plain name: n2\\nid\n"));
}

}  // namespace
}  // namespace zelk::check
