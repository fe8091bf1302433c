#include <algorithm>

#include <gtest/gtest.h>

#include "src/check/report/display.h"
#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

std::string text_of(const judgement& judged, report_options options = {}) {
  return report_of(judged, report_form::text, std::move(options));
}

std::string line_with(const std::string& text, const std::string& part) {
  for (const std::string& line : lines_of(text))
    if (holds(line, part)) return line;
  return "";
}

constexpr char example_text[] =
    R"(Run 412 "nightly", collected 2025-11-21 02:00..02:05 (3 h ago), 136 nodes in 3 classes
Baseline: run 391 (2025-11-01)

UNHEALTHY   5 unhealthy   6 suspect   125 healthy   of 136 nodes

CRITICAL
 X no-answer        (2)  node[037,112]     no answer over ssh, 2 tries                                          new
                         try: ping node[037,112] ; look at the console
 X mem-size         (1)  node071           224 GiB; 94 of 95 class A peers have 256 GiB                         new
                         try: dmidecode -t memory on node071 (a module missing or mapped out)
 X stream-low       (2)  node[013,088]     168.9 and 171.2 GB/s; 92 peers 203.4 +-1.1 (-17.0 %, -15.8 %)        new
                         try: numactl -H, power limits, another run: zelk-collect stream -w node[013,088]
WARNING
 ! bios-differs     (4)  node[101-104]     2.3; 27 of 31 class B peers have 2.5 (since 2025-11-01)              unchanged
                         try: zelk-check --diff bios
 ! clock-offset     (1)  node020           4.1 s (limit 1 s)                                                    new
                         try: chronyc tracking
 ! timeout          (1)  node055           stream stopped after 300 s                                           new

Since the baseline:  5 new   1 unchanged   1 fixed (gpu03 gpu-ecc)
   134 nodes changed kernel.release 5.14.0-427 -> 5.14.0-503
   if that was intended, make this run the baseline:  zelk-db baseline set 412

Not judged:  18 of 1233 results missing (node[037,112]), 1 timed out, 0 failed, 0 stale
   accepted         (1)  gpu07             swap-on: test bed of the visualisation group, ada, until 2026-01-01

Next:
  zelk-check --explain stream-low                       what it means and how it is computed
  zelk-check --show node node071                        all that is known of it
  zelk-check --drain-commands --min-severity critical   printed, not run
  zelk-collect --into 412 -w 'node[037,112]'            ask again what did not come
)";

TEST(text_report, tells_all_on_one_screen) {
  EXPECT_EQ(text_of(example_judgement()), example_text);
}

TEST(text_report, is_the_same_with_colour_taken_off) {
  report_options options;
  options.colour = true;
  std::string text = text_of(example_judgement(), options);
  EXPECT_TRUE(holds(text, "\033[1;31mUNHEALTHY\033[0m"));
  for (std::size_t at = 0; (at = text.find('\033')) != std::string::npos;)
    text.erase(at, text.find('m', at) - at + 1);
  EXPECT_EQ(text, example_text);
}

TEST(text_report, has_other_marks_where_the_terminal_has_them) {
  report_options options;
  options.utf8 = true;
  const std::string text = text_of(example_judgement(), options);
  EXPECT_TRUE(holds(text, " \u2716 no-answer  "));
  EXPECT_TRUE(holds(text, " \u25b2 timeout  "));
}

TEST(text_report, keeps_to_the_width_of_the_terminal) {
  report_options options;
  options.width = 100;
  bool findings = false;
  for (const std::string& line :
       lines_of(text_of(example_judgement(), options))) {
    findings = findings || line == "CRITICAL";
    if (line.empty()) findings = false;
    if (findings) {
      EXPECT_LE(display_width(line), 100) << line;
    }
  }
}

TEST(text_report, tells_every_node_of_a_set_that_fills_lines) {
  judgement judged = example_judgement();
  finding& found = judged.findings.front();
  found.nodes.clear();
  for (int i = 1; i < 200; i += 2)
    found.nodes.push_back("node" + std::to_string(i));
  report_options options;
  options.width = 80;
  const std::string text = text_of(judged, options);
  EXPECT_TRUE(holds(text, "(100)  node[1,3,5,"));
  EXPECT_TRUE(holds(text, ",197,199]\n"));
}

TEST(text_report, groups_by_node) {
  report_options options;
  options.group_by = report_grouping::node;
  judgement judged = example_judgement();
  judged.findings[4].nodes = {"node071"};  // a second trouble
  const std::vector<std::string> lines = lines_of(text_of(judged, options));
  const auto first = std::find_if(
      lines.begin(), lines.end(),
      [](const std::string& line) { return holds(line, "mem-size"); });
  ASSERT_LT(first + 1, lines.end());
  EXPECT_TRUE(holds(*first, "(1)  node071"));
  EXPECT_TRUE(holds(*(first + 1), "clock-offset"));
  EXPECT_FALSE(holds(*(first + 1), "node071"));
}

TEST(text_report, groups_by_class) {
  report_options options;
  options.group_by = report_grouping::node_class;
  const std::string text = text_of(example_judgement(), options);
  const std::size_t all = text.find("ALL CLASSES\n X no-answer");
  const std::size_t a = text.find("CLASS A (96 nodes)\n X mem-size");
  const std::size_t b = text.find("CLASS B (32 nodes)\n ! bios-differs");
  EXPECT_LT(all, a);
  EXPECT_LT(a, b);
  EXPECT_LT(b, text.size());
}

TEST(text_report, says_how_much_it_does_not_show) {
  report_options options;
  options.min_severity = severity::critical;
  std::string text = text_of(example_judgement(), options);
  EXPECT_FALSE(holds(text, "bios-differs"));
  EXPECT_TRUE(holds(text, "4 findings not shown (--min-severity critical)"));
  EXPECT_TRUE(holds(text, "5 unhealthy   6 suspect"));

  options.min_severity.reset();
  options.only_new = true;
  text = text_of(example_judgement(), options);
  EXPECT_FALSE(holds(text, "bios-differs"));
  EXPECT_TRUE(holds(text, "2 findings not shown (--only-new)"));

  options = {};
  options.limit_rows = 1;
  text = text_of(example_judgement(), options);
  EXPECT_FALSE(holds(text, "mem-size "));
  EXPECT_TRUE(holds(text, "   and 2 more (--limit-rows 0 shows all)\n"));
}

TEST(text_report, always_says_what_is_new_and_what_was_not_judged) {
  judgement judged = example_judgement();
  judged.baseline.reset();
  judged.findings.clear();
  judged.coverage.clear();
  judged.accepted.clear();
  judged.run.results = judged.run.results_expected;
  const std::string text = text_of(judged);
  EXPECT_TRUE(holds(text, "No findings.\n"));
  EXPECT_TRUE(holds(text, "Since the baseline:  nothing to compare with\n"));
  EXPECT_TRUE(holds(text,
                    "Not judged:  0 of 1233 results missing, 0 timed "
                    "out, 0 failed, 0 stale\n"));
}

TEST(text_report, tells_why_something_was_not_judged) {
  judgement judged = example_judgement();
  coverage_group forbidden;
  forbidden.what = answer::no_permission;
  forbidden.provider = "bios";
  forbidden.reason = "dmidecode needs root";
  forbidden.nodes = {"node003", "node004"};
  coverage_group old = judged.coverage[0];
  old.stale = true;
  old.provider = "links";
  judged.coverage = {forbidden, old};
  judged.unread = {{"clock", "clock.offset", "no such file", {8}}};
  judged.classes[2].comparable = false;
  judged.classes[2].why_not = "8 nodes; comparing takes 9";
  const std::string text = text_of(judged);
  EXPECT_TRUE(holds(text, "0 failed, 2 stale, 2 no permission\n"));
  EXPECT_TRUE(holds(line_with(text, "no permission  "),
                    "(2)  node[003-004]     bios: dmidecode needs root"));
  EXPECT_TRUE(holds(line_with(text, "   stale  "), "(2)  node[037,112]"));
  EXPECT_TRUE(holds(line_with(text, "not readable"),
                    "(1)  node001           clock clock.offset: no such file"));
  EXPECT_TRUE(holds(line_with(text, "not compared"),
                    "gpu[01-08]        class G: 8 nodes; comparing takes 9"));
}

// A driver that cannot tell eight attributes cannot tell them on all nodes.
TEST(text_report, folds_facts_that_are_unread_for_one_reason) {
  judgement judged = example_judgement();
  judged.unread = {{"links", "net.a.speed", "Invalid argument", {8, 9}},
                   {"links", "net.b.speed", "Invalid argument", {8, 9}},
                   {"links", "net.c.speed", "Invalid argument", {8}}};
  const std::string text = text_of(judged);
  EXPECT_TRUE(holds(text,
                    "node[001-002]     links net.a.speed and 1 more: "
                    "Invalid argument\n"));
  EXPECT_TRUE(holds(text,
                    "node001           links net.c.speed: Invalid "
                    "argument\n"));
}

TEST(text_report, says_what_to_try_once_a_check) {
  judgement judged = example_judgement();
  judged.findings.insert(judged.findings.begin() + 2, judged.findings[1]);
  judged.findings[2].nodes = {"node072"};
  const std::string text = text_of(judged);
  EXPECT_TRUE(holds(text, "node072"));
  EXPECT_EQ(text.find("try: dmidecode"), text.rfind("try: dmidecode"));
}

TEST(text_report, tells_who_came_and_went) {
  judgement judged = example_judgement();
  judged.joined = {"node128"};
  judged.left = {"old1", "old2"};
  const std::string text = text_of(judged);
  EXPECT_TRUE(holds(text, "   1 node joined: node128\n"));
  EXPECT_TRUE(holds(text, "   2 nodes left: old[1-2]\n"));
}

TEST(text_report, counts_nodes_of_which_nothing_is_known) {
  judgement judged = example_judgement();
  judged.counts = {120, 6, 5, 5};
  EXPECT_TRUE(holds(text_of(judged), "6 suspect   5 unknown   120 healthy"));
}

TEST(text_report, knows_runs_that_go_on_or_were_stopped) {
  judgement judged = example_judgement();
  judged.run.ended_usec = 0;
  EXPECT_TRUE(holds(text_of(judged), "since 2025-11-21 02:00, still running"));
  judged = example_judgement();
  judged.run.state = "interrupted";
  EXPECT_TRUE(holds(text_of(judged), "in 3 classes, interrupted\n"));
  judged.run.ended_usec += 86'400'000'000;
  EXPECT_TRUE(holds(text_of(judged), "02:00..2025-11-22 02:05 ("));
}

TEST(text_report, gives_commands_that_speak_of_the_same_run) {
  report_options options;
  options.same_run = "--run 405";
  EXPECT_TRUE(holds(text_of(example_judgement(), options),
                    "  zelk-check --run 405 --explain stream-low "));
}

TEST(text_report, has_no_command_with_a_name_that_none_can_take) {
  judgement judged = example_judgement();
  for (finding& each : judged.findings)
    if (each.check != "kernel-changed") each.nodes = {"a b"};
  std::string text = text_of(judged);
  EXPECT_TRUE(holds(text, "'a b'"));
  EXPECT_FALSE(holds(text, "--show node"));
  EXPECT_TRUE(holds(text, "\n  1 name that no command can take is left out\n"));
  judged.findings[1].nodes = {"a b", "node071"};
  text = text_of(judged);
  EXPECT_TRUE(holds(text, "--show node node071 "));
}

TEST(text_report, tells_how_to_mark_a_baseline_in_the_same_datastore) {
  report_options options;
  options.same_datastore = "--db /data/x.db";
  EXPECT_TRUE(holds(text_of(example_judgement(), options),
                    "zelk-db --db /data/x.db baseline set 412\n"));
}

// One that is odd among its peers is another thing than one that changed,
// whatever it was before.
TEST(text_report, calls_only_changes_changed) {
  judgement judged = example_judgement();
  finding odd = judged.findings[1];
  odd.check = "uptime-odd";
  odd.level = severity::informational;
  odd.message = "79 h; median of 30 peers 33 d";
  odd.values = {{odd.nodes[0], "79 h", "50 h", {}, {}, {}}};
  judged.findings = {odd};
  const std::string text = text_of(judged);
  EXPECT_TRUE(holds(text, "Since the baseline:  1 new   0 unchanged"));
  EXPECT_FALSE(holds(text, "node changed"));
  EXPECT_TRUE(holds(text, "i uptime-odd"));
}

TEST(text_report, names_nodes_of_which_nothing_could_be_judged) {
  judgement judged = example_judgement();
  judged.nodes[12].what = verdict::unknown;
  EXPECT_TRUE(holds(line_with(text_of(judged), " unknown  "),
                    "nothing that came of them could be judged"));
}

TEST(shown_findings, come_in_the_order_asked_for) {
  const judgement judged = example_judgement();
  report_options options;
  const auto first = [&] { return shown_findings(judged, options)[0]->check; };
  EXPECT_EQ(first(), "no-answer");
  options.order = report_order::check;
  EXPECT_EQ(first(), "bios-differs");
  options.order = report_order::nodes;
  EXPECT_EQ(first(), "kernel-changed");
  options.order = report_order::state;
  EXPECT_EQ(first(), "no-answer");
  EXPECT_EQ(shown_findings(judged, options).back()->check, "bios-differs");
}

TEST(read_report_form, knows_every_word_that_is_listed) {
  for (const std::string& word : report_form_words())
    EXPECT_TRUE(read_report_form(word)) << word;
  EXPECT_EQ(report_form_words().size(), 11);
  EXPECT_FALSE(read_report_form("html"));
}

TEST(report_form_of_file, goes_by_the_ending) {
  EXPECT_EQ(report_form_of_file("out/r.json"), report_form::json);
  EXPECT_EQ(report_form_of_file("r.x.csv"), report_form::csv);
  EXPECT_EQ(report_form_of_file("zelkara.prom"), report_form::prom);
  EXPECT_FALSE(report_form_of_file("dir.json/report"));
  EXPECT_FALSE(report_form_of_file("json"));
}

}  // namespace
}  // namespace zelk::check
