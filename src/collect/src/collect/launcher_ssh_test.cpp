#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/collect/launch_fixture.h"
#include "src/collect/src/collect/launcher.h"
#include "src/common/str/str.h"

namespace zelk::collect {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::exists;
using testing::expect_nothing_left;
using testing::launching;
using testing::shell_launch;
using util::testing::process_mark;

// Does on this machine what the host's name says. Like sshd it gives each
// command a session of its own, which outlives the connection, and closes its
// streams when that breaks.
constexpr char stand_in[] = R"(#!/bin/sh
printf '%s\n' "$@" >"$0.args"
while :; do
  case $1 in
  -o | -l) shift 2 ;;
  --) shift; break ;;
  *) shift ;;
  esac
done
host=$1
shift
case $host in
refused) echo "ssh: connect to host refused port 22: Connection refused" >&2
  exit 255 ;;
slow) exec sleep 600 ;;
noisy) echo 'Welcome!'; printf 'no line end'; echo 'motd: 3 users' >&2 ;;
breaks)
  exec 3<&0
  setsid -w sh -c "$*" <&3 3<&- &
  exec 3<&- <&-
  sleep 1
  kill -9 $$
  ;;
esac
exec setsid -w sh -c "$*"
)";

class launcher_ssh : public ::testing::Test {
 protected:
  launcher_ssh() {
    programs_.add("ssh", stand_in);
    settings_.connect_timeout = seconds(10);
  }
  std::string arguments() const {
    return testing::content_of(programs_.folder() + "/ssh.args");
  }

  testing::stand_ins programs_;
  launcher_settings settings_;
};

TEST_F(launcher_ssh, runs_a_program_behind_a_connection) {
  launching all(settings_);
  const launch_outcome outcome =
      all.run(shell_launch("n1", "echo out; echo err >&2; exit 4"));
  EXPECT_EQ(outcome.how, ending::exited);
  EXPECT_EQ(outcome.status, 4);
  EXPECT_EQ(outcome.output, "out\n");
  EXPECT_EQ(outcome.errors, "err\n");
}

TEST_F(launcher_ssh, puts_nothing_of_a_launch_on_the_command_line) {
  settings_.ssh_options = {"StrictHostKeyChecking=no", "Port=2222"};
  settings_.user = "admin";
  settings_.connect_timeout = milliseconds(1200);
  launching all(settings_);
  all.run(shell_launch("n1", "echo 'secret'"));
  EXPECT_EQ(arguments(),
            "-T\n-a\n-x\n-o\nStrictHostKeyChecking=no\n-o\nPort=2222\n"
            "-o\nBatchMode=yes\n-o\nConnectTimeout=2\n"
            "-o\nServerAliveInterval=1\n-o\nServerAliveCountMax=6\n"
            "-l\nadmin\n--\nn1\nexec /bin/sh -s zelk-collect\n");
}

TEST_F(launcher_ssh, takes_no_host_name_for_an_option) {
  launching all(settings_);
  EXPECT_EQ(all.run(shell_launch("-oProxyCommand=id", "echo ok")).output,
            "ok\n");
}

TEST_F(launcher_ssh, leaves_out_what_a_login_prints) {
  launching all(settings_);
  const launch_outcome outcome =
      all.run(shell_launch("noisy", "echo out; echo err >&2"));
  EXPECT_EQ(outcome.output, "out\n");
  EXPECT_EQ(outcome.errors, "err\n");
  EXPECT_EQ(outcome.how, ending::exited);
}

TEST_F(launcher_ssh, passes_on_what_ssh_said) {
  launching all(settings_);
  const launch_outcome outcome = all.run(shell_launch("refused", "true"));
  EXPECT_EQ(outcome.how, ending::refused);
  EXPECT_EQ(outcome.reason,
            "ssh: connect to host refused port 22: Connection refused");
  EXPECT_EQ(outcome.common_reason, "ssh: connect to host: Connection refused");
}

TEST_F(launcher_ssh, runs_the_others_when_some_fail) {
  launching all(settings_);
  all.start({shell_launch("refused", "true"), shell_launch("n1", "echo 1"),
             shell_launch("n2", "echo 2")});
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.outcome("n1").output + all.outcome("n2").output, "1\n2\n");
}

TEST_F(launcher_ssh, gives_up_a_login_that_does_not_come) {
  const process_mark mark;
  settings_.connect_timeout = milliseconds(300);
  launching all(settings_);
  const launch_outcome outcome = all.run(shell_launch("slow", "true"));
  EXPECT_EQ(outcome.how, ending::connect_timeout);
  EXPECT_EQ(outcome.reason, "ssh: no login on slow within 1 s");
  EXPECT_EQ(outcome.common_reason, "ssh: no login within 1 s");
  EXPECT_LT(outcome.took.count(), 20);
  expect_nothing_left(mark);
}

TEST_F(launcher_ssh, notices_that_a_connection_broke) {
  const process_mark mark;
  launching all(settings_);
  const launch_outcome outcome =
      all.run(shell_launch("breaks", "echo ready; sleep 600"));
  EXPECT_EQ(outcome.how, ending::lost);

  EXPECT_EQ(outcome.output, "ready\n");
  expect_nothing_left(mark);
}

TEST_F(launcher_ssh, leaves_nothing_on_a_node_when_abandoned) {
  const process_mark mark;
  const util::testing::scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  launching all(settings_);
  all.start({shell_launch("n1", "echo >" + ready + "; sleep 600")});
  ASSERT_TRUE(all.wait_until([&] { return exists(ready); }));
  all.get().abandon();
  ASSERT_TRUE(all.wait(seconds(5)));
  EXPECT_EQ(all.outcome("n1").how, ending::stopped);
  expect_nothing_left(mark);
}

TEST_F(launcher_ssh, leaves_nothing_on_a_node_when_the_collector_is_killed) {
  const process_mark mark;
  const util::testing::scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  const pid_t collector = ::fork();
  if (collector == 0) {
    launching all(settings_);
    all.start({shell_launch("n1", "echo >" + ready + "; sleep 600"),
               shell_launch("slow", "true")});
    all.wait(seconds(600));
    ::_exit(0);
  }
  ASSERT_TRUE(util::testing::wait_until([&] { return exists(ready); }));
  ::kill(collector, SIGKILL);
  ::waitpid(collector, nullptr, 0);
  expect_nothing_left(mark);
}

TEST_F(launcher_ssh, stops_a_login_that_has_not_come_at_once) {
  launching all(settings_);
  all.start({shell_launch("slow", "true")});
  all.loop().run_once(milliseconds(50));
  all.get().stop();
  ASSERT_TRUE(all.wait(seconds(10)));
  EXPECT_EQ(all.outcome("slow").how, ending::stopped);
}

TEST_F(launcher_ssh, says_that_there_is_no_ssh) {
  const testing::environment_variable path("PATH", "/nonexistent");
  launching all(settings_);
  const launch_outcome outcome = all.run(shell_launch("n1", "true"));
  EXPECT_EQ(outcome.how, ending::launcher_failed);
  EXPECT_EQ(outcome.reason,
            "ssh cannot be started (2): No such file or directory");
}

TEST_F(launcher_ssh, serves_many_nodes) {
  settings_.fanout = 16;
  std::vector<launch> launches;
  launches.reserve(100);
  for (int i = 0; i < 100; ++i)
    launches.push_back(shell_launch("n" + std::to_string(i), "echo $0"));
  for (launch& one : launches)
    one.argv.push_back(one.node);
  const process_mark mark;
  launching all(settings_);
  all.start(std::move(launches));
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.order().size(), 100U);
  for (const std::string& node : all.order())
    EXPECT_EQ(all.outcome(node).output, node + "\n");
  expect_nothing_left(mark);
}

}  // namespace
}  // namespace zelk::collect
