#include "src/collect/src/accumulate/event_pipe.h"

#include <unistd.h>

#include <array>
#include <csignal>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t bound = 100'000;

class event_pipe_test : public ::testing::Test {
 protected:
  event_pipe_test() {
    std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    in.reset(ends[0]);
    out.emplace(ends[1], bound);
  }

  std::string some() {
    std::array<char, 1000> piece;
    const ssize_t size = ::read(in.get(), piece.data(), piece.size());
    return {piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
  }

  util::unique_fd in;
  std::optional<event_pipe> out;
};

TEST_F(event_pipe_test, writes_lines) {
  out->put("one");
  out->put("two");
  EXPECT_FALSE(out->flush());
  EXPECT_EQ(some(), "one\ntwo\n");
}

TEST_F(event_pipe_test, never_waits_and_counts_what_it_drops) {
  const std::string line(999, 'x');
  const int count = 1000;  // a pipe and the bound hold some 160 of them
  for (int i = 0; i < count; ++i) {
    out->put(line);
    out->flush();
  }
  EXPECT_TRUE(out->flush());
  int came = 0;
  std::string rest;
  while (out->flush())
    rest += some();
  out->put("the next one");
  out->put("another one");
  out->flush();
  for (; rest.find("another one\n") == rest.npos;)
    rest += some();
  for (std::size_t at = 0; (at = rest.find(line, at)) != rest.npos;
       at += line.size())
    ++came;
  EXPECT_GT(came, 100);
  EXPECT_LT(came, 300);
  EXPECT_EQ(rest.substr(rest.rfind("xxx\n") + 4),
            "{\"event\":\"dropped\",\"count\":" + std::to_string(count - came) +
                "}\nthe next one\nanother one\n");
}

TEST_F(event_pipe_test, has_room_for_the_last_line_always) {
  for (int i = 0; i < 1000; ++i)
    out->put(std::string(999, 'x'));
  out->put_last("the end");
  std::string all;
  while (out->flush())
    all += some();
  out.reset();
  for (std::string more = some(); !more.empty(); more = some())
    all += more;
  EXPECT_TRUE(all.ends_with("\"count\":901}\nthe end\n") ||
              all.ends_with("\"count\":900}\nthe end\n"))
      << all.substr(all.size() - 60);
}

TEST_F(event_pipe_test, forgets_a_reader_that_is_gone) {
  out->put("one");
  in.reset();
  EXPECT_FALSE(out->flush());
  out->put("two");
  EXPECT_FALSE(out->flush());
  out->drain(milliseconds(10'000));
}

TEST_F(event_pipe_test, waits_at_the_end_as_long_as_it_may) {
  for (int i = 0; i < 90; ++i)
    out->put(std::string(999, 'x'));
  const auto began = steady_clock::now();
  out->drain(milliseconds(100));
  EXPECT_GE(steady_clock::now() - began, milliseconds(100));
  EXPECT_TRUE(out->flush());
  std::thread reader([this] {
    for (int i = 0; i < 60; ++i)
      some();
  });
  out->drain(milliseconds(20'000));
  EXPECT_FALSE(out->flush());
  reader.join();
}

TEST(event_pipe, may_have_no_descriptor) {
  event_pipe none;
  EXPECT_FALSE(none.open());
  none.put("text");
  none.put_last("text");
  EXPECT_FALSE(none.flush());
}

}  // namespace
}  // namespace zelk::accumulate
