// The parts that whole runs do not show; the rest is in cmd_ending_test.cpp.

#include "src/common/util/process_tree.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/util/test_processes.h"

namespace zelk::util {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::in_child;
using testing::wait_until;

tree_snapshot snapshot;  // too big for a stack

class process_tree : public ::testing::Test {
 private:
  testing::process_mark mark_;  // ends what a failed test leaves
};

pid_t start(const char* line) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::execl("/bin/sh", "sh", "-c", line, nullptr);
    ::_exit(127);
  }
  return child;
}

// Returns whether the tree below us grows to `size` processes.
bool has_grown_to(std::size_t size) {
  return wait_until([size] {
    snapshot.take(0);
    return snapshot.living() == size;
  });
}

void end_everything() {
  snapshot.take(0);
  snapshot.ask_to_end();
  tree_ending ending;
  ending.begin(snapshot, {milliseconds(0), seconds(2)}, steady_clock::now());
  while (!ending.over()) {
    std::this_thread::sleep_for(ending.step(0, steady_clock::now()));
  }
  EXPECT_FALSE(any_process_left());
}

std::vector<pid_t> pids_and_parents_first() {
  std::vector<pid_t> seen{::getpid()};
  for (const tree_snapshot::entry& entry : snapshot) {
    EXPECT_NE(std::find(seen.begin(), seen.end(), entry.facts.parent),
              seen.end())
        << entry.facts.pid << " comes before its parent";
    seen.push_back(entry.facts.pid);
  }
  return seen;
}

TEST_F(process_tree, lists_parents_before_children) {
  in_child([] {
    ASSERT_EQ(become_subreaper(), 0);
    start("sh -c 'sleep 1000 & sleep 1000' & sleep 1000 & wait");
    start("(setsid sleep 1000 & sleep 1000) & wait");
    ASSERT_TRUE(has_grown_to(8));
    EXPECT_EQ(pids_and_parents_first().size(), 9U);
    testing::hide_children_lists = true;
    snapshot.take(0);
    EXPECT_EQ(pids_and_parents_first().size(), 9U);
    end_everything();
  });
}

TEST_F(process_tree, asks_members_of_a_group_only_to_continue) {
  in_child([] {
    ASSERT_EQ(become_subreaper(), 0);
    const pid_t inside = start("sleep 1000; :");
    const pid_t outside = start("exec setsid sleep 1000");
    ASSERT_TRUE(has_grown_to(3));
    ASSERT_TRUE(wait_until([outside] {
      process_facts facts;
      return read_process(outside, facts) && facts.group == outside;
    }));
    snapshot.take(0);
    ::kill(inside, SIGSTOP);
    snapshot.ask_to_end(::getpgrp());
    int status = 0;
    EXPECT_EQ(::waitpid(outside, &status, 0), outside);
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    process_facts facts;
    EXPECT_TRUE(wait_until([&] {
      return read_process(inside, facts) && facts.state == 'S';
    })) << facts.state;
    end_everything();
  });
}

// Between a look at /proc and the signal a pid may have become another's.
TEST_F(process_tree, does_not_signal_a_pid_that_has_changed_hands) {
  for (const bool with_pidfd : {true, false}) {
    SCOPED_TRACE(with_pidfd);
    in_child([with_pidfd] {
      ASSERT_EQ(become_subreaper(), 0);
      if (!with_pidfd) {
        testing::open_pidfd = [](pid_t) {
          errno = ENOSYS;
          return -1;
        };
      }
      start("sleep 1000; :");
      ASSERT_TRUE(has_grown_to(2));
      const pid_t leaf = (snapshot.begin() + 1)->facts.pid;
      const_cast<tree_snapshot::entry*>(snapshot.begin() + 1)->facts.start += 1;
      snapshot.ask_to_end();
      // The shell goes, and the leaf falls to us.
      EXPECT_TRUE(wait_until([] { return reap_ended(0); }));
      std::this_thread::sleep_for(milliseconds(20));
      process_facts facts;
      EXPECT_TRUE(read_process(leaf, facts));
      EXPECT_EQ(facts.state, 'S');
      end_everything();
    });
  }
}

TEST_F(process_tree, asks_orphans_that_were_born_too_late) {
  in_child([] {
    ASSERT_EQ(become_subreaper(), 0);
    start("read go; :");
    snapshot.take(0);
    start("(setsid sleep 1000 >/dev/null &) ; exit");
    snapshot.ask_to_end();
    tree_ending ending;
    const auto begin = steady_clock::now();
    ending.begin(snapshot, {seconds(20), seconds(2)}, begin);
    while (!ending.over()) {
      std::this_thread::sleep_for(ending.step(0, steady_clock::now()));
    }
    EXPECT_LT(steady_clock::now() - begin, seconds(10));
  });
}

TEST_F(process_tree, reaping_leaves_the_kept_child_and_reaps_behind_it) {
  in_child([] {
    const pid_t kept = start("exit 7");
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(kept), &info, WEXITED | WNOWAIT);
    const pid_t other = start("exit 8");
    ::waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT);
    EXPECT_TRUE(reap_ended(kept));
    EXPECT_FALSE(reap_ended(kept));
    EXPECT_TRUE(any_process_left());
    int status = 0;
    EXPECT_EQ(::waitpid(kept, &status, 0), kept);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_FALSE(any_process_left());
  });
}

// More strangers than there is room to remember one by one.
TEST_F(process_tree, spares_any_number_of_strangers) {
  in_child([] {
    ASSERT_EQ(become_subreaper(), 0);
    std::vector<pid_t> strangers;
    for (int i = 0; i < 1300; ++i) {
      const pid_t child = ::fork();
      if (child == 0) {
        for (;;)
          ::pause();
      }
      strangers.push_back(child);
    }
    spare_present_processes();
    EXPECT_FALSE(any_process_left());
    // Start times are told apart by hundredths of a second.
    std::this_thread::sleep_for(milliseconds(30));
    const pid_t ours = start("sleep 1000; :");
    EXPECT_TRUE(any_process_left());
    end_everything();
    EXPECT_NE(::kill(ours, 0), 0);
    for (const pid_t stranger : strangers) {
      EXPECT_EQ(::kill(stranger, SIGKILL), 0);
      int status = 0;
      EXPECT_EQ(::waitpid(stranger, &status, 0), stranger);
      EXPECT_EQ(WTERMSIG(status), SIGKILL);
    }
  });
}

}  // namespace
}  // namespace zelk::util
