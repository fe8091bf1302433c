#include "src/collect/src/collect/ssh_failure.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

constexpr int status_255 = 255 << 8;

struct sample {
  const char* said;
  ending how;
  const char* reason;
  const char* common;
};

// A flat table of what ssh says.
TEST(ssh_failure, tells_the_reasons_apart) {
  const sample samples[] = {
      {"ssh: connect to host node5 port 22: Connection refused\r\n",
       ending::refused,
       "ssh: connect to host node5 port 22: Connection refused",
       "ssh: connect to host: Connection refused"},
      {"ssh: connect to host node5 port 22: No route to host\n",
       ending::no_route, "ssh: connect to host node5 port 22: No route to host",
       "ssh: connect to host: No route to host"},
      {"ssh: connect to host node5 port 22: Network is unreachable\n",
       ending::no_route,
       "ssh: connect to host node5 port 22: Network is unreachable",
       "ssh: connect to host: Network is unreachable"},
      {"ssh: connect to host node5 port 22: Connection timed out\n",
       ending::connect_timeout,
       "ssh: connect to host node5 port 22: Connection timed out",
       "ssh: connect to host: Connection timed out"},
      {"Connection timed out during banner exchange\n"
       "Connection to 10.77.0.5 port 22 timed out\n",
       ending::connect_timeout,
       "ssh: Connection timed out during banner exchange",
       "ssh: Connection timed out during banner exchange"},
      {"ssh: Could not resolve hostname node5: Name or service not known\n",
       ending::unknown_host,
       "ssh: Could not resolve hostname node5: Name or service not known",
       "ssh: Could not resolve hostname"},
      {"root@node5: Permission denied (publickey).\n", ending::login,
       "ssh: root@node5: Permission denied (publickey).",
       "ssh: Permission denied"},
      {"Received disconnect from 10.0.0.5 port 22:2: Too many authentication "
       "failures\nDisconnected from 10.0.0.5 port 22\n",
       ending::login,
       "ssh: Received disconnect from 10.0.0.5 port 22:2: Too many "
       "authentication failures",
       "ssh: Too many authentication failures"},
      {"No ED25519 host key is known for node5 and you have requested strict "
       "checking.\r\nHost key verification failed.\r\n",
       ending::host_key,
       "ssh: No ED25519 host key is known for node5 and you have requested "
       "strict checking.",
       "ssh: the host key is not known"},
      {"Host key verification failed.\r\n", ending::host_key,
       "ssh: Host key verification failed.",
       "ssh: Host key verification failed"},
      {"kex_exchange_identification: read: Connection reset by peer\n"
       "Connection reset by 10.0.0.5 port 22\n",
       ending::launcher_failed,
       "ssh: kex_exchange_identification: read: Connection reset by peer",
       "ssh: Connection reset"},
      {"This account is currently not available.\n", ending::login,
       "ssh: This account is currently not available.",
       "ssh: This account is currently not available"},
      {"something new about node5\n", ending::launcher_failed,
       "ssh: something new about node5", "ssh: something new about NODE"},
  };
  for (const sample& one : samples) {
    SCOPED_TRACE(one.said);
    const failure why = ssh_failure(one.said, "node5", status_255);
    EXPECT_EQ(why.how, one.how) << ending_name(why.how);
    EXPECT_EQ(why.reason, one.reason);
    EXPECT_EQ(why.common_reason, one.common);
  }
}

TEST(ssh_failure, says_where_a_changed_key_is_known) {
  const failure why = ssh_failure(
      "@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@\r\n"
      "@    WARNING: REMOTE HOST IDENTIFICATION HAS CHANGED!     @\r\n"
      "@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@\r\n"
      "IT IS POSSIBLE THAT SOMEONE IS DOING SOMETHING NASTY!\r\n"
      "Offending ED25519 key in /root/.ssh/known_hosts:3\r\n"
      "Host key for node5 has changed and you have requested strict checking."
      "\r\nHost key verification failed.\r\n",
      "node5", status_255);
  EXPECT_EQ(why.how, ending::host_key);
  EXPECT_EQ(why.reason,
            "ssh: the host key has changed (/root/.ssh/known_hosts:3)");
  EXPECT_EQ(why.common_reason, "ssh: the host key has changed");
}

TEST(ssh_failure, looks_past_warnings_and_greetings) {
  const failure why = ssh_failure(
      "Authorized use only!\nWarning: Permanently added 'node5' (ED25519) to "
      "the list of known hosts.\nroot@node5: Permission denied "
      "(publickey,password).\n",
      "node5", status_255);
  EXPECT_EQ(why.how, ending::login);
}

TEST(ssh_failure, says_how_a_silent_ssh_ended) {
  EXPECT_EQ(ssh_failure("", "node5", status_255).reason,
            "ssh: ended with exit status 255, without a word");
  EXPECT_EQ(ssh_failure("\n  \n", "node5", 9).reason,
            "ssh: ended with signal 9 (Killed), without a word");
  EXPECT_EQ(ssh_failure("", "node5", 9).how, ending::launcher_failed);
}

TEST(ssh_failure, lets_nothing_through_that_a_terminal_obeys) {
  EXPECT_EQ(ssh_failure("\033]0;owned\007\n", "node5", status_255).reason,
            "ssh: ?]0;owned?");
  EXPECT_LT(ssh_failure(std::string(100'000, 'x'), "node5", 0).reason.size(),
            500U);
}

TEST(ssh_loss, is_a_lost_connection_whatever_was_said) {
  EXPECT_EQ(ssh_loss("", "node5", status_255).reason,
            "ssh: the connection to node5 broke");
  EXPECT_EQ(ssh_loss("", "node5", status_255).common_reason,
            "ssh: the connection broke");
  const failure why = ssh_loss("Timeout, server node5 not responding.\r\n",
                               "node5", status_255);
  EXPECT_EQ(why.how, ending::lost);
  EXPECT_EQ(why.reason, "ssh: Timeout, server node5 not responding.");
}

TEST(slurm_failure, listens_to_what_is_said_of_this_node) {
  const char* said =
      "srun: error: Task launch for StepId=3.0 failed on node node1: "
      "Communication connection failure\n"
      "srun: error: Application launch failed: Communication connection "
      "failure\n";
  const failure mine = slurm_failure(said, "node1", 233 << 8);
  EXPECT_EQ(mine.how, ending::no_route);
  EXPECT_EQ(mine.reason,
            "srun: error: Task launch for StepId=3.0 failed on node node1: "
            "Communication connection failure");
  // "node1" is no part of this one's name.
  const failure other = slurm_failure(said, "node10", 233 << 8);
  EXPECT_EQ(other.reason,
            "srun: error: Application launch failed: Communication connection "
            "failure");
}

TEST(slurm_failure, takes_a_failed_node_for_lost) {
  EXPECT_EQ(
      slurm_failure("srun: error: Node failure on node4\n", "node4", 1 << 8)
          .how,
      ending::lost);
}

TEST(mpi_failure, gives_the_first_line_between_the_frames) {
  EXPECT_EQ(mpi_failure("---------\nORTE was unable to reliably start one or "
                        "more daemons.\nThis usually is\n",
                        "n1", 1 << 8)
                .reason,
            "mpirun: ORTE was unable to reliably start one or more daemons.");
  EXPECT_EQ(mpi_failure("", "n1", 1 << 8).reason,
            "mpirun: ended with exit status 1, without a word");
}

}  // namespace
}  // namespace zelk::collect
