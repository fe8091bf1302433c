#include "src/common/util/proc_scan.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "src/common/util/test_processes.h"

namespace zelk::util {
namespace {

pid_list list;  // too big for a stack

bool contains(pid_t pid) {
  return std::find(list.begin(), list.end(), pid) != list.end();
}

pid_t sleeping_child() {
  const pid_t child = ::fork();
  if (child == 0) {
    for (;;)
      ::pause();
  }
  return child;
}

void end(pid_t child) {
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

TEST(read_process, tells_who_we_are) {
  process_facts facts;
  ASSERT_TRUE(read_process(::getpid(), facts));
  EXPECT_EQ(facts.pid, ::getpid());
  EXPECT_EQ(facts.parent, ::getppid());
  EXPECT_EQ(facts.group, ::getpgrp());
  EXPECT_EQ(facts.state, 'R');
  EXPECT_GT(facts.start, 0U);
}

// A process gives itself any name that it likes.
TEST(read_process, is_not_misled_by_names) {
  for (const char* const name :
       {") S 1 1 1 1", "((", "))) )", "", " ", "a\nb", "0123456789abcde"}) {
    SCOPED_TRACE(name);
    const pid_t child = ::fork();
    if (child == 0) {
      ::prctl(PR_SET_NAME, name);
      for (;;)
        ::pause();
    }
    process_facts facts;
    EXPECT_TRUE(testing::wait_until([&] {
      return read_process(child, facts) &&
             facts.name.data() == std::string(name);
    }));
    EXPECT_EQ(facts.parent, ::getpid());
    process_facts own;
    read_process(::getpid(), own);
    EXPECT_GE(facts.start, own.start);
    end(child);
  }
}

TEST(read_process, shows_zombies_and_nobody) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  process_facts facts;
  EXPECT_TRUE(testing::wait_until(
      [&] { return read_process(child, facts) && facts.state == 'Z'; }));
  ::waitpid(child, nullptr, 0);
  EXPECT_FALSE(read_process(child, facts));
  EXPECT_FALSE(read_process(0, facts));
  EXPECT_FALSE(read_process(-1, facts));
}

TEST(append_children, finds_those_of_every_thread) {
  if (!kernel_lists_children()) GTEST_SKIP() << "this kernel has no such lists";
  list.clear();
  append_children(::getpid(), list);
  EXPECT_EQ(list.size(), 0U);
  const pid_t first = sleeping_child();
  pid_t second = 0;
  bool seen = false;
  std::thread([&] {
    second = sleeping_child();
    append_children(::getpid(), list);
    seen = contains(second);
  }).join();
  EXPECT_TRUE(contains(first));
  EXPECT_TRUE(seen);
  EXPECT_EQ(list.size(), 2U);
  end(first);
  end(second);
}

// Their list takes more than one block to read.
TEST(append_children, finds_very_many) {
  if (!kernel_lists_children()) GTEST_SKIP() << "this kernel has no such lists";
  testing::in_child([] {
    std::vector<pid_t> children(1200);
    for (pid_t& child : children)
      child = sleeping_child();
    list.clear();
    append_children(::getpid(), list);
    std::vector<pid_t> found(list.begin(), list.end());
    std::sort(found.begin(), found.end());
    std::sort(children.begin(), children.end());
    EXPECT_EQ(found, children);
    for (const pid_t child : children)
      end(child);
  });
}

TEST(append_all_processes, includes_us_and_the_first) {
  list.clear();
  append_all_processes(list);
  EXPECT_TRUE(contains(::getpid()));
  EXPECT_TRUE(contains(1));
}

TEST(proc_is_usable, holds_here) {
  EXPECT_TRUE(proc_is_usable());
}

// With the /proc of another pid namespace every number would be a stranger's.
TEST(proc_is_usable, sees_that_numbers_are_others) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, for a pid namespace";
  testing::in_child([] {
    if (::unshare(CLONE_NEWPID) != 0) GTEST_SKIP() << "unshare is not allowed";
    const pid_t inside = ::fork();
    if (inside == 0) ::_exit(proc_is_usable() ? 1 : 0);
    int status = -1;
    ::waitpid(inside, &status, 0);
    EXPECT_EQ(status, 0);
  });
}

}  // namespace
}  // namespace zelk::util
