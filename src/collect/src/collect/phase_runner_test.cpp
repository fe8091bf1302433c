#include "src/collect/src/collect/phase_runner.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/collect/src/collect/test_plan.h"

namespace zelk::collect {
namespace {

using names = std::vector<std::string>;
using std::chrono::seconds;

// Ends launches only when the test says so.
class fake_launcher : public launcher {
 public:
  void start(std::vector<launch> launches,
             std::function<void(launch_outcome)> done) override {
    for (launch& each : launches) {
      started.push_back(each);
      done_ = done;
    }
  }
  void stop() override {}
  void abandon() override {}

  void end(const std::string& node, ending how, int status = 0) {
    launch_outcome outcome;
    outcome.node = node;
    outcome.how = how;
    outcome.status = status;
    outcome.reason = outcome.common_reason = "reason of " + node;
    outcome.took = seconds(70);
    // What is called may start more.
    const auto done = done_;
    done(std::move(outcome));
  }
  names nodes() const {
    names list;
    for (const launch& each : started)
      list.push_back(each.node);
    return list;
  }

  std::vector<launch> started;

 private:
  std::function<void(launch_outcome)> done_;
};

class phase_runner : public ::testing::Test {
 protected:
  phase_runner() { settings.retry = 0; }

  collect::phase_runner& runner() {
    if (runner_ == nullptr) {
      phase_hooks hooks;
      hooks.make_launch = [](const task& what) {
        launch one;
        one.node = what.node;
        one.argv = what.descriptions;
        one.limit = what.limit;
        return one;
      };
      hooks.launched = [](const task&) {};
      hooks.ended = [this](const launch_outcome& outcome) {
        ended.push_back(outcome.node);
      };
      runner_ = std::make_unique<collect::phase_runner>(
          loop, starter, account, made, settings, std::move(hooks));
    }
    return *runner_;
  }
  void start() { runner().start(made.phases.front()); }
  void come(const expected_result& what) {
    account.came(what, 0, 1, event_loop::clock::now());
  }
  void all_come(const std::string& node) {
    for (const expected_result& what : account.waiting())
      if (what.node == node) come(what);
  }
  std::string reason_of(const expected_result& what) const {
    for (const missing_result& each : account.missing())
      if (each.what == what) return each.reason;
    return "nothing is missing";
  }

  plan made = testing::example_plan(2);
  collect_settings settings;
  event_loop loop;
  fake_launcher starter;
  ledger account{made};
  names ended;

 private:
  std::unique_ptr<collect::phase_runner> runner_;
};

TEST_F(phase_runner, launches_each_task_and_is_busy_until_all_end) {
  start();
  EXPECT_EQ(starter.nodes(), (names{"n1", "n2"}));
  EXPECT_TRUE(runner().busy());
  starter.end("n2", ending::exited);
  EXPECT_TRUE(runner().busy());
  starter.end("n1", ending::exited);
  EXPECT_FALSE(runner().busy());
  EXPECT_EQ(ended, (names{"n2", "n1"}));
}

TEST_F(phase_runner, waits_for_results_that_nothing_explains) {
  start();
  starter.end("n1", ending::refused);
  starter.end("n2", ending::exited);
  EXPECT_TRUE(runner().awaits_results());
  all_come("n2");
  EXPECT_FALSE(runner().awaits_results());
  runner().give_reasons();
  EXPECT_EQ(reason_of({"n1", "", ""}), "reason of n1");
  EXPECT_EQ(account.lacking(), 3u);
}

TEST_F(phase_runner, tries_a_silent_node_again_when_the_others_are_done) {
  settings.retry = 1;
  start();
  starter.end("n1", ending::connect_timeout);
  EXPECT_EQ(starter.started.size(), 2u);
  starter.end("n2", ending::exited);
  EXPECT_EQ(starter.nodes(), (names{"n1", "n2", "n1"}));
  starter.end("n1", ending::connect_timeout);
  EXPECT_FALSE(runner().busy());
  runner().give_reasons();
  EXPECT_EQ(reason_of({"n1", "", ""}), "reason of n1 (2 tries)");
}

TEST_F(phase_runner, does_not_try_again_what_cannot_get_better) {
  settings.retry = 5;
  start();
  starter.end("n1", ending::host_key);
  starter.end("n2", ending::program_missing);
  EXPECT_FALSE(runner().busy());
}

TEST_F(phase_runner, goes_on_behind_a_provider_that_did_not_end) {
  start();
  starter.end("n2", ending::exited);
  starter.end("n1", ending::timed_out);
  EXPECT_TRUE(runner().busy());  // what n1 has sent may be on its way
  const auto end = event_loop::clock::now() + seconds(60);
  while (starter.started.size() < 3 && event_loop::clock::now() < end)
    loop.run_once(seconds(1));
  ASSERT_EQ(starter.started.size(), 3u);
  EXPECT_EQ(starter.started[2].argv,
            names{"/opt/zelkara/etc/providers/stream.xml"});
  EXPECT_EQ(starter.started[2].limit, seconds(370));
  starter.end("n1", ending::exited);
  EXPECT_FALSE(runner().busy());
  EXPECT_NE(reason_of({"n1", "memory", "None"}).find("stopped after"),
            std::string::npos);
  EXPECT_TRUE(account.waits_for({"n1", "stream", "full"}));
}

TEST_F(phase_runner, launches_only_what_is_still_wanted) {
  account.remove({"n1", "memory", "None"});
  for (const expected_result& what : account.waiting())
    if (what.node == "n2") account.remove(what);
  start();
  ASSERT_EQ(starter.nodes(), names{"n1"});
  EXPECT_EQ(starter.started[0].argv,
            names{"/opt/zelkara/etc/providers/stream.xml"});
}

TEST_F(phase_runner, leaves_nodes_alone_that_an_earlier_phase_did_not_reach) {
  task cluster;
  cluster.node = "n1";
  cluster.expected = {{"n1", "memory", "None"}};
  start();
  starter.end("n1", ending::no_route);
  starter.end("n2", ending::exited);
  runner().give_reasons();
  runner().start({cluster});
  EXPECT_EQ(starter.started.size(), 2u);
  EXPECT_FALSE(runner().busy());
}

TEST_F(phase_runner, begins_nothing_when_it_was_stopped) {
  settings.retry = 1;
  start();
  starter.end("n1", ending::no_route);
  runner().stop("interrupted");
  starter.end("n2", ending::stopped);
  EXPECT_FALSE(runner().busy());
  runner().give_reasons();
  EXPECT_EQ(starter.started.size(), 2u);
  EXPECT_EQ(reason_of({"n1", "", ""}), "interrupted");
  EXPECT_EQ(reason_of({"n2", "stream", "full"}), "interrupted");
}

TEST_F(phase_runner, forsakes_a_launcher_that_does_not_answer) {
  start();
  EXPECT_GT(runner().deadline(), event_loop::clock::now() + seconds(430));
  runner().forsake();
  EXPECT_FALSE(runner().busy());
  starter.end("n1", ending::exited);  // too late
  runner().give_reasons();
  EXPECT_NE(reason_of({"n1", "", ""}).find("did not tell how it ended"),
            std::string::npos);
}

}  // namespace
}  // namespace zelk::collect
