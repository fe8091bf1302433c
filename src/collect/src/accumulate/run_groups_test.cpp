#include "src/collect/src/accumulate/run_groups.h"

#include <fcntl.h>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/accumulate/test_intake.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {
namespace {

constexpr std::int64_t noon = 1'760'000'000;

struct run_groups_test : public ::testing::Test {
  datastore::scratch place;
  util::unique_fd fd{::open(place.path().c_str(), O_RDONLY | O_DIRECTORY)};
  datastore::database base = open_datastore(place.file("zelk.db"));
  run_request request;

  std::int64_t run_of(run_groups& groups, std::int64_t time,
                      const std::string& label = "") {
    return groups.of(time, label, base, fd.get()).run;
  }
};

TEST_F(run_groups_test, parts_times_at_gaps_of_ten_minutes) {
  run_groups groups(request);
  for (const std::int64_t time : {0, 500, 1100, 5000, 5100})
    groups.add(noon + time, "");
  ASSERT_EQ(groups.groups().size(), 2U);
  const std::int64_t first = run_of(groups, noon + 500);
  EXPECT_EQ(run_of(groups, noon), first);
  EXPECT_EQ(run_of(groups, noon + 1100), first);
  EXPECT_NE(run_of(groups, noon + 5000), first);
  // Not in any name, but near.
  EXPECT_EQ(run_of(groups, noon + 1700), first);
  EXPECT_EQ(list_runs(base).size(), 2U);
}

// Files come in any order: what lies between two groups makes them one.
TEST_F(run_groups_test, joins_groups_before_they_have_runs) {
  run_groups groups(request);
  for (const std::int64_t time : {0, 1000, 2000, 1500, 500})
    groups.add(noon + time, "");
  EXPECT_EQ(groups.groups().size(), 1U);
  EXPECT_EQ(run_of(groups, noon), run_of(groups, noon + 2000));
}

TEST_F(run_groups_test, keeps_what_has_one_label_together) {
  run_groups groups(request);
  const std::int64_t nightly = run_of(groups, noon, "nightly");
  EXPECT_EQ(run_of(groups, noon + 100'000, "nightly"), nightly);
  EXPECT_NE(run_of(groups, noon, ""), nightly);
  EXPECT_NE(run_of(groups, noon, "weekly"), nightly);
  EXPECT_EQ(find_run(base, nightly)->label, "nightly");
}

// A directory that is watched for days has the same label every night.
TEST_F(run_groups_test, parts_a_label_at_gaps_once_its_run_is_closed) {
  run_groups groups(request);
  const std::int64_t first = run_of(groups, noon, "nightly");
  groups.close(base);
  EXPECT_EQ(run_of(groups, noon + 500, "nightly"), first);
  const std::int64_t second = run_of(groups, noon + 86'400, "nightly");
  EXPECT_NE(second, first);
  EXPECT_EQ(run_of(groups, noon + 90'000, "nightly"), second);
  groups.close(base);
  EXPECT_EQ(list_runs(base).size(), 2U);
}

// An interrupted scan is finished by the next one, and a second scan beside the
// first one fills the same run.
TEST_F(run_groups_test, uses_the_run_of_an_earlier_scan_again) {
  run_groups first(request);
  first.add(noon + 900, "");
  first.add(noon + 300, "");
  const std::int64_t number = run_of(first, noon + 300);
  run_groups beside(request);
  EXPECT_EQ(run_of(beside, noon + 900), number);
  first.close(base);
  run_groups later(request);
  EXPECT_EQ(run_of(later, noon + 1400), number);
  EXPECT_NE(run_of(later, noon + 9000), number);
  EXPECT_NE(run_of(later, noon - 9000), number);
}

// A watch never ends: what it took in before is over when a gap follows.
TEST_F(run_groups_test, parts_one_label_at_a_gap_from_what_was_there_before) {
  run_groups groups(request);
  const std::int64_t first = run_of(groups, noon, "nightly");
  groups.part(base);
  EXPECT_EQ(run_of(groups, noon + 500, "nightly"), first);
  groups.part(base);
  EXPECT_EQ(find_run(base, first)->state, run_state::running);
  const std::int64_t second = run_of(groups, noon + 2000, "nightly");
  EXPECT_NE(second, first);
  EXPECT_EQ(run_of(groups, noon + 9000, "nightly"), second);
  groups.part(base);
  EXPECT_EQ(find_run(base, first)->state, run_state::complete);
  EXPECT_EQ(find_run(base, second)->state, run_state::running);
}

TEST_F(run_groups_test, does_not_use_runs_of_others) {
  run wanted;
  wanted.started_usec = noon * 1'000'000;
  const std::int64_t other = create_run(base, wanted);
  run_groups groups(request);
  EXPECT_NE(run_of(groups, noon), other);
}

TEST_F(run_groups_test, closes_runs_with_the_times_of_their_results) {
  run_groups groups(request);
  const std::int64_t number = run_of(groups, noon);
  run_of(groups, noon + 360);
  groups.close(base);
  const run closed = *find_run(base, number);
  EXPECT_EQ(closed.state, run_state::complete);
  EXPECT_EQ(closed.started_usec, noon * 1'000'000);
  EXPECT_EQ(closed.ended_usec, (noon + 360) * 1'000'000);
}

TEST_F(run_groups_test, says_what_is_missing_of_what_is_expected) {
  ASSERT_EQ(read_expectation("node[1-2]", {}, request), "");
  run_groups groups(request);
  const std::int64_t number = run_of(groups, noon);
  groups.close(base);
  EXPECT_EQ(find_run(base, number)->state, run_state::partial);
  EXPECT_EQ(missing_results(base, number).size(), 2U);
}

TEST(note_of_times, can_be_read_back) {
  std::int64_t begin = 0, end = 0;
  const std::string note = note_of_times(noon, noon + 360);
  EXPECT_EQ(note,
            "results of 2025-10-09T08:53:20Z to 2025-10-09T08:59:20Z, taken in "
            "by scan");
  ASSERT_TRUE(times_of_note(note, begin, end));
  EXPECT_EQ(begin, noon);
  EXPECT_EQ(end, noon + 360);
  for (const char* other :
       {"", "results of ", "results of yesterday, taken in by scan",
        "results of 2025-10-09T08:53:20Z to 2025-13-39T08:59:20Z, taken in by "
        "scan"})
    EXPECT_FALSE(times_of_note(other, begin, end)) << other;
}

}  // namespace
}  // namespace zelk::accumulate
