#include "src/collect/src/accumulate/control_pipe.h"

#include <unistd.h>

#include <string_view>
#include <thread>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

class control_pipe_test : public ::testing::Test {
 protected:
  control_pipe_test() {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    in.emplace(ends[0], 100);
    out.reset(ends[1]);
  }

  void put(std::string_view bytes) {
    EXPECT_EQ(::write(out.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
  // The lines that are there, in brackets.
  std::string lines() {
    more = in->read();
    std::string all;
    while (const auto line = in->line())
      all += "[" + *line + "]";
    return all;
  }

  std::optional<control_pipe> in;
  util::unique_fd out;
  bool more = true;
};

TEST_F(control_pipe_test, never_waits) {
  EXPECT_EQ(lines(), "");
  EXPECT_TRUE(more);
}

TEST_F(control_pipe_test, gives_whole_lines_in_order) {
  put("one\ntwo\n\nthr");
  EXPECT_EQ(lines(), "[one][two][]");
  put("ee\n");
  EXPECT_EQ(lines(), "[three]");
  EXPECT_TRUE(more);
}

TEST_F(control_pipe_test, tells_the_end_and_drops_half_a_line) {
  put("whole\nhalf");
  out.reset();
  EXPECT_EQ(lines(), "[whole]");
  EXPECT_EQ(lines(), "");
  EXPECT_FALSE(more);
}

TEST_F(control_pipe_test, passes_over_a_line_that_is_too_long) {
  put(std::string(100, 'a') + "\n" + std::string(101, 'b') + "\nc\n");
  while (more && in->overlong() == 0)
    EXPECT_EQ(lines().find('b'), std::string::npos);
  put(std::string(5000, 'd'));
  for (int i = 0; i < 100; ++i)
    lines();
  EXPECT_EQ(in->overlong(), 1U);
  put("d\ne\n");
  std::string all;
  for (int i = 0; i < 100; ++i)
    all += lines();
  EXPECT_EQ(all, "[e]");
  EXPECT_EQ(in->overlong(), 0U);
}

TEST_F(control_pipe_test, keeps_zero_bytes) {
  put(std::string_view("a\0b\n", 4));
  in->read();
  EXPECT_EQ(in->line()->size(), 3U);
}

TEST(control_pipe, may_be_closed_from_the_start) {
  EXPECT_FALSE(control_pipe().open());
}

}  // namespace
}  // namespace zelk::accumulate
