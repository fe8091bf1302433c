#include "src/collect/src/accumulate/suggestion.h"

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

TEST(nearest_word, finds_what_was_meant) {
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

}  // namespace
}  // namespace zelk::accumulate
