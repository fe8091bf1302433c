#include "src/common/facts/line_memory.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::facts {
namespace {

given_line giving(std::uint32_t value) {
  return {{{0, 0, value, 0}}, {}};
}

// As a reader does it; returns whether the line was known.
bool read(line_memory& memory, const std::string& line, std::uint32_t value) {
  if (const given_line* known = memory.find(line)) {
    EXPECT_EQ(known->facts.at(0).value, value) << line;
    return true;
  }
  memory.remember(line, giving(value));
  return false;
}

TEST(line_memory, knows_a_line_that_has_come_twice) {
  line_memory memory;
  EXPECT_FALSE(read(memory, "a", 1));
  EXPECT_FALSE(read(memory, "a", 1));
  EXPECT_TRUE(read(memory, "a", 1));
  EXPECT_FALSE(read(memory, "b", 2));
  EXPECT_TRUE(read(memory, "a", 1));
}

TEST(line_memory, takes_the_empty_line_as_any_other) {
  line_memory memory;
  read(memory, "", 3);
  read(memory, "", 3);
  EXPECT_TRUE(read(memory, "", 3));
}

TEST(line_memory, knows_nearly_all_lines_of_a_large_output) {
  line_memory memory;
  constexpr std::uint32_t lines = 5000;
  std::uint32_t known = 0;
  for (int output = 0; output < 4; ++output) {
    known = 0;
    for (std::uint32_t i = 0; i < lines; ++i)
      known += read(memory, "line " + std::to_string(i), i) ? 1 : 0;
  }
  EXPECT_GT(known, lines * 9 / 10);
}

TEST(line_memory, is_not_filled_by_lines_that_never_come_again) {
  line_memory memory;
  std::uint32_t known = 0;
  for (std::uint32_t output = 0; output < 50; ++output)
    for (std::uint32_t i = 0; i < 1000; ++i) {
      known += read(memory, "same " + std::to_string(i), i) ? 1 : 0;
      read(memory, std::to_string(output) + " other " + std::to_string(i), i);
    }
  EXPECT_GT(known, 40'000U);
}

TEST(line_memory, gives_right_answers_when_there_are_more_than_it_keeps) {
  line_memory memory;
  for (int output = 0; output < 4; ++output)
    for (std::uint32_t i = 0; i < 200'000; ++i)
      read(memory, std::to_string(i), i);
}

TEST(line_memory, leaves_very_long_lines_to_be_read_each_time) {
  line_memory memory;
  const std::string line(100'000, 'x');
  for (int i = 0; i < 3; ++i)
    EXPECT_FALSE(read(memory, line, 1));
}

}  // namespace
}  // namespace zelk::facts
