// How runs end that do not end by themselves: time-outs, processes that hide,
// hold the pipes, ignore signals or cannot be ended at all.

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"
#include "src/common/util/cmd.h"
#include "src/common/util/cmd_fixture.h"
#include "src/common/util/process_tree.h"

namespace zelk::util {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::in_child;
using lines = std::vector<std::string>;

class cmd_ending : public testing::cmd_fixture {
 protected:
  // Runs with short times. Returns how long the call took, in seconds.
  static double run(cmd& command) {
    command.times.grace = milliseconds(700);
    command.times.patience = milliseconds(500);
    command.times.silence = milliseconds(600);
    command.times.linger = milliseconds(1500);
    command.times.farewell = milliseconds(200);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(command.popen3(), 0);
    const auto took = std::chrono::steady_clock::now() - start;
    return std::chrono::duration<double>(took).count();
  }

  // What the user of a forked child could not end.
  void expect_to_end_what_is_left() {
    const auto gone = [this] {
      for (const std::string& line : mark_.alive()) {
        ::kill(std::stoi(line), SIGKILL);
      }
      reap_ended(0);
      return mark_.alive().empty() && testing::has_no_child();
    };
    EXPECT_TRUE(testing::wait_until(gone));
  }

  static void expect_timed_out(const cmd& command) {
    EXPECT_TRUE(command.timed_out);
    EXPECT_EQ(command.exit_status, 124);
    EXPECT_GE(command.duration, 1);
    EXPECT_EQ(command.left_over, 0);
    EXPECT_EQ(command.not_ended, 0);
  }
};

// ---- after the shell has ended ----

// bash's process substitution prints after the shell has gone.
TEST_F(cmd_ending, waits_for_late_output) {
  cmd command("(sleep 0.4; echo late) & exit 3", 60);
  EXPECT_GE(run(command), 0.4);
  EXPECT_EQ(command.standard_output.view(), "late\n");
  EXPECT_EQ(command.exit_status, 3);
  EXPECT_LT(command.duration, 0.4);
  EXPECT_EQ(command.left_over, 0);
}

TEST_F(cmd_ending, waits_on_while_output_comes) {
  cmd command("(for i in 1 2 3 4; do sleep 0.2; echo $i; done) & exit 0", 60);
  run(command);
  EXPECT_EQ(command.standard_output.view(), "1\n2\n3\n4\n");
}

TEST_F(cmd_ending, does_not_wait_for_a_daemon_that_holds_the_pipe) {
  cmd command("echo hi; setsid sleep 1000 & exit 3", 60);
  const double took = run(command);
  EXPECT_GE(took, 0.6);
  EXPECT_LT(took, 1.4);
  EXPECT_EQ(command.standard_output.view(), "hi\n");
  EXPECT_EQ(command.exit_status, 3);
  EXPECT_EQ(command.left_over, 1);
  EXPECT_LT(command.duration, 0.6);
}

TEST_F(cmd_ending, does_not_wait_for_one_that_prints_for_ever) {
  cmd command("(while :; do echo x; sleep 0.05; done) & exit 0", 60);
  const double took = run(command);
  EXPECT_GE(took, 1.5);
  EXPECT_LT(took, 2.4);
  EXPECT_EQ(command.exit_status, 0);
  EXPECT_FALSE(command.timed_out);
}

// Waiting goes no further beyond the time-out than the silence.
TEST_F(cmd_ending, waits_less_when_the_time_out_is_near) {
  cmd command("(while :; do echo x; sleep 0.05; done) & sleep 0.7; exit 0", 1);
  const double took = run(command);
  EXPECT_GE(took, 1.5);
  EXPECT_LT(took, 2.1);
  EXPECT_EQ(command.exit_status, 0);
}

// The pipes are closed at once, and so is the case.
TEST_F(cmd_ending, ends_what_is_left_in_the_background_at_once) {
  cmd command(
      "nohup sleep 1000 >/dev/null 2>&1 & (setsid sleep 1000 >&- 2>&- &); echo "
      "ok",
      60);
  EXPECT_LT(run(command), 0.55);
  EXPECT_EQ(command.standard_output.view(), "ok\n");
  EXPECT_EQ(command.exit_status, 0);
  EXPECT_EQ(command.left_over, 2);
}

TEST_F(cmd_ending, kills_what_is_left_and_ignores_the_request) {
  cmd command(
      "(trap '' TERM; exec sleep 1000 >&- 2>&-) & while ! grep -q '^sleep' "
      "/proc/$!/cmdline; do :; done",
      60);
  const double took = run(command);
  EXPECT_GE(took, 0.2);
  EXPECT_LT(took, 0.7);
  EXPECT_EQ(command.left_over, 1);
}

TEST_F(cmd_ending, leaves_no_zombies_of_orphans) {
  cmd command("for i in 1 2 3 4 5 6 7 8; do (sh -c : &); done", 60);
  for (int i = 0; i < 20; ++i)
    run(command);
  EXPECT_TRUE(testing::has_no_child());
}

// ---- time-outs ----

TEST_F(cmd_ending, ends_a_command_at_its_time_out) {
  cmd command("echo before; sleep 1000; echo after", 1);
  EXPECT_LT(run(command), 1.65);
  expect_timed_out(command);
  EXPECT_EQ(command.standard_output.view(), "before\n");
  EXPECT_TRUE(WIFSIGNALED(command.status));
  EXPECT_EQ(WTERMSIG(command.status), SIGTERM);
}

TEST_F(cmd_ending, ends_at_once_without_any_time) {
  for (const std::int64_t none : {std::int64_t{0}, std::int64_t{-1},
                                  std::numeric_limits<std::int64_t>::min()}) {
    cmd command("sleep 1000", none);
    EXPECT_LT(run(command), 0.5);
    EXPECT_TRUE(command.timed_out);
    EXPECT_EQ(command.exit_status, 124);
  }
}

TEST_F(cmd_ending, keeps_what_a_trap_prints) {
  cmd command(
      "trap 'echo cleaned; exit 3' TERM; echo up; sleep 1000; echo next", 1);
  EXPECT_LT(run(command), 1.65);
  expect_timed_out(command);
  EXPECT_EQ(command.standard_output.view(), "up\ncleaned\n");
  EXPECT_EQ(WEXITSTATUS(command.status), 3);
}

// What a trap starts to clean up must not be ended in turn.
TEST_F(cmd_ending, lets_a_trap_run_commands) {
  cmd command("trap 'sleep 0.3; sh -c \"echo cleaned\"; exit' TERM; sleep 1000",
              1);
  run(command);
  expect_timed_out(command);
  EXPECT_EQ(command.standard_output.view(), "cleaned\n");
}

TEST_F(cmd_ending, kills_after_the_grace) {
  cmd command("trap '' TERM; sleep 1000; sleep 1000", 1);
  const double took = run(command);
  EXPECT_GE(took, 1.7);
  EXPECT_LT(took, 2.15);
  expect_timed_out(command);
  EXPECT_EQ(WTERMSIG(command.status), SIGKILL);
}

TEST_F(cmd_ending, kills_children_of_a_shell_that_has_gone) {
  cmd command("(trap '' TERM; exec sleep 1000) & sleep 1000", 1);
  const double took = run(command);
  EXPECT_GE(took, 1.7);
  expect_timed_out(command);
  EXPECT_EQ(WTERMSIG(command.status), SIGTERM);
}

// It keeps SIGTERM for later, so it needs SIGCONT.
TEST_F(cmd_ending, ends_a_stopped_command_without_force) {
  cmd command("kill -STOP $$", 1);
  EXPECT_LT(run(command), 1.65);
  expect_timed_out(command);
  EXPECT_EQ(WTERMSIG(command.status), SIGTERM);
}

TEST_F(cmd_ending, is_punctual_while_both_streams_are_flooded) {
  cmd command("yes & yes >&2", 1);
  EXPECT_LT(run(command), 1.65);
  expect_timed_out(command);
  const std::size_t out = command.standard_output.size();
  const std::size_t err = command.standard_error.size();
  EXPECT_GT(out, (out + err) / 20);
  EXPECT_GT(err, (out + err) / 20);
}

TEST_F(cmd_ending, is_never_both_in_time_and_timed_out) {
  for (int i = 0; i < 4; ++i) {
    cmd command("exec sleep 0.998", 1);
    run(command);
    EXPECT_EQ(command.exit_status, command.timed_out ? 124 : 0);
    EXPECT_TRUE(command.timed_out ? command.duration >= 1
                                  : command.status == 0);
  }
}

// ---- processes that hide ----

const char* const hiding[] = {
    "setsid sh -c 'setsid sleep 1000 & sleep 1000' &"
    "(nohup sleep 1000 &) ; timeout 999 sleep 1000; :",
    // daemon after daemon: a new process in a new session every few ms
    "h() { sleep 0.003; (setsid sh -c \"$H\" &) ; }; H='sleep 0.003; "
    "(setsid sh -c \"$H\" &)'; export H; h; sleep 1000",
    // two that restart each other
    "W='while :; do sleep 0.02; kill -0 $P || { P=$$ setsid sh -c \"$W\" & "
    "P=$!; }; done'; export W; P=$$ setsid sh -c \"$W\" & sleep 1000",
    // a process group of its own with everything ignored
    "set -m; (trap '' TERM INT HUP; while :; do sleep 0.01; done) & sleep 1000",
};

TEST_F(cmd_ending, finds_every_process_that_hides) {
  for (const char* const line : hiding) {
    SCOPED_TRACE(line);
    cmd command(line, 1);
    EXPECT_LT(run(command), 2.6);
    expect_timed_out(command);
    EXPECT_EQ(mark_.alive(), lines());
    EXPECT_TRUE(testing::has_no_child());
  }
}

TEST_F(cmd_ending, finds_them_on_older_kernels_as_well) {
  testing::hide_children_lists = true;
  const auto open_pidfd = testing::open_pidfd;
  testing::open_pidfd = [](pid_t) {
    errno = ENOSYS;
    return -1;
  };
  for (const char* const line : {hiding[0], hiding[1]}) {
    SCOPED_TRACE(line);
    cmd command(line, 1);
    EXPECT_LT(run(command), 2.6);
    expect_timed_out(command);
    EXPECT_EQ(mark_.alive(), lines());
  }
  cmd normal("sleep 0.1; echo out; (setsid sleep 1000 &) ; exit 3", 60);
  EXPECT_LT(run(normal), 1.4);
  EXPECT_EQ(normal.exit_status, 3);
  EXPECT_EQ(normal.left_over, 1);
  testing::hide_children_lists = false;
  testing::open_pidfd = open_pidfd;
}

TEST_F(cmd_ending, puts_out_a_fork_bomb) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "needs root, for a user with a limit of its own";
  }
  // Without the limit, or with one that does not work, nothing is started.
  cmd command(
      "exec setpriv --reuid 54323 --clear-groups prlimit --nproc=150 sh -c "
      "'grep -q \"^Max processes *150 \" /proc/self/limits || exit; "
      "B='\\''while :; do sh -c \"$B\" & sleep 0.01; done'\\''; export B; "
      "sh -c \"$B\" 2>/dev/null & sleep 1000'",
      1);
  EXPECT_LT(run(command), 3);
  expect_timed_out(command);
}

// ---- processes that are none of ours ----

TEST_F(cmd_ending, spares_children_that_were_there_before) {
  in_child([] {
    ASSERT_EQ(become_subreaper(), 0);
    const pid_t stranger = ::fork();
    if (stranger == 0) {
      if (::fork() == 0) ::execlp("sleep", "sleep", "1000", nullptr);
      ::execlp("sleep", "sleep", "1000", nullptr);
    }
    const auto its_child = [stranger] {
      static pid_list list;
      list.clear();
      append_children(stranger, list);
      return list.size() == 0 ? 0 : *list.begin();
    };
    ASSERT_TRUE(testing::wait_until([&] { return its_child() != 0; }));
    const pid_t below = its_child();
    cmd command("setsid sleep 1000", 1);
    run(command);
    expect_timed_out(command);
    EXPECT_EQ(::kill(below, 0), 0);
    EXPECT_EQ(::kill(stranger, SIGKILL), 0);
    // What the stranger leaves to us is no more ours than it was.
    cmd after("setsid sleep 1000 >&- 2>&- & exit 0", 60);
    run(after);
    EXPECT_EQ(after.left_over, 1);
    EXPECT_EQ(::kill(below, 0), 0);
    int status = 0;
    EXPECT_EQ(::waitpid(stranger, &status, 0), stranger);
    EXPECT_EQ(::kill(below, SIGKILL), 0);
    EXPECT_EQ(::waitpid(below, &status, 0), below);
  });
}

// A child that ended before the run, its status not yet asked for.
TEST_F(cmd_ending, does_not_reap_what_is_not_its_own) {
  const pid_t other = ::fork();
  if (other == 0) ::_exit(42);
  siginfo_t info{};
  ::waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT);
  cmd command("(sleep 1000 >&- 2>&- &) ; exit 5", 60);
  run(command);
  EXPECT_EQ(command.exit_status, 5);
  EXPECT_EQ(command.left_over, 1);
  int status = 0;
  EXPECT_EQ(::waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

// ---- processes that cannot be ended ----

pid_t immortal = 0;

// Stands for a process in a sleep that nothing interrupts.
int spare_the_immortal(pid_t pid, int signal) {
  process_facts facts;
  if (immortal == 0 && read_process(pid, facts) &&
      facts.name.data() == std::string("sleep")) {
    immortal = pid;
  }
  return pid == immortal ? 0 : ::kill(pid, signal);
}

TEST_F(cmd_ending, gives_up_what_cannot_be_ended_and_says_so) {
  immortal = 0;
  testing::send_signal = spare_the_immortal;
  const log::captured_log log;
  cmd command("echo out; (sleep 1000 &) ; trap '' TERM; read x </dev/zero", 1);
  const double took = run(command);
  EXPECT_GE(took, 2.2);
  EXPECT_LT(took, 2.8);
  EXPECT_TRUE(command.timed_out);
  EXPECT_EQ(command.not_ended, 1);
  EXPECT_EQ(command.standard_output.view(), "out\n");
  const std::string text = "Unable to end 1 process of the command '" +
                           command.command + "': " + std::to_string(immortal) +
                           " (sleep, state S)";
  EXPECT_EQ(log.lines(), lines{text});

  // It costs the next one nothing, and nobody says it again.
  cmd next("(setsid sleep 1001 >&- 2>&- &) ; echo next", 60);
  EXPECT_LT(run(next), 0.55);
  EXPECT_EQ(next.left_over, 1);
  EXPECT_EQ(next.not_ended, 0);
  EXPECT_EQ(log.lines().size(), 1U);

  testing::send_signal = ::kill;
  ASSERT_EQ(::kill(immortal, SIGKILL), 0);
  const auto reaped = [] {
    cmd any("true", 60);
    run(any);
    return testing::has_no_child();
  };
  EXPECT_TRUE(testing::wait_until(reaped));
}

// A set-user-id program that has become another user for good, as sudo does.
TEST_F(cmd_ending, says_which_process_it_may_not_end) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to make such a program";
  const testing::scratch_folder scratch;
  const std::string program = scratch.path() + "/become_root";
  std::filesystem::copy_file("/usr/bin/setpriv", program);
  ASSERT_EQ(::chmod(scratch.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(program.c_str(), 04755), 0);
  in_child([&] {
    ASSERT_EQ(::setresgid(54324, 54324, 54324), 0);
    ASSERT_EQ(::setresuid(54324, 54324, 54324), 0);
    const log::captured_log log;
    cmd command(program + " --reuid 0 sleep 1000", 1);
    const double took = run(command);
    EXPECT_LT(took, 2.8);
    EXPECT_TRUE(command.timed_out);
    EXPECT_EQ(command.not_ended, 1);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.text().find(" (sleep, state S) (1): Operation not permitted"),
              std::string::npos)
        << log.text();
    cmd next("echo next", 60);
    EXPECT_LT(run(next), 0.55);
  });
  // It has come to us by now, if an earlier test has made us a subreaper.
  expect_to_end_what_is_left();
}

// In a mount namespace of this process's own.
bool hide_proc() {
  return ::unshare(CLONE_NEWNS) == 0 &&
         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", "/proc", "tmpfs", 0, nullptr) == 0;
}

// Root may not where it is root of a container or of a chroot only.
bool may_hide_proc() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(hide_proc() ? 0 : 1);
  int status = -1;
  ::waitpid(child, &status, 0);
  return status == 0;
}

// Without /proc only the shell itself is known.
TEST_F(cmd_ending, says_so_when_it_cannot_look_for_processes) {
  if (!may_hide_proc()) GTEST_SKIP() << "may not hide /proc here";
  in_child([] {
    ASSERT_TRUE(hide_proc());
    const log::captured_log log;
    cmd command("echo out; exit 3", 60);
    EXPECT_LT(run(command), 0.55);
    EXPECT_EQ(command.exit_status, 3);
    cmd late("trap '' TERM; sleep 1000", 1);
    EXPECT_LT(run(late), 2.8);
    EXPECT_EQ(WTERMSIG(late.status), SIGKILL);
    EXPECT_EQ(log.lines(),
              lines{"Unable to end all processes of the command '" +
                    late.command + "': /proc does not show them"});
  });
  expect_to_end_what_is_left();
}

// The freezer makes a process as deaf as a dead file server does, its child
// below it too: that one does not come to us.
TEST_F(cmd_ending, goes_on_after_a_process_that_sleeps_for_good) {
  const std::string group =
      "/sys/fs/cgroup/freezer/zelk_test_" + std::to_string(::getpid());
  if (::mkdir(group.c_str(), 0700) != 0) {
    GTEST_SKIP() << "needs a freezer (cgroup v1) that may be written to";
  }
  const std::string state = group + "/freezer.state";
  const log::captured_log log;
  cmd command("sleep 1000 & echo $$ >" + group +
                  "/cgroup.procs; echo FROZEN >" + state + "; sleep 1000",
              1);
  run(command);
  EXPECT_TRUE(command.timed_out);
  EXPECT_EQ(command.exit_status, 124);
  EXPECT_EQ(command.status, -1);
  EXPECT_EQ(command.not_ended, 1);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.text().find(" (sh, state D)"), std::string::npos) << log.text();
  EXPECT_EQ(mark_.alive().size(), 1U);

  cmd next("echo next", 60);
  EXPECT_LT(run(next), 0.55);
  EXPECT_EQ(next.standard_output.view(), "next\n");

  std::ofstream(state) << "THAWED" << std::flush;
  const auto reaped = [] {
    cmd any("true", 60);
    run(any);
    return testing::has_no_child();
  };
  EXPECT_TRUE(testing::wait_until(reaped));
  EXPECT_EQ(::rmdir(group.c_str()), 0);
}

}  // namespace
}  // namespace zelk::util
