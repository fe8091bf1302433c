#include "src/collect/src/collect/helper_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using lines = std::vector<std::string>;
using std::chrono::seconds;

class helper_process : public ::testing::Test {
 protected:
  // A shell whose lines on descriptor 1 are kept, and which reads what we send
  // from descriptor 3.
  collect::helper_setup shell(const std::string& script) {
    collect::helper_setup setup;
    setup.argv = {"/bin/sh", "-c", script};
    setup.readers.push_back({STDOUT_FILENO, [this](std::string_view line) {
                               said.emplace_back(line);
                             }});
    setup.input_fd = 3;
    setup.on_end = [this](int code) { status = code; };
    return setup;
  }
  bool wait_for_end() {
    const auto end = event_loop::clock::now() + seconds(60);
    while (!status && event_loop::clock::now() < end)
      loop.run_once(seconds(1));
    return status.has_value();
  }

  event_loop loop;
  lines said;
  std::optional<int> status;
  collect::helper_process child{loop};
};

TEST_F(helper_process, gives_its_lines_and_then_its_end) {
  ASSERT_EQ(child.start(shell("echo one; echo; printf three; exit 7")), "");
  ASSERT_TRUE(wait_for_end());
  EXPECT_EQ(said, (lines{"one", "", "three"}));
  EXPECT_EQ(end_text(*status), "exit status 7");
  EXPECT_FALSE(child.running());
  EXPECT_TRUE(loop.idle());
}

TEST_F(helper_process, is_sent_more_than_a_pipe_holds) {
  ASSERT_EQ(child.start(shell("wc -c <&3")), "");
  const std::string part(100'000, 'x');
  for (int i = 0; i < 10; ++i)
    child.send(part);
  child.end_input();
  ASSERT_TRUE(wait_for_end());
  EXPECT_EQ(said, lines{"1000000"});
}

TEST_F(helper_process, may_stop_reading) {
  ASSERT_EQ(child.start(shell("exec 3<&-; echo closed; exit 3")), "");
  while (said.empty())
    loop.run_once(seconds(60));
  child.send(std::string(1'000'000, 'x'));
  child.send("more");
  ASSERT_TRUE(wait_for_end());
  EXPECT_EQ(end_text(*status), "exit status 3");
}

// A grandchild that keeps the pipe does not keep us.
TEST_F(helper_process, ends_when_it_has_ended) {
  ASSERT_EQ(child.start(shell("sleep 600 & echo $!; exit 0")), "");
  ASSERT_TRUE(wait_for_end());
  ASSERT_EQ(said.size(), 1u);
  ::kill(std::stoi(said[0]), SIGKILL);
}

TEST_F(helper_process, does_not_inherit_what_we_block) {
  sigset_t term;
  sigset_t before;
  ::sigemptyset(&term);
  ::sigaddset(&term, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &term, &before);
  const std::string problem = child.start(shell("echo ready; exec sleep 600"));
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ASSERT_EQ(problem, "");
  while (said.empty())
    loop.run_once(seconds(60));
  child.signal(SIGTERM);
  ASSERT_TRUE(wait_for_end());
  EXPECT_EQ(end_text(*status), "signal 15 (Terminated)");
}

TEST_F(helper_process, has_a_process_group_of_its_own) {
  ASSERT_EQ(child.start(shell("ps -o pgid= -p $$; echo $$")), "");
  ASSERT_TRUE(wait_for_end());
  ASSERT_EQ(said.size(), 2u);
  EXPECT_EQ(std::stoi(said[0]), std::stoi(said[1]));
}

TEST_F(helper_process, says_what_cannot_be_started) {
  collect::helper_setup setup = shell("");
  setup.argv = {"/nowhere/program"};
  EXPECT_EQ(child.start(setup),
            "cannot start /nowhere/program (2): No such file or directory");
  EXPECT_FALSE(child.running());
}

TEST_F(helper_process, is_ended_with_its_object) {
  collect::helper_setup setup = shell("echo $$; exec sleep 600");
  {
    collect::helper_process other(loop);
    ASSERT_EQ(other.start(setup), "");
    while (said.empty())
      loop.run_once(seconds(60));
  }
  EXPECT_EQ(::kill(std::stoi(said[0]), 0), -1);
  EXPECT_TRUE(loop.idle());
}

TEST_F(helper_process, lives_on_when_it_is_let_go) {
  {
    collect::helper_process other(loop);
    ASSERT_EQ(other.start(shell("echo $$; cat <&3; exit 0")), "");
    while (said.empty())
      loop.run_once(seconds(60));
    other.let_go();
  }
  // The end of its input is what ends it.
  int code = 0;
  EXPECT_EQ(::waitpid(std::stoi(said[0]), &code, 0), std::stoi(said[0]));
  EXPECT_EQ(code, 0);
}

}  // namespace
}  // namespace zelk::collect
