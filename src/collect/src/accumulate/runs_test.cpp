#include "src/collect/src/accumulate/runs.h"

#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/run_owner.h"
#include "src/collect/src/accumulate/test_store.h"
#include "src/common/datastore/test_child.h"

namespace zelk::accumulate {
namespace {

using datastore::store_error;
using lines = std::vector<std::string>;

lines missing_lines(datastore::database& base, std::int64_t number) {
  lines found;
  for (const missing_result& each : missing_results(base, number))
    found.push_back(each.what.node + "|" + each.what.provider + "|" +
                    each.what.option_id + "|" + each.reason);
  return found;
}

class runs : public ::testing::Test {
 protected:
  datastore::database& base() { return store.table.database(); }

  // A run that started at a time of day, UTC.
  std::int64_t started(const char* time, const std::string& label = "") {
    std::tm day = {};
    ::strptime(time, "%Y-%m-%d %H:%M", &day);
    run wanted;
    wanted.label = label;
    wanted.started_usec =
        static_cast<std::int64_t>(std::mktime(&day)) * 1000000;
    return create_run(base(), wanted);
  }
  std::int64_t number_of(const std::string& text) {
    const std::optional<run> found = find_run(base(), text);
    return found ? found->number : 0;
  }

  datastore::scratch place;
  a_store store{place.file("zelk.db")};
};

TEST_F(runs, keep_what_was_said_when_they_were_made) {
  run wanted;
  wanted.label = "nightly";
  wanted.note = "after DIMM swap \xff";
  wanted.command_line = "zelk-collect -w node[01-04]";
  wanted.started_usec = 1'760'000'000'000'000;
  const std::int64_t number = create_run(base(), wanted);
  const run found = find_run(base(), number).value();
  EXPECT_EQ(found.number, 2);
  EXPECT_EQ(found.label, wanted.label);
  EXPECT_EQ(found.note, wanted.note);
  EXPECT_EQ(found.command_line, wanted.command_line);
  EXPECT_EQ(found.started_usec, wanted.started_usec);
  EXPECT_EQ(found.ended_usec, 0);
  EXPECT_EQ(found.state, run_state::running);
  EXPECT_EQ(found.uuid.size(), 36U);
  EXPECT_EQ(found.uuid[14], '4');
  EXPECT_NE(found.uuid, find_run(base(), store.run)->uuid);
  EXPECT_EQ(find_run_by_uuid(base(), found.uuid)->number, number);
  EXPECT_FALSE(find_run_by_uuid(base(), "none"));
}

TEST_F(runs, are_known_again_by_their_uuid) {
  run wanted;
  wanted.uuid = "0b8f1c9e-0000-4000-8000-000000000000";
  create_run(base(), wanted);
  EXPECT_THROW(create_run(base(), wanted), store_error);
}

TEST_F(runs, are_found_by_what_people_type) {
  started("2020-05-01 10:00", "nightly");  // 2
  started("2020-05-03 10:00");             // 3
  started("2020-05-02 00:00", "nightly");  // 4
  started("2020-05-02 23:59", "weekly");   // 5
  EXPECT_EQ(number_of("3"), 3);
  EXPECT_EQ(number_of("99"), 0);
  EXPECT_EQ(number_of("latest"), 1);
  EXPECT_EQ(number_of("latest~1"), 3);
  EXPECT_EQ(number_of("latest~4"), 2);
  EXPECT_EQ(number_of("latest~5"), 0);
  EXPECT_EQ(number_of("label:nightly"), 4);
  EXPECT_EQ(number_of("label:none"), 0);
  EXPECT_EQ(number_of("2020-05-02"), 5);
  EXPECT_EQ(number_of("2020-05-04"), 0);
  for (const char* text :
       {"", "x", "-1", "3x", "latest~", "latest~x", "latest~-1", "2020-05",
        "2020-05-02x", "2020-13-01", "99999999999999999999"}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(number_of(text), store_error);
  }
}

TEST_F(runs, are_listed_newest_first_and_by_what_is_asked) {
  started("2020-05-01 10:00", "nightly");
  started("2020-05-03 10:00");
  store.table.use_run(2);
  store.store(a_result("node07", 1));
  const auto numbers = [&](const run_filter& filter) {
    std::string text;
    for (const run& each : list_runs(base(), filter))
      text += std::to_string(each.number);
    return text;
  };
  EXPECT_EQ(numbers({}), "132");
  run_filter filter;
  filter.limit = 2;
  EXPECT_EQ(numbers(filter), "13");
  filter = {};
  filter.label = "nightly";
  EXPECT_EQ(numbers(filter), "2");
  filter = {};
  filter.started_until_usec = find_run(base(), 3)->started_usec;
  EXPECT_EQ(numbers(filter), "2");
  filter.started_until_usec += 1;
  EXPECT_EQ(numbers(filter), "32");
  filter.started_from_usec = find_run(base(), 3)->started_usec;
  EXPECT_EQ(numbers(filter), "3");
  filter = {};
  filter.nodes = {"node06", "node07"};
  EXPECT_EQ(numbers(filter), "2");
  filter.nodes = {"node06"};
  EXPECT_EQ(numbers(filter), "");
}

TEST_F(runs, know_what_is_missing) {
  expect_results(base(), store.run,
                 {{"node01", "memory", ""},
                  {"node01", "cpu", "full"},
                  {"node02", "", ""},
                  {"node01", "memory", ""}});
  store.store(a_result("node01", 1, "out", "memory"));
  store.store(a_result("node01", 2, "out", "cpu"));  // another option set
  EXPECT_EQ(missing_lines(base(), store.run),
            (lines{"node01|cpu|full|", "node02|||"}));
  set_missing_reason(base(), store.run, {"node02", "", ""},
                     "ssh: connection refused");
  EXPECT_EQ(close_run(base(), store.run), run_state::partial);
  EXPECT_EQ(missing_lines(base(), store.run),
            (lines{"node01|cpu|full|no result arrived",
                   "node02|||ssh: connection refused"}));
  const run closed = find_run(base(), store.run).value();
  EXPECT_EQ(closed.nodes_expected, 2);
  EXPECT_EQ(closed.results_expected, 2);
  EXPECT_EQ(closed.nodes, 1);
  EXPECT_EQ(closed.results, 2);
  EXPECT_GE(closed.ended_usec, closed.started_usec);
}

TEST_F(runs, are_complete_when_everything_came) {
  expect_results(base(), store.run, {{"node01", "", ""}}, 2);
  store.store(a_result("node01", 1));
  EXPECT_EQ(close_run(base(), store.run), run_state::partial);
  store.store(a_result("node01", 2));
  EXPECT_EQ(close_run(base(), store.run), run_state::complete);
  const std::int64_t free = create_run(base(), {});
  EXPECT_EQ(close_run(base(), free), run_state::complete);
}

TEST_F(runs, end_as_they_are_told_to) {
  EXPECT_EQ(close_run(base(), store.run, run_state::interrupted, "Ctrl-C", 1),
            run_state::interrupted);
  run closed = find_run(base(), store.run).value();
  EXPECT_EQ(closed.state, run_state::interrupted);
  // A clock that was set back does not make a run end before its start.
  EXPECT_EQ(closed.ended_usec, closed.started_usec);
  reopen_run(base(), store.run);
  closed = find_run(base(), store.run).value();
  EXPECT_EQ(closed.state, run_state::running);
  EXPECT_EQ(closed.ended_usec, 0);
}

struct host_case {
  const char* hostname;
  const char* host_arg;
  const char* node;
};

TEST_F(runs, know_a_host_by_the_name_that_is_expected) {
  expect_results(base(), store.run,
                 {{"node01", "", ""},
                  {"node02.cluster", "", ""},
                  {"rack3-node03", "", ""}});
  const host_case cases[] = {
      {"node01.cluster", "", "node01"},
      {"node02.cluster", "", "node02.cluster"},
      {"n3", "rack3-node03", "rack3-node03"},
      {"stranger.cluster", "whoever", "stranger.cluster"},
  };
  std::int64_t usec = 0;
  for (const host_case& c : cases) {
    SCOPED_TRACE(c.hostname);
    provider_result result = a_result(c.hostname, ++usec);
    put(result.header.host_arg, c.host_arg);
    const std::int64_t id = store.store(result).id;
    EXPECT_EQ(store.text("SELECT node FROM v_result WHERE result = " +
                         std::to_string(id)),
              c.node);
  }
  EXPECT_EQ(missing_lines(base(), store.run), lines{});
  const run found = find_run(base(), store.run).value();
  EXPECT_EQ(found.nodes, 4);
  EXPECT_EQ(found.nodes_answered, 3);
  EXPECT_EQ(nodes_not_expected(found), 1);
}

TEST_F(runs, do_not_take_a_stranger_for_a_node_that_is_missing) {
  expect_results(base(), store.run, {{"node1", "", ""}});
  store.store(a_result("node01", 1));
  const run found = find_run(base(), store.run).value();
  EXPECT_EQ(found.nodes_answered, 0);
  EXPECT_EQ(nodes_not_expected(found), 1);
  EXPECT_EQ(store.integer("SELECT nodes_answered FROM v_run"), 0);
  EXPECT_EQ(missing_lines(base(), store.run), (lines{"node1|||"}));
}

TEST_F(runs, name_what_a_silent_node_lacks_once_and_with_its_reason) {
  expect_results(base(), store.run,
                 {{"node01", "cpu", ""}, {"node01", "memory", ""}});
  set_missing_reason(base(), store.run, {"node01", "", ""}, "ssh: refused");
  const lines silent{"node01|cpu||ssh: refused", "node01|memory||ssh: refused"};
  EXPECT_EQ(missing_lines(base(), store.run), silent);
  close_run(base(), store.run);
  EXPECT_EQ(missing_lines(base(), store.run), silent);
  // Why it was silent says nothing about what it still lacks.
  store.store(a_result("node01", 1, "out", "memory"));
  EXPECT_EQ(missing_lines(base(), store.run), (lines{"node01|cpu||"}));
}

TEST_F(runs, may_say_what_they_expect_when_results_are_there_already) {
  store.store(a_result("node01.cluster", 1));
  expect_results(base(), store.run, {{"node01", "", ""}});
  EXPECT_EQ(missing_lines(base(), store.run), lines{});
  EXPECT_EQ(store.text("SELECT node FROM v_result"), "node01");
  store.store(a_result("node01.cluster", 2));
  EXPECT_EQ(store.integer("SELECT nodes FROM run"), 1);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(runs, count_a_node_with_two_names_once) {
  expect_results(base(), store.run, {{"node01", "", ""}});
  store.store(a_result("node01", 1));
  store.store(a_result("node01.cluster", 2));
  EXPECT_EQ(find_run(base(), store.run)->nodes, 1);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(runs, do_not_exist_by_being_talked_about) {
  EXPECT_THROW(close_run(base(), 99), store_error);
  EXPECT_THROW(reopen_run(base(), 99), store_error);
  EXPECT_THROW(set_run_note(base(), 99, "x"), store_error);
  EXPECT_THROW(expect_results(base(), 99, {{"node01", "", ""}}), store_error);
  EXPECT_EQ(store.integer("SELECT count(*) FROM expected_node"), 0);
  set_run_label(base(), store.run, "nightly");
  set_run_note(base(), store.run, "by ada");
  EXPECT_EQ(find_run(base(), "label:nightly")->note, "by ada");
}

TEST(close_abandoned_runs, closes_those_whose_process_has_died) {
  const datastore::scratch place;
  const std::string path = place.file("zelk.db");
  datastore::child starter([&](int to) {
    a_store other(path);
    datastore::child::say(to, "started");
    ::pause();
    return 0;
  });
  ASSERT_EQ(starter.heard(), "started");
  a_store store(path);
  datastore::database& base = store.table.database();
  EXPECT_EQ(close_abandoned_runs(base), std::vector<std::int64_t>{});
  starter.end(SIGKILL);
  EXPECT_EQ(abandoned_runs(base), std::vector<std::int64_t>{1});
  EXPECT_EQ(find_run(base, 1)->state, run_state::running);
  EXPECT_EQ(close_abandoned_runs(base), std::vector<std::int64_t>{1});
  EXPECT_EQ(find_run(base, 1)->state, run_state::interrupted);
  EXPECT_EQ(find_run(base, 2)->state, run_state::running);
}

TEST(run_owner, knows_this_process_and_no_other_host) {
  run_owner owner = this_process();
  EXPECT_GT(owner.start, 0);
  EXPECT_FALSE(has_ended(owner));
  // The number has been given to another process since.
  owner.start -= 1;
  EXPECT_TRUE(has_ended(owner));
  owner.host += "x";
  EXPECT_FALSE(has_ended(owner));
}

TEST_F(runs, are_removed_with_what_is_theirs_alone) {
  store.store(a_result("node01", 1, "shared"));
  store.store(a_result("node01", 2, "own"));
  store.store(a_result("node01", 2, "own twin"));
  expect_results(base(), store.run, {{"node09", "cpu", ""}});
  const std::int64_t second = create_run(base(), {});
  store.table.use_run(second);
  store.store(a_result("node02", 3, "shared"));
  store.table.checkpoint();
  EXPECT_EQ(remove_run(base(), store.run), 3);
  EXPECT_FALSE(find_run(base(), store.run));
  EXPECT_EQ(store.text("SELECT group_concat(STDOUT) FROM v_provider_result"),
            "shared");
  EXPECT_EQ(store.integer("SELECT count(*) FROM content"), 2);
  EXPECT_EQ(store.faults(), lines{});
  // What was removed may come again, under a new number.
  const row_outcome again = store.store(a_result("node01", 2, "own"));
  EXPECT_EQ(again.result, outcome::stored);
  EXPECT_EQ(again.id, 5);
  EXPECT_EQ(create_run(base(), {}), 3);
  EXPECT_EQ(remove_run(base(), 99), 0);
  EXPECT_EQ(store.faults(), lines{});
}

}  // namespace
}  // namespace zelk::accumulate
