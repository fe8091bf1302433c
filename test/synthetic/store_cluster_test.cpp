#include "test/synthetic/store_cluster.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/runs.h"
#include "src/common/datastore/sqlite.h"
#include "src/common/datastore/test_scratch.h"

namespace zelk::synthetic {
namespace {

using datastore::database;
using datastore::open_mode;

store_plan plan_in(const std::string& path, std::size_t runs) {
  store_plan how;
  how.path = path;
  how.descriptions = ZELK_SOURCE_DIR "/etc/providers";
  how.schema = ZELK_SOURCE_DIR "/share/zelkara/description.xsd";
  how.runs = runs;
  return how;
}

const cluster& small_cluster() {
  static const cluster made({.nodes = 32}, ZELK_SOURCE_DIR "/test/synthetic");
  return made;
}

// What is stored, without what names the moment of storing.
std::string content_of(const std::string& path) {
  database base(path, open_mode::read_only);
  return base.text(
      "SELECT group_concat(hex(STDOUT) || STDERR || Exit_status || Hostname ||"
      " Provider || Unique_timestamp || Duration)"
      " FROM (SELECT * FROM v_provider_result ORDER BY rowid)");
}

TEST(store, makes_runs_that_are_complete) {
  const datastore::scratch folder;
  const stored_runs made =
      store(small_cluster(), {}, plan_in(folder.file("zelk.db"), 3));
  EXPECT_EQ(made.numbers, (std::vector<std::int64_t>{1, 2, 3}));
  database base(folder.file("zelk.db"), open_mode::read_only);
  for (const std::int64_t number : made.numbers) {
    const auto run = accumulate::find_run(base, number);
    ASSERT_TRUE(run);
    EXPECT_EQ(run->state, accumulate::run_state::complete);
    EXPECT_EQ(run->nodes_expected, 32);
    EXPECT_EQ(run->nodes_answered, 32);
    EXPECT_EQ(run->results, run->results_expected);
    EXPECT_GE(run->results, 32 * 45);
    EXPECT_GT(run->ended_usec, run->started_usec);
  }
}

TEST(store, says_what_did_not_come_and_why) {
  const datastore::scratch folder;
  const fault* silent = nullptr;
  for (const fault& each : all_faults()) {
    if (each.name == "silent") silent = &each;
  }
  const stored_runs made = store(small_cluster(), {{silent, {5}}},
                                 plan_in(folder.file("zelk.db"), 2));
  database base(folder.file("zelk.db"), open_mode::read_only);
  const auto before = accumulate::find_run(base, made.numbers.front());
  const auto now = accumulate::find_run(base, made.numbers.back());
  ASSERT_TRUE(before && now);
  EXPECT_EQ(before->state, accumulate::run_state::complete);
  EXPECT_EQ(now->state, accumulate::run_state::partial);
  const auto missing = accumulate::missing_results(base, now->number);
  ASSERT_FALSE(missing.empty());
  for (const accumulate::missing_result& each : missing) {
    EXPECT_EQ(each.what.node, "node0006");
    EXPECT_EQ(each.reason,
              "ssh: connect to host node0006 port 22: No route to host");
  }
}

TEST(store, is_the_same_for_the_same_seed) {
  const datastore::scratch folder;
  store(small_cluster(), {}, plan_in(folder.file("one.db"), 1));
  store(small_cluster(), {}, plan_in(folder.file("other.db"), 1));
  const std::string one = content_of(folder.file("one.db"));
  EXPECT_GT(one.size(), 100'000U);
  EXPECT_EQ(content_of(folder.file("other.db")), one);
}

TEST(store, repeats_the_first_run_in_a_long_history_when_it_is_told_to) {
  const datastore::scratch folder;
  store_plan how = plan_in(folder.file("zelk.db"), 6);
  how.repeated_percent = 100;
  store(small_cluster(), {}, how);
  database base(how.path, open_mode::read_only);
  const auto outputs = [&](const std::string& run) {
    return base.integer(
        "SELECT count(DISTINCT stdout_hash) FROM v_result WHERE run IN (" +
        run + ")");
  };
  EXPECT_EQ(outputs("1,2,3,4"), outputs("1"));
  EXPECT_GT(outputs("1,5"), outputs("1"));
  EXPECT_GT(outputs("5,6"), outputs("5"));
}

}  // namespace
}  // namespace zelk::synthetic
