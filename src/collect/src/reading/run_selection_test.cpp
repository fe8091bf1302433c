#include "src/collect/src/reading/run_selection.h"

#include <ctime>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::reading {
namespace {

// Runs 1 to 4, of 2025-10-09 (twice), 10-10 and 10-12 in UTC.
class run_choice : public testing::Test {
 protected:
  run_choice() : path_(folder_.file("zelk.db")) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    add_run(path_, 0, "nightly");
    add_run(path_, 0, "nightly");
    add_run(path_, 1);
    add_run(path_, 3, "before upgrade");
  }
  ~run_choice() override {
    ::unsetenv("TZ");
    ::tzset();
  }

  std::int64_t one(std::string_view text) {
    datastore::database base = open_to_read(place_of(path_));
    return select_run(base, text).number;
  }

  std::vector<std::int64_t> several(const std::vector<std::string>& texts) {
    datastore::database base = open_to_read(place_of(path_));
    std::vector<std::int64_t> numbers;
    for (const accumulate::run& each : select_runs(base, texts))
      numbers.push_back(each.number);
    return numbers;
  }

  std::string why_not(const std::string& text) {
    return complaint_of([&] { several({text}); });
  }

  using list = std::vector<std::int64_t>;
  datastore::scratch folder_;
  std::string path_;
};

TEST_F(run_choice, knows_each_form) {
  EXPECT_EQ(one("3"), 3);
  EXPECT_EQ(one("latest"), 4);
  EXPECT_EQ(one("latest~2"), 2);
  EXPECT_EQ(one("label:nightly"), 2);
  EXPECT_EQ(one("label:before upgrade"), 4);
  EXPECT_EQ(one("2025-10-09"), 2);
}

TEST_F(run_choice, knows_the_one_that_is_marked) {
  EXPECT_EQ(why_not("baseline"),
            "No run is marked as the baseline; 'zelk-db baseline set RUN' "
            "marks one");
  {
    datastore::database base = open_to_write(place_of(path_));
    ASSERT_TRUE(accumulate::mark_baseline(base, {3, "", "ada", 1}));
  }
  EXPECT_EQ(one("baseline"), 3);
  EXPECT_EQ(several({"baseline", "1"}), (list{1, 3}));
  EXPECT_EQ(why_not("basline"),
            "'basline' is not a run; did you mean 'baseline'?");
}

TEST_F(run_choice, knows_ranges_with_both_ends) {
  EXPECT_EQ(several({"2..3"}), (list{2, 3}));
  EXPECT_EQ(several({"2025-10-09..2025-10-10"}), (list{1, 2, 3}));
  EXPECT_EQ(several({"2025-10-09..now"}), (list{1, 2, 3, 4}));
  EXPECT_EQ(several({"3", "latest", "1..3"}), (list{1, 2, 3, 4}));
}

TEST_F(run_choice, names_what_is_near_when_there_is_no_such_run) {
  EXPECT_EQ(why_not("7"),
            "There is no run '7': the datastore holds 4 runs, 1 to 4");
  EXPECT_EQ(why_not("latest~9"),
            "There is no run 'latest~9': the datastore holds 4 runs, 1 to 4");
  EXPECT_EQ(why_not("label:nihgtly"),
            "There is no run 'label:nihgtly': did you mean 'label:nightly'?");
  EXPECT_EQ(why_not("label:zzzzzz"),
            "There is no run 'label:zzzzzz': labels are before upgrade, "
            "nightly");
  EXPECT_EQ(why_not("2025-10-11"),
            "There is no run '2025-10-11': before it is run 3 (2025-10-10 "
            "08:53), behind it run 4 (2025-10-12 08:53, label 'before "
            "upgrade')");
  EXPECT_EQ(why_not("nightly"),
            "'nightly' is not a run; did you mean 'label:nightly'?");
  EXPECT_EQ(why_not("lates"), "'lates' is not a run; did you mean 'latest'?");
  EXPECT_EQ(why_not("8..9"),
            "There is no run in '8..9': the datastore holds 4 runs, 1 to 4");
}

TEST_F(run_choice, refuses_what_is_no_run) {
  for (const char* text :
       {"", "-1", "1.5", "latest~", "latest~x", "2025-13-01", "3..1", "..",
        "1..x", "now-7", "now..2025-10-09", "99999999999999999999",
        "1; DROP TABLE run", "label:"})
    EXPECT_THROW(several({text}), refusal) << text;
  EXPECT_THROW(one("1..2"), refusal);
  EXPECT_THROW(one("now-7d"), refusal);
  EXPECT_EQ(why_not("\x1b[2J"),
            "'\\x1b[2J' is not a run: a number, latest, latest~N, label:NAME, "
            "baseline or a day such as 2025-11-20");
}

TEST(select_run, says_that_there_is_none_at_all) {
  const datastore::scratch folder;
  accumulate::open_datastore(folder.file("zelk.db"));
  datastore::database base = open_to_read(place_of(folder.file("zelk.db")));
  EXPECT_EQ(complaint_of([&] { select_run(base, "latest"); }),
            "There is no run 'latest': the datastore holds no run");
  EXPECT_EQ(complaint_of([&] { select_run(base, "label:x"); }),
            "There is no run 'label:x': no run has a label");
}

}  // namespace
}  // namespace zelk::reading
