#include "src/collect/src/collect/run_summary.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

std::vector<std::string> nodes(int first, int last) {
  std::vector<std::string> names;
  for (int i = first; i <= last; ++i)
    names.push_back(fmt::format("node{:03}", i));
  return names;
}

run_summary example() {
  run_summary made;
  made.received = 1215;
  made.expected = 1233;
  made.answering = 134;
  made.nodes = 136;
  made.seconds = 312;
  made.run = 412;
  made.label = "nightly";
  made.state = "partial";
  made.rows = {
      {shortfall::no_answer,
       "ssh: connect to host: Connection timed out",
       {},
       {"node037", "node112"}},
      {shortfall::timed_out,
       "stopped after 300 s (limit 300 s from description)",
       {"stream"},
       {"node055"}},
      {shortfall::not_required,
       "runs only on role enhanced",
       {"gpu"},
       nodes(1, 128)},
  };
  made.next = {{"zelk-check --run 412", "what is wrong"},
               {"zelk-collect @nightly --into 412 -w node[037,112]",
                "fill the gaps into the same run"}};
  made.exit_status = 1;
  return made;
}

TEST(text_of, looks_like_this) {
  EXPECT_EQ(
      text_of(example()),
      R"(Collected 1215 of 1233 results from 134 of 136 nodes in 5 min 12 s   (run 412, label nightly)

  no answer     2  node[037,112]     ssh: connect to host: Connection timed out
  timed out     1  node055           stream: stopped after 300 s (limit 300 s from description)
  failed        0
  not required  128  node[001-128]   gpu: runs only on role enhanced

Next:
  zelk-check --run 412                             what is wrong
  zelk-collect @nightly --into 412 -w node[037,112]      fill the gaps into the same run
)");
}

// That nothing was silent is said, not left to be concluded.
TEST(text_of, tells_the_three_kinds_when_all_is_well) {
  run_summary made;
  made.received = made.expected = 12;
  made.answering = made.nodes = 1;
  made.seconds = 2.34;
  made.run = 1;
  EXPECT_EQ(text_of(made),
            "Collected 12 of 12 results from 1 of 1 nodes in 2.3 s   (run 1)\n"
            "\n"
            "  no answer     0\n"
            "  timed out     0\n"
            "  failed        0\n");
}

TEST(text_of, says_that_a_run_was_interrupted) {
  run_summary made = example();
  made.label.clear();
  made.state = "interrupted";
  EXPECT_NE(text_of(made).find("(run 412, interrupted)"), std::string::npos);
  made.run.reset();
  EXPECT_EQ(text_of(made).find("(run"), std::string::npos);
}

// One set of names that do not fold must not push all reasons off the screen.
TEST(text_of, aligns_only_what_is_not_too_wide) {
  run_summary made;
  std::vector<std::string> odd;
  for (const char* name : {"alpha", "bravo", "charlie", "delta", "echo",
                           "foxtrot", "golf", "hotel", "india"})
    odd.emplace_back(name);
  made.rows = {{shortfall::no_answer, "x", {}, odd},
               {shortfall::failed, "y", {}, {"n1"}}};
  const std::string text = text_of(made);
  EXPECT_NE(text.find("india   x\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  failed        1  n1   y\n"), std::string::npos)
      << text;
}

TEST(json_of, is_one_document_with_a_schema) {
  run_summary made = example();
  made.missing = {{{"node037", "", ""}, "silent", shortfall::no_answer}};
  const auto document = nlohmann::json::parse(json_of(made));
  EXPECT_EQ(document["schema"], "zelkara.collect/1");
  EXPECT_EQ(document["run"]["id"], 412);
  EXPECT_EQ(document["run"]["received"], 1215);
  EXPECT_EQ(document["shortfalls"][0]["nodeset"], "node[037,112]");
  EXPECT_EQ(document["shortfalls"][0]["nodes"].size(), 2u);
  EXPECT_EQ(document["shortfalls"].size(), 3u);
  EXPECT_EQ(document["missing"][0]["kind"], "no answer");
  EXPECT_EQ(document["next"][0]["command"], "zelk-check --run 412");
  EXPECT_EQ(document["exit_status"], 1);
}

TEST(json_of, is_valid_whatever_a_node_says) {
  run_summary made;
  made.rows = {{shortfall::failed, "\xff\"\n\x01", {}, {"n1"}}};
  EXPECT_TRUE(nlohmann::json::accept(json_of(made)));
  EXPECT_TRUE(nlohmann::json::parse(json_of(made))["run"]["id"].is_null());
}

TEST(duration_text, is_what_people_would_say) {
  const std::pair<double, const char*> cases[] = {
      {0, "0.0 s"},          {0.34, "0.3 s"},     {9.96, "10 s"},
      {59.4, "59 s"},        {59.7, "1 min 0 s"}, {312, "5 min 12 s"},
      {3599.9, "1 h 0 min"}, {7384, "2 h 3 min"},
  };
  for (const auto& [seconds, text] : cases)
    EXPECT_EQ(duration_text(seconds), text);
}

TEST(utc_text, is_rfc_3339) {
  EXPECT_EQ(utc_text(1763690712'345678), "2025-11-21T02:05:12Z");
}

}  // namespace
}  // namespace zelk::collect
