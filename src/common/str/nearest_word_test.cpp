#include "src/common/str/nearest_word.h"

#include <gtest/gtest.h>

namespace zelk::str {
namespace {

TEST(nearest_word, finds_what_was_meant) {
  const std::vector<std::string> known = {"--fanout", "--nodes", "--nodefile",
                                          "memory", "mounts"};
  const struct {
    const char* word;
    const char* meant;
  } cases[] = {
      {"--fanuot", "--fanout"},
      {"--node", "--nodes"},
      {"memroy", "memory"},
      {"mount", "mounts"},
      {"memory", "memory"},
      {"frobnicate", ""},
      {"", ""},
  };
  for (const auto& one : cases)
    EXPECT_EQ(nearest_word(one.word, known), one.meant) << one.word;
  EXPECT_EQ(nearest_word(std::string(100'000, 'x'), known), "");
}

TEST(nearest_word, knows_options_and_commands) {
  const std::vector<std::string> known = {"--bind", "--bad-dir", "--batch",
                                          "listen", "scan",      "replay"};
  const struct {
    const char* word;
    const char* meant;
  } cases[] = {
      {"lisen", "listen"},
      {"listne", "listen"},
      {"--bnid", "--bind"},
      {"--baddir", "--bad-dir"},
      {"scna", "scan"},
      {"--bacth", "--batch"},
      {"repaly", "replay"},
      {"scan", "scan"},
      {"frobnicate", ""},
      {"--x", ""},
      {"", ""},
      {"xy", ""},
  };
  for (const auto& one : cases)
    EXPECT_EQ(nearest_word(one.word, known), one.meant) << one.word;
  EXPECT_EQ(nearest_word(std::string(100'000, 'x'), known), "");
  EXPECT_EQ(nearest_word("listen", {}), "");
}

TEST(did_you_mean, is_silent_when_nothing_is_near) {
  EXPECT_EQ(did_you_mean("memroy", {"memory"}), "; did you mean 'memory'?");
  EXPECT_EQ(did_you_mean("gpu", {"memory"}), "");
}

}  // namespace
}  // namespace zelk::str
