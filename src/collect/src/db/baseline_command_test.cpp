#include "src/collect/src/db/baseline_command.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/db/prune.h"
#include "src/collect/src/db/run_list.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::db {
namespace {

class baseline_of_commands : public testing::Test {
 protected:
  baseline_of_commands()
      : path_(folder_.file("zelk.db")), here_(reading::place_of(path_)) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    for (int i = 1; i <= 3; ++i)
      reading::add_run(path_, i);
  }
  ~baseline_of_commands() override {
    ::unsetenv("TZ");
    ::tzset();
  }

  template <typename Command>
  std::string printed(const Command& command) {
    const reading::captured_output output;
    status_ = command();
    said_ = output.error();
    return output.out();
  }
  std::string set(const std::string& run, const std::string& name = "") {
    baseline_options options;
    options.what = baseline_action::set;
    options.run = run;
    options.name = name;
    options.who = "ada";
    return printed([&] { return manage_baseline(here_, options); });
  }
  std::string list(bool json = false) {
    baseline_options options;
    options.json = json;
    return printed([&] { return manage_baseline(here_, options); });
  }
  std::string clear() {
    baseline_options options;
    options.what = baseline_action::clear;
    return printed([&] { return manage_baseline(here_, options); });
  }
  std::string prune(prune_options options) {
    options.yes = true;
    return printed([&] { return prune_runs(here_, options); });
  }
  std::string left() {
    return std::to_string(
        reading::number_in(path_, "SELECT sum(1 << run) FROM v_run"));
  }

  datastore::scratch folder_;
  std::string path_;
  reading::place here_;
  int status_ = -1;
  std::string said_;
};

TEST_F(baseline_of_commands, is_set_shown_and_cleared) {
  EXPECT_EQ(list(), "no run is marked\n");
  EXPECT_EQ(set("2", "golden"), "baseline: run 2 (2025-10-11 08:53)\n");
  EXPECT_EQ(said_,
            "zelk-db: run 2 (2025-10-11 08:53) is partial: what it lacks "
            "cannot be compared with\n");
  EXPECT_EQ(status_, 0);
  const std::string table = list();
  EXPECT_NE(table.find("2  2025-10-11 08:53  -      golden  "), table.npos)
      << table;
  EXPECT_NE(table.find("  ada\n"), table.npos) << table;
  const auto json = nlohmann::json::parse(list(true));
  ASSERT_EQ(json.size(), 1U);
  EXPECT_EQ(json[0]["run"], 2);
  EXPECT_EQ(json[0]["name"], "golden");
  EXPECT_EQ(json[0]["who"], "ada");
  EXPECT_EQ(set("latest"),
            "baseline: run 3 (2025-10-12 08:53); before it was run 2\n");
  EXPECT_EQ(set("baseline"), "baseline: run 3 (2025-10-12 08:53)\n");
  EXPECT_EQ(clear(), "run 3 is the baseline no more\n");
  EXPECT_EQ(clear(), "no run was marked\n");
  EXPECT_EQ(list(true), "[]\n");
}

TEST_F(baseline_of_commands, is_a_run_that_has_ended_and_has_results) {
  EXPECT_THROW(set("baseline"), reading::refusal);
  EXPECT_THROW(set("7"), reading::refusal);
  EXPECT_THROW(set("1..2"), reading::refusal);
  {
    datastore::database base = reading::open_to_write(here_);
    accumulate::run wanted;
    wanted.started_usec = reading::first_start;
    accumulate::create_run(base, wanted);
  }
  EXPECT_EQ(reading::complaint_of([&] { set("4"); }),
            "run 4 (2025-10-09 08:53) is running; a baseline is a run that has "
            "ended (one whose process has died is ended by 'zelk-db check "
            "--repair')");
  {
    datastore::database base = reading::open_to_write(here_);
    accumulate::close_run(base, 4);
  }
  EXPECT_EQ(reading::complaint_of([&] { set("4"); }),
            "run 4 (2025-10-09 08:53) has no results to compare with");
  EXPECT_EQ(list(), "no run is marked\n");
}

TEST_F(baseline_of_commands, is_starred_in_the_list_of_runs) {
  set("2", "gol\x1b[2Jden");
  run_list_options options;
  const std::string text = printed([&] { return list_runs(here_, options); });
  EXPECT_NE(text.find("\n *2  2025"), text.npos) << text;
  EXPECT_TRUE(
      text.ends_with("\n* = baseline: 2 (2025-10-11, 'gol\\x1b[2Jden')\n"))
      << text;
  options.json = true;
  const auto runs =
      nlohmann::json::parse(printed([&] { return list_runs(here_, options); }));
  for (const auto& each : runs)
    EXPECT_EQ(each["baseline"], each["run"] == 2) << each;
}

TEST_F(baseline_of_commands, stays_when_old_runs_go) {
  set("1");
  prune_options options;
  options.keep = "1";
  const std::string gone = prune(options);
  EXPECT_EQ(said_,
            "zelk-db: run 1 (2025-10-10 08:53) stays: it is the baseline; "
            "--force removes it all the same, and 'zelk-db baseline clear' "
            "makes it a run like others\n");
  EXPECT_EQ(left(), std::to_string((1 << 1) + (1 << 3)));
  options.keep.clear();
  options.runs = {"1"};
  EXPECT_EQ(prune(options), "nothing to remove\n");
  options.force = true;
  prune(options);
  EXPECT_EQ(left(), std::to_string(1 << 3));
  EXPECT_EQ(list(), "no run is marked\n");
}

TEST_F(baseline_of_commands, that_is_protected_anyway_is_not_talked_about) {
  set("3");
  prune_options options;
  options.keep = "1";
  prune(options);
  EXPECT_EQ(said_, "");
}

TEST_F(baseline_of_commands, of_version_2_is_none_and_cannot_be_set) {
  accumulate::take_back_to_version_2(path_);
  EXPECT_EQ(list(), "no run is marked\n");
  EXPECT_NE(printed([&] { return list_runs(here_, {}); }).find("\n  2  "),
            std::string::npos);
  EXPECT_NE(reading::complaint_of([&] { set("1"); }).find("'zelk-db migrate'"),
            std::string::npos);
}

}  // namespace
}  // namespace zelk::db
