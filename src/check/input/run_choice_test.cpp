#include "src/check/input/run_choice.h"

#include "src/check/input/test_collection.h"
#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/reading/failure.h"

namespace zelk::check {
namespace {

class run_choice_ : public collection {
 protected:
  static std::vector<made_result> of_nodes(int count) {
    std::vector<made_result> results;
    for (int i = 1; i <= count; ++i)
      results.push_back({"n" + std::to_string(i), "memory", "total: 5\n"});
    return results;
  }

  // 0: none.
  std::int64_t baseline_of(std::int64_t number, const std::string& asked = "") {
    datastore::database base = open();
    const auto found =
        choose_baseline(base, *accumulate::find_run(base, number), asked);
    return found ? found->number : 0;
  }

  std::vector<std::int64_t> history_of(std::int64_t number,
                                       const history_budget& budget = {}) {
    datastore::database base = open();
    std::vector<std::int64_t> numbers;
    for (const auto& each :
         choose_history(base, *accumulate::find_run(base, number), budget))
      numbers.push_back(each.number);
    return numbers;
  }
};

TEST_F(run_choice_, baseline_is_the_newest_earlier_run_with_the_same_label) {
  const auto first = add_run(of_nodes(4), {}, "nightly");
  const auto other = add_run(of_nodes(4));
  const auto now = add_run(of_nodes(4), {}, "nightly");
  add_run(of_nodes(4), {}, "nightly");
  EXPECT_EQ(baseline_of(now), first);
  EXPECT_EQ(baseline_of(other), first);
  EXPECT_EQ(baseline_of(first), 0);
  EXPECT_EQ(baseline_of(now, "none"), 0);
  EXPECT_EQ(baseline_of(now, std::to_string(other)), other);
}

TEST_F(run_choice_, baseline_is_not_a_repetition_on_a_few_nodes) {
  const auto whole = add_run(of_nodes(4));
  const auto part = add_run(of_nodes(1));
  const auto now = add_run(of_nodes(4));
  EXPECT_EQ(baseline_of(now), whole);
  EXPECT_EQ(baseline_of(now, std::to_string(part)), part);
}

TEST_F(run_choice_, baseline_is_the_marked_one_first) {
  const auto marked = add_run(of_nodes(1));
  add_run(of_nodes(4));
  const auto now = add_run(of_nodes(4));
  {
    datastore::database base =
        reading::open_to_write({path_, std::chrono::seconds(1)});
    accumulate::mark_baseline(base, {marked, "", "ada", 1});
  }
  EXPECT_EQ(baseline_of(now), marked);
  EXPECT_EQ(baseline_of(now, "baseline"), marked);
  EXPECT_EQ(baseline_of(marked), 0);
}

TEST_F(run_choice_, baseline_is_never_a_later_run_unless_asked_for) {
  const auto first = add_run(of_nodes(4));
  const auto now = add_run(of_nodes(4));
  const auto marked = add_run(of_nodes(4));
  {
    datastore::database base =
        reading::open_to_write({path_, std::chrono::seconds(1)});
    accumulate::mark_baseline(base, {marked, "", "ada", 1});
  }
  EXPECT_EQ(baseline_of(now), first);
  EXPECT_EQ(baseline_of(first), 0);
  EXPECT_EQ(baseline_of(now, "baseline"), marked);
}

TEST_F(run_choice_, baseline_is_a_run_of_the_same_nodes_and_providers) {
  const auto one = add_run({{"n1", "memory", "total: 5\n"}});
  add_run({{"n2", "memory", "total: 5\n"}});
  add_run({{"n1", "clock", "offset: 5\n"}});
  const auto now = add_run({{"n1", "memory", "total: 5\n"}});
  const auto alone = add_run({{"n9", "memory", "total: 5\n"}});
  EXPECT_EQ(baseline_of(now), one);
  EXPECT_EQ(baseline_of(alone), 0) << "nothing is shared with any";
}

TEST_F(run_choice_, latest_is_the_latest_that_has_ended) {
  const auto first = add_run(of_nodes(4), {}, "nightly");
  const auto second = add_run(of_nodes(4));
  std::int64_t running = 0;
  {
    accumulate::result_table table(path_, {});
    accumulate::run wanted;
    wanted.label = "nightly";
    wanted.started_usec = 1'770'000'000'000'000;
    running = accumulate::create_run(table.database(), wanted);
  }
  datastore::database base = open();
  const std::vector<std::pair<std::string, std::int64_t>> cases = {
      {"latest", second},
      {"latest~1", first},
      {"label:nightly", first},
      {std::to_string(running), running}};
  for (const auto& [asked, number] : cases) {
    SCOPED_TRACE(asked);
    const chosen_run chosen = choose_run(base, asked);
    EXPECT_EQ(chosen.run.number, number);
    EXPECT_EQ(chosen.newer, number == running ? 0 : running);
  }
  for (const char* asked : {"latest~5", "label:weekly", "latest~x", "label:"})
    EXPECT_THROW(choose_run(base, asked), reading::refusal) << asked;
}

TEST_F(run_choice_, latest_goes_on_when_none_has_ended) {
  std::int64_t running = 0;
  {
    accumulate::result_table table(path_, {});
    running = accumulate::create_run(table.database(), {});
  }
  datastore::database base = open();
  EXPECT_EQ(choose_run(base, "latest").run.number, running);
}

TEST_F(run_choice_, baseline_by_label_is_an_earlier_run) {
  const auto first = add_run(of_nodes(4), {}, "nightly");
  const auto second = add_run(of_nodes(1), {}, "nightly");
  const auto now = add_run(of_nodes(4), {}, "nightly");
  const auto other = add_run(of_nodes(4), {}, "by hand");
  EXPECT_EQ(baseline_of(now, "label:nightly"), second);
  EXPECT_EQ(baseline_of(second, "label:nightly"), first);
  EXPECT_EQ(baseline_of(other, "label:nightly"), now);
  EXPECT_THROW(baseline_of(other, "label:by hand"), reading::refusal);
  EXPECT_THROW(baseline_of(other, "label:nightli"), reading::refusal);
}

TEST_F(run_choice_, refuses_what_cannot_be_compared) {
  const auto now = add_run(of_nodes(1));
  EXPECT_THROW(baseline_of(now, std::to_string(now)), reading::refusal);
  EXPECT_THROW(baseline_of(now, "77"), reading::refusal);
  EXPECT_THROW(baseline_of(now, "baseline"), reading::refusal);
}

TEST_F(run_choice_, history_keeps_to_its_label_and_its_budget) {
  std::vector<std::int64_t> runs;
  runs.reserve(5);
  for (int i = 0; i < 5; ++i)
    runs.push_back(add_run(of_nodes(4), {}, "nightly"));
  add_run(of_nodes(4), {}, "by hand");
  add_run(of_nodes(1), {}, "nightly");
  const auto now = add_run(of_nodes(4), {}, "nightly");
  using list = std::vector<std::int64_t>;
  EXPECT_EQ(history_of(now),
            (list{runs[4], runs[3], runs[2], runs[1], runs[0]}));
  EXPECT_EQ(history_of(now, {2, 1000, 0}), (list{runs[4], runs[3]}));
  EXPECT_EQ(history_of(now, {12, 13, 0}), (list{runs[4], runs[3], runs[2]}));
  EXPECT_EQ(history_of(now, {12, 5, runs[4]}), (list{runs[4], runs[3]}));
}

}  // namespace
}  // namespace zelk::check
