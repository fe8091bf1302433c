#include <signal.h>
#include <unistd.h>

#include <chrono>
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
using testing::launching;
using testing::shell_launch;
using util::testing::process_mark;
using util::testing::scratch_folder;

launcher_settings local_settings(int fanout = 8) {
  launcher_settings settings;
  settings.kind = "local";
  settings.fanout = fanout;
  return settings;
}

TEST(launcher_local, tells_what_a_program_printed_and_how_it_ended) {
  launching all(local_settings());
  const launch_outcome outcome =
      all.run(shell_launch("n1", "echo out; echo err >&2; exit 3"));
  EXPECT_EQ(outcome.node, "n1");
  EXPECT_EQ(outcome.how, ending::exited);
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.output, "out\n");
  EXPECT_EQ(outcome.errors, "err\n");
  EXPECT_EQ(outcome.reason, "sh ended with exit status 3: err");
  EXPECT_GT(outcome.took.count(), 0);
}

TEST(launcher_local, has_no_reason_for_a_success) {
  launching all(local_settings());
  const launch_outcome outcome = all.run(shell_launch("n1", "echo n1"));
  EXPECT_EQ(outcome.how, ending::exited);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "n1\n");
  EXPECT_EQ(outcome.reason, "");
  EXPECT_EQ(outcome.common_reason, "");
}

TEST(launcher_local, passes_any_argument_through_unchanged) {
  const std::vector<std::string> words{
      "",      "a b",    "it's",  "'",       "\"",         "$HOME",  "`id`",
      "\\",    "\\n",    "a\nb",  "*",       "~",          "#",      "-n",
      "--",    "!!",     "%h",    "\t",      "\303\244",   "$(id)",  "{}",
      "n1",    "xn1'n1", "a;b",   "a&b|c>d", "{files",     "'\\''",  "$n",
      "\001x", "=x",     "\377z", "-",       "ends in \n", "\\\\n1", "\r"};
  launch what;
  what.node = "n1";
  what.argv = {"/usr/bin/printf", "%s\\0"};
  what.argv.insert(what.argv.end(), words.begin(), words.end());
  launching all(local_settings());
  const launch_outcome outcome = all.run(what);
  EXPECT_EQ(outcome.reason, "");
  std::vector<std::string> printed = str::split(outcome.output, '\0');
  printed.pop_back();
  EXPECT_EQ(printed, words);
}

TEST(launcher_local, sets_the_environment) {
  launch what = shell_launch("n1", "printf %s \"$ZELK_A|$ZELK_B\"");
  what.environment = {{"ZELK_A", "it's $HOME\n"}, {"ZELK_B", ""}};
  launching all(local_settings());
  EXPECT_EQ(all.run(what).output, "it's $HOME\n|");
}

TEST(launcher_local, writes_files_and_removes_them) {
  launch what = shell_launch(
      "n1",
      "cat \"$0/hosts\" \"$0/it's\"; ls -ld \"$0\" | cut -c1-10; echo $0");
  what.files = {{"hosts", "n1\nn2\n"}, {"it's", "100 % $HOME\\\n"}};
  what.argv.emplace_back("{files}");
  launching all(local_settings());
  const launch_outcome outcome = all.run(what);
  EXPECT_EQ(outcome.reason, "");
  const std::vector<std::string> lines = str::split(outcome.output, '\n', true);
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0] + "," + lines[1] + "," + lines[2], "n1,n2,100 % $HOME\\");
  EXPECT_EQ(lines[3], "drwx------");
  EXPECT_FALSE(exists(lines[4]));
}

TEST(launcher_local, replaces_the_folder_anywhere_in_an_argument) {
  launch what = shell_launch("n1", "printf %s \"$0\"");
  what.files = {{"a", ""}};
  what.argv.emplace_back("--x={files}/a,{files}");
  launching all(local_settings());
  const std::string output = all.run(what).output;
  const std::string folder = output.substr(output.find(',') + 1);
  EXPECT_EQ(output, "--x=" + folder + "/a," + folder);
  EXPECT_EQ(folder[0], '/');
}

TEST(launcher_local, writes_a_large_file) {
  launch what = shell_launch("n1", "wc -c <\"$0/big\"");
  what.files = {{"big", std::string(300'000, 'x')}};
  what.argv.emplace_back("{files}");
  launching all(local_settings());
  EXPECT_EQ(str::strip(all.run(what).output), "300000");
}

TEST(launcher_local, finds_another_folder_when_one_cannot_be_written) {
  const testing::environment_variable broken("TMPDIR", "/proc/none");
  launch what = shell_launch("n1", "cat \"$0/a\"");
  what.files = {{"a", "there"}};
  what.argv.emplace_back("{files}");
  launching all(local_settings());
  EXPECT_EQ(all.run(what).output, "there");
}

TEST(launcher_local, tells_that_a_program_is_missing) {
  launching all(local_settings());
  launch what;
  what.node = "n1";
  what.argv = {"/no/such/worker", "-h"};
  launch_outcome outcome = all.run(what);
  EXPECT_EQ(outcome.how, ending::program_missing);
  EXPECT_EQ(outcome.reason,
            "/no/such/worker is not there or cannot be executed");
  what.argv = {"zelk-no-such-program"};
  EXPECT_EQ(all.run(what).how, ending::program_missing);
  what.argv = {"/tmp"};  // a folder can be "executed", too
  EXPECT_EQ(all.run(what).how, ending::program_missing);
}

TEST(launcher_local, tells_that_a_program_cannot_be_executed) {
  const scratch_folder folder;
  const std::string program = folder.path() + "/worker";
  std::ofstream(program) << std::string("\177ELF broken\0", 12);
  ::chmod(program.c_str(), 0755);
  launching all(local_settings());
  launch what;
  what.node = "n1";
  what.argv = {program};
  const launch_outcome outcome = all.run(what);
  EXPECT_EQ(outcome.how, ending::program_missing);
  EXPECT_EQ(outcome.reason.find("worker cannot be executed: "), 0U)
      << outcome.reason;
}

TEST(launcher_local, finds_a_program_by_path) {
  launching all(local_settings());
  launch what;
  what.node = "n1";
  what.argv = {"echo", "found"};
  EXPECT_EQ(all.run(what).output, "found\n");
}

TEST(launcher_local, starts_the_right_version_only) {
  const scratch_folder folder;
  const std::string program = folder.path() + "/worker";
  std::ofstream(program) << "#!/bin/sh\necho started\n#@(#)zelk_run_provider "
                            "1.2.0>\n";
  ::chmod(program.c_str(), 0755);
  launching all(local_settings());
  launch what;
  what.node = "n1";
  what.argv = {program};
  what.version = "1.2.0";
  EXPECT_EQ(all.run(what).output, "started\n");
  for (const char* other : {"1.2", "1.2.0.1", "11.2.0", "2.0"}) {
    SCOPED_TRACE(other);
    what.version = other;
    const launch_outcome outcome = all.run(what);
    EXPECT_EQ(outcome.how, ending::wrong_version);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.reason,
              std::string("worker is version 1.2.0 and not ") + other);
  }
  what.argv = {"/bin/true"};
  EXPECT_EQ(all.run(what).reason, "true is version unknown and not 2.0");
}

TEST(launcher_local, tells_which_signal_ended_a_program) {
  launching all(local_settings());
  const launch_outcome outcome = all.run(shell_launch("n1", "kill -9 $$"));
  EXPECT_EQ(outcome.how, ending::signalled);
  EXPECT_EQ(outcome.status, SIGKILL);
  EXPECT_EQ(outcome.reason, "sh was ended by signal 9 (Killed)");
}

TEST(launcher_local, gives_a_program_an_empty_input) {
  launching all(local_settings());
  EXPECT_EQ(all.run(shell_launch("n1", "cat; echo end")).output, "end\n");
}

TEST(launcher_local, gives_a_program_a_session_of_its_own) {
  launching all(local_settings());
  // Its leader is the parent, timeout(1).
  const launch_outcome outcome = all.run(
      shell_launch("n1", "[ $(ps -o sid= -p $$) -eq $PPID ] && echo own"));
  EXPECT_EQ(outcome.output, "own\n");
}

TEST(launcher_local, ends_a_program_at_its_limit) {
  const process_mark mark;
  launching all(local_settings());
  const launch_outcome outcome =
      all.run(shell_launch("n1", "echo ready; sleep 600", milliseconds(900)));
  EXPECT_EQ(outcome.how, ending::timed_out);
  EXPECT_EQ(outcome.output, "ready\n");
  EXPECT_EQ(outcome.reason, "sh was stopped at its limit of 1 s");
  EXPECT_GE(outcome.took.count(), 0.9);
  EXPECT_LT(outcome.took.count(), 9);
  testing::expect_nothing_left(mark);
}

TEST(launcher_local, kills_what_does_not_end_at_its_limit) {
  const process_mark mark;
  launching all(local_settings());
  const launch_outcome outcome = all.run(shell_launch(
      "n1", "trap '' TERM; echo ready; while :; do sleep 1; done", seconds(1)));
  EXPECT_EQ(outcome.how, ending::timed_out);
  EXPECT_GE(outcome.took.count(), 11);
  testing::expect_nothing_left(mark);
}

TEST(launcher_local, leaves_nothing_behind_a_normal_end) {
  const process_mark mark;
  launching all(local_settings());
  const int before = util::testing::open_descriptors();
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(all.run(shell_launch("n1", "true")).reason, "");
  testing::expect_nothing_left(mark);
  EXPECT_EQ(util::testing::open_descriptors(), before);
  EXPECT_TRUE(util::testing::has_no_child());
}

TEST(launcher_local, stops_what_runs_and_starts_nothing_more) {
  const process_mark mark;
  launching all(local_settings(1));
  const scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  all.start({shell_launch("n1", "echo >" + ready + "; sleep 600"),
             shell_launch("n2", "echo never")});
  ASSERT_TRUE(all.wait_until([&] { return exists(ready); }));
  all.get().stop();
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.outcome("n1").how, ending::stopped);
  EXPECT_EQ(all.outcome("n2").how, ending::stopped);
  EXPECT_EQ(all.outcome("n2").output, "");
  EXPECT_EQ(all.outcome("n1").reason, "stopped");
  testing::expect_nothing_left(mark);
}

TEST(launcher_local, asks_before_it_kills) {
  launching all(local_settings());
  const scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  all.start({shell_launch("n1", "trap 'echo bye; exit 7' TERM; echo >" + ready +
                                    "; while :; do sleep 0.1; done")});
  ASSERT_TRUE(all.wait_until([&] { return exists(ready); }));
  all.get().stop();
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.outcome("n1").how, ending::stopped);
  EXPECT_EQ(all.outcome("n1").status, 7);
  EXPECT_EQ(all.outcome("n1").output, "bye\n");
}

TEST(launcher_local, abandons_at_once_and_still_leaves_nothing) {
  const process_mark mark;
  launching all(local_settings());
  const scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  all.start({shell_launch("n1", "echo >" + ready + "; sleep 600")});
  ASSERT_TRUE(all.wait_until([&] { return exists(ready); }));
  all.get().abandon();
  ASSERT_TRUE(all.wait(seconds(2)));
  EXPECT_EQ(all.outcome("n1").how, ending::stopped);
  testing::expect_nothing_left(mark);
}

TEST(launcher_local, leaves_nothing_when_it_is_dropped) {
  const process_mark mark;
  const scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  launching all(local_settings());
  all.start({shell_launch("n1", "echo >" + ready + "; sleep 600")});
  ASSERT_TRUE(all.wait_until([&] { return exists(ready); }));
  all.drop();
  testing::expect_nothing_left(mark);
}

// Whoever started it is gone, by SIGKILL: nobody can say good-bye.
TEST(launcher_local, leaves_nothing_when_the_collector_is_killed) {
  const process_mark mark;
  const scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  const pid_t collector = ::fork();
  if (collector == 0) {
    launching all(local_settings());
    all.start({shell_launch("n1", "echo >" + ready + "; sleep 600")});
    all.wait(seconds(600));
    ::_exit(0);
  }
  ASSERT_TRUE(util::testing::wait_until([&] { return exists(ready); }));
  ::kill(collector, SIGKILL);
  ::waitpid(collector, nullptr, 0);
  testing::expect_nothing_left(mark);
}

TEST(launcher_local, runs_no_more_at_once_than_the_fan_out) {
  const scratch_folder folder;
  std::vector<launch> launches;
  launches.reserve(12);
  // Each counts how many there are, while it is one of them.
  for (int i = 0; i < 12; ++i) {
    launches.push_back(shell_launch("n" + std::to_string(i),
                                    "cd " + folder.path() +
                                        "; touch run.$$; ls run.* | wc -l; "
                                        "sleep 0.1; rm run.$$"));
  }
  launching all(local_settings(3));
  all.start(std::move(launches));
  ASSERT_TRUE(all.wait());
  int most = 0;
  for (const std::string& node : all.order())
    most = std::max(most, std::stoi(all.outcome(node).output));
  EXPECT_LE(most, 3);
  EXPECT_GE(most, 2);
  EXPECT_EQ(all.order().size(), 12U);
}

TEST(launcher_local, keeps_head_and_tail_of_a_flood) {
  launching all(local_settings());
  const launch_outcome outcome = all.run(
      shell_launch("n1", "echo first; yes | head -c 20000000; echo last"));
  EXPECT_LT(outcome.output.size(), std::size_t{257} << 10);
  EXPECT_EQ(outcome.output.find("first\n"), 0U);
  EXPECT_NE(outcome.output.find(" bytes left out ...]\n"), std::string::npos);
  EXPECT_EQ(outcome.output.substr(outcome.output.size() - 7), "y\nlast\n");
}

TEST(launcher_local, refuses_what_no_node_could_run) {
  launching all(local_settings());
  launch what = shell_launch("n1", "true");
  what.environment = {{"A B", ""}};
  EXPECT_EQ(all.run(what).reason, "'A B' is no name of a variable");
  what = shell_launch("n2", std::string("a\0b", 3));
  EXPECT_EQ(all.run(what).reason, "an argument with a zero byte");
  what = shell_launch("n3", "true");
  what.files = {{"../x", ""}};
  EXPECT_EQ(all.run(what).reason, "'../x' is no name of a file");
  EXPECT_EQ(all.outcome("n3").how, ending::launcher_failed);
}

TEST(launcher_local, may_be_started_again_from_an_outcome) {
  launching all(local_settings(1));
  event_loop& loop = all.loop();
  std::string outputs;
  int left = 3;
  std::function<void(launch_outcome)> again =
      [&](const launch_outcome& outcome) {
        outputs += outcome.output;
        if (--left > 0) all.get().start({shell_launch("n", "echo x")}, again);
      };
  all.get().start({shell_launch("n", "echo x")}, again);
  EXPECT_EQ(outputs, "");
  while (left > 0)
    loop.run_once();
  EXPECT_EQ(outputs, "x\nx\nx\n");
}

TEST(launcher_local, waits_before_the_program_when_it_is_to_stagger) {
  launcher_settings settings = local_settings(20);
  settings.stagger = seconds(1);
  launching all(settings);
  std::vector<launch> launches;
  launches.reserve(16);
  for (int i = 0; i < 16; ++i)
    launches.push_back(shell_launch("n" + std::to_string(i), "echo ok"));
  all.start(std::move(launches));
  ASSERT_TRUE(all.wait());
  int late = 0;
  for (const std::string& node : all.order()) {
    EXPECT_EQ(all.outcome(node).output, "ok\n");
    if (all.outcome(node).took >= seconds(1)) ++late;
  }
  // Each waits a second or not, by chance: all alike is one case in 32,768.
  EXPECT_GT(late, 0);
  EXPECT_LT(late, 16);
}

TEST(launcher_local, is_one_of_the_kinds) {
  EXPECT_EQ(launcher_kinds(),
            (std::vector<std::string>{"local", "mpi", "slurm", "ssh"}));
  event_loop loop;
  launcher_settings settings;
  settings.kind = "none";
  EXPECT_EQ(make_launcher(settings, loop), nullptr);
}

}  // namespace
}  // namespace zelk::collect
