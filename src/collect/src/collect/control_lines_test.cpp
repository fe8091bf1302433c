#include "src/collect/src/collect/control_lines.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using kind = accumulator_event::kind;

TEST(control_lines, say_what_the_run_is) {
  EXPECT_EQ(run_line("nightly", "", "zelk-collect\n@nightly"),
            "{\"run\":{\"command_line\":\"zelk-collect\\n@nightly\",\"label\":"
            "\"nightly\"}}\n");
  EXPECT_EQ(close_line("auto"), "{\"close\":\"auto\"}\n");
}

TEST(control_lines, are_short_however_much_is_expected) {
  std::vector<expected_result> expected;
  expected.reserve(2500);
  for (int i = 0; i < 2500; ++i)
    expected.push_back({"n" + std::to_string(i), "memory", "None"});
  const std::string text = expect_lines(expected);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  EXPECT_EQ(expect_lines({}), "");
}

TEST(control_lines, give_each_missing_result_its_reason) {
  const auto line = nlohmann::json::parse(
      missing_lines({{{"n1", "", ""}, "ssh: \xff\n", shortfall::no_answer}}));
  EXPECT_EQ(line["missing"][0]["node"], "n1");
  EXPECT_EQ(line["missing"][0]["provider"], "");
  EXPECT_NE(line["missing"][0]["reason"], "");
}

TEST(read_event, understands_each_kind) {
  const auto result = read_event(
      R"({"event":"result","node":"n1","provider":"memory","option":"None",)"
      R"("hostname":"h1","exit_status":3,"duration":1.5,"bytes":345})");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->what, kind::result);
  EXPECT_EQ(result->result, (expected_result{"n1", "memory", "None"}));
  EXPECT_EQ(result->host_name, "h1");
  EXPECT_EQ(result->exit_status, 3);
  EXPECT_DOUBLE_EQ(result->duration, 1.5);
  EXPECT_EQ(result->bytes, 345);

  EXPECT_EQ(read_event(R"({"event":"run","run":412})")->run, 412);
  EXPECT_EQ(read_event(R"({"event":"refused","peer":"p","reason":"r"})")->peer,
            "p");
  const auto closed =
      read_event(R"({"event":"closed","run":412,"state":"partial","results":7,)"
                 R"("nodes":3,"missing":[]})");
  EXPECT_EQ(closed->what, kind::closed);
  EXPECT_EQ(closed->state, "partial");
  EXPECT_EQ(closed->results, 7);
}

TEST(read_event, passes_over_what_a_later_version_may_say) {
  EXPECT_EQ(read_event(R"({"event":"hello","more":[1]})")->what, kind::other);
}

TEST(read_event, refuses_what_is_no_event) {
  for (const char* line : {"", "[]", "1", "{", "null", "READY x",
                           R"({"event":7})", R"({"event":"run","run":"x"})"})
    EXPECT_FALSE(read_event(line).has_value()) << line;
}

TEST(read_event, refuses_numbers_that_its_integers_cannot_hold) {
  for (const char* line :
       {R"({"event":"run","run":3466666666666666666666666666666666666665})",
        R"({"event":"run","run":9223372036854775808})",
        R"({"event":"run","run":1.5})", R"({"event":"result","bytes":-1e60})",
        R"({"event":"result","exit_status":2147483648})",
        R"({"event":"result","exit_status":-2147483649})",
        R"({"event":"closed","results":18446744073709551616})"})
    EXPECT_FALSE(read_event(line).has_value()) << line;
  EXPECT_EQ(read_event(R"({"event":"run","run":9223372036854775807})")->run,
            INT64_MAX);
  EXPECT_EQ(read_event(R"({"event":"result","exit_status":-2147483648})")
                ->exit_status,
            INT32_MIN);
}

}  // namespace
}  // namespace zelk::collect
