#include "src/collect/src/accumulate/event_text.h"

#include <limits>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

TEST(run_event, has_the_number) {
  EXPECT_EQ(run_event(412), R"({"event":"run","run":412})");
}

TEST(result_event, has_what_tells_results_apart) {
  provider_result record = a_result("node1", 1, "four");
  record.header.duration = 1.5;
  record.header.exit_status = -9;
  EXPECT_EQ(
      result_event(record),
      R"({"event":"result","node":"node1","provider":"memory",)"
      R"("option":"None","hostname":"node1","exit_status":-9,"duration":1.5,"bytes":4})");
  std::strcpy(record.header.host_arg, "login");
  EXPECT_NE(result_event(record).find(R"("node":"login")"), std::string::npos);
}

// Whatever a peer sends, it is one line and JSON.
TEST(result_event, is_ascii_whatever_the_names_hold) {
  provider_result record = a_result("node1", 1);
  std::fill_n(record.header.name, sizeof record.header.name, '\xff');
  std::strcpy(record.header.host_arg, "a\n\"\x1b[2J\x7f\xc3\xa9");
  record.header.duration = std::numeric_limits<double>::quiet_NaN();
  const std::string line = result_event(record);
  for (const char c : line)
    EXPECT_TRUE(c >= ' ' && c <= '\x7f') << line;
  EXPECT_NE(line.find(R"("duration":null)"), std::string::npos) << line;
}

TEST(refused_event, names_the_peer) {
  EXPECT_EQ(refused_event("10.1.2.3:4", "garbage"),
            R"({"event":"refused","peer":"10.1.2.3:4","reason":"garbage"})");
}

TEST(closed_event, says_what_is_missing) {
  run_report report;
  report.number = 7;
  run ended;
  ended.state = run_state::partial;
  ended.results = 9;
  ended.nodes = 3;
  report.ended = ended;
  report.missing = {{{"n4", "memory", "None"}, "ssh: refused"}};
  EXPECT_EQ(
      closed_event(report),
      R"({"event":"closed","run":7,"state":"partial","results":9,)"
      R"("nodes":3,"missing_count":1,"missing":[{"node":"n4",)"
      R"("provider":"memory","option":"None","reason":"ssh: refused"}]})");
}

TEST(closed_event, names_a_missing_result_once_with_its_reason) {
  run_report report;
  report.missing = {{{"n1", "", ""}, "ssh: refused"},
                    {{"n1", "cpu", ""}, ""},
                    {{"n1", "memory", ""}, "timed out"},
                    {{"n2", "", ""}, "silent"}};
  const std::string line = closed_event(report);
  EXPECT_NE(line.find(R"("missing_count":3,)"
                      R"("missing":[{"node":"n1","provider":"cpu","option":"",)"
                      R"("reason":"ssh: refused"},)"
                      R"({"node":"n1","provider":"memory","option":"",)"
                      R"("reason":"timed out"},)"
                      R"({"node":"n2","provider":"","option":"",)"
                      R"("reason":"silent"}]})"),
            std::string::npos)
      << line;
}

TEST(closed_event, is_bounded_and_honest) {
  run_report report;
  report.missing.assign(100'000, {{"node", "", ""}, "silent"});
  const std::string line = closed_event(report);
  EXPECT_NE(line.find(R"("missing_count":100000)"), std::string::npos);
  EXPECT_LT(line.size(), 100'000U);
  EXPECT_NE(line.find(R"("state":"unknown")"), std::string::npos);
}

}  // namespace
}  // namespace zelk::accumulate
