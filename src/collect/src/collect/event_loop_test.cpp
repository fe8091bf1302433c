#include "src/collect/src/collect/event_loop.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "src/common/util/unique_fd.h"

namespace zelk::collect {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using util::unique_fd;

struct pipe_ends {
  pipe_ends() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
      throw std::runtime_error("pipe2");
    out.reset(ends[0]);
    in.reset(ends[1]);
  }
  void write(const std::string& text) const {
    EXPECT_EQ(::write(in.get(), text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }
  unique_fd out;
  unique_fd in;
};

TEST(event_loop, returns_at_once_when_idle) {
  event_loop loop;
  EXPECT_TRUE(loop.idle());
  loop.run_once();
}

TEST(event_loop, tells_what_can_be_read) {
  event_loop loop;
  const pipe_ends pipe;
  int calls = 0;
  short seen = 0;
  loop.watch(pipe.out.get(), POLLIN, [&](short events) {
    ++calls;
    seen = events;
  });
  EXPECT_FALSE(loop.idle());
  loop.run_once(milliseconds(0));
  EXPECT_EQ(calls, 0);
  pipe.write("x");
  loop.run_once();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(seen, POLLIN);
}

TEST(event_loop, tells_that_a_writer_has_gone) {
  event_loop loop;
  pipe_ends pipe;
  short seen = 0;
  loop.watch(pipe.out.get(), POLLIN, [&](short events) { seen = events; });
  pipe.in.reset();
  loop.run_once();
  EXPECT_EQ(seen, POLLHUP);
}

TEST(event_loop, tells_that_a_descriptor_is_none) {
  event_loop loop;
  pipe_ends pipe;
  const int number = pipe.out.get();
  short seen = 0;
  loop.watch(number, POLLIN, [&](short events) { seen = events; });
  pipe.out.reset();
  loop.run_once();
  EXPECT_EQ(seen, POLLNVAL);
}

TEST(event_loop, replaces_the_callback_of_a_descriptor) {
  event_loop loop;
  const pipe_ends pipe;
  std::string calls;
  loop.watch(pipe.out.get(), POLLIN, [&](short) { calls += "a"; });
  loop.watch(pipe.out.get(), POLLIN, [&](short) { calls += "b"; });
  pipe.write("x");
  loop.run_once();
  EXPECT_EQ(calls, "b");
}

TEST(event_loop, calls_nobody_that_was_forgotten) {
  event_loop loop;
  const pipe_ends one;
  const pipe_ends two;
  int calls = 0;
  const auto forget_both = [&](short) {
    ++calls;
    loop.forget(one.out.get());
    loop.forget(two.out.get());
  };
  loop.watch(one.out.get(), POLLIN, forget_both);
  loop.watch(two.out.get(), POLLIN, forget_both);
  one.write("x");
  two.write("x");
  loop.run_once();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(loop.idle());
  loop.forget(one.out.get());
}

// The number of a closed descriptor is given to the next one that is opened.
TEST(event_loop, takes_no_event_for_a_later_namesake) {
  event_loop loop;
  const pipe_ends one;
  const pipe_ends two;
  int calls = 0;
  const auto renew = [&](short) {
    ++calls;
    for (const int fd : {one.out.get(), two.out.get()}) {
      loop.forget(fd);
      loop.watch(fd, POLLIN, [&](short) { calls += 100; });
    }
  };
  loop.watch(one.out.get(), POLLIN, renew);
  loop.watch(two.out.get(), POLLIN, renew);
  one.write("x");
  two.write("x");
  loop.run_once();
  EXPECT_EQ(calls, 1);
  loop.run_once();
  EXPECT_EQ(calls, 201);
}

TEST(event_loop, lets_a_callback_outlive_itself) {
  event_loop loop;
  const pipe_ends pipe;
  std::string result;
  const auto text = std::make_shared<std::string>("still here");
  loop.watch(pipe.out.get(), POLLIN, [&loop, &pipe, &result, text](short) {
    loop.forget(pipe.out.get());
    result = *text;
  });
  pipe.write("x");
  loop.run_once();
  EXPECT_EQ(result, "still here");
}

TEST(event_loop, calls_timers_in_the_order_of_their_moments) {
  event_loop loop;
  const auto now = event_loop::clock::now();
  std::string calls;
  loop.at(now + milliseconds(2), [&] { calls += "c"; });
  loop.at(now, [&] { calls += "a"; });
  loop.at(now, [&] { calls += "b"; });
  while (!loop.idle())
    loop.run_once();
  EXPECT_EQ(calls, "abc");
}

TEST(event_loop, calls_no_timer_before_its_moment) {
  event_loop loop;
  const auto start = event_loop::clock::now();
  bool called = false;
  loop.after(milliseconds(30), [&] { called = true; });
  while (!called)
    loop.run_once();
  EXPECT_GE(event_loop::clock::now() - start, milliseconds(30));
}

TEST(event_loop, calls_no_timer_that_was_cancelled) {
  event_loop loop;
  int calls = 0;
  event_loop::timer_id second = 0;
  loop.after(seconds(0), [&] {
    ++calls;
    loop.cancel(second);
  });
  second = loop.after(seconds(0), [&] { ++calls; });
  const event_loop::timer_id never = loop.after(hours(1), [&] { ++calls; });
  loop.cancel(never);
  loop.cancel(never);
  loop.cancel(0);
  loop.run_once();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(loop.idle());
}

TEST(event_loop, lets_a_timer_set_itself_without_starving_descriptors) {
  event_loop loop;
  const pipe_ends pipe;
  int timers = 0;
  bool read = false;
  std::function<void()> again = [&] {
    ++timers;
    loop.after(seconds(0), again);
  };
  loop.after(seconds(0), again);
  loop.watch(pipe.out.get(), POLLIN, [&](short) { read = true; });
  pipe.write("x");
  loop.run_once();
  EXPECT_TRUE(read);
  EXPECT_EQ(timers, 1);
}

TEST(event_loop, takes_any_delay) {
  event_loop loop;
  bool called = false;
  loop.after(event_loop::clock::duration::max(), [] {});
  loop.after(event_loop::clock::duration::min(), [&] { called = true; });
  loop.run_once();
  EXPECT_TRUE(called);
  EXPECT_FALSE(loop.idle());
}

TEST(event_loop, waits_no_longer_than_asked) {
  event_loop loop;
  loop.after(hours(1), [] {});
  const auto start = event_loop::clock::now();
  loop.run_once(milliseconds(20));
  const auto took = event_loop::clock::now() - start;
  EXPECT_GE(took, milliseconds(20));
  EXPECT_LT(took, seconds(30));
}

void take_signal(int) {}

TEST(event_loop, returns_when_a_signal_has_come) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = take_signal;
  ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
  event_loop loop;
  bool called = false;
  loop.after(hours(1), [&] { called = true; });
  // Repeated: one alone might come before the wait has begun.
  const itimerval soon{{0, 20'000}, {0, 20'000}};
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  loop.run_once();
  const itimerval never{};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_FALSE(called);
}

TEST(event_loop, is_as_good_as_before_after_an_exception) {
  event_loop loop;
  int calls = 0;
  loop.after(seconds(0), [] { throw std::runtime_error("no"); });
  loop.after(seconds(0), [&] { ++calls; });
  EXPECT_THROW(loop.run_once(), std::runtime_error);
  loop.run_once();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(loop.idle());
}

TEST(event_loop, serves_every_descriptor_in_one_turn) {
  event_loop loop;
  std::vector<std::unique_ptr<pipe_ends>> pipes;
  int calls = 0;
  for (int i = 0; i < 200; ++i) {
    pipes.push_back(std::make_unique<pipe_ends>());
    pipes.back()->write("x");
    loop.watch(pipes.back()->out.get(), POLLIN, [&](short) { ++calls; });
  }
  loop.run_once();
  EXPECT_EQ(calls, 200);
}

}  // namespace
}  // namespace zelk::collect
