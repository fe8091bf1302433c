#include "src/collect/src/accumulate/control_order.h"

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

using kind = control_order::kind;

control_order order_of(const std::string& line) {
  const control_line read = read_control_line(line);
  EXPECT_EQ(read.problem, "") << line;
  return read.order.value_or(control_order{});
}

TEST(read_control_line, knows_a_run) {
  const control_order order =
      order_of(R"({"run":{"label":"a","note":"ü","command_line":"x -y"}})");
  EXPECT_EQ(order.what, kind::run);
  EXPECT_EQ(order.label, "a");
  EXPECT_EQ(order.note, "ü");
  EXPECT_EQ(order.command_line, "x -y");
  EXPECT_EQ(order_of(R"({"run":{}})").label, "");
  EXPECT_EQ(order_of(R"({"run":{"colour":1},"since":2})").label, "");
}

TEST(read_control_line, knows_what_is_expected_and_what_is_missing) {
  control_order order = order_of(
      R"({"expect":[{"node":"n1","provider":"memory","option":"None"},)"
      R"({"node":"n2"}]})");
  EXPECT_EQ(order.what, kind::expect);
  ASSERT_EQ(order.results.size(), 2U);
  EXPECT_EQ(order.results[0].what.node, "n1");
  EXPECT_EQ(order.results[0].what.provider, "memory");
  EXPECT_EQ(order.results[0].what.option_id, "None");
  EXPECT_EQ(order.results[1].what.provider, "");
  order = order_of(R"({"missing":[{"node":"n1","provider":"","option":"",)"
                   R"("reason":"ssh: connection refused"}]})");
  EXPECT_EQ(order.what, kind::missing);
  ASSERT_EQ(order.results.size(), 1U);
  EXPECT_EQ(order.results[0].reason, "ssh: connection refused");
  EXPECT_TRUE(order_of(R"({"expect":[]})").results.empty());
}

TEST(read_control_line, knows_how_to_close) {
  EXPECT_EQ(order_of(R"({"close":"auto"})").state, std::nullopt);
  EXPECT_EQ(order_of(R"({"close":"complete"})").state, run_state::complete);
  EXPECT_EQ(order_of(R"({"close":"partial"})").state, run_state::partial);
  EXPECT_EQ(order_of(R"({"close":"interrupted"})").state,
            run_state::interrupted);
}

TEST(read_control_line, says_what_is_wrong) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "not a JSON object"},
      {"nonsense", "not a JSON object"},
      {"{\"close\":\"auto\"", "not a JSON object"},
      {"[1]", "not a JSON object"},
      {std::string("{\"close\"\0:1}", 12), "not a JSON object"},
      {"{\"run\":\"\xff\"}", "not a JSON object"},
      {"{}", "none of run, expect, missing, close"},
      {R"({"colour":"red"})", "none of run, expect, missing, close"},
      {R"({"run":"x"})", "'run' is not an object"},
      {R"({"run":{"label":1}})", "'label' is not text"},
      {R"({"expect":{}})", "no list"},
      {R"({"expect":[1]})", "an entry is not an object"},
      {R"({"expect":[{}]})", "no 'node'"},
      {R"({"expect":[{"node":""}]})", "no 'node'"},
      {R"({"missing":[{"node":"n","reason":null}]})", "'reason' is not text"},
      {R"({"close":"running"})", "none of complete"},
      {R"({"close":1})", "none of complete"},
      {R"({"run":{"label":[[[1]]]}})", "nested too deeply"},
      {std::string(1'000'000, '['), "nested too deeply"},
      {"{\"run\":" + std::string(1'000'000, '{'), "not a JSON object"},
  };
  for (const auto& [line, problem] : cases) {
    SCOPED_TRACE(line.substr(0, 60));
    const control_line read = read_control_line(line);
    EXPECT_FALSE(read.order);
    EXPECT_NE(read.problem.find(problem), std::string::npos) << read.problem;
  }
}

}  // namespace
}  // namespace zelk::accumulate
