#include <gtest/gtest.h>

#include "src/check/judge/definitions.h"
#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

check_definition stream_low() {
  check_definition check;
  check.id = "stream-low";
  check.title = "memory bandwidth of a node clearly below its peers";
  check.score = 80;
  check.facts = {"stream.*"};
  check.what.kind = rule::peers;
  check.what.direction = side::low;
  check.causes = {"missing or slower memory module", "a job left running"};
  check.advice = {"zelk-collect stream -w NODES", "zelk-check --diff memory"};
  check.explain = "STREAM moves memory.\n\nIt needs an idle node.";
  check.file = "etc/checks/hardware.xml";
  check.line = 12;
  return check;
}

std::string explained(const check_definition& check, const judgement* judged,
                      std::size_t width = 0) {
  report_options options;
  options.width = width;
  std::ostringstream out;
  write_explanation(check, judged, options, out);
  return out.str();
}

constexpr char stream_text[] =
    R"(stream-low: memory bandwidth of a node clearly below its peers
  severity    critical (score 80)
  fact        stream.*
  peers       nodes of the same class (cpu.model, cpu.sockets, mem.total), at least 5
  rule        robust z = 0.6745 (x - median)/MAD <= -3.5   AND   x at least 5 % below the median
              a higher z is asked of one among very few or very many peers
              MAD = 0: only the distance from the median is used, and the finding says so
  meaning     STREAM moves memory.
              It needs an idle node.
  seen now    stream.triad (GB/s), provider stream v3, option set full:
              node013     168.9  z -21.2  -17.0 %
              node088     171.2  z -19.7  -15.8 %
  causes      missing or slower memory module
              a job left running
  try next    zelk-collect stream -w NODES
              zelk-check --diff memory
  accept      zelk-db accept stream-low -w NODES --reason TEXT --until DATE
  defined in  etc/checks/hardware.xml:12
)";

TEST(write_explanation, tells_meaning_rule_and_where_it_is_seen) {
  const judgement judged = example_judgement();
  EXPECT_EQ(explained(stream_low(), &judged), stream_text);
}

TEST(write_explanation, needs_no_run) {
  const std::string text = explained(stream_low(), nullptr);
  EXPECT_FALSE(holds(text, "seen now"));
  EXPECT_TRUE(holds(text, "  fact        stream.*\n"));
  EXPECT_TRUE(holds(text, "nodes of the same class, at least 5\n"));
}

TEST(write_explanation, says_when_it_is_seen_nowhere) {
  judgement judged = example_judgement();
  judged.findings.clear();
  EXPECT_TRUE(holds(explained(stream_low(), &judged),
                    "  seen now    nowhere in run 412\n"));
}

TEST(write_explanation, tells_the_limits_of_the_check_itself) {
  check_definition check = stream_low();
  check.what.z = 5;
  check.what.min_effect = 2.5;
  check.what.min_peers = 8;
  check.what.direction = side::high;
  const std::string text = explained(check, nullptr);
  EXPECT_TRUE(holds(text, "MAD >= 5   AND   x at least 2.5 % above"));
  EXPECT_TRUE(holds(text, "at least 8\n"));
}

TEST(write_explanation, has_words_for_every_rule) {
  check_definition check = stream_low();
  std::string problem;
  check.what.limit = read_range("~:1", problem);
  check.what.values = {"on", "yes"};
  for (const auto& [kind, words] :
       {std::pair(rule::differs, "more than half of the peers"),
        std::pair(rule::range, "out of the range ~:1"),
        std::pair(rule::value, "none of: on, yes"),
        std::pair(rule::unique, "the same value as another node"),
        std::pair(rule::changed, "in the baseline"),
        std::pair(rule::growth, "grew by more than 0"),
        std::pair(rule::present, "is not there"),
        std::pair(rule::absent, "is there"),
        std::pair(rule::none, "never judged")}) {
    check.what.kind = kind;
    EXPECT_TRUE(holds(explained(check, nullptr), words)) << words;
  }
}

TEST(write_explanation, tells_what_narrows_a_rule) {
  check_definition check = stream_low();
  check.what.kind = rule::differs;
  check.what.min_share = 75;
  check.what.min_effect = 2;
  check.what.ignored = {"unknown"};
  const std::string text = explained(check, nullptr);
  EXPECT_TRUE(holds(text, "only when 75 % of the class agree\n"));
  EXPECT_TRUE(holds(text, "only what is less than theirs\n"));
  EXPECT_TRUE(holds(text, "less than 2 % apart are alike\n"));
  EXPECT_TRUE(holds(text, "values that say nothing: unknown\n"));
  check.what.kind = rule::value;
  check.what.refused = {"off"};
  EXPECT_TRUE(holds(explained(check, nullptr), "  rule        one of: off\n"));
}

TEST(write_explanation, keeps_to_the_width_of_the_terminal) {
  const judgement judged = example_judgement();
  for (const std::string& line : lines_of(explained(stream_low(), &judged, 80)))
    EXPECT_LE(line.size(), 80) << line;
}

TEST(write_explanation, tells_for_which_nodes_it_is_accepted) {
  judgement judged = example_judgement();
  for (finding& each : judged.findings)
    if (each.check == "stream-low") each.accepted_nodes = {"node088"};
  const std::string text = explained(stream_low(), &judged);
  EXPECT_TRUE(holds(text, "accepted on 1 of its 2 nodes:"));
  for (const std::string& line : lines_of(text)) {
    if (holds(line, "node088 ")) {
      EXPECT_TRUE(line.ends_with(" %  accepted")) << line;
    }
    if (holds(line, "node013 ")) {
      EXPECT_FALSE(holds(line, "accepted")) << line;
    }
  }
}

TEST(write_explanation, tells_how_to_accept_in_the_same_datastore) {
  report_options options;
  options.same_datastore = "--db x.db";
  std::ostringstream out;
  write_explanation(stream_low(), nullptr, options, out);
  EXPECT_TRUE(holds(out.str(), "zelk-db accept stream-low --db x.db -w NODES"));
}

TEST(write_check_list, has_a_line_a_check) {
  check_definition second = stream_low();
  second.id = "x";
  second.score = 10;
  const check_definition first = stream_low();
  std::ostringstream out;
  write_check_list({&first, &second}, {}, out);
  EXPECT_EQ(out.str(),
            "CHECK       SEVERITY       SCORE  TITLE\n"
            "stream-low  critical          80  memory bandwidth of a node "
            "clearly below its peers\n"
            "x           informational     10  memory bandwidth of a node "
            "clearly below its peers\n");
}

TEST(write_explanation, tells_who_accepted_it_and_why) {
  const judgement judged = example_judgement();
  check_definition check;
  check.id = judged.accepted.front().check;
  EXPECT_TRUE(holds(explained(check, &judged),
                    "accepted on gpu07 (1): test bed of the visualisation "
                    "group, ada, until 2026-01-01"));
}

TEST(write_check_list, does_not_call_severe_what_is_not_judged) {
  check_definition check;
  check.id = "sysctl-not-judged";
  check.what.kind = rule::none;
  std::ostringstream out;
  write_check_list({&check}, {}, out);
  EXPECT_TRUE(holds(out.str(), "not judged")) << out.str();
  EXPECT_FALSE(holds(out.str(), "warning"));
}

}  // namespace
}  // namespace zelk::check
