#include "src/collect/src/collect/stop_signals.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

bool readable(int fd) {
  pollfd state = {fd, POLLIN, 0};
  return ::poll(&state, 1, 0) == 1;
}

TEST(stop_signals, counts_what_comes) {
  stop_signals signals;
  EXPECT_FALSE(readable(signals.fd()));
  ::kill(::getpid(), SIGTERM);
  EXPECT_TRUE(readable(signals.fd()));
  EXPECT_EQ(signals.look(), 1);
  ::kill(::getpid(), SIGINT);
  EXPECT_EQ(signals.look(), 2);
  EXPECT_EQ(signals.first(), SIGTERM);
  EXPECT_EQ(signals.look(), 2);
}

TEST(die_of, ends_the_process_as_the_signal_would) {
  const pid_t child = ::fork();
  if (child == 0) {
    stop_signals signals;
    ::kill(::getpid(), SIGINT);
    signals.look();
    die_of(signals.first());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
}

// nohup zelk-collect ... &
TEST(stop_signals, leaves_a_hangup_alone_that_was_ignored) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGHUP, SIG_IGN);
    stop_signals signals;
    ::kill(::getpid(), SIGHUP);
    std::_Exit(signals.look());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace zelk::collect
