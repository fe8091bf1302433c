#include "src/collect/src/collect/remote_script.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/collect/child_process.h"
#include "src/collect/src/collect/launch_fixture.h"
#include "src/common/str/str.h"

namespace zelk::collect {
namespace {

using std::chrono::seconds;
using testing::exists;
using testing::expect_nothing_left;
using testing::shell_launch;
using util::testing::process_mark;
using util::testing::scratch_folder;

// One shell that runs a text.
class shell_run {
 public:
  shell_run(std::vector<std::string> shell, std::string text)
      : child_(loop_, {[this](std::string_view bytes) { output_ += bytes; },
                       [this](std::string_view bytes) { errors_ += bytes; },
                       [this](int) { ended_ = true; }}) {
    child_command command;
    command.argv = std::move(shell);
    command.input = std::move(text);
    EXPECT_EQ(child_.start(std::move(command)), 0);
  }
  bool wait(seconds longest = seconds(30)) {
    const auto end = event_loop::clock::now() + longest;
    while (!ended_ && event_loop::clock::now() < end)
      loop_.run_once(std::chrono::milliseconds(20));
    return ended_;
  }
  template <typename Condition>
  void wait_for(Condition condition) {
    while (!condition())
      loop_.run_once(std::chrono::milliseconds(20));
  }
  child_process& child() { return child_; }
  const std::string& output() const { return output_; }
  const std::string& errors() const { return errors_; }

 private:
  event_loop loop_;
  std::string output_;
  std::string errors_;
  bool ended_ = false;
  child_process child_;
};

script_options options() {
  script_options made;
  made.nonce = "7";
  return made;
}

class remote_script_in
    : public ::testing::TestWithParam<std::vector<std::string>> {
 protected:
  std::vector<std::string> shell() const {
    std::vector<std::string> words = GetParam();
    words.emplace_back("-s");
    words.emplace_back("zelk-collect");
    return words;
  }
};

TEST_P(remote_script_in, says_begin_and_end) {
  shell_run run(shell(), remote_script(shell_launch("n1",
                                                    "echo out; echo err >&2; "
                                                    "exit 3"),
                                       options()));
  ASSERT_TRUE(run.wait());
  EXPECT_EQ(run.output(),
            "\nZELK_LAUNCH:7:begin n1\nout\n\nZELK_LAUNCH:7:end exit 3\n");
  EXPECT_EQ(run.errors(), "\nZELK_LAUNCH:7:begin n1\nerr\n");
}

TEST_P(remote_script_in, ends_a_program_when_its_input_ends) {
  const process_mark mark;
  shell_run run(
      shell(),
      remote_script(shell_launch("n1", "echo ready; sleep 600"), options()));
  run.wait_for([&] { return str::split(run.output(), '\n').size() > 3; });
  run.child().close_input();
  ASSERT_TRUE(run.wait());
  EXPECT_EQ(run.output(),
            "\nZELK_LAUNCH:7:begin n1\nready\n\nZELK_LAUNCH:7:end stopped "
            "143\n");
  EXPECT_EQ(run.errors(), "\nZELK_LAUNCH:7:begin n1\n");
  expect_nothing_left(mark);
}

TEST_P(remote_script_in, ends_a_program_when_it_is_told_to) {
  const process_mark mark;
  script_options without_lifeline = options();
  without_lifeline.line = lifeline::none;
  shell_run run(shell(),
                remote_script(shell_launch("n1", "echo ready; sleep 600"),
                              without_lifeline));
  run.child().close_input();
  run.wait_for([&] { return str::split(run.output(), '\n').size() > 3; });
  run.child().signal(SIGTERM);
  ASSERT_TRUE(run.wait());
  EXPECT_NE(run.output().find("ZELK_LAUNCH:7:end stopped 143\n"),
            std::string::npos)
      << run.output();
  expect_nothing_left(mark);
}

TEST_P(remote_script_in, ends_a_program_at_its_limit) {
  const process_mark mark;
  shell_run run(
      shell(),
      remote_script(shell_launch("n1", "sleep 600", seconds(1)), options()));
  ASSERT_TRUE(run.wait());
  EXPECT_EQ(run.output().find("\nZELK_LAUNCH:7:begin n1\n\nZELK_LAUNCH:7:end "
                              "exit 1"),
            0U)
      << run.output();
  expect_nothing_left(mark);
}

TEST_P(remote_script_in, kills_what_ignores_the_end) {
  const process_mark mark;
  script_options impatient = options();
  impatient.grace = seconds(1);
  shell_run run(shell(),
                remote_script(shell_launch("n1",
                                           "trap '' TERM; echo ready; "
                                           "while :; do sleep 1; done"),
                              impatient));
  run.wait_for([&] { return str::split(run.output(), '\n').size() > 3; });
  run.child().close_input();
  ASSERT_TRUE(run.wait());
  EXPECT_NE(run.output().find(":end stopped 137\n"), std::string::npos)
      << run.output();
  expect_nothing_left(mark);
}

// It reaches its end while the readers are being started.
TEST_P(remote_script_in, leaves_nothing_behind_the_quickest_of_programs) {
  const process_mark mark;
  for (int i = 0; i < 20; ++i) {
    launch what = shell_launch("n1", "true");
    what.argv = {"true"};
    shell_run run(shell(), remote_script(what, options()));
    ASSERT_TRUE(run.wait());
    EXPECT_NE(run.output().find(":end exit 0\n"), std::string::npos);
  }
  expect_nothing_left(mark);
}

// The input ends at any moment, that of the start included.
TEST_P(remote_script_in, leaves_nothing_however_soon_the_input_ends) {
  const process_mark mark;
  for (int i = 0; i < 10; ++i) {
    shell_run run(shell(),
                  remote_script(shell_launch("n1", "sleep 600"), options()));
    run.wait_for([&] { return run.output().size() > 10; });
    usleep(static_cast<useconds_t>(i * 500));
    run.child().close_input();
    ASSERT_TRUE(run.wait());
    EXPECT_NE(run.output().find(":end stopped "), std::string::npos);
  }
  expect_nothing_left(mark);
}

TEST_P(remote_script_in, starts_nothing_from_a_text_that_was_cut_off) {
  const scratch_folder folder;
  const std::string proof = folder.path() + "/ran";
  const std::string text =
      remote_script(shell_launch("n1", "echo >" + proof), options());
  for (std::size_t size = 0; size + 2 < text.size(); size += 97) {
    shell_run run(shell(), text.substr(0, size));
    run.child().close_input();
    ASSERT_TRUE(run.wait());
  }
  EXPECT_FALSE(exists(proof));
}

TEST_P(remote_script_in, finds_the_version_in_a_program) {
  const scratch_folder folder;
  const std::string program = folder.path() + "/worker";
  std::ofstream(program, std::ios::binary)
      << "#!/bin/sh\necho started\nexit\n"
      << std::string("\0\1\377\0", 4) << version_mark("1.2.0")
      << std::string("\0@(#)other 7>", 13);
  ::chmod(program.c_str(), 0755);
  launch what;
  what.node = "n1";
  what.argv = {program};
  what.version = "1.2.0";
  shell_run right(shell(), remote_script(what, options()));
  ASSERT_TRUE(right.wait());
  EXPECT_NE(right.output().find("\nstarted\n"), std::string::npos)
      << right.output();
  what.version = "1.3.0";
  shell_run wrong(shell(), remote_script(what, options()));
  ASSERT_TRUE(wrong.wait());
  EXPECT_EQ(wrong.output(),
            "\nZELK_LAUNCH:7:begin n1\n\nZELK_LAUNCH:7:version 1.2.0\n");
}

TEST_P(remote_script_in, says_which_tool_a_node_lacks) {
  const testing::environment_variable path("PATH", "/nonexistent");
  shell_run run(shell(), remote_script(shell_launch("n1", "true"), options()));
  ASSERT_TRUE(run.wait());
  EXPECT_EQ(run.output(),
            "\nZELK_LAUNCH:7:begin n1\n\nZELK_LAUNCH:7:lacks setsid\n");
}

TEST_P(remote_script_in, gives_each_of_many_nodes_what_is_its_own) {
  std::vector<launch> launches;
  for (const char* node : {"n1", "n2", "n10"}) {
    launch what = shell_launch(node, "cat \"$0/f\"; echo $1,$ZELK_N");
    what.argv.insert(what.argv.end(), {"{files}", std::string(node) + "x"});
    what.environment = {{"ZELK_N", node}};
    what.files = {{"f", node == std::string("n2") ? "two\n" : "other\n"}};
    launches.push_back(what);
  }
  const std::string text =
      remote_script(launches, {options()}, {"ZELK_RANK", {"0", "1", "2"}});
  const std::vector<std::string> expected{"other\nn1x,n1\n", "two\nn2x,n2\n",
                                          "other\nn10x,n10\n"};
  for (std::size_t i = 0; i < 3; ++i) {
    const testing::environment_variable rank("ZELK_RANK", std::to_string(i));
    shell_run run(shell(), text);
    ASSERT_TRUE(run.wait());
    EXPECT_NE(run.output().find("\n" + expected[i]), std::string::npos)
        << run.output();
  }
  const testing::environment_variable rank("ZELK_RANK", "3");
  shell_run run(shell(), text);
  ASSERT_TRUE(run.wait());
  EXPECT_EQ(run.output(), "");
}

std::vector<std::vector<std::string>> installed_shells() {
  const std::vector<std::vector<std::string>> all{
      {"/bin/dash"},          {"/bin/bash"}, {"/bin/bash", "--posix"},
      {"/bin/busybox", "sh"}, {"/bin/ksh"},  {"/bin/mksh"},
      {"/bin/yash"}};
  std::vector<std::vector<std::string>> installed;
  std::copy_if(all.begin(), all.end(), std::back_inserter(installed),
               [](const std::vector<std::string>& words) {
                 return ::access(words.front().c_str(), X_OK) == 0;
               });
  return installed;
}

INSTANTIATE_TEST_SUITE_P(shells, remote_script_in,
                         ::testing::ValuesIn(installed_shells()));

TEST(remote_script, repeats_nothing_for_nodes_that_differ_in_name_only) {
  std::vector<launch> launches;
  std::vector<std::string> values;
  for (int i = 0; i < 1000; ++i) {
    const std::string node = "node" + std::to_string(1000 + i);
    launch what;
    what.node = node;
    what.argv = {"/opt/zelkara/bin/zelk_run_provider", "-H", node,
                 std::string(500, 'x')};
    launches.push_back(what);
    values.push_back(node);
  }
  const std::string text =
      remote_script(launches, {options()}, {"SLURMD_NODENAME", values});
  EXPECT_LT(text.size(), 20'000U);
}

TEST(script_as_command, is_cut_into_portions_that_the_kernel_takes) {
  const std::string text =
      "exec 1>&1\necho '" + std::string(300'000, 'x') + " a  b'\n";
  const std::vector<std::string> words = script_as_command(text);
  for (const std::string& word : words)
    EXPECT_LT(word.size(), 131'072U);
  shell_run run(words, "");
  ASSERT_TRUE(run.wait());
  EXPECT_EQ(run.output(), std::string(300'000, 'x') + " a  b\n");
}

TEST(make_nonce, is_never_the_same) {
  EXPECT_NE(make_nonce(), make_nonce());
  EXPECT_EQ(make_nonce().size(), 16U);
}

}  // namespace
}  // namespace zelk::collect
