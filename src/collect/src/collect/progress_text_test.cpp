#include "src/collect/src/collect/progress_text.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using laggard = ledger::laggard;

progress_facts facts(std::size_t received, std::size_t expected,
                     double seconds) {
  return {received, expected, 134, 136, seconds, {}};
}

TEST(meter_text, looks_like_this) {
  progress_facts now = facts(912, 1233, 130);
  now.waiting =
      laggard{"node055", "stream", std::chrono::duration<double>(131)};
  EXPECT_EQ(meter_text(now),
            " [##################------]  74%  912/1233 results  134/136 nodes "
            "answering  02:10  waiting: node055 stream 131s");
}

TEST(meter_text, says_100_only_when_all_is_there) {
  EXPECT_NE(meter_text(facts(9999, 10000, 1)).find(" 99%"), std::string::npos);
  EXPECT_NE(meter_text(facts(1000, 1000, 1)).find("100%"), std::string::npos);
  EXPECT_NE(meter_text(facts(0, 0, 1)).find("100%"), std::string::npos);
}

TEST(meter_text, names_nobody_who_is_quick) {
  progress_facts now = facts(1, 2, 3661);
  now.waiting = laggard{"n1", "memory", std::chrono::duration<double>(1)};
  EXPECT_EQ(meter_text(now).find("waiting"), std::string::npos);
  EXPECT_NE(meter_text(now).find("1:01:01"), std::string::npos);
}

TEST(plain_text, looks_like_this) {
  EXPECT_EQ(plain_text(facts(617, 1233, 71)),
            "zelk-collect: 50% 617/1233 results, 134/136 nodes, 71 s");
}

TEST(line_schedule, says_nothing_of_a_short_collection) {
  line_schedule schedule;
  for (std::size_t i = 0; i <= 100; ++i)
    EXPECT_FALSE(schedule.due(facts(i, 100, 0.5 * static_cast<double>(i))));
}

TEST(line_schedule, tells_each_quarter_of_a_long_one_once) {
  line_schedule schedule;
  std::vector<std::size_t> told;
  for (std::size_t second = 0; second <= 4000; ++second)
    if (schedule.due(facts(second, 4000, static_cast<double>(second))))
      told.push_back(second);
  EXPECT_EQ(told, (std::vector<std::size_t>{1000, 2000, 3000, 4000}));
}

TEST(line_schedule, tells_at_most_one_line_a_minute) {
  line_schedule schedule;
  EXPECT_TRUE(schedule.due(facts(30, 100, 61)));
  EXPECT_FALSE(schedule.due(facts(60, 100, 70)));
  EXPECT_TRUE(schedule.due(facts(60, 100, 121)));
  EXPECT_FALSE(schedule.due(facts(60, 100, 1000)));
}

}  // namespace
}  // namespace zelk::collect
