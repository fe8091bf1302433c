#include "src/collect/src/accumulate/stop_signals.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

TEST(stop_signals, counts_and_remembers_the_first) {
  stop_signals signals;
  EXPECT_EQ(signals.look(), 0);
  EXPECT_EQ(signals.first(), 0);
  ::kill(::getpid(), SIGTERM);
  pollfd wanted = {signals.fd(), POLLIN, 0};
  EXPECT_EQ(::poll(&wanted, 1, 1000), 1);
  EXPECT_EQ(signals.look(), 1);
  ::kill(::getpid(), SIGINT);
  EXPECT_EQ(signals.look(), 2);
  EXPECT_EQ(signals.first(), SIGTERM);
  EXPECT_EQ(signals.count(), 2);
}

TEST(stop_signals, ends_the_process_by_the_first_signal) {
  EXPECT_EXIT(
      {
        stop_signals signals;
        ::kill(::getpid(), SIGINT);
        ::kill(::getpid(), SIGTERM);
        signals.look();
        signals.die();
      },
      ::testing::KilledBySignal(SIGINT), "");
}

TEST(stop_signals, tells_of_the_first_when_the_second_ends_the_process) {
  stop_signals signals;
  signals.end_at_second();
  EXPECT_EQ(signals.look(), 0);
  ::kill(::getpid(), SIGTERM);
  pollfd wanted = {signals.fd(), POLLIN, 0};
  EXPECT_EQ(::poll(&wanted, 1, 10'000), 1);
  EXPECT_EQ(signals.look(), 1);
  EXPECT_EQ(signals.first(), SIGTERM);
}

TEST(stop_signals, ends_a_process_that_does_not_look_at_the_second) {
  EXPECT_EXIT(
      {
        stop_signals signals;
        signals.end_at_second();
        ::kill(::getpid(), SIGTERM);
        ::kill(::getpid(), SIGINT);
        for (;;)
          ::pause();
      },
      [](int status) {
        // The two may be taken in either order.
        return WIFSIGNALED(status) &&
               (WTERMSIG(status) == SIGTERM || WTERMSIG(status) == SIGINT);
      },
      "");
}

TEST(stop_signals, keeps_broken_pipes_from_ending_the_process) {
  const stop_signals signals;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ::close(ends[0]);
  EXPECT_EQ(::write(ends[1], "x", 1), -1);
  ::close(ends[1]);
}

}  // namespace
}  // namespace zelk::accumulate
