// srun and mpirun, played by scripts that run every task on this machine.

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/collect/launch_fixture.h"
#include "src/collect/src/collect/launcher.h"

namespace zelk::collect {
namespace {

using std::chrono::seconds;
using testing::environment_variable;
using testing::exists;
using testing::expect_nothing_left;
using testing::launching;
using testing::shell_launch;
using util::testing::process_mark;

constexpr char sinfo[] = R"(#!/bin/sh
printf 'n1 idle\nn2 idle\nn3 idle\nn4 down*\ndead idle\n'
)";

// As srun: every task gets the input, or rather its end; a label for each line.
constexpr char srun[] = R"(#!/bin/bash
printf '%s\n' "$@" >"$0.args"
while [[ $1 == --* ]]; do
  [[ $1 == --nodelist=* ]] && list=${1#*=}
  shift
done
list=${list/'n[1-3]'/n1,n2,n3} list=${list/'n[1-2]'/n1,n2}
list=${list/'n[2-3]'/n2,n3}
exec 3<&0
rank=0
for node in ${list//,/ }; do
  if [ $node = dead ]; then
    echo "srun: error: Task launch for StepId=1.0 failed on node dead:" \
      "Communication connection failure" >&2
  else
    SLURMD_NODENAME=$node "$@" <&3 3<&- > >(sed -u "s/^/$rank: /") \
      2> >(sed -u "s/^/$rank: /" >&2) &
  fi
  rank=$((rank + 1))
done
exec 3<&-
wait
)";

// As mpirun: one host that cannot be reached is the end of all; at SIGTERM it
// ends its tasks.
constexpr char mpirun[] = R"(#!/bin/bash
printf '%s\n' "$@" >"$0.args"
env | grep -e ^OMPI_ -e ^PRTE_ | sort >"$0.env"
while [[ $1 == -* ]]; do
  case $1 in --host) list=$2; shift 2 ;; --tag-output) shift ;; *) shift 2 ;; esac
done
if [[ $list == *dead* ]]; then
  echo "ORTE was unable to reliably start one or more daemons." >&2
  exit 1
fi
rank=0 pids=
for node in ${list//,/ }; do
  OMPI_COMM_WORLD_RANK=$rank "$@" </dev/null \
    > >(sed -u "s/^/[1,$rank]<stdout>:/") \
    2> >(sed -u "s/^/[1,$rank]<stderr>:/" >&2) &
  pids="$pids $!"
  rank=$((rank + 1))
done
trap 'kill $pids' TERM
wait
wait
)";

constexpr char ssh[] = R"(#!/bin/sh
while :; do
  case $1 in -o | -l) shift 2 ;; --) shift; break ;; *) shift ;; esac
done
[ "$1" != dead ] ||
  { echo "ssh: connect to host dead port 22: No route to host" >&2; exit 255; }
shift
exec setsid -w sh -c "$*"
)";

class launcher_group : public ::testing::TestWithParam<const char*> {
 protected:
  launcher_group() : job_("SLURM_JOB_ID", "") {
    programs_.add("sinfo", sinfo);
    programs_.add("srun", srun);
    programs_.add("mpirun", mpirun);
    programs_.add("ssh", ssh);
    settings_.kind = GetParam();
    settings_.connect_timeout = seconds(10);
  }
  std::string recorded(const std::string& name) const {
    return testing::content_of(programs_.folder() + "/" + name);
  }

  testing::stand_ins programs_;
  environment_variable job_;
  launcher_settings settings_;
};

TEST_P(launcher_group, gives_each_node_its_own) {
  const process_mark mark;
  std::vector<launch> launches;
  for (const char* node : {"n1", "n2", "n3"}) {
    launches.push_back(
        shell_launch(node,
                     "echo $0 $ZELK_N; cat \"$1/f\"; echo err >&2; exit "
                     "${0#n}"));
    launches.back().argv.insert(launches.back().argv.end(), {node, "{files}"});
    launches.back().environment = {{"ZELK_N", std::string("it's ") + node}};
    launches.back().files = {{"f", std::string("file of ") + node + "\n"}};
  }
  launching all(settings_);
  all.start(std::move(launches));
  ASSERT_TRUE(all.wait());
  for (const std::string node : {"n1", "n2", "n3"}) {
    SCOPED_TRACE(node);
    const launch_outcome& outcome = all.outcome(node);
    EXPECT_EQ(outcome.how, ending::exited) << outcome.reason;
    EXPECT_EQ(outcome.status, node[1] - '0');
    std::string expected = node;
    expected.append(" it's ").append(node).append("\nfile of ");
    EXPECT_EQ(outcome.output, expected.append(node).append("\n"));
    EXPECT_EQ(outcome.errors, "err\n");
  }
  expect_nothing_left(mark);
}

TEST_P(launcher_group, tells_of_the_node_that_is_dead_and_runs_the_others) {
  launching all(settings_);
  all.start({shell_launch("n1", "echo 1"), shell_launch("dead", "true"),
             shell_launch("n2", "echo 2")});
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.outcome("n1").output + all.outcome("n2").output, "1\n2\n");
  EXPECT_EQ(all.outcome("dead").how, ending::no_route);
  EXPECT_FALSE(all.outcome("dead").reason.empty());
}

TEST_P(launcher_group, stops_what_runs) {
  const process_mark mark;
  const util::testing::scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  launching all(settings_);
  all.start({shell_launch("n1", "echo >" + ready + "; sleep 600"),
             shell_launch("n2", "echo >" + ready + "2; sleep 600")});
  ASSERT_TRUE(
      all.wait_until([&] { return exists(ready) && exists(ready + "2"); }));
  all.get().stop();
  ASSERT_TRUE(all.wait(seconds(30)));
  EXPECT_EQ(all.outcome("n1").how, ending::stopped);
  EXPECT_EQ(all.outcome("n2").how, ending::stopped);
  expect_nothing_left(mark);
}

TEST_P(launcher_group, abandons_at_once) {
  const process_mark mark;
  const util::testing::scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  launching all(settings_);
  all.start({shell_launch("n1", "echo >" + ready + "; sleep 600")});
  ASSERT_TRUE(all.wait_until([&] { return exists(ready); }));
  all.get().abandon();
  ASSERT_TRUE(all.wait(seconds(2)));
  EXPECT_EQ(all.outcome("n1").how, ending::stopped);
  expect_nothing_left(mark);
}

TEST_P(launcher_group, leaves_nothing_when_the_collector_is_killed) {
  const process_mark mark;
  const util::testing::scratch_folder folder;
  const std::string ready = folder.path() + "/ready";
  const pid_t collector = ::fork();
  if (collector == 0) {
    launching all(settings_);
    all.start({shell_launch("n1", "echo >" + ready + "; sleep 600")});
    all.wait(seconds(600));
    ::_exit(0);
  }
  ASSERT_TRUE(util::testing::wait_until([&] { return exists(ready); }));
  ::kill(collector, SIGKILL);
  ::waitpid(collector, nullptr, 0);
  expect_nothing_left(mark);
}

TEST_P(launcher_group, stops_before_anything_runs) {
  launching all(settings_);
  all.start({shell_launch("n1", "true"), shell_launch("n2", "true")});
  all.get().stop();
  ASSERT_TRUE(all.wait(seconds(30)));
  EXPECT_EQ(all.order().size(), 2U);
  // Whoever had ended before the stop did so.
  EXPECT_TRUE(all.outcome("n1").how == ending::stopped ||
              all.outcome("n1").how == ending::exited);
}

TEST_P(launcher_group, refuses_a_node_that_is_named_twice) {
  launching all(settings_);
  all.start({shell_launch("n1", "echo first"), shell_launch("n1", "echo 2")});
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.order().size(), 2U);
}

TEST_P(launcher_group, says_that_its_program_is_missing) {
  const environment_variable path("PATH", "/nonexistent");
  launching all(settings_);
  const launch_outcome outcome = all.run(shell_launch("n1", "true"));
  EXPECT_EQ(outcome.how, ending::launcher_failed);
  EXPECT_NE(outcome.reason.find(" cannot be started (2): No such file"),
            std::string::npos)
      << outcome.reason;
}

INSTANTIATE_TEST_SUITE_P(programs, launcher_group,
                         ::testing::Values("slurm", "mpi"));

using launcher_slurm = launcher_group;

TEST_P(launcher_slurm, leaves_out_what_slurm_cannot_give) {
  launching all(settings_);
  all.start({shell_launch("n1", "echo 1"), shell_launch("n4", "true"),
             shell_launch("n5", "true")});
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.outcome("n1").output, "1\n");
  EXPECT_EQ(all.outcome("n4").reason, "slurm: n4 does not respond (down*)");
  EXPECT_EQ(all.outcome("n5").how, ending::unknown_host);
  EXPECT_NE(recorded("srun.args").find("--nodelist=n1\n"), std::string::npos);
}

TEST_P(launcher_slurm, keeps_to_the_allocation) {
  const environment_variable job("SLURM_JOB_ID", "33");
  const environment_variable list("SLURM_JOB_NODELIST", "n[1,3]");
  launching all(settings_);
  all.start({shell_launch("n1", "echo 1"), shell_launch("n2", "true")});
  ASSERT_TRUE(all.wait());
  EXPECT_EQ(all.outcome("n1").output, "1\n");
  EXPECT_EQ(all.outcome("n2").reason,
            "slurm: n2 is not in the allocation of job 33");
}

TEST_P(launcher_slurm, passes_on_why_slurm_does_not_answer) {
  programs_.add("sinfo",
                "#!/bin/sh\necho 'slurm_load_partitions: Unable to contact "
                "slurm controller (connect failure)' >&2\nexit 1\n");
  launching all(settings_);
  const launch_outcome outcome = all.run(shell_launch("n1", "true"));
  EXPECT_EQ(outcome.how, ending::launcher_failed);
  EXPECT_NE(outcome.reason.find("Unable to contact slurm controller"),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(programs, launcher_slurm, ::testing::Values("slurm"));

using launcher_mpi = launcher_group;

TEST_P(launcher_mpi, tells_mpirun_how_to_use_ssh) {
  settings_.ssh_options = {"StrictHostKeyChecking no"};
  settings_.user = "ada";
  settings_.fanout = 7;
  launching all(settings_);
  all.run(shell_launch("n1", "true"));
  const std::string variables = recorded("mpirun.env");
  EXPECT_NE(variables.find("OMPI_MCA_plm_rsh_args=-o StrictHostKeyChecking=no "
                           "-o BatchMode=yes -o ConnectTimeout=10 -o "
                           "ServerAliveInterval=5 -o ServerAliveCountMax=6 -l "
                           "ada\n"),
            std::string::npos)
      << variables;
  EXPECT_NE(variables.find("PRTE_MCA_plm_ssh_num_concurrent=7\n"),
            std::string::npos);
}

TEST_P(launcher_mpi, passes_on_what_mpirun_said_when_all_hosts_are_well) {
  programs_.add("mpirun",
                "#!/bin/sh\necho '-----'\necho 'An ORTE daemon has "
                "unexpectedly failed.'\nexit 1\n");
  launching all(settings_);
  const launch_outcome outcome = all.run(shell_launch("n1", "true"));
  EXPECT_EQ(outcome.how, ending::launcher_failed);
  EXPECT_EQ(outcome.reason, "mpirun: An ORTE daemon has unexpectedly failed.");
}

INSTANTIATE_TEST_SUITE_P(programs, launcher_mpi, ::testing::Values("mpi"));

}  // namespace
}  // namespace zelk::collect
