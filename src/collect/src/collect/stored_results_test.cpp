#include "src/collect/src/collect/stored_results.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

TEST(stored_results, are_asked_of_the_documented_view) {
  const auto words = stored_results_command("/bin/zelk-db", "sqlite:/a.db", 7);
  EXPECT_EQ(words.front(), "/bin/zelk-db");
  EXPECT_EQ(words[6],
            "SELECT node, provider, option_id, exit_status, duration FROM "
            "v_result WHERE run = 7");
  EXPECT_EQ(words.back(), "sqlite:/a.db");
  EXPECT_EQ(stored_results_command("x", "", 7).size(), 7u);
}

TEST(read_stored, takes_a_row) {
  const auto row =
      read_stored(R"({"node":"n1","provider":"memory","option_id":"None",)"
                  R"("exit_status":3,"duration":0.5})");
  ASSERT_TRUE(row.has_value());
  EXPECT_EQ(row->what, (expected_result{"n1", "memory", "None"}));
  EXPECT_EQ(row->exit_status, 3);
  EXPECT_DOUBLE_EQ(row->duration, 0.5);
}

TEST(read_stored, refuses_what_is_none) {
  for (const char* line : {"", "{}", "[]",
                           R"({"node":1,"provider":"m","option_id":"o",)"
                           R"("exit_status":3,"duration":0.5})"})
    EXPECT_FALSE(read_stored(line).has_value()) << line;
}

}  // namespace
}  // namespace zelk::collect
