#include "src/check/input/load.h"

#include <algorithm>

#include "src/check/input/test_collection.h"
#include "src/collect/src/reading/failure.h"

namespace zelk::check {
namespace {

class load_ : public collection {};

TEST_F(load_, has_every_node_that_was_expected_or_answered) {
  const auto number = add_run({{"n10", "memory", "total: 5\n"},
                               {"n2", "memory", "total: 5\n"},
                               {"stranger", "memory", "total: 5\n"}},
                              {{"n2", "memory", "None"},
                               {"n10", "memory", "None"},
                               {"silent", "memory", "None"},
                               {"unnamed", "", ""}});
  const run_data run = loaded(number);
  EXPECT_EQ(run.nodes, (std::vector<std::string>{"n2", "n10", "silent",
                                                 "stranger", "unnamed"}));
  EXPECT_EQ(run.notes.size(), 5U);
  const provider_info& memory = provider_of(run, "memory");
  EXPECT_EQ(memory.answers[0].what, answer::ok);
  EXPECT_EQ(memory.answers[2].what, answer::missing);
  EXPECT_EQ(memory.answers[2].reason, "no answer");
  EXPECT_EQ(memory.answers[3].what, answer::ok);
  EXPECT_EQ(memory.answers[4].what, answer::missing);
  EXPECT_EQ(run.run.nodes, 3U);
  EXPECT_EQ(run.run.nodes_expected, 5U);
  EXPECT_EQ(run.run.results, 3U);
  EXPECT_EQ(column_of(run, "mem.total"),
            "n2=5 n10=5 silent=- stranger=5 unnamed=-");
}

TEST_F(load_, tells_why_each_result_is_not_there) {
  const auto number =
      add_run({{"n1", "memory", "total: 5\n"}}, {{"n1", "memory", "None"},
                                                 {"n1", "clock", "None"},
                                                 {"n2", "", ""},
                                                 {"n2", "memory", "None"},
                                                 {"n2", "clock", "None"}});
  {
    datastore::database base =
        reading::open_to_write({path_, std::chrono::seconds(1)});
    accumulate::set_missing_reason(base, number, {"n2", "", ""},
                                   "ssh: connection refused");
    accumulate::set_missing_reason(base, number, {"n1", "clock", "None"},
                                   "the worker was killed");
  }
  const run_data run = loaded(number);
  const provider_info& clock = provider_of(run, "clock");
  EXPECT_EQ(clock.answers[0].what, answer::missing);
  EXPECT_EQ(clock.answers[0].reason, "the worker was killed");
  EXPECT_EQ(clock.answers[1].what, answer::missing);
  EXPECT_EQ(provider_of(run, "memory").answers[1].what, answer::missing);
}

TEST_F(load_, leaves_alone_what_nobody_expected) {
  const auto number = add_run(
      {{"n1", "memory", "total: 5\n"}, {"n2", "clock", "offset: 0.5\n"}},
      {{"n1", "memory", "None"}, {"n2", "clock", "None"}});
  const run_data run = loaded(number);
  EXPECT_EQ(provider_of(run, "memory").answers[1].what, answer::not_expected);
  EXPECT_EQ(provider_of(run, "clock").answers[0].what, answer::not_expected);
  EXPECT_EQ(provider_of(run, "clock").answers[1].what, answer::ok);
}

TEST_F(load_, keeps_what_did_not_answer_apart_from_what_failed) {
  const struct {
    int status;
    answer what;
    const char* errors;
    const char* reason;
  } cases[] = {
      {0, answer::ok, "a warning", ""},
      {80, answer::not_applicable, "m.sh: not applicable: no such disk\n",
       "no such disk"},
      {81, answer::tool_missing, "m.sh: tool missing: ipmitool\n", "ipmitool"},
      {82, answer::no_permission, "m.sh: no permission: /dev/x\n", "/dev/x"},
      {83, answer::incomplete, "line\nm.sh: incomplete: /sys/x\n\n", "/sys/x"},
      {1, answer::failed, "", "ended with status 1"},
      {3, answer::failed, "it broke\n", "ended with status 3: it broke"},
      {124, answer::timed_out, "",
       "stopped after 2 s, the limit set by <timeout> in memory.xml or, over "
       "it, in zelk.xml"},
      {125, answer::failed, "", "ended in an unknown way"},
      {127, answer::failed, "", "command not found"},
      {137, answer::failed, "", "ended by signal 9"},
      {-2, answer::failed, "", "could not be started"},
  };
  std::vector<made_result> results;
  for (const auto& each : cases)
    results.push_back({"n" + std::to_string(results.size() + 1), "memory",
                       "total: 5\n", each.status, "None", each.errors});
  const run_data run = loaded(add_run(results));
  const provider_info& memory = provider_of(run, "memory");
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].status);
    EXPECT_EQ(memory.answers[i].what, cases[i].what);
    EXPECT_EQ(memory.answers[i].reason, cases[i].reason);
    EXPECT_EQ(memory.answers[i].exit_status, cases[i].status);
  }
  // Facts of an output are facts only where it says all, or what it says is
  // right.
  EXPECT_EQ(column_of(run, "mem.total").substr(0, 10), "n1=5 n2=- ");
  EXPECT_NE(column_of(run, "mem.total").find("n5=5 n6=- "), std::string::npos);
}

TEST_F(load_, counts_the_newest_of_results_that_came_twice) {
  const auto number = add_run({
      {"n1", "memory", "total: 1\n", 0, "None", "", 5000},
      {"n1", "memory", "total: 2\n", 0, "None", "", 9000},
      {"n1", "memory", "total: 3\n", 0, "None", "", 7000},
  });
  const run_data run = loaded(number);
  EXPECT_EQ(column_of(run, "mem.total"), "n1=2");
  EXPECT_EQ(run.run.results, 1U);
}

TEST_F(load_, is_the_same_whatever_the_order_of_arrival) {
  std::vector<made_result> results;
  for (int i = 1; i <= 9; ++i) {
    results.push_back({"n" + std::to_string(i), "memory",
                       "total: " + std::to_string(i % 3) + "\nname.x" +
                           std::to_string(i) + ": y\n",
                       0, "None", "", 1000 + i});
    results.push_back({"n" + std::to_string(i), "clock", "offset: x\n", 0,
                       "None", "", 2000 + i});
  }
  const run_data first = loaded(add_run(results));
  std::reverse(results.begin(), results.end());
  for (made_result& each : results)
    each.usec += 100;  // other records: the store takes each once
  const run_data second = loaded(add_run(results));
  ASSERT_EQ(first.facts.size(), second.facts.size());
  for (std::size_t i = 0; i < first.facts.size(); ++i) {
    EXPECT_EQ(first.facts[i].name, second.facts[i].name);
    EXPECT_EQ(first.facts[i].values, second.facts[i].values);
  }
  ASSERT_EQ(first.values.size(), second.values.size());
  for (std::uint32_t i = 0; i < first.values.size(); ++i)
    EXPECT_EQ(first.values.at(i), second.values.at(i));
}

TEST_F(load_, names_option_sets_only_where_there_are_several) {
  const auto number = add_run({{"n1", "memory", "total: 1\n", 0, "quick"},
                               {"n1", "memory", "total: 2\n", 0, "full"},
                               {"n1", "clock", "offset: 1\n", 0, "quick"}});
  const run_data run = loaded(number);
  EXPECT_EQ(provider_of(run, "memory", "full").option_id, "full");
  EXPECT_EQ(provider_of(run, "memory", "quick").option_id, "quick");
  EXPECT_EQ(provider_of(run, "clock", "").option_id, "quick");
}

TEST_F(load_, knows_what_a_result_of_any_option_set_stands_for) {
  const auto number = add_run(
      {{"n1", "memory", "total: 1\n", 0, "quick"},
       {"n1", "memory", "total: 1\n", 0, "full"},
       {"n2", "memory", "total: 1\n", 0, "full"}},
      {{"n1", "memory", ""}, {"n2", "memory", ""}, {"n3", "memory", ""}});
  const run_data run = loaded(number);
  const provider_info& quick = provider_of(run, "memory", "quick");
  EXPECT_EQ(quick.answers[1].what, answer::not_expected);
  EXPECT_EQ(quick.answers[2].what, answer::missing);
  EXPECT_EQ(provider_of(run, "memory", "full").answers[2].what,
            answer::missing);
}

TEST_F(load_, knows_providers_of_which_nothing_came) {
  const run_data run = loaded(add_run({}, {{"n1", "memory", "None"}}));
  EXPECT_EQ(provider_of(run, "memory").answers[0].what, answer::missing);
  EXPECT_EQ(run.run.nodes, 0U);
}

TEST_F(load_, has_nodes_of_a_run_to_which_nothing_came_at_all) {
  const run_data run = loaded(add_run({}, {{"n1", "", ""}}));
  EXPECT_EQ(run.nodes, std::vector<std::string>{"n1"});
  EXPECT_EQ(run.run.nodes_expected, 1U);
}

TEST_F(load_, tells_what_could_not_be_read_of_whom) {
  const auto number =
      add_run({{"n1", "memory", "nothing: 1\n"},
               {"n2", "memory", "total: many\n"},
               {"n3", "memory", "total: 5\n", 0, "None", "", 0, 9},
               {"n4", "unheard", "x"}});
  const run_data run = loaded(number);
  ASSERT_EQ(run.unread.size(), 4U);
  EXPECT_EQ(run.unread[0].provider, "memory");
  EXPECT_EQ(run.unread[0].name, "*");
  EXPECT_EQ(run.unread[0].nodes, std::vector<std::uint32_t>{2});
  EXPECT_NE(run.unread[0].reason.find("version 9"), std::string::npos);
  EXPECT_EQ(run.unread[1].name, "mem.total");
  EXPECT_EQ(run.unread[2].name, "mem.total");
  EXPECT_EQ(run.unread[3].provider, "unheard");
  EXPECT_EQ(column_of(run, "mem.total"), "no such fact");
}

TEST_F(load_, makes_names_that_are_no_text_fit_to_be_compared) {
  const run_data run = loaded(add_run({{"n\xff", "memory", "total: 5\n"},
                                       {"n\x1b[2J", "memory", "total: 5\n"}}));
  EXPECT_EQ(run.nodes, (std::vector<std::string>{"n\x1b[2J", "n\\xff"}));
}

TEST_F(load_, describes_the_run_and_its_providers) {
  const auto number = add_run({{"n1", "memory", "total: 5\n"}}, {}, "nightly");
  const run_data run = loaded(number);
  EXPECT_EQ(run.run.number, number);
  EXPECT_EQ(run.run.label, "nightly");
  EXPECT_EQ(run.run.state, "complete");
  EXPECT_EQ(provider_of(run, "memory").description, "About memory");
  EXPECT_EQ(provider_of(run, "memory").versions, std::vector<std::int32_t>{3});
  ASSERT_EQ(run.facts.size(), 1U);
  EXPECT_EQ(run.facts[0].traits.unit, "B");
  EXPECT_EQ(run.values.number(run.facts[0].values[0]), 5.0);
}

TEST_F(load_, refuses_a_run_that_is_not_there) {
  add_run({});
  EXPECT_THROW(loaded(99), reading::refusal);
}

class align_options_ : public collection {};

TEST_F(align_options_, makes_one_set_and_several_comparable) {
  run_data before =
      loaded(add_run({{"n1", "memory", "total: 1\n", 0, "quick"}}));
  run_data now = loaded(add_run({{"n1", "memory", "total: 1\n", 0, "full"},
                                 {"n1", "memory", "total: 1\n", 0, "quick"}}));
  align_options(now, before);
  EXPECT_EQ(before.facts.at(0).option, "quick");
  EXPECT_EQ(before.providers.at(0).option, "quick");
  EXPECT_EQ(now.facts.at(0).option, "full");
}

TEST_F(align_options_, leaves_what_is_alike_as_it_is) {
  run_data before =
      loaded(add_run({{"n1", "memory", "total: 1\n", 0, "quick"}}));
  run_data now = loaded(add_run({{"n1", "memory", "total: 2\n", 0, "quick"}}));
  align_options(now, before);
  EXPECT_EQ(before.facts.at(0).option, "");
  EXPECT_EQ(now.facts.at(0).option, "");
}

TEST_F(load_, does_not_take_an_empty_output_for_facts_that_are_not_there) {
  const auto number = add_run({{"n1", "memory", "total: 5\n"},
                               {"n2", "memory", "total: 5\n"},
                               {"n3", "memory", "total: 5\n"},
                               {"n4", "memory", ""},
                               {"n5", "memory", "Segmentation fault\n"}});
  const run_data run = loaded(number);
  const auto whole =
      std::find_if(run.unread.begin(), run.unread.end(),
                   [](const unread_fact& each) { return each.name == "*"; });
  ASSERT_NE(whole, run.unread.end());
  EXPECT_EQ(whole->reason,
            "nothing is in it; most others have something in theirs");
  EXPECT_EQ(whole->nodes, (std::vector<std::uint32_t>{3, 4}));
  EXPECT_FALSE(whole->is_undescribed);
  EXPECT_EQ(column_of(run, "mem.total"), "n1=5 n2=5 n3=5 n4=- n5=-");
}

TEST_F(load_, takes_an_output_without_facts_as_it_is_where_most_have_none) {
  describe("users",
           "<fact name='user.{1}' from='user\\.(.+)' optional='yes'/>");
  const auto number = add_run({{"n1", "users", ""},
                               {"n2", "users", ""},
                               {"n3", "users", "user.eve: 1\n"}});
  const run_data run = loaded(number);
  EXPECT_TRUE(run.unread.empty());
  EXPECT_EQ(column_of(run, "user.eve"), "n1=- n2=- n3=1");
}

TEST_F(load_, knows_a_provider_that_nobody_described) {
  const auto number = add_run({{"n1", "own", "x\n"}});
  const run_data run = loaded(number);
  ASSERT_EQ(run.unread.size(), 1U);
  EXPECT_TRUE(run.unread[0].is_undescribed);
}

TEST_F(load_, tells_who_was_not_asked_before_an_interruption) {
  const auto number =
      add_run({{"n1", "memory", "total: 5\n"}}, {{"n1", "memory", "None"},
                                                 {"n2", "memory", "None"},
                                                 {"n3", "memory", "None"}});
  {
    datastore::database base =
        reading::open_to_write({path_, std::chrono::seconds(1)});
    base.execute("UPDATE run SET state = 'interrupted'");
    accumulate::set_missing_reason(base, number, {"n2", "memory", "None"},
                                   "interrupted");
    accumulate::set_missing_reason(base, number, {"n3", "memory", "None"},
                                   "ssh: connection refused");
  }
  const provider_info memory = provider_of(loaded(number), "memory");
  EXPECT_TRUE(memory.answers[1].was_not_asked);
  EXPECT_EQ(memory.answers[1].reason, "was not asked: the run was interrupted");
  EXPECT_FALSE(memory.answers[2].was_not_asked);
}

}  // namespace
}  // namespace zelk::check
