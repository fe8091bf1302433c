#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

std::string differences_of(const run_data& run, const std::string& pattern,
                           const judgement& judged = example_judgement()) {
  std::ostringstream out;
  const bool known = write_differences(run, judged, {pattern, {}}, {}, out);
  return known ? out.str() : "unknown";
}

constexpr char bios_text[] =
    R"(--- node[097-100,105-111,113-128] (27)
+++ node[101-104] (4)
@@ class B @@
-bios.release=2025-04-02
-bios.version=2.5
+bios.release=2024-06-11
+bios.version=2.3
# not compared: node[037,112] (2): no answer
)";

TEST(write_differences, shows_each_group_against_the_largest) {
  EXPECT_EQ(differences_of(example_run(), "bios"), bios_text);
  EXPECT_EQ(differences_of(example_run(), "bios.*"), bios_text);
}

TEST(write_differences, takes_one_fact_with_its_unit) {
  EXPECT_EQ(differences_of(example_run(), "mem.total"),
            "--- node[001-036,038-070,072-096] (94)\n"
            "+++ node071 (1)\n"
            "@@ class A @@\n"
            "-mem.total=256 GiB\n"
            "+mem.total=224 GiB\n"
            "# not compared: node[037,112] (2): no answer\n");
}

TEST(write_differences, shows_only_the_elements_of_a_list_that_differ) {
  EXPECT_EQ(differences_of(example_run(), "gpu"),
            "--- gpu[01-02,04-08] (7)\n"
            "+++ gpu03 (1)\n"
            "@@ class G @@\n"
            "-gpu.modules=nvidia_drm\n");
}

TEST(write_differences, knows_no_such_thing) {
  EXPECT_EQ(differences_of(example_run(), "bioz"), "unknown");
}

TEST(write_differences, says_when_all_are_alike) {
  run_data run = example_run();
  run.facts.resize(1);
  run.facts[0].values.assign(run.nodes.size(), 0);
  EXPECT_TRUE(differences_of(run, "bios")
                  .starts_with("# no differences: 1 fact on 136 nodes\n"));
}

TEST(write_differences, tells_a_fact_that_is_not_there_from_an_empty_one) {
  run_data run = example_run();
  run.facts.resize(1);
  run.facts[0].values.assign(run.nodes.size(), run.values.index_of_text("x"));
  run.facts[0].values.set(0, run.values.index_of_text(""));  // gpu01
  run.facts[0].values.set(1, no_value);                      // gpu02
  EXPECT_EQ(differences_of(run, "bios"),
            "--- gpu[03-08] (6)\n+++ gpu01 (1)\n@@ class G @@\n"
            "-bios.release=x\n+bios.release=\n"
            "--- gpu[03-08] (6)\n+++ gpu02 (1)\n@@ class G @@\n"
            "-bios.release=x\n");
}

TEST(write_differences, mentions_nodes_that_have_no_class) {
  judgement judged = example_judgement();
  judged.classes.resize(2);
  EXPECT_TRUE(holds(differences_of(example_run(), "bios", judged),
                    "# not compared: gpu[01-08] (8): of no class\n"));
}

// A million lines against one are told, not shown.
TEST(write_differences, shows_so_many_lines_of_a_fact) {
  const std::string text =
      differences_of(hostile_run(), "p", hostile_judgement());
  EXPECT_LT(text.size(), 200'000);
  EXPECT_TRUE(holds(text, " lines more\n"));
}

// Five nodes, each of which says something else of three facts.
struct noisy_run {
  noisy_run() {
    run.nodes = {"n1", "n2", "n3", "n4", "n5"};
    run.notes.resize(5);
    provider_info& info = run.providers.emplace_back();
    info.name = "p";
    info.answers.assign(5, {answer::ok, 0, "", 0, 0, false});
    put("p.tuned", {"100", "101", "100", "150", ""});
    put("p.uptime", {"1", "2", "3", "4", "5"});
    put("p.version", {"a", "a", "b", "a", "a"});
    judged.classes = {{"A", {}, run.nodes, true, ""}};
  }

  void put(const std::string& name, const std::vector<std::string>& values) {
    fact_column& fact = run.facts.emplace_back();
    fact.name = name;
    fact.provider = "p";
    fact.values.assign(5, no_value);
    for (std::size_t i = 0; i < values.size(); ++i)
      if (!values[i].empty())
        fact.values.set(i, run.values.index_of_text(values[i]));
  }

  std::string said(const difference_wish& wish) const {
    std::ostringstream out;
    EXPECT_TRUE(write_differences(run, judged, wish, {}, out));
    return out.str();
  }

  run_data run;
  judgement judged;
};

allowance allowed_in_noise(const fact_column& fact) {
  allowance result;
  if (fact.name == "p.uptime") result.how = compared::never;
  if (fact.name == "p.tuned") result.percent = 3;
  return result;
}

TEST(write_differences, leaves_out_what_the_checks_let_pass) {
  const noisy_run noisy;
  EXPECT_EQ(noisy.said({"p", allowed_in_noise}),
            "--- n[1-2] (2)\n+++ n3 (1)\n@@ class A @@\n"
            "-p.version=a\n+p.version=b\n"
            "--- n[1-2] (2)\n+++ n4 (1)\n@@ class A @@\n"
            "-p.tuned=100\n+p.tuned=150\n"
            "--- n[1-2] (2)\n+++ n5 (1)\n@@ class A @@\n"
            "-p.tuned=100\n"
            "# left out: 1 fact not compared between nodes, 1 fact with "
            "differences that the check lets pass; --all shows them\n");
}

TEST(write_differences, leaves_nothing_out_when_asked_for_all) {
  const noisy_run noisy;
  const std::string text = noisy.said({"p", {}});
  EXPECT_TRUE(holds(text, "-p.uptime=1\n"));
  EXPECT_TRUE(holds(text, "+p.tuned=101\n"));
  EXPECT_FALSE(holds(text, "left out"));
}

TEST(write_differences, says_when_nothing_is_compared) {
  const noisy_run noisy;
  EXPECT_EQ(noisy.said({"p.uptime", allowed_in_noise}),
            "# nothing of it is compared between nodes\n"
            "# left out: 1 fact not compared between nodes; --all shows "
            "them\n");
}

// Each node has its own number: only who is far from the median is named.
TEST(write_differences, does_not_tell_numbers_apart_as_text) {
  noisy_run noisy;
  distribution of;
  of.fact = "p.tu*";
  of.provider = "p";
  of.class_name = "A";
  of.median = 100;
  of.values = {100, 100, 101, 150};
  of.outliers = {{"n4", "150", "", 150, 30, 50}};
  noisy.judged.distributions = {of};
  const auto as_numbers = [](const fact_column&) {
    allowance result;
    result.how = compared::as_numbers;
    return result;
  };
  EXPECT_EQ(noisy.said({"p.tuned", as_numbers}),
            "# p.tu*: numbers, median 100 of 4 nodes of class A\n"
            "! n4=150 (+50.0 %)\n");
}

TEST(write_differences, tells_of_numbers_what_is_far_from_the_median) {
  judgement judged = example_judgement();
  run_data run = example_run();
  distribution of;
  of.fact = "bios.fan";
  of.provider = run.facts.front().provider;
  of.class_name = "A";
  of.unit = "rpm";
  of.median = 8000;
  of.values = {10, 8000, 8000};
  of.outliers = {{"node009", "10 rpm", "", 10, -30, -99.9}};
  judged.distributions = {of};
  std::ostringstream out;
  EXPECT_TRUE(write_differences(run, judged, {of.provider, {}}, {}, out));
  EXPECT_TRUE(holds(out.str(),
                    "# bios.fan: numbers, median 8000 rpm of 3 nodes of class "
                    "A\n! node009=10 rpm (-99.9 %)\n"))
      << out.str();
}

}  // namespace
}  // namespace zelk::check
